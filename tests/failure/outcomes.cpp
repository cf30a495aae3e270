// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"

#include "qel_unit/agents/agent_directory.h"

#include <algorithm>
#include <filesystem>

namespace qel::test {

std::string pointer_text(const void *pointer, const heap_ledger &ledger) {
    if (pointer == nullptr) return "null";
    if (ledger.holds(pointer)) return "owned";
    return ledger.has_freed(pointer) ? "freed" : "set";
}

std::string number_text(double number) {
    char text[40];
    std::snprintf(text, sizeof text, "%.15g", number);
    return text;
}

std::string name_text(const char *text, std::size_t size) {
    return "\"" + std::string(text, std::find(text, text + size, '\0')) + "\"";
}

bool caller::field::zero() const {
    return std::all_of(at, at + before.size(), [](std::uint8_t one) { return one == 0; });
}

namespace {

/// A filler: a value that no call writes.
template <class... Records>
void fill(Records &...records) {
    (std::memset(static_cast<void *>(&records), 0xC5, sizeof records), ...);
}

void discard_directory() {
    if (g_agent_dir != nullptr) g_agent_dir->dirty = 0;
    qel_agent_dir_free();
}

} // namespace

caller::caller() {
    fill(unit, archive, mesh, uv_set, frame, manifold, scene_mesh, scene, hit, skin, cache, agent, floats, positions,
         normals, numbers, borrowed, count, scope, key, text, byte);
    discard_directory();
}

caller::~caller() {
    if (afterwards) afterwards();
    afterwards = nullptr; // it may keep blocks that the ledger holds
    discard_directory();
    ledger.free_all();
}

void caller::watch_directory() {
    watches_directory_ = true;
    had_directory_ = g_agent_dir != nullptr;
    if (!had_directory_) return;
    watch(*g_agent_dir);
    watch("index->node_count", g_agent_dir->index->node_count);
}

std::string caller::changes() const {
    std::vector<std::string> words;
    for (std::size_t first = 0, end = 0; first < fields_.size(); first = end) {
        std::size_t changed = 0, zeros = 0;
        for (end = first; end < fields_.size() && fields_[end].record == fields_[first].record; ++end) {
            changed += fields_[end].changed() ? 1 : 0;
            zeros += fields_[end].zero() ? 1 : 0;
        }
        const bool whole = changed == end - first && zeros > 1;
        for (std::size_t i = first; i < end; ++i)
            if (fields_[i].changed() && !(whole && fields_[i].zero()))
                words.push_back(fields_[i].name + " " + fields_[i].value());
        if (whole) words.emplace_back(zeros == end - first ? "all 0" : "rest 0");
    }
    if (watches_directory_ && had_directory_ != (g_agent_dir != nullptr))
        words.emplace_back(had_directory_ ? "no directory" : "a new directory");
    if (!watched_file_.empty() && file_exists(watched_file_))
        words.push_back("file of " + std::to_string(std::filesystem::file_size(watched_file_)));
    std::string list;
    for (const std::string &word : words)
        list += (list.empty() ? "" : ", ") + word;
    for (std::size_t at = list.find(path); at != std::string::npos; at = list.find(path))
        list.replace(at, path.size(), "PATH");
    return list.empty() ? "nothing" : list;
}

} // namespace qel::test
