// SPDX-License-Identifier: MIT
#include "ogawa_reader/container/node_walk.h"

#include "common/byte_window.h"
#include "common/file.h"
#include "common/heap.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qel {
namespace {

constexpr std::uint64_t min_payload_size = 101;
constexpr std::uint64_t max_payload_size = 9'999'999;
constexpr std::uint64_t max_children = 1000;
constexpr std::uint64_t max_references = std::uint64_t{1} << 24;
constexpr std::uint64_t top_object_child = 2; // of the root group

bool read_word(std::FILE *stream, std::uint64_t at, std::uint64_t &word) {
    return read_at(stream, at, &word, sizeof word) == sizeof word;
}

/// References below which nothing was listed, each with the least depth at which it was visited: at a deeper level the
/// depth limit is nearer, so nothing can be listed there either. Open addressing; a slot packs reference and depth
/// into one word and is 0 if free. Without memory fewer references are kept, which costs only time.
class empty_references {
  public:
    bool contains(std::uint64_t reference, std::int32_t depth) const {
        if (capacity_ == 0 || !fits(reference, depth)) return false;
        const std::uint64_t slot = *find(slots_.get(), capacity_, key_of(reference));
        return slot != 0 && depth_of(slot) <= depth;
    }

    /// Precondition: contains() is false. A stored depth is replaced only by a smaller one.
    void insert(std::uint64_t reference, std::int32_t depth) {
        if (!fits(reference, depth) || !make_room()) return;
        const std::uint64_t key = key_of(reference);
        std::uint64_t *const slot = find(slots_.get(), capacity_, key);
        if (*slot == 0) ++used_;
        *slot = key << depth_bits | static_cast<std::uint64_t>(depth);
    }

  private:
    static constexpr int depth_bits = 16;
    static constexpr std::uint64_t position_end = std::uint64_t{1} << 47;
    static constexpr std::size_t first_capacity = 1024; // a power of two, as every later one

    /// Whether a slot can hold the reference and depth. Other positions lie beyond any file and are not stored.
    static bool fits(std::uint64_t reference, std::int32_t depth) {
        return (reference & ~ogawa::data_bit) < position_end && depth >= 0 && depth < (1 << depth_bits);
    }
    /// Position and kind in 48 bits; never 0, because no node is at position 0.
    static std::uint64_t key_of(std::uint64_t reference) { return reference << 1 | reference >> 63; }
    static std::int32_t depth_of(std::uint64_t slot) {
        return static_cast<std::int32_t>(slot & ((1 << depth_bits) - 1));
    }

    /// The slot that holds the key, or the free slot for it. The hash factor depends on the address of the slots, so
    /// that no file can choose positions that all share a slot.
    static std::uint64_t *find(std::uint64_t *slots, std::size_t capacity, std::uint64_t key) {
        constexpr std::uint64_t golden = 0x9E3779B97F4A7C15;
        const std::uint64_t factor = reinterpret_cast<std::uintptr_t>(slots) * golden | 1;
        const auto home = static_cast<std::size_t>(key * factor >> 32);
        std::uint64_t *slot = slots + (home & (capacity - 1));
        for (std::size_t step = 1; *slot != 0 && *slot >> depth_bits != key; ++step)
            slot = slots + ((home + step) & (capacity - 1));
        return slot;
    }

    /// Keeps a quarter of the slots free.
    bool make_room() {
        if ((used_ + 1) * 4 <= capacity_ * 3) return true;
        const std::size_t capacity = capacity_ == 0 ? first_capacity : capacity_ * 2;
        scratch<std::uint64_t> slots(heap_zeroed<std::uint64_t>(capacity));
        if (!slots) return false;
        for (std::size_t i = 0; i < capacity_; ++i) {
            if (slots_[i] != 0) *find(slots.get(), capacity, slots_[i] >> depth_bits) = slots_[i];
        }
        slots_ = std::move(slots);
        capacity_ = capacity;
        return true;
    }

