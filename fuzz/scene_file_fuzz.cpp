// SPDX-License-Identifier: MIT
// Scene files of any bytes: load, compare with the plain reader, run all queries, save, export.
#include "harness.h"
#include "scene_checks.h"

#include "model/scene_model.h"

using namespace qel;
using namespace qel::fuzz;

namespace {

constexpr std::uint64_t max_resaved = 1 << 20;

/// A count that is mostly correct.
std::uint32_t perhaps_lie(FuzzedDataProvider &fuzz, std::uint32_t truth) {
    switch (fuzz.ConsumeIntegralInRange(0, 47)) {
    case 0:
        return fuzz.ConsumeIntegral<std::uint32_t>();
    case 1:
        return truth + 1;
    case 2:
        return truth - 1;
    case 3:
        return fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 300);
    default:
        return truth;
    }
}

void append_positions(bytes &file, FuzzedDataProvider &fuzz, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count * 3; ++i)
        append(file, fuzz.PickValueInArray(
                         {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, 3e38f, 1e-40f, __builtin_inff(), __builtin_nanf("")}));
}

void append_mesh(bytes &file, FuzzedDataProvider &fuzz) {
    const auto vertices = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 40);
    const auto faces = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 10);
    char name[64] = {};
    if (fuzz.ConsumeBool()) std::memset(name, 'n', fuzz.ConsumeIntegralInRange<std::size_t>(0, 64));
    append(file, name);
    append(file, perhaps_lie(fuzz, vertices));
    append(file, perhaps_lie(fuzz, faces));
    append_positions(file, fuzz, 2); // the box
    append(file, fuzz.ConsumeIntegral<std::uint32_t>());
    append(file, fuzz.ConsumeIntegral<std::uint8_t>());
    append_positions(file, fuzz, vertices);
    for (std::uint32_t i = 0; i < faces * 3; ++i)
        append(file, std::uint32_t{fuzz.ConsumeIntegral<std::uint8_t>()});
    const std::size_t vertices_at = file.size();
    file.resize(vertices_at + vertices * sizeof(qel_alembic_vertex));
    std::uint64_t key = fuzz.ConsumeIntegral<std::uint64_t>();
    for (std::uint32_t i = 0; i < vertices; ++i) {
        qel_alembic_vertex vertex = {};
        key = fuzz.ConsumeBool() ? key + fuzz.ConsumeIntegral<std::uint8_t>() : fuzz.ConsumeIntegral<std::uint64_t>();
        vertex.morton = key;
        vertex.matrix_x = fuzz.ConsumeIntegralInRange<std::uint8_t>(0, 48);
        vertex.k11_level = fuzz.ConsumeIntegralInRange<std::int8_t>(-12, 12);
        vertex.padding1[1] = 3;
        std::memcpy(&file[vertices_at + i * sizeof vertex], &vertex, sizeof vertex);
    }
    for (std::uint32_t i = 0; i < vertices; ++i) {
        qel_alembic_token token = {};
        token.morton = i;
        token.layer = fuzz.ConsumeIntegralInRange<std::uint8_t>(0, 4);
        append(file, token);
    }
}

void append_frame(bytes &file, FuzzedDataProvider &fuzz, float time) {
    append(file, fuzz.ConsumeIntegralInRange<std::int32_t>(-2, 5));
    append(file, time);
    const auto meshes = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 3);
    append(file, perhaps_lie(fuzz, meshes));
    const auto vertices = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 8);
    for (std::uint32_t m = 0; m < meshes; ++m) {
        append(file, perhaps_lie(fuzz, vertices));
        append_positions(file, fuzz, vertices);
    }
}

bytes make_file(FuzzedDataProvider &fuzz) {
    const auto meshes = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 5);
    const auto frames = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 6);
    bytes file = {'B', 'Q', 'E', 'L'};
    append(file, perhaps_lie(fuzz, fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 1)));
    append(file, perhaps_lie(fuzz, meshes));
    append(file, perhaps_lie(fuzz, frames));
    append(file, fuzz.ConsumeIntegral<std::uint64_t>());
    append(file, fuzz.ConsumeIntegral<std::uint64_t>());
    append_positions(file, fuzz, 1); // rate and times
    append(file, fuzz.ConsumeIntegral<std::uint32_t>());
    file.resize(64);
    for (std::uint32_t m = 0; m < meshes; ++m)
        append_mesh(file, fuzz);
    for (std::uint32_t f = 0; f < frames; ++f)
        append_frame(file, fuzz, fuzz.PickValueInArray({static_cast<float>(f) * 0.5f, 1.0f, 0.0f}));
    if (fuzz.ConsumeIntegralInRange(0, 3) == 0) file.resize(fuzz.ConsumeIntegralInRange<std::size_t>(0, file.size()));
    return file;
}

