// SPDX-License-Identifier: MIT
#include "common/read_ahead.h"

#include <algorithm>
#include <cstring>

namespace qel {

read_outcome read_ahead::read(std::uint64_t position, void *bytes, std::size_t size) {
    if (position > file_.size() || file_.size() - position < size) return read_outcome::cut;
    if (size > min_piece) return file_.read(position, bytes, size);
    std::size_t number = current_;
    if (!pieces_[number].holds(position, size)) {
        number = find(position, size);
        if (number == piece_count) {
            const read_outcome outcome = load(position, size, number);
            if (outcome != read_outcome::read) return outcome;
        }
        current_ = number;
        pieces_[number].last_use = ++uses_;
    }
    const std::uint8_t *const held = memory_.get() + number * max_piece;
    std::memcpy(bytes, held + (position - pieces_[number].start), size);
    return read_outcome::read;
}

/// The piece that holds `size` bytes at `position`; piece_count if none does.
std::size_t read_ahead::find(std::uint64_t position, std::size_t size) const {
    std::size_t number = 0;
    while (number < piece_count && !pieces_[number].holds(position, size))
        ++number;
    return number;
}

std::size_t read_ahead::oldest() const {
    std::size_t found = 0;
    for (std::size_t number = 1; number < piece_count; ++number) {
        if (pieces_[number].last_use < pieces_[found].last_use) found = number;
    }
    return found;
}

/// Reads `size` bytes at `position`, and the bytes likely to be read next, into the oldest piece. The adjacent piece
/// stays: a walk often goes one step back.
read_outcome read_ahead::load(std::uint64_t position, std::size_t size, std::size_t &loaded) {
    loaded = oldest();
    for (const piece &near : pieces_) {
        if (near.held == 0) continue;
        const std::uint64_t end = near.start + near.held;
        const std::uint64_t step = std::clamp<std::uint64_t>(near.held * 2, min_piece, max_piece);
        if (position >= near.start && position + size <= end + step) {
            const std::uint64_t start = std::min(position, end);
            return fill(loaded, start, start + step);
        }
        const std::uint64_t last = std::max(near.start, position + size);
        if (position < near.start && last - position <= step) return fill(loaded, last - std::min(last, step), last);
    }
    // A group is stored after the nodes it refers to, so most of a new piece lies before the position.
    const std::uint64_t end = position + std::max<std::uint64_t>(size, min_piece / 4);
    return fill(loaded, end - std::min<std::uint64_t>(end, min_piece), end);
}

read_outcome read_ahead::fill(std::size_t number, std::uint64_t start, std::uint64_t end) {
    end = std::min(end, file_.size());
    const auto size = static_cast<std::size_t>(end - start);
    pieces_[number] = {};
    const read_outcome outcome = file_.read(start, memory_.get() + number * max_piece, size);
    if (outcome == read_outcome::read) pieces_[number] = {start, size, 0};
    return outcome;
}

} // namespace qel
