// SPDX-License-Identifier: MIT
#include "examine/archive_scene.h"

#include "examine/archive_text.h"
#include "terminal/text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fnmatch.h>

namespace tool {

namespace {

constexpr double same_time = 1e-6; // seconds: sample times nearer than this are one frame
constexpr const char *transform_values = ".xform/.vals", *points = ".geom/P", *visibility = "visible";

/// Points are row vectors: p' = p M.
void move(float *triples, std::size_t count, const double matrix[16]) {
    for (std::size_t i = 0; i < count; ++i) {
        float *p = triples + i * 3;
        const double x = p[0], y = p[1], z = p[2];
        for (std::size_t axis = 0; axis < 3; ++axis)
            p[axis] =
                static_cast<float>(x * matrix[axis] + y * matrix[4 + axis] + z * matrix[8 + axis] + matrix[12 + axis]);
    }
}

/// Normals are multiplied by the cofactors of the upper 3x3 matrix, which exist without an inverse too.
void turn_normals(float *normals, std::size_t count, const double m[16]) {
    const double turned[3][3] = {{m[5] * m[10] - m[6] * m[9], m[6] * m[8] - m[4] * m[10], m[4] * m[9] - m[5] * m[8]},
                                 {m[9] * m[2] - m[10] * m[1], m[10] * m[0] - m[8] * m[2], m[8] * m[1] - m[9] * m[0]},
                                 {m[1] * m[6] - m[2] * m[5], m[2] * m[4] - m[0] * m[6], m[0] * m[5] - m[1] * m[4]}};
    for (std::size_t i = 0; i < count; ++i) {
        float *n = normals + i * 3;
        double sum[3];
        for (std::size_t axis = 0; axis < 3; ++axis)
            sum[axis] = n[0] * turned[0][axis] + n[1] * turned[1][axis] + n[2] * turned[2][axis];
        const double length = std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
        for (std::size_t axis = 0; axis < 3; ++axis)
            n[axis] = length > 0 && std::isfinite(length) ? static_cast<float>(sum[axis] / length) : n[axis];
    }
}

} // namespace

bool scene_choice::takes_path(const qel_archive_object &object) const {
    if (globs.empty()) return true;
    return std::any_of(globs.begin(), globs.end(), [&](const std::string &glob) {
        const bool whole = glob.find('/') != std::string::npos;
        return ::fnmatch(glob.c_str(), whole ? object.path : object.name, 0) == 0;
    });
}

archive_scene::archive_scene(const input_file &file, scene_choice choice)
    : name_(file.name()), choice_(std::move(choice)) {
    qel_archive *opened = nullptr;
    must(qel_archive_open(file.path(), &opened), "");
    archive_.reset(opened);
    must(qel_archive_get_info(opened, &info_), "");
    list_meshes();
}

void archive_scene::must(std::int32_t status, const std::string &path) const {
    if (status == QEL_ARCHIVE_OK) return;
    throw failure(name_, (path.empty() ? "" : printable(path) + ": ") + archive_message(status));
}

/// Adds the sample times of a property that changes; false if it does not.
bool archive_scene::add_times(std::uint32_t object, const char *property) {
    const std::uint32_t number = qel_archive_find_property(archive(), object, property);
    qel_archive_property about;
    if (number == QEL_NOT_FOUND || qel_archive_get_property(archive(), object, number, &about) != QEL_ARCHIVE_OK)
        return false;
    if (about.constant != 0) return false;
    // The time sampling and the count determine the times: thousands of meshes may share them.
    if (!added_.emplace(about.time_sampling, about.sample_count).second) return true;
    for (std::uint32_t sample = 0; sample < about.sample_count; ++sample) {
        double time = 0;
        if (qel_archive_property_time(archive(), object, number, sample, &time) == QEL_ARCHIVE_OK &&
            std::isfinite(time))
            times_.push_back(time);
    }
    return true;
}

bool archive_scene::add_times_above(std::uint32_t object) {
    bool moves = false;
    qel_archive_object about;
    for (; object != QEL_NOT_FOUND && qel_archive_get_object(archive(), object, &about) == QEL_ARCHIVE_OK;
         object = about.parent)
        moves = add_times(object, transform_values) || moves;
    return moves;
}

void archive_scene::merge_times() {
    std::sort(times_.begin(), times_.end());
    const auto end = std::unique(times_.begin(), times_.end(), [](double a, double b) { return b - a < same_time; });
    times_.erase(end, times_.end());
    if (times_.empty()) times_.push_back(info_.start);
}

/// Whether the object is shown at a time at which `decider`, the object or an ancestor, may change visibility.
bool archive_scene::is_shown_once(std::uint32_t object, std::uint32_t decider) const {
    const std::uint32_t number = qel_archive_find_property(archive(), decider, visibility);
    qel_archive_property about;
    if (number == QEL_NOT_FOUND || qel_archive_get_property(archive(), decider, number, &about) != QEL_ARCHIVE_OK)
        return false;
    for (std::uint32_t sample = 0; sample < about.sample_count; ++sample) {
        double time = 0;
        std::int32_t visible = 0;
        if (qel_archive_property_time(archive(), decider, number, sample, &time) == QEL_ARCHIVE_OK &&
            qel_archive_is_visible(archive(), object, time, &visible) == QEL_ARCHIVE_OK && visible != 0)
            return true;
    }
    return false;
}

bool archive_scene::is_shown(std::uint32_t object) const {
    std::int32_t visible = 1;
    if (qel_archive_is_visible(archive(), object, times_[0], &visible) != QEL_ARCHIVE_OK || visible != 0) return true;
    qel_archive_object about;
    for (std::uint32_t at = object;
         at != QEL_NOT_FOUND && qel_archive_get_object(archive(), at, &about) == QEL_ARCHIVE_OK; at = about.parent)
        if (is_shown_once(object, at)) return true;
    return false;
}

void archive_scene::list_meshes() {
    std::vector<scene_mesh> found;
    for (std::uint32_t i = 0; i < info_.object_count; ++i) {
        qel_archive_object about;
        scene_mesh mesh{i, {}, OGAWA_SCHEMA_UNKNOWN, {}, false};
        must(qel_archive_get_object(archive(), i, &about), "");
        mesh.path = about.path;
        mesh.kind = about.kind;
        if (!choice_.takes_path(about)) continue;
        const std::int32_t status = qel_archive_get_mesh_info(archive(), i, &mesh.info);
        if (status == QEL_ARCHIVE_WRONG_KIND) continue;
        if (!choice_.takes_kind(about.kind)) {
            ++other_count_;
            continue;
        }
        if (status != QEL_ARCHIVE_NOT_FOUND) must(status, mesh.path);
        if (status == QEL_ARCHIVE_NOT_FOUND ||
            (mesh.info.vertex_count == 0 && mesh.info.topology != QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE)) {
            ++empty_count_;
            continue;
        }
        const bool deforms = add_times(i, points);
        mesh.moves = (choice_.world && add_times_above(i)) || deforms;
        found.push_back(std::move(mesh));
    }
    merge_times();
    for (scene_mesh &mesh : found) {
        const bool shown = is_shown(mesh.object);
        if (!shown) ++hidden_count_;
        if (shown || choice_.hidden) meshes_.push_back(std::move(mesh));
    }
}

double archive_scene::rate() const {
    if (info_.frames_per_second > 0) return info_.frames_per_second;
    const double length = times_.back() - times_.front();
    return length > 0 ? static_cast<double>(times_.size() - 1) / length : 24;
}

void archive_scene::read(const scene_mesh &mesh, double time, ogawa_polymesh &out) const {
    std::uint64_t sample = 0;
    must(qel_archive_sample_at(archive(), mesh.object, time, &sample), mesh.path);
    must(qel_archive_read_mesh(archive(), mesh.object, sample, &out), mesh.path);
    if (!choice_.world) return;
    std::array<double, 16> matrix{};
    must(qel_archive_world_transform(archive(), mesh.object, time, matrix.data()), mesh.path);
    move(out.positions, out.vertex_count, matrix.data());
    if (out.normals != nullptr) turn_normals(out.normals, out.normal_count, matrix.data());
}

void archive_scene::read_sample(const scene_mesh &mesh, std::uint64_t sample, std::vector<float> &positions) const {
    std::uint64_t size = 0;
    const std::uint32_t property = qel_archive_find_property(archive(), mesh.object, points);
    must(qel_archive_read_property(archive(), mesh.object, property, sample, nullptr, 0, &size), mesh.path);
    positions.resize(size / sizeof(float));
    must(qel_archive_read_property(archive(), mesh.object, property, sample, positions.data(), size, &size), mesh.path);
}

void archive_scene::read_positions(const scene_mesh &mesh, double time, std::vector<float> &positions) const {
    std::uint64_t sample = 0;
    must(qel_archive_sample_at(archive(), mesh.object, time, &sample), mesh.path);
    read_sample(mesh, sample, positions);
    if (!choice_.world) return;
    std::array<double, 16> matrix{};
    must(qel_archive_world_transform(archive(), mesh.object, time, matrix.data()), mesh.path);
    move(positions.data(), positions.size() / 3, matrix.data());
}

std::vector<std::uint32_t> fan_triangles(const ogawa_polymesh &mesh, std::vector<std::uint8_t> *continues) {
    std::vector<std::uint32_t> triangles;
    const std::uint32_t *corner = mesh.face_indices;
    for (std::uint32_t face = 0; face < mesh.face_count; ++face) {
        const std::uint32_t count = mesh.face_counts[face];
        for (std::uint32_t i = 2; i < count; ++i) {
            triangles.insert(triangles.end(), {corner[0], corner[i - 1], corner[i]});
            if (continues != nullptr) continues->push_back(i > 2 ? 1 : 0);
        }
        corner += count;
    }
    return triangles;
}

} // namespace tool
