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
    fill(unit, archive, mesh, uv_set, frame, manifold, scene_mesh, scene, hit, skin, cache, agent, floats,
         positions, normals, numbers, borrowed, count, scope, key, text, byte);
    discard_directory();
}

caller::~caller() {
    if (afterwards) afterwards();
    afterwards = nullptr; // it may keep blocks that the ledger holds
    discard_directory();
    ledger.free_all();
}

#define QEL_WATCH(field) watch(#field, record.field)

void caller::watch(qel_unit &record) {
    next_record();
    QEL_WATCH(version);
    QEL_WATCH(count);
    QEL_WATCH(extra);
    QEL_WATCH(tokens);
    QEL_WATCH(morton_index);
    QEL_WATCH(hex_index);
    QEL_WATCH(order);
}

void caller::watch(ogawa_archive &record) {
    next_record();
    QEL_WATCH(path);
    QEL_WATCH(file);
    watch("version 0", record.version[0]);
    watch("version 1", record.version[1]);
    QEL_WATCH(objects);
    QEL_WATCH(object_count);
    QEL_WATCH(polymeshes);
    QEL_WATCH(polymesh_count);
    QEL_WATCH(time_start);
    QEL_WATCH(time_end);
    QEL_WATCH(fps);
    QEL_WATCH(reserved);
}

void caller::watch(ogawa_polymesh &record) {
    next_record();
    QEL_WATCH(name);
    QEL_WATCH(path);
    QEL_WATCH(positions);
    QEL_WATCH(vertex_count);
    QEL_WATCH(reserved_array);
    QEL_WATCH(reserved_count);
    QEL_WATCH(normals);
    QEL_WATCH(normal_count);
    QEL_WATCH(normal_indices);
    QEL_WATCH(normal_scope);
    QEL_WATCH(face_counts);
    QEL_WATCH(face_count);
    QEL_WATCH(face_indices);
    QEL_WATCH(face_index_count);
    QEL_WATCH(uv_sets);
    QEL_WATCH(uv_set_count);
    watch_frame(record.tangent_frame, "tangent_frame.");
    watch_manifold(record.manifold, "manifold.");
    QEL_WATCH(bounds_min);
    QEL_WATCH(bounds_max);
    QEL_WATCH(self_bounds_min);
    QEL_WATCH(self_bounds_max);
    QEL_WATCH(reserved_word);
    QEL_WATCH(reserved_buffer);
    QEL_WATCH(transform);
}

void caller::watch(ogawa_uv_set &record) {
    next_record();
    QEL_WATCH(name);
    QEL_WATCH(values);
    QEL_WATCH(value_count);
    QEL_WATCH(indices);
    QEL_WATCH(index_count);
    QEL_WATCH(scope);
}

void caller::watch(ogawa_tangent_frame &record) {
    next_record();
    watch_frame(record, "");
}

void caller::watch_frame(ogawa_tangent_frame &record, const std::string &prefix) {
    watch(prefix + "tangents", record.tangents);
    watch(prefix + "bitangents", record.bitangents);
    watch(prefix + "count", record.count);
    watch(prefix + "components", record.components);
}

void caller::watch(ogawa_manifold &record) {
    next_record();
    watch_manifold(record, "");
}

void caller::watch_manifold(ogawa_manifold &record, const std::string &prefix) {
    watch(prefix + "vertex_faces", record.vertex_faces);
    watch(prefix + "vertex_face_offsets", record.vertex_face_offsets);
    watch(prefix + "vertex_count", record.vertex_count);
    watch(prefix + "face_vertices", record.face_vertices);
    watch(prefix + "face_offsets", record.face_offsets);
    watch(prefix + "face_count", record.face_count);
    watch(prefix + "aux_array_a", record.aux_array_a);
    watch(prefix + "aux_count", record.aux_count);
    watch(prefix + "aux_array_b", record.aux_array_b);
    watch(prefix + "aux_array_c", record.aux_array_c);
}

void caller::watch(qel_alembic_mesh &record) {
    next_record();
    QEL_WATCH(name);
    QEL_WATCH(vertex_count);
    QEL_WATCH(face_count);
    QEL_WATCH(positions);
    QEL_WATCH(indices);
    QEL_WATCH(bounds);
    QEL_WATCH(reserved);
    QEL_WATCH(vertices);
    QEL_WATCH(tokens);
    QEL_WATCH(layer);
}

void caller::watch(qel_alembic_file &record) {
    next_record();
    QEL_WATCH(version);
    QEL_WATCH(flags);
    QEL_WATCH(source);
    QEL_WATCH(mesh_count);
    QEL_WATCH(meshes);
    QEL_WATCH(frame_count);
    QEL_WATCH(time_start);
    QEL_WATCH(time_end);
    QEL_WATCH(fps);
    QEL_WATCH(frames);
    QEL_WATCH(hash);
    QEL_WATCH(hash_size);
    QEL_WATCH(total_vertices);
    QEL_WATCH(total_faces);
    QEL_WATCH(total_tokens);
}

void caller::watch(qel_alembic_hit &record) {
    next_record();
    QEL_WATCH(mesh_index);
    QEL_WATCH(vertex_index);
    QEL_WATCH(frame_index);
    QEL_WATCH(vertex);
    QEL_WATCH(token);
    QEL_WATCH(distance);
}

void caller::watch(qel_skin &record) {
    next_record();
    QEL_WATCH(joints);
    QEL_WATCH(joint_count);
    QEL_WATCH(weights);
    QEL_WATCH(weight_count);
    QEL_WATCH(bind_extra);
}

void caller::watch(qel_mesh &record) {
    next_record();
    QEL_WATCH(header.magic);
    QEL_WATCH(header.version);
    QEL_WATCH(header.flags);
    QEL_WATCH(header.vertex_count);
    QEL_WATCH(header.triangle_count);
    QEL_WATCH(header.joint_count);
    QEL_WATCH(header.reserved);
    QEL_WATCH(header.bounds_min);
    QEL_WATCH(header.bounds_max);
    QEL_WATCH(header.positions_offset);
    QEL_WATCH(header.normals_offset);
    QEL_WATCH(header.indices_offset);
    QEL_WATCH(header.skin_offset);
    QEL_WATCH(positions);
    QEL_WATCH(normals);
    QEL_WATCH(indices);
    QEL_WATCH(skin);
    QEL_WATCH(view);
    QEL_WATCH(file_size);
}

void caller::watch(qel_agent &record) {
    next_record();
    QEL_WATCH(id);
    QEL_WATCH(parent);
    QEL_WATCH(type);
    QEL_WATCH(state);
    QEL_WATCH(flag_idle);
    QEL_WATCH(flag_terminated);
    QEL_WATCH(flag_delegated);
    QEL_WATCH(cleared);
    QEL_WATCH(tag);
    QEL_WATCH(tier);
    QEL_WATCH(reserved);
    QEL_WATCH(task);
}

void caller::watch_directory() {
    watches_directory_ = true;
    had_directory_ = g_agent_dir != nullptr;
    if (!had_directory_) return;
    next_record();
    qel_agent_dir &record = *g_agent_dir;
    QEL_WATCH(magic);
    QEL_WATCH(version);
    QEL_WATCH(agent_count);
    QEL_WATCH(active_count);
    QEL_WATCH(saved_at);
    QEL_WATCH(agents);
    QEL_WATCH(index);
    QEL_WATCH(next_id_counter);
    QEL_WATCH(path);
    QEL_WATCH(dirty);
    QEL_WATCH(index->node_count);
}

#undef QEL_WATCH

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
