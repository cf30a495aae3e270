// SPDX-License-Identifier: MIT
#include "support/temp_folder.h"

#include <cstdio>
#include <random>
#include <stdexcept>

namespace qel::test {

namespace fs = std::filesystem;

temp_folder::temp_folder() {
    std::random_device random;
    do {
        path_ = fs::temp_directory_path() / ("qel_unit_test_" + std::to_string(random()));
    } while (!fs::create_directory(path_));
}

temp_folder::~temp_folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

// Plain streams: what happens inside the C++ ones, MemorySanitizer does not see.

bytes read_file(const std::string &path) {
    std::FILE *const stream = std::fopen(path.c_str(), "rb");
    if (stream == nullptr) throw std::runtime_error("cannot read " + path);
    bytes content;
    bytes piece(1 << 16);
    while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), stream))
        content.insert(content.end(), piece.data(), piece.data() + size);
    std::fclose(stream);
    return content;
}

void write_file(const std::string &path, const bytes &content) {
    std::FILE *const stream = std::fopen(path.c_str(), "wb");
    if (stream == nullptr) throw std::runtime_error("cannot write " + path);
    const bool whole = content.empty() || std::fwrite(content.data(), 1, content.size(), stream) == content.size();
    if (std::fclose(stream) != 0 || !whole) throw std::runtime_error("cannot write " + path);
}

bool file_exists(const std::string &path) {
    return fs::exists(path);
}

} // namespace qel::test
