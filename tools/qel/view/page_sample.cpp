// SPDX-License-Identifier: MIT
// Sampling of points: of the vertices in each cell of a grid over the mesh, the first one is kept.
#include "view/page_pack.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace tool {

namespace {

constexpr std::size_t max_unsampled = 5000; // vertices: larger meshes are sampled
constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

/// The first vertex in each cell of a grid: a table with open addressing, at most half full.
class first_in_cell {
  public:
    /// The first vertex with this key, `vertex` if it is the first.
    std::uint32_t of(std::uint64_t key, std::uint32_t vertex) {
        if (count_ * 2 >= slots_.size()) grow();
        slot &found = place_of(key);
        if (found.vertex == none) {
            found = {key, vertex};
            ++count_;
        }
        return found.vertex;
    }
    std::size_t count() const { return count_; }

  private:
    struct slot {
        std::uint64_t key = 0;
        std::uint32_t vertex = none;
    };

    slot &place_of(std::uint64_t key) {
        std::size_t at = static_cast<std::size_t>(key * 0x9E3779B97F4A7C15u >> shift_); // spreads neighbouring keys
        while (slots_[at].vertex != none && slots_[at].key != key)
            at = (at + 1) & (slots_.size() - 1);
        return slots_[at];
    }

    void grow() {
        std::vector<slot> before(slots_.size() * 4);
        before.swap(slots_);
        shift_ -= 2;
        for (const slot &known : before)
            if (known.vertex != none) place_of(known.key) = known;
    }

    unsigned shift_ = 48;
    std::vector<slot> slots_ = std::vector<slot>(std::size_t{1} << (64 - shift_));
    std::size_t count_ = 0;
};

/// For each vertex its representative, on a grid of `cells` cells along the longest edge.
std::vector<std::uint32_t> cluster(const page_mesh &mesh, double cells, std::size_t &kept) {
    const std::array<float, 6> box = box_of(mesh.positions);
    double longest = 0;
    for (std::size_t axis = 0; axis < 3; ++axis)
        longest = std::max(longest, static_cast<double>(box[axis + 3]) - box[axis]);
    const double scale = longest > 0 ? cells / longest : 0;
    first_in_cell first;
    std::vector<std::uint32_t> representative(mesh.vertex_count());
    for (std::uint32_t i = 0; i < representative.size(); ++i) {
        std::uint64_t key = 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double place = (static_cast<double>(mesh.positions[std::size_t{i} * 3 + axis]) - box[axis]) * scale;
            key = key << 21 | (place > 0 ? static_cast<std::uint64_t>(std::min(place, 2097151.0)) : 0u);
        }
        representative[i] = first.of(key, i);
    }
    kept = first.count();
    return representative;
}

template <class T>
void keep(std::vector<T> &values, const std::vector<std::uint32_t> &numbers, std::size_t width) {
    if (values.empty()) return;
    std::vector<T> kept;
    kept.reserve(numbers.size() * width);
    for (const std::uint32_t number : numbers)
        for (std::size_t i = 0; i < width; ++i)
            kept.push_back(values[number * width + i]);
    values.swap(kept);
}

void keep_triangles(page_mesh &mesh, const std::vector<std::uint32_t> &representative,
                    const std::vector<std::uint32_t> &place) {
    std::vector<std::uint32_t> kept;
    for (std::size_t t = 0; t + 2 < mesh.triangles.size(); t += 3) {
        std::uint32_t corner[3];
        for (std::size_t i = 0; i < 3; ++i)
            corner[i] = place[representative[mesh.triangles[t + i]]];
        if (corner[0] == corner[1] || corner[1] == corner[2] || corner[2] == corner[0]) continue;
        kept.insert(kept.end(), corner, corner + 3);
    }
    mesh.triangles.swap(kept);
    mesh.continues.clear();
}

/// Finds a grid that keeps about `wanted` vertices. The first guess is right for a flat sheet.
std::vector<std::uint32_t> cluster_to(const page_mesh &mesh, double wanted) {
    double cells = std::sqrt(wanted);
    std::size_t kept = 0;
    std::vector<std::uint32_t> representative = cluster(mesh, cells, kept);
    for (int attempt = 0; attempt < 10 && static_cast<double>(kept) > 1.1 * wanted; ++attempt) {
        cells *= std::sqrt(wanted / static_cast<double>(kept));
        representative = cluster(mesh, cells, kept);
    }
    return representative;
}

/// Points without faces: every n-th one is kept.
std::vector<std::uint32_t> every(const page_mesh &mesh, double factor) {
    std::vector<std::uint32_t> representative(mesh.vertex_count());
    for (std::uint32_t i = 0; i < representative.size(); ++i)
        representative[i] = static_cast<std::uint32_t>(std::ceil(std::floor(i / factor) * factor));
    return representative;
}

void sample(page_mesh &mesh, double factor) {
    const std::vector<std::uint32_t> representative =
        mesh.triangles.empty() ? every(mesh, factor)
                               : cluster_to(mesh, static_cast<double>(mesh.vertex_count()) / factor);
    std::vector<std::uint32_t> numbers, place(representative.size(), none);
    for (std::uint32_t i = 0; i < representative.size(); ++i)
        if (representative[i] == i) {
            place[i] = static_cast<std::uint32_t>(numbers.size());
            numbers.push_back(i);
        }
    keep_triangles(mesh, representative, place);
    keep(mesh.positions, numbers, 3);
    keep(mesh.normals, numbers, 3);
    keep(mesh.uvs, numbers, 2);
    keep(mesh.cells, numbers, 3);
    keep(mesh.vertices, numbers, 1);
    keep(mesh.tokens, numbers, 1);
    if (mesh.numbers.empty())
        mesh.numbers = numbers;
    else
        keep(mesh.numbers, numbers, 1);
}

} // namespace

void sample_points(page_model &model, double factor) {
    for (page_mesh &mesh : model.meshes) {
        if (mesh.original_count == 0) mesh.original_count = static_cast<std::uint32_t>(mesh.vertex_count());
        if (mesh.vertex_count() > max_unsampled) sample(mesh, factor);
    }
}

} // namespace tool
