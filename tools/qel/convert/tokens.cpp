// SPDX-License-Identifier: MIT
#include "convert/job.h"
#include "convert/step.h"

#include <algorithm>
#include <cstring>

namespace tool::job {

namespace {

void must_be_valid(const std::string &step, const std::string &subject, const scene_record &scene) {
    check(step, subject, qel_alembic_validate(scene.get()),
          {{QEL_ALEMBIC_VALIDATE_BAD_ARGUMENT, "no scene"},
           {QEL_ALEMBIC_VALIDATE_NO_MESHES, "it has no meshes"},
           {QEL_ALEMBIC_VALIDATE_NO_POSITIONS, "a mesh has no positions"},
           {QEL_ALEMBIC_VALIDATE_NO_VERTICES, "a mesh has no vertices"},
           {QEL_ALEMBIC_VALIDATE_CELL_OUTSIDE, "a vertex is off the lattice"},
           {QEL_ALEMBIC_VALIDATE_LEVEL_OUTSIDE, "a vertex has an impossible level"}});
}

void print_counts(unit_record &loaded) {
    step counting("count");
    const std::uint32_t count = qel_unit_get_count(loaded.get());
    std::vector<std::uint64_t> mortons(count);
    std::vector<char> hex_ids(std::size_t{count} * sizeof(qel_token::hex_id));
    std::vector<std::uint8_t> layers(count);
    qel_unit_get_all_tokens(loaded.get(), mortons.data(), hex_ids.data(), layers.data());
    const auto cells = std::unique(mortons.begin(), mortons.end()) - mortons.begin(); // a loaded unit is sorted
    std::sort(layers.begin(), layers.end());
    const auto layer_count = std::unique(layers.begin(), layers.end()) - layers.begin();
    counting.done("%u tokens in %td cells and %td layer%s", count, cells, layer_count, layer_count == 1 ? "" : "s");
}

void print_nearest(unit_record &loaded, std::uint64_t key) {
    step querying("nearest");
    std::uint32_t numbers[8];
    std::uint64_t distances[8];
    const std::uint32_t found = qel_unit_query_nearest(loaded.get(), key, 8, numbers, distances);
    querying.done("%u tokens around key %llu", found, static_cast<unsigned long long>(key));
    for (std::uint32_t i = 0; i < found; ++i) {
        std::uint64_t morton = 0;
        char identity[sizeof(qel_token::hex_id) + 1] = {};
        std::uint8_t layer = 0;
        check("nearest", "token " + std::to_string(numbers[i]),
              qel_unit_get_token(loaded.get(), numbers[i], &morton, identity, &layer),
              {{QEL_UNIT_GET_TOKEN_NOT_FOUND, "there is no such token"}});
        note("token %-8u id %s  key %-7llu layer %u  %llu hops", numbers[i], identity,
             static_cast<unsigned long long>(morton), layer, static_cast<unsigned long long>(distances[i]));
    }
}

} // namespace

void allocate_meshes(const std::string &step, const std::string &subject, std::uint32_t count, scene_record &made) {
    made->meshes = static_cast<qel_alembic_mesh *>(std::calloc(count, sizeof(qel_alembic_mesh)));
    if (made->meshes == nullptr) throw step_failed(step, subject, no_memory);
    made->mesh_count = count;
}

void make_tokens(polymesh_record &mesh, const std::vector<std::uint32_t> &triangles, scene_record &made) {
    step making("tokens");
    allocate_meshes("tokens", mesh->name, 1, made);
    const int code = load_raw(mesh->positions, mesh->vertex_count, triangles.data(),
                              static_cast<std::uint32_t>(triangles.size() / 3), mesh->name, *made->meshes);
    check("tokens", mesh->name, code, load_raw_meanings);
    made->version = 1;
    made->fps = 24.0f;
    made->total_faces = triangles.size() / 3;
    made->total_vertices = made->total_tokens =
        made->meshes[0].vertex_count; // as qel_alembic_build_hash_table would set them
    must_be_valid("tokens", mesh->name, made);
    making.done("%u tokens, one for each vertex", made->meshes[0].vertex_count);
}

result export_unit(scene_record &made, result_folder &folder) {
    const result file = folder.file(unit_name);
    step exporting("export unit");
    check("export unit", file.place, qel_alembic_export_file_qel(made.get(), file.path.c_str()),
          {{QEL_ALEMBIC_EXPORT_FILE_QEL_CANNOT_CREATE, "the file cannot be created"}});
    const std::uint64_t expected = sizeof(record_header) + made->total_tokens * sizeof(qel_token);
    const std::uint64_t size = folder.written("export unit", file, expected);
    exporting.done("%llu bytes in %s", static_cast<unsigned long long>(size), file.place.c_str());
    return file;
}

void query_unit(const result &file) {
    unit_record loaded;
    step loading("load unit");
    check("load unit", file.place, qel_unit_load(file.path.c_str(), loaded.get()), unit_load_meanings);
    loading.done("sorted and indexed");
    print_counts(loaded);
    const std::uint32_t count = qel_unit_get_count(loaded.get());
    const std::uint64_t first = loaded->tokens[0].morton, middle = loaded->tokens[count / 2].morton;
    if (qel_unit_lookup_morton(loaded.get(), first) == QEL_NOT_FOUND)
        throw step_failed("lookup", "key " + std::to_string(first), "a token that is there was not found");
    for (const std::uint64_t key : {first, middle, qel_matrix_48_morton_encode(23, 23, 23)})
        print_nearest(loaded, key);
}

result save_scene(scene_record &made, result_folder &folder) {
    const result file = folder.file(scene_name);
    step saving("save scene");
    check("save scene", file.place, qel_alembic_save(file.path.c_str(), made.get()), scene_save_meanings);
    const std::uint64_t size = folder.written("save scene", file, scene_file_bytes(*made.get()));
    saving.done("%llu bytes in %s", static_cast<unsigned long long>(size), file.place.c_str());
    return file;
}

void reload_scene(const scene_record &made, const result &file) {
    scene_record loaded;
    step loading("load scene");
    check("load scene", file.place, qel_alembic_load(file.path.c_str(), loaded.get()), scene_load_meanings);
    must_be_valid("load scene", file.place, loaded);
    const std::size_t bytes = std::size_t{made->meshes[0].vertex_count} * sizeof(qel_alembic_token);
    if (std::memcmp(loaded->meshes[0].tokens, made->meshes[0].tokens, bytes) != 0)
        throw step_failed("load scene", file.place, "the tokens came back changed");
    loading.done("sound, and the same tokens");
}

} // namespace tool::job
