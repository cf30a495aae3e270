// SPDX-License-Identifier: MIT
// A folder that is removed with all its files at the end of a scope, and files as byte strings.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace qel::test {

using bytes = std::vector<std::uint8_t>;

class temp_folder {
  public:
    temp_folder();
    ~temp_folder();
    temp_folder(const temp_folder &) = delete;
    temp_folder &operator=(const temp_folder &) = delete;

    /// The path of a file in the folder.
    std::string file(const std::string &name) const { return (path_ / name).string(); }
    const std::filesystem::path &path() const { return path_; }

  private:
    std::filesystem::path path_;
};

bytes read_file(const std::string &path);
void write_file(const std::string &path, const bytes &content);
bool file_exists(const std::string &path);

/// Appends the bytes of a value.
template <class T>
void append(bytes &out, const T &value) {
    const auto *first = reinterpret_cast<const std::uint8_t *>(&value);
    out.insert(out.end(), first, first + sizeof value);
}

/// The bytes of an array.
template <class T>
bytes bytes_of(const std::vector<T> &values) {
    const auto *first = reinterpret_cast<const std::uint8_t *>(values.data());
    return bytes(first, first + values.size() * sizeof(T));
}

} // namespace qel::test
