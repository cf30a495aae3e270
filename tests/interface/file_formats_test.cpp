// SPDX-License-Identifier: MIT
// The dumps in docs/file-formats.md are real: small files of all four formats are made here and must agree with
// them byte for byte. QEL_PRINT_DUMPS=1 prints the bytes, to write the page from.
#include "support/temp_folder.h"

#include <qel_unit.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>

namespace qel::test {
namespace {

/// One byte of a dump; a time stamp's bytes may be anything.
struct dumped_byte {
    bool any;
    std::uint8_t value;
};

/// Reads the dump behind a heading of the page. A line is an offset, bytes ("..": any, "00 x 16": sixteen zeros) and,
/// two spaces on, what they are.
std::vector<dumped_byte> dump_of(const std::string &heading) {
    const bytes content = read_file(QEL_UNIT_SOURCE "/docs/file-formats.md");
    std::string page(content.begin(), content.end());
    const std::size_t start = page.find("```", page.find("\n## " + heading));
    std::istringstream block(page.substr(start, page.find("```", start + 3) - start));
    const std::regex line_form("([0-9a-f]{4})  (00 x ([0-9]+)|[0-9a-f.]{2}(?: [0-9a-f.]{2})*)  .*");
    std::vector<dumped_byte> dump;
    std::smatch parts;
    for (std::string line; std::getline(block, line);) {
        if (!std::regex_match(line, parts, line_form)) continue;
        EXPECT_EQ(std::stoul(parts[1], nullptr, 16), dump.size()) << line;
        if (parts[3].matched) {
            dump.insert(dump.end(), std::stoul(parts[3]), {false, 0});
            continue;
        }
        std::istringstream words(parts[2]);
        for (std::string word; words >> word;)
            dump.push_back({word == "..", word == ".."
                                              ? std::uint8_t{0}
                                              : static_cast<std::uint8_t>(std::stoul(word, nullptr, 16))});
    }
    return dump;
}

void expect_dump(const std::string &heading, const std::string &path) {
    const bytes file = read_file(path);
    if (std::getenv("QEL_PRINT_DUMPS") != nullptr) {
        std::printf("== %s\n", heading.c_str());
        for (std::size_t i = 0; i < file.size(); ++i)
            std::printf("%02x%s", file[i], i % 16 == 15 ? "\n" : " ");
        std::printf("\n");
    }
    const std::vector<dumped_byte> dump = dump_of(heading);
    ASSERT_EQ(dump.size(), file.size()) << heading;
    for (std::size_t i = 0; i < file.size(); ++i)
        if (!dump[i].any) {
            ASSERT_EQ(int{dump[i].value}, int{file[i]}) << heading << ", byte " << i;
        }
}

constexpr float corners[3][3] = {{0, 0, 0}, {1, 0, 0}, {0, 2, 0}};
constexpr std::uint32_t triangle[3] = {0, 1, 2};

TEST(FileFormats, UnitFileIsDumpedAsItIs) {
    const temp_folder folder;
    const std::uint64_t mortons[2] = {0x0000000100020003, 233471};
    const std::uint64_t payloads[2] = {0x0102030405060708, 42};
    const std::uint8_t layers[2] = {1, 9};
    qel_unit unit{};
    ASSERT_EQ(qel_unit_create(&unit, 2, mortons, "0000000000000001", payloads, layers), 0);
    ASSERT_EQ(qel_unit_save(folder.file("unit").c_str(), &unit), 0);
    qel_unit_free(&unit);
    std::free(unit.order);
    expect_dump("Unit file", folder.file("unit"));
}

TEST(FileFormats, SceneFileIsDumpedAsItIs) {
    const temp_folder folder;
    qel_alembic_mesh mesh{};
    ASSERT_EQ(qel_alembic_load_raw(corners[0], 3, triangle, 1, "triangle", &mesh), 0);
    qel_alembic_mesh pose{};
    pose.vertex_count = 3;
    pose.positions = const_cast<float *>(corners[0]);
    qel_alembic_frame frame{24, 1.0f, &pose, 1};
    qel_alembic_file scene{};
    scene.mesh_count = 1;
    scene.meshes = &mesh;
    scene.frame_count = 1;
    scene.frames = &frame;
    scene.total_vertices = 3;
    scene.total_faces = 1;
    scene.fps = 24.0f;
    scene.time_end = 1.0f;
    ASSERT_EQ(qel_alembic_save(folder.file("scene").c_str(), &scene), 0);
    qel_alembic_mesh_free(&mesh);
    expect_dump("Scene file", folder.file("scene"));
}

TEST(FileFormats, MeshCacheFileIsDumpedAsItIs) {
    const temp_folder folder;
    float normals[9] = {0, 0, 1, 0, 0, 1, 0, 0, 1};
    std::uint32_t face_count = 3;
    ogawa_polymesh mesh{};
    mesh.positions = const_cast<float *>(corners[0]);
    mesh.vertex_count = mesh.normal_count = mesh.face_index_count = 3;
    mesh.normals = normals;
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    mesh.face_counts = &face_count;
    mesh.face_count = 1;
    mesh.face_indices = const_cast<std::uint32_t *>(triangle);
    mesh.bounds_max[0] = 1;
    mesh.bounds_max[1] = 2;
    qel_skin_joint joint{};
    for (int i = 0; i < 4; ++i)
        joint.joint_transform[i * 5] = 1;
    qel_skin_weight weights[3] = {
        {{0, 0, 0, 0}, {1, 0, 0, 0}}, {{0, 0, 0, 0}, {1, 0, 0, 0}}, {{0, 0, 0, 0}, {0.5f, 0, 0, 0}}};
    qel_skin skin{&joint, 1, weights, 3, {}};
    ASSERT_EQ(qel_mesh_save(&mesh, &skin, folder.file("mesh").c_str()), 0);
    expect_dump("Mesh cache file", folder.file("mesh"));
}

TEST(FileFormats, AgentDirectoryFileIsDumpedAsItIs) {
    const temp_folder folder;
    char id[9];
    ASSERT_EQ(qel_agent_dir_init(folder.file("agents").c_str()), 0);
    ASSERT_EQ(qel_agent_spawn(nullptr, 3, 0, 7, id), 0);
    ASSERT_EQ(qel_agent_delegate(id, id, 0x1122334455667788), 0);
    ASSERT_EQ(qel_agent_dir_sync(), 0);
    qel_agent_dir_free();
    expect_dump("Agent directory file", folder.file("agents"));
}

} // namespace
} // namespace qel::test
