// SPDX-License-Identifier: MIT
// Reads the tree of objects. The walk keeps its stack on the heap: its depth comes from the file.
#include "qel_archive/object_tree.h"

#include "qel_archive/samples.h"
#include "qel_archive/shared_headers.h"

#include <algorithm>

namespace qel::archives {
namespace {

constexpr std::uint64_t header_digests = 32; // bytes after the headers of an object's children

/// Parses the sample with the path of an instance's source.
instance_source parse_source(const header_bytes &data) {
    const std::uint8_t *const end = data.bytes + data.size;
    const std::uint8_t *const first = std::find<const std::uint8_t *>(data.bytes, end, std::uint8_t{0});
    const auto length = static_cast<std::uint64_t>(first - data.bytes);
    if (data.size == 0 || end[-1] != 0 || length >= none) return {{"", 0}, 0, none, nullptr, instance_source::unknown};
    const auto texts = static_cast<std::uint64_t>(std::count(first, end, std::uint8_t{0}));
    const auto *const path = reinterpret_cast<const char *>(data.bytes);
    return {{path, static_cast<std::uint32_t>(length)}, texts, none, nullptr, instance_source::unknown};
}

class object_reader {
  public:
    // NOLINTNEXTLINE(clang-analyzer-optin.cplusplus.UninitializedObject): its reader's constructor sets all
    object_reader(header_source &source, const header_context &context, arena &memory, shared_positions *sharing,
                  object_tree &tree)
        : source_(source), context_(context), memory_(memory), sharing_(sharing), tree_(tree),
          compounds_(source, context, memory, tree.compounds, sharing, ancestors_) {}

    status read(std::uint64_t top);

  private:
    struct frame {
        std::uint32_t node;
        std::uint32_t next;
    };

    status enter(std::uint64_t reference, std::uint32_t &node);
    status read_node(std::uint64_t reference, object_node &node);
    status read_children(const reference_array &group, object_node &node);
    status read_headers(std::uint64_t reference, std::uint64_t count, const object_headers *&headers);
    status read_source(object_node &node);
    status read_source_path(const extent &stored, std::uint32_t &source);

    header_source &source_;
    const header_context &context_;
    arena &memory_;
    shared_positions *sharing_;
    object_tree &tree_;
    heap_list<std::uint64_t> ancestors_; // references of the objects on the stack
    compound_reader compounds_;
    heap_list<frame> stack_;
};

status object_reader::read(std::uint64_t top) {
    if (!compounds_.begin()) return QEL_ARCHIVE_NO_MEMORY;
    std::uint32_t node;
    status outcome = enter(top, node);
    while (outcome == QEL_ARCHIVE_OK && stack_.size() > 0) {
        frame &top_frame = stack_.top();
        object_node &parent = tree_.nodes[top_frame.node];
        if (top_frame.next < parent.count()) {
            object_child &child = parent.children[top_frame.next++];
            outcome = enter(child.reference, node);
            child.read = {node, 0};
        } else {
            parent.open = false;
            stack_.pop();
            ancestors_.pop();
        }
    }
    return outcome;
}

/// Reads an object, unless it was already read, and pushes it: its children are read next.
status object_reader::enter(std::uint64_t reference, std::uint32_t &node) {
    node = 0;
    const std::uint64_t *const known = sharing_ == nullptr ? nullptr : sharing_->objects.find(reference);
    if (known != nullptr) {
        node = static_cast<std::uint32_t>(*known - 1);
        return tree_.nodes[node].open ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_OK;
    }
    if (stack_.size() == max_levels || tree_.nodes.size() == max_objects) return QEL_ARCHIVE_DAMAGED;
    if (!ancestors_.push(reference)) return QEL_ARCHIVE_NO_MEMORY;
    object_node read = {nullptr, nullptr, 0, none, true};
    const status outcome = read_node(reference, read);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    node = tree_.nodes.size();
    if (!tree_.nodes.push(read) || !stack_.push({node, 0})) return QEL_ARCHIVE_NO_MEMORY;
    const bool kept = sharing_ == nullptr || sharing_->objects.add(reference, std::uint64_t{node} + 1);
    return kept ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

/// Reads an object's group: the references of its compound, of its children, and of the children's headers. Without
/// children the headers may be missing, and the group may be empty.
status object_reader::read_node(std::uint64_t reference, object_node &node) {
    reference_array group;
    status outcome = source_.read_group(reference, std::uint64_t{max_objects} + 2, memory_, group);
    if (outcome != QEL_ARCHIVE_OK || group.count == 0) return outcome;
    outcome = compounds_.read(group.references[0], node.properties);
    if (outcome == QEL_ARCHIVE_OK) outcome = compounds_.prepare_names(node.properties);
    if (outcome == QEL_ARCHIVE_OK && group.count > 1) outcome = read_children(group, node);
    return outcome == QEL_ARCHIVE_OK ? read_source(node) : outcome;
}

status object_reader::read_children(const reference_array &group, object_node &node) {
    const std::uint64_t count = group.count - 2;
    const status outcome = read_headers(group.references[group.count - 1], count, node.headers);
    if (outcome != QEL_ARCHIVE_OK || count == 0) return outcome;
    node.children = memory_.array<object_child>(count);
    if (node.children == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    for (std::uint64_t i = 0; i < count; ++i)
        node.children[i].reference = group.references[i + 1];
    return QEL_ARCHIVE_OK;
}

/// Reads the headers of `count` children; null if there are none.
status object_reader::read_headers(std::uint64_t reference, std::uint64_t count, const object_headers *&headers) {
    const auto parse = [&](const header_bytes &data, object_headers &read) {
        return read_object_headers(data, count, context_, memory_, read);
    };
    return read_headers_once({reference, count, header_digests}, source_, memory_,
                             sharing_ == nullptr ? nullptr : &sharing_->object_headers, parse, headers);
}

/// Sets the source of an object that is an instance.
status object_reader::read_source(object_node &node) {
    const compound &properties = tree_.compounds[node.properties];
    if (properties.headers == nullptr || properties.headers->instance_source == none) return QEL_ARCHIVE_OK;
    const property_entry entry = {&properties, properties.headers->instance_source};
    if (entry.header().samples == 0) return QEL_ARCHIVE_DAMAGED; // it has no path
    stored_sample sample;
    status outcome = locate_sample(source_.file(), entry.header(), entry.reference(), 0, sample);
    if (outcome == QEL_ARCHIVE_OK) outcome = read_source_path(sample.values, node.source);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const bool fits = tree_.sources[node.source].texts == entry.header().extent;
    return fits ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

status object_reader::read_source_path(const extent &stored, std::uint32_t &source) {
    const std::uint64_t *const known = sharing_ == nullptr ? nullptr : sharing_->sources.find(stored.at);
    if (known != nullptr) {
        source = static_cast<std::uint32_t>(*known - 1);
        return QEL_ARCHIVE_OK;
    }
    header_bytes data;
    const status outcome = source_.read_bytes(stored, memory_, data);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    source = tree_.sources.size();
    if (!tree_.sources.push(parse_source(data))) return QEL_ARCHIVE_NO_MEMORY;
    const bool kept = sharing_ == nullptr || sharing_->sources.add(stored.at, std::uint64_t{source} + 1);
    return kept ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

} // namespace

status read_objects(header_source &source, std::uint64_t top, const header_context &context, arena &memory,
                    shared_positions *sharing, object_tree &tree) {
    return object_reader(source, context, memory, sharing, tree).read(top);
}

} // namespace qel::archives
