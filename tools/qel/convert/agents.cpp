// SPDX-License-Identifier: MIT
#include "convert/job.h"
#include "convert/step.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace tool::job {

namespace {

constexpr std::size_t max_kept_path = 255; // bytes of its path that a loaded agent directory keeps

/// The file of an agent directory with two agents. The library's directory would write the same, but would allocate an
/// index of 32 MiB that is not needed.
struct agents_file {
    record_header header{{}, agents_version, 2, 1, std::time(nullptr)};
    qel_agent agents[2] = {};
};
static_assert(sizeof(agents_file) == sizeof(record_header) + 2 * sizeof(qel_agent));

// The first id of each tier, and the parent of those that have none.
constexpr const char *reader_id = "2A9E0100", *maker_id = "2A9E0200", *no_parent = "2A9E0000";

/// A running agent (reader) and a terminated one (maker) that it spawned and gave a task.
agents_file reader_and_maker() {
    agents_file made;
    std::memcpy(made.header.magic, agents_magic, sizeof agents_magic);
    qel_agent &reader = made.agents[0], &maker = made.agents[1];
    std::memcpy(reader.id, reader_id, sizeof reader.id);
    std::memcpy(reader.parent, no_parent, sizeof reader.parent);
    reader.flag_idle = 1;
    std::memcpy(maker.id, maker_id, sizeof maker.id);
    std::memcpy(maker.parent, reader_id, sizeof maker.parent);
    maker.type = maker.tier = 1;
    maker.state = QEL_AGENT_STATE_TERMINATED; // terminating clears the task
    maker.flag_terminated = 1;
    return made;
}

} // namespace

void check_agents_path(const std::string &output) {
    const std::size_t size = (std::filesystem::path(output) / agents_name).string().size();
    if (size > max_kept_path)
        throw step_failed("record run", output,
                          "the path is too long: an agent directory keeps no more than " +
                              std::to_string(max_kept_path) + " bytes of its own, which would have " +
                              std::to_string(size));
}

void record_run(result_folder &folder, std::uint64_t tokens) {
    step recording("record run");
    const result file = folder.file(agents_name);
    const agents_file made = reader_and_maker();
    std::FILE *const stream = std::fopen(file.path.c_str(), "wb");
    if (stream == nullptr) throw step_failed("record run", file.place, std::strerror(errno));
    std::fwrite(&made, sizeof made, 1, stream);
    std::fclose(stream); // written() detects a short file
    folder.written("record run", file, sizeof made);
    recording.done("%u agents, %u active: %s read, %s made %llu tokens", made.header.count, made.header.extra,
                   reader_id, maker_id, static_cast<unsigned long long>(tokens));
}

} // namespace tool::job
