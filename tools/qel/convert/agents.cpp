// SPDX-License-Identifier: MIT
#include "job.h"
#include "step.h"

namespace tool::job {

void record_run(result_folder &folder, std::uint64_t tokens) {
    step recording("record run");
    const result file = folder.file("agents.qeag");
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
