// SPDX-License-Identifier: MIT
// Arrays of meshes, read from their samples.
#pragma once

#include "common/heap.h"
#include "qel_archive/archive.h"
#include "qel_archive/samples.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace qel::archives {

/// The counts of a mesh. Its arrays are checked against them.
struct mesh_size {
    std::uint32_t points, faces, corners;
};

inline bool is_array_of(const property_header &header, qel_archive_value_type value, std::uint32_t extent) {
    return header.kind == property_kind::array && header.value == value && header.extent == extent;
}

/// One sample of an array in the file.
struct stored_array {
    extent values = {};
    std::uint32_t count = 0; // elements
};

/// Finds a sample of an array: the last one if the array has fewer samples. Without samples `array` stays empty.
inline status find_array(const qel_archive &archive, const property_entry &entry, std::uint64_t sample,
                         stored_array &array) {
    const property_header &header = entry.header();
    if (header.samples == 0) return QEL_ARCHIVE_OK;
    stored_sample found;
    const status outcome = find_sample(archive.file, header, entry.reference(), sample, found);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const std::uint64_t count = found.values.size / (std::uint64_t{value_size(header.value)} * header.extent);
    if (count > std::numeric_limits<std::uint32_t>::max()) return QEL_ARCHIVE_DAMAGED; // counts of records have 32 bits
    array = {found.values, static_cast<std::uint32_t>(count)};
    return QEL_ARCHIVE_OK;
}

/// Reads the values of an array. Calls `check` for each piece while it is in the processor's cache; DAMAGED if `check`
/// returns false. The array is null if there are no values, and after a failure.
template <class T, class Check>
status read_values(const random_access_file &file, const extent &values, T *&array, Check check) {
    constexpr std::uint64_t piece = std::uint64_t{3} << 16; // bytes; a multiple of 8 and of 12
    array = nullptr;
    if (values.size == 0) return QEL_ARCHIVE_OK;
    scratch<T> read(heap_array<T>(values.size / sizeof(T)));
    if (!read) return QEL_ARCHIVE_NO_MEMORY;
    for (std::uint64_t done = 0; done < values.size;) {
        T *const next = read.get() + done / sizeof(T);
        const auto size = static_cast<std::size_t>(std::min(piece, values.size - done));
        const status outcome = status_of(file.read(values.at + done, next, size));
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        if (!check(next, size / sizeof(T))) return QEL_ARCHIVE_DAMAGED;
        done += size;
    }
    array = read.release();
    return QEL_ARCHIVE_OK;
}

} // namespace qel::archives
