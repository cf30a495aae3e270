// SPDX-License-Identifier: MIT
// Hand-made token scenes: meshes from arrays of exactly their size are processed and compared with the model, then
// indexed, queried, saved and exported. Also checks the algebra of the cells.
#include "harness.h"
#include "scene_checks.h"

#include "model/matrix_model.h"
#include "model/topology_model.h"

using namespace qel;
using namespace qel::fuzz;

namespace {

float any_coordinate(FuzzedDataProvider &fuzz) {
    switch (fuzz.ConsumeIntegralInRange(0, 7)) {
    case 0:
        return fuzz.PickValueInArray(
            {0.0f, -0.0f, 3e38f, -3e38f, 1e-40f, __builtin_inff(), -__builtin_inff(), __builtin_nanf("")});
    case 1: {
        const auto word = fuzz.ConsumeIntegral<std::uint32_t>();
        float value;
        std::memcpy(&value, &word, sizeof value);
        return value;
    }
    default:
        return static_cast<float>(fuzz.ConsumeIntegral<std::int8_t>()) * 0.25f;
    }
}

struct mesh_arrays {
    std::vector<float> positions;
    std::vector<std::uint32_t> indices;
    std::uint32_t vertices() const { return static_cast<std::uint32_t>(positions.size() / 3); }
    std::uint32_t faces() const { return static_cast<std::uint32_t>(indices.size() / 3); }
};

mesh_arrays any_arrays(FuzzedDataProvider &fuzz) {
    mesh_arrays arrays;
    std::size_t vertices = fuzz.ConsumeIntegralInRange<std::size_t>(0, 40);
    const std::size_t copies = fuzz.ConsumeIntegralInRange(0, 7) == 0 ? 20 : 1;
    for (std::size_t i = 0; i < vertices * 3; ++i)
        arrays.positions.push_back(any_coordinate(fuzz));
    const std::vector<float> once = arrays.positions;
    for (std::size_t i = 1; i < copies; ++i)
        arrays.positions.insert(arrays.positions.end(), once.begin(), once.end());
    const std::size_t faces = fuzz.ConsumeIntegralInRange<std::size_t>(0, 50);
    const auto beyond = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 3);
    for (std::size_t i = 0; i < faces * 3; ++i) {
        const std::uint32_t corner = fuzz.ConsumeIntegral<std::uint8_t>();
        arrays.indices.push_back(corner == 255 ? 0xFFFFFFFF
                                               : corner % (static_cast<std::uint32_t>(vertices) + beyond + 1));
    }
    return arrays;
}

void check_processed(const qel_alembic_mesh &mesh, const mesh_arrays &arrays, std::uint8_t layer) {
    const model::processed_mesh expected = model::process_mesh(arrays.positions, arrays.indices, mesh.bounds, layer);
    require(mesh.layer == layer && mesh.vertex_count == expected.vertices.size());
    for (std::size_t i = 0; i < expected.vertices.size(); ++i) {
        require(std::memcmp(&mesh.vertices[i], &expected.vertices[i], sizeof(qel_alembic_vertex)) == 0);
        require(std::memcmp(&mesh.tokens[i], &expected.tokens[i], sizeof(qel_alembic_token)) == 0);
    }
}

void check_single_vertices(const mesh_arrays &arrays, const qel_alembic_mesh &mesh, std::uint32_t mesh_index) {
    for (std::uint32_t i = 0; i < mesh.vertex_count; i += 1 + mesh.vertex_count / 8) {
        const std::uint32_t *const indices = arrays.indices.empty() ? nullptr : arrays.indices.data();
        const std::uint32_t hash = qel_alembic_topology_hash(i, indices, arrays.faces());
        require(hash == model::topology_hash(i, arrays.indices) && hash == mesh.vertices[i].topology);
        qel_alembic_vertex vertex = {};
        qel_alembic_process_vertex(&mesh.positions[std::size_t{i} * 3], mesh.bounds, &vertex);
        const qel_alembic_vertex expected = model::process_vertex(&mesh.positions[std::size_t{i} * 3], mesh.bounds);
        require(std::memcmp(&vertex, &expected, sizeof vertex) == 0);
        qel_alembic_token token = {};
        qel_alembic_generate_token(&vertex, mesh.layer, mesh_index, i, &token);
        const qel_alembic_token plain = model::generate_token(vertex, mesh.layer, mesh_index, i);
        require(std::memcmp(&token, &plain, sizeof token) == 0);
        float world[3];
        const float *const box = mesh.bounds;
        qel_alembic_matrix_to_world(vertex.matrix_x, vertex.matrix_y, vertex.matrix_z, box, world, world + 1,
                                    world + 2);
        for (int axis = 0; axis < 3; ++axis) {
            const std::uint8_t cell = axis == 0 ? vertex.matrix_x : axis == 1 ? vertex.matrix_y : vertex.matrix_z;
            const float at = static_cast<float>(cell) / 47.0f * (box[axis + 3] - box[axis]) + box[axis];
            require(same_floats(&world[axis], &at, 1));
        }
    }
}

