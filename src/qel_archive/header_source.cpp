// SPDX-License-Identifier: MIT
#include "qel_archive/header_source.h"

namespace qel::archives {

bool header_source::count_bytes(std::uint64_t bytes) {
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
    if (reference != 0 && !count_bytes(ogawa::count_size + bytes)) return QEL_ARCHIVE_DAMAGED;
    if (list.count == 0) return QEL_ARCHIVE_OK;
    group = {memory.array<std::uint64_t>(list.count), list.count};
    if (group.references == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    return status_of(ahead_.read(list.at, group.references, static_cast<std::size_t>(bytes)));
}

status header_source::read_data(std::uint64_t reference, arena &memory, header_bytes &data) {
    extent stored;
    const status outcome = find_data(ahead_, reference, stored);
    return outcome == QEL_ARCHIVE_OK ? read_bytes(stored, memory, data) : outcome;
}

status header_source::read_bytes(const extent &stored, arena &memory, header_bytes &data) {
    data = {};
    if (!count_bytes(stored.size)) return QEL_ARCHIVE_DAMAGED;
    data = {memory.array<std::uint8_t>(stored.size + 1), stored.size};
    if (data.bytes == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    if (stored.size == 0) return QEL_ARCHIVE_OK;
    return status_of(ahead_.read(stored.at, data.bytes, static_cast<std::size_t>(stored.size)));
}

} // namespace qel::archives
