// SPDX-License-Identifier: MIT
#include "info/info_archive.h"

#include "examine/archive_text.h"
#include "examine/owned.h"
#include "terminal/messages.h"
#include "terminal/text.h"

#include <algorithm>
#include <map>

namespace tool {

namespace {

/// The value of a key in `key=value;key=value`; empty if the key is missing.
std::string value_of(const std::string &pairs, const std::string &key) {
    for (std::size_t at = 0; at < pairs.size();) {
        const std::size_t end = std::min(pairs.find(';', at), pairs.size());
        if (pairs.compare(at, key.size() + 1, key + "=") == 0)
            return pairs.substr(at + key.size() + 1, end - at - key.size() - 1);
        at = end + 1;
    }
    return "";
}

const char *change_text(std::uint32_t topology, bool moves) {
    if (topology == QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE) return "faces change";
    return topology == QEL_ARCHIVE_TOPOLOGY_POSITIONS_CHANGE ? "deforms" : moves ? "moves" : "still";
}

} // namespace

archive_facts::archive_facts(const input_file &file) : scene_(file, {true, true, {}, true}) {
    list_header(file);
    list_objects();
    for (const scene_mesh &mesh : scene_.meshes())
        list_mesh(mesh);
    count_meshes();
}

void archive_facts::count_meshes() {
    std::uint64_t shown = 0, others = 0;
    const scene_choice meshes{false, true, {}, false};
    for (std::size_t i = 0; i < meshes_.size(); ++i) {
        if (!meshes.takes_kind(scene_.meshes()[i].kind))
            ++others;
        else if (meshes_[i].visible)
            ++shown;
    }
    about_.fact("meshes shown", shown);
    about_.fact("meshes hidden", meshes_.size() - shown - others);
    about_.fact("points, curves and patches", others);
    about_.fact("without points", scene_.empty_count());
}

void archive_facts::list_header(const input_file &file) {
    const qel_archive_info &info = scene_.info();
    const std::string metadata = info.metadata;
    about_.fact("file", file.name());
    about_.fact("kind", name_of(file.kind()));
    about_.fact("bytes", file.size());
    constexpr std::pair<const char *, const char *> keys[] = {{"written by", "_ai_Application"},
                                                              {"written on", "_ai_DateWritten"},
                                                              {"description", "_ai_Description"},
                                                              {"library", "_ai_AlembicVersion"}};
    for (const auto &[name, key] : keys) {
        const std::string value = value_of(metadata, key);
        if (!value.empty()) about_.fact(name, value);
    }
    const std::int32_t version = info.library_version;
    about_.fact("library version", format("%d.%d.%d", version / 10000, version / 100 % 100, version % 100));
}

void archive_facts::list_objects() {
    const std::uint32_t count = scene_.info().object_count;
    std::map<std::string, std::uint64_t> kinds;
    for (std::uint32_t i = 1; i < count; ++i) { // 0 is the top object
        qel_archive_object object;
        if (qel_archive_get_object(scene_.archive(), i, &object) == QEL_ARCHIVE_OK) ++kinds[kind_of_object(object)];
    }
    about_.fact("objects", count - 1);
    std::string list;
    for (const auto &[kind, number] : kinds)
        list += (list.empty() ? "" : ", ") + std::to_string(number) + " " + kind;
    if (!list.empty()) about_.fact("objects by kind", list);
    const std::vector<double> &times = scene_.times();
    about_.fact("frames", times.size());
    about_.number("start in seconds", times.front());
    about_.number("end in seconds", times.back());
    about_.number("frames a second", scene_.rate());
}

void archive_facts::list_mesh(const scene_mesh &mesh) {
    mesh_entry entry{mesh.path, "", mesh.info, scene_.is_shown(mesh.object), mesh.moves, "", {}, {}};
    qel_archive_object object;
    if (qel_archive_get_object(scene_.archive(), mesh.object, &object) == QEL_ARCHIVE_OK)
        entry.kind = kind_of_object(object);
    try {
        read_mesh(mesh, entry);
    } catch (const failure &failed) {
        about_.problem(std::string(failed.what()).substr(about_.facts[0].value.size() + 2));
    }
    meshes_.push_back(std::move(entry));
}

void archive_facts::read_mesh(const scene_mesh &mesh, mesh_entry &entry) {
    polymesh_record read;
    scene_.read(mesh, scene_.times().front(), *read.get());
    if (read->normals != nullptr) entry.normals = scope_text(read->normal_scope);
    for (std::uint32_t i = 0; i < read->uv_set_count; ++i)
        entry.uv_sets.emplace_back(read->uv_sets[i].name);
    if (read->vertex_count == 0) return;
    entry.bounds.emplace(6);
    ogawa_compute_bounds(read->positions, read->vertex_count, entry.bounds->data());
    check_finite(about_, mesh.path + " position", read->positions, read->vertex_count);
}

std::string archive_facts::line_of(const mesh_entry &entry) const {
    const qel_archive_mesh_info &info = entry.info;
    std::string line = format("\"%s\", %s, %s, %s, %s, %s", printable(entry.path).c_str(), entry.kind.c_str(),
                              counted(info.vertex_count, "vertex").c_str(), counted(info.face_count, "face").c_str(),
                              counted(info.corner_count, "corner").c_str(), change_text(info.topology, entry.moves));
    if (info.sample_count > 1) line += " over " + counted(info.sample_count, "sample");
    if (!entry.normals.empty()) line += ", normals " + entry.normals;
    for (const std::string &set : entry.uv_sets)
        line += ", UVs \"" + printable(set) + "\"";
    if (!entry.visible) line += ", hidden";
    if (entry.bounds) line += ", " + box_text(entry.bounds->data(), entry.bounds->data() + 3);
    return line;
}

void archive_facts::print_lines(const info_options &options) const {
    for (std::size_t i = 0; i < meshes_.size(); ++i)
        print_line(colour::heading, "mesh " + std::to_string(i) + ":", " " + line_of(meshes_[i]));
    if (options.tree) print_tree(scene_.archive(), options.verbose);
}

void archive_facts::write_json(writer &out, const info_options &options) const {
    out.open_list("meshes");
    for (const mesh_entry &entry : meshes_) {
        out.open_object();
        out.utf8("path", entry.path);
        out.utf8("kind", entry.kind);
        out.count("vertices", entry.info.vertex_count);
        out.count("faces", entry.info.face_count);
        out.count("corners", entry.info.corner_count);
        out.count("samples", entry.info.sample_count);
        out.real("start", entry.info.start);
        out.real("end", entry.info.end);
        out.utf8("changes", change_text(entry.info.topology, entry.moves));
        out.utf8("normals", entry.normals.empty() ? "none" : entry.normals);
        out.open_row("uv_sets");
        for (const std::string &set : entry.uv_sets)
            out.utf8(nullptr, set);
        out.close();
        out.boolean("visible", entry.visible);
        if (entry.bounds) out.row("bounds", entry.bounds->data(), 6);
        out.close();
    }
    out.close();
    if (options.tree) write_objects(out, scene_.archive(), options.verbose);
}

} // namespace tool
