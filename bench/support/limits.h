// SPDX-License-Identifier: MIT
// What the machine allows at best: bytes streamed from memory, fresh memory filled, files read and written whole.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace qel::bench {

/// Reads every byte once, with independent accumulators and the widest loads the processor has.
void stream_read(const void *bytes, std::size_t size);

template <class T>
void stream_read(const std::vector<T> &values) {
    stream_read(values.data(), values.size() * sizeof(T));
}

/// Allocates fresh memory from the heap, fills it and releases it.
void stream_fill(std::size_t size);

/// Fresh memory straight from the system, advised to be huge pages.
class huge_memory {
  public:
    explicit huge_memory(std::size_t size);
    ~huge_memory();
    huge_memory(const huge_memory &) = delete;
    huge_memory &operator=(const huge_memory &) = delete;
    void fill();

  private:
    void *mapping_;
    std::size_t mapped_, size_;
    unsigned char *memory_;
};

/// Reads a stream from its beginning to its end through a window that stays in the cache.
void read_through(std::FILE *stream);

struct heap_deleter {
    void operator()(void *memory) const { std::free(memory); }
};
using heap_block = std::unique_ptr<void, heap_deleter>;

/// Reads so many bytes at a place into fresh memory from the heap.
heap_block read_into_fresh(std::FILE *stream, long at, std::size_t size);

/// Writes a file in one piece.
void write_whole(const std::string &path, const void *bytes, std::size_t size);

} // namespace qel::bench