void check_header(const qel_alembic_file &scene, const bytes &content, const char *path) {
    require(std::memcmp(&scene.version, &content[4], 4) == 0 && std::memcmp(&scene.flags, &content[44], 4) == 0);
    require(std::memcmp(&scene.mesh_count, &content[8], 4) == 0 &&
            std::memcmp(&scene.frame_count, &content[12], 4) == 0);
    require(std::memcmp(&scene.total_faces, &content[24], 8) == 0 && std::memcmp(&scene.fps, &content[32], 4) == 0);
    require(std::memcmp(&scene.time_start, &content[36], 8) == 0 && std::strcmp(scene.source, path) == 0);
    if (scene.mesh_count > 0)
        require(scene.total_tokens == vertex_count(scene) && scene.total_vertices == scene.total_tokens);
}

/// Only the quick queries, for a scene with huge counts.
void ask_little(const qel_alembic_file &scene) {
    char text[600];
    qel_alembic_hit hits[2];
    qel_alembic_mesh mesh;
    qel_alembic_file_info(&scene, text, sizeof text);
    qel_alembic_validate(&scene);
    qel_alembic_query_layer(&scene, 1, hits, 2);
    qel_alembic_sample_frame(&scene, 1, &mesh);
    qel_alembic_lookup_frame_vertex(&scene, 1, 0, 0xFFFFFFFF, hits);
}

void load(const bytes &content, FuzzedDataProvider &fuzz, bool indexed) {
    const memory_file file(content);
    qel_alembic_file scene = {};
    std::int32_t status;
    {
        const failing_heap without_tables = indexed ? failing_heap::nth(0) : failing_heap::of_size(table_bytes);
        status = qel_alembic_load(file.path(), &scene);
    }
    const bool is_scene = content.size() >= 64 && std::memcmp(content.data(), "BQEL", 4) == 0;
    if (!is_scene) {
        require(status == -2);
    } else if (content[4] > 1 || content[5] != 0 || content[6] != 0 || content[7] != 0) {
        require(status == -3);
    } else {
        const bytes completed = model::completed_file(content, max_resaved);
        require(status == 0 || (status == -4 && completed.empty()));
        if (status == 0) check_header(scene, content, file.path());
        if (!completed.empty()) {
            const memory_file saved;
            require((scene.hash != nullptr) == (indexed && scene.mesh_count > 0));
            require(qel_alembic_save(saved.path(), &scene) == 0);
            require(saved.content() == completed);
        }
    }
    if (status == 0 && is_small(scene)) {
        question_scene(scene, fuzz);
        check_export(scene);
    } else {
        ask_little(scene);
    }
    qel_alembic_free(&scene);
    require(scene.meshes == nullptr && scene.frames == nullptr && scene.hash == nullptr && scene.mesh_count == 0);
    qel_alembic_free(&scene);
}

void run_out_of_memory(const bytes &content, std::uint64_t n, bool all_later) {
    const memory_file file(content);
    qel_alembic_file scene = {};
    std::int32_t status;
    {
        const failing_heap heap = failing_heap::at(n, all_later);
        status = qel_alembic_load(file.path(), &scene);
    }
    require(status == 0 || scene.meshes == nullptr);
    if (status != 0 || is_small(scene)) ask_little(scene);
    qel_alembic_free(&scene);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider fuzz(data, size);
    const heap_ledger heap;
    const int door = fuzz.ConsumeIntegralInRange(0, 7);
    const bool indexed = fuzz.ConsumeIntegralInRange(0, 7) == 0; // building the table is slow
    const auto n = fuzz.ConsumeIntegral<std::uint8_t>();
    if (door < 3) {
        const bytes content = fuzz.ConsumeRemainingBytes<std::uint8_t>();
        FuzzedDataProvider arguments(content.data(), content.size());
        load(content, arguments, indexed);
    } else if (door < 7) {
        load(make_file(fuzz), fuzz, indexed);
    } else {
        run_out_of_memory(make_file(fuzz), n, indexed);
    }
    require(heap.live() == 0);
    return 0;
}
