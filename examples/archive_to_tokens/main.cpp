// SPDX-License-Identifier: MIT
// archive_to_tokens [INPUT.abc] [OUTPUT_FOLDER]
//
// An Alembic file goes in. Its mesh is found and read, every vertex becomes a token, and the folder then holds a
// file of each of the library's formats: tokens.qel, scene.bqel, mesh.qelm and agents.qeag.
#include "job.h"

#include <cstdio>
#include <exception>

namespace {

void run(const std::string &input, const std::string &output) {
    using namespace example;
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
    std::printf("\nEverything is in %s\n", output.c_str());
}

} // namespace

int main(int argc, char **argv) {
    if (argc > 3 || (argc > 1 && std::string(argv[1]) == "--help")) {
        std::printf("usage: archive_to_tokens [INPUT.abc] [OUTPUT_FOLDER]\n");
        return argc > 3 ? 2 : 0;
    }
    try {
        run(argc > 1 ? argv[1] : EXAMPLE_DATA "/torus.abc", argc > 2 ? argv[2] : "archive_to_tokens_output");
    } catch (const std::exception &failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "archive_to_tokens: %s\n", failure.what());
        return 1;
    }
    return 0;
}
