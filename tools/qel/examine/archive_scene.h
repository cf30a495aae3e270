// SPDX-License-Identifier: MIT
// An archive's meshes in world space, by frame, from its structure (not from a byte search).
#pragma once

#include "files/input.h"

#include <qel_archive.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// An object with points.
struct scene_mesh {
    std::uint32_t object; ///< its number in the archive
    std::string path;
    ogawa_schema kind;
    qel_archive_mesh_info info;
    bool moves; ///< its points or a transform above them have more than one sample
};

/// Which objects are included, and in which space.
struct scene_choice {
    bool points = true;             ///< points, curves and patches too, not only meshes
    bool world = true;              ///< world space; else object space, without transforms
    std::vector<std::string> globs; ///< of paths, without '/' of names; an empty list matches everything
    bool hidden = false;            ///< objects that are never shown too; they are counted in any case

    bool takes_kind(ogawa_schema kind) const {
        return points || kind == OGAWA_SCHEMA_POLYMESH || kind == OGAWA_SCHEMA_SUBD;
    }
    bool takes_path(const qel_archive_object &object) const;
};

class archive_scene {
  public:
    /// Fails if the file is no archive or is damaged.
    explicit archive_scene(const input_file &file, scene_choice choice = {});

    const qel_archive *archive() const { return archive_.get(); }
    const qel_archive_info &info() const { return info_; }
    /// In the archive's order; objects without points are left out.
    const std::vector<scene_mesh> &meshes() const { return meshes_; }
    /// The number of objects with points that are never shown, and of objects of these kinds without points.
    std::uint32_t hidden_count() const { return hidden_count_; }
    std::uint32_t empty_count() const { return empty_count_; }
    /// The number of points, curves and patches left out by `points`.
    std::uint32_t other_count() const { return other_count_; }
    /// Seconds of the frames: every time at which an object has a sample, ascending; at least one.
    const std::vector<double> &times() const { return times_; }
    /// Frames a second.
    double rate() const;

    /// Reads a mesh at a time into an empty record, with positions and normals in the chosen space.
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
        added_; ///< time samplings and sample counts whose times are in times_
    std::uint32_t hidden_count_ = 0, empty_count_ = 0, other_count_ = 0;
};

/// A mesh's faces as fans of triangles. `continues`, if given, gets a 1 for each triangle of the same face as the one
/// before it.
std::vector<std::uint32_t> fan_triangles(const ogawa_polymesh &mesh, std::vector<std::uint8_t> *continues = nullptr);

} // namespace tool
