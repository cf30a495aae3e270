// SPDX-License-Identifier: MIT
#include "model/mesh_cache_model.h"
#include "ogawa_reader/cache/cache_cases.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel {
namespace {

using namespace test;

using floats = std::vector<float>;
using numbers = std::vector<std::uint32_t>;

class MeshCacheSave : public test::mesh_cache_saving {};

TEST_F(MeshCacheSave, WritesTheBareMeshByteForByte) {
    cache_mesh mesh;
    mesh.positions = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    mesh.face_counts = {3};
    mesh.face_indices = {0, 1, 2};
    ogawa_polymesh record = mesh.record();
    std::copy_n(mesh.positions.begin(), 3, record.bounds_min);
    std::copy_n(mesh.positions.begin() + 6, 3, record.bounds_max);

    bytes expected = {'Q', 'E', 'L', 'M', 2, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0};
    for (const float bound : {1.0f, 2.0f, 3.0f, 7.0f, 8.0f, 9.0f})
        test::append(expected, bound);
    for (const std::uint32_t offset : {64u, 0u, 100u, 0u})
        test::append(expected, offset);
    for (const float coordinate : mesh.positions)
        test::append(expected, coordinate);
    for (const std::uint32_t vertex : {0u, 1u, 2u})
        test::append(expected, vertex);
    EXPECT_EQ(saved(record), expected);
}

TEST_F(MeshCacheSave, CopiesBoundsUnchecked) {
    cache_mesh mesh = quad();
    ogawa_polymesh record = mesh.record();
    const std::uint32_t odd[3] = {0x7F800001, 0xFFFFFFFF, 0x80000000}; // a signalling NaN among them
    std::memcpy(record.bounds_min, odd, sizeof odd);
    const bytes file = saved(record);
    EXPECT_EQ(values_at<std::uint32_t>(file, 24, 6), (numbers{0x7F800001, 0xFFFFFFFF, 0x80000000, 0, 0, 0}));
}

TEST_F(MeshCacheSave, WritesVertexNormalsBitForBit) {
    cache_mesh mesh = quad();
    mesh.normals = {3, 0, 0, 0, -0.0f, 0, 1e-30f, 1, 2, NAN, INFINITY, -1};
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    const bytes file = saved(mesh.record());
    const qel_mesh_header header = header_of(file);
    EXPECT_EQ(header.flags, QEL_MESH_HAS_NORMALS);
    EXPECT_EQ(header.normals_offset, 64u + 48u);
    EXPECT_EQ(header.indices_offset, 64u + 96u);
    EXPECT_EQ(std::memcmp(&file[header.normals_offset], mesh.normals.data(), 48), 0);
    EXPECT_EQ(file.size(), 64u + 96u + 24u);
}

TEST_F(MeshCacheSave, AveragesNormalsOfCorners) {
    cache_mesh mesh = quad();
    mesh.face_counts = {3, 3};
    mesh.face_indices = {0, 1, 2, 0, 2, 1};
    mesh.normals = {1, 0, 0, 0, 5, 0, 0, 0, 1, 0, 1, 0, 0, 0, 1, 0, 3, 0};
    mesh.normal_scope = OGAWA_SCOPE_FACE_VARYING;
    const float half = 1.0f / std::sqrt(2.0f);
    EXPECT_EQ(saved_normals(mesh.record()), (floats{half, half, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
}

TEST_F(MeshCacheSave, AveragesTheSameNormalsUnderAnotherScope) {
    cache_mesh mesh = quad();
    mesh.normals = {2, 0, 0, 0, 2, 0, 0, 0, 2, 2, 0, 0}; // by chance corners and vertices agree here
    mesh.normal_scope = OGAWA_SCOPE_FACE_VARYING;
    EXPECT_EQ(saved_normals(mesh.record()), (floats{1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0}));
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    EXPECT_EQ(saved_normals(mesh.record()), mesh.normals);
}

TEST_F(MeshCacheSave, AveragesVertexNormalsOfAnotherCount) {
    cache_mesh mesh = quad();
    mesh.normals = {0, 2, 0, 0, 0, 2, 2, 0, 0}; // the fourth corner uses the first
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    EXPECT_EQ(saved_normals(mesh.record()), (floats{0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 1, 0}));
}

TEST_F(MeshCacheSave, WritesZeroNormalsWithoutFaces) {
    cache_mesh mesh = quad();
    mesh.normals = {0, 0, 1};
    ogawa_polymesh record = mesh.record();
    record.face_count = 0;
    EXPECT_EQ(saved_normals(record), floats(12, 0.0f));
    record.face_counts = nullptr;
    EXPECT_EQ(saved_normals(record), floats(12, 0.0f));
    mesh.positions = floats(64 * 3, 1.0f); // as many as are normalized at once
    record = mesh.record();
    record.face_count = 0;
    EXPECT_EQ(saved_normals(record), floats(64 * 3, 0.0f));
}

TEST_F(MeshCacheSave, AveragesOverTrianglesWithoutFaceCounts) {
    cache_mesh mesh = quad();
    mesh.normals = {0, 0, 1, 0, 0, 1, 0, 0, 1, 1, 0, 0};
    ogawa_polymesh record = mesh.record();
    record.face_counts = nullptr;
    EXPECT_EQ(saved_normals(record), (floats{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0})) << "one face of 3 corners";
    record.face_count = 2;
    EXPECT_EQ(saved_normals(record), (floats{0, 0, 1, 0, 0, 1, 0, 0, 1, 1, 0, 0})) << "ends with the indices";
}

TEST_F(MeshCacheSave, CornersBeyondTheIndicesGiveNoNormal) {
    cache_mesh mesh = quad();
    mesh.normals = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
    ogawa_polymesh record = mesh.record();
    record.face_index_count = 2;
    EXPECT_EQ(saved_normals(record), (floats{0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0}));
    record.face_index_count = 0;
    EXPECT_EQ(saved_normals(record), floats(12, 0.0f));
    record.face_index_count = 4;
    record.face_indices = nullptr;
    EXPECT_EQ(saved_normals(record), floats(12, 0.0f));
}

TEST_F(MeshCacheSave, EmptyFacesDoNotDisturbTheCorners) {
    cache_mesh mesh = quad();
    mesh.face_counts = {0, 4, 0};
    mesh.normals = {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0};
    EXPECT_EQ(saved_normals(mesh.record()), (floats{1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0}));
}

TEST_F(MeshCacheSave, DoesNotNormalizeTinyNormalsAndNans) {
    cache_mesh mesh = quad();
    mesh.normals = {1e-8f, 0, 0, 0, 1.1e-8f, 0, NAN, 1, 0, 1e30f, 0, 0};
    mesh.normal_scope = OGAWA_SCOPE_FACE_VARYING;
    const floats normals = saved_normals(mesh.record());
    ASSERT_EQ(normals.size(), 12u);
    EXPECT_EQ(normals[0], 1e-8f) << "not longer than 1e-8";
    EXPECT_EQ(normals[4], 1.0f);
    EXPECT_TRUE(std::isnan(normals[6]));
    EXPECT_EQ(normals[7], 1.0f);
    EXPECT_EQ(normals[9], 0.0f) << "the square is infinite";
}

TEST_F(MeshCacheSave, FansAQuad) {
    EXPECT_EQ(saved_triangles(quad()), (numbers{0, 1, 2, 0, 2, 3}));
}

TEST_F(MeshCacheSave, FansFacesOfAnySizeInOrder) {
    cache_mesh mesh;
    mesh.positions = floats(6 * 3, 1.0f);
    mesh.face_counts = {5, 2, 3};
    mesh.face_indices = {0, 1, 2, 3, 4, 5, 0, 3, 2, 1};
    EXPECT_EQ(saved_triangles(mesh), (numbers{0, 1, 2, 0, 2, 3, 0, 3, 4, 3, 2, 1}));
}

TEST_F(MeshCacheSave, FacesOfNoOrOneCornerGiveNoTriangles) {
    cache_mesh mesh = quad();
    mesh.face_counts = {1, 3, 0, 1};
    mesh.face_indices = {3, 0, 1, 2, 3};
    EXPECT_EQ(saved_triangles(mesh), (numbers{0, 1, 2}));
    mesh.face_counts = {0, 1, 0, 2};
    mesh.face_indices = {0, 1, 2};
    EXPECT_EQ(saved_triangles(mesh), numbers{});
}

TEST_F(MeshCacheSave, WritesLargeMeshesWhole) {
    const test::plain_mesh torus = test::make_torus(300, 300, 4.0f, 1.0f);
    cache_mesh mesh;
    mesh.positions = torus.positions;
    mesh.face_counts = torus.face_counts;
    mesh.face_indices = torus.face_indices;
    mesh.normals = torus.corner_normals;
    mesh.normal_scope = OGAWA_SCOPE_FACE_VARYING;
    EXPECT_EQ(header_of(saved(mesh.record())).triangle_count, 180000u);
    EXPECT_TRUE(saved(mesh.record()) == model::save_mesh(mesh.record(), nullptr).content);

    for (std::size_t f = 0; f + 1 < mesh.face_counts.size(); f += f % 5 + 2) { // of some pairs of quads
        mesh.face_counts[f] = 3;
        mesh.face_counts[f + 1] = 5;
    }
    EXPECT_TRUE(saved(mesh.record()) == model::save_mesh(mesh.record(), nullptr).content);
}

TEST_F(MeshCacheSave, FansOneFaceOfManyCorners) {
    cache_mesh mesh;
    const std::uint32_t corners = 140'000; // more triangles than are gathered for one write
    mesh.positions = floats(corners * 3, 0.5f);
    mesh.face_counts = {corners};
    for (std::uint32_t i = 0; i < corners; ++i)
        mesh.face_indices.push_back(i * 9 % corners);
    EXPECT_TRUE(saved(mesh.record()) == model::save_mesh(mesh.record(), nullptr).content);
}

TEST_F(MeshCacheSave, DropsTheRemainderWithoutFaceCounts) {
    cache_mesh mesh = quad();
    mesh.face_counts.clear();
    mesh.face_indices = {0, 1, 2, 1, 2, 3, 3};
    EXPECT_EQ(saved_triangles(mesh), (numbers{0, 1, 2, 1, 2, 3}));
}

TEST_F(MeshCacheSave, IgnoresFaceCountsIfTheFaceCountIsZero) {
    cache_mesh mesh = quad();
    ogawa_polymesh record = mesh.record();
    record.face_count = 0;
    const bytes file = saved(record);
    EXPECT_EQ(header_of(file).triangle_count, 1u);
    EXPECT_EQ(values_at<std::uint32_t>(file, 64 + 48, 3), (numbers{0, 1, 2}));
    EXPECT_EQ(file.size(), 64u + 48u + 12u);
}

TEST_F(MeshCacheSave, CountsTrianglesWithoutIndicesButWritesNone) {
    cache_mesh mesh = quad();
    ogawa_polymesh record = mesh.record();
    record.face_counts = nullptr;
    record.face_indices = nullptr;
    record.face_index_count = 6;
    const bytes file = saved(record);
    EXPECT_EQ(header_of(file).triangle_count, 2u);
    EXPECT_EQ(file.size(), 64u + 48u);
}

TEST_F(MeshCacheSave, CornersBeyondTheIndicesAreVertexZero) {
    cache_mesh mesh = quad();
    mesh.face_indices = {3, 2, 1};
    mesh.face_counts = {4, 3};
    EXPECT_EQ(saved_triangles(mesh), (numbers{3, 2, 1, 3, 1, 0, 0, 0, 0}));
    mesh.face_indices.clear();
    mesh.face_counts = {4};
    EXPECT_EQ(saved_triangles(mesh), numbers(6, 0)) << "no indices at all";
}

TEST_F(MeshCacheSave, CountsFarBeyondTheIndicesLeaveTheTrianglesOut) {
    cache_mesh mesh = quad();
    mesh.face_counts = {4, 16777216}; // 2^24 corners that are not there
    {
        const test::failing_heap no_block = test::failing_heap::nth(1);
        EXPECT_EQ(saved(mesh.record()).size(), 64u + 48u);
        EXPECT_EQ(no_block.count(), 1u) << "the block is asked for";
    }
    mesh.face_counts = {4, 16777217};
    const test::failing_heap watch = test::failing_heap::nth(0);
    const bytes file = saved(mesh.record());
    EXPECT_EQ(watch.count(), 0u);
    EXPECT_EQ(header_of(file).triangle_count, 16777217u) << "still announced";
    EXPECT_EQ(file.size(), 64u + 48u);

    mesh.face_indices.clear();
    mesh.face_counts = {16777217};
    EXPECT_EQ(saved(mesh.record()).size(), 64u + 48u) << "no indices at all";
    mesh.face_counts = {20};
    EXPECT_EQ(saved_triangles(mesh), numbers(3 * 18, 0));
}

TEST_F(MeshCacheSave, AnEnormousFaceCountMakesNoEnormousFile) {
    cache_mesh mesh = quad();
    mesh.face_counts = {4, 0xFFFFFFF0};
    cache_skin skin;
    skin.joints.resize(1);
    const qel_skin skin_record = skin.record();
    const test::failing_heap watch = test::failing_heap::nth(0);
    const bytes file = saved(mesh.record(), &skin_record);
    EXPECT_EQ(watch.count(), 0u);
    EXPECT_EQ(header_of(file).triangle_count, 0xFFFFFFF0u);
    EXPECT_EQ(file.size(), 64u + 48u + 4 + 328 + 4 + 128);
}

TEST_F(MeshCacheSave, ReadsTheIndicesIfTheIndexCountIsZero) {
    cache_mesh mesh = quad();
    mesh.face_indices = {3, 2, 9, 0};
    mesh.face_counts = {0, 4, 0, 1}; // nothing after the last whole face is read
    ogawa_polymesh record = mesh.record();
    record.face_index_count = 0;
    EXPECT_EQ(values_at<std::uint32_t>(saved(record), 64 + 48, 6), (numbers{3, 2, 9, 3, 9, 0})) << "unchecked";
    mesh.face_indices = {3, 2, 9, 0, 1, 2, 3};
    mesh.face_counts = {7}; // and likewise in a face of many corners
    record = mesh.record();
    record.face_index_count = 0;
    EXPECT_EQ(values_at<std::uint32_t>(saved(record), 64 + 48, 15),
              (numbers{3, 2, 9, 3, 9, 0, 3, 0, 1, 3, 1, 2, 3, 2, 3}));
}

TEST_F(MeshCacheSave, TrianglesBeyond32BitsAreLeftOut) {
    cache_mesh mesh = quad();
    mesh.face_counts = {0xFFFFFFFF, 0xFFFFFFFF};
    cache_skin skin;
    skin.joints.resize(1);
    const qel_skin skin_record = skin.record();
    const test::failing_heap watch = test::failing_heap::nth(0);
    ogawa_polymesh record = mesh.record();
    record.face_index_count = 0; // the counts are trusted otherwise
    const bytes file = saved(record, &skin_record);
    EXPECT_EQ(watch.count(), 0u);
    EXPECT_EQ(header_of(file).triangle_count, 4294967290u);
    EXPECT_EQ(header_of(file).skin_offset, 64u + 48u - 72u) << "12 x 4294967290 modulo 2^32 is -72";
    EXPECT_EQ(file.size(), 64u + 48u + 4 + 328 + 4 + 128);
}

TEST_F(MeshCacheSave, WritesZerosForMissingPositions) {
    ogawa_polymesh record;
    std::memset(&record, 0, sizeof record);
    record.vertex_count = 1000;
    const bytes file = saved(record);
    ASSERT_EQ(file.size(), 64u + 12000u);
    EXPECT_EQ(values_at<float>(file, 64, 3000), floats(3000, 0.0f));
}

TEST_F(MeshCacheSave, ReplacesALongerFile) {
    test::write_file(path_, bytes(5000, 0xAB));
    cache_mesh mesh = quad();
    EXPECT_EQ(saved(mesh.record()).size(), 64u + 48u + 24u);
}

TEST_F(MeshCacheSave, AgreesWithThePlainWriterOnRandomMeshes) {
    std::mt19937 random(71);
    const auto one_in = [&random](std::uint32_t n) { return random() % n == 0; };
    int refused = 0;
    for (int round = 0; round < 1500; ++round) {
        const auto vertices = static_cast<std::uint32_t>(random() % 40 + 1);
        const auto faces = static_cast<std::uint32_t>(random() % 30);
        const test::plain_mesh plain = test::make_random_mesh(random, vertices, faces, 10.0f, 0, 7);
        cache_mesh mesh;
        mesh.positions = plain.positions;
        mesh.face_counts = plain.face_counts;
        mesh.face_indices = plain.face_indices;
        if (one_in(20) && !mesh.face_indices.empty()) mesh.face_indices[random() % mesh.face_indices.size()] += 40;
        std::uniform_real_distribution<float> coordinate(-1.0f, 1.0f);
        const std::size_t normals = one_in(3) ? vertices : one_in(3) ? 0 : random() % 60;
        for (std::size_t i = 0; i < normals * 3; ++i)
            mesh.normals.push_back(one_in(10) ? 0.0f : one_in(50) ? 1e25f : coordinate(random));
        mesh.normal_scope = static_cast<std::uint32_t>(random() % 3 + 2);

        ogawa_polymesh record = mesh.record();
        for (int axis = 0; axis < 3; ++axis)
            record.bounds_min[axis] = coordinate(random);
        if (one_in(6)) record.face_counts = nullptr;
        if (one_in(8)) record.face_count = record.face_counts == nullptr ? 5 : record.face_count / 2;
        if (one_in(6)) record.face_index_count /= static_cast<std::uint32_t>(random() % 3 + 1);
        if (one_in(10)) record.face_indices = nullptr;
        if (one_in(12)) record.face_index_count = record.face_counts == nullptr ? 0 : record.face_index_count;
        if (one_in(15)) record.positions = nullptr;
        if (one_in(15)) record.normal_count = 0;

        cache_skin skin = test::noise_skin(random, random() % 3, random() % 4);
        qel_skin skin_record = skin.record();
        if (one_in(10)) skin_record.joints = nullptr;
        if (one_in(10)) skin_record.weights = nullptr;
        const qel_skin *given = one_in(2) ? &skin_record : nullptr;

        std::remove(path_.c_str());
        const model::saved_mesh expected = model::save_mesh(record, given);
        ASSERT_EQ(save(record, given), expected.status) << "round " << round;
        ASSERT_EQ(test::file_exists(path_), expected.status == 0);
        if (expected.status == 0) {
            ASSERT_EQ(test::read_file(path_), expected.content) << "round " << round;
        } else {
            ++refused;
        }
    }
    EXPECT_GT(refused, 20);
}

} // namespace
} // namespace qel
