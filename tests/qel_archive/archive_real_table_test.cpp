// SPDX-License-Identifier: MIT
// Archives of production tools hold the values of archive_real_table.txt. Missing archives are skipped.
#include "qel_archive/opened_archive.h"
#include "support/real_archives.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>

namespace qel {
namespace {

struct expected_mesh {
    bool has_faces; // a PolyMesh or SubD
    std::string path;
    std::uint32_t vertices, faces, corners, samples, topology;
    std::string normal_scope; // "-": missing
    std::string uv_set;       // "-": missing
    std::uint32_t uv_scope = 0;
    float first[3] = {}, last[3] = {};
};

struct expected_transform {
    std::string path;
    double seconds;
    test::matrix_values world;
};

struct expected_archive {
    std::string file;
    std::int32_t library_version;
    std::uint32_t objects, properties, samplings, meshes, with_points;
    std::vector<expected_mesh> points; // of meshes, and of some others
    std::vector<expected_transform> transforms;
};

expected_mesh parse_mesh(std::istream &line, bool has_faces) {
    expected_mesh it = {};
    it.has_faces = has_faces;
    line >> it.path >> it.vertices >> it.faces >> it.corners >> it.samples >> it.topology;
    line >> it.normal_scope >> it.uv_set;
    if (it.uv_set != "-") line >> it.uv_scope;
    if (it.vertices == 0)
        line.ignore(2); // " -"
    else
        line >> it.first[0] >> it.first[1] >> it.first[2] >> it.last[0] >> it.last[1] >> it.last[2];
    return it;
}

/// Reads the table; a line that is not understood fails the test.
std::vector<expected_archive> read_table() {
    std::vector<expected_archive> archives;
    std::ifstream file(QEL_UNIT_SOURCE "/tests/qel_archive/archive_real_table.txt");
    for (std::string text; std::getline(file, text);) {
        if (text.empty() || text[0] == '#') continue;
        std::istringstream line(text);
        std::string word;
        line >> word;
        if (word == "archive") {
            expected_archive &it = archives.emplace_back();
            line >> it.file >> it.library_version >> it.objects >> it.properties >> it.samplings;
            line >> it.meshes >> it.with_points;
        } else if (word == "mesh" || word == "points") {
            archives.back().points.push_back(parse_mesh(line, word == "mesh"));
        } else if (word == "world") {
            expected_transform &it = archives.back().transforms.emplace_back();
            line >> it.path >> it.seconds;
            for (double &value : it.world)
                line >> value;
        }
        EXPECT_TRUE(!line.fail() && (line >> std::ws).eof()) << text;
    }
    return archives;
}

using archive_handle = std::unique_ptr<qel_archive, decltype(&qel_archive_close)>;

/// Opens an archive of the folder; null when it is not there.
archive_handle open(const std::string &file) {
    qel_archive *archive = nullptr;
    for (const std::filesystem::path &path : test::real_archives())
        if (path.filename() == file) {
            EXPECT_EQ(qel_archive_open(path.string().c_str(), &archive), QEL_ARCHIVE_OK) << file;
        }
    return {archive, qel_archive_close};
}

/// Calls a function for each archive of the table that exists; skips the test if none does.
template <class Check>
void for_each_archive(Check check) {
    std::size_t checked = 0;
    for (const expected_archive &it : read_table()) {
        const archive_handle archive = open(it.file);
        if (archive == nullptr) continue;
        SCOPED_TRACE(it.file);
        check(archive.get(), it);
        ++checked;
    }
    if (checked == 0) GTEST_SKIP() << test::no_real_archives;
}

TEST(RealArchiveTable, NamesEveryMesh) {
    const std::vector<expected_archive> archives = read_table();
    ASSERT_EQ(archives.size(), 11u);
    for (const expected_archive &it : archives) {
        const auto is_mesh = [](const expected_mesh &mesh) { return mesh.has_faces; };
        EXPECT_EQ(std::count_if(it.points.begin(), it.points.end(), is_mesh), static_cast<std::ptrdiff_t>(it.meshes))
            << it.file;
        EXPECT_GE(it.transforms.size(), 1u) << it.file;
    }
}

void expect_sizes(const qel_archive *archive, const expected_archive &it) {
    qel_archive_info info;
    ASSERT_EQ(qel_archive_get_info(archive, &info), QEL_ARCHIVE_OK);
    EXPECT_EQ(info.library_version, it.library_version);
    EXPECT_EQ(info.object_count, it.objects);
    EXPECT_EQ(info.mesh_count, it.meshes);
    EXPECT_EQ(info.time_sampling_count, it.samplings);
    std::uint32_t properties = 0, with_points = 0;
    for (std::uint32_t i = 0; i < info.object_count; ++i) {
        qel_archive_object object;
        qel_archive_mesh_info mesh;
        ASSERT_EQ(qel_archive_get_object(archive, i, &object), QEL_ARCHIVE_OK);
        properties += object.property_count;
        with_points += qel_archive_get_mesh_info(archive, i, &mesh) == QEL_ARCHIVE_OK ? 1 : 0;
    }
    EXPECT_EQ(properties, it.properties);
    EXPECT_EQ(with_points, it.with_points);
}

TEST(RealArchiveTable, HasTheCountsOfEachArchive) {
    for_each_archive(expect_sizes);
}

void expect_normals_and_uvs(const ogawa_polymesh &mesh, const expected_mesh &it) {
    EXPECT_EQ(mesh.normals == nullptr ? "-" : std::to_string(mesh.normal_scope), it.normal_scope);
    ASSERT_EQ(mesh.uv_set_count, it.uv_set == "-" ? 0u : 1u);
    if (mesh.uv_set_count == 0) return;
    EXPECT_EQ(mesh.uv_sets[0].name, it.uv_set);
    EXPECT_EQ(mesh.uv_sets[0].scope, it.uv_scope);
}

void expect_mesh(const qel_archive *archive, const expected_mesh &it) {
    SCOPED_TRACE(it.path);
    const std::uint32_t object = qel_archive_find(archive, it.path.c_str());
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
    EXPECT_EQ(first->path, it.path);
    EXPECT_EQ(first->vertex_count, it.vertices);
    EXPECT_EQ(first->face_count, it.faces);
    EXPECT_EQ(first->face_index_count, it.corners);
    expect_normals_and_uvs(*first, it);
    if (it.vertices == 0) return;
    const float *const last_position = last->positions + std::size_t{3} * (last->vertex_count - 1);
    EXPECT_TRUE(std::equal(it.first, it.first + 3, first->positions));
    EXPECT_TRUE(std::equal(it.last, it.last + 3, last_position));
}

TEST(RealArchiveTable, HasTheValuesOfEveryMesh) {
    for_each_archive([](const qel_archive *archive, const expected_archive &it) {
        for (const expected_mesh &mesh : it.points)
            expect_mesh(archive, mesh);
    });
}

TEST(RealArchiveTable, HasTheWorldTransformsOfEachArchive) {
    for_each_archive([](const qel_archive *archive, const expected_archive &it) {
        for (const expected_transform &expected : it.transforms) {
            const std::uint32_t object = qel_archive_find(archive, expected.path.c_str());
            test::matrix_values world{};
            ASSERT_EQ(qel_archive_world_transform(archive, object, expected.seconds, world.data()), QEL_ARCHIVE_OK);
            for (std::size_t i = 0; i < 16; ++i) // sines and cosines differ in their last bit between platforms
                EXPECT_NEAR(world[i], expected.world[i], 1e-14) << expected.path << " " << i;
        }
    });
}

} // namespace
} // namespace qel
