// SPDX-License-Identifier: MIT
// The walk over an archive's node tree: it lists the data nodes whose size is plausible for geometry.
#pragma once

#include <cstdint>
#include <cstdio>

namespace qel {

/// Set in a reference to a data node, clear in one to a group. The other bits are the node's position.
constexpr std::uint64_t data_node_bit = std::uint64_t{1} << 63;

/// One listed data node.
struct ogawa_data_node {
    std::uint64_t payload_at;   // absolute position of the first payload byte
    std::uint64_t payload_size; // the node's size word; the payload may end before
};

/// One walk, set up by its caller.
struct ogawa_node_collector {
    std::FILE *stream;
    std::uint64_t file_size;
    ogawa_data_node *nodes; // the caller's
    std::uint32_t count;    // entries in use
    std::uint32_t capacity; // entries there are
    std::int32_t max_depth; // the deepest level that is visited
};

/// Appends the data nodes reachable from a reference on level `depth`, depth first and in file order, a node
/// once for every way that leads to it. It ends quickly on any file, cycles included: what once listed
/// nothing is not walked again, and at most 16,777,216 references are followed.
void ogawa_collect_data_nodes(ogawa_node_collector *collector, std::int64_t reference, std::int32_t depth);

} // namespace qel
