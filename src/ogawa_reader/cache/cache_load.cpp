// SPDX-License-Identifier: MIT
// Maps the mesh cache file and releases it. Counts and offsets of the file are not followed past the mapping.
#include "ogawa_reader/cache/cache_format.h"

#include "common/file_mapping.h"
#include "common/heap.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

qel_status status_of(mapping_outcome outcome) {
    switch (outcome) {
    case mapping_outcome::cannot_open:
        return QEL_MESH_LOAD_CANNOT_OPEN;
    case mapping_outcome::no_mapping:
        return QEL_MESH_LOAD_CANNOT_MAP;
    case mapping_outcome::no_memory:
        return QEL_MESH_LOAD_NO_MEMORY;
    case mapping_outcome::mapped:
        break;
    }
    return QEL_OK;
}

/// The address of an offset, for the caller. The offset comes from the file and may be outside the mapping, where
/// pointer arithmetic is undefined: so it is added as a number. The address is not read here.
template <class T>
const T *place(const void *view, std::uint32_t offset) {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(view) + offset;
    return reinterpret_cast<const T *>(address); // NOLINT(performance-no-int-to-ptr)
}

/// Bytes of the mapping, read from front to back.
class mapped_bytes {
  public:
    mapped_bytes(const file_mapping &mapping, std::uint64_t offset)
        : data_(static_cast<const std::uint8_t *>(mapping.view)), size_(mapping.size), position_(offset) {}

    bool hold(std::uint64_t size) const { return position_ <= size_ && size <= size_ - position_; }
    void skip(std::uint64_t size) { position_ += size; }
    /// Copies bytes for which hold() returned true.
    void copy(void *out, std::uint64_t size) const {
        std::memcpy(out, data_ + position_, static_cast<std::size_t>(size));
    }
    /// Reads bytes and moves past them; false if the mapping does not hold all of them.
    bool read(void *out, std::uint64_t size) {
        if (!hold(size)) return false;
        copy(out, size);
        skip(size);
        return true;
    }

  private:
    const std::uint8_t *data_;
    std::uint64_t size_;
    std::uint64_t position_;
};

/// Reads a count and copies that many records, without moving past them; `records` is null without memory for them.
/// False if the mapping does not hold all of them.
template <class T>
bool copy_records(mapped_bytes &bytes, T *&records, std::uint32_t &count) {
    if (!bytes.read(&count, sizeof count) || !bytes.hold(std::uint64_t{count} * sizeof(T))) return false;
    records = heap_array<T>(count);
    if (records != nullptr) bytes.copy(records, std::uint64_t{count} * sizeof(T));
    return true;
}

/// Reads a skin block; false if the mapping does not hold all of it.
bool read_skin(mapped_bytes bytes, qel_skin &skin) {
    if (!copy_records(bytes, skin.joints, skin.joint_count)) return false;
    // Without memory for the joints, reading continues at the joints: their first word is used as the weight count.
    if (skin.joints != nullptr) bytes.skip(std::uint64_t{skin.joint_count} * sizeof *skin.joints);
    if (!copy_records(bytes, skin.weights, skin.weight_count)) return false;
    bytes.skip(std::uint64_t{skin.weight_count} * sizeof *skin.weights);
    return bytes.read(skin.bind_extra, sizeof skin.bind_extra);
}

void release_skin(qel_skin *&skin) {
    if (skin == nullptr) return;
    qel_skin_free(skin);
    release(skin);
}

/// Copies the skin block; null without memory for it or if the mapping does not hold all of it.
qel_skin *load_skin(const file_mapping &mapping, std::uint32_t offset) {
    auto *skin = heap_zeroed<qel_skin>(1);
    if (skin != nullptr && !read_skin(mapped_bytes(mapping, offset), *skin)) release_skin(skin);
    return skin;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_mesh_load(const char *path, qel_mesh *mesh) {
    if (path == nullptr || mesh == nullptr) return QEL_MESH_LOAD_BAD_ARGUMENT;
    *mesh = {};
    file_mapping mapping;
    const qel_status status = status_of(map_file(path, mapping));
    if (status != QEL_OK) return status;

    qel_mesh_header header = {}; // fields that a short file does not hold stay zero
    std::memcpy(&header, mapping.view, std::min<std::size_t>(sizeof header, static_cast<std::size_t>(mapping.size)));
    if (std::memcmp(header.magic, mesh_cache_magic, sizeof header.magic) != 0) {
        unmap_file(mapping);
        return QEL_MESH_LOAD_NOT_A_CACHE;
    }
    mesh->header = header;
    mesh->view = mapping.view;
    mesh->file_size = mapping.size;
    mesh->positions = place<float>(mapping.view, header.positions_offset);
    if (header.flags & QEL_MESH_HAS_NORMALS) mesh->normals = place<float>(mapping.view, header.normals_offset);
    mesh->indices = place<std::uint32_t>(mapping.view, header.indices_offset);
    if (header.flags & QEL_MESH_HAS_SKIN) mesh->skin = load_skin(mapping, header.skin_offset);
    return QEL_OK;
}

void qel_mesh_free(qel_mesh *mesh) {
    if (mesh == nullptr) return;
    if (mesh->view != nullptr) unmap_file({mesh->view, mesh->file_size});
    release_skin(mesh->skin);
    *mesh = {};
}

std::int32_t qel_mesh_get_gpu_data(const qel_mesh *mesh, const float **positions, const float **normals,
                                   const std::uint32_t **indices, std::uint32_t *vertex_count,
                                   std::uint32_t *triangle_count) {
    if (mesh == nullptr || mesh->view == nullptr) return QEL_MESH_GET_GPU_DATA_BAD_ARGUMENT;
    if (positions != nullptr) *positions = mesh->positions;
    if (normals != nullptr) *normals = mesh->normals;
    if (indices != nullptr) *indices = mesh->indices;
    if (vertex_count != nullptr) *vertex_count = mesh->header.vertex_count;
    if (triangle_count != nullptr) *triangle_count = mesh->header.triangle_count;
    return QEL_OK;
}

} // extern "C"
