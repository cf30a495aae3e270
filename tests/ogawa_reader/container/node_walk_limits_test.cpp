// SPDX-License-Identifier: MIT
// Walks at levels and positions that do not fit the list of empty references: they list the same as the naive walk.
#include "ogawa_reader/container/walked_nodes.h"

namespace qel {
namespace {

using namespace test;

/// A group that refers to an empty group twice, then to a data node.
std::uint64_t write_tree(archive_writer &archive) {
    const std::uint64_t empty = archive.group({archive.data_claiming(5, {}), archive.data_claiming(6, {})});
    return archive.group({empty, empty, archive.data_claiming(500, {})});
}

node_list naive(const stored_archive &archive, std::uint64_t reference, std::int32_t depth,
                std::int32_t max_depth, std::uint64_t file_size) {
    model::node_walk walk = {archive.stream(), file_size, 10, max_depth, {}};
    walk.visit(static_cast<std::int64_t>(reference), depth);
    return walk.nodes;
}

TEST(DataNodesLimits, AreTheSameNodesAtAnyLevel) {
    archive_writer writer;
    const std::uint64_t tree = write_tree(writer);
    const stored_archive archive(writer.content());
    for (const std::int32_t depth : {-70'000, -2, -1, 0, 1, 65'533, 65'535, 65'536, 70'000}) {
        const node_list found = walk(archive, tree, {10, depth + 2}, depth);
        EXPECT_EQ(found, naive(archive, tree, depth, depth + 2, archive.length())) << "from level " << depth;
        ASSERT_EQ(found.size(), 1u) << "from level " << depth;
        EXPECT_EQ(found[0].payload_size, 500u);
        EXPECT_EQ(walk(archive, tree, {10, depth}, depth), node_list{});
    }
}

TEST(DataNodesLimits, AreTheSameNodesAmongReferencesBeyondAnyFile) {
    archive_writer writer;
    std::vector<std::uint64_t> children;
    for (const int bit : {46, 47, 48, 62}) {
        children.push_back(std::uint64_t{1} << bit);
        children.push_back(std::uint64_t{1} << bit | archive_writer::data_bit);
    }
    children.push_back(writer.data_claiming(700, {}));
    const std::uint64_t tree = writer.group({writer.group(children), writer.group(children)});
    const stored_archive archive(writer.content());
    constexpr std::uint64_t any_size = UINT64_MAX; // so that the references are tried
    const node_list found = walk(archive, tree, {10, 20}, 0, any_size);
    EXPECT_EQ(found, naive(archive, tree, 0, 20, any_size));
    EXPECT_EQ(found.size(), 2u);
}

} // namespace
} // namespace qel
