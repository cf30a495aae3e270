// SPDX-License-Identifier: MIT
// Writes the mesh cache file. Write errors are not reported.
#include "ogawa_reader/cache/cache_format.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/prefetch.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace qel {
namespace {

bool has_face_counts(const ogawa_polymesh &mesh) {
    return mesh.face_counts != nullptr && mesh.face_count > 0;
}

bool has_normals(const ogawa_polymesh &mesh) {
    return mesh.normals != nullptr && mesh.normal_count > 0;
}

bool has_joints(const qel_skin *skin) {
    return skin != nullptr && skin->joint_count > 0;
}

bool indices_in_range(const ogawa_polymesh &mesh) {
    if (mesh.face_indices == nullptr) return true;
    constexpr std::uint32_t at_once = 64; // compilers vectorize a loop of fixed length
    const std::uint32_t *index = mesh.face_indices;
    const std::uint32_t *const end = index + mesh.face_index_count;
    std::uint32_t beyond = 0;
    for (; static_cast<std::size_t>(end - index) >= at_once && beyond == 0; index += at_once) {
        prefetch_ahead(index, at_once * sizeof *index / cache_line);
        for (std::uint32_t i = 0; i < at_once; ++i)
            beyond |= index[i] >= mesh.vertex_count ? 1u : 0u;
    }
    for (; index != end && beyond == 0; ++index)
        beyond = *index >= mesh.vertex_count ? 1 : 0;
    return beyond == 0;
}

/// Sums over all faces. Hand-made face counts can exceed the header's 32-bit fields.
struct face_totals {
    std::uint64_t corners;
    std::uint64_t triangles; // of all faces as fans
};

face_totals count_faces(const ogawa_polymesh &mesh) {
    if (mesh.face_counts == nullptr) return {std::uint64_t{mesh.face_count} * 3, mesh.face_index_count / 3};
    if (mesh.face_count == 0) return {0, mesh.face_index_count / 3};
    face_totals totals = {0, 0};
    for (std::uint32_t f = 0; f < mesh.face_count; ++f) {
        totals.corners += mesh.face_counts[f];
        totals.triangles += std::max(mesh.face_counts[f], 2u) - 2;
    }
    return totals;
}

/// Makes the header. Counts and offsets that exceed 32 bits keep their low 32 bits.
qel_mesh_header make_header(const ogawa_polymesh &mesh, const qel_skin *skin, std::uint64_t triangles) {
    const std::uint32_t block_of_vertices = mesh.vertex_count * bytes_per_triple;
    qel_mesh_header header = {};
    std::memcpy(header.magic, mesh_cache_magic, sizeof header.magic);
    header.version = mesh_cache_version;
    header.vertex_count = mesh.vertex_count;
    header.triangle_count = static_cast<std::uint32_t>(triangles);
    header.joint_count = skin == nullptr ? 0 : skin->joint_count;
    header.reserved = 1;
    std::memcpy(header.bounds_min, mesh.bounds_min, sizeof header.bounds_min);
    std::memcpy(header.bounds_max, mesh.bounds_max, sizeof header.bounds_max);
    header.positions_offset = sizeof header;
    header.indices_offset = header.positions_offset + block_of_vertices;
    if (has_normals(mesh)) {
        header.flags |= QEL_MESH_HAS_NORMALS;
        header.normals_offset = header.indices_offset;
        header.indices_offset += block_of_vertices;
    }
    if (has_joints(skin)) {
        header.flags |= QEL_MESH_HAS_SKIN;
        header.skin_offset = header.indices_offset + header.triangle_count * bytes_per_triple;
    }
    return header;
}

/// Writes an array, or zeros of the same size for a null array.
template <class T>
void write_array(std::FILE *file, const T *array, std::uint64_t count) {
    if (array == nullptr)
        write_zeros(file, count * sizeof(T));
    else
        std::fwrite(array, sizeof(T), static_cast<std::size_t>(count), file);
}

/// Adds the normal of every corner to its vertex. Faces are consecutive, so one loop visits the corners of all faces:
/// `claimed` corners, at most one per face index. All indices are in range.
void add_corner_normals(const ogawa_polymesh &mesh, std::uint64_t claimed, float *sums) {
    const std::uint64_t held = mesh.face_indices == nullptr ? 0 : mesh.face_index_count;
    const std::uint64_t corners = std::min(claimed, held);
    const auto add = [&](std::uint64_t corner, const float *normal) {
        float *const sum = sums + std::uint64_t{mesh.face_indices[corner]} * 3;
        const float x = sum[0] + normal[0], y = sum[1] + normal[1], z = sum[2] + normal[2];
        sum[0] = x; // stored after all additions, so that the compiler can vectorize them
        sum[1] = y;
        sum[2] = z;
    };
    const std::uint64_t with_normal = std::min<std::uint64_t>(corners, mesh.normal_count);
    for (std::uint64_t corner = 0; corner < with_normal; ++corner) {
        prefetch_ahead(mesh.normals + corner * 3);
        add(corner, mesh.normals + corner * 3);
    }
    for (std::uint64_t corner = with_normal; corner < corners; ++corner)
        add(corner, mesh.normals); // corners past the last normal take the first
}

/// A few vectors, component by component, so that the compiler vectorizes the arithmetic.
struct vector_run {
    static constexpr std::uint64_t size = 64;

