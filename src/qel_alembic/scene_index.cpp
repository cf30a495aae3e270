// SPDX-License-Identifier: MIT
#include "qel_alembic/scene_index.h"

#include "common/bits.h"
#include "common/heap.h"
#include "qel_alembic/scene.h"

#include <cstring>

namespace qel {
namespace {

/// Finds the free slots of a table from which nothing is removed. Lattice keys have 18 bits, so a large scene fills one
/// run of slots, and plain probing would take quadratic time. A tree of bits marks the blocks of slots that are not
/// full: the next of them is found in at most five words.
class free_slots {
  public:
    /// Without memory for the counts of taken slots, a block is known to be full only after a search through all of it:
    /// the result is the same, in more steps.
    explicit free_slots(const std::uint32_t *table) : table_(table), taken_(heap_zeroed<std::uint8_t>(blocks)) {
        for (std::uint32_t level = 0, bits = blocks; level < levels; ++level, bits /= 64)
            std::memset(open_ + level_start[level], 0xFF, bits / 8);
    }

    /// Takes the first free slot from `home` on, wrapping at the table's end; empty_slot if all are taken.
    std::uint32_t take(std::uint32_t home) {
        const std::uint32_t home_block = home / block_slots;
        std::uint32_t slot = first_in(home, home_block);
        if (slot == empty_slot) slot = take_after(home_block);
        if (slot != empty_slot && taken_ && ++taken_[slot / block_slots] == 0) close(slot / block_slots);
        return slot;
    }

  private:
    static constexpr std::uint32_t block_slots = 256; // so that the count of a full block is 0 again
    static constexpr std::uint32_t blocks = index_slots / block_slots;
    static constexpr std::uint32_t levels = 3;
    // 2^15, 2^9 and 2^3 bits; a word of zeros ends each level, and so a search in the level.
    static constexpr std::uint32_t level_start[levels + 1] = {0, 513, 522, 524};

    bool is_open(std::uint32_t block) const { return (open_[block / 64] >> block % 64 & 1) != 0; }

    /// The first free slot in the blocks after `home_block`, wrapping at the table's end; that block itself is last.
    std::uint32_t take_after(std::uint32_t home_block) {
        for (;;) {
            std::uint32_t block = next_open(home_block + 1);
            if (block == blocks) block = next_open(0);
            if (block == blocks) return empty_slot;
            const std::uint32_t slot = first_in(block == last_block_ ? last_slot_ : block * block_slots, block);
            if (slot != empty_slot) {
                last_block_ = block; // every slot of it before last_slot_ is taken
                last_slot_ = slot;
                return slot;
            }
            close(block); // without the counts no other code marks it as full
        }
    }

    /// The first free slot of a block from `slot` on.
    std::uint32_t first_in(std::uint32_t slot, std::uint32_t block) const {
        if (!is_open(block)) return empty_slot;
        for (const std::uint32_t end = (block + 1) * block_slots; slot != end; ++slot)
            if (table_[slot] == empty_slot) return slot;
        return empty_slot;
    }

    /// The first block from number `bit` on that is not full; `blocks` if there is none.
    std::uint32_t next_open(std::uint32_t bit) const {
        for (std::uint32_t level = 0; level < levels; ++level, bit = bit / 64 + 1) {
            const std::uint64_t rest = open_[level_start[level] + bit / 64] >> bit % 64;
            if (rest == 0) continue;
            bit += lowest_bit(rest);
            while (level-- > 0)
                bit = bit * 64 + lowest_bit(open_[level_start[level] + bit]);
            return bit;
        }
        return blocks;
    }

    void close(std::uint32_t bit) {
        for (std::uint32_t level = 0; level < levels; ++level, bit /= 64) {
            std::uint64_t &word = open_[level_start[level] + bit / 64];
            word &= ~(std::uint64_t{1} << bit % 64);
            if (word != 0) break;
        }
    }

    const std::uint32_t *table_;
    scratch<std::uint8_t> taken_;       // taken slots of each block, modulo its size
    std::uint32_t last_block_ = blocks; // where the last search after a full home block ended
    std::uint32_t last_slot_ = 0;
    std::uint64_t open_[level_start[levels]] = {};
};

/// Inserts every processed vertex in order, until no slot is free.
void fill_table(const qel_alembic_file &scene, std::uint32_t *table) {
    std::memset(table, 0xFF, std::size_t{index_slots} * sizeof *table);
    free_slots slots(table);
    std::uint64_t first = 0; // global number of the mesh's first vertex
    for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
        const qel_alembic_mesh &mesh = scene.meshes[m];
        const std::uint64_t end = first + mesh.vertex_count;
        if (end > empty_slot) return; // its last numbers do not fit in a slot
        for (std::uint32_t v = 0; mesh.vertices != nullptr && v < mesh.vertex_count; ++v) {
            const std::uint32_t slot = slots.take(morton_hash(mesh.vertices[v].morton));
            if (slot == empty_slot) return;
            table[slot] = static_cast<std::uint32_t>(first + v);
        }
        first = end;
    }
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_alembic_build_hash_table(qel_alembic_file *scene) {
    if (scene == nullptr || meshes_in(*scene) == 0) return QEL_ALEMBIC_BUILD_HASH_TABLE_BAD_ARGUMENT;
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < scene->mesh_count; ++i)
        total += scene->meshes[i].vertex_count;
    scene->total_vertices = total;
    scene->total_tokens = total;
    scene->hash_size = index_slots;
    scene->hash = heap_table<std::uint32_t>(index_slots);
    if (scene->hash == nullptr) return QEL_ALEMBIC_BUILD_HASH_TABLE_NO_MEMORY;
    fill_table(*scene, scene->hash);
    return QEL_OK;
}

} // extern "C"
