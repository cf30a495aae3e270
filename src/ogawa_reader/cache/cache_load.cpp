// SPDX-License-Identifier: MIT
// Mapping the mesh cache file and releasing it. Nothing that the file says is believed beyond the mapping.
#include "ogawa_reader/cache/cache_format.h"

#include "common/file_mapping.h"
#include "common/heap.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

enum map_status : std::int32_t {
    mapped = 0,
    no_argument = -1,
    cannot_open_cache = -2,
    no_mapping = -3,
    no_view = -4,
    not_a_cache = -5
};

constexpr std::int32_t not_mapped = -1;

map_status status_of(mapping_outcome outcome) {
    switch (outcome) {
    case mapping_outcome::cannot_open:
        return cannot_open_cache;
    case mapping_outcome::no_mapping:
        return no_mapping;
    case mapping_outcome::no_view:
        return no_view;
    case mapping_outcome::mapped:
        break;
    }
    return mapped;
}

/// A place in the mapping that is handed out. The offset is the file's and may lead anywhere: it is not followed
/// here, and pointer arithmetic is not defined outside the mapping.
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
    /// Copies bytes that are there.
    void copy(void *out, std::uint64_t size) const {
        std::memcpy(out, data_ + position_, static_cast<std::size_t>(size));
    }
    /// Reads bytes and moves on; false where they are not all there.
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

/// Reads a count and copies as many records, without moving past them; null where there is no memory for them.
/// False where they do not lie inside the mapping.
template <class T>
bool copy_records(mapped_bytes &bytes, T *&records, std::uint32_t &count) {
    if (!bytes.read(&count, sizeof count) || !bytes.hold(std::uint64_t{count} * sizeof(T))) return false;
    records = heap_array<T>(count);
    if (records != nullptr) bytes.copy(records, std::uint64_t{count} * sizeof(T));
    return true;
}

/// False where the block does not lie inside the mapping.
bool read_skin(mapped_bytes bytes, qel_skin &skin) {
    if (!copy_records(bytes, skin.joints, skin.joint_count)) return false;
    // Without memory for the joints, the weights are read from where the joints lie: the count is their first word.
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

/// A copy of the skin block; null where there is no memory for it or it does not lie inside the mapping.
qel_skin *load_skin(const file_mapping &mapping, std::uint32_t offset) {
    auto *skin = heap_zeroed<qel_skin>(1);
    if (skin != nullptr && !read_skin(mapped_bytes(mapping, offset), *skin)) release_skin(skin);
    return skin;
}

} // namespace
} // namespace qel

extern "C" {

int32_t qel_mesh_load(const char *path, qel_mesh *mesh) {
    using namespace qel;
    if (path == nullptr || mesh == nullptr) return no_argument;
    *mesh = {};
    file_mapping mapping;
    const map_status status = status_of(map_file(path, mapping));
    if (status != mapped) return status;

    qel_mesh_header header = {}; // what a short file does not hold stays zero
    std::memcpy(&header, mapping.view,
                std::min<std::size_t>(sizeof header, static_cast<std::size_t>(mapping.size)));
    if (std::memcmp(header.magic, mesh_cache_magic, sizeof header.magic) != 0) {
        unmap_file(mapping);
        return not_a_cache;
    }
    mesh->header = header;
    mesh->view = mapping.view;
    mesh->file_size = mapping.size;
    mesh->positions = place<float>(mapping.view, header.positions_offset);
    if (header.flags & QEL_MESH_HAS_NORMALS)
        mesh->normals = place<float>(mapping.view, header.normals_offset);
    mesh->indices = place<std::uint32_t>(mapping.view, header.indices_offset);
    if (header.flags & QEL_MESH_HAS_SKIN) mesh->skin = load_skin(mapping, header.skin_offset);
    return mapped;
}

void qel_mesh_free(qel_mesh *mesh) {
    using namespace qel;
    if (mesh == nullptr) return;
    if (mesh->view != nullptr) unmap_file({mesh->view, mesh->file_size});
    release_skin(mesh->skin);
    *mesh = {};
}

int32_t qel_mesh_get_gpu_data(const qel_mesh *mesh, const float **positions, const float **normals,
                              const uint32_t **indices, uint32_t *vertex_count, uint32_t *triangle_count) {
    using namespace qel;
    if (mesh == nullptr || mesh->view == nullptr) return not_mapped;
    if (positions != nullptr) *positions = mesh->positions;
    if (normals != nullptr) *normals = mesh->normals;
    if (indices != nullptr) *indices = mesh->indices;
    if (vertex_count != nullptr) *vertex_count = mesh->header.vertex_count;
    if (triangle_count != nullptr) *triangle_count = mesh->header.triangle_count;
    return mapped;
}
}
