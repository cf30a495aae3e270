// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_directory.h"

#include "common/heap.h"
#include "common/text.h"
#include "qel_unit/agents/agent_format.h"

#include <cstring>

namespace qel {

qel_agent_dir *g_agent_dir = nullptr;

namespace {

constexpr std::uint32_t first_generated_id = 4096;
constexpr std::uint32_t counted_types = 4;

void release_directory(qel_agent_dir *&directory) {
    release(directory->agents);
    release_index(directory->index);
    release(directory);
}

} // namespace

qel_status make_agent_directory(const char *path) {
    if (g_agent_dir != nullptr) return QEL_OK;
    auto *directory = heap_zeroed<qel_agent_dir>(1);
    if (directory == nullptr) return QEL_AGENT_DIR_INIT_DIRECTORY_NO_MEMORY;
    std::memcpy(directory->magic, agent_magic, sizeof agent_magic);
    directory->version = agent_version;
    directory->next_id_counter = first_generated_id;
    directory->agents = heap_zeroed<qel_agent>(QEL_AGENT_CAPACITY);
    if (directory->agents != nullptr) directory->index = create_index(QEL_AGENT_CAPACITY);
    if (directory->index == nullptr) {
        release_directory(directory);
        return QEL_AGENT_DIR_INIT_CONTENTS_NO_MEMORY;
    }
    if (path != nullptr) copy_text(directory->path, path);
    g_agent_dir = directory;
    return QEL_OK;
}

} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_agent_dir_init(const char *path) {
    return make_agent_directory(path);
}

void qel_agent_dir_stats(std::uint32_t *total, std::uint32_t *active, std::uint32_t *counts) {
    const qel_agent_dir *const directory = g_agent_dir;
    if (total != nullptr) *total = directory != nullptr ? directory->agent_count : 0;
    if (active != nullptr) *active = directory != nullptr ? directory->active_count : 0;
    if (counts == nullptr || directory == nullptr) return;
    std::uint32_t by_type[256] = {}; // counts every type, so that the loop has no branch
    for (std::uint32_t slot = 0; slot < used_slots(*directory); ++slot)
        ++by_type[directory->agents[slot].type];
    std::copy(by_type, by_type + counted_types, counts);
}

void qel_agent_dir_free() {
    if (g_agent_dir == nullptr) return;
    qel_agent_dir_sync();
    release_directory(g_agent_dir);
}

} // extern "C"
