// SPDX-License-Identifier: MIT
#include "files/input.h"

#include "files/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

file_kind kind_of(const std::vector<unsigned char> &head) {
    const auto begins_with = [&](const auto &magic) {
        return head.size() >= sizeof magic && std::memcmp(head.data(), magic, sizeof magic) == 0;
    };
    if (begins_with(unit_magic)) return file_kind::unit;
    if (begins_with(scene_magic)) return file_kind::scene;
    if (begins_with(cache_magic)) return file_kind::mesh_cache;
    if (begins_with(agents_magic)) return file_kind::agents;
    if (begins_with(archive_magic)) return file_kind::archive;
    return file_kind::unknown;
}

/// Other kinds of files that are often given by mistake, by their first bytes.
const char *what_it_is(const std::vector<unsigned char> &head) {
    const std::string text(head.begin(), head.end());
    if (text.compare(0, 8, "\x89HDF\r\n\x1a\n") == 0)
        return "an Alembic archive in the older HDF5 container, which is not read";
    if (text.compare(0, 8, "version ") == 0 && text.find("://git-lfs.github.com/") != std::string::npos)
        return "the pointer that stands for a file in a large-file store, not the file: fetch that first";
    if (text.find("/annex/objects/") < 32)
        return "the pointer that stands for a file in a large-file store, not the file: fetch that first";
    return "not a unit, scene, mesh cache, agent directory or archive";
}

constexpr const char *copy_name = "temporary file";

} // namespace

const char *name_of(file_kind kind) {
    constexpr const char *names[] = {"unit", "scene", "mesh cache", "agent directory", "archive", "unknown"};
    return names[static_cast<std::size_t>(kind)];
}

temporary_file::~temporary_file() {
    if (has_name_) ::unlink(path_.c_str());
    if (descriptor_ >= 0) ::close(descriptor_);
}

int temporary_file::make() {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    path_ = (error ? std::filesystem::path("/tmp") : folder) / "qel.XXXXXX";
    descriptor_ = ::mkstemp(path_.data());
    has_name_ = descriptor_ >= 0;
    // Linux opens it by its descriptor, too. A file without a name disappears with the process, however that ends.
    const std::string by_descriptor = "/proc/self/fd/" + std::to_string(descriptor_);
    if (has_name_ && ::access(by_descriptor.c_str(), R_OK) == 0) {
        ::unlink(path_.c_str());
        path_ = by_descriptor;
        has_name_ = false;
    }
    return descriptor_;
}

input_file::input_file(const std::string &name) : name_(name == "-" ? "standard input" : name), path_(name) {
    const descriptor from(name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat facts {};
    if (from.number() < 0 || ::fstat(from.number(), &facts) != 0) throw system_failure(name_);
    if (S_ISDIR(facts.st_mode)) throw failure(name_, std::strerror(EISDIR));
    device_ = facts.st_dev;
    inode_ = facts.st_ino;
    size_ = static_cast<std::uint64_t>(facts.st_size);
    head_.resize(max_head);
    head_.resize(read(from.number(), head_.data(), head_.size()));
    if (head_.empty()) throw failure(name_, "the file is empty");
    kind_ = kind_of(head_);
    if (kind_ == file_kind::unknown) // reported before a copy is made: a pipe may never end
        throw failure(name_, what_it_is(head_));
    if (name == "-" || !S_ISREG(facts.st_mode)) spool(from.number());
}

std::size_t input_file::read(int from, void *bytes, std::size_t size) const {
    const ssize_t count = read_up_to(from, bytes, size);
    if (count < 0) throw system_failure(name_);
    return static_cast<std::size_t>(count);
}

/// Copies the head and the rest after it to the temporary file.
void input_file::spool(int from) {
    const int to = copy_.make();
    if (to < 0 || !write_all(to, head_.data(), head_.size())) throw system_failure(copy_name);
    size_ = head_.size();
    std::vector<char> part(std::size_t{1} << 16);
    while (const std::size_t count = read(from, part.data(), part.size())) {
        if (!write_all(to, part.data(), count)) throw system_failure(copy_name);
        size_ += count;
    }
    path_ = copy_.path();
}

void input_file::must_be(file_kind wanted, const char *purpose) const {
    if (kind_ == wanted) return;
    throw failure(name_,
                  std::string("is of the kind ") + name_of(kind_) + ", but " + purpose + " wants " + name_of(wanted));
}

void input_file::must_not_be_at(const std::string &output) const {
    struct stat facts {};
    if (::stat(output.c_str(), &facts) == 0 && facts.st_dev == device_ && facts.st_ino == inode_)
        throw usage_error(output + ": is the input, which would be lost");
}

} // namespace tool
