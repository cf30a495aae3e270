// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_directory.h"

#include "common/bytes.h"
#include "common/text.h"

#include <cstring>

namespace qel {
namespace {

constexpr std::uint32_t id_length = 8;
// The first half of every generated id; followed by "0000", the parent id of an agent spawned without a parent.
constexpr std::uint32_t id_prefix = 0x2A9E0000;
constexpr std::uint32_t named_tiers = 3; // tiers with ids of their own
constexpr std::uint32_t ids_per_tier = 28;

/// Enters a state: sets its flag and clears the others.
void enter(qel_agent &agent, qel_agent_state state, std::uint64_t task) {
    agent.state = static_cast<std::uint8_t>(state);
    agent.flag_idle = state == QEL_AGENT_STATE_SPAWNED || state == QEL_AGENT_STATE_RESET;
    agent.flag_terminated = state == QEL_AGENT_STATE_TERMINATED;
    agent.flag_delegated = state == QEL_AGENT_STATE_DELEGATED;
    agent.cleared = 0;
    agent.task = task;
}

/// Writes an unused id of the tier or, when none is left, one from the counter. Ids from the counter are not checked
/// against those in use: they repeat after 65,536 and in every new directory.
void choose_id(qel_agent_dir &directory, std::uint8_t tier, char *id) {
    id[id_length] = '\0';
    if (tier < named_tiers) {
        for (std::uint32_t i = 0; i < ids_per_tier; ++i) {
            write_hex8(id_prefix | (tier + 1u) << 8 | i, id);
            if (newest_entry(*directory.index, field_hash(id)) == QEL_NOT_FOUND) return;
        }
    }
    write_hex8(id_prefix | (directory.next_id_counter++ & 0xFFFF), id);
}

/// False for an unknown command.
bool apply_command(qel_agent &agent, std::uint32_t command) {
    switch (command) {
    case QEL_AGENT_COMMAND_PAUSE:
        if (agent.state == QEL_AGENT_STATE_DELEGATED) agent.state = QEL_AGENT_STATE_PAUSED;
        return true;
    case QEL_AGENT_COMMAND_RESUME:
        if (agent.state == QEL_AGENT_STATE_PAUSED) agent.state = QEL_AGENT_STATE_DELEGATED;
        return true;
    case QEL_AGENT_COMMAND_TO_STATE_5:
    case QEL_AGENT_COMMAND_TO_STATE_4:
        agent.state = command == QEL_AGENT_COMMAND_TO_STATE_5 ? QEL_AGENT_STATE_5 : QEL_AGENT_STATE_4;
        agent.task = 0;
        return true;
    case QEL_AGENT_COMMAND_RESET: // also for a terminated agent, which is not counted as active again
        enter(agent, QEL_AGENT_STATE_RESET, 0);
        return true;
    default:
        return false;
    }
}

/// A pattern as two words: an id matches when it equals `wanted` in the bytes that `compared` masks.
struct id_pattern {
    std::uint64_t wanted;
    std::uint64_t compared;

