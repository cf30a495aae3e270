// SPDX-License-Identifier: MIT
// Shapes of which the example scene is made. Nothing but additions, products, quotients and square roots makes
// their numbers, and these are rounded the same way everywhere: an archive of them has the same bytes whichever
// compiler and C library made it. The C library's sine need not be.
#pragma once

#include "support/archive_schemas.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace qel::scene {

struct vec3 {
    double x, y, z;
};
vec3 operator+(vec3 a, vec3 b);
vec3 operator*(double factor, vec3 a);

/// Sine and cosine of an angle in turns; 1e-13 off at most.
double sine(double turns);
double cosine(double turns);

/// Polygons, counterclockwise from outside, with a UV index at each corner.
struct shape {
    std::vector<vec3> points;
    std::vector<std::int32_t> face_counts, face_indices;
    std::vector<float> uvs;
    std::vector<std::uint32_t> uv_indices;
};

struct ring {
    double radius, height;
};
/// Turns a profile, from bottom to top, about the y axis; a ring of radius 0 is one point, and the ends are closed.
/// `stretch` scales the radius at an angle in turns.
shape lathe(const std::vector<ring> &profile, int sides, const std::function<double(double)> &stretch = {});

/// A grid of quads; `place` gives the position of (u, v), both from 0 to 1. The front is the side of du × dv.
shape sheet(int columns, int rows, const std::function<vec3(double, double)> &place);

shape box(vec3 lower, vec3 upper);

/// Both shapes as one.
shape join(const shape &first, const shape &second);
shape moved(const shape &source, const std::function<vec3(vec3)> &place);

/// A constant mesh: corner normals, sharp where faces meet at more than `sharp` degrees' cosine, and UVs,
/// both indexed.
test::polymesh solid(const shape &source, double sharp_cosine = 0.7);

/// A mesh that deforms: the points of every frame, with normals of its points.
test::polymesh moving(const std::vector<shape> &frames, std::uint32_t time_sampling);

/// Points as they are stored.
std::vector<float> stored(const std::vector<vec3> &points);

} // namespace qel::scene
