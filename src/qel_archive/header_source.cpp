// SPDX-License-Identifier: MIT
#include "qel_archive/header_source.h"

namespace qel::archives {

bool header_source::spend(std::uint64_t bytes) {
    if (bytes > left_) exceeded_ = true;
    left_ -= exceeded_ ? left_ : bytes;
    return !exceeded_;
}

status header_source::read_group(std::uint64_t reference, std::uint64_t max_count, arena &memory,
                                 reference_array &group) {
    group = {};
    reference_list list;
    const status outcome = archives::find_group(ahead_, reference, list);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (list.count > max_count) return QEL_ARCHIVE_DAMAGED;
    const std::uint64_t bytes = list.count * ogawa::reference_size;
    if (reference != 0 && !spend(ogawa::count_size + bytes)) return QEL_ARCHIVE_DAMAGED;
    if (list.count == 0) return QEL_ARCHIVE_OK;
    group = {memory.array<std::uint64_t>(list.count), list.count};
    if (group.references == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    return status_of(ahead_.read(list.at, group.references, static_cast<std::size_t>(bytes)));
}

status header_source::read_data(std::uint64_t reference, arena &memory, header_bytes &data) {
    extent place;
    const status outcome = find_data(ahead_, reference, place);
    return outcome == QEL_ARCHIVE_OK ? read_bytes(place, memory, data) : outcome;
}

status header_source::read_bytes(const extent &place, arena &memory, header_bytes &data) {
    data = {};
    if (!spend(place.size)) return QEL_ARCHIVE_DAMAGED;
    data = {memory.array<std::uint8_t>(place.size + 1), place.size};
    if (data.bytes == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    if (place.size == 0) return QEL_ARCHIVE_OK;
    return status_of(ahead_.read(place.at, data.bytes, static_cast<std::size_t>(place.size)));
}

} // namespace qel::archives
