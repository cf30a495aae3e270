// SPDX-License-Identifier: MIT
// Many small reads at scattered places of a file, with few system calls.
#pragma once

#include "common/heap.h"
#include "common/random_access_file.h"

#include <cstddef>
#include <cstdint>

namespace qel {

/// Holds a few pieces of a file in memory.
///
/// A read near a held piece, before or after it, loads another of twice its size, up to 32 KiB; a read elsewhere loads
/// 4 KiB. So a walk through a file in either direction makes few large reads, and one that jumps reads few unneeded
/// bytes.
class read_ahead {
  public:
    explicit read_ahead(const random_access_file &file)
        : file_(file), memory_(heap_array<std::uint8_t>(piece_count * max_piece)) {}

    /// Whether there was memory for the pieces. If not, read() must not be called.
    bool ready() const { return memory_ != nullptr; }

    /// The file's size in bytes.
    std::uint64_t size() const { return file_.size(); }

    /// Reads exactly `size` bytes at a position.
    read_outcome read(std::uint64_t position, void *bytes, std::size_t size);

  private:
    struct piece {
        std::uint64_t start;
        std::size_t held;
        std::uint64_t last_use;

        bool holds(std::uint64_t position, std::size_t size) const {
            return position >= start && position - start <= held && held - (position - start) >= size;
        }
    };

    std::size_t find(std::uint64_t position, std::size_t size) const;
    std::size_t oldest() const;
    read_outcome load(std::uint64_t position, std::size_t size, std::size_t &loaded);
    read_outcome fill(std::size_t number, std::uint64_t start, std::uint64_t end);

    static constexpr std::size_t piece_count = 8;
    static constexpr std::size_t min_piece = std::size_t{4} << 10;
    static constexpr std::size_t max_piece = std::size_t{32} << 10;

    const random_access_file &file_;
    scratch<std::uint8_t> memory_;
    piece pieces_[piece_count] = {};
    std::size_t current_ = 0;
    std::uint64_t uses_ = 0;
};

} // namespace qel
