// SPDX-License-Identifier: MIT
#include "ogawa_reader/container/node_walk.h"

#include "ogawa_reader/container/walked_nodes.h"
#include "support/failing_heap.h"

#include <random>

namespace qel {
namespace {

using model::listed_node;
using namespace test;

constexpr std::uint64_t data_bit = archive_writer::data_bit;

/// A data node of a size. Its payload is not read.
std::uint64_t claim(archive_writer &archive, std::uint64_t size) {
    return archive.data_claiming(size, {});
}

/// A group of so many data nodes, of 1000 bytes and more.
std::uint64_t group_of_claims(archive_writer &archive, std::uint64_t count) {
    std::vector<std::uint64_t> children;
    for (std::uint64_t i = 0; i < count; ++i)
        children.push_back(claim(archive, 1000 + i));
    return archive.group(children);
}

/// Nested groups; the innermost holds the reference.
std::uint64_t nested(archive_writer &archive, std::uint64_t reference, int groups) {
    for (int i = 0; i < groups; ++i)
        reference = archive.group({reference});
    return reference;
}

TEST(DataNodes, AreListedFrom101To9999999Bytes) {
    archive_writer archive;
    std::vector<std::uint64_t> children;
    for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{100}, std::uint64_t{101}, std::uint64_t{9999999},
                                     std::uint64_t{10000000}, UINT64_MAX})
        children.push_back(claim(archive, size));
    const std::uint64_t group = archive.group(children);
    const std::vector<listed_node> expected = {{(children[2] & ~data_bit) + 8, 101},
                                               {(children[3] & ~data_bit) + 8, 9999999}};
    EXPECT_EQ(walk(archive, group), expected);
}

TEST(DataNodes, AreListedDepthFirstInFileOrderOncePerPath) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200), b = claim(archive, 300), c = claim(archive, 400);
    const std::uint64_t inner = archive.group({b, c});
    const std::uint64_t outer = archive.group({inner, a, inner, b});
    EXPECT_EQ(sizes(walk(archive, outer)), (size_list{300, 400, 200, 300, 400, 300}));
}

TEST(DataNodes, MayBeTheStartItself) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200);
    EXPECT_EQ(sizes(walk(archive, a)), size_list{200});
    EXPECT_EQ(sizes(walk(archive, a, {500, 0})), size_list{200});
    EXPECT_TRUE(walk(archive, claim(archive, 50)).empty());
}

TEST(DataNodes, AreAppendedAfterThoseAlreadyListed) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200), b = claim(archive, 300), c = claim(archive, 400);
    const std::uint64_t group = archive.group({a, b, c});
    const stored_archive stored(archive.content());
    ogawa::extent nodes[4] = {{1, 2}, {3, 4}, {0, 0}, {5, 6}};
    ogawa_node_collector collector = {stored.stream(), stored.length(), nodes, 1, 3, 20};
    ogawa_collect_data_nodes(&collector, static_cast<std::int64_t>(group), 0);
    EXPECT_EQ(collector.count, 3u);
    EXPECT_EQ((size_list{nodes[0].size, nodes[1].size, nodes[2].size, nodes[3].size}), (size_list{2, 200, 300, 6}));
}

TEST(DataNodes, StopSilentlyWhenTheListIsFull) {
    archive_writer archive;
    const std::uint64_t group = group_of_claims(archive, 600);
    const size_list all = sizes(walk(archive, group, {1000, 20}));
    EXPECT_EQ(all.size(), 600u);
    const size_list some = sizes(walk(archive, group));
    EXPECT_EQ(some, size_list(all.begin(), all.begin() + 500));
    EXPECT_TRUE(walk(archive, group, {0, 20}).empty());
}

TEST(DataNodes, OfAGroupWith1001ChildrenAreIgnored) {
    for (const std::size_t count : {std::size_t{1000}, std::size_t{1001}}) {
        archive_writer archive;
        std::vector<std::uint64_t> children(count, 0);
        children.back() = claim(archive, 200);
        const std::uint64_t group = archive.group(children);
        const std::uint64_t outer = archive.group({group, children.back()});
        EXPECT_EQ(walk(archive, outer).size(), count == 1000 ? 2u : 1u);
    }
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200);
    EXPECT_TRUE(walk(archive, archive.group_claiming(UINT64_MAX, {a})).empty());
    EXPECT_TRUE(walk(archive, archive.group_claiming(0, {a})).empty());
}

