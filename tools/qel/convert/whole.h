// SPDX-License-Identifier: MIT
// The conversion of a whole archive, by its structure: every visible mesh, in world space, at every frame.
#pragma once

#include "commands.h"
#include "convert/job.h"
#include "examine/archive_scene.h"

namespace tool::job {

/// Converts the archive's meshes into a scene, a unit, mesh caches and an agent directory in a folder, as requested.
/// Throws failure or step_failed and changes nothing.
outcome convert_whole(const input_file &input, const std::string &output, const whole_options &options);

/// A frame of the whole scene.
struct frame_at {
    std::int32_t number;
    double time; ///< seconds
};

/// The meshes, frames and names of a conversion, determined before anything is written.
struct whole_plan {
    struct entry {
        const scene_mesh *mesh;
        double time;       ///< of the sample in the scene's mesh, its tokens and its cache
        std::string name;  ///< in the scene, unique there
        std::string cache; ///< its file in the folder, unique there
    };
    std::vector<entry> meshes;
    std::vector<frame_at> frames; ///< empty if nothing moves
    double rate = 24;
    std::uint64_t vertices = 0, memory = 0; ///< bytes of the scene's record, by the first samples
};

whole_plan plan_whole(const archive_scene &scene, const input_file &input, const whole_options &options);

/// Writes a mesh's cache, maps it and compares the positions. Expands the mesh's normals first.
void write_cache(ogawa_polymesh &mesh, const std::string &subject, const result &file, const result_folder &folder);

/// Appends the frames to a scene file that was saved without any, one by one: the library's record of a scene would
/// hold all of them at once. Returns the number of bytes written.
std::uint64_t append_frames(const archive_scene &scene, const whole_plan &plan, const qel_alembic_file &made,
                            const result &file);

} // namespace tool::job
