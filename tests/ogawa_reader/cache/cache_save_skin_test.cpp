// SPDX-License-Identifier: MIT
// The skin after a saved mesh.
#include "ogawa_reader/cache/cache_cases.h"

namespace qel {
namespace {

using namespace test;

class MeshCacheSaveSkin : public test::mesh_cache_saving {};

TEST_F(MeshCacheSaveSkin, IsAppended) {
    std::mt19937 random(7);
    cache_mesh mesh = quad();
    cache_skin skin = test::noise_skin(random, 2, 3);
    const qel_skin record = skin.record();
    const bytes file = saved(mesh.record(), &record);
    const qel_mesh_header header = header_of(file);
    EXPECT_EQ(header.flags, QEL_MESH_HAS_SKIN);
    EXPECT_EQ(header.joint_count, 2u);
    EXPECT_EQ(header.skin_offset, 64u + 48u + 24u);
    bytes expected;
    test::append(expected, std::uint32_t{2});
    test::append(expected, skin.joints[0]);
    test::append(expected, skin.joints[1]);
    test::append(expected, std::uint32_t{3});
    for (const qel_skin_weight &weight : skin.weights)
        test::append(expected, weight);
    test::append(expected, skin.bind_extra);
    EXPECT_EQ(bytes(file.begin() + header.skin_offset, file.end()), expected);
}

TEST_F(MeshCacheSaveSkin, WithoutJointsIsNotWritten) {
    std::mt19937 random(8);
    cache_mesh mesh = quad();
    cache_skin skin = test::noise_skin(random, 0, 4);
    const qel_skin record = skin.record();
    EXPECT_EQ(saved(mesh.record(), &record), saved(mesh.record()));
}

TEST_F(MeshCacheSaveSkin, HasZerosForMissingJointsAndWeights) {
    cache_mesh mesh = quad();
    cache_skin skin;
    qel_skin record = skin.record();
    record.joint_count = 20;
    record.weight_count = 5;
    record.bind_extra[127] = 9;
    const bytes file = saved(mesh.record(), &record);
    bytes expected(4 + 20 * 328 + 4 + 5 * 20 + 128, 0);
    expected[0] = 20;
    expected[4 + 20 * 328] = 5;
    expected.back() = 9;
    EXPECT_EQ(bytes(file.begin() + header_of(file).skin_offset, file.end()), expected);
}

} // namespace
} // namespace qel