    bool matches(const char *id) const {
        std::uint64_t word;
        std::memcpy(&word, id, sizeof word);
        return ((word ^ wanted) & compared) == 0;
    }
};

id_pattern read_pattern(const char *text) {
    std::uint8_t wanted[id_length] = {};
    std::uint8_t compared[id_length] = {};
    for (std::uint32_t i = 0; i < id_length && text[i] != '\0'; ++i) {
        wanted[i] = static_cast<std::uint8_t>(text[i]);
        compared[i] = text[i] == '*' ? 0 : 0xFF;
    }
    return {load<std::uint64_t>(wanted), load<std::uint64_t>(compared)};
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_agent_spawn(const char *parent, std::uint8_t type, std::uint8_t tier, std::uint8_t tag, char *id_out) {
    if (make_agent_directory(nullptr) != QEL_OK) return QEL_AGENT_SPAWN_NO_MEMORY;
    qel_agent_dir &directory = *g_agent_dir;
    if (directory.agent_count >= QEL_AGENT_CAPACITY) return QEL_AGENT_SPAWN_FULL;

    choose_id(directory, tier, id_out);
    const std::uint32_t slot = directory.agent_count;
    qel_agent &agent = directory.agents[slot];
    std::memcpy(agent.id, id_out, sizeof agent.id);
    if (parent != nullptr)
        std::memcpy(agent.parent, parent, sizeof agent.parent);
    else
        write_hex8(id_prefix, agent.parent);
    agent.type = type;
    agent.tag = tag;
    agent.tier = tier;
    enter(agent, QEL_AGENT_STATE_SPAWNED, 0);
    index_agent(directory, slot);
    ++directory.agent_count;
    ++directory.active_count;
    directory.dirty = 1;
    return QEL_OK;
}

std::int32_t qel_agent_terminate(const char *id) {
    if (g_agent_dir == nullptr) return QEL_AGENT_TERMINATE_NO_DIRECTORY;
    qel_agent *const agent = find_agent(*g_agent_dir, id);
    if (agent == nullptr) return QEL_AGENT_TERMINATE_NOT_FOUND;
    if (agent->state == QEL_AGENT_STATE_TERMINATED) return QEL_AGENT_TERMINATE_TERMINATED;
    enter(*agent, QEL_AGENT_STATE_TERMINATED, 0);
    --g_agent_dir->active_count; // wraps below zero if a loaded file claims too few
    g_agent_dir->dirty = 1;
    return QEL_OK;
}

std::int32_t qel_agent_delegate(const char *from, const char *to, std::uint64_t task) {
    if (g_agent_dir == nullptr) return QEL_AGENT_DELEGATE_NO_DIRECTORY;
    if (find_agent(*g_agent_dir, from) == nullptr) return QEL_AGENT_DELEGATE_FROM_NOT_FOUND;
    qel_agent *const target = find_agent(*g_agent_dir, to);
    if (target == nullptr) return QEL_AGENT_DELEGATE_TO_NOT_FOUND;
    if (target->state == QEL_AGENT_STATE_TERMINATED) return QEL_AGENT_DELEGATE_TO_TERMINATED;
    enter(*target, QEL_AGENT_STATE_DELEGATED, task);
    std::memcpy(target->parent, from, sizeof target->parent);
    g_agent_dir->dirty = 1;
    return QEL_OK;
}

std::int32_t qel_agent_query(const char *id, qel_agent *out) {
    if (out == nullptr || g_agent_dir == nullptr) return QEL_AGENT_QUERY_NO_DIRECTORY;
    const qel_agent *const agent = find_agent(*g_agent_dir, id);
    if (agent == nullptr) return QEL_AGENT_QUERY_NOT_FOUND;
    *out = *agent;
    return QEL_OK;
}

std::int32_t qel_agent_control(const char *id, std::uint32_t command) {
    if (g_agent_dir == nullptr) return QEL_AGENT_CONTROL_NO_DIRECTORY;
    qel_agent *const agent = find_agent(*g_agent_dir, id);
    if (agent == nullptr) return QEL_AGENT_CONTROL_NOT_FOUND;
    if (!apply_command(*agent, command)) return QEL_AGENT_CONTROL_UNKNOWN_COMMAND;
    g_agent_dir->dirty = 1; // also if the state did not change
    return QEL_OK;
}

std::uint32_t qel_agent_monitor(const char *pattern, char *ids_out, std::int32_t max) {
    if (ids_out == nullptr || g_agent_dir == nullptr || g_agent_dir->agent_count == 0 || max < 1) return 0;
    const id_pattern wanted = read_pattern(pattern);
    const std::uint32_t slots = used_slots(*g_agent_dir);
    const auto max_count = static_cast<std::uint32_t>(max);
    std::uint32_t count = 0;
    for (std::uint32_t slot = 0; slot < slots && count < max_count; ++slot) {
        const char *const id = g_agent_dir->agents[slot].id;
        if (!wanted.matches(id)) continue;
        std::memcpy(ids_out, id, id_length);
        ids_out[id_length] = '\0';
        ids_out += id_length + 1;
        ++count;
    }
    return count;
}

} // extern "C"
