// SPDX-License-Identifier: MIT
// Hand-made polygon meshes: arrays of exactly the lengths of their counts, with contents and missing arrays chosen by
// the fuzzer. All of the mesh geometry and the mesh cache is compared with the models.
#include "harness.h"
#include "mesh_checks.h"

#include <algorithm>
#include <fuzzer/FuzzedDataProvider.h>

using namespace qel;
using namespace qel::fuzz;

namespace {

float any_coordinate(FuzzedDataProvider &fuzz) {
    if (fuzz.ConsumeIntegralInRange(0, 15) == 0)
        return fuzz.PickValueInArray(
            {-0.0f, 3e38f, -3e38f, 1e-40f, 1e-9f, 1e20f, __builtin_inff(), __builtin_nanf("")});
    return static_cast<float>(fuzz.ConsumeIntegral<std::int8_t>()) * 0.125f;
}

/// An array of floats, or null if it is left out.
float *any_floats(FuzzedDataProvider &fuzz, std::size_t count) {
    if (fuzz.ConsumeIntegralInRange(0, 15) == 0) return nullptr;
    std::vector<float> values(count);
    for (float &value : values)
        value = any_coordinate(fuzz);
    return exact_copy(values);
}

/// Mostly the corner counts of small polygons; sometimes those of hostile files.
std::uint32_t any_corner_count(FuzzedDataProvider &fuzz, bool hostile) {
    const auto kind = fuzz.ConsumeIntegral<std::uint8_t>();
    if (kind < 200) return 3 + kind % 2;
    if (kind < 240) return kind % 8;
    if (kind < 254 || !hostile) return fuzz.ConsumeIntegral<std::uint8_t>();
    return fuzz.ConsumeIntegral<std::uint32_t>();
}

std::uint32_t *any_indices(FuzzedDataProvider &fuzz, std::size_t count, std::uint32_t vertices, bool hostile) {
    std::vector<std::uint32_t> indices(count);
    for (std::uint32_t &index : indices) {
        const std::uint32_t any = fuzz.ConsumeIntegral<std::uint8_t>();
        if (hostile && any >= 250)
            index = any == 255 ? 0xFFFFFFFF : vertices + any - 250;
        else
            index = vertices == 0 ? 0 : any % vertices;
    }
    return exact_copy(indices);
}

void add_faces(ogawa_polymesh &mesh, FuzzedDataProvider &fuzz) {
    const bool hostile = fuzz.ConsumeBool();
    const auto faces = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 120);
    std::vector<std::uint32_t> counts(faces);
    std::uint64_t corners = 0;
    for (std::uint32_t &count : counts)
        corners += count = any_corner_count(fuzz, hostile);
    mesh.face_count = faces;
    const int shape = fuzz.ConsumeIntegralInRange(0, 15);
    if (shape != 0) mesh.face_counts = exact_copy(counts);
    if (shape == 0) corners = std::uint64_t{faces} * 3;
    if (shape == 1) return; // no indices
    // Hostile counts may claim more or fewer corners than there are indices. Without the number of indices, the counts
    // are correct.
    std::uint64_t held = corners;
    if (hostile || held > 5000) held = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 400);
    mesh.face_indices = any_indices(fuzz, held, mesh.vertex_count, hostile);
    const bool say = held != corners || fuzz.ConsumeIntegralInRange(0, 7) != 0;
    mesh.face_index_count = say ? static_cast<std::uint32_t>(held) : 0;
    if (held != corners && held == 0) { // a count of 0 would mean unknown
        std::free(mesh.face_indices);
        mesh.face_indices = nullptr;
    }
}

void add_normals(ogawa_polymesh &mesh, FuzzedDataProvider &fuzz) {
    const std::uint32_t counts[] = {0, mesh.vertex_count, mesh.face_index_count, 1,
                                    fuzz.ConsumeIntegral<std::uint8_t>()};
    mesh.normal_count = fuzz.PickValueInArray(counts);
    mesh.normals = any_floats(fuzz, std::size_t{mesh.normal_count} * 3);
    mesh.normal_scope = fuzz.ConsumeIntegralInRange<std::uint32_t>(3, 4);
}

void add_uv_set(ogawa_uv_set &set, const ogawa_polymesh &mesh, FuzzedDataProvider &fuzz) {
    set = {};
    if (fuzz.ConsumeIntegralInRange(0, 7) == 0)
        std::memset(set.name, 'x', sizeof set.name); // a name without a terminator
    else
        set.name[0] = fuzz.PickValueInArray({'u', 'v', '\0'});
    const std::uint32_t counts[] = {0, 1, mesh.vertex_count, mesh.face_index_count,
                                    fuzz.ConsumeIntegral<std::uint8_t>()};
    set.value_count = fuzz.PickValueInArray(counts);
    // Without a count the values are unbounded and value 0 must exist; a set without values has no array.
    set.values = any_floats(fuzz, std::max<std::size_t>(set.value_count, 1) * 2);
    set.scope = fuzz.ConsumeIntegralInRange<std::uint32_t>(3, 4);
    if (fuzz.ConsumeBool()) return;
    const std::uint32_t held = fuzz.ConsumeBool() ? mesh.face_index_count : fuzz.ConsumeIntegral<std::uint8_t>();
    if (held == 0) return; // an array without a count would be unbounded
    set.index_count = held;
    set.indices = any_indices(fuzz, held, set.value_count, set.value_count != 0);
}

