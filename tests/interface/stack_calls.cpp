// SPDX-License-Identifier: MIT
#include "interface/stack_calls.h"

#include "support/archive_writer.h"
#include "support/mesh_maker.h"
#include "support/temp_folder.h"

#include <qel_unit.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace qel::test {
namespace {

// Runs a call under the name of its function; of one that gives a value, the value is expected.
#define DOES(function, ...) does(#function, [&] { function(__VA_ARGS__); })
#define GIVES(expected, function, ...) gives(#function, expected, [&] { return function(__VA_ARGS__); })

/// The calls, in groups. Later calls read the results of earlier ones.
class call_list {
  public:
    explicit call_list(const stack_calls::runner &run) : run_(run) {}

    void numbers();
    void matrices();
    void units();
    void archives();
    void trees();
    void geometry();
    void caches();
    void meshes();
    void scene_files();
    void scene_queries();
    void agents();

  private:
    void does(const char *name, const std::function<void()> &call) { run_(name, call); }

    /// Runs a call that returns a value.
    template <class Answer, class Call>
    void gives(const char *name, const Answer &expected, const Call &call) {
        decltype(call()) answer{};
        run_(name, [&] { answer = call(); });
        EXPECT_EQ(answer, static_cast<decltype(answer)>(expected)) << name;
    }

    std::string file(const char *name) const { return folder_.file(name); }
    void read_archive(const bytes &content);
    ogawa_polymesh torus_record();

