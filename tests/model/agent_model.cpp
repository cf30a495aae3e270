// SPDX-License-Identifier: MIT
#include "model/agent_model.h"

#include "model/unit_model.h"
#include "support/temp_folder.h"

#include <cstdio>
#include <cstring>

namespace qel::model {

namespace {

/// A place in a file, advanced by what is read.
struct cursor {
    const agent_model::file &bytes;
    std::size_t position = 0;

    template <class T>
    bool read(T &value) {
        if (bytes.size() - position < sizeof value) return false;
        std::memcpy(&value, bytes.data() + position, sizeof value);
        position += sizeof value;
        return true;
    }
};

std::string cut(const char *path) {
    return std::string(path).substr(0, 255);
}

enum class flag { idle, terminated, delegated };

/// One flag is set, the others are cleared.
void set_condition(qel_agent &agent, std::uint8_t state, flag set, std::uint64_t task) {
    agent.state = state;
    agent.flag_idle = set == flag::idle;
    agent.flag_terminated = set == flag::terminated;
    agent.flag_delegated = set == flag::delegated;
    agent.cleared = 0;
    agent.task = task;
}

} // namespace

std::optional<std::uint32_t> agent_directory::lookup(const char *id) const {
    const auto bucket = buckets.find(hex_bucket(id));
    if (bucket == buckets.end()) return std::nullopt;
    return nodes[bucket->second].first;
}

void agent_directory::insert(std::uint32_t slot, const char *id) {
    if (nodes.size() >= 0x800000) return;
    const std::uint32_t bucket = hex_bucket(id);
    const auto n = static_cast<std::uint32_t>(nodes.size());
    const auto head = buckets.find(bucket);
    nodes.emplace_back(slot, head == buckets.end() ? 0xFFFFFFFF : head->second);
    buckets[bucket] = n;
}

std::int32_t agent_model::init(const char *path) {
    if (dir) return 0;
    dir.emplace();
    if (path != nullptr) dir->path = cut(path);
    return 0;
}

std::int32_t agent_model::load(const char *path) {
    if (!dir) init(path);
    if (path == nullptr || files.find(path) == files.end()) return -2;
    cursor in{files[path]};
    std::array<char, 4> magic;
    std::uint32_t version = 0;
    std::uint32_t agent_count = 0;
    std::uint32_t active_count = 0;
    if (!in.read(magic) || !in.read(version) || !in.read(agent_count) || !in.read(active_count)) return -3;
    if (std::memcmp(magic.data(), "QEAG", 4) != 0) return -4;
    dir->version = version;
    dir->agent_count = agent_count;
    dir->active_count = active_count;
    const bool timed = in.read(dir->saved_at);
    for (std::uint32_t i = 0; timed && i < dir->agent_count; ++i) {
        if (i == 65536) break;
        if (!in.read(dir->agents[i])) break;
        dir->insert(i, dir->agents[i].id);
    }
    dir->path = cut(path);
    dir->dirty = 0;
    return 0;
}

std::int32_t agent_model::save(const char *path) {
    if (!dir) return -1;
    const std::string target = path != nullptr ? path : dir->path;
    if (target.empty()) return -2;
    file out;
    for (const char c : {'Q', 'E', 'A', 'G'})
        test::append(out, c);
    test::append(out, dir->version);
    test::append(out, dir->agent_count);
    test::append(out, dir->active_count);
    test::append(out, now);
    for (std::uint32_t i = 0; i < dir->agent_count && i < 65536; ++i)
        test::append(out, dir->agents[i]);
    files[target] = out;
    dir->dirty = 0;
    dir->saved_at = now;
    return 0;
}

std::int32_t agent_model::sync() {
    if (!dir || dir->dirty == 0) return 0;
    return save(nullptr);
}

void agent_model::stats(std::uint32_t *total, std::uint32_t *active, std::uint32_t *counts) const {
    if (total != nullptr) *total = dir ? dir->agent_count : 0;
    if (active != nullptr) *active = dir ? dir->active_count : 0;
    if (!dir || counts == nullptr) return;
    for (int type = 0; type < 4; ++type)
        counts[type] = 0;
    for (std::uint32_t i = 0; i < dir->agent_count && i < 65536; ++i)
        if (dir->agents[i].type <= 3) ++counts[dir->agents[i].type];
}

void agent_model::free() {
    if (!dir) return;
    if (dir->dirty != 0) save(nullptr);
    dir.reset();
}

std::int32_t agent_model::spawn(const char *parent, std::uint8_t type, std::uint8_t tier, std::uint8_t tag,
                                char *id_out) {
    if (!dir) init(nullptr);
    if (dir->agent_count > 65535) return -2;
    char id[9];
    bool chosen = false;
    for (unsigned i = 0; tier < 3 && i < 28 && !chosen; ++i) {
        std::snprintf(id, sizeof id, "%02X%02X%02X%02X", 0x2Au, 0x9Eu, tier + 1u, i);
        chosen = !dir->lookup(id).has_value();
    }
    if (!chosen) {
        const std::uint32_t counter = dir->next_id_counter;
        dir->next_id_counter = counter + 1;
        std::snprintf(id, sizeof id, "%02X%02X%02X%02X", 0x2Au, 0x9Eu, (counter >> 8) & 0xFFu, counter & 0xFFu);
    }
    std::memcpy(id_out, id, 9);
    qel_agent &agent = dir->agents[dir->agent_count];
    std::memcpy(agent.id, id, 8);
    std::memcpy(agent.parent, parent != nullptr ? parent : "2A9E0000", 8);
    agent.type = type;
    agent.tag = tag;
    agent.tier = tier;
    set_condition(agent, 0, flag::idle, 0);
    dir->insert(dir->agent_count, id);
    dir->agent_count += 1;
    dir->active_count += 1;
    dir->dirty = 1;
    return 0;
}

std::int32_t agent_model::terminate(const char *id) {
    if (!dir) return -1;
    const auto slot = dir->lookup(id);
    if (!slot) return -2;
    qel_agent &agent = dir->agents[*slot];
    if (agent.state == 6) return -3;
    set_condition(agent, 6, flag::terminated, 0);
    dir->active_count -= 1;
    dir->dirty = 1;
    return 0;
}

std::int32_t agent_model::delegate(const char *from, const char *to, std::uint64_t task) {
    if (!dir) return -1;
    if (!dir->lookup(from)) return -2;
    const auto slot = dir->lookup(to);
    if (!slot) return -3;
    qel_agent &agent = dir->agents[*slot];
    if (agent.state == 6) return -4;
    set_condition(agent, 2, flag::delegated, task);
    std::memcpy(agent.parent, from, 8);
    dir->dirty = 1;
    return 0;
}

std::int32_t agent_model::query(const char *id, qel_agent *out) const {
    if (out == nullptr || !dir) return -1;
    const auto slot = dir->lookup(id);
    if (!slot) return -2;
    std::memcpy(out, &dir->agents[*slot], 40);
    return 0;
}

std::int32_t agent_model::control(const char *id, std::uint32_t command) {
    if (!dir) return -1;
    const auto slot = dir->lookup(id);
    if (!slot) return -2;
    if (command >= 5) return -3;
    qel_agent &agent = dir->agents[*slot];
    if (command == 0 && agent.state == 2) {
        agent.state = 3;
    } else if (command == 1 && agent.state == 3) {
        agent.state = 2;
    } else if (command == 2) {
        agent.state = 5;
        agent.task = 0;
    } else if (command == 3) {
        agent.state = 4;
        agent.task = 0;
    } else if (command == 4) {
        set_condition(agent, 1, flag::idle, 0);
    }
    dir->dirty = 1;
    return 0;
}

std::uint32_t agent_model::monitor(const char *pattern, char *ids_out, std::int32_t max) const {
    if (ids_out == nullptr || !dir || dir->agent_count == 0 || max < 1) return 0;
    const std::size_t n = std::strlen(pattern);
    std::int32_t count = 0;
    for (std::uint32_t i = 0; i < dir->agent_count && i < 65536; ++i) {
        bool match = true;
        for (std::size_t p = 0; p < n && p < 8; ++p)
            if (pattern[p] != '*' && pattern[p] != dir->agents[i].id[p]) match = false;
        if (!match) continue;
        std::memcpy(ids_out + 9 * static_cast<std::ptrdiff_t>(count), dir->agents[i].id, 8);
        ids_out[9 * static_cast<std::ptrdiff_t>(count) + 8] = '\0';
        count += 1;
        if (count == max) break;
    }
    return static_cast<std::uint32_t>(count);
}

} // namespace qel::model
