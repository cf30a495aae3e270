// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_directory.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace qel {

qel_agent_dir *g_agent_dir = nullptr;

namespace {

constexpr std::uint32_t first_generated_id = 4096;
constexpr std::uint32_t counted_types = 4;

enum directory_load_status : std::int32_t {
    directory_loaded = 0,
    cannot_make_directory = -1,
    cannot_open_directory = -2,
    too_short = -3,
    not_a_directory = -4
};

enum directory_save_status : std::int32_t {
    directory_saved = 0,
    nothing_to_save = -1,
    no_path = -2,
    cannot_create_directory = -3
};

void release_directory(qel_agent_dir *&directory) {
    release(directory->agents);
    release_index(directory->index);
    release(directory);
}

/// A file that ends within the time of its save keeps the directory's.
directory_load_status read_header(std::FILE *stream, qel_agent_dir &directory) {
    agent_header header;
    const std::size_t size = std::fread(&header, 1, sizeof header, stream);
    if (size < offsetof(agent_header, saved_at)) return too_short;
    if (std::memcmp(header.magic, agent_magic, sizeof agent_magic) != 0) return not_a_directory;
    directory.version = header.version;
    directory.agent_count = header.agent_count;
    directory.active_count = header.active_count;
    if (size == sizeof header) directory.saved_at = header.saved_at;
    return directory_loaded;
}

/// Reads and indexes what the file has of the agents that its header claims. The records come through a piece
/// of their own, so that one cut short by the file's end leaves its slot as it was.
void read_agents(std::FILE *stream, qel_agent_dir &directory) {
    constexpr std::uint32_t piece_size = 128;
    qel_agent piece[piece_size];
    const std::uint32_t end = used_slots(directory);
    std::uint32_t slot = 0;
    while (slot < end) {
        const std::uint32_t wanted = std::min(piece_size, end - slot);
        const auto count = static_cast<std::uint32_t>(std::fread(piece, sizeof *piece, wanted, stream));
        std::copy(piece, piece + count, directory.agents + slot);
        for (const std::uint32_t piece_end = slot + count; slot < piece_end; ++slot)
            index_agent(directory, slot);
        if (count < wanted) return;
    }
}

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

/// A null path means the directory's own. Failures behind the creation are not reported. What could not be written
/// whole leaves the old file and the dirty mark, so that the next save tries again; a whole file that cannot take the
/// target's place stays beside it, and counts as saved.
directory_save_status save_directory(const char *path) {
    if (g_agent_dir == nullptr) return nothing_to_save;
    qel_agent_dir &directory = *g_agent_dir;
    const char *const target = path != nullptr ? path : directory.path;
    if (*target == '\0') return no_path;

    char temporary[260];
    std::snprintf(temporary, sizeof temporary, "%s.tmp", target);
    // A target of just as many characters as fit leaves no room for the suffix: it is written in place.
    const bool in_place = std::strcmp(temporary, target) == 0;
    if (!in_place) remove_link(temporary); // it may lead to the old file
    file_stream stream(std::fopen(temporary, "wb"));
    if (!stream) return cannot_create_directory;
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    const bool written = write_directory(stream.get(), directory, now);
    const bool closed = std::fclose(stream.release()) == 0;
    if (written && closed) {
        if (!in_place) replace_file(temporary, target);
        directory.dirty = 0;
        directory.saved_at = now;
    } else if (!in_place) {
        std::remove(temporary);
    }
    return directory_saved;
}

} // namespace

init_status make_agent_directory(const char *path) {
    if (g_agent_dir != nullptr) return ready;
    auto *directory = heap_zeroed<qel_agent_dir>(1);
    if (directory == nullptr) return no_memory_for_directory;
    std::memcpy(directory->magic, agent_magic, sizeof agent_magic);
    directory->version = agent_version;
    directory->next_id_counter = first_generated_id;
    directory->agents = heap_zeroed<qel_agent>(QEL_AGENT_CAPACITY);
    if (directory->agents != nullptr) directory->index = create_index(QEL_AGENT_CAPACITY);
    if (directory->index == nullptr) {
        release_directory(directory);
        return no_memory_for_contents;
    }
    if (path != nullptr) copy_text(directory->path, path);
    g_agent_dir = directory;
    return ready;
}

} // namespace qel

extern "C" {

using namespace qel;

std::int32_t qel_agent_dir_init(const char *path) {
    return make_agent_directory(path);
}

std::int32_t qel_agent_dir_load(const char *path) {
    if (make_agent_directory(path) != ready) return cannot_make_directory;
    const file_stream stream(path != nullptr ? std::fopen(path, "rb") : nullptr);
    if (!stream) return cannot_open_directory;
    qel_agent_dir &directory = *g_agent_dir;
    const directory_load_status status = read_header(stream.get(), directory);
    if (status != directory_loaded) return status;
    read_agents(stream.get(), directory);
    copy_text(directory.path, path);
    directory.dirty = 0;
    return directory_loaded;
}

std::int32_t qel_agent_dir_save(const char *path) {
    return save_directory(path);
}

std::int32_t qel_agent_dir_sync() {
    if (g_agent_dir == nullptr || g_agent_dir->dirty == 0) return directory_saved;
    return save_directory(nullptr);
}

void qel_agent_dir_stats(std::uint32_t *total, std::uint32_t *active, std::uint32_t *counts) {
    const qel_agent_dir *const directory = g_agent_dir;
    if (total != nullptr) *total = directory != nullptr ? directory->agent_count : 0;
    if (active != nullptr) *active = directory != nullptr ? directory->active_count : 0;
    if (counts == nullptr || directory == nullptr) return;
    std::uint32_t by_type[256] = {}; // all types, so that the loop does not branch on them
    for (std::uint32_t slot = 0; slot < used_slots(*directory); ++slot)
        ++by_type[directory->agents[slot].type];
    std::copy(by_type, by_type + counted_types, counts);
}

void qel_agent_dir_free() {
    if (g_agent_dir == nullptr) return;
    if (g_agent_dir->dirty != 0) save_directory(nullptr);
    release_directory(g_agent_dir);
}
}
