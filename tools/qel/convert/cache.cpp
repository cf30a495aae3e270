// SPDX-License-Identifier: MIT
#include "convert/job.h"
#include "convert/step.h"

#include <algorithm>
#include <cstring>

namespace tool::job {

namespace {

constexpr double identity_matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// Two joints; the weight changes linearly from the first to the second along the box's x axis.
class two_joint_skin {
  public:
    explicit two_joint_skin(const polymesh_record &mesh) : joints_(2), weights_(mesh->vertex_count) {
        for (qel_skin_joint &joint : joints_)
            std::memcpy(joint.joint_transform, identity_matrix, sizeof identity_matrix);
        const float low = mesh->bounds_min[0], span = mesh->bounds_max[0] - low;
        for (std::size_t i = 0; i < weights_.size(); ++i) {
            const float second = span > 0 ? (mesh->positions[i * 3] - low) / span : 0.0f;
            weights_[i] = {{0, 1, 0, 0}, {1.0f - second, second, 0.0f, 0.0f}};
        }
        skin_.joints = joints_.data();
        skin_.joint_count = static_cast<std::uint32_t>(joints_.size());
        skin_.weights = weights_.data();
        skin_.weight_count = static_cast<std::uint32_t>(weights_.size());
    }
    const qel_skin *get() const { return &skin_; }

  private:
    std::vector<qel_skin_joint> joints_;
    std::vector<qel_skin_weight> weights_;
    qel_skin skin_{};
};

void skin_mapped_mesh(cache_record &cache, const std::string &path) {
    step skinning("skin");
    if (cache->skin == nullptr || cache->skin->joints == nullptr || cache->skin->weights == nullptr)
        throw step_failed("skin", path, "the skin came back missing");
    double poses[2][16];
    std::memcpy(poses[0], identity_matrix, sizeof identity_matrix);
    std::memcpy(poses[1], identity_matrix, sizeof identity_matrix);
    poses[1][14] = 1.0; // the second joint moves its vertices by one unit along z
    const std::uint32_t vertices = cache->header.vertex_count;
    std::vector<float> moved(std::size_t{vertices} * 3);
    qel_skin_apply(cache->skin, poses[0], cache->positions, moved.data());
    float highest = 0;
    for (std::size_t i = 2; i < moved.size(); i += 3)
        highest = std::max(highest, moved[i] - cache->positions[i]);
    skinning.done("%u vertices moved, by up to %.3f", vertices, static_cast<double>(highest));
}

} // namespace

/// The size is checked because the library leaves out blocks for which it has no memory, without an error.
std::uint64_t save_cache(const std::string &step, const ogawa_polymesh &mesh, std::uint64_t triangles,
                         const qel_skin *skin, const result &file, const result_folder &folder) {
    check(step, file.place, qel_mesh_save(&mesh, skin, file.path.c_str()), cache_save_meanings);
    return folder.written(step, file, cache_file_bytes(mesh, triangles, skin));
}

void map_cache(const std::string &step, const ogawa_polymesh &mesh, const result &file, cache_record &cache) {
    check(step, file.place, qel_mesh_load(file.path.c_str(), cache.get()), cache_load_meanings);
    if (cache->header.vertex_count != mesh.vertex_count ||
        std::memcmp(cache->positions, mesh.positions, mesh.vertex_count * triple_bytes) != 0)
        throw step_failed(step, file.place, "the positions came back changed");
}

void write_and_map_cache(const polymesh_record &mesh, std::uint64_t triangles, result_folder &folder) {
    const result file = folder.file(cache_name);
    const two_joint_skin skin(mesh);
    {
        step saving("save cache");
        const std::uint64_t size = save_cache("save cache", *mesh.get(), triangles, skin.get(), file, folder);
        saving.done("%llu bytes in %s", static_cast<unsigned long long>(size), file.place.c_str());
    }
    cache_record cache;
    {
        step mapping("map cache");
        map_cache("map cache", *mesh.get(), file, cache);
        mapping.done("%u vertices, %u triangles, the same positions in place", cache->header.vertex_count,
                     cache->header.triangle_count);
    }
    skin_mapped_mesh(cache, file.place);
}

} // namespace tool::job
