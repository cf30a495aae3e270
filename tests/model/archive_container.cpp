// SPDX-License-Identifier: MIT
#include "model/archive_container.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace qel::model {
namespace {

constexpr std::uint64_t header_size = 16;

archive_bytes whole_file(const std::string &path) {
    std::error_code failed;
    require(std::filesystem::is_regular_file(path, failed), QEL_ARCHIVE_CANNOT_OPEN);
    std::ifstream stream(path, std::ios::binary);
    require(stream.is_open(), QEL_ARCHIVE_CANNOT_OPEN);
    return archive_bytes(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

bool begins_with(const archive_bytes &file, const void *bytes, std::size_t count) {
    return file.size() >= count && std::memcmp(file.data(), bytes, count) == 0;
}

} // namespace

archive_container::archive_container(const std::string &path) : file_(whole_file(path)) {
    require(file_.size() >= header_size, QEL_ARCHIVE_NOT_AN_ARCHIVE);
    require(!begins_with(file_, "\x89HDF\r\n\x1a\n", 8), QEL_ARCHIVE_HDF5);
    require(begins_with(file_, "Ogawa", 5), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    require(file_[5] == 0xFF);
}

std::uint64_t archive_container::word(std::uint64_t at) const {
    std::uint64_t result;
    std::memcpy(&result, file_.data() + at, sizeof result);
    return result;
}

std::uint64_t archive_container::node_word(std::uint64_t at) const {
    require(can_hold_node(at));
    return word(at);
}

bool archive_container::can_hold_node(std::uint64_t at) const {
    return at >= header_size && at <= file_.size() && file_.size() - at >= 8;
}

bool archive_container::can_be_group(std::uint64_t reference) const {
    return reference == 0 || (!is_data(reference) && can_hold_node(reference));
}

std::vector<std::uint64_t> archive_container::group(std::uint64_t reference) const {
    require(!is_data(reference));
    std::vector<std::uint64_t> references;
    if (reference == 0) return references;
    const std::uint64_t count = node_word(reference);
    require(count <= (file_.size() - reference - 8) / 8);
    for (std::uint64_t i = 0; i < count; ++i)
        references.push_back(word(reference + 8 + 8 * i));
    return references;
}

archive_bytes archive_container::data(std::uint64_t reference) const {
    require(is_data(reference));
    const std::uint64_t at = position(reference);
    if (at == 0) return {};
    const std::uint64_t size = node_word(at);
    require(size <= file_.size() - at - 8);
    const auto first = file_.begin() + static_cast<std::ptrdiff_t>(at + 8);
    return archive_bytes(first, first + static_cast<std::ptrdiff_t>(size));
}

} // namespace qel::model
