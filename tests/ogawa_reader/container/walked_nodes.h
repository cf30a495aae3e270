// SPDX-License-Identifier: MIT
// The data nodes that a walk lists, in a list of its capacity.
#pragma once

#include "ogawa_reader/container/node_walk.h"

#include "model/node_walk_model.h"
#include "ogawa_reader/container/stored_archive.h"
#include "support/archive_writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace qel::test {

using node_list = std::vector<model::listed_node>;
using size_list = std::vector<std::uint64_t>;

struct walk_limits {
    std::uint32_t capacity = 500;
    std::int32_t max_depth = 20;
};

/// The walk is given the file's size, or another one.
inline node_list walk(const stored_archive &archive, std::uint64_t reference, walk_limits allowed = {},
                      std::int32_t depth = 0, std::optional<std::uint64_t> size = std::nullopt) {
    std::vector<ogawa::extent> nodes(allowed.capacity + 1, {0, 0}); // one more, which must stay
    ogawa_node_collector collector = {
        archive.stream(), size.value_or(archive.length()), nodes.data(), 0, allowed.capacity, allowed.max_depth};
    ogawa_collect_data_nodes(&collector, static_cast<std::int64_t>(reference), depth);
    EXPECT_LE(collector.count, allowed.capacity);
    EXPECT_EQ(nodes[allowed.capacity].at, 0u);
    node_list listed;
    for (std::uint32_t i = 0; i < collector.count; ++i)
        listed.push_back({nodes[i].at, nodes[i].size});
    return listed;
}

inline node_list walk(const archive_writer &content, std::uint64_t reference, walk_limits allowed = {},
                      std::int32_t depth = 0) {
    return walk(stored_archive(content.content()), reference, allowed, depth);
}

inline size_list sizes(const node_list &nodes) {
    size_list result;
    for (const model::listed_node &node : nodes)
        result.push_back(node.payload_size);
    return result;
}

} // namespace qel::test
