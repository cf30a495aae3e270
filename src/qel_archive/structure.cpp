// SPDX-License-Identifier: MIT
// Reads the six children of the root, then the tree of objects. Usual writers do not share groups, so the first walk
// keeps no table of positions. If it would read more bytes than the file has, groups are shared: the tree is read again
// with such a table, each position once.
#include "qel_archive/archive.h"

#include "common/bytes.h"

#include <cstring>

namespace qel::archives {
namespace {

enum root_child : std::uint8_t {
    layout_version,
    library_version,
    top_object,
    archive_metadata,
    time_samplings,
    shared_metadata,
    root_child_count
};

constexpr std::uint8_t hdf5_magic[] = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1A, '\n'};

/// Checks that the file is a finished archive, and reads the reference of its root.
status check_header(const random_access_file &file, std::uint64_t &root) {
    std::uint8_t header[ogawa::header_size];
    if (file.size() < sizeof header) return QEL_ARCHIVE_NOT_AN_ARCHIVE;
    const status outcome = status_of(file.read(0, header, sizeof header));
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (std::memcmp(header, hdf5_magic, sizeof hdf5_magic) == 0) return QEL_ARCHIVE_HDF5;
    if (std::memcmp(header, ogawa::magic, sizeof ogawa::magic) != 0) return QEL_ARCHIVE_NOT_AN_ARCHIVE;
    root = load<std::uint64_t>(header + ogawa::root_at);
    return header[ogawa::finished_at] == ogawa::finished ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

/// Reads a version: four bytes of data.
status read_version(header_source &source, std::uint64_t reference, arena &memory, std::int32_t &version) {
    header_bytes data;
    const status outcome = source.read_data(reference, memory, data);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (data.size < sizeof version) return QEL_ARCHIVE_DAMAGED;
    version = load<std::int32_t>(data.bytes);
    return QEL_ARCHIVE_OK;
}

status read_metadata(header_source &source, std::uint64_t reference, arena &memory, const char *&metadata) {
    header_bytes data;
    const status outcome = source.read_data(reference, memory, data);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    data.bytes[data.size] = '\0';
    metadata = reinterpret_cast<const char *>(data.bytes);
    return QEL_ARCHIVE_OK;
}

/// Reads the time samplings and shared texts.
status read_context(header_source &source, const std::uint64_t *children, qel_archive &archive) {
    header_bytes samplings, texts;
    status outcome = source.read_data(children[time_samplings], archive.memory, samplings);
    if (outcome == QEL_ARCHIVE_OK)
        outcome = read_time_samplings(samplings.bytes, samplings.size, archive.memory, archive.context.samplings);
    if (outcome == QEL_ARCHIVE_OK) outcome = source.read_data(children[shared_metadata], archive.memory, texts);
    if (outcome == QEL_ARCHIVE_OK) outcome = read_shared_metadata(texts, archive.memory, archive.context.shared);
    return outcome;
}

/// Reads everything below the root. With `sharing`, each position is read once.
status read_root(header_source &source, std::uint64_t root, shared_positions *sharing, qel_archive &archive) {
    if (!source.ready()) return QEL_ARCHIVE_NO_MEMORY;
    reference_list list;
    status outcome = source.find_group(root, list);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (list.count < root_child_count) return QEL_ARCHIVE_DAMAGED;
    std::uint64_t children[root_child_count];
    std::int32_t layout;
    outcome = status_of(source.file().read(list.at, children, sizeof children));
    if (outcome == QEL_ARCHIVE_OK) outcome = read_version(source, children[layout_version], archive.memory, layout);
    if (outcome == QEL_ARCHIVE_OK)
        outcome = read_version(source, children[library_version], archive.memory, archive.library_version);
    if (outcome == QEL_ARCHIVE_OK)
        outcome = read_metadata(source, children[archive_metadata], archive.memory, archive.metadata);
    if (outcome == QEL_ARCHIVE_OK) outcome = read_context(source, children, archive);
    if (outcome == QEL_ARCHIVE_OK)
        outcome = read_objects(source, children[top_object], archive.context, archive.memory, sharing, archive.tree);
    return outcome;
}

/// Reads everything again, each position once. DAMAGED if that exceeds allowed_where_shared().
status read_shared(std::uint64_t root, qel_archive &archive) {
    archive.tree.clear();
    archive.memory.clear();
    header_source source(archive.file, allowed_where_shared(archive.file.size()));
    shared_positions sharing;
    return read_root(source, root, &sharing, archive);
}

} // namespace

status read_structure(qel_archive &archive) {
    std::uint64_t root;
    status outcome = check_header(archive.file, root);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    bool exceeded;
    {
        header_source source(archive.file, archive.file.size());
        outcome = read_root(source, root, nullptr, archive);
        exceeded = source.exceeded();
    }
    if (exceeded) outcome = read_shared(root, archive);
    return outcome == QEL_ARCHIVE_OK ? show_objects(archive.context, archive.memory, archive.tree) : outcome;
}

} // namespace qel::archives
