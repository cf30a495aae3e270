// SPDX-License-Identifier: MIT
// The headers of the files that the tool reads and writes, and the sizes of those that it writes.
#pragma once

#include <qel_unit.h>

#include <cstddef>
#include <cstdint>

namespace tool {

inline constexpr char unit_magic[4] = {'Q', 'E', 'L', '\0'}, scene_magic[4] = {'B', 'Q', 'E', 'L'},
                      cache_magic[4] = {'Q', 'E', 'L', 'M'}, agents_magic[4] = {'Q', 'E', 'A', 'G'},
                      archive_magic[5] = {'O', 'g', 'a', 'w', 'a'};
inline constexpr std::uint32_t unit_version = 1, agents_version = 1, cache_version = 2;

/// The header of units and of agent directories; packed records follow.
struct record_header {
    char magic[4];
    std::uint32_t version;
    std::uint32_t count;
    std::uint32_t extra; ///< of an agent directory, its active agents; of a unit, without a meaning
    std::int64_t saved_at;
};
static_assert(sizeof(record_header) == 24);

/// The header of scenes; the meshes follow, then the frames.
struct scene_header {
    char magic[4];
    std::uint32_t version, mesh_count, frame_count;
    std::uint64_t total_vertices, total_faces;
    float fps, time_start, time_end;
    std::uint32_t flags;
    std::uint8_t reserved[16];
};
static_assert(sizeof(scene_header) == 64 && offsetof(scene_header, reserved) == 48);

static_assert(sizeof(qel_mesh_header) == 64);

/// The header of archives.
struct archive_header {
    char magic[5];
    std::uint8_t closed;
    std::uint8_t version[2];
    std::uint64_t root;
};
static_assert(sizeof(archive_header) == 16 && offsetof(archive_header, root) == 8);

/// Three floats, or three vertex numbers.
inline constexpr std::uint64_t triple_bytes = 12;

/// The arrays of a scene's mesh, in memory and in the file: positions, triangles, vertex records and tokens.
constexpr std::uint64_t scene_array_bytes(std::uint64_t vertices, std::uint64_t triangles) {
    return triangles * triple_bytes +
           vertices * (triple_bytes + sizeof(qel_alembic_vertex) + sizeof(qel_alembic_token));
}

/// The size of the file of a scene with these counts.
std::uint64_t scene_file_bytes(const qel_alembic_file &scene);

/// The size of a mesh's cache; `skin` may be null.
std::uint64_t cache_file_bytes(const ogawa_polymesh &mesh, std::uint64_t triangles, const qel_skin *skin);

} // namespace tool
