// SPDX-License-Identifier: MIT
#include "job.h"
#include "step.h"

#include <filesystem>

namespace tool::job {

namespace {

/// A result may take the place of an earlier one, but of nothing else.
void check_place(const std::filesystem::path &place, const std::string &input) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::file_status there = fs::status(place, ignored);
    if (!fs::exists(there)) return;
    const char *const hindrance = !fs::is_regular_file(there)             ? "what is there is no file"
                                  : fs::equivalent(place, input, ignored) ? "it is the input"
                                  : (there.permissions() & fs::perms::owner_write) == fs::perms::none
                                      ? "the file there is read-only"
                                      : nullptr;
    if (hindrance != nullptr) throw step_failed("output folder", place.string(), 0, hindrance);
}

} // namespace

std::vector<std::string> convert_archive(const std::string &input, const std::string &output) {
    for (const char *name : result_names)
        check_place(std::filesystem::path(output) / name, input);
    result_folder folder(output);

    archive_record source;
    open_archive(source, input);
    polymesh_record mesh;
    read_mesh(source, mesh, input);
    const std::vector<std::uint32_t> triangles = fan_faces(mesh);

    scene_record tokens;
    make_tokens(mesh, triangles, tokens);
    export_and_query_unit(tokens, folder);
    save_and_reload_scene(tokens, folder);

    read_normals_and_uvs(source, mesh);
    build_adjacency(mesh);
    make_tangents(source, mesh);
    verify_positions(mesh);
    write_and_map_cache(mesh, folder);
    record_run(folder, tokens->total_tokens);

    return folder.keep();
}

} // namespace tool::job
