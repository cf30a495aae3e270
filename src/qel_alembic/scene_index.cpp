// SPDX-License-Identifier: MIT
#include "qel_alembic/scene_index.h"

#include "common/bits.h"
#include "common/heap.h"
#include "qel_alembic/scene.h"

#include <cstring>

namespace qel {
namespace {

enum build_status : std::int32_t { built = 0, no_meshes = -1, no_memory_for_index = -4 };

/// Which slots are free, as a tree of bits: a bit of level 0 is a slot, a bit of a higher level says whether any
/// of the 64 bits below it is set. The next free slot is found in a few steps, however long the run of
/// taken ones: lattice keys have 18 bits, so large scenes fill one run of slots, and walking it at every insertion
/// would take time in proportion to the square of the scene.
class free_slots {
  public:
    free_slots() : words_(heap_array<std::uint64_t>(level_start[levels])) {
        if (!words_) return;
        std::memset(words_.get(), 0, level_start[levels] * sizeof(std::uint64_t));
        for (std::uint32_t level = 0, bits = index_slots; level < levels; ++level, bits /= 64)
            std::memset(words_.get() + level_start[level], 0xFF, bits / 8);
    }

    explicit operator bool() const { return words_ != nullptr; }

    /// Takes the first free slot from `home` on, round the table's end; empty_slot when all are taken.
    std::uint32_t take(std::uint32_t home) {
        std::uint32_t slot = first_from(home);
        if (slot == empty_slot) slot = first_from(0);
        if (slot == empty_slot) return empty_slot;
        for (std::uint32_t level = 0, bit = slot; level < levels; ++level, bit /= 64) {
            std::uint64_t &word = words_[level_start[level] + bit / 64];
            word &= ~(std::uint64_t{1} << bit % 64);
            if (word != 0) break;
        }
        return slot;
    }

  private:
    std::uint32_t first_from(std::uint32_t bit) const {
        for (std::uint32_t level = 0; level < levels; ++level, bit = bit / 64 + 1) {
            const std::uint64_t rest = words_[level_start[level] + bit / 64] >> bit % 64;
            if (rest == 0) continue;
            bit += lowest_bit(rest);
            while (level-- > 0)
                bit = bit * 64 + lowest_bit(words_[level_start[level] + bit]);
            return bit;
        }
        return empty_slot;
    }

    static constexpr std::uint32_t levels = 4;
    // 2^23, 2^17, 2^11 and 2^5 bits; each level ends with a word of zeros, where a search beyond its end stops.
    static constexpr std::uint32_t level_start[levels + 1] = {0, 131073, 133122, 133155, 133157};

    scratch<std::uint64_t> words_;
};

/// Enters every processed vertex in order, in the slot that `take` gives for its home; ends when there is none.
template <class Take>
void enter_vertices(const qel_alembic_file &scene, std::uint32_t *table, Take take) {
    std::uint64_t first = 0; // global number of the mesh's first vertex
    for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
        const qel_alembic_mesh &mesh = scene.meshes[m];
        const std::uint64_t end = first + mesh.vertex_count;
        if (end > empty_slot) return; // such numbers have no room in a slot
        for (std::uint32_t v = 0; mesh.vertices != nullptr && v < mesh.vertex_count; ++v) {
            const std::uint32_t slot = take(home_slot(mesh.vertices[v].morton));
            if (slot == empty_slot) return;
            table[slot] = static_cast<std::uint32_t>(first + v);
        }
        first = end;
    }
}

void fill_table(const qel_alembic_file &scene, std::uint32_t *table) {
    std::memset(table, 0xFF, std::size_t{index_slots} * sizeof *table);
    free_slots free_ones;
    if (free_ones) {
        enter_vertices(scene, table, [&free_ones](std::uint32_t home) { return free_ones.take(home); });
        return;
    }
    std::uint32_t taken = 0; // without scratch memory, by walking
    enter_vertices(scene, table, [table, &taken](std::uint32_t slot) {
        if (taken == index_slots) return empty_slot;
        ++taken;
        while (table[slot] != empty_slot)
            slot = next_slot(slot);
        return slot;
    });
}

} // namespace
} // namespace qel

extern "C" {

int32_t qel_alembic_build_hash_table(qel_alembic_file *scene) {
    if (scene == nullptr || qel::meshes_in(*scene) == 0) return qel::no_meshes;
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < scene->mesh_count; ++i)
        total += scene->meshes[i].vertex_count;
    scene->total_vertices = total;
    scene->total_tokens = total;
    scene->hash_size = qel::index_slots;
    scene->hash = qel::heap_table<std::uint32_t>(qel::index_slots);
    if (scene->hash == nullptr) return qel::no_memory_for_index;
    qel::fill_table(*scene, scene->hash);
    return qel::built;
}

} // extern "C"
