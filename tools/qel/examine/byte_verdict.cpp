// SPDX-License-Identifier: MIT
// How reliable the result of the byte search is: it takes any bytes that look like positions for a mesh.
#include "examine/archive_scene.h"
#include "examine/examined.h"
#include "examine/lattice.h"
#include "terminal/text.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tool {

namespace {

constexpr float min_coordinate = 1e-20f;      // integers read as floats are smaller, real coordinates are not
constexpr std::uint64_t max_compared = 10000; // samples

struct signals {
    double tiny = 0;  ///< share of the coordinates that are not 0 but below `min_coordinate`
    double named = 1; ///< share of the vertices that a corner refers to; 1 without faces
    double huge = 0;  ///< share of the coordinates beyond 1e20
    std::size_t cells = 0;
    bool faces_fit = true; ///< the faces need as many corners as there are, and each is below the vertex count
};

signals signals_of(const ogawa_polymesh &mesh) {
    signals found;
    const std::size_t coordinates = std::size_t{mesh.vertex_count} * 3;
    std::size_t tiny = 0, huge = 0;
    for (std::size_t i = 0; i < coordinates; ++i) {
        const float size = std::fabs(mesh.positions[i]);
        if (size > 0 && size < min_coordinate) ++tiny;
        if (!(size < 1 / min_coordinate)) ++huge;
    }
    found.tiny = static_cast<double>(tiny) / static_cast<double>(coordinates);
    found.huge = static_cast<double>(huge) / static_cast<double>(coordinates);
    std::vector<bool> named(mesh.vertex_count), taken(lattice_edge * lattice_edge * lattice_edge);
    for (std::uint32_t i = 0; i < mesh.face_index_count; ++i) {
        if (mesh.face_indices[i] < mesh.vertex_count)
            named[mesh.face_indices[i]] = true;
        else
            found.faces_fit = false;
    }
    std::uint64_t corners = 0;
    for (std::uint32_t face = 0; face < mesh.face_count; ++face)
        corners += mesh.face_counts[face];
    found.faces_fit = found.faces_fit && corners == mesh.face_index_count;
    if (mesh.face_index_count > 0)
        found.named = static_cast<double>(std::count(named.begin(), named.end(), true)) / mesh.vertex_count;
    float box[6] = {};
    ogawa_compute_bounds(mesh.positions, mesh.vertex_count, box);
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i) {
        const float *p = mesh.positions + std::size_t{i} * 3;
        std::uint8_t x = 0, y = 0, z = 0;
        qel_alembic_world_to_matrix(p[0], p[1], p[2], box, &x, &y, &z);
        taken[(x * lattice_edge + y) * lattice_edge + z] = true;
    }
    found.cells = static_cast<std::size_t>(std::count(taken.begin(), taken.end(), true));
    return found;
}

std::string percent(double share) {
    return format("%.3g%%", share * 100);
}

/// "likely a mesh", "doubtful: …" or "not a mesh: …", with the reasons.
std::string verdict_of(const ogawa_polymesh &mesh, bool half_faces) {
    const signals found = signals_of(mesh);
    std::string bad, odd;
    const auto add = [](std::string &list, const std::string &what) { list += (list.empty() ? "" : ", ") + what; };
    if (found.tiny > 0) add(found.tiny > 0.02 ? bad : odd, percent(found.tiny) + " of the coordinates are below 1e-20");
    if (found.huge > 0) add(bad, percent(found.huge) + " of the coordinates are beyond 1e20");
    if (!found.faces_fit) add(bad, "the faces do not fit the corners or the vertices");
    if (half_faces) add(odd, "faces without corners, or the reverse");
    if (mesh.face_count == 0 && !half_faces) add(odd, "no faces");
    if (found.named < 0.9)
        add(found.named < 0.5 ? bad : odd, "corners name " + percent(found.named) + " of the vertices");
    if (mesh.vertex_count > 64 && found.cells * 16 < mesh.vertex_count && found.cells < 64)
        add(odd, counted(mesh.vertex_count, "vertex") + " take " + counted(found.cells, "cell"));
    if (!bad.empty()) return "not a mesh: " + bad + (odd.empty() ? "" : ", " + odd);
    return odd.empty() ? "likely a mesh" : "doubtful: " + odd;
}

/// The object and the sample that have exactly these positions.
std::string real_mesh(const input_file &file, const ogawa_polymesh &mesh) {
    try {
        const archive_scene scene(file, {true, false, {}, true});
        std::vector<float> positions;
        std::uint64_t compared = 0;
        for (const scene_mesh &real : scene.meshes()) {
            if (real.info.topology != QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE && real.info.vertex_count != mesh.vertex_count)
                continue;
            for (std::uint64_t sample = 0; sample < real.info.sample_count && compared < max_compared; ++sample) {
                scene.read_sample(real, sample, positions);
                ++compared;
                if (positions.size() == std::size_t{mesh.vertex_count} * 3 &&
                    std::memcmp(positions.data(), mesh.positions, positions.size() * sizeof(float)) == 0)
                    return "\"" + printable(real.path) + "\", sample " + std::to_string(sample);
            }
        }
        return compared == max_compared ? "none among the first samples" : "none: no object has these positions";
    } catch (const failure &) {
        return "unknown: the archive's objects cannot be read";
    }
}

} // namespace

void add_byte_verdict(examined &what, bool half_faces) {
    what.about.fact("byte search", verdict_of(*what.mesh.get(), half_faces));
}

void add_real_mesh(examined &what) {
    if (what.mesh->positions != nullptr) what.about.fact("real mesh", real_mesh(what.file, *what.mesh.get()));
}

} // namespace tool