    float x[size] = {}, y[size] = {}, z[size] = {};

    void load(const float *vectors, std::uint64_t count) {
        for (std::uint64_t i = 0; i < count; ++i) {
            x[i] = vectors[i * 3];
            y[i] = vectors[i * 3 + 1];
            z[i] = vectors[i * 3 + 2];
        }
    }

    /// A vector of length 1e-8 or less, or whose length is NaN, does not change.
    void normalize() {
        float length[size];
        for (std::uint64_t i = 0; i < size; ++i)
            length[i] = std::sqrt(x[i] * x[i] + y[i] * y[i] + z[i] * z[i]);
        for (std::uint64_t i = 0; i < size; ++i)
            length[i] = length[i] > 1e-8f ? length[i] : 1.0f;
        for (std::uint64_t i = 0; i < size; ++i) {
            x[i] /= length[i];
            y[i] /= length[i];
            z[i] /= length[i];
        }
    }

    void store(float *vectors, std::uint64_t count) const {
        for (std::uint64_t i = 0; i < count; ++i) {
            vectors[i * 3] = x[i];
            vectors[i * 3 + 1] = y[i];
            vectors[i * 3 + 2] = z[i];
        }
    }
};

/// Normalizes vectors and writes them in pieces that fit the processor's cache. Much smaller pieces take more time in
/// the file system.
void write_normalized(std::FILE *file, float *vectors, std::uint64_t count) {
    constexpr std::uint64_t at_once = 1024 * vector_run::size;
    vector_run run;
    while (count > 0) {
        const std::uint64_t piece = std::min(count, at_once);
        for (std::uint64_t first = 0; first < piece; first += vector_run::size) {
            const std::uint64_t run_count = std::min(piece - first, vector_run::size);
            run.load(vectors + first * 3, run_count);
            run.normalize();
            run.store(vectors + first * 3, run_count);
        }
        write_array(file, vectors, piece * 3);
        vectors += piece * 3;
        count -= piece;
    }
}

/// Writes one normal per vertex unchanged if the mesh has exactly those; other normals are summed over corners and
/// normalized. Without memory for that the block is missing, although the header announces it.
void write_normals(std::FILE *file, const ogawa_polymesh &mesh, std::uint64_t corners) {
    const std::uint64_t vertices = mesh.vertex_count;
    if (mesh.normal_scope == OGAWA_SCOPE_VERTEX && mesh.normal_count == mesh.vertex_count) {
        write_array(file, mesh.normals, vertices * 3);
        return;
    }
    const scratch<float> sums(heap_zeroed<float>(vertices * 3));
    const required_scratch<std::uint32_t> counts(heap_array<std::uint32_t>(vertices));
    if (sums == nullptr || counts == nullptr) return;
    add_corner_normals(mesh, corners, sums.get());
    write_normalized(file, sums.get(), vertices);
}

/// Collects triangles and writes them in pieces that fit the processor's cache and are large enough for the file
/// system.
class triangle_writer {
  public:
    triangle_writer(std::FILE *file, std::uint32_t *buffer, std::uint64_t room)
        : file_(file), buffer_(buffer), end_(buffer + std::min(room, max_triangles) * 3), next_(buffer) {}
    ~triangle_writer() { flush(); }
    triangle_writer(const triangle_writer &) = delete;
    triangle_writer &operator=(const triangle_writer &) = delete;

    void add(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        if (next_ == end_) flush();
        next_[0] = a;
        next_[1] = b;
        next_[2] = c;
        next_ += 3;
    }

    /// Fans at most `max_faces` faces of 3 or 4 corners, the usual sizes. Stops before a face of another size and
    /// before the buffer may overflow; returns how many were fanned. Moves `corners` past them.
    std::uint32_t add_small(const std::uint32_t *counts, std::uint64_t max_faces, const std::uint32_t *&corners) {
        if (end_ - next_ < 6) flush();
        max_faces = std::min(max_faces, static_cast<std::uint64_t>(end_ - next_) / 6);
        std::uint32_t face = 0;
        for (; face < max_faces && (counts[face] == 3 || counts[face] == 4); ++face) {
            prefetch_ahead(corners);
            std::memcpy(next_, corners, 3 * sizeof *next_);
            next_ += 3;
            if (counts[face] == 4) {
                next_[0] = corners[0];
                std::memcpy(next_ + 1, corners + 2, 2 * sizeof *next_);
                next_ += 3;
            }
            corners += counts[face];
        }
        return face;
    }

  private:
    void flush() {
        std::fwrite(buffer_, sizeof *buffer_, static_cast<std::size_t>(next_ - buffer_), file_);
        next_ = buffer_;
    }

