// SPDX-License-Identifier: MIT
// What the machine allows at best: bytes streamed from memory, fresh memory filled, files read and written whole.
#pragma once

#include "support/side_by_side.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
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
    unsigned char *bytes() { return memory_; }

  private:
    void *mapping_;
    std::size_t mapped_, size_;
    unsigned char *memory_;
};

/// Places in memory of which each says where the next one is: what a lookup waits for, without what it does there. A
/// chain begins at a random place of the first table and takes a place in each of the others. Chains do not wait for
/// one another.
class table_chains {
  public:
    /// Tables of so many bytes; so many chains, of which every second ends at one place of the second table, as the
    /// lookups that find nothing do.
    table_chains(const std::vector<std::size_t> &tables, std::size_t chains);
    void follow() const;

  private:
    std::vector<std::unique_ptr<huge_memory>> tables_;
    std::vector<std::uint32_t> starts_;
};

/// A balanced search tree over so many bytes, a cache line for each node, without comparisons: chains of dependent
/// places from the root to a leaf, as many as a binary search meets before it stays in one line. The first levels are
/// in the cache.
class search_tree {
  public:
    explicit search_tree(std::size_t bytes);
    /// A chain for each key, whose bits choose the ways.
    void follow(const std::vector<std::uint64_t> &keys) const;

  private:
    struct alignas(64) node {
        std::uint32_t children[2];
    };
    std::uint32_t grow(std::uint32_t first, std::uint32_t last);
    std::unique_ptr<huge_memory> memory_;
    node *nodes_;
    std::uint32_t root_;
    unsigned depth_ = 0;
};

/// Reads a stream from its beginning to its end through a window that stays in the cache.
void read_through(std::FILE *stream);

struct heap_deleter {
    void operator()(void *memory) const { std::free(memory); }
};
using heap_block = std::unique_ptr<void, heap_deleter>;

heap_block fresh_block(std::size_t size);

/// Reads so many bytes at a place into fresh memory from the heap.
heap_block read_into_fresh(std::FILE *stream, long at, std::size_t size);

/// A way that writes a file, which is removed before each time.
contender writing(const std::string &path, std::function<void()> run);

/// Writes a file in one piece.
void write_whole(const std::string &path, const void *bytes, std::size_t size);

} // namespace qel::bench
