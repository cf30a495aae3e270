// SPDX-License-Identifier: MIT
#include "convert/job.h"

#include "convert/step.h"
#include "terminal/text.h"

#include <filesystem>

namespace tool::job {

void check_places(const input_file &input, const std::string &folder, const std::vector<std::string> &names) {
    for (const std::string &name : names)
        input.must_not_be_at((std::filesystem::path(folder) / name).string());
    for (const std::string &name : names)
        check_place((std::filesystem::path(folder) / name).string(), input.path());
}

outcome convert_by_bytes(const input_file &input, const std::string &output, bool verbose) {
    const std::vector<std::string> names{unit_name, scene_name, cache_name, agents_name};
    check_places(input, output, names);
    check_agents_path(output);
    const std::unique_ptr<examined> source = read_archive(input);
    polymesh_record &mesh = source->mesh;
    const std::vector<std::uint32_t> triangles = fan_faces(mesh);

    result_folder folder(output, names);
    scene_record tokens;
    make_tokens(mesh, triangles, tokens);
    const result unit = export_unit(tokens, folder);
    if (verbose) query_unit(unit);
    const result scene = save_scene(tokens, folder);
    if (verbose) reload_scene(tokens, scene);

    read_normals_and_uvs(source->archive, mesh);
    build_adjacency(mesh);
    make_tangents(source->archive, mesh);
    verify_positions(mesh);
    write_and_map_cache(mesh, triangles.size() / 3, folder);
    record_run(folder, tokens->total_tokens);

    return {folder.keep(),
            counted(mesh->vertex_count, "vertex") + ", " + counted(triangles.size() / 3, "triangle") + ", " +
                counted(tokens->total_tokens, "token") + ", found by the look of the bytes",
            {1, mesh->vertex_count, triangles.size() / 3, 0, tokens->total_tokens}};
}

} // namespace tool::job
