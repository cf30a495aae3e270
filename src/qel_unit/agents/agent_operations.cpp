// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_directory.h"

#include "common/bytes.h"
#include "common/text.h"

#include <cstring>

namespace qel {
namespace {

constexpr std::uint32_t id_length = 8;
// The first half of every generated id; as a whole id the parent of an agent that is spawned without one.
constexpr std::uint32_t id_prefix = 0x2A9E0000;
constexpr std::uint32_t named_tiers = 3; // tiers with ids of their own
constexpr std::uint32_t ids_per_tier = 28;

// The caller defines the meaning of the states 4 and 5.
enum agent_state : std::uint8_t {
    state_spawned = 0,
    state_reset = 1,
    state_delegated = 2,
    state_paused = 3,
    state_four = 4,
    state_five = 5,
    state_terminated = 6
};

enum agent_command : std::uint32_t {
    command_pause = 0,
    command_resume = 1,
    command_to_five = 2,
    command_to_four = 3,
    command_reset = 4
};

/// A transition that writes the flags: sets the flag of the new state and clears the others.
void enter(qel_agent &agent, agent_state state, std::uint64_t task) {
    agent.state = state;
    agent.flag_idle = state == state_spawned || state == state_reset;
    agent.flag_terminated = state == state_terminated;
    agent.flag_delegated = state == state_delegated;
    agent.cleared = 0;
    agent.task = task;
}

/// Writes an unused id of the tier, or, when none is left, one from the counter. Ids from the counter are not looked up:
/// they repeat after 65,536 and in every new directory.
void choose_id(qel_agent_dir &directory, std::uint8_t tier, char *id) {
    id[id_length] = '\0';
    if (tier < named_tiers) {
        for (std::uint32_t i = 0; i < ids_per_tier; ++i) {
            write_hex8(id_prefix | (tier + 1u) << 8 | i, id);
            if (find_agent(directory, id) == nullptr) return;
        }
    }
    write_hex8(id_prefix | (directory.next_id_counter++ & 0xFFFF), id);
}

/// False for an unknown command.
bool apply_command(qel_agent &agent, std::uint32_t command) {
    switch (command) {
    case command_pause:
        if (agent.state == state_delegated) agent.state = state_paused;
        return true;
    case command_resume:
        if (agent.state == state_paused) agent.state = state_delegated;
        return true;
    case command_to_five:
    case command_to_four:
        agent.state = command == command_to_five ? state_five : state_four;
        agent.task = 0;
        return true;
    case command_reset: // also of a terminated agent, which does not count as active again
        enter(agent, state_reset, 0);
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

std::int32_t qel_agent_spawn(const char *parent, std::uint8_t type, std::uint8_t tier, std::uint8_t tag,
                             char *id_out) {
    enum : std::int32_t { spawned = 0, cannot_make = -1, full = -2 };
    if (make_agent_directory(nullptr) != ready) return cannot_make;
    qel_agent_dir &directory = *g_agent_dir;
    if (directory.agent_count >= QEL_AGENT_CAPACITY) return full;

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
    enter(agent, state_spawned, 0);
    index_agent(directory, slot);
    ++directory.agent_count;
    ++directory.active_count;
    directory.dirty = 1;
    return spawned;
}

std::int32_t qel_agent_terminate(const char *id) {
    enum : std::int32_t { terminated = 0, no_directory = -1, unknown = -2, terminated_before = -3 };
    if (g_agent_dir == nullptr) return no_directory;
    qel_agent *const agent = find_agent(*g_agent_dir, id);
    if (agent == nullptr) return unknown;
    if (agent->state == state_terminated) return terminated_before;
    enter(*agent, state_terminated, 0);
    --g_agent_dir->active_count; // wraps below zero where a loaded file claims too few
    g_agent_dir->dirty = 1;
    return terminated;
}

std::int32_t qel_agent_delegate(const char *from, const char *to, std::uint64_t task) {
    enum : std::int32_t {
        delegated = 0,
        no_directory = -1,
        unknown_sender = -2,
        unknown_target = -3,
        target_terminated = -4
    };
    if (g_agent_dir == nullptr) return no_directory;
    if (find_agent(*g_agent_dir, from) == nullptr) return unknown_sender;
    qel_agent *const target = find_agent(*g_agent_dir, to);
    if (target == nullptr) return unknown_target;
    if (target->state == state_terminated) return target_terminated;
    enter(*target, state_delegated, task);
    std::memcpy(target->parent, from, sizeof target->parent);
    g_agent_dir->dirty = 1;
    return delegated;
}

std::int32_t qel_agent_query(const char *id, qel_agent *out) {
    enum : std::int32_t { copied = 0, nothing_to_copy = -1, unknown = -2 };
    if (out == nullptr || g_agent_dir == nullptr) return nothing_to_copy;
    const qel_agent *const agent = find_agent(*g_agent_dir, id);
    if (agent == nullptr) return unknown;
    *out = *agent;
    return copied;
}

std::int32_t qel_agent_control(const char *id, std::uint32_t command) {
    enum : std::int32_t { done = 0, no_directory = -1, unknown = -2, no_such_command = -3 };
    if (g_agent_dir == nullptr) return no_directory;
    qel_agent *const agent = find_agent(*g_agent_dir, id);
    if (agent == nullptr) return unknown;
    if (!apply_command(*agent, command)) return no_such_command;
    g_agent_dir->dirty = 1; // also when the state is the same
    return done;
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