void check_cells(FuzzedDataProvider &fuzz) {
    std::uint8_t c[6];
    for (std::uint8_t &coordinate : c)
        coordinate = fuzz.ConsumeIntegral<std::uint8_t>();
    const auto mode = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 3);
    qel_matrix_identity a, b;
    require(qel_matrix_48_identity(c[0], c[1], c[2] + 256u * mode, &a) == model::morton_encode(c[0], c[1], c[2]));
    qel_matrix_48_identity(c[3], c[4], c[5], &b);
    const qel_matrix_identity expected = model::identity(c[0], c[1], c[2]);
    require(std::memcmp(&a, &expected, offsetof(qel_matrix_identity, phi_norm)) == 0);
    require(a.phi_norm == expected.phi_norm && a.em_coupling == expected.em_coupling);
    std::uint8_t mirror[3], bound[3], mutant[3];
    qel_matrix_48_palindrome(c[0], c[1], c[2] + 512u, mirror, mirror + 1, mirror + 2);
    qel_matrix_48_crossover_bind(c[0], c[1], c[2], c[3], c[4], c[5], bound, bound + 1, bound + 2);
    qel_matrix_48_mutate_tachyon(c[0], c[1], c[2], mutant, mutant + 1, mutant + 2);
    for (int axis = 0; axis < 3; ++axis) {
        require(mirror[axis] == model::palindrome(c[axis]) && mutant[axis] == model::mutate_tachyon(c[axis]));
        require(bound[axis] == (c[axis] + c[axis + 3]) / 2);
    }
    require(qel_matrix_48_chirality(c[0], c[1]) == model::chirality(c[0], c[1]));
    if (fuzz.ConsumeBool()) a.phi_norm = any_coordinate(fuzz);
    qel_matrix_offspring child;
    qel_matrix_48_reproduce(&a, &b, mode, &child);
    const qel_matrix_offspring plain = model::reproduce(a, b, mode);
    require(child.x == plain.x && child.y == plain.y && child.z == plain.z && child.chirality == plain.chirality);
    require(child.k11_level == plain.k11_level && child.i_state == plain.i_state);
    require(same_floats(&child.phi_blend, &plain.phi_blend, 1) && child.em_coupling == plain.em_coupling);
}

qel_alembic_mesh make_mesh(FuzzedDataProvider &fuzz, const mesh_arrays &arrays) {
    qel_alembic_mesh mesh;
    std::memset(&mesh, 0xA5, sizeof mesh);
    const exact<float> positions(arrays.positions);
    const exact<std::uint32_t> indices(arrays.indices);
    const exact<char> name({'a', 'b', '\0'});
    const std::int32_t status =
        qel_alembic_load_raw(positions, arrays.vertices(), indices, arrays.faces(), name, &mesh);
    require(status == (arrays.vertices() == 0 ? -1 : 0) && std::strcmp(mesh.name, "ab") == 0);
    if (status == 0) {
        check_processed(mesh, arrays, 1);
        check_single_vertices(arrays, mesh, fuzz.ConsumeIntegral<std::uint16_t>());
        if (fuzz.ConsumeBool()) { // again, with another box
            for (float &bound : mesh.bounds)
                bound = any_coordinate(fuzz);
            const auto layer = fuzz.ConsumeIntegralInRange<std::uint8_t>(0, 4);
            float box[6];
            std::memcpy(box, mesh.bounds, sizeof box);
            if (box[0] == 0.0f && box[3] == 0.0f) qel_alembic_compute_bounds(positions, mesh.vertex_count, box);
            require(qel_alembic_process_mesh(&mesh, layer) == 0);
            require(std::memcmp(box, mesh.bounds, sizeof box) == 0);
            check_processed(mesh, arrays, layer);
        }
    }
    return mesh;
}

template <class T>
void drop(T *&array) {
    std::free(array);
    array = nullptr;
}

