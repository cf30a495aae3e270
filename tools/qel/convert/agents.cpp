// SPDX-License-Identifier: MIT
#include "convert/job.h"
#include "convert/step.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace tool::job {

namespace {

constexpr std::size_t longest_kept = 255; // bytes of its path that the agent directory keeps

/// The file of a directory of two agents. The library would save the same, but its directory has an index of
/// 32 MiB, which nobody asks.
#pragma pack(push, 1)
struct agents_file {
    char magic[4] = {'Q', 'E', 'A', 'G'};
    std::uint32_t version = 1, agent_count = 2, active_count = 1;
    std::int64_t saved_at = std::time(nullptr);
    qel_agent agents[2] = {};
};
#pragma pack(pop)
static_assert(sizeof(agents_file) == 24 + 2 * sizeof(qel_agent));

// The first id of each tier, and the parent of those that have none.
constexpr const char *reader_id = "2A9E0100", *maker_id = "2A9E0200", *no_parent = "2A9E0000";

/// A reader that is still there, and a maker that it spawned, gave a task and ended.
agents_file reader_and_maker() {
    agents_file made;
    qel_agent &reader = made.agents[0], &maker = made.agents[1];
    std::memcpy(reader.id, reader_id, sizeof reader.id);
    std::memcpy(reader.parent, no_parent, sizeof reader.parent);
    reader.flag_idle = 1;
    std::memcpy(maker.id, maker_id, sizeof maker.id);
    std::memcpy(maker.parent, reader_id, sizeof maker.parent);
    maker.type = maker.tier = 1;
    maker.state = QEL_AGENT_STATE_TERMINATED; // which takes the task away
    maker.flag_terminated = 1;
    return made;
}

} // namespace

void check_agents_path(const std::string &output) {
    const std::size_t size = (std::filesystem::path(output) / agents_name).string().size();
    if (size > longest_kept)
        throw step_failed("record run", output, 0,
                          "the path is too long: an agent directory keeps no more than " +
                              std::to_string(longest_kept) + " bytes of its own, which would have " +
                              std::to_string(size));
}

void record_run(result_folder &folder, std::uint64_t tokens) {
    step recording("record run");
    const result file = folder.file(agents_name);
    const agents_file made = reader_and_maker();
    std::FILE *const stream = std::fopen(file.path.c_str(), "wb");
    if (stream == nullptr) throw step_failed("record run", file.place, errno, std::strerror(errno));
    std::fwrite(&made, sizeof made, 1, stream);
    std::fclose(stream); // what is missing is missed below
    folder.written("record run", file, sizeof made);
    recording.done("%u agents, %u active: %s read, %s made %llu tokens", made.agent_count, made.active_count,
                   reader_id, maker_id, static_cast<unsigned long long>(tokens));
}

} // namespace tool::job
