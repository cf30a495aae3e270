// SPDX-License-Identifier: MIT
// Units and agent directories are dumped record by record as they stand in the file; geometry is in dump_geometry.
#include "dump/dump.h"

#include "commands.h"
#include "terminal/text.h"

namespace tool {

namespace {

constexpr std::uint64_t header_bytes = 24;

void dump_unit(writer &out, const input_file &file) {
    const auto count = head_number<std::uint32_t>(file, 8);
    out.count("version", head_number<std::uint32_t>(file, 4));
    out.count("count", count);
    out.count("extra", head_number<std::uint32_t>(file, 12));
    out.wide("saved_at", head_number<std::int64_t>(file, 16));
    out.open_list("tokens");
    each_record<qel_token>(file, header_bytes, count, [&](std::uint64_t, const qel_token &token) {
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
    const auto count = head_number<std::uint32_t>(file, 8);
    out.count("version", head_number<std::uint32_t>(file, 4));
    out.count("agent_count", count);
    out.count("active_count", head_number<std::uint32_t>(file, 12));
    out.wide("saved_at", head_number<std::int64_t>(file, 16));
    out.open_list("agents");
    const std::uint64_t wanted = std::min(count, QEL_AGENT_CAPACITY);
    each_record<qel_agent>(file, header_bytes, wanted, [&](std::uint64_t, const qel_agent &agent) {
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
    const examined what(file); // before anything is written, so that what fails leaves no half a document
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
    // What could be read is written all the same, but nobody shall take it for the whole.
    what.must_be_usable();
    return 0;
}

} // namespace tool