    stack_calls::runner run_;
    temp_folder folder_;
    plain_mesh torus_ = make_torus(100, 60, 4.0f, 1.0f); // 6000 vertices: more than fit the small scratch
    ogawa_polymesh record_ = torus_record();
    qel_alembic_file scene_ = {};
    qel_alembic_mesh meshes_[1] = {};
};

ogawa_polymesh call_list::torus_record() {
    ogawa_polymesh record = {};
    record.positions = torus_.positions.data();
    record.vertex_count = torus_.vertex_count();
    record.normals = torus_.corner_normals.data();
    record.normal_count = static_cast<std::uint32_t>(torus_.corner_normals.size() / 3);
    record.normal_scope = OGAWA_SCOPE_FACE_VARYING;
    record.face_counts = torus_.face_counts.data();
    record.face_count = torus_.face_count();
    record.face_indices = torus_.face_indices.data();
    record.face_index_count = static_cast<std::uint32_t>(torus_.face_indices.size());
    return record;
}

void call_list::numbers() {
    GIVES(4096u, ruv_sqrt, 1 << 24);
    GIVES(5u, ruv_isqrt, 30);
    GIVES(5, ruv_bounded_sqrt, 30, 1, 9);
    DOES(ruv_hop_distance, 1, std::uint64_t{47} << 32);
    qel_token token = {};
    for (std::int32_t op = 0; op < 8; ++op)
        DOES(qel_token_apply_ilogic, &token, op);
}

void call_list::matrices() {
    std::uint8_t x, y, z;
    qel_matrix_identity a = {}, b = {};
    qel_matrix_offspring child = {};
    DOES(qel_matrix_48_morton_encode, 1, 2, 3);
    DOES(qel_matrix_48_palindrome, 1, 2, 3, &x, &y, &z);
    DOES(qel_matrix_48_k11_level, 1, 2, 3);
    DOES(qel_matrix_48_i_state, 3);
    DOES(qel_matrix_48_phi_norm, 1, 2, 3);
    DOES(qel_matrix_48_em_coupling, 1, 2, 3);
    DOES(qel_matrix_48_identity, 1, 2, 3, &a);
    DOES(qel_matrix_48_crossover_bind, 1, 2, 3, 4, 5, 6, &x, &y, &z);
    DOES(qel_matrix_48_mutate_tachyon, 1, 2, 3, &x, &y, &z);
    DOES(qel_matrix_48_chirality, 1, 2);
    for (std::uint32_t mode = 0; mode < 4; ++mode)
        DOES(qel_matrix_48_reproduce, &a, &b, mode, &child);
    does("qel_matrix_48_validate_all", [] { qel_matrix_48_validate_all(); });
}

/// Many tokens in no order, with keys of all lengths: loading sorts them in every way.
void call_list::units() {
    constexpr std::uint32_t count = 200'000;
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> keys(count), payloads(count), distances(count);
    std::vector<std::uint8_t> layers(count);
    std::vector<std::uint32_t> numbers(count);
    std::string ids(std::size_t{count} * 8, 'A');
    for (std::uint32_t i = 0; i < count; ++i) {
        keys[i] = random() >> random() % 64;
        std::memcpy(&ids[std::size_t{i} * 8], &keys[i], 8);
        layers[i] = static_cast<std::uint8_t>(random());
    }
    const std::string path = file("unit");
    qel_unit unit = {};
    GIVES(0, qel_unit_create, &unit, count, keys.data(), ids.data(), payloads.data(), layers.data());
    GIVES(0, qel_unit_save, path.c_str(), &unit);
    DOES(qel_unit_free, &unit);
    std::free(unit.order);
    unit = {};
    GIVES(0, qel_unit_load, path.c_str(), &unit);
    GIVES(count, qel_unit_get_count, &unit);
    GIVES(0, qel_unit_get_token, &unit, 7, keys.data(), ids.data(), layers.data());
    GIVES(count, qel_unit_get_all_tokens, &unit, keys.data(), ids.data(), layers.data());
    DOES(qel_unit_lookup_morton, &unit, 5);
    DOES(qel_unit_lookup_hex, &unit, "AAAAAAAA");
    DOES(qel_unit_query_lattice_vertex, &unit, 1, 2, 3);
    DOES(qel_unit_query_layer, &unit, 3, numbers.data(), 1000);
    for (const std::int32_t k : {1, 100, 150'000})
        GIVES(k, qel_unit_query_nearest, &unit, 77, k, numbers.data(), distances.data());
    qel_unit_free(&unit);
    std::free(unit.order);
}

/// Everything that can be read from an archive.
void call_list::read_archive(const bytes &content) {
    write_file(file("archive"), content);
    const std::string path = file("archive");
    ogawa_archive archive;
    GIVES(0, ogawa_open, path.c_str(), &archive);
    ogawa_polymesh mesh;
    GIVES(0, ogawa_read_polymesh, &archive, nullptr, 0, &mesh);
    DOES(ogawa_free_polymesh, &mesh);
    DOES(ogawa_get_first_polymesh, &archive);
    float *values = nullptr;
    std::uint32_t *indices = nullptr, count = 0, scope = 0;
    DOES(ogawa_read_positions, &archive, nullptr, 0, &values, &count);
    std::free(values);
    values = nullptr;
    DOES(ogawa_read_normals, &archive, nullptr, 0, &values, &indices, &count, &scope);
    std::free(values);
    ogawa_uv_set set = {};
    DOES(ogawa_read_uvs, &archive, nullptr, 0, 0, &set);
    DOES(ogawa_free_uv_set, &set);
    ogawa_tangent_frame frame = {};
    DOES(ogawa_read_tangent_frame, &archive, nullptr, 0, &frame);
    DOES(ogawa_free_tangent_frame, &frame);
    qel_skin skin;
    GIVES(-1, ogawa_read_skinning, &archive, nullptr, &skin);
    char text[4096];
    archive.time_start = -std::numeric_limits<double>::max(); // the longest number
    archive.time_end = std::numeric_limits<double>::max();
    DOES(ogawa_get_info, &archive, text, sizeof text);
    EXPECT_GT(std::strlen(text), 600u);
    DOES(ogawa_close, &archive);
}

void call_list::archives() {
    read_archive(production_archive(torus_, {bytes_of(torus_.vertex_normals), bytes_of(torus_.tangents),
                                             bytes_of(torus_.bitangents), bytes_of(torus_.vertex_uvs)})
                     .content());
    archive_writer plain; // no tree: the bytes are searched
    plain.data(bytes_of(torus_.positions));
    plain.array(torus_.corner_normals);
    plain.array(torus_.face_counts);
    plain.array(torus_.face_indices);
    read_archive(plain.content());
    archive_writer deep; // as many levels as are followed, and more
    deep.data(bytes_of(torus_.positions));
    std::uint64_t group = deep.data(bytes_of(torus_.corner_normals));
    for (int level = 0; level < 30; ++level)
        group = deep.group({group, group});
    deep.finish(group);
    read_archive(deep.content());
    GIVES(OGAWA_SCHEMA_CAMERA, ogawa_schema_from_string, "Camera");
    DOES(ogawa_schema_to_string, OGAWA_SCHEMA_CAMERA);
}

/// A tree of objects that is deep rather than wide.
void call_list::trees() {
    ogawa_object *top = nullptr;
    for (int level = 0; level < 5'000; ++level) {
        auto *const object = static_cast<ogawa_object *>(std::calloc(1, sizeof(ogawa_object)));
        object->children = static_cast<ogawa_object **>(std::calloc(2, sizeof(ogawa_object *)));
        object->children[1] = top;
        object->child_count = 2;
        object->polymesh = static_cast<ogawa_polymesh *>(std::calloc(1, sizeof(ogawa_polymesh)));
        top = object;
    }
    DOES(ogawa_free_object, top);
}

void call_list::geometry() {
    float bounds[6];
    DOES(ogawa_compute_bounds, record_.positions, record_.vertex_count, bounds);
    std::memcpy(record_.bounds_min, bounds, sizeof record_.bounds_min);
    std::memcpy(record_.bounds_max, bounds + 3, sizeof record_.bounds_max);
    GIVES(0, ogawa_build_manifold, &record_);
    const std::uint32_t *faces = nullptr;
    std::uint32_t *list = nullptr, count = 0;
    GIVES(0, ogawa_get_vertex_faces, &record_.manifold, 5, &faces, &count);
    GIVES(0, ogawa_get_vertex_neighbors, &record_.manifold, &record_.face_counts, 5, &list, &count);
    std::free(list);
    DOES(ogawa_is_manifold_closed, &record_.manifold);
    DOES(ogawa_free_manifold, &record_.manifold);
    ogawa_uv_set set = {};
    set.values = torus_.corner_uvs.data();
    set.value_count = static_cast<std::uint32_t>(torus_.corner_uvs.size() / 2);
    record_.uv_sets = &set;
    record_.uv_set_count = 1;
    GIVES(0, ogawa_compute_tangent_frame, &record_, nullptr);
    ogawa_free_tangent_frame(&record_.tangent_frame);
    record_.uv_sets = nullptr;
    record_.uv_set_count = 0;
    GIVES(0, ogawa_triangulate_face, torus_.face_indices.data(), 400, &list, &count);
    std::free(list);
}

void call_list::caches() {
    std::vector<qel_skin_joint> joints(256);
    std::vector<qel_skin_weight> weights(record_.vertex_count);
    std::vector<double> poses(256 * 16, 1.0);
    std::vector<float> moved(torus_.positions.size());
    for (std::uint32_t i = 0; i < record_.vertex_count; ++i)
        weights[i] = {{1, 2, static_cast<std::uint8_t>(i), 255}, {0.25f, 0.25f, 0.25f, 0.25f}};
    qel_skin skin = {};
    skin.joints = joints.data();
    skin.joint_count = 256;
    skin.weights = weights.data();
    skin.weight_count = record_.vertex_count;
    DOES(qel_skin_apply, &skin, poses.data(), torus_.positions.data(), moved.data());
    const std::string path = file("cache");
    GIVES(0, qel_mesh_save, &record_, &skin, path.c_str());
    qel_mesh cache = {};
    GIVES(0, qel_mesh_load, path.c_str(), &cache);
    const float *positions, *normals;
    const std::uint32_t *indices;
    std::uint32_t vertices, triangles;
    GIVES(0, qel_mesh_get_gpu_data, &cache, &positions, &normals, &indices, &vertices, &triangles);
    DOES(qel_mesh_free, &cache);
    qel_skin empty = {};
    DOES(qel_skin_free, &empty);

    qel_mesh_verify_report report;
    const float *const triples = torus_.positions.data();
    GIVES(1u, qel_mesh_verify_p_minus_p, triples, record_.vertex_count);
    DOES(qel_mesh_verify_p_div_p, triples, record_.vertex_count);
    DOES(qel_mesh_bounds_coherence, 0, 0, 0, 1, 1, 1);
    DOES(qel_mesh_verify_identity, triples, record_.vertex_count, 0, 0, 0, 1, 1, 1, &report);
    DOES(qel_mesh_is_static_valid, triples, record_.vertex_count);
}

void call_list::meshes() {
    const std::vector<float> &positions = torus_.positions;
    float bounds[6], x, y, z;
    std::uint8_t cell[3];
    qel_alembic_vertex vertex = {};
    qel_alembic_token token = {};
    char text[4096];
    DOES(qel_alembic_compute_bounds, positions.data(), torus_.vertex_count(), bounds);
    DOES(qel_alembic_world_to_matrix, 1, 1, 1, bounds, &cell[0], &cell[1], &cell[2]);
    DOES(qel_alembic_matrix_to_world, 1, 2, 3, bounds, &x, &y, &z);
    DOES(qel_alembic_process_vertex, positions.data(), bounds, &vertex);
    DOES(qel_alembic_topology_hash, 3, torus_.face_indices.data(), torus_.face_count());
    DOES(qel_alembic_generate_token, &vertex, 1, 2, 3, &token);
    const auto faces = static_cast<std::uint32_t>(torus_.face_indices.size() / 3);
    GIVES(0, qel_alembic_load_raw, positions.data(), torus_.vertex_count(), torus_.face_indices.data(), faces, "torus",
          &meshes_[0]);
    std::free(meshes_[0].vertices);
    std::free(meshes_[0].tokens);
    meshes_[0].vertices = nullptr;
    meshes_[0].tokens = nullptr;
    GIVES(0, qel_alembic_process_mesh, &meshes_[0], 1);
    qel_alembic_mesh wide = meshes_[0];
    for (float &bound : wide.bounds)
        bound = std::numeric_limits<float>::max(); // a long number
    DOES(qel_alembic_mesh_info, &wide, text, sizeof text);
    const std::string path = file("export");
    GIVES(0, qel_alembic_export_qel, &meshes_[0], path.c_str());
}

void call_list::scene_files() {
    qel_alembic_frame frames[2] = {};
    for (int i = 0; i < 2; ++i) {
        frames[i].frame = i;
        frames[i].time = static_cast<float>(i);
        frames[i].mesh_count = 1;
        frames[i].meshes = meshes_;
    }
    qel_alembic_file made = {};
    made.meshes = meshes_;
    made.mesh_count = 1;
    made.frames = frames;
    made.frame_count = 2;
    const std::string path = file("scene"), tokens = file("tokens");
    GIVES(0, qel_alembic_save, path.c_str(), &made);
    GIVES(0, qel_alembic_export_file_qel, &made, tokens.c_str());
    DOES(qel_alembic_mesh_free, &meshes_[0]);
    GIVES(0, qel_alembic_load, path.c_str(), &scene_);
    std::free(scene_.hash);
    GIVES(0, qel_alembic_build_hash_table, &scene_);
}

void call_list::scene_queries() {
    std::vector<qel_alembic_hit> hits(6000);
    char text[4096];
    GIVES(0, qel_alembic_validate, &scene_);
    qel_alembic_file wide = scene_;
    wide.time_start = wide.time_end = wide.fps = std::numeric_limits<float>::max(); // long numbers
    DOES(qel_alembic_file_info, &wide, text, sizeof text);
    const std::uint64_t key = scene_.meshes[0].vertices[17].morton;
    GIVES(0, qel_alembic_lookup_morton, &scene_, key, hits.data());
    DOES(qel_alembic_lookup_morton, &scene_, ~key, hits.data());
    GIVES(0, qel_alembic_lookup_frame_vertex, &scene_, 1, 0, 3, hits.data());
    for (const std::int32_t k : {1, 100, 5000})
        GIVES(k, qel_alembic_query_nearest, &scene_, key, k, hits.data());
    DOES(qel_alembic_query_layer, &scene_, 1, hits.data(), 6000);
    qel_alembic_mesh mesh = {};
    GIVES(0, qel_alembic_sample_frame, &scene_, 1, &mesh);
    mesh = {};
    GIVES(0, qel_alembic_interpolate_time, &scene_, 0.5f, &mesh);
    std::free(mesh.positions);
    std::uint32_t start, end;
    float fps;
    DOES(qel_alembic_get_frame_range, &scene_, &start, &end, &fps);
    DOES(qel_alembic_free, &scene_);
}

void call_list::agents() {
    const std::string path = file("agents");
    GIVES(0, qel_agent_dir_init, path.c_str());
    char id[9] = {}, other[9] = {};
    for (int i = 0; i < 300; ++i) // more than one piece of the file
        GIVES(0, qel_agent_spawn, nullptr, 1, 2, 3, i == 0 ? other : id);
    GIVES(0, qel_agent_delegate, id, other, 5);
    GIVES(0, qel_agent_control, id, 0);
    qel_agent agent;
    GIVES(0, qel_agent_query, id, &agent);
    std::vector<char> ids(300 * 9);
    GIVES(300u, qel_agent_monitor, "*", ids.data(), 300);
    std::uint32_t total, active, counts[4];
    DOES(qel_agent_dir_stats, &total, &active, counts);
    gives("qel_agent_dir_sync", 0, [&] { return qel_agent_dir_sync(); });
    GIVES(0, qel_agent_dir_save, path.c_str());
    qel_agent_dir_free();
    GIVES(0, qel_agent_dir_load, path.c_str());
    GIVES(0, qel_agent_terminate, id);
    does("qel_agent_dir_free", [] { qel_agent_dir_free(); }); // saves what has changed
}

} // namespace

void stack_calls::each(const runner &run) {
    call_list calls(run);
    calls.numbers();
    calls.matrices();
    calls.units();
    calls.archives();
    calls.trees();
    calls.geometry();
    calls.caches();
    calls.meshes();
    calls.scene_files();
    calls.scene_queries();
    calls.agents();
}

} // namespace qel::test