TEST(DataNodes, AreNotFoundThroughReferencesOutOfTheFile) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200);
    const std::uint64_t group_size = 8 + 8 * 8;
    const std::uint64_t length = archive.size() + group_size;
    const std::uint64_t group =
        archive.group({length, length | data_bit, length + 1, 0, data_bit, ~data_bit, UINT64_MAX, a});
    ASSERT_EQ(archive.size(), length);
    EXPECT_EQ(sizes(walk(archive, group)), size_list{200});
    for (const std::uint64_t reference : {length, length | data_bit, std::uint64_t{0}, data_bit})
        EXPECT_TRUE(walk(archive, reference).empty());
}

TEST(DataNodes, TwentyLevelsBelowTheStartAreListedAndTwentyOneAreNot) {
    for (const int groups : {20, 21}) {
        archive_writer archive;
        const std::uint64_t reference = nested(archive, claim(archive, 200), groups);
        EXPECT_EQ(walk(archive, reference).size(), groups == 20 ? 1u : 0u);
        EXPECT_EQ(walk(archive, reference, {500, 21}).size(), 1u);
        EXPECT_EQ(walk(archive, reference, {500, 21}, 1).size(), groups == 20 ? 1u : 0u);
    }
}

TEST(DataNodes, AreNotVisitedBelowTheDeepestLevelOrFromThere) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200);
    EXPECT_TRUE(walk(archive, a, {500, 20}, 21).empty());
    EXPECT_TRUE(walk(archive, a, {500, -1}).empty());
    EXPECT_EQ(walk(archive, a, {500, -1}, -1).size(), 1u) << "levels are signed";
    EXPECT_EQ(walk(archive, archive.group({a}), {500, -1}, -2).size(), 1u);
}

TEST(DataNodes, CutOffByTheFilesEndAreMissing) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200), b = claim(archive, 300);
    const std::uint64_t cut_size = archive.size() + 8 * 4;
    const std::uint64_t group = archive.group_claiming(5, {a, cut_size | data_bit, cut_size});
    archive.append_raw({1, 2, 3, 4, 5}); // neither a size word nor a child count, and half of a reference
    EXPECT_EQ(sizes(walk(archive, group)), size_list{200});
    EXPECT_EQ(sizes(walk(archive, archive.group_claiming(1000, {b, a}))), (size_list{300, 200}));
}

TEST(DataNodes, LargeGroupsAreReadWhole) {
    archive_writer archive;
    const std::uint64_t group = group_of_claims(archive, 1000);
    const size_list listed = sizes(walk(archive, group, {1000, 1}));
    ASSERT_EQ(listed.size(), 1000u);
    for (std::uint64_t i = 0; i < 1000; ++i)
        EXPECT_EQ(listed[i], 1000 + i);
}

TEST(DataNodes, OfAGroupWhoseChildrenHaveNoMemoryAreMissing) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200), b = claim(archive, 300);
    const std::uint64_t group = archive.group({a, a, a});
    const std::uint64_t outer = archive.group({group, b, group});
    const stored_archive stored(archive.content());
    EXPECT_EQ(sizes(walk(stored, outer)), (size_list{200, 200, 200, 300, 200, 200, 200}));
    const failing_heap heap = failing_heap::of_size(24);
    EXPECT_TRUE(walk(stored, outer).empty()) << "the outer group has three children, too";
    EXPECT_EQ(heap.failures(), 1u);
}

TEST(DataNodes, OfAGroupAreFoundAfterAFailedAllocation) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200);
    const std::uint64_t inner = archive.group({a, a, a});
    const std::uint64_t empty = claim(archive, 50);
    const std::uint64_t middle = archive.group({inner, empty});
    const std::uint64_t outer = archive.group({middle, middle});
    const stored_archive stored(archive.content());
    // The window, the outer group, the middle one; the fourth allocation is the inner group's.
    const failing_heap heap = failing_heap::nth(4);
    EXPECT_EQ(sizes(walk(stored, outer)), (size_list{200, 200, 200}));
    EXPECT_EQ(heap.failures(), 1u);
}

/// Groups that refer to themselves and to each other, and data nodes among them. Gives the group to start from.
std::uint64_t write_cycles(stored_archive &stored) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200), small = claim(archive, 50);
    const std::uint64_t first = archive.size(), second = first + 8 + 4 * 8, third = second + 8 + 3 * 8;
    archive.group({second, small, first, third});
    archive.group({first, second, third});
    archive.group({third, small, second});
    const std::uint64_t start = archive.group({first, second, third, a, third});
    stored.store(archive.content());
    return start;
}

