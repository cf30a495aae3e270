// SPDX-License-Identifier: MIT
// The process-wide agent directory: its one instance, and how agents are indexed and found.
#pragma once

#include "qel_unit.h"
#include "qel_unit/hash_index.h"

#include <algorithm>
#include <cstdint>

namespace qel {

/// The only process-wide state; null while there is no directory.
extern qel_agent_dir *g_agent_dir;

/// Makes an empty directory if there is none. The path may be null.
qel_status make_agent_directory(const char *path);

/// The number of used slots, at most the capacity: a loaded file may claim more agents.
inline std::uint32_t used_slots(const qel_agent_dir &directory) {
    return std::min(directory.agent_count, QEL_AGENT_CAPACITY);
}

/// The newest agent of an id's bucket, or null. Ids are not compared, so that a lookup is one probe.
inline qel_agent *find_agent(const qel_agent_dir &directory, const char *id) {
    const std::uint32_t slot = newest_entry(*directory.index, identity_hash(id));
    return slot == QEL_NOT_FOUND ? nullptr : directory.agents + slot;
}

/// Makes a slot the newest entry of its id's bucket. Node s always holds slot s: loading a file over another one moves
/// the nodes of its slots, so that the nodes suffice. `node_count` counts the insertions.
inline void index_agent(qel_agent_dir &directory, std::uint32_t slot) {
    insert(*directory.index, field_hash(directory.agents[slot].id), slot, slot);
}

} // namespace qel
