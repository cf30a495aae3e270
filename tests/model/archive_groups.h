// SPDX-License-Identifier: MIT
// The groups of an archive's objects and compounds, each read once.
#pragma once

#include "model/archive_tree.h"

namespace qel::model {

constexpr std::uint64_t max_archive_objects = std::uint64_t{1} << 20;
constexpr std::uint64_t max_archive_properties = std::uint64_t{1} << 24;
constexpr std::uint64_t max_archive_levels = 1000;

/// The contents of a group or an object, copies counted. The sums stop at one above the largest limit.
struct archive_amount {
    std::uint64_t objects = 0, properties = 0, levels = 0;

    void add_child(const archive_amount &child);
    void check() const;
};

class archive_groups {
  public:
    explicit archive_groups(const archive_file &file) : file_(file) {}

    std::shared_ptr<archive_object_content> object(std::uint64_t reference);

  private:
    struct compound {
        std::vector<archive_property_header> headers;
        std::vector<std::uint64_t> references;
        archive_amount amount;
    };

    const compound &read_compound(std::uint64_t reference);
    void list_properties(std::uint64_t reference, const std::string &prefix,
                         std::vector<archive_tree_property> &properties);
    void read_children(const std::vector<std::uint64_t> &references, archive_object_content &content);
    std::optional<std::string> instance_source(const archive_object_content &content) const;

    const archive_file &file_;
    std::set<std::uint64_t> around_; ///< the groups around the one being read
    std::map<std::uint64_t, compound> compounds_;
    std::map<std::uint64_t, std::shared_ptr<archive_object_content>> objects_;
};

} // namespace qel::model
