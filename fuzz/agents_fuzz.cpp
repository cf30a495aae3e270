// SPDX-License-Identifier: MIT
// Sequences of operations on the agent directory, with hostile files, compared with the model after each step.
#include "harness.h"

#include "model/agent_model.h"
#include "support/temp_folder.h"

#include "qel_unit/agents/agent_directory.h"

#include <fuzzer/FuzzedDataProvider.h>

using namespace qel;
using namespace qel::fuzz;

namespace {

constexpr std::uint32_t max_steps = 400;

class life {
  public:
    explicit life(FuzzedDataProvider &fuzz) : fuzz_(fuzz) {}

    void live() {
        for (std::uint32_t i = 0; i < max_steps && fuzz_.remaining_bytes() > 0; ++i) {
            step();
            compare(64);
        }
        compare(QEL_AGENT_CAPACITY);
        end();
        for (const std::string &name : paths_)
            std::remove(name.c_str());
    }

  private:
    void step();
    void spawn();
    void change();
    void look();
    void use_file();
    void make_file();
    void end();
    void compare(std::uint32_t agents);
    void compare_file(const std::string &name);
    void set_clock() {
        if (g_agent_dir != nullptr) model_.now = g_agent_dir->saved_at;
    }

    std::string any_id();
    std::string any_path();

