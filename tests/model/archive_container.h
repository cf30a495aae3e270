// SPDX-License-Identifier: MIT
// An archive's container in its plainest form: the whole file in memory, groups and data by their references.
#pragma once

#include "qel_archive.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace qel::model {

/// Thrown by every reader of the archive model; carries a qel_archive_status.
struct archive_failure {
    std::int32_t status;
};

/// Throws unless a condition holds.
inline void require(bool condition, std::int32_t status = QEL_ARCHIVE_DAMAGED) {
    if (!condition) throw archive_failure{status};
}

using archive_bytes = std::vector<std::uint8_t>;

/// Reads values one after the other; a value that is cut short is damage.
class archive_cursor {
  public:
    explicit archive_cursor(const archive_bytes &content, std::size_t end) : content_(content), end_(end) {}
    explicit archive_cursor(const archive_bytes &content) : archive_cursor(content, content.size()) {}

    bool at_end() const { return at_ == end_; }

    template <class T>
    T value() {
        require(end_ - at_ >= sizeof(T));
        T result;
        std::memcpy(&result, content_.data() + at_, sizeof(T));
        at_ += sizeof(T);
        return result;
    }

    std::string text(std::uint64_t length) {
        require(end_ - at_ >= length);
        const auto first = content_.begin() + static_cast<std::ptrdiff_t>(at_);
        at_ += length;
        return std::string(first, first + static_cast<std::ptrdiff_t>(length));
    }

  private:
    const archive_bytes &content_;
    std::size_t at_ = 0, end_;
};

class archive_container {
  public:
    /// Reads the file and checks its first 16 bytes.
    explicit archive_container(const std::string &path);

    static bool is_data(std::uint64_t reference) { return (reference >> 63) != 0; }
    static std::uint64_t position(std::uint64_t reference) { return reference & ~(std::uint64_t{1} << 63); }

    std::uint64_t root() const { return word(8); }
    /// Whether a reference can be that of a group; its position is not read.
    bool can_be_group(std::uint64_t reference) const;
    /// The references of a group; it must be a group inside the file.
    std::vector<std::uint64_t> group(std::uint64_t reference) const;
    /// The bytes of data, which must be inside the file.
    archive_bytes data(std::uint64_t reference) const;

  private:
    std::uint64_t word(std::uint64_t at) const;
    bool can_hold_node(std::uint64_t at) const;
    /// The word at a node's position, which must be valid.
    std::uint64_t node_word(std::uint64_t at) const;

    archive_bytes file_;
};

} // namespace qel::model
