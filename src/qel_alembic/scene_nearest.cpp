// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "common/morton_key.h"
#include "common/prefetch.h"
#include "qel_alembic/scene.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace qel {
namespace {

/// The exact floor of the root. In double precision the root of a square is exact, so no root is too small; just below
/// a large square it is one too large.
std::uint64_t floor_sqrt(std::uint64_t value) {
    constexpr std::uint64_t max_root = 0xFFFFFFFF;
    const std::uint64_t root = std::min(static_cast<std::uint64_t>(std::sqrt(static_cast<double>(value))), max_root);
    return root * root > value ? root - 1 : root;
}

struct candidate {
    std::uint32_t mesh;
    std::uint32_t vertex;
    std::uint64_t distance;
};

/// Orders by distance; of equal distances the vertex that is first in the scene comes first.
bool nearer(const candidate &a, const candidate &b) {
    return std::tie(a.distance, a.mesh, a.vertex) < std::tie(b.distance, b.mesh, b.vertex);
}

/// The nearest candidates offered so far, as a heap with the worst on top.
class nearest_list {
  public:
    explicit nearest_list(std::uint64_t capacity) : list_(heap_array<candidate>(capacity)), capacity_(capacity) {}

    explicit operator bool() const { return list_ != nullptr; }
    const candidate *begin() const { return list_.get(); }
    const candidate *end() const { return list_.get() + size_; }

    /// Whether a later vertex can still improve the list.
    bool open() const { return size_ < capacity_ || below_ > 0; }

    /// Vertices are offered in scene order. A full list accepts only vertices strictly nearer than its worst: for whole
    /// roots that is a difference below the worst distance squared, so that rejecting a vertex computes no root.
    void offer(std::uint64_t diff, std::uint32_t mesh, std::uint32_t vertex) {
        if (size_ == capacity_) {
            if (diff >= below_) return;
            std::pop_heap(list_.get(), list_.get() + size_--, nearer);
        }
        list_[size_++] = {mesh, vertex, floor_sqrt(diff)};
        std::push_heap(list_.get(), list_.get() + size_, nearer);
        below_ = list_[0].distance * list_[0].distance; // a root has 32 bits: no overflow
    }

    void sort() { std::sort_heap(list_.get(), list_.get() + size_, nearer); }

  private:
    scratch<candidate> list_;
    std::uint64_t capacity_;
    std::size_t size_ = 0;
    std::uint64_t below_ = 0;
};

std::uint64_t vertex_records(const qel_alembic_file &scene) {
    std::uint64_t count = 0;
    for (std::uint32_t m = 0; m < meshes_in(scene); ++m)
        if (scene.meshes[m].vertices != nullptr) count += scene.meshes[m].vertex_count;
    return count;
}

/// The capacity of a list of `k` candidates; above 65,536 at most the number of vertex records.
std::uint64_t list_capacity(const qel_alembic_file &scene, std::uint64_t k) {
    constexpr std::uint64_t max_small_list = 1 << 16;
    return k <= max_small_list ? k : std::min(k, vertex_records(scene));
}

void offer_all(const qel_alembic_file &scene, std::uint64_t morton, nearest_list &list) {
    for (std::uint32_t m = 0; m < meshes_in(scene) && list.open(); ++m) {
        const qel_alembic_mesh &mesh = scene.meshes[m];
        for (std::uint32_t v = 0; mesh.vertices != nullptr && v < mesh.vertex_count; ++v) {
            prefetch_ahead(mesh.vertices + v);
            list.offer(difference(mesh.vertices[v].morton, morton), m, v);
        }
    }
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::uint32_t qel_alembic_query_nearest(const qel_alembic_file *scene, std::uint64_t morton, std::int32_t k,
                                        qel_alembic_hit *results) {
    if (k < 1 || results == nullptr || scene == nullptr) return 0;
    nearest_list list(list_capacity(*scene, static_cast<std::uint64_t>(k)));
    if (!list) return 0;
    offer_all(*scene, morton, list);
    list.sort();
    std::uint32_t count = 0;
    for (const candidate &near : list) {
        results[count] = hit_at(scene->meshes[near.mesh], near.mesh, near.vertex);
        results[count++].distance = static_cast<float>(near.distance);
    }
    return count;
}

} // extern "C"
