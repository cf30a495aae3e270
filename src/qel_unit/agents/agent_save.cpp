// SPDX-License-Identifier: MIT
#include "common/clock.h"
#include "common/file.h"
#include "qel_unit/agents/agent_directory.h"
#include "qel_unit/agents/agent_format.h"

#include <cstring>

namespace qel {
namespace {

bool write_directory(std::FILE *stream, const qel_agent_dir &directory, std::int64_t now) {
    agent_header header{};
    std::memcpy(header.magic, directory.magic, sizeof header.magic);
    header.version = directory.version;
    header.agent_count = directory.agent_count;
    header.active_count = directory.active_count;
    header.saved_at = now;
    std::fwrite(&header, sizeof header, 1, stream);
    std::fwrite(directory.agents, sizeof *directory.agents, used_slots(directory), stream);
    return std::ferror(stream) == 0;
}

/// Saves to `path`, or for null to the directory's own path. Failures after the creation of the file are not reported.
/// An incomplete file is removed; the old file and `dirty` then stay, so that the next save tries again. A complete
/// file that cannot replace the target stays beside it, and the directory counts as saved.
qel_status save_directory(const char *path) {
    if (g_agent_dir == nullptr) return QEL_AGENT_DIR_SAVE_NO_DIRECTORY;
    qel_agent_dir &directory = *g_agent_dir;
    const char *const target = path != nullptr ? path : directory.path;
    if (*target == '\0') return QEL_AGENT_DIR_SAVE_NO_PATH;

    char temporary[260];
    std::snprintf(temporary, sizeof temporary, "%s.tmp", target);
    // A target that fills the buffer leaves no room for the suffix: it is written in place.
    const bool in_place = std::strcmp(temporary, target) == 0;
    if (!in_place) remove_link(temporary); // it may lead to the old file
    file_stream stream(std::fopen(temporary, "wb"));
    if (!stream) return QEL_AGENT_DIR_SAVE_CANNOT_CREATE;
    const std::int64_t now = seconds_since_1970();
    const bool written = write_directory(stream.get(), directory, now);
    const bool closed = std::fclose(stream.release()) == 0;
    if (written && closed) {
        if (!in_place) replace_file(temporary, target);
        directory.dirty = 0;
        directory.saved_at = now;
    } else if (!in_place) {
        std::remove(temporary);
    }
    return QEL_OK;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_agent_dir_save(const char *path) {
    return save_directory(path);
}

std::int32_t qel_agent_dir_sync() {
    if (g_agent_dir == nullptr || g_agent_dir->dirty == 0) return QEL_OK;
    return save_directory(nullptr);
}

} // extern "C"