    scratch<std::uint64_t> slots_;
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;
};

class node_walk {
  public:
    explicit node_walk(ogawa_node_collector &collector) : list_(collector), window_(collector.stream) {}

    /// Lists the data nodes that a reference leads to. False if a node below it was not visited, so that another visit
    /// might list more. Nodes beyond the depth limit do not count: another visit at the same level cannot list them
    /// either.
    bool follow(std::uint64_t reference, std::int32_t depth);

  private:
    bool full() const { return list_.count >= list_.capacity; }
    void visit_data(std::uint64_t position);
    bool visit_group(std::uint64_t position, std::int32_t depth);
    void read_references(std::uint64_t at, std::uint64_t count, std::uint64_t *references);

    ogawa_node_collector &list_;
    byte_window window_;
    empty_references empty_;
    std::uint64_t references_left_ = max_references;
};

bool node_walk::follow(std::uint64_t reference, std::int32_t depth) {
    if (depth > list_.max_depth) return true;
    if (full() || references_left_ == 0) return false;
    --references_left_;

    const std::uint64_t position = reference & ~ogawa::data_bit;
    if (position == 0 || position >= list_.file_size) return true;
    const bool is_data = (reference & ogawa::data_bit) != 0;
    if (!is_data && depth == list_.max_depth) return true; // its children would be too deep
    if (empty_.contains(reference, depth)) return true;

    const std::uint32_t listed = list_.count;
    bool complete = true;
    if (is_data)
        visit_data(position);
    else
        complete = visit_group(position, depth);
    // Whether a data node is listed does not depend on its level.
    if (complete && list_.count == listed) empty_.insert(reference, is_data ? 0 : depth);
    return complete;
}

void node_walk::visit_data(std::uint64_t position) {
    std::uint64_t size;
    if (!window_.read(position, size)) return;
    if (size < min_payload_size || size > max_payload_size) return;
    list_.nodes[list_.count++] = {position + sizeof size, size};
}

bool node_walk::visit_group(std::uint64_t position, std::int32_t depth) {
    std::uint64_t count;
    if (!window_.read(position, count)) return true;
    if (count == 0 || count > max_children) return true;
    const scratch<std::uint64_t> children(heap_array<std::uint64_t>(count));
    if (!children) return false;
    read_references(position + sizeof count, count, children.get());

    bool complete = true;
    for (std::size_t i = 0; i < count && !full(); ++i) {
        if (children[i] != 0) complete = follow(children[i], depth + 1) && complete;
    }
    return complete;
}

/// Reads a group's references. One that the file does not hold completely is 0, and so are all after it.
void node_walk::read_references(std::uint64_t at, std::uint64_t count, std::uint64_t *references) {
    auto *bytes = reinterpret_cast<std::uint8_t *>(references);
    const std::size_t wanted = static_cast<std::size_t>(count) * sizeof *references;
    std::size_t held = 0;
    while (held < wanted) {
        const byte_view view = window_.at(at + held, wanted - held);
        if (view.size == 0) break;
        const std::size_t size = std::min(view.size, wanted - held);
        std::memcpy(bytes + held, view.data, size);
        held += size;
    }
    std::fill(references + held / sizeof *references, references + count, std::uint64_t{0});
}

} // namespace

bool find_top_object(std::FILE *stream, std::uint64_t file_size, std::uint64_t &reference) {
    std::uint64_t root, children;
    if (!read_word(stream, ogawa::root_at, root)) return false;
    root &= ~ogawa::data_bit;
    if (root == 0 || root >= file_size) return false;
    if (!read_word(stream, root, children) || children <= top_object_child) return false;
    return read_word(stream, root + ogawa::count_size + top_object_child * ogawa::reference_size, reference);
}

void ogawa_collect_data_nodes(ogawa_node_collector *collector, std::int64_t reference, std::int32_t depth) {
    node_walk(*collector).follow(static_cast<std::uint64_t>(reference), depth);
}

} // namespace qel
