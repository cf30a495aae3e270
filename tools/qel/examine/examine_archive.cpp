// SPDX-License-Identifier: MIT
#include "examine/examined.h"
#include "terminal/text.h"

namespace tool {

namespace {

constexpr std::uint64_t data_bit = std::uint64_t{1} << 63; // set in a reference to data, clear in one to a group

/// Clears faces without corners and corners without faces. Returns whether there were any.
bool drop_half_faces(report &about, ogawa_polymesh &mesh) {
    if (mesh.face_counts != nullptr && mesh.face_indices != nullptr) return false;
    const bool half = mesh.face_count > 0 || mesh.face_index_count > 0;
    if (half)
        about.fact("left out", counted(mesh.face_count, "face") + " with " + counted(mesh.face_index_count, "corner") +
                                   ", one without the other");
    std::free(mesh.face_counts);
    std::free(mesh.face_indices);
    mesh.face_counts = mesh.face_indices = nullptr;
    mesh.face_count = mesh.face_index_count = 0;
    return half;
}

/// The faces must refer to corners and vertices that exist.
void check_faces(report &about, const ogawa_polymesh &mesh) {
    std::uint64_t corners = 0;
    for (std::uint32_t face = 0; face < mesh.face_count; ++face)
        corners += mesh.face_counts[face];
    if (corners != mesh.face_index_count)
        about.problem("its faces need " + counted(corners, "corner") + ", it has " +
                      std::to_string(mesh.face_index_count));
    tally bad;
    for (std::uint32_t i = 0; i < mesh.face_index_count; ++i)
        if (mesh.face_indices[i] >= mesh.vertex_count) bad.found(i);
    bad.add_problem(about, "corner", "a vertex that the mesh does not have");
}

void mesh_facts(report &about, const ogawa_polymesh &mesh) {
    about.fact("mesh", "found");
    about.fact("vertices", mesh.vertex_count);
    about.fact("faces", mesh.face_count);
    about.fact("corners", mesh.face_index_count);
    about.fact("normals", mesh.normal_count);
    about.fact("bounds", box_text(mesh.bounds_min, mesh.bounds_max));
    check_finite(about, "position", mesh.positions, mesh.vertex_count);
    if (mesh.normals != nullptr) check_finite(about, "normal", mesh.normals, mesh.normal_count);
    check_faces(about, mesh);
}

/// The root group follows the header.
void check_root(report &about, const input_file &file) {
    const std::uint64_t root = file.header<archive_header>().root;
    if ((root & data_bit) != 0 || root < sizeof(archive_header) || root >= file.size())
        about.problem("its root does not lie in the file");
}

void open_archive(const input_file &file, ogawa_archive &archive) {
    must_be_ok(file, ogawa_open(file.path(), &archive),
               {{OGAWA_OPEN_CANNOT_OPEN, "cannot be opened"},
                {OGAWA_OPEN_NOT_AN_ARCHIVE, "not an Ogawa container"},
                {OGAWA_OPEN_UNFINISHED, "still being written, or not closed by its writer"},
                {OGAWA_OPEN_NO_VERSION, "cut short in its version"},
                {OGAWA_OPEN_NO_ROOT, "cut short in its root reference"}});
}

} // namespace

void add_searched_facts(examined &what) {
    if (what.file.kind() != file_kind::archive) return;
    ogawa_uv_set set{};
    const bool found = ogawa_read_uvs(what.archive.get(), nullptr, 0, 0, &set) == QEL_OK;
    what.about.fact("UVs found by their bytes", found ? set.value_count : 0);
    ogawa_free_uv_set(&set);
    ogawa_tangent_frame frame{};
    const int code = read_tangent_frame(*what.archive.get(), frame);
    what.about.fact("tangents found by their bytes", code == QEL_OK ? frame.count : 0);
    ogawa_free_tangent_frame(&frame);
    add_real_mesh(what);
}

void examine_archive(examined &what) {
    report &about = what.about;
    open_archive(what.file, *what.archive.get());
    const ogawa_archive &archive = *what.archive.get(); // its times are the same for all files
    about.fact("version", format("%u.%u", unsigned{archive.version[0]}, unsigned{archive.version[1]}));
    about.fact("root at", what.file.header<archive_header>().root & ~data_bit);
    check_root(about, what.file);
    const int code = ogawa_read_polymesh(&archive, nullptr, 0, what.mesh.get());
    if (code == OGAWA_READ_POLYMESH_NO_MEMORY || (code == QEL_OK && what.mesh->positions == nullptr))
        throw failure(what.file.name(), no_memory);
    if (code == QEL_OK) {
        const bool half = drop_half_faces(about, *what.mesh.get());
        mesh_facts(about, *what.mesh.get());
        return add_byte_verdict(what, half);
    }
    about.fact("mesh", "none found");
    about.lack = "no mesh was found";
    about.readable = false;
}

} // namespace tool
