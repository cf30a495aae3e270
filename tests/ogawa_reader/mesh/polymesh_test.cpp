// SPDX-License-Identifier: MIT
// Whole reads through the node tree.
#include "ogawa_reader/mesh/read_mesh.h"
#include "support/failing_heap.h"
#include "support/mesh_maker.h"
#include "support/stream_position.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qel {
namespace {

using namespace test;

const plain_mesh &torus() {
    static const plain_mesh mesh = test::make_torus(40, 40, 3.0f, 1.0f);
    return mesh;
}

bytes torus_archive() {
    return test::production_archive(torus()).content();
}

bytes some_positions(float value = 7) {
    return payload_of<float>({value}, 12012);
}

TEST(Polymesh, OfAProductionArchiveIsReadWhole) {
    const read_mesh read(torus_archive());
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.positions(), torus().positions);
    EXPECT_EQ(read.normals(), torus().corner_normals);
    EXPECT_EQ(read.mesh.normal_scope, OGAWA_SCOPE_FACE_VARYING);
    EXPECT_EQ(read.face_counts(), torus().face_counts);
    EXPECT_EQ(read.face_indices(), torus().face_indices);
    EXPECT_TRUE(test::agrees_with_model(stored_archive(torus_archive())));
}

TEST(Polymesh, HasItsBoundsTwiceAndTheIdentityAsTransform) {
    const read_mesh read(torus_archive());
    EXPECT_FLOAT_EQ(read.mesh.bounds_min[0], -4.0f);
    EXPECT_FLOAT_EQ(read.mesh.bounds_max[0], 4.0f);
    EXPECT_FLOAT_EQ(read.mesh.bounds_min[2], -1.0f);
    EXPECT_FLOAT_EQ(read.mesh.bounds_max[2], 1.0f);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(read.mesh.self_bounds_min[i], read.mesh.bounds_min[i]);
        EXPECT_EQ(read.mesh.self_bounds_max[i], read.mesh.bounds_max[i]);
    }
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(read.mesh.transform[i], i % 5 == 0 ? 1.0 : 0.0);
    EXPECT_EQ(read.mesh.reserved_word, 1u);
}

TEST(Polymesh, RefusesANullRecord) {
    const stored_archive archive(torus_archive());
    EXPECT_EQ(ogawa_read_polymesh(&archive.record, nullptr, 0, nullptr), -1);
}

TEST(Polymesh, TakesNameAndPathOfTheObject) {
    const stored_archive archive(torus_archive());
    ogawa_object object = {};
    std::strcpy(object.name, "torusShape");
    std::strcpy(object.path, "/torus/torusShape");
    const read_mesh read(archive, &object);
    EXPECT_STREQ(read.mesh.name, "torusShape");
    EXPECT_STREQ(read.mesh.path, "/torus/torusShape");
    EXPECT_EQ(read.mesh.vertex_count, 1600u);

    std::memset(&object, 'x', sizeof object); // no terminators, and pointers that must not be followed
    const read_mesh cut(archive, &object);
    EXPECT_EQ(cut.mesh.name, std::string(255, 'x'));
    EXPECT_EQ(cut.mesh.path, std::string(1023, 'x'));
}

TEST(Polymesh, IsTheSameForEverySample) {
    const stored_archive archive(torus_archive());
    const read_mesh expected(archive);
    for (const std::uint64_t sample : {std::uint64_t{1}, UINT64_MAX}) {
        ogawa_polymesh mesh;
        ASSERT_EQ(ogawa_read_polymesh(&archive.record, nullptr, sample, &mesh), 0);
        EXPECT_TRUE(model::same_polymesh(mesh, expected.mesh));
        ogawa_free_polymesh(&mesh);
    }
}

TEST(Polymesh, ReadsFacesOfMixedSizes) {
    std::mt19937 random(3);
    const plain_mesh mesh = test::make_random_mesh(random, 1000, 900, 50, 3, 5);
    const read_mesh read(test::production_archive(mesh).content());
    EXPECT_EQ(read.positions(), mesh.positions);
    EXPECT_EQ(read.face_counts(), mesh.face_counts);
    EXPECT_EQ(read.face_indices(), mesh.face_indices);
}

TEST(PolymeshTree, IsSearchedBelowTheRootsThirdChildOnly) {
    archive_writer archive;
    archive.pad_to(3000, 0xFF);
    const std::uint64_t larger = archive.data(payload_of<float>({9}, 24000));
    const std::uint64_t top = archive.group({archive.data(some_positions(7))});
    archive.set_root(archive.group({larger, larger, top, larger, larger}));
    EXPECT_EQ(read_mesh(archive.content()).positions(), std::vector<float>(3003, 7.0f));
}

TEST(PolymeshTree, MayBeOneDataNode) {
    archive_writer archive;
    archive.pad_to(3000, 0xFF);
    const std::uint64_t node = archive.data(some_positions());
    archive.set_root(archive.group({0, 0, node}) | archive_writer::data_bit); // the root's kind is ignored
    EXPECT_EQ(read_mesh(archive.content()).mesh.vertex_count, 1001u);
}

TEST(PolymeshTree, IsSearchedTwentyLevelsDeep) {
    for (const int groups : {20, 21}) {
        archive_writer archive;
        archive.pad_to(3000, 0xFF);
        std::uint64_t reference = archive.data(some_positions());
        for (int i = 0; i < groups; ++i)
            reference = archive.group({reference});
        archive.finish(reference);
        EXPECT_EQ(read_mesh(archive.content()).status, groups == 20 ? 0 : -1);
    }
}

