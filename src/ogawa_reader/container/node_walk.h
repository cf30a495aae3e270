// SPDX-License-Identifier: MIT
// The walk over an archive's node tree: it lists the data nodes whose size is plausible for geometry.
#pragma once

#include "ogawa_reader/container/container.h"

#include <cstdint>
#include <cstdio>

namespace qel {

/// The walk for a mesh lists at most this many nodes, down to this level below the top object.
inline constexpr std::uint32_t max_listed_nodes = 500;
inline constexpr std::int32_t max_walk_depth = 20;

/// One walk, set up by its caller.
struct ogawa_node_collector {
    std::FILE *stream;
    std::uint64_t file_size;
    ogawa::extent *nodes;   // listed payloads, each after its size word; the file may end before `size` bytes
    std::uint32_t count;    // entries in use
    std::uint32_t capacity; // entries of `nodes`
    std::int32_t max_depth; // the deepest level that is visited
};

/// Finds the reference to the archive's top object, the root group's third child; false if there is none.
bool find_top_object(std::FILE *stream, std::uint64_t file_size, std::uint64_t &reference);

/// Appends the data nodes reachable from a reference on level `depth`, depth first and in file order, a node once per
/// path that leads to it. Its time is bounded for every file, cycles included: a reference below which nothing was
/// listed is not followed again, and at most 16,777,216 references are followed.
void ogawa_collect_data_nodes(ogawa_node_collector *collector, std::int64_t reference, std::int32_t depth);

} // namespace qel
