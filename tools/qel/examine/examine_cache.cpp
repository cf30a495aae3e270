// SPDX-License-Identifier: MIT
#include "examine/examined.h"
#include "terminal/text.h"

#include <cmath>

namespace tool {

namespace {

/// A block must be inside the file and aligned to the four bytes of its numbers.
void check_block(report &about, const qel_mesh &cache, const char *name, std::uint64_t offset, std::uint64_t triples) {
    const std::uint64_t bytes = triples * triple_bytes;
    if (offset < sizeof(qel_mesh_header) || offset % 4 != 0)
        about.problem(format("its %s start at %llu, which is %s", name, static_cast<unsigned long long>(offset),
                             offset % 4 != 0 ? "no multiple of 4" : "inside the header"));
    else if (offset > cache.file_size || bytes > cache.file_size - offset)
        about.problem(format("its %s do not lie in the file: %llu bytes from %llu on", name,
                             static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(offset)));
}

void check_skin(report &about, const qel_skin &skin, std::uint32_t vertices) {
    if (skin.weight_count != vertices)
        about.problem("its skin has " + counted(skin.weight_count, "weight") + ", the mesh " +
                      counted(vertices, "vertex"));
    tally joints, weights, transforms;
    for (std::uint32_t i = 0; i < skin.weight_count; ++i)
        for (int slot = 0; slot < 4; ++slot) {
            const float weight = skin.weights[i].weights[slot];
            if (!std::isfinite(weight)) weights.found(i);
            if (weight >= 1e-6f && skin.weights[i].joints[slot] >= skin.joint_count) joints.found(i);
        }
    for (std::uint32_t i = 0; i < skin.joint_count; ++i)
        for (const double number : skin.joints[i].joint_transform)
            if (!std::isfinite(number)) transforms.found(i);
    joints.add_problem(about, "weight", "a joint that the skin does not have");
    weights.add_problem(about, "weight", "a number that is not finite");
    transforms.add_problem(about, "joint", "a transform that is not finite");
}

/// Checks that the blocks are inside the file: without a problem, their pointers can be read.
void check_cache_layout(report &about, const qel_mesh &cache) {
    const qel_mesh_header &header = cache.header;
    if (cache.file_size < sizeof(qel_mesh_header)) {
        about.problem("its header is cut short");
        return;
    }
    check_version(about, header.version, cache_version);
    check_block(about, cache, "positions", header.positions_offset, header.vertex_count);
    if ((header.flags & QEL_MESH_HAS_NORMALS) != 0)
        check_block(about, cache, "normals", header.normals_offset, header.vertex_count);
    check_block(about, cache, "indices", header.indices_offset, header.triangle_count);
    if ((header.flags & QEL_MESH_HAS_SKIN) != 0 && cache.skin == nullptr)
        about.problem("its skin does not lie in the file");
}

/// Checks the contents of the blocks.
void check_cache_content(report &about, const qel_mesh &cache) {
    const qel_mesh_header &header = cache.header;
    if (header.vertex_count == 0) about.problem("it has no vertices");
    check_box(about, "its bounds", header.bounds_min, header.bounds_max);
    check_finite(about, "position", cache.positions, header.vertex_count);
    if (cache.normals != nullptr) check_finite(about, "normal", cache.normals, header.vertex_count);
    check_indices(about, "triangle", cache.indices, std::uint64_t{header.triangle_count} * 3, header.vertex_count);
    if (cache.skin != nullptr) {
        check_skin(about, *cache.skin, header.vertex_count);
        if (cache.skin->joint_count != header.joint_count)
            about.problem("its header counts " + counted(header.joint_count, "joint") + ", its skin " +
                          std::to_string(cache.skin->joint_count));
    }
}

void map_cache(const input_file &file, qel_mesh &cache) {
    must_be_ok(file, qel_mesh_load(file.path(), &cache), cache_load_meanings);
}

/// Without memory, a skin's array is null although its count is not 0.
bool is_whole(const qel_skin &skin) {
    return (skin.joints != nullptr || skin.joint_count == 0) && (skin.weights != nullptr || skin.weight_count == 0);
}

void header_facts(report &about, const qel_mesh_header &header) {
    about.fact("version", header.version);
    about.fact("vertices", header.vertex_count);
    about.fact("triangles", header.triangle_count);
    about.fact("normals", (header.flags & QEL_MESH_HAS_NORMALS) != 0 ? "yes" : "no");
    about.fact("joints", header.joint_count);
    about.fact("bounds", box_text(header.bounds_min, header.bounds_max));
    about.fact("positions at", header.positions_offset);
    about.fact("normals at", header.normals_offset);
    about.fact("indices at", header.indices_offset);
    about.fact("skin at", header.skin_offset);
}

} // namespace

void examine_cache(examined &what) {
    map_cache(what.file, *what.cache.get());
    if (what.cache->skin != nullptr && !is_whole(*what.cache->skin)) throw failure(what.file.name(), no_memory);
    header_facts(what.about, what.cache->header);
    check_cache_layout(what.about, *what.cache.get());
    what.about.readable = what.about.problems.empty();
    if (what.about.readable) check_cache_content(what.about, *what.cache.get());
}

} // namespace tool