ogawa_polymesh make_mesh(FuzzedDataProvider &fuzz) {
    ogawa_polymesh mesh;
    std::memset(&mesh, 0, sizeof mesh);
    mesh.vertex_count = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 150);
    mesh.positions = any_floats(fuzz, std::size_t{mesh.vertex_count} * 3);
    add_faces(mesh, fuzz);
    add_normals(mesh, fuzz);
    mesh.uv_set_count = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 3);
    if (mesh.uv_set_count != 0 && fuzz.ConsumeIntegralInRange(0, 15) != 0) {
        mesh.uv_sets = exact_copy(std::vector<ogawa_uv_set>(mesh.uv_set_count));
        for (std::uint32_t i = 0; i < mesh.uv_set_count; ++i)
            add_uv_set(mesh.uv_sets[i], mesh, fuzz);
    }
    for (float &bound : mesh.bounds_min)
        bound = any_coordinate(fuzz);
    return mesh;
}

qel_skin make_skin(FuzzedDataProvider &fuzz) {
    qel_skin skin;
    std::memset(&skin, 0, sizeof skin);
    std::vector<qel_skin_joint> joints(fuzz.ConsumeIntegralInRange<std::size_t>(0, 5));
    std::vector<qel_skin_weight> weights(fuzz.ConsumeIntegralInRange<std::size_t>(0, 40));
    if (fuzz.ConsumeIntegralInRange(0, 31) == 0) joints.resize(300);
    for (qel_skin_joint &joint : joints)
        for (double &value : joint.joint_transform)
            value = fuzz.ConsumeIntegral<std::int8_t>();
    for (qel_skin_weight &weight : weights) {
        fuzz.ConsumeData(weight.joints, sizeof weight.joints);
        for (float &value : weight.weights)
            value = fuzz.PickValueInArray({0.0f, 0.25f, 1.0f, -1.0f, 1e-6f, 9e-7f, __builtin_nanf("")});
    }
    skin.joints = exact_copy(joints);
    skin.joint_count = static_cast<std::uint32_t>(joints.size());
    skin.weights = exact_copy(weights);
    skin.weight_count = static_cast<std::uint32_t>(weights.size());
    fuzz.ConsumeData(skin.bind_extra, sizeof skin.bind_extra);
    return skin;
}

/// For counts that no model follows: checks only that nothing outside of the arrays is accessed.
void use_hostile(ogawa_polymesh &mesh) {
    if (ogawa_build_manifold(&mesh) == 0) {
        for (std::uint32_t vertex = 0; vertex < mesh.vertex_count; vertex += 7) {
            std::uint32_t *neighbors = nullptr;
            std::uint32_t count = 0;
            if (ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, vertex, &neighbors, &count) == 0)
                std::free(neighbors);
        }
    }
    ogawa_free_manifold(&mesh.manifold);
    ogawa_compute_tangent_frame(&mesh, nullptr);
    ogawa_free_tangent_frame(&mesh.tangent_frame);
}

void live(FuzzedDataProvider &fuzz) {
    ogawa_polymesh mesh = make_mesh(fuzz);
    qel_skin skin = make_skin(fuzz);
    if (models_are_quick(mesh)) {
        check_mesh(mesh);
        const exact<char> name({fuzz.PickValueInArray({'u', 'v', 'x'}), '\0'});
        check_tangents(mesh, name);
        check_saving(mesh, &skin);
        check_skin(skin, fuzz.ConsumeIntegral<std::uint8_t>());
    } else {
        use_hostile(mesh);
    }
    ogawa_free_polymesh(&mesh);
    qel_skin_free(&skin);
}

/// Calls each function with failing allocations; the ledger frees the blocks that it deliberately leaks.
void run_out_of_memory(FuzzedDataProvider &fuzz, heap_ledger &heap) {
    const auto n = fuzz.ConsumeIntegralInRange<std::uint64_t>(1, 5);
    const bool all_later = fuzz.ConsumeBool();
    const int function = fuzz.ConsumeIntegralInRange(0, 4);
    ogawa_polymesh mesh = make_mesh(fuzz);
    const qel_skin skin = make_skin(fuzz);
    if (models_are_quick(mesh)) {
        const memory_file file;
        const failing_heap failing = failing_heap::at(n, all_later);
        std::uint32_t *numbers = nullptr;
        std::uint32_t count = 0;
        if (function <= 1) {
            const bool built = ogawa_build_manifold(&mesh) == 0;
            if (!built && mesh.manifold.vertex_faces == nullptr) mesh.manifold.vertex_face_offsets = nullptr;
            for (std::uint32_t vertex = 0; vertex < mesh.vertex_count; vertex += 11)
                ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, vertex, &numbers, &count);
        }
        if (function == 2) ogawa_compute_tangent_frame(&mesh, nullptr);
        if (function == 3) qel_mesh_save(&mesh, &skin, file.path());
        if (function == 4 && mesh.face_indices != nullptr)
            ogawa_triangulate_face(mesh.face_indices, mesh.face_index_count, &numbers, &count);
    }
    heap.free_all();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider fuzz(data, size);
    heap_ledger heap;
    if (fuzz.ConsumeIntegralInRange(0, 15) == 0)
        run_out_of_memory(fuzz, heap);
    else
        live(fuzz);
    require(heap.live() == 0);
    return 0;
}
