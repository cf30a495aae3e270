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

node_list naive(const stored_archive &archive, std::uint64_t reference, std::int32_t depth, std::int32_t max_depth,
                std::uint64_t file_size) {
    model::node_walk walk = {archive.stream(), file_size, 10, max_depth, {}};
    walk.visit(static_cast<std::int64_t>(reference), depth);
    return walk.nodes;
}

TEST(DataNodesLimits, AreFoundFromAnyStartDepth) {
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

/// So many references to empty data that the table of them grows and is rebuilt.
std::vector<std::uint64_t> many_empty(archive_writer &archive) {
    std::vector<std::uint64_t> references(900);
    for (std::uint64_t &reference : references)
        reference = archive.data_claiming(5, {});
    return references;
}

TEST(DataNodesLimits, AreListedWhereAGroupOfTheSamePositionIsEmpty) {
    archive_writer writer;
    writer.append_raw({0});                                               // odd positions
    const std::uint64_t both = writer.data_claiming(150, bytes(150 * 8)); // as a group, 150 empty children
    const std::uint64_t group = both & ~archive_writer::data_bit;
    ASSERT_EQ(group % 2, 1u);
    std::vector<std::uint64_t> children = many_empty(writer);
    children.insert(children.begin(), group);
    children.push_back(both);
    const std::uint64_t tree = writer.group(children);
    const stored_archive archive(writer.content());
    for (const std::int32_t depth : {0, 65'535, 65'536, 70'000})
        EXPECT_EQ(sizes(walk(archive, tree, {10, depth + 3}, depth)), size_list{150}) << "from level " << depth;
}

TEST(DataNodesLimits, AreListedBesideAnEmptyGroupThatBeginsOneByteBefore) {
    // A child count of 256 is 1 if it is read from the second byte on.
    archive_writer writer;
    const std::uint64_t wanted = writer.data_claiming(500, {});
    bytes group = bytes_of(std::vector<std::uint64_t>{256});
    append(group, std::uint8_t{0});
    append(group, wanted);
    group.resize(8 + 256 * 8);
    for (const std::size_t padding : {0u, 1u}) {
        while (writer.size() % 2 != padding)
            writer.append_raw({0});
        const std::uint64_t before = writer.size();
        writer.append_raw(group);
        const std::uint64_t tree = writer.group({before, before + 1});
        EXPECT_EQ(sizes(walk(writer, tree)), size_list{500}) << before;
    }
}

TEST(DataNodesLimits, AreListedWhereTheSamePositionWithAHigherBitIsBeyondTheFile) {
    archive_writer writer;
    const std::uint64_t wanted = writer.data_claiming(500, {});
    const std::uint64_t group = writer.group({wanted});
    std::vector<std::uint64_t> children = many_empty(writer);
    for (int bit = 40; bit < 63; ++bit)
        for (const std::uint64_t reference : {wanted, group})
            children.insert(children.begin(), reference | std::uint64_t{1} << bit);
    children.push_back(wanted);
    children.push_back(group);
    const std::uint64_t tree = writer.group(children);
    const stored_archive archive(writer.content());
    constexpr std::uint64_t any_size = UINT64_MAX; // so that the references are tried
    EXPECT_EQ(sizes(walk(archive, tree, {10, 20}, 0, any_size)), (size_list{500, 500}));
}

TEST(DataNodesLimits, AreListedAmongReferencesBeyondAnyFile) {
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

TEST(DataNodesLimits, AreReachedAfterManyReferencesToEmptyData) {
    archive_writer writer;
    const std::uint64_t nothing = writer.size();
    constexpr std::uint64_t groups = 400;
    writer.pad_to(nothing + groups * 1000 + 8);
    std::vector<std::uint64_t> children;
    for (std::uint64_t group = 0; group < groups; ++group) {
        std::vector<std::uint64_t> own(1000);
        for (std::uint64_t i = 0; i < 1000; ++i)
            own[i] = (nothing + group * 1000 + i) | archive_writer::data_bit;
        children.push_back(writer.group(own));
    }
    children.push_back(writer.data_claiming(500, {}));
    EXPECT_EQ(sizes(walk(writer, writer.group(children))), size_list{500});
}

TEST(DataNodesLimits, AreNotFoundAtPositionZeroOrAtTheEnd) {
    bytes content;
    put_all(content, 0, std::vector<std::uint64_t>{200, 300});
    const stored_archive archive(content);
    EXPECT_EQ(sizes(walk(archive, archive_writer::data_bit)), size_list{}) << "a reference to 0 is empty";
    const std::uint64_t second = archive_writer::data_bit | 8;
    EXPECT_EQ(sizes(walk(archive, second, {10, 20}, 0, 9)), size_list{300});
    EXPECT_EQ(sizes(walk(archive, second, {10, 20}, 0, 8)), size_list{}) << "the given size ends there";
}

TEST(DataNodesLimits, MayBeReferredToByAGroupAtPositionOne) {
    bytes content;
    put_all(content, 1, std::vector<std::uint64_t>{1, archive_writer::data_bit | 24});
    put(content, 24, std::uint64_t{300});
    put_all(content, 32, std::vector<std::uint64_t>{3, 1}); // a group of three, of which the file holds one
    const stored_archive archive(content);
    EXPECT_EQ(sizes(walk(archive, 32)), size_list{300});
}

TEST(DataNodesLimits, AreListedWhereAGroupIsReadInPieces) {
    // The walk reads 4096 bytes from the outer group on, then 8192 from the first child, which ends after them. The
    // second child's references are held except the last byte, or except more.
    constexpr std::uint64_t outer = 16, first = outer + 4090, second = first + 8192 - 4103 - 8, data = 20'000;
    for (const std::uint64_t children : {513u, 900u}) {
        bytes content;
        put_all(content, outer, std::vector<std::uint64_t>{2, first | archive_writer::data_bit, second});
        std::vector<std::uint64_t> group(1 + children, 0);
        group.front() = children;
        group.back() = data | archive_writer::data_bit;
        put_all(content, second, group);
        put(content, data, std::uint64_t{300});
        EXPECT_EQ(sizes(walk(stored_archive(content), outer)), size_list{300}) << children;
    }
}

TEST(DataNodesLimits, AreReachedAfterLayersOfReferencesToTheLastByte) {
    bytes content;
    for (int round = 0; round < 2; ++round) { // the first one finds how long the file is
        archive_writer writer;
        const std::uint64_t wanted = writer.data_claiming(200, {});
        std::uint64_t layer = writer.group({content.size() - 1});
        for (int i = 0; i < 15; ++i)
            layer = writer.group(std::vector<std::uint64_t>(300, layer));
        const std::uint64_t start = writer.group({layer, wanted});
        if (round == 1) {
            EXPECT_EQ(sizes(walk(writer, start)), size_list{200});
        }
        content = writer.content();
    }
}

TEST(TopObject, IsNotFoundIfAnyReferenceToItIsMissing) {
    const auto found = [](const bytes &content, std::uint64_t size) {
        const stored_archive archive(content);
        std::uint64_t reference = 0;
        const bool is_there = find_top_object(archive.stream(), size, reference);
        return is_there ? std::optional(reference) : std::nullopt;
    };
    bytes content(16);
    put(content, 8, std::uint64_t{16});
    put_all(content, 16, std::vector<std::uint64_t>{3, 0, 0, 77});
    EXPECT_EQ(found(content, 17), 77u);
    EXPECT_EQ(found(content, 16), std::nullopt) << "the root is past the given size";
    put(content, 16, std::uint64_t{2});
    EXPECT_EQ(found(content, 17), std::nullopt) << "the root has two children";
    content.resize(47);
    EXPECT_EQ(found(content, 17), std::nullopt) << "the file ends within its reference";
    content.resize(15);
    EXPECT_EQ(found(content, 17), std::nullopt) << "the file ends within the root's";
}

} // namespace
} // namespace qel
