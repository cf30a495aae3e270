// SPDX-License-Identifier: MIT
// An archive, read by what it says, as meshes that stand in the world and move over frames.
#pragma once

#include "files/input.h"

#include <qel_archive.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// An object with points that is shown at some frame.
struct scene_mesh {
    std::uint32_t object; ///< its number in the archive
    std::string path;
    ogawa_schema kind;
    qel_archive_mesh_info info;
    bool moves; ///< its points or a transform above them have more than one sample
};

/// Which objects count, and in whose space.
struct scene_choice {
    bool points = true;             ///< points, curves and patches too, not meshes alone
    bool world = true;              ///< else each mesh in its own space, where transforms do not move it
    std::vector<std::string> globs; ///< paths; without a slash in it one stands for names; none takes all
    bool hidden = false;            ///< those that are never shown too, which are counted all the same

    bool takes_kind(ogawa_schema kind) const {
        return points || kind == OGAWA_SCHEMA_POLYMESH || kind == OGAWA_SCHEMA_SUBD;
    }
    bool takes_path(const qel_archive_object &object) const;
};

class archive_scene {
  public:
    /// Fails where the file is no archive or is damaged.
    explicit archive_scene(const input_file &file, scene_choice choice = {});

    const qel_archive *archive() const { return archive_.get(); }
    const qel_archive_info &info() const { return info_; }
    /// In the archive's order; none is without points.
    const std::vector<scene_mesh> &meshes() const { return meshes_; }
    /// How many objects with points are shown at no frame, and how many have no points in them.
    std::uint32_t hidden_count() const { return hidden_count_; }
    std::uint32_t empty_count() const { return empty_count_; }
    /// How many points, curves and patches were not asked for.
    std::uint32_t other_count() const { return other_count_; }
    /// Seconds of the frames: every time at which something shown has a sample, ascending; at least one.
    const std::vector<double> &times() const { return times_; }
    /// Frames a second.
    double rate() const;

    /// Reads a mesh at a time into an empty record. Positions and normals are those of the chosen space.
    void read(const scene_mesh &mesh, double time, ogawa_polymesh &out) const;
    /// Only the positions, as triples.
    void read_positions(const scene_mesh &mesh, double time, std::vector<float> &positions) const;
    /// The positions of one sample, in the mesh's own space.
    void read_sample(const scene_mesh &mesh, std::uint64_t sample, std::vector<float> &positions) const;
    /// Whether an object is shown at any time.
    bool is_shown(std::uint32_t object) const;

  private:
    struct close_archive {
        void operator()(qel_archive *archive) const { qel_archive_close(archive); }
    };

    void must(std::int32_t status, const std::string &path) const;
    bool add_times(std::uint32_t object, const char *property);
    bool add_times_above(std::uint32_t object);
    void merge_times();
    bool is_shown_once(std::uint32_t object, std::uint32_t decider) const;
    void list_meshes();

    std::string name_;
    scene_choice choice_;
    std::unique_ptr<qel_archive, close_archive> archive_;
    qel_archive_info info_{};
    std::vector<scene_mesh> meshes_;
    std::vector<double> times_;
    std::set<std::pair<std::uint32_t, std::uint32_t>>
        added_; ///< samplings and counts whose times are in times_
    std::uint32_t hidden_count_ = 0, empty_count_ = 0, other_count_ = 0;
};

/// A mesh's faces as fans of triangles. `continues`, where given, gets a 1 for each triangle that goes on with the
/// polygon of the one before it.
std::vector<std::uint32_t> fan_triangles(const ogawa_polymesh &mesh,
                                         std::vector<std::uint8_t> *continues = nullptr);

} // namespace tool
