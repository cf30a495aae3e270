// SPDX-License-Identifier: MIT
// Shared by all fuzz targets: files in memory with a path, arrays of exactly their size, and the report of a finding.
#pragma once

#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace qel::fuzz {

using namespace test;

/// The size of every index table, of units, scenes and the directory. The tables are kept and reused: mapping and
/// filling 32 MiB for every input would take most of the time.
constexpr std::size_t table_bytes = std::size_t{32} << 20;

/// A larger allocation fails.
constexpr std::size_t max_heap_bytes = std::size_t{64} << 20;

/// Reports a finding if `holds` is false: the library differs from its model or violates its documentation.
inline void require(bool holds, const char *file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (holds) return;
    std::fprintf(stderr, "%s:%d: the requirement does not hold\n", file, line);
    std::abort();
}

/// A file in memory, opened by its path like any other.
class memory_file {
  public:
    memory_file() : descriptor_(memfd_create("fuzz", 0)) {
        require(descriptor_ >= 0);
        std::snprintf(path_, sizeof path_, "/proc/self/fd/%d", descriptor_);
    }
    explicit memory_file(const bytes &content) : memory_file() {
        for (std::size_t written = 0; written < content.size();) {
            const ssize_t piece = write(descriptor_, content.data() + written, content.size() - written);
            require(piece > 0);
            written += static_cast<std::size_t>(piece);
        }
    }
    ~memory_file() { close(descriptor_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    const char *path() const { return path_; }

    bytes content() const { return test::read_file(path_); }

  private:
    int descriptor_;
    char path_[32];
};

/// A folder for files that need names; it is removed at the end of the process if it is empty.
class disk_folder {
  public:
    disk_folder();
    ~disk_folder();
    disk_folder(const disk_folder &) = delete;
    disk_folder &operator=(const disk_folder &) = delete;

    std::string file(char name) const { return path_ + name; }

  private:
    std::string path_;
};

/// A stream over bytes in memory, for models that seek and read at every step: in a file each would be a system call.
class memory_stream {
  public:
    explicit memory_stream(const bytes &content);
    ~memory_stream() { std::fclose(file_); }
    memory_stream(const memory_stream &) = delete;
    memory_stream &operator=(const memory_stream &) = delete;

    std::FILE *file() const { return file_; }

  private:
    static ssize_t read(void *self, char *out, std::size_t size);
    static int seek(void *self, off64_t *offset, int origin);

    const bytes &content_;
    std::size_t position_ = 0;
    std::FILE *file_;
    char buffer_[64]; // filled again at every seek
};

/// A copy on the heap of exactly the same size, so that reads past its end are detected. Released with free.
template <class T>
T *exact_copy(const std::vector<T> &values) {
    T *copy = static_cast<T *>(std::malloc(values.size() * sizeof(T)));
    require(copy != nullptr);
    if (!values.empty()) std::memcpy(copy, values.data(), values.size() * sizeof(T));
    return copy;
}

/// The same, released at the end of a scope.
template <class T>
class exact {
  public:
    explicit exact(const std::vector<T> &values) : array_(exact_copy(values)) {}
    ~exact() { std::free(array_); }
    exact(const exact &) = delete;
    exact &operator=(const exact &) = delete;
    operator T *() const { return array_; }

  private:
    T *array_;
};

/// Whether floats have the same bits. All NaNs count as equal: the order of operands selects the NaN of an operation,
/// and a compiler may change that order.
bool same_floats(const void *a, const void *b, std::size_t count);

} // namespace qel::fuzz
