// SPDX-License-Identifier: MIT
// The file of the agent directory: a 24-byte header, then the agents in the order of their slots. Nothing follows them.
#pragma once

#include "qel_unit.h"

#include <cstddef>
#include <cstdint>

namespace qel {

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

} // namespace qel
