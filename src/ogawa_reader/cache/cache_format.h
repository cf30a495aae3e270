// SPDX-License-Identifier: MIT
// The mesh cache file: a 64-byte header, then positions, normals, triangles and a skin, each one flat block without
// gaps. The header's flags say whether there are normals and a skin.
//
//   positions  vertex_count x 3 floats
//   normals    vertex_count x 3 floats
//   triangles  triangle_count x 3 vertex numbers
//   skin       joint count, joint records, weight count, weight records, 128 opaque bytes
#pragma once

#include "qel_unit.h"

#include <cstddef>
#include <cstdint>

namespace qel {

inline constexpr char mesh_cache_magic[4] = {'Q', 'E', 'L', 'M'};
inline constexpr std::uint16_t mesh_cache_version = 2;
inline constexpr std::uint32_t bytes_per_triple = 12; // three floats or three vertex numbers

static_assert(sizeof(qel_mesh_header) == 64);
static_assert(offsetof(qel_mesh_header, version) == 4);
static_assert(offsetof(qel_mesh_header, flags) == 6);
static_assert(offsetof(qel_mesh_header, vertex_count) == 8);
static_assert(offsetof(qel_mesh_header, triangle_count) == 12);
static_assert(offsetof(qel_mesh_header, joint_count) == 16);
static_assert(offsetof(qel_mesh_header, reserved) == 20);
static_assert(offsetof(qel_mesh_header, bounds_min) == 24);
static_assert(offsetof(qel_mesh_header, bounds_max) == 36);
static_assert(offsetof(qel_mesh_header, positions_offset) == 48);
static_assert(offsetof(qel_mesh_header, normals_offset) == 52);
static_assert(offsetof(qel_mesh_header, indices_offset) == 56);
static_assert(offsetof(qel_mesh_header, skin_offset) == 60);

static_assert(sizeof(qel_skin_joint) == 328);
static_assert(offsetof(qel_skin_joint, joint_transform) == 200);
static_assert(sizeof(qel_skin_weight) == 20);
static_assert(offsetof(qel_skin_weight, weights) == 4);
static_assert(sizeof(qel_skin::bind_extra) == 128);

} // namespace qel
