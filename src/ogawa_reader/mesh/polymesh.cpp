// SPDX-License-Identifier: MIT
// Reads a polygon mesh through the node tree, or else by a search of the bytes, and releases it.
#include "qel_unit.h"

#include "common/bounds.h"
#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"
#include "ogawa_reader/container/node_walk.h"
#include "ogawa_reader/mesh/mesh_from_bytes.h"
#include "ogawa_reader/mesh/payload_kind.h"
#include "ogawa_reader/search/position_search.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

/// Lists the data nodes under the top object and classifies them; false if that gives no positions.
bool find_arrays(std::FILE *stream, mesh_extents &found) {
    const std::uint64_t length = stream_length(stream);
    std::uint64_t top_object;
    if (!find_top_object(stream, length, top_object)) return false;
    const scratch<ogawa::extent> nodes(heap_array<ogawa::extent>(max_listed_nodes));
    if (!nodes) return false;
    ogawa_node_collector collector = {stream, length, nodes.get(), 0, max_listed_nodes, max_walk_depth};
    ogawa_collect_data_nodes(&collector, static_cast<std::int64_t>(top_object), 0);
    for (std::uint32_t i = 0; i < collector.count; ++i)
        classify_payload(stream, nodes[i], found);
    return found.positions.size != 0;
}

/// Reads an array completely or not at all. Without memory the count stays and the array is null.
template <class T>
void read_array(std::FILE *stream, const ogawa::extent &place, std::uint64_t record_size, T *&array,
                std::uint32_t &count) {
    if (place.size == 0) return;
    count = static_cast<std::uint32_t>(place.size / record_size);
    array = heap_array<T>(place.size / sizeof(T));
    const auto size = static_cast<std::size_t>(place.size); // below 10 MB, as for all listed nodes
    if (array == nullptr || read_at(stream, place.at, array, size) == size) return;
    release(array);
    count = 0;
}

void read_arrays(std::FILE *stream, const mesh_extents &found, ogawa_polymesh *mesh) {
    read_array(stream, found.positions, ogawa::triple_size, mesh->positions, mesh->vertex_count);
    read_array(stream, found.normals, ogawa::triple_size, mesh->normals, mesh->normal_count);
    if (found.normals.size != 0) mesh->normal_scope = OGAWA_SCOPE_FACE_VARYING; // also if incomplete
    read_array(stream, found.face_counts, sizeof(std::uint32_t), mesh->face_counts, mesh->face_count);
    read_array(stream, found.face_indices, sizeof(std::uint32_t), mesh->face_indices, mesh->face_index_count);
}

qel_status finish(ogawa_polymesh *mesh) {
    if (mesh->positions != nullptr) { // then there are vertices as well
        float bounds[6];
        compute_bounds(mesh->positions, mesh->vertex_count, bounds);
        std::copy_n(bounds, 3, mesh->bounds_min);
        std::copy_n(bounds + 3, 3, mesh->bounds_max);
        std::copy_n(bounds, 3, mesh->self_bounds_min);
        std::copy_n(bounds + 3, 3, mesh->self_bounds_max);
    }
    for (int i = 0; i < 16; i += 5)
        mesh->transform[i] = 1.0;
    mesh->reserved_word = 1;
    return mesh->vertex_count != 0 ? QEL_OK : OGAWA_READ_POLYMESH_NOT_FOUND;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

int ogawa_read_polymesh(const ogawa_archive *archive, const ogawa_object *object, std::uint64_t, ogawa_polymesh *mesh) {
    if (archive == nullptr || archive->file == nullptr || mesh == nullptr) return OGAWA_READ_POLYMESH_NOT_FOUND;
    std::memset(mesh, 0, sizeof *mesh);
    copy_text(mesh->name, object != nullptr ? object->name : "mesh");
    copy_text(mesh->path, object != nullptr ? object->path : "/mesh");

    mesh_extents found = {};
    if (find_arrays(archive->file, found)) {
        read_arrays(archive->file, found, mesh);
    } else {
        const qel_status status = read_mesh_from_bytes(archive, mesh);
        if (status != QEL_OK) return status;
    }
    return finish(mesh);
}

ogawa_polymesh *ogawa_get_first_polymesh(ogawa_archive *archive) {
    if (archive == nullptr) return nullptr;
    if (archive->polymesh_count != 0 && archive->polymeshes != nullptr) return archive->polymeshes[0];

    ogawa_object query = {};
    copy_text(query.name, "mesh");
    copy_text(query.path, "/mesh");
    query.schema = OGAWA_SCHEMA_POLYMESH;
    ogawa_polymesh *mesh = heap_array<ogawa_polymesh>(1);
    if (mesh == nullptr) return nullptr;
    if (ogawa_read_polymesh(archive, &query, 0, mesh) != QEL_OK) {
        std::free(mesh); // the arrays that it may own are not released
        return nullptr;
    }

    ogawa_polymesh **cache = heap_array<ogawa_polymesh *>(1);
    if (cache == nullptr) return mesh; // not cached: the caller owns it
    cache[0] = mesh;
    archive->polymeshes = cache;
    archive->polymesh_count = 1;
    return mesh;
}

int ogawa_read_positions(const ogawa_archive *archive, const ogawa_object *, std::uint64_t, float **positions,
                         std::uint32_t *count) {
    if (archive == nullptr || archive->file == nullptr || positions == nullptr || count == nullptr)
        return OGAWA_READ_POSITIONS_NOT_FOUND;
    return ogawa_scan_positions(archive, positions, count);
}

void ogawa_free_polymesh(ogawa_polymesh *mesh) {
    if (mesh == nullptr) return;
    std::free(mesh->positions);
    std::free(mesh->reserved_array);
    std::free(mesh->normals);
    std::free(mesh->normal_indices);
    std::free(mesh->face_counts);
    std::free(mesh->face_indices);
    if (mesh->uv_sets != nullptr) {
        for (std::uint32_t i = 0; i < mesh->uv_set_count; ++i)
            ogawa_free_uv_set(&mesh->uv_sets[i]);
        std::free(mesh->uv_sets);
    }
    ogawa_free_tangent_frame(&mesh->tangent_frame);
    ogawa_free_manifold(&mesh->manifold);
    std::free(mesh->reserved_buffer);
    std::memset(mesh, 0, sizeof *mesh);
}

} // extern "C"
