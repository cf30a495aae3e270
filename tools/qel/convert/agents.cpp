// SPDX-License-Identifier: MIT
#include "job.h"
#include "step.h"

namespace tool::job {

namespace {

constexpr std::size_t longest_kept = 255; // bytes of its path that the agent directory keeps

void check_length(const std::string &path, const std::string &shown) {
    if (path.size() > longest_kept)
        throw step_failed("record run", shown, 0,
                          "the path is too long: while the agent directory is written, it must not exceed " +
                              std::to_string(longest_kept) + " bytes, and has " +
                              std::to_string(path.size()));
}

} // namespace

void check_agents_path(const std::string &output) {
    check_length(longest_path(output, agents_name), output);
}

void record_run(result_folder &folder, std::uint64_t tokens) {
    step recording("record run");
    const result file = folder.file(agents_name);
    check_length(file.path, file.place);
    check("record run", file.place, qel_agent_dir_init(file.path.c_str()), {"no memory", "no memory"});
    struct directory_end {
        ~directory_end() { qel_agent_dir_free(); } // process-wide state: ends with the scope
    } const end;

    char reader[9] = {}, maker[9] = {};
    check("record run", "reader", qel_agent_spawn(nullptr, 0, 0, 0, reader),
          {"no directory", "the directory is full"});
    check("record run", "maker", qel_agent_spawn(reader, 1, 1, 0, maker),
          {"no directory", "the directory is full"});
    check("record run", maker, qel_agent_delegate(reader, maker, tokens),
          {"no directory", "the reader is unknown", "the maker is unknown", "the maker has ended"});
    check("record run", maker, qel_agent_terminate(maker), {"no directory", "unknown", "ended already"});
    check("record run", file.place, qel_agent_dir_sync(),
          {"no directory", "no path", "the file cannot be created"});

    std::uint32_t total = 0, active = 0;
    qel_agent_dir_stats(&total, &active, nullptr);
    folder.written("record run", file, 24 + std::uint64_t{total} * sizeof(qel_agent));
    recording.done("%u agents, %u active: %s read, %s made %llu tokens", total, active, reader, maker,
                   static_cast<unsigned long long>(tokens));
}

} // namespace tool::job
