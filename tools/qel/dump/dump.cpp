// SPDX-License-Identifier: MIT
// The command dump, and units and agent directories, record by record as stored in the file.
#include "dump/dump.h"

#include "commands.h"
#include "terminal/text.h"

namespace tool {

namespace {

void dump_unit(writer &out, const input_file &file) {
    const auto header = file.header<record_header>();
    out.count("version", header.version);
    out.count("count", header.count);
    out.count("extra", header.extra);
    out.wide("saved_at", header.saved_at);
    out.open_list("tokens");
    each_record<qel_token>(file, header.count, [&](std::uint64_t, const qel_token &token) {
        out.open_object();
        out.wide("morton", token.morton);
        out.bytes("hex_id", token.hex_id, sizeof token.hex_id);
        out.text("payload", word_text(token.payload));
        out.count("layer", token.layer);
        out.close();
    });
    out.close();
}

void dump_agents(writer &out, const input_file &file) {
    const auto header = file.header<record_header>();
    out.count("version", header.version);
    out.count("agent_count", header.count);
    out.count("active_count", header.extra);
    out.wide("saved_at", header.saved_at);
    out.open_list("agents");
    const std::uint64_t count = std::min(header.count, QEL_AGENT_CAPACITY);
    each_record<qel_agent>(file, count, [&](std::uint64_t, const qel_agent &agent) {
        out.open_object();
        out.bytes("id", agent.id, sizeof agent.id);
        out.bytes("parent", agent.parent, sizeof agent.parent);
        out.counts({{"type", agent.type},
                    {"state", agent.state},
                    {"flag_idle", agent.flag_idle},
                    {"flag_terminated", agent.flag_terminated},
                    {"flag_delegated", agent.flag_delegated},
                    {"cleared", agent.cleared},
                    {"tag", agent.tag},
                    {"tier", agent.tier}});
        out.text("reserved", word_text(agent.reserved));
        out.text("task", word_text(agent.task));
        out.close();
    });
    out.close();
}

} // namespace

std::string word_text(std::uint64_t word) {
    return format("0x%016llX", static_cast<unsigned long long>(word));
}

int dump(const dump_options &options) {
    const input_file file(options.name);
    if (file.kind() == file_kind::archive && !options.by_bytes) {
        dump_archive(file, options);
        return 0;
    }
    if (!options.path.empty() || options.sample)
        throw usage_error("--path and --sample are for archives read by what they say");
    const examined what(file); // before anything is written, so that a failure leaves no partial document
    if (!what.about.readable) what.must_be_usable();
    {
        writer out(options.json ? writer::style::json : writer::style::lines);
        out.open_object();
        out.text("format", name_of(file.kind()));
        if (file.kind() == file_kind::unit)
            dump_unit(out, file);
        else if (file.kind() == file_kind::agents)
            dump_agents(out, file);
        else
            dump_geometry(out, what);
        out.close();
    }
    what.must_be_usable(); // everything readable is written; the exit status reports that it is incomplete
    return 0;
}

} // namespace tool
