// SPDX-License-Identifier: MIT
// The objects of an archive: the tree in the file, and the list of objects with those that instances repeat.
#pragma once

#include "qel_archive/properties.h"

#include <atomic>
#include <cstdint>

namespace qel::archives {

constexpr std::uint32_t max_objects = std::uint32_t{1} << 20;

/// A child of an object in the file.
union object_child {
    std::uint64_t reference; // until it is read
    struct {
        std::uint32_t node;
        std::uint32_t offset; // its number, depth first, minus its parent's
    } read;
};
static_assert(sizeof(object_child) == sizeof(std::uint64_t), "references become children where they stand");

/// An object in the file. Where groups are shared, it is a child of several objects.
struct object_node {
    const object_headers *headers; // null without children
    object_child *children;
    std::uint32_t properties; // number of its compound
    std::uint32_t source;     // number of its source if it is an instance, else `none`
    bool open;                // the object or one below it is being read

    std::uint32_t count() const { return headers == nullptr ? 0 : headers->names.count; }
};

/// The source of instances, by its path.
struct instance_source {
    text path;           // the first text of the sample
    std::uint64_t texts; // number of texts in the sample; 0 if the last one has no zero byte
    std::uint32_t node;  // valid if `state` is `found`
    const object_metadata *metadata;
    enum state_of_search : std::uint8_t { unknown, searching, found } state;
};

/// One listed object.
struct shown_object {
    const char *name;
    const object_metadata *metadata;
    std::uint32_t node; // its node in the file; for an instance the source's
    std::uint32_t parent;
};

struct object_tree {
    compound_table compounds;
    heap_list<object_node> nodes; // number 0 is the top object
    heap_list<instance_source> sources;
    heap_list<shown_object> objects;
    std::atomic<const char *> *paths = nullptr; // of the objects; made on request
    std::uint32_t mesh_count = 0;
    time_span times = {};

    /// Removes everything.
    void clear() {
        compounds.clear();
        nodes.clear();
        sources.clear();
    }

    const compound &properties(std::uint32_t object) const { return compounds[nodes[objects[object].node].properties]; }

    /// The number of the object with this path; `none` if there is none.
    std::uint32_t find(const char *path) const;

    /// The number of characters of an object's path.
    std::size_t path_length(std::uint32_t object) const;

    /// Writes the first `capacity` characters of an object's path, which has `length` of them; at least one.
    void write_path(std::uint32_t object, std::size_t length, char *path, std::size_t capacity) const;
};

/// Reads the top object and all objects below it.
status read_objects(header_source &source, std::uint64_t top, const header_context &context, arena &memory,
                    shared_positions *sharing, object_tree &tree);

/// Lists all objects, depth first, including those that instances repeat.
status show_objects(const header_context &context, arena &memory, object_tree &tree);

/// Finds the node of an instance's source, and the nodes of all sources on its path.
status find_source(object_tree &tree, const header_context &context, std::uint32_t source);

} // namespace qel::archives
