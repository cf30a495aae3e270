// SPDX-License-Identifier: MIT
#include "regression/replay.h"

#include "common/heap.h"
#include "model/archive_comparison.h"
#include "ogawa_reader/cache/cache_cases.h"
#include "qel_archive.h"
#include "qel_unit/agents/agent_fixture.h"
#include "support/archive_schemas.h"
#include "support/failing_heap.h"
#include "support/mesh_maker.h"
#include "support/scenes.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace qel::test {

namespace {

/// A load with an allocation that fails; what follows has memory again.
template <class Load>
std::int32_t load_with_failure(std::uint64_t failing_allocation, const Load &load) {
    if (failing_allocation == 0) return load();
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return load();
}

std::int32_t replay_unit(const std::string &path, const std::string &other, std::uint64_t failing) {
    owned_unit unit;
    const std::int32_t code = load_with_failure(failing, [&] { return qel_unit_load(path.c_str(), &unit); });
    std::uint32_t numbers[10];
    std::uint64_t distances[10];
    qel_unit_query_nearest(&unit, 5, 10, numbers, distances);
    qel_unit_lookup_morton(&unit, 5);
    qel_unit_lookup_hex(&unit, "00000001");
    qel_unit_query_layer(&unit, 1, numbers, 10);
    if (code == 0) qel_unit_save(other.c_str(), &unit);
    return code;
}

std::int32_t replay_scene(const std::string &path, const std::string &other, std::uint64_t failing) {
    owned_scene owned;
    qel_alembic_file &scene = owned.scene;
    const std::int32_t code = load_with_failure(failing, [&] { return qel_alembic_load(path.c_str(), &scene); });
    if (code != 0) return code;
    char text[2000];
    qel_alembic_hit hits[8];
    qel_alembic_mesh mesh = {};
    qel_alembic_validate(&scene);
    qel_alembic_file_info(&scene, text, sizeof text);
    if (scene.mesh_count > 0) qel_alembic_mesh_info(scene.meshes, text, sizeof text);
    qel_alembic_lookup_morton(&scene, 0x3FFFF, hits);
    qel_alembic_lookup_frame_vertex(&scene, 1, 0, 1, hits);
    qel_alembic_query_nearest(&scene, 1000, 8, hits);
    qel_alembic_query_layer(&scene, 1, hits, 8);
    qel_alembic_sample_frame(&scene, 1, &mesh);
    mesh.positions = nullptr;
    if (qel_alembic_interpolate_time(&scene, 0.5f, &mesh) == 0) std::free(mesh.positions);
    qel_alembic_export_file_qel(&scene, other.c_str());
    qel_alembic_save(other.c_str(), &scene);
    return code;
}

std::int32_t replay_cache(const std::string &path, std::uint64_t failing) {
    qel_mesh mesh;
    const std::int32_t code = load_with_failure(failing, [&] { return qel_mesh_load(path.c_str(), &mesh); });
    if (mesh.skin != nullptr) {
        const std::vector<double> poses(std::size_t{16} * mesh.skin->joint_count, 1.0);
        std::vector<float> positions(std::size_t{3} * mesh.skin->weight_count, 1.0f);
        qel_skin_apply(mesh.skin, poses.data(), positions.data(), positions.data());
    }
    qel_mesh_free(&mesh);
    return code;
}

std::int32_t replay_agents(const std::string &path, const std::string &other, std::uint64_t failing) {
    discard_directory();
    const std::int32_t code = load_with_failure(failing, [&] { return qel_agent_dir_load(path.c_str()); });
    char ids[8 * 9];
    qel_agent agent;
    qel_agent_query("2A9E0100", &agent);
    qel_agent_monitor("2A9E", ids, 8);
    stats();
    qel_agent_spawn("2A9E0100", 1, 2, 3, ids);
    qel_agent_terminate("2A9E0100");
    qel_agent_dir_load(path.c_str()); // once more over what is there
    qel_agent_dir_save(other.c_str());
    discard_directory();
    return code;
}

/// What a caller does with a mesh that it read.
void use(ogawa_polymesh &mesh, const std::string &other) {
    std::uint32_t *neighbors = nullptr;
    std::uint32_t count = 0;
    if (ogawa_build_manifold(&mesh) == 0 &&
        ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, 0, &neighbors, &count) == 0)
        std::free(neighbors);
    ogawa_compute_tangent_frame(&mesh, nullptr);
    float bounds[6];
    ogawa_compute_bounds(mesh.positions, mesh.vertex_count, bounds);
    qel_mesh cache;
    if (qel_mesh_save(&mesh, nullptr, other.c_str()) == 0 && qel_mesh_load(other.c_str(), &cache) == 0)
        qel_mesh_free(&cache);
}

