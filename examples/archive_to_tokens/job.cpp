// SPDX-License-Identifier: MIT
#include "job.h"

namespace example {

std::vector<std::string> archive_to_tokens(const std::string &input, const std::string &output) {
    output_folder folder(output);

    archive source;
    open_archive(source, input);
    polymesh mesh;
    read_mesh(source, mesh, input);
    const std::vector<std::uint32_t> triangles = fan_faces(mesh);

    scene tokens;
    make_tokens(mesh, triangles, tokens);
    export_and_query_unit(tokens, folder);
    save_and_reload_scene(tokens, folder);

    read_normals_and_uvs(source, mesh);
    build_adjacency(mesh);
    make_tangents(source, mesh);
    verify_positions(mesh);
    write_and_map_cache(mesh, folder);
    record_run(folder, tokens->total_tokens);

    folder.keep();
    return folder.files();
}

} // namespace example
