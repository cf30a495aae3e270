// SPDX-License-Identifier: MIT
#include "common/file.h"
#include "common/text.h"
#include "qel_unit/agents/agent_directory.h"
#include "qel_unit/agents/agent_format.h"

#include <cstring>

namespace qel {
namespace {

/// If the file ends inside `saved_at`, the directory's `saved_at` does not change.
qel_status read_header(std::FILE *stream, qel_agent_dir &directory) {
    agent_header header;
    const std::size_t size = std::fread(&header, 1, sizeof header, stream);
    if (size < offsetof(agent_header, saved_at)) return QEL_AGENT_DIR_LOAD_TOO_SHORT;
    if (std::memcmp(header.magic, agent_magic, sizeof agent_magic) != 0) return QEL_AGENT_DIR_LOAD_NOT_A_DIRECTORY;
    directory.version = header.version;
    directory.agent_count = header.agent_count;
    directory.active_count = header.active_count;
    if (size == sizeof header) directory.saved_at = header.saved_at;
    return QEL_OK;
}

/// Reads and indexes the agents that the header claims and the file holds. They are read into a buffer first, so that a
/// record cut by the file's end leaves its slot unchanged.
void read_agents(std::FILE *stream, qel_agent_dir &directory) {
    constexpr std::uint32_t buffer_size = 128;
    qel_agent buffer[buffer_size];
    const std::uint32_t end = used_slots(directory);
    std::uint32_t slot = 0;
    while (slot < end) {
        const std::uint32_t wanted = std::min(buffer_size, end - slot);
        const auto count = static_cast<std::uint32_t>(std::fread(buffer, sizeof *buffer, wanted, stream));
        std::copy(buffer, buffer + count, directory.agents + slot);
        for (const std::uint32_t read_end = slot + count; slot < read_end; ++slot)
            index_agent(directory, slot);
        if (count < wanted) return;
    }
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_agent_dir_load(const char *path) {
    if (make_agent_directory(path) != QEL_OK) return QEL_AGENT_DIR_LOAD_NO_MEMORY;
    const file_stream stream(path != nullptr ? std::fopen(path, "rb") : nullptr);
    if (!stream) return QEL_AGENT_DIR_LOAD_CANNOT_OPEN;
    qel_agent_dir &directory = *g_agent_dir;
    const qel_status status = read_header(stream.get(), directory);
    if (status != QEL_OK) return status;
    read_agents(stream.get(), directory);
    copy_text(directory.path, path);
    directory.dirty = 0;
    return QEL_OK;
}

} // extern "C"
