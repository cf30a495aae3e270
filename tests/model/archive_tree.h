// SPDX-License-Identifier: MIT
// An archive's tree of objects in its plainest form. Groups that objects share are read once; their copies
// are counted before they are made.
#pragma once

#include "model/archive_headers.h"

#include <map>
#include <memory>
#include <set>

namespace qel::model {

/// A property of an object: its header with the name of the compounds around it, and where its samples are.
struct archive_tree_property {
    archive_property_header header; ///< its name is whole: ".geom/P"
    std::uint64_t reference = 0;
};

/// What an object's group holds, at any position in the tree.
struct archive_object_content {
    std::vector<archive_tree_property> properties;
    std::optional<std::string> instance_source;
    std::vector<archive_object_header> child_headers;
    std::vector<std::shared_ptr<archive_object_content>> children;
};

struct archive_tree_object {
    std::string name, path, metadata;
    std::uint32_t parent = 0xFFFFFFFF, child_count = 0;
    std::shared_ptr<const archive_object_content> content;

    /// The number of a property by its whole name, 0xFFFFFFFF if it is missing.
    std::uint32_t find_property(const std::string &property_name) const;
    const archive_tree_property *property(const std::string &property_name) const;
};

/// What all readers of one archive share.
struct archive_file {
    archive_container container;
    std::int32_t library_version = 0;
    std::string metadata;
    std::vector<archive_time_sampling> time_samplings;
    std::vector<std::string> shared_metadata;
    std::uint64_t top_object = 0;

    explicit archive_file(const std::string &path);

    /// The bytes of a sample without its digest.
    archive_bytes sample(const archive_tree_property &property, std::uint64_t i) const;
    double time(const archive_property_header &header, std::uint64_t i) const;
    std::uint64_t sample_at(const archive_property_header &header, double seconds) const;
};

/// All objects, depth first, instances replaced by copies of their sources.
std::vector<archive_tree_object> read_archive_tree(const archive_file &file);

} // namespace qel::model
