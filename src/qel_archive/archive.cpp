// SPDX-License-Identifier: MIT
// The 16 functions: each checks its arguments and calls the other files.
#include "qel_archive/archive.h"

#include "qel_archive/meshes.h"
#include "qel_archive/samples.h"
#include "qel_archive/transforms.h"

#include <algorithm>
#include <cstring>

namespace qel::archives {
namespace {

void destroy(qel_archive *archive) {
    archive->~qel_archive();
    std::free(archive);
}

status open_archive(const char *path, qel_archive &archive) {
    const open_outcome opened = archive.file.open(path);
    if (opened == open_outcome::no_memory) return QEL_ARCHIVE_NO_MEMORY;
    return opened == open_outcome::opened ? read_structure(archive) : QEL_ARCHIVE_CANNOT_OPEN;
}

/// Whether there is an object with this number.
bool has_object(const qel_archive &archive, std::uint32_t object) {
    return object < archive.tree.objects.size();
}

/// BAD_ARGUMENT for a null archive or output, NOT_FOUND if the archive has no object with this number.
status check(const qel_archive *archive, std::uint32_t object, const void *out) {
    if (archive == nullptr || out == nullptr) return QEL_ARCHIVE_BAD_ARGUMENT;
    return has_object(*archive, object) ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NOT_FOUND;
}

/// Finds an object's property by its number.
status find_entry(const qel_archive *archive, std::uint32_t object, std::uint32_t property, const void *out,
                  property_entry &entry) {
    const status outcome = check(archive, object, out);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const compound &root = archive->tree.properties(object);
    if (property >= root.total) return QEL_ARCHIVE_NOT_FOUND;
    entry = archive->tree.compounds.entry(root, property);
    return QEL_ARCHIVE_OK;
}

/// Finds an object's property by its number; NOT_FOUND if it has no sample with the given number.
status find_sampled(const qel_archive *archive, std::uint32_t object, std::uint32_t property, std::uint64_t sample,
                    const void *out, property_entry &entry) {
    const status outcome = find_entry(archive, object, property, out, entry);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (entry.header().kind == property_kind::compound) return QEL_ARCHIVE_WRONG_KIND;
    return sample < entry.header().samples ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NOT_FOUND;
}

/// The path of an object, which the first call makes; null when there is no memory.
const char *path_of(const qel_archive &archive, std::uint32_t object) {
    std::atomic<const char *> &slot = archive.tree.paths[object];
    const char *const present = slot.load(std::memory_order_acquire);
    if (present != nullptr) return present;
    const std::size_t length = archive.tree.path_length(object);
    return archive.texts.get(slot, length, [&archive, object, length](char *path) {
        archive.tree.write_path(object, length, path, length);
    });
}

double frames_per_second(const time_sampling_table &table) {
    for (std::uint32_t i = 1; i < table.count; ++i) {
        if (table.samplings[i].is_uniform()) return 1 / table.samplings[i].cycle;
    }
    return 0;
}

using transform_function = status(const qel_archive &archive, std::uint32_t object, double seconds, matrix &result);

std::int32_t get_transform(const qel_archive *archive, std::uint32_t object, double seconds, double *out,
                           transform_function transform) {
    status outcome = check(archive, object, out);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    matrix result;
    outcome = transform(*archive, object, seconds, result);
    if (outcome == QEL_ARCHIVE_OK) std::copy_n(result.values, 16, out);
    return outcome;
}

} // namespace
} // namespace qel::archives

using namespace qel;
using namespace qel::archives;

