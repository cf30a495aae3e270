// SPDX-License-Identifier: MIT
// A large sliding window over a stream, so that a search of its bytes does not read at every step.
#pragma once

#include "common/bytes.h"
#include "common/heap.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace qel {

/// Bytes of a stream, valid until the window moves.
struct byte_view {
    const std::uint8_t *data;
    std::size_t size;
};

/// Holds one piece of a stream in memory; an access outside of it loads another.
///
/// A forward search loads pieces of 256 KiB (larger ones do not fit the processor's cache and are slower); a walk
/// that jumps loads 4 KiB at each jump. Without memory for the large piece, the window uses a small one inside itself.
class byte_window {
  public:
    explicit byte_window(std::FILE *stream);

    byte_window(const byte_window &) = delete;
    byte_window &operator=(const byte_window &) = delete;

    /// The stream's length when the window was made, or less if a read has ended before it.
    std::uint64_t length() const { return length_; }

    /// The bytes from `offset` on: at least `wanted` of them (at most max_wanted), fewer only at the end of the stream.
    /// There may be more, which a search uses before the next call.
    byte_view at(std::uint64_t offset, std::size_t wanted);

    /// Reads one value; false if the stream ends inside it.
    template <class T>
    bool read(std::uint64_t offset, T &value) {
        const byte_view view = at(offset, sizeof(T));
        if (view.size < sizeof(T)) return false;
        value = load<T>(view.data);
        return true;
    }

    static constexpr std::size_t max_wanted = 4096;

  private:
    void refill(std::uint64_t offset);

    static constexpr std::size_t small_piece = 8192;
    static constexpr std::size_t large_piece = std::size_t{256} << 10;

    std::FILE *stream_;
    std::uint64_t length_;
    std::uint64_t start_ = 0;       // offset in the stream of the held piece
    std::size_t held_ = 0;          // bytes held
    std::size_t next_ = max_wanted; // bytes to hold after the last move, at least max_wanted
    scratch<std::uint8_t> large_;
    std::uint8_t small_[small_piece];
    std::uint8_t *buffer_;
    std::size_t capacity_;
};

} // namespace qel
