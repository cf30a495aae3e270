// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "qel_alembic/scene.h"

namespace qel {
namespace {

/// The first mesh of a frame, or of a scene without frames; null if there is none.
const qel_alembic_mesh *sampled_mesh(const qel_alembic_file &scene, std::int32_t number) {
    const std::uint32_t frame_count = frames_in(scene);
    if (frame_count == 0) return meshes_in(scene) > 0 ? scene.meshes : nullptr;
    for (const qel_alembic_frame *frame = scene.frames; frame != scene.frames + frame_count; ++frame)
        if (frame->frame == number && meshes_in(*frame) > 0) return frame->meshes;
    return nullptr;
}

/// The first frame that is not later than a time and whose next frame is not earlier; null if there is none, as for a
/// NaN.
const qel_alembic_frame *frame_before(const qel_alembic_file &scene, float time) {
    for (std::uint32_t i = 0; i + 1 < frames_in(scene); ++i)
        if (scene.frames[i].time <= time && time <= scene.frames[i + 1].time) return &scene.frames[i];
    return nullptr;
}

/// Whether a mesh has positions for all its vertices.
bool has_positions(const qel_alembic_mesh &mesh) {
    return mesh.vertex_count == 0 || mesh.positions != nullptr;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_alembic_sample_frame(const qel_alembic_file *scene, std::int32_t frame, qel_alembic_mesh *out) {
    if (scene == nullptr || out == nullptr) return QEL_ALEMBIC_SAMPLE_FRAME_NOT_FOUND;
    const qel_alembic_mesh *const mesh = sampled_mesh(*scene, frame);
    if (mesh == nullptr) return QEL_ALEMBIC_SAMPLE_FRAME_NOT_FOUND;
    *out = *mesh;
    return QEL_OK;
}

std::int32_t qel_alembic_interpolate_time(const qel_alembic_file *scene, float time, qel_alembic_mesh *out) {
    if (scene == nullptr || out == nullptr) return QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND;
    const qel_alembic_frame *const before = frame_before(*scene, time);
    if (before == nullptr) return QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND;
    const qel_alembic_frame *const after = before + 1;
    if (meshes_in(*before) == 0 || meshes_in(*after) == 0) return QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND;
    const qel_alembic_mesh &from = before->meshes[0], &to = after->meshes[0];
    if (from.vertex_count != to.vertex_count) return QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND;
    if (!has_positions(from) || !has_positions(to)) return QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND;

    const std::uint64_t coordinates = std::uint64_t{from.vertex_count} * 3;
    float *const positions = heap_array<float>(coordinates);
    const float *const a = from.positions, *const b = to.positions;
    out->vertex_count = from.vertex_count;
    out->positions = positions;
    if (positions == nullptr) return QEL_ALEMBIC_INTERPOLATE_TIME_NO_MEMORY;
    // For two frames at one time alpha is 0 / 0, and every result is NaN.
    const float alpha = (time - before->time) / (after->time - before->time);
    for (std::uint64_t i = 0; i < coordinates; ++i)
        positions[i] = a[i] + (b[i] - a[i]) * alpha;
    return QEL_OK;
}

void qel_alembic_get_frame_range(const qel_alembic_file *scene, std::uint32_t *start, std::uint32_t *end, float *fps) {
    if (scene == nullptr) return;
    if (start != nullptr) *start = 0;
    if (end != nullptr) *end = scene->frame_count > 0 ? scene->frame_count - 1 : 0;
    if (fps != nullptr) *fps = scene->fps;
}

} // extern "C"
