// SPDX-License-Identifier: MIT
// The objects of an archive as a tree: what stands in the file, and what instances show of it again.
#pragma once

#include "qel_archive/properties.h"

#include <atomic>
#include <cstdint>

namespace qel::archives {

constexpr std::uint32_t max_objects = std::uint32_t{1} << 20;

/// A child in the file's tree.
union object_child {
    std::uint64_t reference; // until it is read
    struct {
        std::uint32_t node;
        std::uint32_t offset; // its number among the objects of its parent, depth first; the parent is 0
    } read;
};
static_assert(sizeof(object_child) == sizeof(std::uint64_t), "references become children where they stand");

/// An object as it stands in the file, at one place or, where groups are shared, at several.
struct object_node {
    const object_headers *headers; // null without children
    object_child *children;
    std::uint32_t properties; // number of its compound
    std::uint32_t source;     // number of the source that it is an instance of, or `none`
    bool open;                // being read or shown

    std::uint32_t count() const { return headers == nullptr ? 0 : headers->names.count; }
};

/// Where an instance takes everything from.
struct instance_source {
    text path;           // the first of its texts
    std::uint64_t texts; // how many end with a zero byte; 0 where the last one does not
    std::uint32_t node;  // set once it is found
    const object_metadata *metadata;
    enum state_of_search : std::uint8_t { unknown, sought, found } state;
};

/// One object of the archive.
struct shown_object {
    const char *name;
    const object_metadata *metadata;
    std::uint32_t node; // what it shows, for an instance the source's
    std::uint32_t parent;
};

struct object_tree {
    compound_table compounds;
    heap_list<object_node> nodes; // number 0 is the top object
    heap_list<instance_source> sources;
    heap_list<shown_object> objects;
    std::atomic<const char *> *paths = nullptr; // of the objects, made when asked for
    std::uint32_t mesh_count = 0;
    time_span times = {};

    /// Forgets everything.
    void clear() {
        compounds.clear();
        nodes.clear();
        sources.clear();
    }

    const compound &properties(std::uint32_t object) const {
        return compounds[nodes[objects[object].node].properties];
    }

    /// The number of the object with a path, `none` when there is none.
    std::uint32_t find(const char *path) const;

    /// Characters of an object's path.
    std::size_t path_length(std::uint32_t object) const;

    /// Writes the first `capacity` characters of an object's path, which has `length` of them; at least one.
    void write_path(std::uint32_t object, std::size_t length, char *path, std::size_t capacity) const;
};

/// Reads what stands in the file below the top object.
status read_objects(header_source &source, std::uint64_t top, const header_context &context, arena &memory,
                    shared_places *sharing, object_tree &tree);

/// Numbers all objects and puts the sources of instances in their places.
status show_objects(const header_context &context, arena &memory, object_tree &tree);

/// Finds the node of an instance's source, and the nodes of all sources on the way to it.
status find_source(object_tree &tree, const header_context &context, std::uint32_t source);

} // namespace qel::archives