    static constexpr std::uint64_t max_triangles = 65536;

    std::FILE *file_;
    std::uint32_t *buffer_;
    std::uint32_t *end_;
    std::uint32_t *next_;
};

/// The number of corners that may be read. A count of 0 means unknown.
std::uint64_t corners_held(const ogawa_polymesh &mesh) {
    if (mesh.face_indices == nullptr) return 0;
    return mesh.face_index_count != 0 ? mesh.face_index_count : std::numeric_limits<std::uint64_t>::max();
}

/// The vertex of a corner, or vertex 0 for a corner past the indices.
std::uint32_t corner_vertex(const ogawa_polymesh &mesh, std::uint64_t corner) {
    return corner < corners_held(mesh) ? mesh.face_indices[corner] : 0;
}

/// The triangles of a face of any number of corners.
void write_fan(triangle_writer &writer, const ogawa_polymesh &mesh, std::uint64_t face, std::uint64_t face_end) {
    const std::uint32_t first = corner_vertex(mesh, face);
    std::uint32_t previous = corner_vertex(mesh, face + 1);
    for (std::uint64_t corner = face + 2; corner < face_end; ++corner) {
        const std::uint32_t vertex = corner_vertex(mesh, corner);
        writer.add(first, previous, vertex);
        previous = vertex;
    }
}

/// Whether fans are written. Up to `max_missing` corners may lie past the indices; with more, hostile counts could make
/// a file of gigabytes from a small mesh.
bool counts_fit_mesh(const ogawa_polymesh &mesh, std::uint64_t corners) {
    if (mesh.face_indices != nullptr && mesh.face_index_count == 0) return true; // unknown
    constexpr std::uint64_t max_missing = 1 << 24;                               // corners: 200 MB of triangles
    const std::uint64_t held = mesh.face_indices == nullptr ? 0 : mesh.face_index_count;
    return corners <= held + max_missing;
}

/// Fans every face about its first corner; faces of fewer than 3 corners give no triangle.
void write_fans(std::FILE *file, const ogawa_polymesh &mesh, const face_totals &totals) {
    if (totals.triangles > std::numeric_limits<std::uint32_t>::max()) return;
    if (!counts_fit_mesh(mesh, totals.corners)) return;
    const required_scratch<std::uint32_t> block(heap_array<std::uint32_t>(totals.triangles * 3));
    if (block == nullptr) return;
    triangle_writer writer(file, block.get(), totals.triangles);
    const std::uint64_t held = corners_held(mesh);
    std::uint64_t face = 0; // its first corner
    for (std::uint32_t f = 0; f < mesh.face_count;) {
        const std::uint64_t rest = held > face ? held - face : 0;
        const std::uint32_t *corners = mesh.face_indices + (rest != 0 ? face : 0);
        const std::uint32_t *const first = corners;
        const std::uint32_t small =
            writer.add_small(mesh.face_counts + f, std::min<std::uint64_t>(rest / 4, mesh.face_count - f), corners);
        f += small;
        face += static_cast<std::uint64_t>(corners - first);
        if (small != 0) continue;
        const std::uint64_t face_end = face + mesh.face_counts[f];
        if (mesh.face_counts[f] >= 3) write_fan(writer, mesh, face, face_end);
        face = face_end;
        ++f;
    }
}

void write_triangles(std::FILE *file, const ogawa_polymesh &mesh, const face_totals &totals) {
    if (has_face_counts(mesh))
        write_fans(file, mesh, totals);
    else if (mesh.face_indices != nullptr)
        write_array(file, mesh.face_indices, totals.triangles * 3);
}

void write_skin(std::FILE *file, const qel_skin &skin) {
    write_array(file, &skin.joint_count, 1);
    write_array(file, skin.joints, skin.joint_count);
    write_array(file, &skin.weight_count, 1);
    write_array(file, skin.weights, skin.weight_count);
    write_array(file, skin.bind_extra, sizeof skin.bind_extra);
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_mesh_save(const ogawa_polymesh *mesh, const qel_skin *skin, const char *path) {
    if (mesh == nullptr || path == nullptr || mesh->vertex_count == 0) return QEL_MESH_SAVE_BAD_ARGUMENT;
    if (!indices_in_range(*mesh)) return QEL_MESH_SAVE_INDEX_OUTSIDE;
    const file_stream file(std::fopen(path, "wb"));
    if (file == nullptr) return QEL_MESH_SAVE_CANNOT_CREATE;
    const face_totals totals = count_faces(*mesh);
    const qel_mesh_header header = make_header(*mesh, skin, totals.triangles);
    write_array(file.get(), &header, 1);
    write_array(file.get(), mesh->positions, std::uint64_t{mesh->vertex_count} * 3);
    if (has_normals(*mesh)) write_normals(file.get(), *mesh, totals.corners);
    write_triangles(file.get(), *mesh, totals);
    if (has_joints(skin)) write_skin(file.get(), *skin);
    return QEL_OK;
}

} // extern "C"