std::int32_t replay_archive(const std::string &path, const std::string &other, std::uint64_t failing) {
    ogawa_archive archive;
    std::int32_t code = ogawa_open(path.c_str(), &archive);
    if (code == 0) {
        ogawa_polymesh mesh;
        code = load_with_failure(failing, [&] { return ogawa_read_polymesh(&archive, nullptr, 0, &mesh); });
        if (code == 0) use(mesh, other);
        ogawa_free_polymesh(&mesh);
        float *values = nullptr;
        std::uint32_t *indices = nullptr;
        std::uint32_t count = 0, scope = 0;
        ogawa_read_positions(&archive, nullptr, 0, &values, &count);
        release(values);
        ogawa_read_normals(&archive, nullptr, 0, &values, &indices, &count, &scope);
        release(values);
        ogawa_uv_set set = {};
        ogawa_read_uvs(&archive, nullptr, 0, 0, &set);
        ogawa_free_uv_set(&set);
        ogawa_tangent_frame frame = {};
        if (ogawa_read_tangent_frame(&archive, nullptr, 0, &frame) == 0) ogawa_free_tangent_frame(&frame);
        if (code == 0) ogawa_get_first_polymesh(&archive);
    }
    ogawa_close(&archive);
    return code;
}

std::int32_t replay_archive_structure(const std::string &path, std::uint64_t failing) {
    qel_archive *archive = nullptr;
    const std::int32_t code = load_with_failure(failing, [&] { return qel_archive_open(path.c_str(), &archive); });
    qel_archive_close(archive);
    if (failing == 0) {
        EXPECT_EQ(model::first_difference(path), "");
    }
    return code;
}

} // namespace

std::int32_t replay(file_kind kind, const bytes &file, std::uint64_t failing_allocation) {
    const temp_folder folder;
    const std::string path = folder.file("file"), other = folder.file("other");
    write_file(path, file);
    switch (kind) {
    case file_kind::unit:
        return replay_unit(path, other, failing_allocation);
    case file_kind::scene:
        return replay_scene(path, other, failing_allocation);
    case file_kind::cache:
        return replay_cache(path, failing_allocation);
    case file_kind::agents:
        return replay_agents(path, other, failing_allocation);
    case file_kind::archive_structure:
        return replay_archive_structure(path, failing_allocation);
    case file_kind::archive:
        break;
    }
    return replay_archive(path, other, failing_allocation);
}

bytes sound_unit() {
    return unit_file({make_token(5, "00000001", 1, 1), make_token(7, "00000002"), make_token(1, "00000003")});
}

bytes sound_scene() {
    owned_scene owned;
    owned.add_mesh({0, 0, 0, 1, 0, 0, 1, 1, 0}, {0, 1, 2}, "first");
    owned.add_mesh({0, 0, 0, 1, 2, 3}, {0, 1, 1}, "second");
    owned.add_frame(1, 0.0f, {{1, 2, 3}});
    const temp_folder folder;
    qel_alembic_save(folder.file("scene").c_str(), &owned.scene);
    return read_file(folder.file("scene"));
}

bytes sound_cache() {
    std::mt19937 random(3);
    cache_mesh mesh = quad();
    cache_skin skin = noise_skin(random, 2, 4);
    for (qel_skin_weight &weight : skin.weights)
        weight = {{0, 1, 0, 0}, {0.5f, 0.5f, 0, 0}};
    const ogawa_polymesh record = mesh.record();
    const qel_skin skin_record = skin.record();
    const temp_folder folder;
    qel_mesh_save(&record, &skin_record, folder.file("cache").c_str());
    return read_file(folder.file("cache"));
}

bytes sound_agents() {
    return directory_file({make_agent("2A9E0100"), make_agent("2A9E0101"), make_agent("2A9E0102", 2)});
}

bytes sound_archive() {
    plain_mesh torus = make_torus(40, 30, 3.0f, 1.0f);
    torus.corner_normals.clear();
    torus.corner_uvs.clear();
    return production_archive(torus).content();
}

bytes archive_of_a_turn(double axis_length) {
    archive_builder builder;
    add_xform(builder.top, "turned", {rotate(axis_length, 2 * axis_length, 3 * axis_length, 30)});
    return builder.build().content;
}

bytes archive_inside_itself() {
    archive_builder builder;
    object_node &object = builder.top.add("object");
    object.edit_headers = [](bytes &headers) { // as headers of objects too few, as those of properties one scalar
        property_header header;
        header.set(info_kind, static_cast<std::uint32_t>(property_kind::scalar));
        header.set(info_extent, 1);
        header.name = "x";
        headers = bytes_of_header(header);
    };
    object.edit_references = [](std::vector<std::uint64_t> &references, std::uint64_t own) { references[0] = own; };
    return builder.build().content;
}

bytes cut(bytes file, std::size_t length) {
    file.resize(std::min(length, file.size()));
    return file;
}

bytes replaced(bytes file, std::uint32_t word, std::uint32_t by, std::size_t spared) {
    std::size_t run = 0;
    for (std::size_t at = 0; at + sizeof word <= file.size(); at += sizeof word) {
        std::uint32_t here;
        std::memcpy(&here, &file[at], sizeof here);
        run = here == word ? run + 1 : 0;
        if (run > spared) std::memcpy(&file[at], &by, sizeof by);
    }
    return file;
}

} // namespace qel::test
