// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "qel_alembic/scene.h"
#include "qel_alembic/scene_index.h"

#include <algorithm>

namespace qel {
namespace {

/// The global numbers of a mesh's vertices.
struct mesh_numbers {
    std::uint64_t first;
    std::uint64_t count;
    std::uint32_t mesh;

    bool hold(std::uint32_t number) const { return number - first < count; }
};

/// Finds the mesh that a global number belongs to. The first find walks over the meshes. The second one stores the
/// first number of every mesh, or without memory for that, of every stride-th mesh; later walks begin at a stored one.
class mesh_finder {
  public:
    explicit mesh_finder(const qel_alembic_file &scene) : scene_(scene), count_(meshes_in(scene)) {}

    /// The numbers of the mesh that holds `number`; none if it is past the last mesh.
    mesh_numbers find(std::uint32_t number) {
        if (++finds_ == 2) store_starts();
        mesh_numbers numbers = {0, 0, 0};
        if (start_count_ > 0) {
            const std::uint64_t *const start = std::upper_bound(starts_, starts_ + start_count_, number) - 1;
            numbers.mesh = static_cast<std::uint32_t>(start - starts_) * stride_;
            numbers.first = *start;
        }
        for (; numbers.mesh < count_; ++numbers.mesh) {
            numbers.count = scene_.meshes[numbers.mesh].vertex_count;
            if (numbers.hold(number)) return numbers;
            numbers.first += numbers.count;
        }
        return {0, 0, 0};
    }

  private:
    void store_starts() {
        if (count_ > max_fixed) all_starts_ = scratch<std::uint64_t>(heap_array<std::uint64_t>(count_));
        if (all_starts_ != nullptr)
            starts_ = all_starts_.get();
        else
            stride_ = count_ / max_fixed + 1;
        std::uint64_t first = 0;
        for (std::uint32_t mesh = 0; mesh < count_; ++mesh) {
            if (mesh % stride_ == 0) starts_[start_count_++] = first;
            first += scene_.meshes[mesh].vertex_count;
        }
    }

    static constexpr std::uint32_t max_fixed = 256;

    const qel_alembic_file &scene_;
    std::uint32_t count_;
    std::uint32_t finds_ = 0;
    std::uint32_t stride_ = 1;
    std::uint32_t start_count_ = 0;
    std::uint64_t fixed_starts_[max_fixed];
    std::uint64_t *starts_ = fixed_starts_; // the first number of every stride-th mesh
    scratch<std::uint64_t> all_starts_;
};

/// The first frame with a number; null if there is none.
const qel_alembic_frame *find_frame(const qel_alembic_file &scene, std::int32_t number) {
    for (std::uint32_t i = 0; i < frames_in(scene); ++i)
        if (scene.frames[i].frame == number) return &scene.frames[i];
    return nullptr;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_alembic_lookup_morton(const qel_alembic_file *scene, std::uint64_t morton, qel_alembic_hit *out) {
    if (scene == nullptr || out == nullptr || scene->hash == nullptr) return QEL_ALEMBIC_LOOKUP_MORTON_NOT_FOUND;
    mesh_finder finder(*scene);
    mesh_numbers numbers = {0, 0, 0}; // of the previous slot's mesh
    const qel_alembic_vertex *vertices = nullptr;
    const std::uint32_t home = morton_hash(morton);
    std::uint32_t slot = home;
    do {
        const std::uint32_t number = scene->hash[slot];
        if (number == empty_slot) return QEL_ALEMBIC_LOOKUP_MORTON_NOT_FOUND;
        if (!numbers.hold(number)) {
            numbers = finder.find(number);
            vertices = numbers.count > 0 ? scene->meshes[numbers.mesh].vertices : nullptr;
        }
        if (vertices != nullptr && vertices[number - numbers.first].morton == morton) {
            const auto vertex = static_cast<std::uint32_t>(number - numbers.first);
            *out = hit_at(scene->meshes[numbers.mesh], numbers.mesh, vertex);
            return QEL_OK;
        }
        slot = next_slot(slot);
    } while (slot != home);
    return QEL_ALEMBIC_LOOKUP_MORTON_NOT_FOUND;
}

std::int32_t qel_alembic_lookup_frame_vertex(const qel_alembic_file *scene, std::int32_t frame,
                                             std::uint32_t mesh_index, std::uint32_t vertex_index,
                                             qel_alembic_hit *out) {
    if (scene == nullptr || out == nullptr) return QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND;
    if (frame != 0 && frames_in(*scene) > 0) {
        const qel_alembic_frame *const record = find_frame(*scene, frame);
        if (record == nullptr || mesh_index >= meshes_in(*record)) return QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND;
        if (vertex_index >= record->meshes[mesh_index].vertex_count) return QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND;
        const auto position = static_cast<std::uint32_t>(record - scene->frames);
        *out = {mesh_index, vertex_index, position, nullptr, nullptr, 0.0f};
        return QEL_OK;
    }
    if (mesh_index >= meshes_in(*scene)) return QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND;
    if (vertex_index >= scene->meshes[mesh_index].vertex_count) return QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND;
    *out = hit_at(scene->meshes[mesh_index], mesh_index, vertex_index);
    return QEL_OK;
}

std::uint32_t qel_alembic_query_layer(const qel_alembic_file *scene, std::uint8_t layer, qel_alembic_hit *results,
                                      std::int32_t max) {
    if (results == nullptr || max < 1 || scene == nullptr) return 0;
    const auto wanted = static_cast<std::uint32_t>(max);
    std::uint32_t count = 0;
    for (std::uint32_t m = 0; m < meshes_in(*scene); ++m) {
        const qel_alembic_mesh &mesh = scene->meshes[m];
        for (std::uint32_t v = 0; mesh.tokens != nullptr && v < mesh.vertex_count; ++v) {
            if (mesh.tokens[v].layer != layer) continue;
            results[count++] = hit_at(mesh, m, v);
            if (count == wanted) return count;
        }
    }
    return count;
}

} // extern "C"
