// SPDX-License-Identifier: MIT
// What eleven archives of production tools hold, as a second reader told it that knows nothing of this one. Skipped for
// those that do not lie beside the checkout.
#include "qel_archive/opened_archive.h"
#include "support/real_archives.h"

#include <algorithm>

namespace qel {
namespace {

struct expected_archive {
    const char *file;
    std::int32_t library_version;
    std::uint32_t objects, meshes, with_points, properties, samplings;
    std::uint32_t vertices, faces, corners; // of the first sample of all meshes
};

constexpr expected_archive archives[] = {
    {"F.Head_Model-model.abc", 10803, 9, 3, 4, 81, 2, 1438, 1300, 5200},
    {"chess3.abc", 10803, 69, 34, 34, 377, 2, 4440, 4312, 17134},
    {"cubes_normals.abc", 10803, 7, 3, 3, 42, 2, 24, 18, 72},
    {"deformingSubdTest.abc", 10712, 3, 1, 1, 13, 2, 98, 96, 384},
    {"emptymesh.abc", 10501, 3, 1, 1, 13, 2, 0, 0, 0},
    {"feng.abc", 10705, 1526, 114, 711, 9214, 2, 3401, 2494, 10170},
    {"floor.abc", 10803, 3, 1, 1, 19, 2, 44, 30, 120},
    {"heart.abc", 10705, 3, 1, 1, 10, 2, 52, 52, 204},
    {"singleCurve.abc", 10705, 3, 0, 1, 21, 2, 0, 0, 0},
    {"varTopo_bakedVelocity_0-1_30fps.abc", 10705, 3, 1, 1, 16, 2, 124, 244, 732},
    {"zerofacemesh.abc", 10803, 3, 1, 1, 15, 2, 11, 0, 0},
};

struct expected_mesh {
    const char *file, *path;
    std::uint32_t vertices, faces, corners, samples, topology;
    std::int32_t normal_scope; // -1: none
    const char *uv_set;        // "": none
    float first[3], last[3];   // the first position of the first sample, the last one of the last
};

constexpr expected_mesh meshes[] = {
    // the largest of each archive
    {"F.Head_Model-model.abc",
     "/Eyes/high-poly",
     1064,
     1020,
     4080,
     1,
     0,
     4,
     "b'high-poly_UV'",
     {2.35881448F, 0.723160744F, 0.0172271729F},
     {-2.20895767F, 0.573788643F, 0.185241699F}},
    {"F.Head_Model-model.abc",
     "/eyelashes/eyelashes02",
     250,
     184,
     736,
     1,
     0,
     4,
     "b'eyelashes02_UV'",
     {3.09879565F, -0.103678703F, -0.472229004F},
     {-3.37607121F, 0.0996608734F, 0.647201538F}},
    {"F.Head_Model-model.abc",
     "/Head/Curves",
     36477,
     0,
     0,
     250,
     0,
     -1,
     "",
     {3.86107659F, -9.02297974F, 0.66268158F},
     {-7.33327293F, -6.7332325F, -9.10441971F}},
    {"chess3.abc",
     "/King/Cylinder_010",
     209,
     209,
     832,
     1,
     0,
     4,
     "",
     {-6.70613289F, 1.88426685F, -0.751049519F},
     {-6.5250349F, 2.68419385F, -1.01974964F}},
    {"chess3.abc",
     "/Queen/Cylinder_012",
     193,
     202,
     787,
     1,
     0,
     4,
     "",
     {-6.68601084F, 1.77273512F, 0.77117157F},
     {-6.37012625F, 2.06632328F, 1.0870564F}},
    {"cubes_normals.abc",
     "/face_normal_grid/normal1",
     8,
     6,
     24,
     1,
     0,
     1,
     "",
     {0.5F, -0.5F, 0.5F},
     {0.5F, 0.5F, -0.5F}},
    {"cubes_normals.abc",
     "/point_normal_grid/normal1",
     8,
     6,
     24,
     1,
     0,
     2,
     "",
     {0.5F, -0.5F, 0.5F},
     {0.5F, 0.5F, -0.5F}},
    {"cubes_normals.abc",
     "/vertex_normal_grid/normal1",
     8,
     6,
     24,
     1,
     0,
     4,
     "",
     {0.5F, -0.5F, 0.5F},
     {0.5F, 0.5F, -0.5F}},
    {"deformingSubdTest.abc",
     "/box1/subd",
     98,
     96,
     384,
     120,
     1,
     -1,
     "",
     {-0.207149044F, -0.207149044F, -0.207149044F},
     {-0.276343942F, -0.276343942F, -0.138655245F}},
    {"emptymesh.abc", "/polymsh/polymshShape", 0, 0, 0, 1, 0, -1, "", {}, {}},
    {"feng.abc",
     "/device/bottom/stack/rings/tiles/tilesShape",
     960,
     720,
     2880,
     1,
     0,
     4,
     "",
     {-1.04375565F, -1.84084225F, 5.46594381F},
     {-1.21075273F, -10.5258207F, 5.47877884F}},
    {"feng.abc",
     "/device/bottom/trinities/trinity_01/teeth_guts/box2_wireholes/box2_wireholesShape",
     220,
     120,
     530,
     1,
     0,
     4,
     "",
     {-12.5807209F, 14.0813513F, -0.412948132F},
     {-12.4640207F, 13.6749268F, 0.264079094F}},
    {"feng.abc",
     "/device/bottom/trinities/trinity_02/teeth_guts1/box2_wireholes1/box2_wireholesShape1",
     220,
     120,
     530,
     1,
     0,
     4,
     "",
     {-12.5807209F, 14.0813513F, -0.412948132F},
     {-12.4640207F, 13.6749268F, 0.264079094F}},
    {"feng.abc",
     "/device/upper/pipes/nurbsCylinder1/nurbsCylinderShape1",
     44,
     0,
     0,
     1,
     0,
     -1,
     "",
     {3.60299659F, 32.7158737F, 3.60299659F},
     {3.60299659F, 40.5337372F, -3.60299659F}},
    {"feng.abc",
     "/device/upper/pipes/nurbsCylinder2/nurbsCylinderShape2",
     44,
     0,
     0,
     1,
     0,
     -1,
     "",
     {3.41384864F, 28.2709541F, 3.41384864F},
     {3.41384864F, 32.860508F, -3.41384864F}},
    {"floor.abc",
     "/backdrop/Plane_003",
     44,
     30,
     120,
     1,
     0,
     4,
     "UVMap",
     {0.659895301F, 0.0F, 1.0F},
     {-2.90649748F, 33.3558922F, -0.894961596F}},
    {"heart.abc",
     "/heart/heartShape",
     52,
     52,
     204,
     1,
     0,
     4,
     "",
     {0.652855992F, 2.4928019F, 0.0F},
     {-0.347833008F, 0.876715004F, 0.665818989F}},
    {"singleCurve.abc",
     "/description12_splineDescription/SplineGrp0",
     16,
     0,
     0,
     120,
     1,
     -1,
     "",
     {-0.426891267F, 1.03653789F, -0.339815855F},
     {-0.668560982F, -0.0678315759F, -0.339815885F}},
    {"varTopo_bakedVelocity_0-1_30fps.abc",
     "/Liquid001/Liquid001",
     124,
     244,
     732,
     2,
     2,
     3,
     "",
     {-6.4574542F, -0.916778684F, -5.98801327F},
     {1.3514787F, 5.29081059F, -13.5621977F}},
    {"zerofacemesh.abc",
     "/ZeroFaceMesh/ZeroFaceMeshShape_",
     11,
     0,
     0,
     1,
     0,
     -1,
     "",
     {0.221724808F, -0.872699261F, 0.216625959F},
     {0.221724808F, -0.872699261F, 0.186953068F}},
};

struct expected_transform {
    const char *file, *path;
    test::matrix_values world;
};

constexpr expected_transform transforms[] = {
    {"F.Head_Model-model.abc",
     "/Eyes/high-poly",
     {0.10000000149011612, 0.0, 0.0, 0.0, 0.0, 7.549790126404332e-09, 0.10000000149011612, 0.0, 0.0,
      -0.10000000149011612, 7.549790126404332e-09, 0.0, -4.337470329573989e-07, 3.9253199100494385,
      1.0996930599212646, 1.0}},
    {"feng.abc",
     "/device/bottom/trinities/trinity_02/teeth_guts1/box2_wireholes1/box2_wireholesShape1",
     {-0.8660254037844382, 0.0, -0.5000000000000007, 0.0, 6.125742274543107e-17, 1.0, -1.0610096853581183e-16,
      0.0, 0.5000000000000007, -1.22514845490862e-16, -0.8660254037844382, 0.0, -4.294129626923137e-16, 0.0,
      7.437650688117648e-16, 1.0}},
    {"floor.abc",
     "/backdrop/Plane_003",
     {12.37273120880127, 0.0, 6.302352428436279, 0.0, 0.0, 1.0, 0.0, 0.0, -47.475345611572266, 0.0,
      93.20323944091797, 0.0, 8.256460189819336, 0.0, -11.092514038085938, 1.0}},
    {"varTopo_bakedVelocity_0-1_30fps.abc",
     "/Liquid001/Liquid001",
     {1.0, 0.0, 0.0, 0.0, 0.0, 0.0, -1.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.24004754424095154, 0.0,
      -0.6779854893684387, 1.0}},
};

class RealArchiveTable : public testing::Test {
  protected:
    void SetUp() override {
        paths = test::real_archives();
        if (paths.empty()) GTEST_SKIP() << "no archives here; QEL_REAL_ARCHIVES may name their folder";
    }
    void TearDown() override { close(); }

