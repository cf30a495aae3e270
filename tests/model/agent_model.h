// SPDX-License-Identifier: MIT
// The agent directory in its plainest form: a list of index nodes that only grows, files as byte strings in
// memory, one record read or written at a time. What the library does is compared with it field by field.
#pragma once

#include "qel_unit.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qel::model {

struct agent_directory {
    std::uint32_t version = 1;
    std::uint32_t agent_count = 0;
    std::uint32_t active_count = 0;
    std::int64_t saved_at = 0;
    std::vector<qel_agent> agents = std::vector<qel_agent>(65536);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> nodes; // (agent slot, next)
    std::unordered_map<std::uint32_t, std::uint32_t> buckets;   // those that are not empty
    std::uint32_t next_id_counter = 4096;
    std::string path;
    std::uint32_t dirty = 0;

    std::optional<std::uint32_t> lookup(const char *id) const;
    void insert(std::uint32_t slot, const char *id);
};

class agent_model {
  public:
    using file = std::vector<std::uint8_t>;

    std::optional<agent_directory> dir;          // empty until initialised
    std::unordered_map<std::string, file> files; // the disk
    std::int64_t now = 0;                        // the clock

    std::int32_t init(const char *path);
    std::int32_t load(const char *path);
    std::int32_t save(const char *path);
    std::int32_t sync();
    void stats(std::uint32_t *total, std::uint32_t *active, std::uint32_t *counts) const;
    void free();

    std::int32_t spawn(const char *parent, std::uint8_t type, std::uint8_t tier, std::uint8_t tag, char *id_out);
    std::int32_t terminate(const char *id);
    std::int32_t delegate(const char *from, const char *to, std::uint64_t task);
    std::int32_t query(const char *id, qel_agent *out) const;
    std::int32_t control(const char *id, std::uint32_t command);
    std::uint32_t monitor(const char *pattern, char *ids_out, std::int32_t max) const;
};

} // namespace qel::model
