// SPDX-License-Identifier: MIT
#include "common/byte_window.h"

#include "common/file.h"

#include <algorithm>

namespace qel {

byte_window::byte_window(std::FILE *stream)
    : stream_(stream), length_(stream_length(stream)), large_(heap_array<std::uint8_t>(large_piece)),
      buffer_(large_ ? large_.get() : small_), capacity_(large_ ? large_piece : small_piece) {}

byte_view byte_window::at(std::uint64_t offset, std::size_t wanted) {
    wanted = std::min(wanted, max_wanted);
    const bool inside = offset >= start_ && offset - start_ <= held_ && held_ - (offset - start_) >= wanted;
    if (!inside) refill(offset);
    const std::size_t skipped = static_cast<std::size_t>(offset - start_);
    return {buffer_ + skipped, held_ - skipped};
}

void byte_window::refill(std::uint64_t offset) {
    const bool forward = offset >= start_ && offset - start_ <= held_;
    next_ = forward ? std::min(next_ * 2, capacity_) : max_wanted;
    // Bytes of the new piece that are already held move to the front; only the rest is read.
    std::size_t kept = 0;
    if (forward) {
        kept = held_ - static_cast<std::size_t>(offset - start_);
        std::copy(buffer_ + (held_ - kept), buffer_ + held_, buffer_);
    }
    start_ = offset;
    held_ = kept + read_at(stream_, offset + kept, buffer_ + kept, next_ - kept);
    if (held_ < next_) length_ = std::min(length_, start_ + held_); // the file may have been truncated
}

} // namespace qel
