// SPDX-License-Identifier: MIT
// Finds groups and data of the container. Counts and sizes are checked against the file's length before memory of that
// size is allocated.
#pragma once

#include "common/random_access_file.h"
#include "ogawa_reader/container/container.h"
#include "qel_archive.h"

#include <cstddef>
#include <cstdint>

namespace qel::archives {

using ogawa::extent;
using status = qel_archive_status;

inline status status_of(read_outcome outcome) {
    if (outcome == read_outcome::read) return QEL_ARCHIVE_OK;
    return outcome == read_outcome::cut ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_CANNOT_OPEN;
}

/// Whether a reference is to a group; otherwise it is to data.
inline bool is_group_reference(std::uint64_t reference) {
    return (reference & ogawa::data_bit) == 0;
}

/// Whether a group or data can begin at a position: 0 (empty), or after the header, with its whole first word before
/// the file's end.
inline bool is_valid_position(std::uint64_t position, std::uint64_t file_size) {
    static_assert(ogawa::count_size == sizeof(std::uint64_t));
    return position == 0 ||
           (position >= ogawa::header_size && position <= file_size && file_size - position >= ogawa::count_size);
}

/// The references of a group: `count` of them from `at` on.
struct reference_list {
    std::uint64_t at;
    std::uint64_t count;
};

/// Finds a group by its reference. DAMAGED if the reference is not to a group or the file ends inside the group.
template <class Source>
status find_group(Source &source, std::uint64_t reference, reference_list &group) {
    group = {};
    const std::uint64_t size = source.size();
    if (!is_group_reference(reference) || !is_valid_position(reference, size)) return QEL_ARCHIVE_DAMAGED;
    if (reference == 0) return QEL_ARCHIVE_OK;
    const status outcome = status_of(source.read(reference, &group.count, sizeof group.count));
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    group.at = reference + ogawa::count_size;
    const bool fits = group.count <= (size - group.at) / ogawa::reference_size;
    return fits ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

/// Finds data by its reference. DAMAGED if the reference is not to data or the file ends inside the data.
template <class Source>
status find_data(Source &source, std::uint64_t reference, extent &data) {
    data = {};
    const std::uint64_t size = source.size(), position = reference & ~ogawa::data_bit;
    if (is_group_reference(reference) || !is_valid_position(position, size)) return QEL_ARCHIVE_DAMAGED;
    if (position == 0) return QEL_ARCHIVE_OK;
    const status outcome = status_of(source.read(position, &data.size, sizeof data.size));
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    data.at = position + ogawa::count_size;
    return data.size <= size - data.at ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

} // namespace qel::archives
