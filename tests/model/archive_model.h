// SPDX-License-Identifier: MIT
// A literal reader of archives: the whole file in memory, every answer found anew. Mirrors the functions of
// qel_archive.h for arguments that are not null.
#pragma once

#include "model/archive_tree.h"

#include <array>

namespace qel::model {

struct archive_model_info {
    std::int32_t library_version = 0;
    std::uint32_t object_count = 0, mesh_count = 0, time_sampling_count = 0;
    double start = 0, end = 0, frames_per_second = 0;
    std::string metadata;
};

struct archive_model_object {
    std::string name, path, metadata, schema;
    ogawa_schema kind = OGAWA_SCHEMA_UNKNOWN;
    std::uint32_t parent = 0, child_count = 0, property_count = 0;
};

/// Values of a geometry parameter: where they are not indexed, `indices` stays empty.
struct archive_model_parameter {
    std::vector<float> values;
    std::vector<std::uint32_t> indices;
    bool indexed = false;
    std::uint32_t scope = 0;
};

struct archive_model_uv_set {
    std::string name;
    archive_model_parameter parameter;
};

struct archive_model_mesh {
    std::string name, path;
    std::vector<float> positions;
    std::vector<std::uint32_t> face_counts, face_indices;
    std::optional<archive_model_parameter> normals;
    std::vector<archive_model_uv_set> uv_sets;
    std::array<float, 6> bounds{}, self_bounds{};
    std::array<double, 16> transform{};
};

using archive_matrix = std::array<double, 16>;

class archive_model {
  public:
    /// The status; the archive is made where that is 0.
    static std::int32_t open(const std::string &path, std::unique_ptr<archive_model> &archive);

    std::int32_t get_info(archive_model_info &info) const;
    std::int32_t get_object(std::uint32_t object, archive_model_object &out) const;
    std::uint32_t find(const std::string &path) const;
    std::int32_t get_property(std::uint32_t object, std::uint32_t property, archive_property_header &out) const;
    std::uint32_t find_property(std::uint32_t object, const std::string &name) const;
    /// The whole sample; the caller's capacity is the caller's.
    std::int32_t read_property(std::uint32_t object, std::uint32_t property, std::uint64_t sample,
                               archive_bytes &bytes) const;
    std::int32_t property_time(std::uint32_t object, std::uint32_t property, std::uint64_t sample,
                               double &seconds) const;
    std::int32_t get_mesh_info(std::uint32_t object, qel_archive_mesh_info &out) const;
    std::int32_t read_mesh(std::uint32_t object, std::uint64_t sample, archive_model_mesh &mesh) const;
    std::int32_t sample_at(std::uint32_t object, double seconds, std::uint64_t &sample) const;
    std::int32_t local_transform(std::uint32_t object, double seconds, archive_matrix &matrix) const;
    std::int32_t world_transform(std::uint32_t object, double seconds, archive_matrix &matrix) const;
    std::int32_t is_visible(std::uint32_t object, double seconds, std::int32_t &visible) const;

  private:
    explicit archive_model(const std::string &path) : file_(path), objects_(read_archive_tree(file_)) {}

    const archive_tree_object &object_at(std::uint32_t object) const;
    const archive_tree_property &property_at(std::uint32_t object, std::uint32_t property) const;
    const archive_tree_property &sampled_property(std::uint32_t object, std::uint32_t property,
                                                  std::uint64_t sample) const;

    archive_file file_;
    std::vector<archive_tree_object> objects_;
};

/// By the name of an object's schema.
ogawa_schema archive_schema(const std::string &metadata);

/// The mesh of an object at a sample of its positions, but for its transform.
archive_model_mesh read_archive_mesh(const archive_file &file, const archive_tree_object &object, std::uint64_t sample);
/// `.geom/P`, which has to be there and to have samples.
const archive_tree_property &archive_positions(const archive_tree_object &object);
qel_archive_mesh_info read_archive_mesh_info(const archive_file &file, const archive_tree_object &object);

archive_matrix archive_local_transform(const archive_file &file, const archive_tree_object &object, double seconds);
archive_matrix archive_world_transform(const archive_file &file, const std::vector<archive_tree_object> &objects,
                                       std::uint32_t object, double seconds);
bool archive_is_visible(const archive_file &file, const std::vector<archive_tree_object> &objects, std::uint32_t object,
                        double seconds);

} // namespace qel::model