TEST(DataNodes, AreTheSameWithoutMemoryForAnythingButTheGroups) {
    stored_archive stored;
    const std::uint64_t start = write_cycles(stored);
    const walk_limits allowed = {500, 8};
    ASSERT_EQ(sizes(walk(stored, start, allowed)), size_list{200});
    for (const std::size_t size : {std::size_t{256} << 10, std::size_t{8192}}) { // the window, the memory of groups
        const failing_heap heap = failing_heap::of_size(size);
        EXPECT_EQ(sizes(walk(stored, start, allowed)), size_list{200});
        EXPECT_GT(heap.failures(), 0u) << size;
    }
}

TEST(DataNodes, LeaveNothingOnTheHeap) {
    stored_archive stored;
    const std::uint64_t start = write_cycles(stored);
    for (std::uint64_t n = 0; n < 20; ++n) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::nth(n);
        walk(stored, start);
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST(DataNodes, OfAGroupOfThousandReferencesToItselfEndQuickly) {
    archive_writer archive;
    const std::uint64_t itself = archive.size();
    archive.group(std::vector<std::uint64_t>(1000, itself));
    EXPECT_TRUE(walk(archive, itself).empty());
    EXPECT_TRUE(walk(archive, itself, {500, 1000}).empty());
}

TEST(DataNodes, OfAGroupThatReferencesItselfFillTheList) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200), b = claim(archive, 300);
    const std::uint64_t itself = archive.size();
    std::vector<std::uint64_t> children(1000, itself);
    children[998] = a;
    children[999] = b;
    archive.group(children);
    const size_list listed = sizes(walk(archive, itself));
    ASSERT_EQ(listed.size(), 500u);
    for (std::size_t i = 0; i < 500; ++i)
        EXPECT_EQ(listed[i], i % 2 == 0 ? 200u : 300u);
}

TEST(DataNodes, AreReachedAfterLayersOfSharedGroups) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200);
    std::uint64_t layer = archive.group({}); // 300^15 paths lead to empty groups
    for (int i = 0; i < 15; ++i)
        layer = archive.group(std::vector<std::uint64_t>(300, layer));
    EXPECT_EQ(sizes(walk(archive, archive.group({layer, a}))), size_list{200});
}

TEST(DataNodes, AreReachedAfterLayersOfInvalidReferences) {
    archive_writer archive;
    const std::uint64_t a = claim(archive, 200), beyond = std::uint64_t{1} << 40;
    std::uint64_t deep = archive.group({a});
    for (int i = 0; i < 10; ++i)
        deep = archive.group({deep});
    for (const std::uint64_t end :
         {beyond, beyond | data_bit, data_bit, claim(archive, 5), archive.group_claiming(1001, {}), deep}) {
        std::uint64_t layer = archive.group({end});
        for (int i = 0; i < 15; ++i)
            layer = archive.group(std::vector<std::uint64_t>(300, layer));
        EXPECT_EQ(sizes(walk(archive, archive.group({layer, a}))), size_list{200}) << end;
    }
}

TEST(DataNodes, AreListedAtTheirLeastDepth) {
    // Too deep at first: a group that listed nothing there has to be walked again nearer to the start.
    archive_writer archive;
    std::uint64_t chain = claim(archive, 200);
    for (int i = 0; i < 5; ++i)
        chain = archive.group({chain, 0});
    const std::uint64_t detour = nested(archive, chain, 4);
    const std::uint64_t start = archive.group({detour, chain, detour});
    EXPECT_EQ(sizes(walk(archive, start, {500, 8})), size_list{200});
    EXPECT_EQ(sizes(walk(archive, start, {500, 10})), (size_list{200, 200, 200}));
}

/// 17 lists of in all 16 760 references, each to a different group, of 1000 references to one empty group; then a list
/// of `rest` references to that group, among null ones, which do not count; then a data node. The groups overlap: any
/// word among them is both a child count and a reference.
std::uint64_t write_groups_of_thousands(archive_writer &archive, std::uint64_t rest) {
    archive.pad_to(1000);
    constexpr std::uint64_t groups = 16'760;
    for (std::uint64_t i = 0; i < groups + 1001; ++i)
        archive.append_raw(test::bytes_of(std::vector<std::uint64_t>{1000}));
    std::vector<std::uint64_t> children;
    std::vector<std::uint64_t> own;
    for (std::uint64_t i = 0; i < groups; ++i) {
        own.push_back(1000 + 8 * i);
        if (own.size() < 1000 && i + 1 < groups) continue;
        children.push_back(archive.group(own));
        own.clear();
    }
    own.assign(1000, 0);
    std::fill_n(own.begin(), rest, children[0]);
    children.push_back(archive.group(own));
    children.push_back(claim(archive, 200));
    return archive.group(children);
}

