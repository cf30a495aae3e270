// SPDX-License-Identifier: MIT
#include "dump/dump.h"

namespace tool {

namespace {

/// Rows of three; none if the array is missing.
template <class T>
void triples(writer &out, const char *name, const T *values, std::uint64_t count) {
    out.open_list(name);
    for (std::uint64_t i = 0; values != nullptr && i < count; ++i)
        out.row(nullptr, values + i * 3, 3);
    out.close();
}

template <class T>
void numbers(writer &out, const char *name, const T *values, std::uint64_t count) {
    out.row(name, values, values == nullptr ? 0 : static_cast<std::size_t>(count));
}

void dump_vertex(writer &out, const qel_alembic_vertex &vertex) {
    const std::uint8_t cell[3] = {vertex.matrix_x, vertex.matrix_y, vertex.matrix_z};
    out.open_object();
    out.row("position", vertex.position, 3);
    out.row("cell", cell, 3);
    out.count("padding0", vertex.padding0);
    out.wide("morton", vertex.morton);
    out.number("k11_level", vertex.k11_level);
    out.number("i_state", vertex.i_state);
    out.row("padding1", vertex.padding1, 2);
    out.real("phi_norm", vertex.phi_norm);
    out.real("em_coupling", vertex.em_coupling);
    out.count("topology", vertex.topology);
    out.close();
}

void dump_token(writer &out, const qel_alembic_token &token) {
    out.open_object();
    out.wide("morton", token.morton);
    out.bytes("hex_id", token.hex_id, sizeof token.hex_id);
    out.text("payload", word_text(token.payload));
    out.count("layer", token.layer);
    out.row("padding", token.padding, sizeof token.padding);
    out.close();
}

void dump_scene_mesh(writer &out, const qel_alembic_mesh &mesh) {
    out.open_object();
    out.bytes("name", mesh.name, sizeof mesh.name);
    out.count("vertex_count", mesh.vertex_count);
    out.count("face_count", mesh.face_count);
    out.count("layer", mesh.layer);
    out.row("bounds", mesh.bounds, 6);
    out.count("reserved", mesh.reserved);
    triples(out, "positions", mesh.positions, mesh.vertex_count);
    triples(out, "indices", mesh.indices, mesh.face_count);
    out.open_list("vertices");
    for (std::uint32_t i = 0; mesh.vertices != nullptr && i < mesh.vertex_count; ++i)
        dump_vertex(out, mesh.vertices[i]);
    out.close();
    out.open_list("tokens");
    for (std::uint32_t i = 0; mesh.tokens != nullptr && i < mesh.vertex_count; ++i)
        dump_token(out, mesh.tokens[i]);
    out.close();
    out.close();
}

void dump_frame(writer &out, const qel_alembic_frame &frame) {
    out.open_object();
    out.number("frame", frame.frame);
    out.real("time", frame.time);
    out.open_list("meshes");
    for (std::uint32_t i = 0; frame.meshes != nullptr && i < frame.mesh_count; ++i) {
        out.open_object();
        out.count("vertex_count", frame.meshes[i].vertex_count);
        triples(out, "positions", frame.meshes[i].positions, frame.meshes[i].vertex_count);
        out.close();
    }
    out.close();
    out.close();
}

void dump_scene(writer &out, const input_file &file, const qel_alembic_file &scene) {
    out.count("version", scene.version);
    out.count("flags", scene.flags);
    const auto header = file.header<scene_header>();
    out.wide("total_vertices", header.total_vertices); // as stored: loading recomputes the totals
    out.wide("total_faces", header.total_faces);
    out.real("fps", scene.fps);
    out.real("time_start", scene.time_start);
    out.real("time_end", scene.time_end);
    out.opaque("reserved", header.reserved, sizeof header.reserved);
    out.open_list("meshes");
    for (std::uint32_t i = 0; i < scene.mesh_count; ++i)
        dump_scene_mesh(out, scene.meshes[i]);
    out.close();
    out.open_list("frames");
    for (std::uint32_t i = 0; i < scene.frame_count; ++i)
        dump_frame(out, scene.frames[i]);
    out.close();
}

void dump_skin(writer &out, const qel_skin &skin) {
    out.open_object("skin");
    out.open_list("joints");
    for (std::uint32_t i = 0; i < skin.joint_count; ++i) {
        out.open_object();
        out.opaque("descriptor", skin.joints[i].descriptor, sizeof skin.joints[i].descriptor);
        out.open_row("transform");
        for (const double number : skin.joints[i].joint_transform)
            out.real(nullptr, number);
        out.close();
        out.close();
    }
    out.close();
    out.open_list("weights");
    for (std::uint32_t i = 0; i < skin.weight_count; ++i) {
        out.open_object();
        out.row("joints", skin.weights[i].joints, 4);
        out.row("weights", skin.weights[i].weights, 4);
        out.close();
    }
    out.close();
    out.opaque("bind_extra", skin.bind_extra, sizeof skin.bind_extra);
    out.close();
}

void dump_cache(writer &out, const qel_mesh &cache) {
    const qel_mesh_header &header = cache.header;
    out.counts({{"version", header.version},
                {"flags", header.flags},
                {"vertex_count", header.vertex_count},
                {"triangle_count", header.triangle_count},
                {"joint_count", header.joint_count},
                {"reserved", header.reserved}});
    out.row("bounds_min", header.bounds_min, 3);
    out.row("bounds_max", header.bounds_max, 3);
    out.counts({{"positions_offset", header.positions_offset},
                {"normals_offset", header.normals_offset},
                {"indices_offset", header.indices_offset},
                {"skin_offset", header.skin_offset}});
    triples(out, "positions", cache.positions, header.vertex_count);
    triples(out, "normals", cache.normals, header.vertex_count);
    triples(out, "indices", cache.indices, header.triangle_count);
    if (cache.skin != nullptr) dump_skin(out, *cache.skin);
}

void dump_found_mesh(writer &out, const ogawa_archive &archive, const ogawa_polymesh &mesh) {
    out.row("version", archive.version, 2);
    out.count("vertex_count", mesh.vertex_count);
    out.count("face_count", mesh.face_count);
    out.row("bounds_min", mesh.bounds_min, 3);
    out.row("bounds_max", mesh.bounds_max, 3);
    triples(out, "positions", mesh.positions, mesh.vertex_count);
    triples(out, "normals", mesh.normals, mesh.normal_count);
    out.count("normal_scope", mesh.normal_scope);
    numbers(out, "face_counts", mesh.face_counts, mesh.face_count);
    numbers(out, "face_indices", mesh.face_indices, mesh.face_index_count);
}

} // namespace

void dump_geometry(writer &out, const examined &what) {
    if (what.file.kind() == file_kind::scene) dump_scene(out, what.file, *what.scene.get());
    if (what.file.kind() == file_kind::mesh_cache) dump_cache(out, *what.cache.get());
    if (what.file.kind() == file_kind::archive) dump_found_mesh(out, *what.archive.get(), *what.mesh.get());
}

} // namespace tool
