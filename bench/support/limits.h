// SPDX-License-Identifier: MIT
// The limits of the machine: streaming bytes from memory, filling fresh memory, reading and writing whole files.
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

/// Chains of dependent loads, one per table, like those of a lookup but without its work. A chain begins at a random
/// position of the first table and visits one position of each other table. Chains do not wait for one another.
class table_chains {
  public:
    /// Tables of the given sizes in bytes. Every second chain ends at one position of the second table, like the
    /// lookups that find nothing.
    table_chains(const std::vector<std::size_t> &tables, std::size_t chains);
    void follow() const;

  private:
    std::vector<std::unique_ptr<huge_memory>> tables_;
    std::vector<std::uint32_t> starts_;
};

/// A balanced search tree with one cache line per node, without comparisons: chains of dependent loads from the root to
/// a leaf, as many as a binary search makes before it stays in one line. The first levels are in the cache.
class search_tree {
  public:
    explicit search_tree(std::size_t bytes);
    /// Follows a chain for each key, whose bits select the branches.
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

/// Reads `size` bytes at a position into fresh memory from the heap.
heap_block read_into_fresh(std::FILE *stream, long at, std::size_t size);

/// A contender that writes a file; the file is removed before each run.
contender writing(const std::string &path, std::function<void()> run);

/// Writes a file in one piece.
void write_whole(const std::string &path, const void *bytes, std::size_t size);

} // namespace qel::bench
