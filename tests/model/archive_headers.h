// SPDX-License-Identifier: MIT
// The headers of an archive in their plainest form: time samplings, metadata texts, objects, properties.
#pragma once

#include "model/archive_container.h"

#include <optional>

namespace qel::model {

struct archive_time_sampling {
    double cycle = 0;
    std::vector<double> times;

    bool is_acyclic() const;
    bool is_uniform() const { return times.size() == 1 && !is_acyclic(); }
    /// Seconds of sample i.
    double time(std::uint64_t i) const;
    /// The last of `count` samples (at least one) at or before a time, 0 if all are later.
    std::uint64_t sample_at(double seconds, std::uint64_t count) const;
};

std::vector<archive_time_sampling> parse_time_samplings(const archive_bytes &data);

/// The texts by number: the first is the empty one.
std::vector<std::string> parse_shared_metadata(const archive_bytes &data);

/// The value of a key in a metadata text.
std::optional<std::string> metadata_value(const std::string &metadata, const std::string &key);

struct archive_object_header {
    std::string name, metadata;
};

std::vector<archive_object_header> parse_object_headers(const archive_bytes &data,
                                                        const std::vector<std::string> &shared);

struct archive_property_header {
    std::string name, metadata;
    std::uint32_t kind = 0; ///< 0 compound, 1 scalar, 2 array
    std::uint32_t value = 0, extent = 0;
    std::uint32_t samples = 0, first_changed = 0, last_changed = 0, time_sampling = 0;

    bool all_equal() const { return first_changed == 0 && last_changed == 0; }
    bool is_constant() const { return samples <= 1 || all_equal(); }
    /// Which of the stored samples is sample i.
    std::uint64_t stored_sample(std::uint64_t i) const;
};

std::vector<archive_property_header>
parse_property_headers(const archive_bytes &data, const std::vector<std::string> &shared, std::size_t time_samplings);

} // namespace qel::model
