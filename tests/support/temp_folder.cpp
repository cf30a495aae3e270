// SPDX-License-Identifier: MIT
#include "support/temp_folder.h"

#include <fstream>
#include <iterator>
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

bytes read_file(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + path);
    return bytes(std::istreambuf_iterator<char>(stream), {});
}

void write_file(const std::string &path, const bytes &content) {
    std::ofstream stream(path, std::ios::binary);
    stream.write(reinterpret_cast<const char *>(content.data()),
                 static_cast<std::streamsize>(content.size()));
    if (!stream.flush()) throw std::runtime_error("cannot write " + path);
}

bool file_exists(const std::string &path) {
    return fs::exists(path);
}

} // namespace qel::test
