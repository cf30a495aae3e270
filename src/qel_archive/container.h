// SPDX-License-Identifier: MIT
// Groups and data of the container, found and checked before anything is read into memory that they size.
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

/// Whether a reference leads to a group.
inline bool leads_to_group(std::uint64_t reference) {
    return (reference & ogawa::data_bit) == 0;
}

/// Whether a group or data can begin at a place: behind the header, with its first word before the end. Position 0
/// stands for an empty one.
inline bool can_stand(std::uint64_t place, std::uint64_t file_size) {
    static_assert(ogawa::count_size == sizeof(std::uint64_t));
    return place == 0 ||
           (place >= ogawa::header_size && place <= file_size && file_size - place >= ogawa::count_size);
}

/// The references of a group: `count` of them from `at` on.
struct reference_list {
    std::uint64_t at;
    std::uint64_t count;
};

/// Finds a group of `source`, which reads the file: all its references lie in it. DAMAGED where there can be none.
template <class Source>
status find_group(Source &source, std::uint64_t reference, reference_list &group) {
    group = {};
    const std::uint64_t size = source.size();
    if (!leads_to_group(reference) || !can_stand(reference, size)) return QEL_ARCHIVE_DAMAGED;
    if (reference == 0) return QEL_ARCHIVE_OK;
    const status outcome = status_of(source.read(reference, &group.count, sizeof group.count));
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    group.at = reference + ogawa::count_size;
    const bool fits = group.count <= (size - group.at) / ogawa::reference_size;
    return fits ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

/// Finds data: all its bytes lie in the file. DAMAGED where there can be none.
template <class Source>
status find_data(Source &source, std::uint64_t reference, extent &data) {
    data = {};
    const std::uint64_t size = source.size(), place = reference & ~ogawa::data_bit;
    if (leads_to_group(reference) || !can_stand(place, size)) return QEL_ARCHIVE_DAMAGED;
    if (place == 0) return QEL_ARCHIVE_OK;
    const status outcome = status_of(source.read(place, &data.size, sizeof data.size));
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    data.at = place + ogawa::count_size;
    return data.size <= size - data.at ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

} // namespace qel::archives
