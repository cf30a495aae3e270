// SPDX-License-Identifier: MIT
// Reads the headers of an object's children or of a compound's properties, only once if references are shared.
#pragma once

#include "common/arena.h"
#include "qel_archive/header_source.h"
#include "qel_archive/position_table.h"

#include <algorithm>
#include <cstdint>

namespace qel::archives {

/// The location of headers in the file.
struct stored_headers {
    std::uint64_t reference;
    std::uint64_t count;   // required number of headers
    std::uint64_t digests; // bytes after the headers
};

/// Sets `headers` to those at a reference, null if there are none. `known` holds the headers already read, by
/// reference; null if every reference is read. `parse` reads the headers from their bytes.
template <class Headers, class Parse>
status read_headers_once(const stored_headers &stored, header_source &source, arena &memory, position_table *known,
                         Parse parse, const Headers *&headers) {
    headers = nullptr;
    const std::uint64_t *const before = known == nullptr ? nullptr : known->find(stored.reference);
    if (before != nullptr) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        headers = reinterpret_cast<const Headers *>(static_cast<std::uintptr_t>(*before));
        return headers->names.count == stored.count ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
    }
    header_bytes data;
    status outcome = source.read_data(stored.reference, memory, data);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    data.size -= std::min(data.size, stored.digests);
    if (stored.count == 0) return data.size == 0 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
    auto *const read = memory.array<Headers>(1);
    if (read == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    outcome = parse(data, *read);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    headers = read;
    const bool kept = known == nullptr || known->add(stored.reference, reinterpret_cast<std::uintptr_t>(read));
    return kept ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

} // namespace qel::archives
