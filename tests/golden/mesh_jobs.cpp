// SPDX-License-Identifier: MIT
// Geometry of a mesh, its verification, its cache file and its skin.
#include "golden/inputs.h"
#include "golden/jobs.h"
#include "golden/records.h"

#include <qel_unit.h>

#include <cstdlib>
#include <limits>

namespace qel::test {
namespace {

/// A record with the box of its positions.
ogawa_polymesh boxed(plain_mesh &mesh) {
    ogawa_polymesh record = record_of(mesh);
    float bounds[6];
    ogawa_compute_bounds(record.positions, record.vertex_count, bounds);
    std::memcpy(record.bounds_min, bounds, sizeof record.bounds_min);
    std::memcpy(record.bounds_max, bounds + 3, sizeof record.bounds_max);
    return record;
}

void add_adjacency(digest &results, ogawa_polymesh &record) {
    results.add(ogawa_build_manifold(&record));
    const ogawa_manifold &manifold = record.manifold;
    results.add_array(manifold.vertex_face_offsets, std::uint64_t{manifold.vertex_count} + 1);
    results.add_array(manifold.face_offsets, std::uint64_t{manifold.face_count} + 1);
    results.add(ogawa_is_manifold_closed(&manifold));
    for (std::uint32_t vertex = 0; vertex <= record.vertex_count; ++vertex) {
        const std::uint32_t *faces = nullptr;
        std::uint32_t *neighbors = nullptr, count = 0;
        results.add(ogawa_get_vertex_faces(&manifold, vertex, &faces, &count));
        results.add_array(faces, count);
        count = 0;
        results.add(ogawa_get_vertex_neighbors(&manifold, &record.face_counts, vertex, &neighbors, &count));
        results.add_array(neighbors, count);
        std::free(neighbors);
    }
    ogawa_free_manifold(&record.manifold);
}

void adjacency(digest &results) {
    plain_mesh sheet = make_sheet(21, 30, 20), tangle = make_tangle(22, 200, 700);
    ogawa_polymesh record = boxed(sheet);
    add_adjacency(results, record);
    record.face_counts = nullptr; // triangles, then
    add_adjacency(results, record);
    record = boxed(tangle);
    add_adjacency(results, record);
}

void add_tangents(digest &results, ogawa_polymesh &record, const char *set) {
    results.add(ogawa_compute_tangent_frame(&record, set));
    add_tangent_frame(results, record.tangent_frame);
    ogawa_free_tangent_frame(&record.tangent_frame);
}

void tangents(digest &results) {
    for (plain_mesh mesh : {make_sheet(23, 30, 20), make_tangle(24, 300, 900)}) {
        noise random(25);
        ogawa_polymesh record = boxed(mesh);
        std::vector<float> pairs;
        for (std::size_t i = 0; i < mesh.face_indices.size() * 2; ++i)
            pairs.push_back(random.coordinate(1));
        std::vector<std::uint32_t> indices;
        for (std::size_t i = 0; i < mesh.face_indices.size(); ++i)
            indices.push_back(random.below(400)); // of 300 values
        ogawa_uv_set sets[2] = {};
        std::strcpy(sets[0].name, "by corner");
        sets[0].values = pairs.data();
        sets[0].value_count = static_cast<std::uint32_t>(mesh.face_indices.size());
        sets[0].scope = OGAWA_SCOPE_FACE_VARYING;
        sets[1] = sets[0];
        std::strcpy(sets[1].name, "by index");
        sets[1].value_count = 300;
        sets[1].indices = indices.data();
        sets[1].index_count = static_cast<std::uint32_t>(indices.size());
        record.uv_sets = sets;
        record.uv_set_count = 2;
        for (const char *name : {static_cast<const char *>(nullptr), "by index", "no such"})
            add_tangents(results, record, name);
        sets[0].scope = OGAWA_SCOPE_VERTEX;
        add_tangents(results, record, "by corner");
    }
}

/// Every remainder of a vector's width; zeros of both signs, NaNs, infinities.
void boxes_and_checks(digest &results) {
    noise random(26);
    std::vector<float> positions;
    for (int i = 0; i < 3 * 400; ++i)
        positions.push_back(i % 7 == 0 ? 0.0f : i % 11 == 0 ? -0.0f : random.coordinate(50));
    for (std::uint32_t count = 0; count < 300; ++count) {
        std::vector<float> some(positions.begin() + count, positions.begin() + 4 * count);
        if (count > 4 && count % 3 == 0) random.set_any(some[random.below(count * 3)]);
        if (count > 4 && count % 4 == 0) some[random.below(count * 3)] = std::numeric_limits<float>::infinity();
        if (count > 4 && count % 5 == 0) some[random.below(count * 3)] = std::numeric_limits<float>::quiet_NaN();
        float box[6] = {};
        ogawa_compute_bounds(some.data(), count, box);
        results.add_array(box, 6);
        results.add(qel_mesh_verify_p_minus_p(some.data(), count));
        results.add(qel_mesh_verify_p_div_p(some.data(), count));
        results.add(qel_mesh_is_static_valid(some.data(), count));
        results.add(qel_mesh_bounds_coherence(box[0], box[1], box[2], box[3], box[4], box[5]));
        qel_mesh_verify_report report;
        results.add(
            qel_mesh_verify_identity(some.data(), count, box[0], box[1], box[2], box[3], box[4], box[5], &report));
        results.add(report.p_minus_p_ok, report.p_div_p_ok, report.coherence, report.valid);
        results.add(report.vertex_count); // without the time of the check, which differs in each run
    }
    const std::uint32_t face[7] = {5, 4, 9, 2, 7, 7, 0};
    for (std::uint32_t corners = 0; corners <= 7; ++corners) {
        std::uint32_t *triangles = nullptr, count = 0;
        results.add(ogawa_triangulate_face(face, corners, &triangles, &count));
        results.add_array(triangles, std::uint64_t{count} * 3);
        std::free(triangles);
    }
}

struct skin_arrays {
    std::vector<qel_skin_joint> joints;
    std::vector<qel_skin_weight> weights;
    std::vector<double> poses;
    qel_skin skin{};