TEST(DataNodes, FollowsAtMost16777216References) {
    archive_writer fits, too_many;
    const std::uint64_t start_of_fitting = write_groups_of_thousands(fits, 436);
    const std::uint64_t start_of_too_many = write_groups_of_thousands(too_many, 437);
    EXPECT_EQ(sizes(walk(fits, start_of_fitting, {500, 3})), size_list{200});
    EXPECT_TRUE(walk(too_many, start_of_too_many, {500, 3}).empty());
}

TEST(DataNodes, OfADenseHostileFileEndQuickly) {
    // Every word is a small child count, or a reference to a group or a data node somewhere in the file.
    std::mt19937_64 random(7);
    archive_writer archive;
    constexpr std::uint64_t length = 1 << 20;
    while (archive.size() < length) {
        const std::uint64_t at = 16 + random() % (length / 8 - 2) * 8;
        const std::uint64_t words[3] = {1 + random() % 1000, at, at | data_bit};
        archive.append_raw(test::bytes_of(std::vector<std::uint64_t>{words[random() % 3]}));
    }
    const stored_archive stored(archive.content());
    for (std::uint64_t start = 16; start < 16 + 100 * 8; start += 8)
        walk(stored, start);
}

class DataNodesRandom : public testing::Test {
  protected:
    /// Walks both ways; false when the naive one would take too long.
    bool expect_same(const bytes &content, std::uint64_t reference, walk_limits allowed) {
        stored.store(content);
        model::node_walk naive{stored.stream(), content.size(), allowed.capacity, allowed.max_depth, {}};
        naive.max_visits = 20000;
        naive.visit(static_cast<std::int64_t>(reference), 0);
        const std::vector<listed_node> listed = walk(stored, reference, allowed);
        if (naive.gave_up()) return false;
        EXPECT_EQ(listed, naive.nodes);
        return true;
    }

    std::uint64_t below(std::uint64_t end) { return random() % end; }

    std::mt19937_64 random{42};
    stored_archive stored;
};

TEST_F(DataNodesRandom, TreesAndCyclesListTheSameAsTheNaiveWalk) {
    const std::uint64_t data_sizes[] = {0, 50, 100, 101, 102, 5000, 9999998, 9999999, 10000000, UINT64_MAX};
    int compared = 0, listed_some = 0;
    for (int round = 0; round < 3000; ++round) {
        archive_writer archive;
        std::vector<std::uint64_t> references = {0, data_bit, 1000000, 1000000 | data_bit};
        const std::uint64_t nodes = 2 + below(20);
        const bool forward = below(2) == 0; // references to what comes later make cycles
        for (std::uint64_t i = 0; i < nodes; ++i) {
            if (below(3) == 0) {
                references.push_back(claim(archive, data_sizes[below(std::size(data_sizes))]));
                continue;
            }
            std::vector<std::uint64_t> children(below(6));
            for (std::uint64_t &child : children) {
                child = references[below(references.size())];
                if (forward && below(3) == 0) child = 16 + 8 * below(100);
            }
            const std::uint64_t claimed = below(10) == 0 ? below(1100) : children.size();
            references.push_back(archive.group_claiming(claimed, children));
        }
        bytes content = archive.content();
        if (below(4) == 0) content.resize(16 + below(content.size() - 15));
        const walk_limits allowed = {static_cast<std::uint32_t>(below(12) == 0 ? below(4) : 40),
                                     static_cast<std::int32_t>(below(8))};
        if (!expect_same(content, references[references.size() - 1 - below(3)], allowed)) continue;
        ++compared;
        listed_some += !walk(stored, references.back(), allowed).empty();
        if (HasFailure()) FAIL() << "round " << round;
    }
    EXPECT_GT(compared, 2500);
    EXPECT_GT(listed_some, 500);
}

TEST_F(DataNodesRandom, WordsAtAnyOffsetListTheSameAsTheNaiveWalk) {
    int compared = 0;
    for (int round = 0; round < 2000; ++round) {
        bytes content(16);
        const std::uint64_t length = 64 + below(400);
        while (content.size() < length) {
            const std::uint64_t kind = below(8);
            const std::uint64_t word = kind < 3   ? below(4)
                                       : kind < 5 ? 16 + below(length)
                                       : kind < 7 ? (16 + below(length)) | data_bit
                                                  : 90 + below(30);
            test::append(content, word);
            if (below(10) == 0) content.push_back(static_cast<std::uint8_t>(below(3)));
        }
        const walk_limits allowed = {static_cast<std::uint32_t>(1 + below(30)), static_cast<std::int32_t>(below(7))};
        for (int i = 0; i < 5; ++i)
            compared += expect_same(content, 16 + below(length), allowed);
        if (HasFailure()) FAIL() << "round " << round;
    }
    EXPECT_GT(compared, 8000);
}

} // namespace
} // namespace qel
