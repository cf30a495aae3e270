// SPDX-License-Identifier: MIT
#include "job.h"
#include "step.h"

#include <filesystem>

namespace tool::job {

std::vector<std::string> convert_archive(const input_file &input, const std::string &output) {
    for (const char *name : result_names)
        check_place((std::filesystem::path(output) / name).string(), input.path());
    check_agents_path(output);
    const std::unique_ptr<examined> source = read_archive(input);
    polymesh_record &mesh = source->mesh;
    const std::vector<std::uint32_t> triangles = fan_faces(mesh);

    std::vector<std::string> names(std::begin(result_names), std::end(result_names));
    names.push_back(std::string(agents_name) +
                    ".tmp"); // through which the library writes the agent directory
    result_folder folder(output, names);
    scene_record tokens;
    make_tokens(mesh, triangles, tokens);
    export_and_query_unit(tokens, folder);
    save_and_reload_scene(tokens, folder);

    read_normals_and_uvs(source->archive, mesh);
    build_adjacency(mesh);
    make_tangents(source->archive, mesh);
    verify_positions(mesh);
    write_and_map_cache(mesh, triangles.size() / 3, folder);
    record_run(folder, tokens->total_tokens);

    return folder.keep();
}

} // namespace tool::job
