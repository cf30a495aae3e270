// SPDX-License-Identifier: MIT
// Random sequences of operations: after each step the directory equals the model's.
#include "qel_unit/agents/agent_fixture.h"

#include "model/agent_model.h"

#include <random>

namespace qel {
namespace {

using namespace test;

class AgentEquality : public agent_test {
  protected:
    void run(std::uint32_t seed, int steps);

  private:
    void step();
    void change();
    void look();
    void use_files();
    void make_file();
    void end_directory();
    void expect_same_directory(bool all_agents);
    void expect_same_file(const std::string &file);
    void expect_own_file();
    void set_clock();

    std::uint32_t below(std::uint32_t end) { return static_cast<std::uint32_t>(random_() % end); }
    std::uint8_t byte() { return static_cast<std::uint8_t>(random_()); }
    std::string any_id();
    std::string any_path() { return folder.file(std::string(1, static_cast<char>('a' + below(4)))); }

    std::mt19937 random_;
    model::agent_model model_;
    std::vector<std::string> known_;
};

std::string AgentEquality::any_id() {
    const std::string spawned = numbered_id(0x2A9E0000 + (below(4) + 1) * 0x100 + below(29));
    switch (below(8)) {
    case 0:
        return spawned.substr(0, 6) + "/Q"; // may be in the bucket of an id that ends in "00"
    case 1:
        return spawned.substr(0, below(9));
    case 2:
        return numbered_id(0x2A9E1000 + below(20));
    case 3:
        return numbered_id(below(64));
    default:
        return known_.empty() ? spawned : known_[below(static_cast<std::uint32_t>(known_.size()))];
    }
}

void AgentEquality::change() {
    const std::string id = any_id() + std::string(8, 'P');
    const std::string to = any_id();
    switch (below(4)) {
    case 0: {
        char made[9] = "########";
        char expected[9] = "########";
        const char *const parent = below(2) == 0 ? nullptr : id.c_str();
        const std::uint8_t type = below(2) == 0 ? byte() : static_cast<std::uint8_t>(below(4));
        const auto tier = static_cast<std::uint8_t>(below(5));
        const std::uint8_t tag = byte();
        ASSERT_EQ(qel_agent_spawn(parent, type, tier, tag, made), model_.spawn(parent, type, tier, tag, expected));
        ASSERT_EQ(std::memcmp(made, expected, 9), 0);
        known_.emplace_back(made, 8);
        break;
    }
    case 1:
        ASSERT_EQ(qel_agent_terminate(id.c_str()), model_.terminate(id.c_str()));
        break;
    case 2: {
        const std::uint64_t task = random_();
        ASSERT_EQ(qel_agent_delegate(id.c_str(), to.c_str(), task), model_.delegate(id.c_str(), to.c_str(), task));
        break;
    }
    default:
        const std::uint32_t command = below(7) - 1;
        ASSERT_EQ(qel_agent_control(id.c_str(), command), model_.control(id.c_str(), command));
    }
}

void AgentEquality::look() {
    const std::string id = any_id();
    if (below(3) == 0) {
        std::uint32_t got[6] = {9, 9, 9, 9, 9, 9};
        std::uint32_t expected[6] = {9, 9, 9, 9, 9, 9};
        qel_agent_dir_stats(&got[0], &got[1], &got[2]);
        model_.stats(&expected[0], &expected[1], &expected[2]);
        ASSERT_EQ(std::memcmp(got, expected, sizeof got), 0);
    } else if (below(2) == 0) {
        qel_agent got{};
        qel_agent expected{};
        ASSERT_EQ(qel_agent_query(id.c_str(), &got), model_.query(id.c_str(), &expected));
        ASSERT_EQ(std::memcmp(&got, &expected, sizeof got), 0);
    } else {
        std::string pattern = id.substr(0, below(9));
        if (!pattern.empty() && below(2) == 0) pattern[below(static_cast<std::uint32_t>(pattern.size()))] = '*';
        std::vector<char> got(9 * 50, '#');
        std::vector<char> expected(9 * 50, '#');
        const std::int32_t max = static_cast<std::int32_t>(below(52)) - 1;
        ASSERT_EQ(qel_agent_monitor(pattern.c_str(), got.data(), max),
                  model_.monitor(pattern.c_str(), expected.data(), max));
        ASSERT_EQ(got, expected);
    }
}

/// Writes a file whose counts may be wrong.
void AgentEquality::make_file() {
    std::vector<qel_agent> agents;
    for (std::uint32_t count = below(40); count > 0; --count) {
        qel_agent agent;
        for (std::uint8_t &each : reinterpret_cast<std::uint8_t(&)[40]>(agent))
            each = byte();
        const std::string id = any_id();
        if (below(4) != 0) std::memcpy(agent.id, id.c_str(), std::min<std::size_t>(8, id.size() + 1));
        agent.state = static_cast<std::uint8_t>(below(8));
        agents.push_back(agent);
    }
    const std::uint32_t large[] = {65534, 65535, 65536, 65537, 0xFFFFFFFF};
    auto claimed = static_cast<std::uint32_t>(agents.size());
    if (below(4) == 0) claimed = below(50);
    if (below(30) == 0) claimed = large[below(5)];
    const auto saved_at = static_cast<std::int64_t>(random_());
    bytes file = directory_file(agents, claimed, below(3), saved_at, below(3));
    if (below(3) == 0) file.resize(below(static_cast<std::uint32_t>(file.size()) + 1));
    if (below(10) == 0 && !file.empty()) file[below(static_cast<std::uint32_t>(file.size()))] ^= byte();
    const std::string name = any_path();
    write_file(name, file);
    model_.files[name] = file;
}

void AgentEquality::expect_same_file(const std::string &file) {
    ASSERT_EQ(file_exists(file), model_.files.count(file) == 1) << file;
    if (!file_exists(file)) return;
    ASSERT_EQ(read_file(file), model_.files[file]) << file;
}

void AgentEquality::expect_own_file() {
    if (model_.dir && !model_.dir->path.empty()) expect_same_file(model_.dir->path);
}

/// Saves the model's directory at the time of the library's save.
void AgentEquality::set_clock() {
    if (g_agent_dir != nullptr) model_.now = g_agent_dir->saved_at;
}

void AgentEquality::end_directory() {
    const std::string own = model_.dir ? model_.dir->path : "";
    qel_agent_dir_free();
    if (file_exists(own)) {
        const bytes file = read_file(own);
        if (file.size() >= 24) std::memcpy(&model_.now, file.data() + 16, 8);
    }
    model_.free();
    known_.clear();
    if (!own.empty()) expect_same_file(own);
}

void AgentEquality::use_files() {
    const std::string name = any_path();
    std::int32_t status;
    switch (below(8)) {
    case 0:
        status = qel_agent_dir_save(name.c_str());
        set_clock();
        ASSERT_EQ(status, model_.save(name.c_str()));
        ASSERT_NO_FATAL_FAILURE(expect_same_file(name));
        break;
    case 1:
        status = qel_agent_dir_save(nullptr);
        set_clock();
        ASSERT_EQ(status, model_.save(nullptr));
        ASSERT_NO_FATAL_FAILURE(expect_own_file());
        break;
    case 2:
        status = qel_agent_dir_sync();
        set_clock();
        ASSERT_EQ(status, model_.sync());
        ASSERT_NO_FATAL_FAILURE(expect_own_file());
        break;
    case 3:
        if (below(4) == 0) end_directory(); // rarely: a new directory takes long
        break;
    case 4: {
        const char *const own = below(2) == 0 ? nullptr : name.c_str();
        ASSERT_EQ(qel_agent_dir_init(own), model_.init(own));
        break;
    }
    case 5:
        make_file();
        break;
    default:
        ASSERT_EQ(qel_agent_dir_load(name.c_str()), model_.load(name.c_str()));
    }
}

void AgentEquality::expect_same_directory(bool all_agents) {
    ASSERT_EQ(g_agent_dir != nullptr, model_.dir.has_value());
    if (g_agent_dir == nullptr) return;
    const qel_agent_dir &got = *g_agent_dir;
    const model::agent_directory &expected = *model_.dir;
    ASSERT_EQ(std::string(got.magic, 4), "QEAG");
    ASSERT_EQ(got.version, expected.version);
    ASSERT_EQ(got.agent_count, expected.agent_count);
    ASSERT_EQ(got.active_count, expected.active_count);
    ASSERT_EQ(got.saved_at, expected.saved_at);
    ASSERT_EQ(got.next_id_counter, expected.next_id_counter);
    ASSERT_EQ(got.path, expected.path);
    ASSERT_EQ(got.dirty, expected.dirty);
    ASSERT_EQ(got.index->node_count, expected.nodes.size());
    const std::size_t bytes = sizeof(qel_agent) * (all_agents ? 65536 : 50);
    ASSERT_EQ(std::memcmp(got.agents, expected.agents.data(), bytes), 0);
}

void AgentEquality::step() {
    const std::uint32_t kind = below(10);
    if (kind < 6)
        change();
    else if (kind < 9)
        look();
    else
        use_files();
}

void AgentEquality::run(std::uint32_t seed, int steps) {
    random_.seed(seed);
    discard_directory();
    model_ = {};
    known_.clear();
    for (const auto &file : std::filesystem::directory_iterator(folder.path()))
        std::filesystem::remove(file.path());
    for (int i = 0; i < steps; ++i) {
        ASSERT_NO_FATAL_FAILURE(step()) << "seed " << seed << ", step " << i;
        ASSERT_NO_FATAL_FAILURE(expect_same_directory(i % 100 == 0)) << "seed " << seed << ", step " << i;
    }
}

TEST_F(AgentEquality, RandomOperationsLeaveTheModelsDirectory) {
    for (std::uint32_t seed = 1; seed <= 10; ++seed) {
        ASSERT_NO_FATAL_FAILURE(run(seed, 3000));
    }
}

} // namespace
} // namespace qel