TEST(PolymeshTree, IsSearchedForFiveHundredNodes) {
    for (const std::size_t others : {499u, 500u}) {
        archive_writer archive;
        archive.pad_to(3000, 0xFF);
        std::vector<std::uint64_t> nodes(others, archive.data(bytes(101)));
        nodes.push_back(archive.data(some_positions()));
        archive.finish(archive.group(nodes));
        EXPECT_EQ(read_mesh(archive.content()).status, others == 499 ? 0 : -1);
    }
}

TEST(PolymeshTree, WithARootOfTwoChildrenIsNotSearched) {
    archive_writer archive;
    archive.pad_to(3000, 0xFF);
    const std::uint64_t node = archive.data(some_positions());
    archive.set_root(archive.group_claiming(2, {node, node, node}));
    EXPECT_EQ(read_mesh(archive.content()).status, -1);
    archive.set_root(archive.group_claiming(3, {node, node, node}));
    EXPECT_EQ(read_mesh(archive.content()).status, 0);
    archive.set_root(archive.group_claiming(UINT64_MAX, {node, node, node}));
    EXPECT_EQ(read_mesh(archive.content()).status, 0) << "the root may claim any number above that";
}

TEST(PolymeshTree, WhoseRootIsOutOfTheFileIsNotSearched) {
    archive_writer archive = test::four_arrays();
    const stored_archive whole(archive.content());
    ASSERT_EQ(read_mesh(whole).status, 0);
    for (const std::uint64_t root : {std::uint64_t{0}, archive_writer::data_bit, archive.size(), archive.size() - 1,
                                     archive.size() - 8, archive.size() - 31, UINT64_MAX}) {
        archive.set_root(root);
        EXPECT_EQ(read_mesh(archive.content()).status, -1) << root;
    }
}

TEST(PolymeshTree, WhoseRootIsEmptyIsNotSearchedAtTheFilesStart) {
    archive_writer archive;
    archive.pad_to(3000, 0xFF);
    archive.patch(24, archive.data(some_positions())); // the header's third child, were it a group
    for (const std::uint64_t root : {archive_writer::empty_group, archive_writer::empty_data}) {
        archive.set_root(root);
        EXPECT_EQ(read_mesh(archive.content()).status, -1) << root;
    }
}

TEST(PolymeshTree, WithoutPositionsIsFollowedByTheByteSearch) {
    archive_writer archive;
    archive.data(some_positions(8)); // near the file's start, in no group
    archive.pad_to(20000, 0xFF);
    archive.finish(archive.group({archive.data(payload_of<std::uint32_t>({4}, 2000))}));
    const read_mesh read(archive.content());
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.positions(), std::vector<float>(3003, 8.0f));
    EXPECT_NE(read.mesh.face_count, 500u);
}

TEST(PolymeshTree, WithPositionsButNoFacesIsNotFollowedByTheByteSearch) {
    archive_writer archive = archive_of({some_positions()});
    for (std::uint32_t i = 0; i < 300; ++i) // which the byte search would take for triangles
        archive.append_raw(test::bytes_of(std::vector<std::uint32_t>{i}));
    const read_mesh read(archive.content());
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.mesh.face_count, 0u);
    EXPECT_EQ(read.mesh.face_counts, nullptr);
    EXPECT_EQ(read.mesh.face_index_count, 0u);
    EXPECT_EQ(read.mesh.face_indices, nullptr);
    EXPECT_EQ(read.mesh.normals, nullptr);
    EXPECT_EQ(read.mesh.normal_count, 0u);
    EXPECT_EQ(read.mesh.normal_scope, 0u);
}

TEST(PolymeshArrays, AreSearchedInTheBytesWithoutMemoryForTheNodeList) {
    archive_writer archive;
    const std::uint64_t positions = archive.data(some_positions());
    archive.finish(archive.group({positions, archive.data(payload_of<std::uint32_t>({4}, 2000))}));
    const stored_archive stored(archive.content());
    EXPECT_EQ(read_mesh(stored).mesh.face_count, 500u);
    const failing_heap heap = failing_heap::of_size(8000); // 500 nodes
    const read_mesh read(stored);
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.positions(), std::vector<float>(3003, 7.0f));
    EXPECT_NE(read.mesh.face_count, 500u);
}

TEST(PolymeshArrays, AreEmptyWithoutARootReference) {
    bytes header = archive_writer().content();
    header.resize(12);
    const read_mesh read(header);
    EXPECT_EQ(read.status, -1);
    EXPECT_EQ(read.mesh.positions, nullptr);
}

TEST(PolymeshArrays, BeyondFourGibibytesAreRead) {
    archive_writer far_part; // whose positions all get this offset
    constexpr std::uint64_t offset = std::uint64_t{5} << 30;
    far_part.pad_to(64, 0);
    const std::uint64_t positions = far_part.data(some_positions());
    const std::uint64_t indices = far_part.data(payload_of<std::uint32_t>({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 10004));
    const std::uint64_t inner = far_part.group({positions + offset, indices + offset});
    const std::uint64_t root = far_part.group({0, 0, inner + offset});
    bytes header(16);
    test::put(header, 8, root + offset);

    stored_archive archive(header);
    std::error_code refused;
    std::filesystem::resize_file(archive.path(), offset, refused);
    std::FILE *out = refused ? nullptr : std::fopen(archive.path().c_str(), "r+b");
    const bool written = out != nullptr && test::seek_stream(out, offset) &&
                         std::fwrite(far_part.content().data(), 1, far_part.size(), out) == far_part.size();
    if (out != nullptr) std::fclose(out);
    if (!written) GTEST_SKIP() << "no file of 5 GiB here";

    const read_mesh read(archive);
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.positions(), std::vector<float>(3003, 7.0f));
    EXPECT_EQ(read.mesh.face_index_count, 2501u);
    EXPECT_TRUE(test::agrees_with_model(archive));
}

} // namespace
} // namespace qel
