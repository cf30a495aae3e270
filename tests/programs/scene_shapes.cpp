// SPDX-License-Identifier: MIT
#include "programs/scene_shapes.h"

#include <array>
#include <cmath>
#include <map>

namespace qel::scene {

namespace {

vec3 cross(vec3 a, vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double dot(vec3 a, vec3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

vec3 unit(vec3 a) {
    const double length = std::sqrt(dot(a, a));
    return length > 0 ? (1 / length) * a : vec3{0, 1, 0};
}

std::array<float, 3> stored(vec3 a) {
    return {static_cast<float>(a.x), static_cast<float>(a.y), static_cast<float>(a.z)};
}

/// Twice the area of each face along its normal (Newell's method, which takes any polygon).
std::vector<vec3> face_normals(const shape &source) {
    std::vector<vec3> normals;
    std::size_t first = 0;
    for (const std::int32_t signed_count : source.face_counts) {
        const auto count = static_cast<std::size_t>(signed_count);
        const auto corner = [&](std::size_t i) {
            return source.points[static_cast<std::size_t>(source.face_indices[first + i % count])];
        };
        vec3 sum = {0, 0, 0};
        for (std::size_t i = 0; i < count; ++i)
            sum = sum + cross(corner(i), corner(i + 1));
        normals.push_back(sum);
        first += count;
    }
    return normals;
}

/// The faces around each point.
std::vector<std::vector<std::size_t>> faces_of_points(const shape &source) {
    std::vector<std::vector<std::size_t>> faces(source.points.size());
    std::size_t corner = 0;
    for (std::size_t face = 0; face < source.face_counts.size(); ++face)
        for (std::int32_t i = 0; i < source.face_counts[face]; ++i, ++corner)
            faces[static_cast<std::size_t>(source.face_indices[corner])].push_back(face);
    return faces;
}

test::geometry_parameter corner_normals(const shape &source, double sharp_cosine) {
    const std::vector<vec3> of_faces = face_normals(source);
    const std::vector<std::vector<std::size_t>> around = faces_of_points(source);
    test::geometry_parameter normals = test::normals({{}});
    normals.indices = {{}};
    std::map<std::array<float, 3>, std::uint32_t> known;
    std::size_t corner = 0;
    for (std::size_t face = 0; face < of_faces.size(); ++face)
        for (std::int32_t i = 0; i < source.face_counts[face]; ++i, ++corner) {
            vec3 sum = {0, 0, 0};
            for (const std::size_t other : around[static_cast<std::size_t>(source.face_indices[corner])])
                if (dot(unit(of_faces[face]), unit(of_faces[other])) >= sharp_cosine) sum = sum + of_faces[other];
            const std::array<float, 3> normal = stored(unit(sum));
            const auto [entry, is_new] = known.try_emplace(normal, static_cast<std::uint32_t>(known.size()));
            if (is_new) normals.values[0].insert(normals.values[0].end(), normal.begin(), normal.end());
            normals.indices[0].push_back(entry->second);
        }
    return normals;
}

std::vector<float> point_normals(const shape &source) {
    std::vector<vec3> sums(source.points.size(), vec3{0, 0, 0});
    const std::vector<vec3> of_faces = face_normals(source);
    const std::vector<std::vector<std::size_t>> around = faces_of_points(source);
    for (std::size_t point = 0; point < sums.size(); ++point) {
        for (const std::size_t face : around[point])
            sums[point] = sums[point] + of_faces[face];
        sums[point] = unit(sums[point]);
    }
    return stored(sums);
}

std::uint32_t add_uv(shape &out, double u, double v) {
    out.uvs.push_back(static_cast<float>(u));
    out.uvs.push_back(static_cast<float>(v));
    return static_cast<std::uint32_t>(out.uvs.size() / 2 - 1);
}

struct corner {
    std::int32_t point;
    std::uint32_t uv;
};

/// Adds a face; neighbouring corners at one point, as at a lathe's tip, are one.
void add_face(shape &out, const std::vector<corner> &corners) {
    std::int32_t count = 0;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        if (corners[i].point == corners[(i + 1) % corners.size()].point) continue;
        out.face_indices.push_back(corners[i].point);
        out.uv_indices.push_back(corners[i].uv);
        ++count;
    }
    out.face_counts.push_back(count);
}

/// One ring's points and its UVs, which have one more at the seam.
struct ring_corners {
    std::vector<corner> at;
};

ring_corners add_ring(shape &out, const ring &each, int sides, double v, const std::function<double(double)> &stretch) {
    ring_corners corners;
    const auto first = static_cast<std::int32_t>(out.points.size());
    const bool is_tip = each.radius == 0;
    for (int i = 0; i <= sides; ++i) {
        const double turns = double(i) / sides;
        const double radius = each.radius * (stretch ? stretch(turns) : 1.0);
        if (i < (is_tip ? 1 : sides)) out.points.push_back({radius * cosine(turns), each.height, radius * sine(turns)});
        corners.at.push_back({first + (is_tip ? 0 : i % sides), add_uv(out, turns, v)});
    }
    return corners;
}

} // namespace

vec3 operator+(vec3 a, vec3 b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

vec3 operator*(double factor, vec3 a) {
    return {factor * a.x, factor * a.y, factor * a.z};
}

double sine(double turns) {
    turns -= std::floor(turns + 0.5);
    if (turns > 0.25) turns = 0.5 - turns;
    if (turns < -0.25) turns = -0.5 - turns;
    const double x = turns * 6.283185307179586, square = x * x;
    double sum = 1;
    for (int n = 18; n >= 2; n -= 2) // Taylor's series from its last term
        sum = 1 - square / (n * (n + 1)) * sum;
    return x * sum;
}

double cosine(double turns) {
    return sine(turns + 0.25);
}

shape lathe(const std::vector<ring> &profile, int sides, const std::function<double(double)> &stretch) {
    shape out;
    std::vector<ring_corners> rings;
    for (std::size_t i = 0; i < profile.size(); ++i)
        rings.push_back(add_ring(out, profile[i], sides, double(i) / double(profile.size() - 1), stretch));
    for (std::size_t i = 0; i + 1 < rings.size(); ++i)
        for (std::size_t side = 0; side < static_cast<std::size_t>(sides); ++side)
            add_face(out, {rings[i].at[side], rings[i + 1].at[side], rings[i + 1].at[side + 1], rings[i].at[side + 1]});
    if (profile.front().radius != 0)
        add_face(out, std::vector<corner>(rings.front().at.begin(), rings.front().at.end() - 1));
    if (profile.back().radius != 0)
        add_face(out, std::vector<corner>(rings.back().at.rbegin(), rings.back().at.rend() - 1));
    return out;
}

shape sheet(int columns, int rows, const std::function<vec3(double, double)> &place) {
    shape out;
    std::vector<corner> corners;
    for (int row = 0; row <= rows; ++row)
        for (int column = 0; column <= columns; ++column) {
            const double u = double(column) / columns, v = double(row) / rows;
            corners.push_back({static_cast<std::int32_t>(out.points.size()), add_uv(out, u, v)});
            out.points.push_back(place(u, v));
        }
    const auto stride = static_cast<std::size_t>(columns) + 1;
    for (std::size_t row = 0; row < static_cast<std::size_t>(rows); ++row)
        for (std::size_t at = row * stride; at + 1 < (row + 1) * stride; ++at)
            add_face(out, {corners[at], corners[at + 1], corners[at + stride + 1], corners[at + stride]});
    return out;
}

shape box(vec3 lower, vec3 upper) {
    shape out;
    for (int i = 0; i < 8; ++i)
        out.points.push_back(
            {(i & 1) != 0 ? upper.x : lower.x, (i & 2) != 0 ? upper.y : lower.y, (i & 4) != 0 ? upper.z : lower.z});
    for (const double v : {0.0, 1.0})
        for (const double u : {0.0, 1.0})
            add_uv(out, u, v);
    constexpr std::int32_t faces[6][4] = {{0, 4, 6, 2}, {1, 3, 7, 5}, {0, 1, 5, 4},
                                          {2, 6, 7, 3}, {0, 2, 3, 1}, {4, 5, 7, 6}};
    for (const auto &face : faces)
        add_face(out, {{face[0], 0}, {face[1], 1}, {face[2], 3}, {face[3], 2}});
    return out;
}

shape join(const shape &first, const shape &second) {
    shape out = first;
    const auto points = static_cast<std::int32_t>(first.points.size());
    const auto uvs = static_cast<std::uint32_t>(first.uvs.size() / 2);
    out.points.insert(out.points.end(), second.points.begin(), second.points.end());
    out.uvs.insert(out.uvs.end(), second.uvs.begin(), second.uvs.end());
    out.face_counts.insert(out.face_counts.end(), second.face_counts.begin(), second.face_counts.end());
    for (const std::int32_t index : second.face_indices)
        out.face_indices.push_back(index + points);
    for (const std::uint32_t index : second.uv_indices)
        out.uv_indices.push_back(index + uvs);
    return out;
}

shape moved(const shape &source, const std::function<vec3(vec3)> &place) {
    shape out = source;
    for (vec3 &point : out.points)
        point = place(point);
    return out;
}

std::vector<float> stored(const std::vector<vec3> &points) {
    std::vector<float> all;
    for (const vec3 &point : points)
        for (const double value : {point.x, point.y, point.z})
            all.push_back(static_cast<float>(value));
    return all;
}

test::polymesh solid(const shape &source, double sharp_cosine) {
    test::polymesh mesh;
    mesh.points = {stored(source.points)};
    mesh.face_counts = {source.face_counts};
    mesh.face_indices = {source.face_indices};
    test::geometry_parameter uv = test::uvs({source.uvs}, "fvr", "surface");
    uv.indices = {source.uv_indices};
    mesh.parameters = {corner_normals(source, sharp_cosine), uv};
    return mesh;
}

test::polymesh moving(const std::vector<shape> &frames, std::uint32_t time_sampling) {
    test::polymesh mesh;
    std::vector<std::vector<float>> normals;
    for (const shape &frame : frames) {
        mesh.points.push_back(stored(frame.points));
        normals.push_back(point_normals(frame));
    }
    mesh.face_counts = {frames.front().face_counts};
    mesh.face_indices = {frames.front().face_indices};
    mesh.parameters = {test::normals(normals, "vtx"), test::uvs({frames.front().uvs}, "vtx", "surface")};
    mesh.time_sampling = time_sampling;
    return mesh;
}

} // namespace qel::scene
