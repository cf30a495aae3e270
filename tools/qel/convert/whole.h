// SPDX-License-Identifier: MIT
// The conversion of a whole archive, read by what it says: every visible mesh, where it stands, at every sample.
#pragma once

#include "convert/job.h"
#include "examine/archive_scene.h"

#include <climits>
#include <optional>

namespace tool::job {

/// What a conversion may make.
enum part : unsigned { part_tokens = 1, part_scene = 2, part_cache = 4, part_agents = 8, all_parts = 15 };

/// Frame numbers `first` to `last`, each `step`-th.
struct frame_range {
    std::int32_t first = INT_MIN, last = INT_MAX, step = 1;
    bool has(std::int32_t number) const {
        return number >= first && number <= last && (std::int64_t{number} - first) % step == 0;
    }
};

struct whole_options {
    scene_choice meshes{false, true, {}};
    unsigned parts = all_parts;
    std::optional<std::int32_t> frame; ///< only as it is at this one
    std::optional<frame_range> range;  ///< else all frames
};

/// The archive's meshes become a scene, a unit, mesh caches and an agent directory in a folder, as far as they are
/// asked for. Throws failure or step_failed and changes nothing.
outcome convert_whole(const input_file &input, const std::string &output, const whole_options &options);

/// A sample of the whole scene.
struct frame_at {
    std::int32_t number;
    double time; ///< seconds
};

/// What is converted, decided before anything is written.
struct whole_plan {
    struct entry {
        const scene_mesh *mesh;
        double time;       ///< of the sample that the scene's mesh, its tokens and its cache show
        std::string name;  ///< in the scene, unique there
        std::string cache; ///< its file in the folder, unique there
    };
    std::vector<entry> meshes;
    std::vector<frame_at> frames; ///< none where nothing moves
    double rate = 24;
    std::uint64_t vertices = 0, memory = 0; ///< bytes that the scene's record takes, by the first samples
};

whole_plan plan_whole(const archive_scene &scene, const input_file &input, const whole_options &options);

/// Writes a mesh's cache, maps it and compares. Its normals become those of vertices or corners first.
void write_cache(ogawa_polymesh &mesh, const std::string &subject, const result &file,
                 const result_folder &folder);

/// Adds the frames to a scene file that was saved without any, one by one: the library's record of a scene would
/// hold all of them at once. Returns the bytes that they take.
std::uint64_t append_frames(const archive_scene &scene, const whole_plan &plan, const qel_alembic_file &made,
                            const result &file);

} // namespace tool::job
