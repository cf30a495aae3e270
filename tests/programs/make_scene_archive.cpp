// SPDX-License-Identifier: MIT
// make_scene_archive OUTPUT.abc: writes examples/data/harbour.abc, a harbour in a loop of two seconds:
// waves, a flag, a windmill, a lighthouse, boats at their moorings and gulls, in metres, y upwards.
#include "programs/scene_shapes.h"

#include <cstdio>
#include <utility>

namespace {

using namespace qel::scene;
using namespace qel::test;

constexpr int frame_count = 48;
constexpr double frames_per_second = 24;
constexpr double sea_side = 32, degrees_per_radian = 57.29577951308232;

/// What a function of the part of the loop, from 0 to 1, makes at every frame.
template <class F>
auto over_time(F &&at) {
    std::vector<decltype(at(0.0))> frames;
    for (int frame = 0; frame < frame_count; ++frame)
        frames.push_back(at(double(frame) / frame_count));
    return frames;
}

/// Three trains of waves; whole numbers of them fit the sea and the loop, so that both repeat without a jump.
double sea_height(double x, double z, double time) {
    const double u = x / sea_side, v = z / sea_side;
    return 0.16 * sine(2 * u + v - time) + 0.08 * sine(3 * v - u - 2 * time) + 0.05 * sine(4 * u - 3 * v - 2 * time);
}

void add_sea(object_node &harbour, std::uint32_t film) {
    const auto frames = over_time([](double time) {
        return sheet(20, 20, [time](double u, double v) {
            const double x = (u - 0.5) * sea_side, z = (0.5 - v) * sea_side;
            return vec3{x, sea_height(x, z, time), z};
        });
    });
    add_polymesh(harbour, "sea", moving(frames, film));
}

void add_island(object_node &harbour) {
    object_node &island = add_xform(harbour, "island", {translate(-6, 0, -4)});
    const auto coast = [](double turns) { return 1 + 0.09 * sine(2 * turns) + 0.06 * cosine(3 * turns + 0.1); };
    add_polymesh(
        island, "rock",
        solid(lathe({{6.2, -1.2}, {5.6, 0.1}, {5.0, 0.55}, {4.6, 0.9}, {2.6, 1.15}, {0, 1.2}}, 28, coast), 0.8));
}

/// One arm of the mill: a spar with a lattice of cloth on one side of it, from the axis upwards.
shape mill_arm() {
    const shape spar = box({-0.06, 0.1, 0}, {0.06, 3.3, 0.1});
    const shape cloth = sheet(3, 8, [](double u, double v) {
        return vec3{0.06 + 0.62 * u, 0.9 + 2.3 * v, 0.05 + 0.22 * u * (1 - 0.6 * v)};
    });
    return join(spar, cloth);
}

/// Four arms look the same after a quarter of a turn, which is one loop.
void add_rotor(object_node &mill, std::uint32_t film) {
    const auto turning = over_time([](double time) {
        return std::vector<xform_operation>{translate(0, 4.35, 1.2), rotate_z(-90 * time)};
    });
    object_node &rotor = add_moving_xform(mill, "rotor", turning, film);
    add_polymesh(add_xform(rotor, "arm_1"), "sail", solid(mill_arm()));
    for (int i = 1; i < 4; ++i) {
        object_node &arm = add_xform(rotor, "arm_" + std::to_string(i + 1), {rotate_z(90.0 * i)});
        add_instance(arm, "sail", "/harbour/windmill/rotor/arm_1/sail");
    }
    const shape upright = lathe({{0.12, 0}, {0.3, 0.1}, {0.3, 0.25}, {0.16, 0.4}, {0, 0.46}}, 12);
    add_polymesh(rotor, "hub", solid(moved(upright, [](vec3 p) { return vec3{p.x, -p.z, p.y}; })));
}

void add_windmill(object_node &harbour, std::uint32_t film) {
    object_node &mill = add_xform(harbour, "windmill", {translate(-6, 1.1, -4), rotate_y(25)});
    add_polymesh(mill, "tower", solid(lathe({{1.7, 0}, {1.55, 0.9}, {1.35, 2.2}, {1.2, 3.7}, {1.35, 3.8}}, 10)));
    add_polymesh(mill, "cap", solid(lathe({{1.3, 3.8}, {1.25, 4.2}, {0.95, 4.75}, {0.5, 5.1}, {0, 5.25}}, 16)));
    add_polymesh(mill, "door", solid(box({-0.3, 0, 1.35}, {0.3, 1.1, 1.68})));
    add_rotor(mill, film);
}

/// The tower; the faces of every second band form a face set.
void add_light_tower(object_node &lighthouse) {
    constexpr int sides = 16;
    std::vector<ring> profile;
    for (int band = 0; band <= 6; ++band)
        profile.push_back({1.15 - 0.075 * band, 0.8 * band});
    profile.insert(profile.end(), {{1.0, 4.85}, {1.0, 5.0}, {0.5, 5.0}});
    object_node &tower = add_polymesh(lighthouse, "tower", solid(lathe(profile, sides)));
    std::vector<std::int32_t> red;
    for (std::int32_t face = 0; face < 6 * sides; ++face)
        if (face / sides % 2 == 0) red.push_back(face);
    add_face_set(tower, "red_bands", red);
}

/// Two beams look the same after half a turn, which is one loop.
void add_lighthouse(object_node &harbour, std::uint32_t film) {
    object_node &lighthouse = add_xform(harbour, "lighthouse", {translate(8.5, 0.5, -8)});
    const auto jagged = [](double turns) { return 1 + 0.12 * cosine(3 * turns) + 0.08 * sine(5 * turns); };
    add_polymesh(lighthouse, "rock", solid(lathe({{2.9, -1.5}, {2.4, -0.2}, {1.6, 0.05}, {0, 0.1}}, 20, jagged)));
    add_light_tower(lighthouse);
    add_polymesh(lighthouse, "lantern", solid(lathe({{0.45, 5.0}, {0.45, 5.7}}, 8)));
    add_polymesh(lighthouse, "roof", solid(lathe({{0.7, 5.7}, {0.62, 5.8}, {0.12, 6.25}, {0, 6.6}}, 16)));
    const auto turning = over_time([](double time) {
        return std::vector<xform_operation>{translate(0, 5.35, 0), rotate(0, 1, 0, 180 * time)};
    });
    object_node &lamp = add_moving_xform(lighthouse, "lamp", turning, film);
    const shape upright = lathe({{0.1, 0.55}, {0.75, 6}}, 12);
    const auto along = [&](double side) {
        return moved(upright, [side](vec3 p) { return vec3{side * p.y, -side * p.x, p.z}; });
    };
    add_polymesh(lamp, "beams", solid(join(along(1), along(-1))));
}

/// The half breadth of the hull from the stern, 0, to the bow, 1.
double breadth(double along) {
    return 0.004 + 0.78 * (1 - along * along * along) * (0.82 + 0.36 * along * (1 - along));
}

double sheer(double along) {
    return 0.42 + 0.45 * along * along;
}

shape hull() {
    const shape skin = sheet(14, 10, [](double along, double around) {
        const double side = -cosine(around / 2), down = sine(around / 2); // from port over the keel
        const double depth = 0.95 - 0.35 * along * along * along;
        return vec3{4.4 * along - 2, sheer(along) - depth * down, breadth(along) * side};
    });
    const shape deck = sheet(14, 2, [](double along, double across) {
        return vec3{4.4 * along - 2, sheer(along) - 0.1, 0.97 * breadth(along) * (1 - 2 * across)};
    });
    shape stern = sheet(10, 1, [](double around, double inwards) {
        const double side = cosine(around / 2), down = sine(around / 2);
        return vec3{-2, sheer(0) - 0.95 * down * (1 - inwards), breadth(0) * side};
    });
    stern = moved(stern, [](vec3 p) { return vec3{p.x, p.y, -p.z}; });
    return join(join(skin, deck), join(stern, box({-0.9, 0.35, -0.45}, {0.1, 0.95, 0.45})));
}

/// The motion of a boat in the waves: it rises and tilts with them.
std::vector<std::vector<xform_operation>> afloat(double x, double z, double heading, double size) {
    return over_time([=](double time) {
        const double slope_x = sea_height(x + 1, z, time) - sea_height(x - 1, z, time);
        const double slope_z = sea_height(x, z + 1, time) - sea_height(x, z - 1, time);
        return std::vector<xform_operation>{translate(x, sea_height(x, z, time), z),
                                            rotate_y(heading + 3 * sine(time + 0.2)),
                                            rotate_z(0.5 * degrees_per_radian * slope_x),
                                            rotate_x(-0.5 * degrees_per_radian * slope_z), scale(size, size, size)};
    });
}

/// The depth of the sail varies once per loop.
void add_sailcloth(object_node &boat, std::uint32_t film) {
    const auto frames = over_time([](double time) {
        return sheet(6, 8, [time](double u, double v) {
            const double width = 2.1 * (1 - v) + 0.04, belly = 4 * u * (1 - u) * (1 - v) * (0.25 + 3 * v);
            const double breath = 0.4 + 0.12 * sine(time) + 0.05 * sine(2 * time + 0.5 * v);
            return vec3{0.38 - width * (1 - u), 1.1 + 3.3 * v - 0.1 * u, belly * breath};
        });
    });
    add_polymesh(boat, "sail", moving(frames, film));
}

void add_boats(object_node &harbour, std::uint32_t film) {
    object_node &boat = add_moving_xform(harbour, "boat", afloat(4, 2.5, 20, 1), film);
    add_polymesh(boat, "hull", solid(hull(), 0.8));
    const shape mast = lathe({{0.07, 0.3}, {0.06, 3.0}, {0.03, 4.6}, {0, 4.65}}, 8);
    const shape boom = box({-1.8, 0.94, -0.035}, {0.45, 1.01, 0.035});
    add_polymesh(boat, "mast", solid(join(moved(mast, [](vec3 p) { return vec3{p.x + 0.45, p.y, p.z}; }), boom)));
    add_sailcloth(boat, film);
    object_node &dinghy = add_moving_xform(harbour, "dinghy", afloat(-0.6, 6.2, -35, 0.55), film);
    add_instance(dinghy, "hull", "/harbour/boat/hull");
}

/// Waves run along the flag twice a loop and grow towards its loose end.
void add_flag(object_node &harbour, std::uint32_t film) {
    object_node &pole = add_xform(harbour, "flagpole", {translate(-2.3, 0.7, -1.6)});
    add_polymesh(pole, "pole", solid(lathe({{0.09, 0}, {0.05, 4.4}, {0.11, 4.45}, {0.11, 4.6}, {0, 4.68}}, 10)));
    const auto frames = over_time([](double time) {
        return sheet(16, 8, [time](double u, double v) {
            const double swing = 0.26 * u * sine(1.3 * u + 0.12 * v - 2 * time);
            const double droop = -0.22 * u * u + 0.05 * u * sine(0.7 * u - 2 * time);
            return vec3{0.06 + 2.2 * u - 0.12 * u * cosine(2.6 * u - 4 * time), 2.9 + 1.4 * v + droop, swing};
        });
    });
    add_polymesh(pole, "flag", moving(frames, film));
}

void add_jetty(object_node &harbour) {
    shape wood = box({-2.2, 0.62, -0.6}, {2.6, 0.72, 0.6});
    for (int i = 0; i < 6; ++i) {
        const double x = -1.7 + 2.0 * (i / 2), z = i % 2 == 0 ? -0.5 : 0.5;
        wood = join(wood, box({x - 0.09, -1.4, z - 0.09}, {x + 0.09, 1.05, z + 0.09}));
    }
    add_polymesh(add_xform(harbour, "jetty", {translate(0.6, 0, 0.2), rotate_y(-18)}), "wood", solid(wood));
}

/// A buoy is a cage that is meant to be subdivided.
void add_buoy(object_node &harbour, std::uint32_t film) {
    object_node &buoy = add_moving_xform(harbour, "buoy", afloat(9.5, 5.5, 0, 0.6), film);
    polymesh cage = solid(lathe({{0.7, -0.5}, {0.9, 0.3}, {0.25, 0.7}, {0.2, 1.7}, {0.35, 1.9}, {0.1, 2.2}}, 8), 2);
    cage.schema = "AbcGeom_SubD_v1";
    cage.parameters.erase(cage.parameters.begin()); // the surface has its own normals
    add_polymesh(buoy, "float", cage);
}

/// Two ropes from the jetty to the boat; their far ends move with the water.
void add_ropes(object_node &harbour, std::uint32_t film) {
    constexpr int points_of_a_rope = 9;
    const auto frames = over_time([](double time) {
        std::vector<vec3> points;
        const double rise = sea_height(4, 2.5, time);
        const std::pair<vec3, vec3> ends[] = {{{2.55, 1.0, 1.3}, {2.2, 0.35 + rise, 2.9}},
                                              {{2.9, 1.0, 0.4}, {5.6, 0.75 + rise, 1.75}}};
        for (const auto &[from, to] : ends)
            for (int i = 0; i < points_of_a_rope; ++i) {
                const double t = double(i) / (points_of_a_rope - 1);
                const vec3 sag = {0, -1.6 * t * (1 - t), 0};
                points.push_back((1 - t) * from + t * to + sag);
            }
        return stored(points);
    });
    add_curves(harbour, "ropes", frames, {points_of_a_rope, points_of_a_rope}, film);
}

/// Each gull flies its own circle once per loop, and rises and falls on it.
void add_gulls(object_node &harbour, std::uint32_t film) {
    constexpr int gulls = 11;
    const auto frames = over_time([](double time) {
        std::vector<vec3> points;
        for (int i = 0; i < gulls; ++i) {
            const double radius = 0.9 + 0.13 * i, turns = time * (i % 2 == 0 ? 1 : -1) + 0.37 * i;
            points.push_back({1.1 * i - 6 + radius * cosine(turns), 6.2 + 0.3 * (i % 4) + 0.25 * sine(turns + 0.1 * i),
                              -3.5 + 0.7 * (i % 3) + radius * sine(turns)});
        }
        return stored(points);
    });
    add_points(harbour, "gulls", frames, std::vector<float>(gulls, 0.25f), film);
}

archive_builder harbour_scene() {
    archive_builder scene;
    scene.metadata = "FramesPerTimeUnit=24;_ai_Application=qel_unit make_scene_archive;_ai_Description=a harbour";
    const std::uint32_t film = scene.add_sampling({1 / frames_per_second, {0}});
    object_node &harbour = add_xform(scene.top, "harbour");
    add_sea(harbour, film);
    add_island(harbour);
    add_windmill(harbour, film);
    add_lighthouse(harbour, film);
    add_jetty(harbour);
    add_flag(harbour, film);
    add_boats(harbour, film);
    add_buoy(harbour, film);
    add_ropes(harbour, film);
    add_gulls(harbour, film);
    return scene;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_scene_archive OUTPUT.abc\n");
        return 2;
    }
    harbour_scene().save(argv[1]);
    return 0;
}
