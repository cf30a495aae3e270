// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "qel_alembic/scene.h"
#include "qel_alembic/scene_index.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace qel {
namespace {

enum lookup_status : std::int32_t { found = 0, not_found = -1 };

qel_alembic_hit hit_at(const qel_alembic_mesh &mesh, std::uint32_t mesh_index, std::uint32_t vertex_index) {
    qel_alembic_hit hit = {};
    hit.mesh_index = mesh_index;
    hit.vertex_index = vertex_index;
    hit.vertex = mesh.vertices != nullptr ? mesh.vertices + vertex_index : nullptr;
    hit.token = mesh.tokens != nullptr ? mesh.tokens + vertex_index : nullptr;
    return hit;
}

/// The global numbers of a mesh's vertices.
struct mesh_numbers {
    std::uint64_t first;
    std::uint64_t count;
    std::uint32_t mesh;

    bool hold(std::uint32_t number) const { return number - first < count; }
};

/// Finds the mesh that a global number belongs to. The first time costs a walk over the meshes; for a search that goes
/// on, signposts shorten all further walks: one at every mesh, or without memory for so many at regular distances.
class mesh_finder {
  public:
    explicit mesh_finder(const qel_alembic_file &scene) : scene_(scene), count_(meshes_in(scene)) {}

    /// No numbers when the number lies beyond all meshes.
    mesh_numbers find(std::uint32_t number) {
        if (++finds_ == 2) set_signposts();
        mesh_numbers numbers = {0, 0, 0};
        if (post_count_ > 0) {
            const std::uint64_t *const post = std::upper_bound(posts_, posts_ + post_count_, number) - 1;
            numbers.mesh = static_cast<std::uint32_t>(post - posts_) * stride_;
            numbers.first = *post;
        }
        for (; numbers.mesh < count_; ++numbers.mesh) {
            numbers.count = scene_.meshes[numbers.mesh].vertex_count;
            if (numbers.hold(number)) return numbers;
            numbers.first += numbers.count;
        }
        return {0, 0, 0};
    }

  private:
    void set_signposts() {
        if (count_ > few) all_ = scratch<std::uint64_t>(heap_array<std::uint64_t>(count_));
        if (all_ != nullptr)
            posts_ = all_.get();
        else
            stride_ = count_ / few + 1;
        std::uint64_t first = 0;
        for (std::uint32_t mesh = 0; mesh < count_; ++mesh) {
            if (mesh % stride_ == 0) posts_[post_count_++] = first;
            first += scene_.meshes[mesh].vertex_count;
        }
    }

    static constexpr std::uint32_t few = 256;

    const qel_alembic_file &scene_;
    std::uint32_t count_;
    std::uint32_t finds_ = 0;
    std::uint32_t stride_ = 1;
    std::uint32_t post_count_ = 0;
    std::uint64_t few_posts_[few];
    std::uint64_t *posts_ = few_posts_; // the first number of every stride-th mesh
    scratch<std::uint64_t> all_;
};

std::uint64_t difference(std::uint64_t a, std::uint64_t b) {
    return a > b ? a - b : b - a;
}

/// The floor of the root, exact. In double precision a square has its own root, so that the root of no value is too
/// small; just below a large square it is one too large.
std::uint64_t floor_sqrt(std::uint64_t value) {
    constexpr std::uint64_t largest_root = 0xFFFFFFFF;
    const std::uint64_t root =
        std::min(static_cast<std::uint64_t>(std::sqrt(static_cast<double>(value))), largest_root);
    return root * root > value ? root - 1 : root;
}

struct candidate {
    std::uint32_t mesh;
    std::uint32_t vertex;
    std::uint64_t distance;
};

/// Of equal distances the vertex that comes first in the scene wins.
bool nearer(const candidate &a, const candidate &b) {
    return std::tie(a.distance, a.mesh, a.vertex) < std::tie(b.distance, b.mesh, b.vertex);
}

/// The nearest candidates seen so far, as a heap with the worst on top.
class nearest_list {
  public:
    explicit nearest_list(std::uint64_t capacity)
        : list_(heap_array<candidate>(capacity)), capacity_(capacity) {}

    explicit operator bool() const { return list_ != nullptr; }
    const candidate *begin() const { return list_.get(); }
    const candidate *end() const { return list_.get() + size_; }

    /// False when no later vertex can improve the list.
    bool open() const { return size_ < capacity_ || below_ > 0; }

