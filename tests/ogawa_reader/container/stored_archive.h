// SPDX-License-Identifier: MIT
// A file of any bytes with a stream on it, as the readers get an archive; and functions that write such bytes.
#pragma once

#include "qel_unit.h"
#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

namespace qel::test {

/// The record is open even with an invalid header, so that the readers also get files that ogawa_open refuses.
class stored_archive {
  public:
    stored_archive() = default;
    explicit stored_archive(const bytes &content) { store(content); }
    ~stored_archive() { close(); }
    stored_archive(const stored_archive &) = delete;
    stored_archive &operator=(const stored_archive &) = delete;

    void store(const bytes &content) {
        close();
        std::filesystem::remove(path()); // a file that is overwritten instead is slow on some file systems
        write_file(path(), content);
        open();
    }
    /// Cuts the file, or lengthens it by a hole.
    void resize(std::uint64_t size) {
        close();
        std::filesystem::resize_file(path(), size);
        open();
    }

    std::string path() const { return folder_.file("archive.abc"); }
    std::FILE *stream() const { return record.file; }
    std::uint64_t length() const { return std::filesystem::file_size(path()); }

    ogawa_archive record = {};

  private:
    void open() { record.file = std::fopen(path().c_str(), "rb"); }
    void close() {
        if (record.file != nullptr) std::fclose(record.file);
        record.file = nullptr;
    }

    temp_folder folder_;
};

/// Writes a value at an offset, lengthening the content with zeros where it has to.
template <class T>
void put(bytes &content, std::uint64_t offset, const T &value) {
    if (content.size() < offset + sizeof value) content.resize(offset + sizeof value);
    std::memcpy(content.data() + offset, &value, sizeof value);
}

template <class T>
void put_all(bytes &content, std::uint64_t offset, const std::vector<T> &values) {
    for (std::size_t i = 0; i < values.size(); ++i)
        put(content, offset + i * sizeof(T), values[i]);
}

/// A size word and its payload.
template <class T>
void put_block(bytes &content, std::uint64_t offset, std::uint64_t size, const std::vector<T> &payload) {
    put(content, offset, size);
    put_all(content, offset + 8, payload);
}

} // namespace qel::test
