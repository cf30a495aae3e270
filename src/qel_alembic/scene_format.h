// SPDX-License-Identifier: MIT
// The scene file: a 64-byte header, mesh blocks, frame blocks; every count is followed by the arrays it counts.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel {

constexpr char scene_magic[4] = {'B', 'Q', 'E', 'L'};
constexpr std::uint32_t scene_version = 1; // written; lower ones are read as well

#pragma pack(push, 1)
struct scene_header {
    char magic[4]; // "BQEL"
    std::uint32_t version;
    std::uint32_t mesh_count;
    std::uint32_t frame_count;
    std::uint64_t total_vertices;
    std::uint64_t total_faces;
    float fps;
    float time_start;
    float time_end;
    std::uint32_t flags;
    std::uint8_t zero[16];
};

/// Positions, indices, vertex records and tokens follow.
struct mesh_block {
    char name[64];
    std::uint32_t vertex_count;
    std::uint32_t face_count;
    float bounds[6];
    std::uint32_t reserved;
    std::uint8_t layer;
};

/// For each mesh a 32-bit vertex count and its positions follow.
struct frame_block {
    std::int32_t frame;
    float time;
    std::uint32_t mesh_count;
};
#pragma pack(pop)

static_assert(sizeof(scene_header) == 64);
static_assert(offsetof(scene_header, version) == 4);
static_assert(offsetof(scene_header, mesh_count) == 8);
static_assert(offsetof(scene_header, frame_count) == 12);
static_assert(offsetof(scene_header, total_vertices) == 16);
static_assert(offsetof(scene_header, total_faces) == 24);
static_assert(offsetof(scene_header, fps) == 32);
static_assert(offsetof(scene_header, time_start) == 36);
static_assert(offsetof(scene_header, time_end) == 40);
static_assert(offsetof(scene_header, flags) == 44);

static_assert(sizeof(mesh_block) == 101);
static_assert(offsetof(mesh_block, vertex_count) == 64);
static_assert(offsetof(mesh_block, face_count) == 68);
static_assert(offsetof(mesh_block, bounds) == 72);
static_assert(offsetof(mesh_block, reserved) == 96);
static_assert(offsetof(mesh_block, layer) == 100);

static_assert(sizeof(frame_block) == 12);

/// The least size of a frame's mesh: its vertex count.
constexpr std::size_t min_frame_mesh_bytes = sizeof(std::uint32_t);

} // namespace qel