/// Removes or changes fields that a caller who fills records by hand may leave out or set differently.
void bend_mesh(qel_alembic_mesh &mesh, FuzzedDataProvider &fuzz) {
    switch (fuzz.ConsumeIntegralInRange(0, 15)) {
    case 0:
        return drop(mesh.vertices);
    case 1:
        return drop(mesh.tokens);
    case 2:
        drop(mesh.vertices);
        return drop(mesh.tokens);
    case 3:
        return drop(mesh.positions);
    case 4:
        drop(mesh.positions);
        drop(mesh.vertices);
        if (mesh.vertex_count != 0) require(qel_alembic_process_mesh(&mesh, 2) == 0);
        return;
    case 5:
    case 6:
        for (std::uint32_t v = 0; mesh.vertices != nullptr && v < mesh.vertex_count; ++v)
            mesh.vertices[v].morton = fuzz.ConsumeIntegral<std::uint64_t>();
        return;
    case 7:
        if (mesh.indices == nullptr) return;
        drop(mesh.indices);
        mesh.face_count = 0;
        return;
    default:
        return;
    }
}

void add_frames(qel_alembic_file &scene, FuzzedDataProvider &fuzz) {
    const auto count = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 5);
    if (count == 0) return;
    scene.frames = exact_copy(std::vector<qel_alembic_frame>(count));
    scene.frame_count = count;
    for (std::uint32_t f = 0; f < count; ++f) {
        qel_alembic_frame &frame = scene.frames[f];
        frame.frame = fuzz.ConsumeIntegralInRange(-2, 5);
        frame.time = fuzz.ConsumeIntegralInRange(0, 3) == 0 ? any_coordinate(fuzz) : static_cast<float>(f) * 0.5f;
        frame.mesh_count = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 2);
        frame.meshes = exact_copy(std::vector<qel_alembic_mesh>(frame.mesh_count));
        for (std::uint32_t m = 0; m < frame.mesh_count; ++m) {
            std::vector<float> positions(fuzz.ConsumeIntegralInRange<std::size_t>(0, 3) * 3);
            for (float &value : positions)
                value = any_coordinate(fuzz);
            frame.meshes[m].vertex_count = static_cast<std::uint32_t>(positions.size() / 3);
            frame.meshes[m].positions = exact_copy(positions);
        }
    }
}

void live(FuzzedDataProvider &fuzz) {
    qel_alembic_file scene = {};
    const bool indexed = fuzz.ConsumeIntegralInRange(0, 7) == 0; // building the table is slow
    scene.mesh_count = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 5);
    scene.meshes = exact_copy(std::vector<qel_alembic_mesh>(scene.mesh_count));
    for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
        scene.meshes[m] = make_mesh(fuzz, any_arrays(fuzz));
        bend_mesh(scene.meshes[m], fuzz);
    }
    add_frames(scene, fuzz);
    scene.fps = any_coordinate(fuzz);
    scene.time_end = any_coordinate(fuzz);
    std::memset(scene.source, 's', fuzz.ConsumeIntegralInRange<std::size_t>(0, sizeof scene.source));
    check_cells(fuzz);
    if (indexed) {
        const auto n = fuzz.ConsumeIntegralInRange<std::uint64_t>(2, 3); // the second is the build's scratch
        const failing_heap heap = failing_heap::nth(n);
        require(qel_alembic_build_hash_table(&scene) == (scene.mesh_count == 0 ? -1 : 0));
    }
    if (indexed && scene.mesh_count > 0) require(scene.total_vertices == vertex_count(scene));
    question_scene(scene, fuzz);
    check_saving(scene);
    check_export(scene);
    qel_alembic_free(&scene);
}

void run_out_of_memory(FuzzedDataProvider &fuzz, heap_ledger &heap) {
    const mesh_arrays arrays = any_arrays(fuzz);
    const bool all_later = fuzz.ConsumeBool();
    qel_alembic_mesh mesh;
    {
        const failing_heap failing = failing_heap::at(fuzz.ConsumeIntegralInRange<std::uint64_t>(1, 4), all_later);
        std::uint32_t none = 0;
        float nothing = 0;
        const float *const positions = arrays.positions.empty() ? &nothing : arrays.positions.data();
        const std::uint32_t *const indices = arrays.indices.empty() ? &none : arrays.indices.data();
        qel_alembic_load_raw(positions, arrays.vertices(), indices, arrays.faces(), nullptr, &mesh);
    }
    heap.free_all(); // the record may point to freed memory
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
