// SPDX-License-Identifier: MIT
// Records and arrays of the library that release themselves.
#pragma once

#include <qel_unit.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tool {

/// A record of the library that is released at the end of its scope.
template <class Record, void (*Release)(Record *)>
class owned {
  public:
    owned() = default;
    ~owned() { Release(&record_); }
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    Record *get() { return &record_; }
    const Record *get() const { return &record_; }
    Record *operator->() { return &record_; }
    const Record *operator->() const { return &record_; }

  private:
    Record record_{};
};

/// A unit's release leaves `order` to its owner.
inline void free_unit_and_order(qel_unit *unit) {
    qel_unit_free(unit);
    std::free(unit->order);
}

using archive_record = owned<ogawa_archive, ogawa_close>;
using polymesh_record = owned<ogawa_polymesh, ogawa_free_polymesh>;
using unit_record = owned<qel_unit, free_unit_and_order>;
using scene_record = owned<qel_alembic_file, qel_alembic_free>;
using cache_record = owned<qel_mesh, qel_mesh_free>;

// Three calls leave a pointer to freed memory when an allocation fails, in the cases that are tested here. These
// functions clear the pointer, so that the record can be released.

inline int build_manifold(ogawa_polymesh &mesh) {
    const int code = ogawa_build_manifold(&mesh);
    if (code == OGAWA_BUILD_MANIFOLD_NO_MEMORY && mesh.manifold.vertex_faces == nullptr)
        mesh.manifold.vertex_face_offsets = nullptr;
    return code;
}
inline int read_tangent_frame(const ogawa_archive &archive, ogawa_tangent_frame &frame) {
    const int code = ogawa_read_tangent_frame(&archive, nullptr, 0, &frame);
    if (code == OGAWA_READ_TANGENT_FRAME_NO_MEMORY) frame = {}; // both arrays are freed, whichever allocation failed
    return code;
}
inline int load_raw(const float *positions, std::uint32_t vertex_count, const std::uint32_t *triangles,
                    std::uint32_t triangle_count, const char *name, qel_alembic_mesh &mesh) {
    const int code = qel_alembic_load_raw(positions, vertex_count, triangles, triangle_count, name, &mesh);
    if (code == QEL_ALEMBIC_LOAD_RAW_NO_MEMORY && triangles != nullptr && triangle_count > 0 && mesh.indices == nullptr)
        mesh.positions = nullptr;
    return code;
}

struct free_array {
    void operator()(void *array) const { std::free(array); }
};
/// An array that a function of the library has allocated.
template <class T>
using array = std::unique_ptr<T[], free_array>;

} // namespace tool
