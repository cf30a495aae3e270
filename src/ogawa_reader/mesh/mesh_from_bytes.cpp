// SPDX-License-Identifier: MIT
#include "ogawa_reader/mesh/mesh_from_bytes.h"

#include "common/byte_window.h"
#include "common/file.h"
#include "common/heap.h"
#include "ogawa_reader/container/container.h"
#include "ogawa_reader/search/index_search.h"
#include "ogawa_reader/search/normal_search.h"
#include "ogawa_reader/search/position_search.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

constexpr std::uint32_t min_normals = 100;

void read_normals(std::FILE *stream, const ogawa::extent &found, ogawa_polymesh *mesh) {
    const auto count = static_cast<std::uint32_t>(found.size / ogawa::triple_size);
    if (count < min_normals) return;
    mesh->normal_count = count;
    mesh->normals = heap_array<float>(std::uint64_t{count} * 3);
    if (mesh->normals == nullptr) return;
    const auto size = static_cast<std::size_t>(found.size);
    if (read_at(stream, found.at, mesh->normals, size) == size)
        mesh->normal_scope = OGAWA_SCOPE_FACE_VARYING;
    else
        release(mesh->normals); // the count stays
}

/// Reads all indices as triangles: one or two indices after a multiple of three stay unused.
void read_indices(std::FILE *stream, const ogawa::extent &found, ogawa_polymesh *mesh) {
    if (found.size == 0) return;
    const std::uint64_t count = found.size / sizeof(std::uint32_t);
    mesh->face_index_count = static_cast<std::uint32_t>(count);
    mesh->face_indices = heap_array<std::uint32_t>(count);
    if (mesh->face_indices == nullptr) return;
    const auto wanted = static_cast<std::size_t>(found.size);
    const std::size_t held = read_at(stream, found.at, mesh->face_indices, wanted);
    std::memset(reinterpret_cast<std::uint8_t *>(mesh->face_indices) + held, 0, wanted - held);

    mesh->face_count = mesh->face_index_count / 3;
    mesh->face_counts = heap_array<std::uint32_t>(mesh->face_count);
    if (mesh->face_counts == nullptr) {
        release(mesh->face_indices);
        mesh->face_index_count = 0;
        return;
    }
    std::fill_n(mesh->face_counts, mesh->face_count, 3u);
}

struct found_arrays {
    ogawa::extent normals;
    ogawa::extent indices;
};

/// Runs both searches in one pass over the stream.
found_arrays search(std::FILE *stream, std::uint32_t vertex_count) {
    constexpr std::size_t word_size = sizeof(std::uint32_t);
    constexpr std::size_t overlap = 48; // a sample cut by the end of one piece is complete in the next
    static_assert(overlap + 1 >= normals_sample_size && overlap % word_size == 0);
    byte_window window(stream);
    normal_search normals(window.length());
    index_search indices(vertex_count);
    for (std::uint64_t at = ogawa::header_size;;) {
        const byte_view view = window.at(at, overlap + word_size);
        normals.look(at, view);
        indices.look(at, view);
        if (view.size < overlap + word_size) break;
        at += (view.size - overlap) / word_size * word_size;
    }
    return {normals.best(), indices.finish()};
}

} // namespace

qel_status read_mesh_from_bytes(const ogawa_archive *archive, ogawa_polymesh *mesh) {
    const qel_status status = ogawa_scan_positions(archive, &mesh->positions, &mesh->vertex_count);
    if (status == OGAWA_READ_POSITIONS_NO_MEMORY) return OGAWA_READ_POLYMESH_NO_MEMORY;
    if (status != QEL_OK) return OGAWA_READ_POLYMESH_NOT_FOUND;
    const found_arrays found = search(archive->file, mesh->vertex_count);
    read_normals(archive->file, found.normals, mesh);
    read_indices(archive->file, found.indices, mesh);
    return QEL_OK;
}

} // namespace qel
