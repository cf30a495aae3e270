// SPDX-License-Identifier: MIT
// Lists the objects depth first. An instance repeats its source and all objects below it, so that one object of the
// file may be listed many times.
#include "qel_archive/object_tree.h"

#include <algorithm>
#include <cstring>

namespace qel::archives {
namespace {

/// The empty metadata of the top object.
const object_metadata &top_metadata(const header_context &context) {
    return context.shared.texts[0];
}

/// The state of a search for a source, one name of its path at a time.
struct source_search {
    std::uint32_t source;
    std::uint32_t at; // characters of the path already followed
    std::uint32_t node;
    const object_metadata *metadata;
};

/// Follows a path to its end, and sets `needed` to `none`, or to an instance whose source is not found yet, and sets
/// `needed` to the number of that source. The empty path leads to the top object, which contains the instance.
status search_on(const object_tree &tree, source_search &search, std::uint32_t &needed) {
    needed = none;
    const text &path = tree.sources[search.source].path;
    while (search.at < path.length) {
        const char *const rest = path.bytes + search.at;
        const object_node &parent = tree.nodes[search.node];
        if (*rest != '/' || parent.headers == nullptr) return QEL_ARCHIVE_DAMAGED;
        const std::size_t length = std::strcspn(rest + 1, "/");
        const std::uint32_t child = find_name(parent.headers->names, rest + 1, length);
        if (child == none) return QEL_ARCHIVE_DAMAGED;
        std::uint32_t node = parent.children[child].read.node;
        const object_metadata *metadata = parent.headers->metadata[child];
        if (tree.nodes[node].source != none) {
            const instance_source &source = tree.sources[tree.nodes[node].source];
            if (source.state != instance_source::found) {
                needed = tree.nodes[node].source;
                return QEL_ARCHIVE_OK;
            }
            node = source.node;
            metadata = source.metadata;
        }
        search = {search.source, search.at + 1 + static_cast<std::uint32_t>(length), node, metadata};
    }
    return QEL_ARCHIVE_OK;
}

/// Makes the list of objects.
class object_display {
  public:
    object_display(const header_context &context, object_tree &tree) : context_(context), tree_(tree) {}

    status show();

  private:
    struct frame {
        std::uint32_t object;
        std::uint32_t next;
    };

    status show_child(std::uint32_t parent, std::uint32_t number);
    status add(const shown_object &object);

    const header_context &context_;
    object_tree &tree_;
    heap_list<frame> stack_;
    std::uint64_t properties_ = 0;
};

status object_display::show() {
    if (tree_.nodes[0].source != none) return QEL_ARCHIVE_DAMAGED; // its source would be itself or below it
    status outcome = add({"", &top_metadata(context_), 0, none});
    while (outcome == QEL_ARCHIVE_OK && stack_.size() > 0) {
        frame &top_frame = stack_.top();
        const object_node &node = tree_.nodes[tree_.objects[top_frame.object].node];
        if (top_frame.next < node.count()) {
            const std::uint32_t child = top_frame.next++;
            outcome = show_child(top_frame.object, child);
        } else {
            stack_.pop();
        }
    }
    return outcome;
}

status object_display::show_child(std::uint32_t parent, std::uint32_t number) {
    const object_node &node = tree_.nodes[tree_.objects[parent].node];
    object_child &child = node.children[number];
    child.read.offset = tree_.objects.size() - parent;
    const char *const name = node.headers->names.names[number].bytes;
    const std::uint32_t source = tree_.nodes[child.read.node].source;
    if (source == none) return add({name, node.headers->metadata[number], child.read.node, parent});
    const status outcome = find_source(tree_, context_, source);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    return add({name, tree_.sources[source].metadata, tree_.sources[source].node, parent});
}

/// Adds an object and pushes it: its children are added next. An object that contains itself has too many levels.
status object_display::add(const shown_object &object) {
    const compound &properties = tree_.compounds[tree_.nodes[object.node].properties];
    properties_ += properties.total;
    if (stack_.size() == max_levels || tree_.objects.size() == max_objects || properties_ > max_properties)
        return QEL_ARCHIVE_DAMAGED;
    tree_.mesh_count += is_mesh(*object.metadata) ? 1 : 0;
    tree_.times.include(properties.times);
    const bool kept = stack_.push({tree_.objects.size(), 0}) && tree_.objects.push(object);
    return kept ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY;
}

} // namespace

status find_source(object_tree &tree, const header_context &context, std::uint32_t source) {
    if (tree.sources[source].state == instance_source::found) return QEL_ARCHIVE_OK;
    heap_list<source_search> searches;
    for (std::uint32_t next = source;;) {
        if (next != none) {
            if (tree.sources[next].state == instance_source::searching)
                return QEL_ARCHIVE_DAMAGED; // the source contains the instance
            tree.sources[next].state = instance_source::searching;
            if (!searches.push({next, 0, 0, &top_metadata(context)})) return QEL_ARCHIVE_NO_MEMORY;
        }
        const status outcome = search_on(tree, searches.top(), next);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        if (next != none) continue;
        const source_search done = searches.top();
        instance_source &found = tree.sources[done.source];
        found.node = done.node;
        found.metadata = done.metadata;
        found.state = instance_source::found;
        searches.pop();
        if (searches.size() == 0) return QEL_ARCHIVE_OK;
    }
}

status show_objects(const header_context &context, arena &memory, object_tree &tree) {
    const status outcome = object_display(context, tree).show();
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    tree.paths = memory.array<std::atomic<const char *>>(tree.objects.size());
    if (tree.paths == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    for (std::uint32_t i = 0; i < tree.objects.size(); ++i)
        new (tree.paths + i) std::atomic<const char *>(nullptr);
    return QEL_ARCHIVE_OK;
}

std::uint32_t object_tree::find(const char *path) const {
    if (path[0] != '/') return none;
    if (path[1] == '\0') return 0;
    std::uint32_t object = 0;
    while (*path == '/') {
        const std::size_t length = std::strcspn(++path, "/");
        const object_node &parent = nodes[objects[object].node];
        if (parent.headers == nullptr) return none;
        const std::uint32_t child = find_name(parent.headers->names, path, length);
        if (child == none) return none;
        object += parent.children[child].read.offset;
        path += length;
    }
    return object;
}

std::size_t object_tree::path_length(std::uint32_t object) const {
    if (object == 0) return 1;
    std::size_t length = 0;
    for (; object != 0; object = objects[object].parent)
        length += 1 + std::strlen(objects[object].name);
    return length;
}

void object_tree::write_path(std::uint32_t object, std::size_t length, char *path, std::size_t capacity) const {
    if (object == 0) path[0] = '/';
    for (; object != 0; object = objects[object].parent) {
        const char *const name = objects[object].name;
        length -= std::strlen(name);
        if (length < capacity) std::copy_n(name, std::min(capacity - length, std::strlen(name)), path + length);
        if (--length < capacity) path[length] = '/';
    }
}

} // namespace qel::archives