extern "C" {

const char *qel_archive_message(std::int32_t status) {
    switch (status) {
    case QEL_ARCHIVE_OK:
        return "done";
    case QEL_ARCHIVE_BAD_ARGUMENT:
        return "a null pointer where one is needed";
    case QEL_ARCHIVE_CANNOT_OPEN:
        return "the file cannot be opened or read, or is no regular file";
    case QEL_ARCHIVE_NOT_AN_ARCHIVE:
        return "the file is no Alembic archive";
    case QEL_ARCHIVE_HDF5:
        return "the archive is in the older HDF5 container, which is not read";
    case QEL_ARCHIVE_DAMAGED:
        return "the archive is damaged, cut short or was never finished";
    case QEL_ARCHIVE_NO_MEMORY:
        return "there is not enough memory";
    case QEL_ARCHIVE_NOT_FOUND:
        return "there is no such object, property or sample";
    case QEL_ARCHIVE_WRONG_KIND:
        return "the object has no points, or the property is a compound";
    default:
        return "unknown status";
    }
}

std::int32_t qel_archive_open(const char *path, qel_archive **archive) {
    if (archive == nullptr) return QEL_ARCHIVE_BAD_ARGUMENT;
    *archive = nullptr;
    if (path == nullptr) return QEL_ARCHIVE_BAD_ARGUMENT;
    void *const memory = heap_array<qel_archive>(1);
    if (memory == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    auto *const opened = new (memory) qel_archive;
    const status outcome = open_archive(path, *opened);
    if (outcome == QEL_ARCHIVE_OK)
        *archive = opened;
    else
        destroy(opened);
    return outcome;
}

void qel_archive_close(qel_archive *archive) {
    if (archive != nullptr) destroy(archive);
}

std::int32_t qel_archive_get_info(const qel_archive *archive, qel_archive_info *info) {
    if (archive == nullptr || info == nullptr) return QEL_ARCHIVE_BAD_ARGUMENT;
    info->library_version = archive->library_version;
    info->object_count = archive->tree.objects.size();
    info->mesh_count = archive->tree.mesh_count;
    info->time_sampling_count = archive->context.samplings.count;
    info->start = archive->tree.times.start;
    info->end = archive->tree.times.end;
    info->frames_per_second = frames_per_second(archive->context.samplings);
    info->metadata = archive->metadata;
    return QEL_ARCHIVE_OK;
}

std::int32_t qel_archive_get_object(const qel_archive *archive, std::uint32_t object, qel_archive_object *out) {
    const status outcome = check(archive, object, out);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const char *const path = path_of(*archive, object);
    if (path == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    const object_tree &tree = archive->tree;
    const shown_object &shown = tree.objects[object];
    out->name = shown.name;
    out->path = path;
    out->metadata = shown.metadata->text;
    out->schema = shown.metadata->schema;
    out->kind = shown.metadata->kind;
    out->parent = shown.parent;
    out->child_count = tree.nodes[shown.node].count();
    out->property_count = tree.properties(object).total;
    return QEL_ARCHIVE_OK;
}

std::uint32_t qel_archive_find(const qel_archive *archive, const char *path) {
    return archive == nullptr || path == nullptr ? QEL_NOT_FOUND : archive->tree.find(path);
}

std::int32_t qel_archive_get_property(const qel_archive *archive, std::uint32_t object, std::uint32_t property,
                                      qel_archive_property *out) {
    property_entry entry;
    const status outcome = find_entry(archive, object, property, out, entry);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const compound &root = archive->tree.properties(object);
    const char *const name = archive->tree.compounds.full_name(root, property, archive->texts);
    if (name == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    const property_header &header = entry.header();
    out->name = name;
    out->metadata = header.metadata;
    out->kind = static_cast<std::uint32_t>(header.kind);
    out->value = header.value;
    out->extent = header.extent;
    out->sample_count = header.samples;
    out->time_sampling = header.time_sampling;
    out->constant = header.is_constant();
    return QEL_ARCHIVE_OK;
}

std::uint32_t qel_archive_find_property(const qel_archive *archive, std::uint32_t object, const char *name) {
    if (check(archive, object, name) != QEL_ARCHIVE_OK) return QEL_NOT_FOUND;
    return archive->tree.compounds.find_number(archive->tree.properties(object), name);
}

std::int32_t qel_archive_read_property(const qel_archive *archive, std::uint32_t object, std::uint32_t property,
                                       std::uint64_t sample, void *bytes, std::uint64_t capacity, std::uint64_t *size) {
    if (bytes == nullptr && capacity != 0) return QEL_ARCHIVE_BAD_ARGUMENT;
    property_entry entry;
    status outcome = find_sampled(archive, object, property, sample, size, entry);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    stored_sample found;
    outcome = find_sample(archive->file, entry.header(), entry.reference(), sample, found);
    if (outcome == QEL_ARCHIVE_OK && found.values.size <= capacity)
        outcome = status_of(archive->file.read(found.values.at, bytes, static_cast<std::size_t>(found.values.size)));
    if (outcome == QEL_ARCHIVE_OK) *size = found.values.size;
    return outcome;
}

std::int32_t qel_archive_property_time(const qel_archive *archive, std::uint32_t object, std::uint32_t property,
                                       std::uint64_t sample, double *seconds) {
    property_entry entry;
    const status outcome = find_sampled(archive, object, property, sample, seconds, entry);
    if (outcome == QEL_ARCHIVE_OK) *seconds = sample_time(sampling_of(*archive, entry.header()), sample);
    return outcome;
}

std::int32_t qel_archive_get_mesh_info(const qel_archive *archive, std::uint32_t object, qel_archive_mesh_info *out) {
    const status outcome = check(archive, object, out);
    return outcome == QEL_ARCHIVE_OK ? get_mesh_info(*archive, object, *out) : outcome;
}

std::int32_t qel_archive_read_mesh(const qel_archive *archive, std::uint32_t object, std::uint64_t sample,
                                   ogawa_polymesh *mesh) {
    if (mesh == nullptr) return QEL_ARCHIVE_BAD_ARGUMENT;
    std::memset(mesh, 0, sizeof *mesh);
    status outcome = check(archive, object, mesh);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    outcome = read_mesh(*archive, object, sample, *mesh);
    if (outcome != QEL_ARCHIVE_OK) discard_mesh(*mesh);
    return outcome;
}

std::int32_t qel_archive_sample_at(const qel_archive *archive, std::uint32_t object, double seconds,
                                   std::uint64_t *sample) {
    status outcome = check(archive, object, sample);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    property_entry positions;
    outcome = find_positions(*archive, object, positions);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const property_header &header = positions.header();
    *sample = last_sample_at(sampling_of(*archive, header), header.samples, seconds);
    return QEL_ARCHIVE_OK;
}

std::int32_t qel_archive_local_transform(const qel_archive *archive, std::uint32_t object, double seconds,
                                         double *matrix) {
    return get_transform(archive, object, seconds, matrix, local_transform);
}

std::int32_t qel_archive_world_transform(const qel_archive *archive, std::uint32_t object, double seconds,
                                         double *matrix) {
    return get_transform(archive, object, seconds, matrix, world_transform);
}

std::int32_t qel_archive_is_visible(const qel_archive *archive, std::uint32_t object, double seconds,
                                    std::int32_t *visible) {
    status outcome = check(archive, object, visible);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    bool answer;
    outcome = is_visible(*archive, object, seconds, answer);
    if (outcome == QEL_ARCHIVE_OK) *visible = answer ? 1 : 0;
    return outcome;
}

} // extern "C"