    /// Takes vertices in scene order. A full list takes only what is strictly nearer than its worst: for whole
    /// roots that is a difference below the worst distance squared, so that no root is needed to refuse.
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

/// Room for `k` candidates. Where that is much memory, no list needs more entries than there are vertex records.
std::uint64_t list_capacity(const qel_alembic_file &scene, std::uint64_t k) {
    constexpr std::uint64_t modest = 1 << 16;
    return k <= modest ? k : std::min(k, vertex_records(scene));
}

void offer_all(const qel_alembic_file &scene, std::uint64_t morton, nearest_list &list) {
    for (std::uint32_t m = 0; m < meshes_in(scene) && list.open(); ++m) {
        const qel_alembic_mesh &mesh = scene.meshes[m];
        for (std::uint32_t v = 0; mesh.vertices != nullptr && v < mesh.vertex_count; ++v)
            list.offer(difference(mesh.vertices[v].morton, morton), m, v);
    }
}

/// The first frame of a number; null where there is none.
const qel_alembic_frame *find_frame(const qel_alembic_file &scene, std::int32_t number) {
    for (std::uint32_t i = 0; i < frames_in(scene); ++i)
        if (scene.frames[i].frame == number) return &scene.frames[i];
    return nullptr;
}

} // namespace
} // namespace qel

extern "C" {

int32_t qel_alembic_lookup_morton(const qel_alembic_file *scene, uint64_t morton, qel_alembic_hit *out) {
    if (scene == nullptr || out == nullptr || scene->hash == nullptr) return qel::not_found;
    qel::mesh_finder finder(*scene);
    qel::mesh_numbers numbers = {0, 0, 0}; // of the mesh that was looked into last
    const qel_alembic_vertex *vertices = nullptr;
    const std::uint32_t home = qel::home_slot(morton);
    std::uint32_t slot = home;
    do {
        const std::uint32_t number = scene->hash[slot];
        if (number == qel::empty_slot) return qel::not_found;
        if (!numbers.hold(number)) {
            numbers = finder.find(number);
            vertices = numbers.count > 0 ? scene->meshes[numbers.mesh].vertices : nullptr;
        }
        if (vertices != nullptr && vertices[number - numbers.first].morton == morton) {
            const auto vertex = static_cast<std::uint32_t>(number - numbers.first);
            *out = qel::hit_at(scene->meshes[numbers.mesh], numbers.mesh, vertex);
            return qel::found;
        }
        slot = qel::next_slot(slot);
    } while (slot != home);
    return qel::not_found;
}

int32_t qel_alembic_lookup_frame_vertex(const qel_alembic_file *scene, int32_t frame, uint32_t mesh_index,
                                        uint32_t vertex_index, qel_alembic_hit *out) {
    if (scene == nullptr || out == nullptr) return qel::not_found;
    if (frame != 0 && qel::frames_in(*scene) > 0) {
        const qel_alembic_frame *const record = qel::find_frame(*scene, frame);
        if (record == nullptr || mesh_index >= qel::meshes_in(*record)) return qel::not_found;
        if (vertex_index >= record->meshes[mesh_index].vertex_count) return qel::not_found;
        const auto position = static_cast<std::uint32_t>(record - scene->frames);
        *out = {mesh_index, vertex_index, position, nullptr, nullptr, 0.0f};
        return qel::found;
    }
    if (mesh_index >= qel::meshes_in(*scene)) return qel::not_found;
    if (vertex_index >= scene->meshes[mesh_index].vertex_count) return qel::not_found;
    *out = qel::hit_at(scene->meshes[mesh_index], mesh_index, vertex_index);
    return qel::found;
}

uint32_t qel_alembic_query_nearest(const qel_alembic_file *scene, uint64_t morton, int32_t k,
                                   qel_alembic_hit *results) {
    if (k < 1 || results == nullptr || scene == nullptr) return 0;
    qel::nearest_list list(qel::list_capacity(*scene, static_cast<std::uint64_t>(k)));
    if (!list) return 0;
    qel::offer_all(*scene, morton, list);
    list.sort();
    std::uint32_t count = 0;
    for (const qel::candidate &near : list) {
        results[count] = qel::hit_at(scene->meshes[near.mesh], near.mesh, near.vertex);
        results[count++].distance = static_cast<float>(near.distance);
    }
    return count;
}

uint32_t qel_alembic_query_layer(const qel_alembic_file *scene, uint8_t layer, qel_alembic_hit *results,
                                 int32_t max) {
    if (results == nullptr || max < 1 || scene == nullptr) return 0;
    const auto wanted = static_cast<std::uint32_t>(max);
    std::uint32_t count = 0;
    for (std::uint32_t m = 0; m < qel::meshes_in(*scene); ++m) {
        const qel_alembic_mesh &mesh = scene->meshes[m];
        for (std::uint32_t v = 0; mesh.tokens != nullptr && v < mesh.vertex_count; ++v) {
            if (mesh.tokens[v].layer != layer) continue;
            results[count++] = qel::hit_at(mesh, m, v);
            if (count == wanted) return count;
        }
    }
    return count;
}

} // extern "C"