    void close() {
        qel_archive_close(archive);
        archive = nullptr;
    }

    /// Opens an archive of the folder; false when it is not there.
    bool open(const char *file) {
        close();
        for (const std::filesystem::path &path : paths) {
            if (path.filename() != file) continue;
            EXPECT_EQ(qel_archive_open(path.string().c_str(), &archive), QEL_ARCHIVE_OK) << file;
            return archive != nullptr;
        }
        return false;
    }

    std::vector<std::filesystem::path> paths;
    qel_archive *archive = nullptr;
};

TEST_F(RealArchiveTable, SaysHowMuchEachHolds) {
    for (const expected_archive &it : archives) {
        if (!open(it.file)) continue;
        SCOPED_TRACE(it.file);
        qel_archive_info info;
        ASSERT_EQ(qel_archive_get_info(archive, &info), QEL_ARCHIVE_OK);
        EXPECT_EQ(info.library_version, it.library_version);
        EXPECT_EQ(info.object_count, it.objects);
        EXPECT_EQ(info.mesh_count, it.meshes);
        EXPECT_EQ(info.time_sampling_count, it.samplings);
        std::uint32_t properties = 0, with_points = 0, vertices = 0, faces = 0, corners = 0;
        for (std::uint32_t i = 0; i < info.object_count; ++i) {
            qel_archive_object object;
            qel_archive_mesh_info mesh;
            ASSERT_EQ(qel_archive_get_object(archive, i, &object), QEL_ARCHIVE_OK);
            properties += object.property_count;
            if (qel_archive_get_mesh_info(archive, i, &mesh) != QEL_ARCHIVE_OK) continue;
            ++with_points;
            if (object.kind != OGAWA_SCHEMA_POLYMESH && object.kind != OGAWA_SCHEMA_SUBD) continue;
            vertices += mesh.vertex_count;
            faces += mesh.face_count;
            corners += mesh.corner_count;
        }
        EXPECT_EQ(properties, it.properties);
        EXPECT_EQ(with_points, it.with_points);
        EXPECT_EQ(vertices, it.vertices);
        EXPECT_EQ(faces, it.faces);
        EXPECT_EQ(corners, it.corners);
    }
}

void expect_normals_and_uvs(const ogawa_polymesh &mesh, const expected_mesh &it) {
    if (it.vertices != 0) {
        EXPECT_EQ(mesh.normals != nullptr, it.normal_scope >= 0);
    }
    if (it.normal_scope >= 0) {
        EXPECT_EQ(mesh.normal_scope, static_cast<std::uint32_t>(it.normal_scope));
    }
    ASSERT_EQ(mesh.uv_set_count, it.uv_set[0] == 0 ? 0u : 1u);
    if (mesh.uv_set_count == 1) {
        EXPECT_STREQ(mesh.uv_sets[0].name, it.uv_set);
    }
}

TEST_F(RealArchiveTable, SaysWhatTheLargestMeshesAre) {
    for (const expected_mesh &it : meshes) {
        if (!open(it.file)) continue;
        SCOPED_TRACE(it.path);
        const std::uint32_t object = qel_archive_find(archive, it.path);
        qel_archive_mesh_info info;
        ASSERT_EQ(qel_archive_get_mesh_info(archive, object, &info), QEL_ARCHIVE_OK);
        EXPECT_EQ(info.vertex_count, it.vertices);
        EXPECT_EQ(info.face_count, it.faces);
        EXPECT_EQ(info.corner_count, it.corners);
        EXPECT_EQ(info.sample_count, it.samples);
        EXPECT_EQ(info.topology, it.topology);
        const test::read_mesh first(archive, object, 0), last(archive, object, it.samples - 1);
        ASSERT_EQ(first.status, QEL_ARCHIVE_OK);
        ASSERT_EQ(last.status, QEL_ARCHIVE_OK);
        EXPECT_STREQ(first->path, it.path);
        expect_normals_and_uvs(*first, it);
        if (it.vertices == 0) continue;
        EXPECT_TRUE(std::equal(it.first, it.first + 3, first->positions));
        EXPECT_TRUE(
            std::equal(it.last, it.last + 3, last->positions + std::size_t{3} * (last->vertex_count - 1)));
    }
}

TEST_F(RealArchiveTable, SaysWhereMeshesStand) {
    for (const expected_transform &it : transforms) {
        if (!open(it.file)) continue;
        test::matrix_values world{};
        ASSERT_EQ(qel_archive_world_transform(archive, qel_archive_find(archive, it.path), 0, world.data()),
                  QEL_ARCHIVE_OK);
        for (std::size_t i = 0; i < 16; ++i) // sines and cosines differ in their last bit between platforms
            EXPECT_NEAR(world[i], it.world[i], 1e-14) << it.path << " " << i;
    }
}

} // namespace
} // namespace qel
