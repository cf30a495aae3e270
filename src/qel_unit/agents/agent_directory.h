// SPDX-License-Identifier: MIT
// The process-wide agent directory: its one instance, the header of its file, and how agents are found.
#pragma once

#include "qel_unit.h"

#include "qel_unit/hash_index.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qel {

static_assert(sizeof(qel_agent) == 40, "agents are written to the file as they are");
static_assert(offsetof(qel_agent, parent) == 8);
static_assert(offsetof(qel_agent, type) == 16);
static_assert(offsetof(qel_agent, state) == 17);
static_assert(offsetof(qel_agent, flag_idle) == 18);
static_assert(offsetof(qel_agent, flag_terminated) == 19);
static_assert(offsetof(qel_agent, flag_delegated) == 20);
static_assert(offsetof(qel_agent, cleared) == 21);
static_assert(offsetof(qel_agent, tag) == 22);
static_assert(offsetof(qel_agent, tier) == 23);
static_assert(offsetof(qel_agent, reserved) == 24);
static_assert(offsetof(qel_agent, task) == 32);

constexpr char agent_magic[4] = {'Q', 'E', 'A', 'G'};
constexpr std::uint32_t agent_version = 1;

#pragma pack(push, 1)
struct agent_header {
    char magic[4];              // "QEAG"
    std::uint32_t version;      // not checked when read
    std::uint32_t agent_count;  // agents that follow
    std::uint32_t active_count; // of these, not terminated
    std::int64_t saved_at;      // seconds since 1970
};
#pragma pack(pop)

static_assert(sizeof(agent_header) == 24);
static_assert(offsetof(agent_header, version) == 4);
static_assert(offsetof(agent_header, agent_count) == 8);
static_assert(offsetof(agent_header, active_count) == 12);
static_assert(offsetof(agent_header, saved_at) == 16);

/// The one piece of process-wide state; null while there is no directory.
extern qel_agent_dir *g_agent_dir;

enum init_status : std::int32_t { ready = 0, no_memory_for_directory = -1, no_memory_for_contents = -2 };

/// Makes the directory, empty, where there is none. The path may be null.
init_status make_agent_directory(const char *path);

/// The slots in use that exist: a loaded file may claim more agents than a directory holds.
inline std::uint32_t used_slots(const qel_agent_dir &directory) {
    return std::min(directory.agent_count, QEL_AGENT_CAPACITY);
}

/// The agent under which an id was last indexed, or null. Ids are not compared: lookups stay one probe.
inline qel_agent *find_agent(const qel_agent_dir &directory, const char *id) {
    const std::uint32_t slot = newest_entry(*directory.index, identity_hash(id));
    return slot == QEL_NOT_FOUND ? nullptr : directory.agents + slot;
}

/// Makes a slot the newest entry of its id's bucket.
///
/// Node s stands for slot s. In a directory that is filled once, this is the plain chained index; where files are
/// loaded over one another, a slot's node moves to the head of its new bucket, so the nodes never run out. The
/// chains behind the heads mean nothing from then on, and nothing walks them. `node_count` counts the entries
/// made; as in every index, there are at most as many as buckets.
inline void index_agent(qel_agent_dir &directory, std::uint32_t slot) {
    qel_hash_index &index = *directory.index;
    if (index.node_count >= QEL_HASH_BUCKETS) return;
    std::uint32_t &head = index.buckets[field_hash(directory.agents[slot].id)];
    index.nodes[slot] = {slot, head};
    head = slot;
    ++index.node_count;
}

} // namespace qel