    skin_arrays(std::uint64_t seed, std::uint32_t joint_count, std::uint32_t vertex_count)
        : joints(joint_count), weights(vertex_count) {
        noise random(seed);
        for (qel_skin_joint &joint : joints) {
            for (std::uint8_t &part : joint.descriptor)
                part = random.byte();
            for (double &cell : joint.joint_transform)
                cell = random.coordinate(2);
            for (int cell = 0; cell < 16; ++cell)
                poses.push_back(random.coordinate(2) / 3.0);
        }
        for (qel_skin_weight &weight : weights)
            for (int slot = 0; slot < 4; ++slot) {
                weight.joints[slot] = static_cast<std::uint8_t>(random.below(joint_count + 1));
                weight.weights[slot] = random.below(5) == 0 ? 1e-7f : random.coordinate(1) / 3.0f;
            }
        for (std::uint8_t &part : skin.bind_extra)
            part = random.byte();
        skin.joints = joints.data();
        skin.joint_count = joint_count;
        skin.weights = weights.data();
        skin.weight_count = vertex_count;
    }
};

void add_mapped(digest &results) {
    qel_mesh mesh;
    const std::int32_t status = qel_mesh_load("mesh.qelm", &mesh);
    results.add(status);
    if (status != 0) return;
    const float *positions = nullptr, *normals = nullptr;
    const std::uint32_t *indices = nullptr;
    std::uint32_t vertices = 0, triangles = 0;
    results.add(qel_mesh_get_gpu_data(&mesh, &positions, &normals, &indices, &vertices, &triangles));
    results.add_array(positions, std::uint64_t{vertices} * 3);
    results.add_array(normals, std::uint64_t{vertices} * 3);
    results.add_array(indices, std::uint64_t{triangles} * 3);
    results.add(mesh.file_size, mesh.skin != nullptr);
    if (mesh.skin != nullptr) {
        results.add_bytes(mesh.skin->bind_extra, sizeof mesh.skin->bind_extra);
        results.add_bytes(mesh.skin->joints, sizeof(qel_skin_joint) * mesh.skin->joint_count);
        results.add_bytes(mesh.skin->weights, sizeof(qel_skin_weight) * mesh.skin->weight_count);
    }
    qel_mesh_free(&mesh);
}

void caches(digest &results) {
    plain_mesh sheet = make_sheet(27, 40, 30), tangle = make_tangle(28, 300, 900);
    const skin_arrays skin(29, 9, sheet.vertex_count());
    ogawa_polymesh record = boxed(sheet);
    const auto save_and_map = [&](const qel_skin *with) {
        results.add(qel_mesh_save(&record, with, "mesh.qelm"));
        results.add_file("mesh.qelm");
        add_mapped(results);
    };
    save_and_map(&skin.skin); // normals summed over the corners
    set_normals(record, sheet.vertex_normals, OGAWA_SCOPE_VERTEX);
    save_and_map(nullptr); // normals as they are
    record = boxed(tangle);
    results.add(qel_mesh_save(&record, nullptr, "refused.qelm"));
    for (std::uint32_t &index : tangle.face_indices)
        index %= 300;
    save_and_map(nullptr);
    bytes file = read_file("mesh.qelm");
    file[0] = 'q';
    write_file("mesh.qelm", file);
    add_mapped(results);
    write_file("mesh.qelm", {});
    add_mapped(results);
    qel_mesh mesh;
    results.add(qel_mesh_load("missing.qelm", &mesh));
}

void skinning(digest &results) {
    noise random(30);
    for (const std::uint32_t joints : {1u, 3u, 100u})
        for (std::uint32_t vertices : {1u, 2u, 7u, 8u, 15u, 16u, 17u, 600u}) {
            skin_arrays arrays(joints * 1000 + vertices, joints, vertices);
            std::vector<float> positions, moved(vertices * 3);
            for (std::uint32_t i = 0; i < vertices * 3; ++i)
                positions.push_back(random.coordinate(20));
            for (std::uint32_t i = 28; i < vertices * 3; i += 29)
                random.set_any(positions[i]);
            qel_skin_apply(&arrays.skin, arrays.poses.data(), positions.data(), moved.data());
            results.add_array(moved.data(), moved.size());
        }
    qel_skin empty{};
    qel_skin_free(&empty);
}

} // namespace

const job mesh_jobs[] = {{"adjacency", adjacency}, {"tangents", tangents}, {"boxes_and_checks", boxes_and_checks},
                         {"caches", caches},       {"skinning", skinning}, {nullptr, nullptr}};

} // namespace qel::test
