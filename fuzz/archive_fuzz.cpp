// SPDX-License-Identifier: MIT
// Archives of any bytes: every reader is compared with its model; then the mesh geometry runs on its output.
#include "archive_recipe.h"
#include "harness.h"
#include "mesh_checks.h"

#include "model/block_scan_model.h"
#include "model/mesh_scan_model.h"
#include "model/node_walk_model.h"
#include "model/polymesh_model.h"

#include "ogawa_reader/container/node_walk.h"
#include "ogawa_reader/search/mesh_search.h"

using namespace qel;
using namespace qel::fuzz;

namespace {

constexpr std::uint64_t max_visits = 3000;   // of the naive walk, each of up to a thousand references
constexpr std::uint64_t max_steps = 400'000; // of the naive search for runs

template <class T>
bool read_value(const bytes &content, std::uint64_t at, T &value) {
    if (at > content.size() || content.size() - at < sizeof value) return false;
    std::memcpy(&value, &content[static_cast<std::size_t>(at)], sizeof value);
    return true;
}

/// The reference of the top object, below which meshes are searched; 0 if the file has none.
std::uint64_t top_object(const bytes &content) {
    std::uint64_t root = 0, third = 0;
    if (!read_value(content, 8, root)) return 0;
    root &= ~(std::uint64_t{1} << 63);
    return root < content.size() && read_value(content, root + 24, third) ? third : 0;
}

/// Walks from the top object with any limits. Returns whether the model's walk, which follows every reference every
/// time, ends.
bool check_walk(ogawa_archive &archive, std::FILE *stream, const bytes &content, std::uint32_t capacity,
                std::int32_t max_depth) {
    const auto top = static_cast<std::int64_t>(top_object(content));
    model::node_walk walk{stream, content.size(), capacity, max_depth, {}};
    walk.max_visits = max_visits;
    walk.visit(top, 0);
    const exact<ogawa::extent> nodes{std::vector<ogawa::extent>(capacity)};
    ogawa_node_collector collector = {archive.file, content.size(), nodes, 0, capacity, max_depth};
    ogawa_collect_data_nodes(&collector, top, 0);
    if (!walk.gave_up()) {
        require(collector.count == walk.nodes.size());
        for (std::uint32_t i = 0; i < collector.count; ++i)
            require(model::listed_node{nodes[i].at, nodes[i].size} == walk.nodes[i]);
    }
    return !walk.gave_up();
}

/// Whether the naive search, which measures every run from each of its words on, ends.
bool naive_runs_end(const bytes &content, std::uint32_t vertex_count) {
    std::uint64_t steps = 0, run = 0;
    std::uint32_t word = 0;
    for (std::uint64_t at = 16; read_value(content, at, word); at += 4) {
        run = word < vertex_count || word == 3 || word == 4 ? run + 1 : 0;
        steps += run;
    }
    return steps <= max_steps;
}

void check_polymesh(ogawa_archive &archive, std::FILE *stream, const bytes &content, bool use) {
    ogawa_object object = {};
    std::strcpy(object.name, "a");
    std::strcpy(object.path, "/a/b");
    const bool named = content.size() % 2 == 0;
    ogawa_polymesh mesh, expected;
    std::memset(&mesh, 0xA5, sizeof mesh);
    const int status = ogawa_read_polymesh(&archive, named ? &object : nullptr, 0, &mesh);
    require(status == 0 ? mesh.vertex_count != 0 : status == -1);
    if (check_walk(archive, stream, content, 500, 20) && naive_runs_end(content, mesh.vertex_count)) {
        require(model::read_polymesh(stream, named ? &object : nullptr, &expected) == status);
        require(model::same_polymesh(mesh, expected));
        model::free_polymesh(&expected);
    }
    if (status == 0 && use) {
        mesh.uv_sets = static_cast<ogawa_uv_set *>(std::calloc(1, sizeof(ogawa_uv_set)));
        if (ogawa_read_uvs(&archive, nullptr, 0, 0, mesh.uv_sets) == 0) mesh.uv_set_count = 1;
        check_mesh(mesh);
    }
    ogawa_free_polymesh(&mesh);
}

void check_first_polymesh(ogawa_archive &archive) {
    const ogawa_polymesh *const first = ogawa_get_first_polymesh(&archive);
    require(ogawa_get_first_polymesh(&archive) == first || first == nullptr);
    require(archive.polymesh_count == (first == nullptr ? 0 : 1));
}

void check_positions_scan(ogawa_archive &archive, std::FILE *stream) {
    float *positions = nullptr, *expected = nullptr;
    std::uint32_t count = 7, expected_count = 7;
    const int status = ogawa_read_positions(&archive, nullptr, 0, &positions, &count);
    require(status == model::scan_positions(stream, &expected, &expected_count));
    require(count == expected_count && (positions == nullptr) == (expected == nullptr));
    require(count == 7 || count == 0 || std::memcmp(positions, expected, std::size_t{count} * 12) == 0);
    std::free(positions);
    std::free(expected);
}

void check_mesh_search(ogawa_archive &archive, std::FILE *stream) {
    ogawa_mesh_locations found = {};
    model::mesh_locations expected = {};
    ogawa_find_mesh_data(&archive, &found);
    model::find_mesh_data(stream, &expected);
    static_assert(sizeof found == sizeof expected);
    require(std::memcmp(&found, &expected, sizeof found) == 0);
}

void check_normals(ogawa_archive &archive, std::FILE *stream) {
    float *normals = nullptr;
    std::uint32_t *indices = reinterpret_cast<std::uint32_t *>(&normals);
    std::uint32_t count = 0, scope = 0;
    const std::int32_t status = ogawa_read_normals(&archive, nullptr, 0, &normals, &indices, &count, &scope);
    const model::floats_read expected = model::read_normals_plainly(stream);
    require(status == expected.status && count == expected.count);
    require((normals != nullptr) == (status == 0));
    if (status == 0)
        require(indices == nullptr && scope == 3 &&
                std::memcmp(normals, expected.values.data(), expected.values.size() * sizeof(float)) == 0);
    std::free(normals);
}

void check_uvs(ogawa_archive &archive, std::FILE *stream) {
    ogawa_uv_set set = {};
    const std::int32_t status = ogawa_read_uvs(&archive, nullptr, 0, 0, &set);
    const model::floats_read expected = model::read_uvs_plainly(stream);
    require(status == expected.status && (set.values != nullptr) == (status == 0));
    require(std::strcmp(set.name, expected.block_known ? "uv" : "") == 0);
    require(set.value_count == (status == 0 ? expected.count : 0) && set.indices == nullptr && set.index_count == 0);
    if (status == 0)
        require(set.scope == 4 &&
                std::memcmp(set.values, expected.values.data(), expected.values.size() * sizeof(float)) == 0);
    ogawa_free_uv_set(&set);
}

void check_tangent_reading(ogawa_archive &archive, std::FILE *stream) {
    ogawa_tangent_frame frame;
    std::memset(&frame, 0xA5, sizeof frame);
    const std::int32_t status = ogawa_read_tangent_frame(&archive, nullptr, 0, &frame);
    const model::tangents_read expected = model::read_tangents_plainly(stream);
    const std::size_t size = expected.tangents.size() * sizeof(float);
    require(status == expected.status && frame.count == expected.count && frame.components == expected.components);
    require((frame.tangents != nullptr) == (status == 0) && (frame.bitangents != nullptr) == (status == 0));
    if (status == 0)
        require(std::memcmp(frame.tangents, expected.tangents.data(), size) == 0 &&
                std::memcmp(frame.bitangents, expected.bitangents.data(), size) == 0);
    ogawa_free_tangent_frame(&frame);
}

void check_info(const ogawa_archive &archive, int size) {
    char whole[1400];
    std::snprintf(whole, sizeof whole,
                  "Ogawa Archive\n=============\nPath: %s\nVersion: %d.%d\nObjects: 0\nPolyMeshes: %u\n"
                  "Time Range: 0.000 - 1.000 sec\nFPS: 24.00",
                  archive.path, archive.version[0], archive.version[1], archive.polymesh_count);
    const exact<char> text(std::vector<char>(static_cast<std::size_t>(size), '#'));
    ogawa_get_info(&archive, text, size);
    require(size == 0 || (text[std::strlen(text)] == '\0' && std::strncmp(text, whole, std::strlen(text)) == 0));
    require(size == 0 ||
            std::strlen(text) == std::min<std::size_t>(std::strlen(whole), static_cast<std::size_t>(size) - 1));
}

int expected_status(const bytes &content) {
    if (content.size() < 5) return -1;
    if (std::memcmp(content.data(), "Ogawa", 5) != 0) return -2;
    if (content.size() < 6 || content[5] != 0xFF) return -3;
    if (content.size() < 8) return -4;
    return content.size() < 16 ? -5 : 0;
}

/// Runs one group of the readers, or all of them: each takes time.
void read(ogawa_archive &archive, const bytes &content, int detail) {
    const memory_stream models(content);
    std::FILE *const stream = models.file();
    const int part = detail % 8;
    if (part < 3) {
        const auto capacity = static_cast<std::uint32_t>(detail / 8 % 4 == 0 ? 500 : detail / 8 % 4);
        check_walk(archive, stream, content, capacity, detail / 32 * 3);
        check_polymesh(archive, stream, content, false);
    }
    if (part == 3 || part == 7) check_polymesh(archive, stream, content, true);
    if (part >= 4) {
        check_positions_scan(archive, stream);
        check_mesh_search(archive, stream);
        check_normals(archive, stream);
        check_uvs(archive, stream);
        check_tangent_reading(archive, stream);
    }
}

void read_everything(const bytes &content, int detail) {
    const memory_file file(content);
    ogawa_archive archive;
    std::memset(&archive, 0xA5, sizeof archive);
    const int status = ogawa_open(file.path(), &archive);
    require(status == expected_status(content) && (archive.file != nullptr) == (status == 0));
    if (status == 0) {
        check_info(archive, detail);
        read(archive, content, detail);
        qel_skin skin;
        require(ogawa_read_skinning(&archive, nullptr, &skin) == -1 && skin.joints == nullptr);
    }
    ogawa_close(&archive);
    require(archive.file == nullptr && archive.path[0] == '\0');
    ogawa_close(&archive);
}

/// A failed first mesh is deliberately not released.
void read_first_mesh(const bytes &content, heap_ledger &heap) {
    const memory_file file(content);
    ogawa_archive archive;
    if (ogawa_open(file.path(), &archive) == 0) check_first_polymesh(archive);
    ogawa_close(&archive);
    heap.free_all();
}

/// After any failure nothing invalid is read or freed; the ledger frees the blocks that stay allocated.
void read_without_memory(ogawa_archive &archive, int reader, ogawa_polymesh &mesh) {
    ogawa_uv_set set = {};
    ogawa_tangent_frame frame = {};
    float *values = nullptr;
    std::uint32_t *indices = nullptr;
    std::uint32_t count = 0, scope = 0;
    switch (reader) {
    case 0:
        ogawa_read_polymesh(&archive, nullptr, 0, &mesh);
        break;
    case 1:
        ogawa_get_first_polymesh(&archive);
        break;
    case 2:
        ogawa_read_positions(&archive, nullptr, 0, &values, &count);
        break;
    case 3:
        ogawa_read_normals(&archive, nullptr, 0, &values, &indices, &count, &scope);
        break;
    case 4:
        ogawa_read_uvs(&archive, nullptr, 0, 0, &set);
        ogawa_free_uv_set(&set);
        break;
    default:
        if (ogawa_read_tangent_frame(&archive, nullptr, 0, &frame) == 0) ogawa_free_tangent_frame(&frame);
    }
}

void run_out_of_memory(const bytes &content, std::uint64_t n, bool all_later, int reader, heap_ledger &heap) {
    const memory_file file(content);
    ogawa_archive archive;
    ogawa_polymesh mesh = {};
    if (ogawa_open(file.path(), &archive) == 0) {
        const failing_heap failing = failing_heap::at(n, all_later);
        read_without_memory(archive, reader, mesh);
    }
    if (mesh.vertex_count != 0) check_mesh(mesh); // some of its arrays may be null
    ogawa_free_polymesh(&mesh);
    ogawa_close(&archive);
    heap.free_all();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider fuzz(data, size);
    heap_ledger heap;
    const int door = fuzz.ConsumeIntegralInRange(0, 7);
    const int detail = fuzz.ConsumeIntegral<std::uint8_t>();
    switch (door) {
    case 0:
        read_everything(archive_of_raw_bytes(fuzz), detail);
        break;
    case 1:
        read_everything(fuzz.ConsumeRemainingBytes<std::uint8_t>(), detail);
        break;
    case 2:
        read_first_mesh(make_archive(fuzz), heap);
        break;
    case 3:
        run_out_of_memory(make_archive(fuzz), 1 + static_cast<std::uint64_t>(detail % 16), detail % 32 >= 16,
                          detail / 32 % 6, heap);
        break;
    default:
        read_everything(make_archive(fuzz), detail);
    }
    require(heap.live() == 0);
    return 0;
}