    FuzzedDataProvider &fuzz_;
    model::agent_model model_;
    std::vector<std::string> paths_; // of files that may exist
};

/// `size` characters in a block of exactly that size.
exact<char> exact_text(const std::string &text, std::size_t size) {
    return exact<char>(std::vector<char>(text.data(), text.data() + size));
}

/// An id ends at its eighth character or at a zero.
exact<char> exact_id(const std::string &id) {
    return exact_text(id, std::min<std::size_t>(8, id.size() + 1));
}

/// An id that is copied: exactly eight characters of any value.
exact<char> whole_id(std::string id) {
    id.resize(8);
    return exact_text(id, 8);
}

std::string life::any_id() {
    char text[9];
    const std::uint32_t low = fuzz_.ConsumeIntegral<std::uint8_t>();
    switch (fuzz_.ConsumeIntegralInRange(0, 7)) {
    case 0:
        return fuzz_.ConsumeBytesAsString(fuzz_.ConsumeIntegralInRange<std::size_t>(0, 8)).c_str();
    case 1:
        std::snprintf(text, sizeof text, "2A9E10%02X", low % 32);
        return text;
    case 2: // another id with the same hash: 'c' x 33 + 'd' = ('c' - 1) x 33 + ('d' + 33)
        std::snprintf(text, sizeof text, "2A9E0%u/Q", 1 + low % 4);
        return text;
    default:
        std::snprintf(text, sizeof text, "2A9E%02X%02X", 1 + low % 4, low / 4 % 30);
        return text;
    }
}

bool there_is(const std::string &path) {
    return access(path.c_str(), F_OK) == 0;
}

std::string life::any_path() {
    static const disk_folder folder;
    const std::string name = folder.file("abc"[fuzz_.ConsumeIntegralInRange(0, 2)]);
    if (std::find(paths_.begin(), paths_.end(), name) == paths_.end()) paths_.push_back(name);
    return name;
}

void life::spawn() {
    const exact<char> made(std::vector<char>(9, '#'));
    char expected[9];
    std::memset(expected, '#', sizeof expected);
    const bool orphan = fuzz_.ConsumeBool();
    const exact<char> parent = whole_id(orphan ? "" : any_id());
    const auto type = fuzz_.ConsumeIntegralInRange<std::uint8_t>(0, 5);
    const auto tier = fuzz_.ConsumeIntegralInRange<std::uint8_t>(0, 4);
    const auto tag = fuzz_.ConsumeIntegral<std::uint8_t>();
    const char *const from = orphan ? nullptr : static_cast<const char *>(parent);
    require(qel_agent_spawn(from, type, tier, tag, made) == model_.spawn(from, type, tier, tag, expected));
    require(std::memcmp(made, expected, sizeof expected) == 0);
}

void life::change() {
    const std::string name = any_id();
    const exact<char> id = exact_id(name);
    switch (fuzz_.ConsumeIntegralInRange(0, 2)) {
    case 0:
        return require(qel_agent_terminate(id) == model_.terminate(id));
    case 1: {
        const exact<char> from = whole_id(name), to = exact_id(any_id());
        const auto task = fuzz_.ConsumeIntegral<std::uint16_t>();
        return require(qel_agent_delegate(from, to, task) == model_.delegate(from, to, task));
    }
    default:
        const auto command = fuzz_.ConsumeIntegralInRange<std::uint32_t>(0, 5);
        return require(qel_agent_control(id, command) == model_.control(id, command));
    }
}

void life::look() {
    const std::string name = any_id();
    if (fuzz_.ConsumeBool()) {
        std::uint32_t got[6] = {9, 9, 9, 9, 9, 9}, expected[6] = {9, 9, 9, 9, 9, 9};
        qel_agent_dir_stats(&got[0], &got[1], &got[2]);
        model_.stats(&expected[0], &expected[1], &expected[2]);
        require(std::memcmp(got, expected, sizeof got) == 0);
        qel_agent agent = {}, plain = {};
        const exact<char> id = exact_id(name);
        require(qel_agent_query(id, &agent) == model_.query(id, &plain));
        require(std::memcmp(&agent, &plain, sizeof agent) == 0);
        return;
    }
    std::string pattern = name.substr(0, fuzz_.ConsumeIntegralInRange<std::size_t>(0, 8));
    const std::size_t star = fuzz_.ConsumeIntegralInRange<std::size_t>(0, 9);
    if (star < pattern.size()) pattern[star] = '*';
    const std::int32_t max = fuzz_.ConsumeIntegralInRange(-1, 50);
    std::vector<char> expected(9 * 50, '#');
    const exact<char> ids(std::vector<char>(static_cast<std::size_t>(max < 0 ? 0 : max) * 9, '#'));
    const exact<char> text = exact_text(pattern, pattern.size() + 1);
    const std::uint32_t count = model_.monitor(text, expected.data(), max);
    require(qel_agent_monitor(text, ids, max) == count);
    require(std::memcmp(ids, expected.data(), std::size_t{count} * 9) == 0);
}

/// Writes a file whose counts may be wrong.
void life::make_file() {
    const std::string name = any_path();
    bytes file;
    if (fuzz_.ConsumeIntegralInRange(0, 3) == 0) {
        file = fuzz_.ConsumeBytes<std::uint8_t>(fuzz_.ConsumeIntegralInRange<std::size_t>(0, 300));
        if (file.size() >= 4 && fuzz_.ConsumeBool()) std::memcpy(file.data(), "QEAG", 4);
    } else {
        const auto agents = fuzz_.ConsumeIntegralInRange<std::uint32_t>(0, 30);
        const std::uint32_t claims[] = {agents, agents, agents, agents + 1, fuzz_.ConsumeIntegral<std::uint8_t>(),
                                        65534,  65535,  65536,  65537,      0xFFFFFFFF};
        file = {'Q', 'E', 'A', 'G', 1, 0, 0, 0};
        append(file, fuzz_.PickValueInArray(claims));
        append(file, fuzz_.ConsumeIntegralInRange<std::uint32_t>(0, 2));
        append(file, fuzz_.ConsumeIntegral<std::int64_t>());
        for (std::uint32_t i = 0; i < agents; ++i) {
            qel_agent agent = {};
            const std::string id = any_id();
            std::memcpy(agent.id, id.data(), std::min<std::size_t>(8, id.size()));
            agent.type = fuzz_.ConsumeIntegralInRange<std::uint8_t>(0, 5);
            agent.state = fuzz_.ConsumeIntegralInRange<std::uint8_t>(0, 7);
            agent.reserved = agent.task = i;
            append(file, agent);
        }
        const std::size_t cut = fuzz_.ConsumeBool() ? fuzz_.ConsumeIntegralInRange<std::size_t>(0, 70) : 0;
        file.resize(file.size() - std::min(cut, file.size()));
    }
    test::write_file(name, file);
    model_.files[name] = file;
}

void life::compare_file(const std::string &name) {
    const bool there = model_.files.count(name) == 1;
    require(there_is(name) == there && !there_is(name + ".tmp"));
    if (there) require(test::read_file(name.c_str()) == model_.files[name]);
}

void life::end() {
    const std::string own = model_.dir ? model_.dir->path : "";
    qel_agent_dir_free();
    require(g_agent_dir == nullptr);
    if (!own.empty() && there_is(own)) {
        const bytes file = test::read_file(own.c_str());
        if (file.size() >= 24) std::memcpy(&model_.now, file.data() + 16, sizeof model_.now);
    }
    model_.free();
    if (!own.empty()) compare_file(own);
}

void life::use_file() {
    const std::string name = any_path();
    std::int32_t status;
    switch (fuzz_.ConsumeIntegralInRange(0, 15)) {
    case 0:
        return end();
    case 1:
        require(qel_agent_dir_init(name.c_str()) == model_.init(name.c_str()));
        return;
    case 2:
        require(qel_agent_dir_init(nullptr) == model_.init(nullptr));
        return;
    case 3:
        require(qel_agent_dir_load(nullptr) == model_.load(nullptr));
        return;
    case 4:
        status = qel_agent_dir_sync();
        set_clock();
        return require(status == model_.sync());
    case 5:
        status = qel_agent_dir_save(nullptr);
        set_clock();
        return require(status == model_.save(nullptr));
    case 6:
        status = qel_agent_dir_save(name.c_str());
        set_clock();
        require(status == model_.save(name.c_str()));
        return compare_file(name);
    case 7:
    case 8:
    case 9:
    case 10:
        return make_file();
    default:
        require(qel_agent_dir_load(name.c_str()) == model_.load(name.c_str()));
    }
}

void life::compare(std::uint32_t agents) {
    require((g_agent_dir != nullptr) == model_.dir.has_value());
    if (g_agent_dir == nullptr) return;
    const qel_agent_dir &got = *g_agent_dir;
    const model::agent_directory &expected = *model_.dir;
    require(std::memcmp(got.magic, "QEAG", 4) == 0 && got.version == expected.version);
    require(got.agent_count == expected.agent_count && got.active_count == expected.active_count);
    require(got.saved_at == expected.saved_at && got.next_id_counter == expected.next_id_counter);
    require(got.path == expected.path && got.dirty == expected.dirty);
    require(got.index->node_count == expected.nodes.size());
    require(std::memcmp(got.agents, expected.agents.data(), sizeof(qel_agent) * agents) == 0);
}

void life::step() {
    switch (fuzz_.ConsumeIntegralInRange(0, 7)) {
    case 0:
    case 1:
        return spawn();
    case 2:
    case 3:
    case 4:
        return change();
    case 5:
        return use_file();
    default:
        return look();
    }
}

/// Each allocation of qel_agent_dir_init may fail; then there is no directory.
void run_out_of_memory(FuzzedDataProvider &fuzz) {
    const auto n = fuzz.ConsumeIntegralInRange<std::uint64_t>(1, 6);
    char id[9];
    std::int32_t status;
    {
        const failing_heap heap = failing_heap::nth(n);
        status = fuzz.ConsumeBool() ? qel_agent_spawn(nullptr, 0, 0, 0, id) : qel_agent_dir_init(nullptr);
    }
    require((status == 0) == (g_agent_dir != nullptr) && (status == 0) == (n > 5));
    qel_agent_dir_free();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider fuzz(data, size);
    const heap_ledger heap;
    if (fuzz.ConsumeIntegral<std::uint8_t>() == 0)
        run_out_of_memory(fuzz);
    else
        life(fuzz).live();
    require(heap.live() == 0);
    return 0;
}
