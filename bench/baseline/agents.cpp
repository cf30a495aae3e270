// SPDX-License-Identifier: MIT
#include "baseline/agents.h"

#include "baseline/unit.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qel::baseline {

namespace {

constexpr std::uint32_t none = 0xFFFFFFFF;

void format_id(char *id, unsigned third, unsigned fourth) {
    std::snprintf(id, 9, "%02X%02X%02X%02X", 0x2Au, 0x9Eu, third & 0xFFu, fourth & 0xFFu);
}

} // namespace

qel_agent_dir *agent_init() {
    auto *const dir = static_cast<qel_agent_dir *>(std::calloc(1, sizeof(qel_agent_dir)));
    if (dir == nullptr) return nullptr;
    std::memcpy(dir->magic, "QEAG", 4);
    dir->version = 1;
    dir->next_id_counter = 4096;
    dir->agents = static_cast<qel_agent *>(std::calloc(QEL_AGENT_CAPACITY, sizeof(qel_agent)));
    dir->index = new_index(QEL_AGENT_CAPACITY);
    return dir;
}

void agent_free(qel_agent_dir *dir) {
    std::free(dir->index->nodes);
    std::free(dir->index->buckets);
    std::free(dir->index);
    std::free(dir->agents);
    std::free(dir);
}

std::int32_t agent_spawn(qel_agent_dir *dir, const char *parent, std::uint8_t type, std::uint8_t tier, std::uint8_t tag,
                         char *id_out) {
    if (dir->agent_count >= QEL_AGENT_CAPACITY) return -2;
    char id[9];
    bool chosen = false;
    for (unsigned i = 0; tier < 3 && i < 28 && !chosen; ++i) {
        format_id(id, tier + 1u, i);
        chosen = dir->index->buckets[bucket_of_id(id)] == none;
    }
    if (!chosen) {
        const std::uint32_t counter = dir->next_id_counter++;
        format_id(id, counter >> 8, counter);
    }
    std::memcpy(id_out, id, 9);
    qel_agent &agent = dir->agents[dir->agent_count];
    std::memcpy(agent.id, id, 8);
    std::memcpy(agent.parent, parent != nullptr ? parent : "2A9E0000", 8);
    agent.type = type;
    agent.state = 0;
    agent.flag_idle = 1;
    agent.flag_terminated = agent.flag_delegated = agent.cleared = 0;
    agent.tag = tag;
    agent.tier = tier;
    agent.task = 0;
    insert(dir->index, dir->agent_count, bucket_of_id(id));
    ++dir->agent_count;
    ++dir->active_count;
    dir->dirty = 1;
    return 0;
}

std::uint32_t agent_monitor(const qel_agent_dir *dir, const char *pattern, char *ids_out, std::int32_t max) {
    if (ids_out == nullptr || max < 1) return 0;
    const std::size_t length = std::strlen(pattern);
    std::int32_t count = 0;
    for (std::uint32_t i = 0; i < dir->agent_count && count < max; ++i) {
        const char *const id = dir->agents[i].id;
        bool match = true;
        for (std::size_t p = 0; p < length && p < 8; ++p)
            if (pattern[p] != '*' && pattern[p] != id[p]) match = false;
        if (!match) continue;
        std::memcpy(ids_out + std::ptrdiff_t{9} * count, id, 8);
        ids_out[std::ptrdiff_t{9} * count + 8] = '\0';
        ++count;
    }
    return static_cast<std::uint32_t>(count);
}

} // namespace qel::baseline
