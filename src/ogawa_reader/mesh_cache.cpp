// SPDX-License-Identifier: MIT
#include "ogawa_reader/mesh_cache.h"

#include "common/bytes.h"
#include "common/file.h"
#include "common/file_mapping.h"
#include "common/heap.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace qel {
namespace {

enum save_status : std::int32_t {
    saved = 0,
    nothing_to_save = -1,
    index_out_of_range = -10,
    cannot_create = -2
};

enum load_status : std::int32_t {
    loaded = 0,
    no_argument = -1,
    cannot_open = -2,
    no_mapping = -3,
    no_view = -4,
    wrong_magic = -5
};

constexpr std::int32_t not_mapped = -1;

// ---- Saving: errors after the file is open are not looked at ------------------------------------------------

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
    constexpr std::uint32_t at_once = 64; // a fixed number of comparisons is made a vector at a time
    const std::uint32_t *index = mesh.face_indices;
    const std::uint32_t *const end = index + mesh.face_index_count;
    std::uint32_t beyond = 0;
    for (; static_cast<std::size_t>(end - index) >= at_once && beyond == 0; index += at_once)
        for (std::uint32_t i = 0; i < at_once; ++i)
            beyond |= index[i] >= mesh.vertex_count ? 1u : 0u;
    for (; index != end && beyond == 0; ++index)
        beyond = *index >= mesh.vertex_count ? 1 : 0;
    return beyond == 0;
}

/// Triangles of all faces fanned. With hand-made face counts they may be more than the header can say.
std::uint64_t count_triangles(const ogawa_polymesh &mesh) {
    if (!has_face_counts(mesh)) return mesh.face_index_count / 3;
    std::uint64_t triangles = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f)
        triangles += std::max(mesh.face_counts[f], 2u) - 2;
    return triangles;
}

/// Counts and offsets beyond 32 bits keep their low 32 bits.
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

void write_zeros(std::FILE *file, std::uint64_t size) {
    static constexpr std::uint8_t zeros[4096] = {};
    while (size > 0) {
        const std::uint64_t piece = std::min<std::uint64_t>(size, sizeof zeros);
        if (std::fwrite(zeros, 1, static_cast<std::size_t>(piece), file) != piece) return;
        size -= piece;
    }
}

/// Writes an array, or as many zeros where there is none.
template <class T>
void write_array(std::FILE *file, const T *array, std::uint64_t count) {
    if (array == nullptr)
        write_zeros(file, count * sizeof(T));
    else
        std::fwrite(array, sizeof(T), static_cast<std::size_t>(count), file);
}

/// Adds the normal of every corner to its vertex. Faces lie one after the other, so the walk over faces and their
/// corners is one run over corners; it ends where the face indices do, which are all in range.
void add_corner_normals(const ogawa_polymesh &mesh, float *sums) {
    std::uint64_t corners = 0;
    if (mesh.face_counts == nullptr) corners = std::uint64_t{mesh.face_count} * 3;
    for (std::uint32_t f = 0; mesh.face_counts != nullptr && f < mesh.face_count; ++f)
        corners += mesh.face_counts[f];
    corners = mesh.face_indices == nullptr ? 0 : std::min<std::uint64_t>(corners, mesh.face_index_count);

    for (std::uint64_t k = 0; k < corners; ++k) {
        const float *const normal = mesh.normals + (k < mesh.normal_count ? k * 3 : 0);
        float *const sum = sums + std::uint64_t{mesh.face_indices[k]} * 3;
        sum[0] += normal[0];
        sum[1] += normal[1];
        sum[2] += normal[2];
    }
}

void normalize(float *vector) {
    const float x = vector[0], y = vector[1], z = vector[2];
    const float length = std::sqrt(x * x + y * y + z * z);
    if (!(length > 1e-8f)) return; // nor if it is NaN
    vector[0] = x / length;
    vector[1] = y / length;
    vector[2] = z / length;
}

/// Normalises vectors and writes them piece by piece, while a piece is in the processor's cache.
void write_normalized(std::FILE *file, float *vectors, std::uint64_t count) {
    constexpr std::uint64_t at_once = 16384;
    while (count > 0) {
        const std::uint64_t piece = std::min(count, at_once);
        for (std::uint64_t i = 0; i < piece; ++i)
            normalize(vectors + i * 3);
        write_array(file, vectors, piece * 3);
        vectors += piece * 3;
        count -= piece;
    }
}

/// Normals per vertex and as many as vertices are written as they are, others are averaged over corners. Without
/// memory for that the block is left out, although the header announces it.
void write_normals(std::FILE *file, const ogawa_polymesh &mesh) {
    const std::uint64_t vertices = mesh.vertex_count;
    if (mesh.normal_scope == OGAWA_SCOPE_VERTEX && mesh.normal_count == mesh.vertex_count) {
        write_array(file, mesh.normals, vertices * 3);
        return;
    }
    const scratch<float> sums(heap_zeroed<float>(vertices * 3));
    // Counters of corners are asked for like the sums, but never needed: a vertex without corners has no length.
    const scratch<std::uint32_t> counts(heap_array<std::uint32_t>(vertices));
    if (sums == nullptr || counts == nullptr) return;
    add_corner_normals(mesh, sums.get());
    write_normalized(file, sums.get(), vertices);
}

/// Collects triangles and writes them in pieces that stay in the processor's cache.
class triangle_writer {
  public:
    triangle_writer(std::FILE *file, std::uint32_t *buffer, std::uint64_t room)
        : file_(file), buffer_(buffer), end_(buffer + std::min(room, most_triangles) * 3), next_(buffer) {}
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

  private:
    void flush() {
        std::fwrite(buffer_, sizeof *buffer_, static_cast<std::size_t>(next_ - buffer_), file_);
        next_ = buffer_;
    }

    static constexpr std::uint64_t most_triangles = 16384;

    std::FILE *file_;
    std::uint32_t *buffer_;
    std::uint32_t *end_;
    std::uint32_t *next_;
};

/// The vertex of a corner, or vertex 0 where hand-made counts lead beyond the indices. A count of 0 means that
/// the caller did not say how many there are.
std::uint32_t corner_vertex(const ogawa_polymesh &mesh, std::uint64_t corner) {
    const bool beyond = mesh.face_index_count != 0 && corner >= mesh.face_index_count;
    return mesh.face_indices == nullptr || beyond ? 0 : mesh.face_indices[corner];
}

/// The corners that may be read without asking for each.
std::uint64_t corners_held(const ogawa_polymesh &mesh) {
    if (mesh.face_indices == nullptr) return 0;
    return mesh.face_index_count != 0 ? mesh.face_index_count : std::numeric_limits<std::uint64_t>::max();
}

/// The triangles of a face of any number of corners.
void write_fan(triangle_writer &writer, const ogawa_polymesh &mesh, std::uint64_t face,
               std::uint64_t face_end) {
    const std::uint32_t first = corner_vertex(mesh, face);
    std::uint32_t previous = corner_vertex(mesh, face + 1);
    for (std::uint64_t corner = face + 2; corner < face_end; ++corner) {
        const std::uint32_t vertex = corner_vertex(mesh, corner);
        writer.add(first, previous, vertex);
        previous = vertex;
    }
}

/// Whether the counts may be followed. A slip leads a few corners beyond the indices; a hostile file's counts lead
/// billions beyond and would make gigabytes of a small mesh.
bool counts_fit_mesh(const ogawa_polymesh &mesh) {
    if (mesh.face_indices != nullptr && mesh.face_index_count == 0) return true; // the caller knows how many
    constexpr std::uint64_t most_missing = 1 << 24; // corners: 200 MB of triangles
    std::uint64_t corners = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f)
        corners += mesh.face_counts[f];
    const std::uint64_t held = mesh.face_indices == nullptr ? 0 : mesh.face_index_count;
    return corners <= held + most_missing;
}

/// Fans every face about its first corner; faces of fewer than 3 corners give no triangle.
void write_fans(std::FILE *file, const ogawa_polymesh &mesh, std::uint64_t triangles) {
    if (triangles > std::numeric_limits<std::uint32_t>::max() || !counts_fit_mesh(mesh)) return;
    // The whole block is asked for, and left out where it cannot be had; only its beginning is put to use.
    const scratch<std::uint32_t> block(heap_array<std::uint32_t>(triangles * 3));
    if (block == nullptr) return;
    triangle_writer writer(file, block.get(), triangles);
    const std::uint64_t held = corners_held(mesh);
    std::uint64_t face_end = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f) {
        const std::uint64_t face = face_end;
        face_end += mesh.face_counts[f];
        if (mesh.face_counts[f] == 4 && face_end <= held) { // what most faces of most meshes are
            const std::uint32_t *const corners = mesh.face_indices + face;
            writer.add(corners[0], corners[1], corners[2]);
            writer.add(corners[0], corners[2], corners[3]);
        } else if (mesh.face_counts[f] >= 3) {
            write_fan(writer, mesh, face, face_end);
        }
    }
}

void write_triangles(std::FILE *file, const ogawa_polymesh &mesh, std::uint64_t triangles) {
    if (has_face_counts(mesh))
        write_fans(file, mesh, triangles);
    else if (mesh.face_indices != nullptr)
        write_array(file, mesh.face_indices, triangles * 3);
}

void write_skin(std::FILE *file, const qel_skin &skin) {
    write_array(file, &skin.joint_count, 1);
    write_array(file, skin.joints, skin.joint_count);
    write_array(file, &skin.weight_count, 1);
    write_array(file, skin.weights, skin.weight_count);
    write_array(file, skin.bind_extra, sizeof skin.bind_extra);
}

// ---- Loading: nothing that the file says is believed beyond the mapping ---------------------------------------

load_status status_of(mapping_outcome outcome) {
    switch (outcome) {
    case mapping_outcome::cannot_open:
        return cannot_open;
    case mapping_outcome::no_mapping:
        return no_mapping;
    case mapping_outcome::no_view:
        return no_view;
    case mapping_outcome::mapped:
        break;
    }
    return loaded;
}

/// A place in the mapping that is handed out. The offset is the file's and may lead anywhere: it is not followed
/// here, and pointer arithmetic is not defined outside the mapping.
template <class T>
const T *place(const void *view, std::uint32_t offset) {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(view) + offset;
    return reinterpret_cast<const T *>(address); // NOLINT(performance-no-int-to-ptr)
}

/// Bytes of the mapping, read from front to back.
class mapped_bytes {
  public:
    mapped_bytes(const file_mapping &mapping, std::uint64_t offset)
        : data_(static_cast<const std::uint8_t *>(mapping.view)), size_(mapping.size), position_(offset) {}

    bool hold(std::uint64_t size) const { return position_ <= size_ && size <= size_ - position_; }
    void skip(std::uint64_t size) { position_ += size; }
    /// Copies bytes that are there.
    void copy(void *out, std::uint64_t size) const {
        std::memcpy(out, data_ + position_, static_cast<std::size_t>(size));
    }
    /// Reads bytes and moves on; false where they are not all there.
    bool read(void *out, std::uint64_t size) {
        if (!hold(size)) return false;
        copy(out, size);
        skip(size);
        return true;
    }

  private:
    const std::uint8_t *data_;
    std::uint64_t size_;
    std::uint64_t position_;
};

/// Reads a count and copies as many records, without moving past them; null where there is no memory for them.
/// False where they do not lie inside the mapping.
template <class T>
bool copy_records(mapped_bytes &bytes, T *&records, std::uint32_t &count) {
    if (!bytes.read(&count, sizeof count) || !bytes.hold(std::uint64_t{count} * sizeof(T))) return false;
    records = heap_array<T>(count);
    if (records != nullptr) bytes.copy(records, std::uint64_t{count} * sizeof(T));
    return true;
}

/// False where the block does not lie inside the mapping.
bool read_skin(mapped_bytes bytes, qel_skin &skin) {
    if (!copy_records(bytes, skin.joints, skin.joint_count)) return false;
    // Without memory for the joints, the weights are read from where the joints lie: the count is their first word.
    if (skin.joints != nullptr) bytes.skip(std::uint64_t{skin.joint_count} * sizeof *skin.joints);
    if (!copy_records(bytes, skin.weights, skin.weight_count)) return false;
    bytes.skip(std::uint64_t{skin.weight_count} * sizeof *skin.weights);
    return bytes.read(skin.bind_extra, sizeof skin.bind_extra);
}

void release_skin(qel_skin *&skin) {
    if (skin == nullptr) return;
    qel_skin_free(skin);
    release(skin);
}

/// A copy of the skin block; null where there is no memory for it or it does not lie inside the mapping.
qel_skin *load_skin(const file_mapping &mapping, std::uint32_t offset) {
    auto *skin = heap_zeroed<qel_skin>(1);
    if (skin != nullptr && !read_skin(mapped_bytes(mapping, offset), *skin)) release_skin(skin);
    return skin;
}

} // namespace
} // namespace qel

extern "C" {

int32_t qel_mesh_save(const ogawa_polymesh *mesh, const qel_skin *skin, const char *path) {
    using namespace qel;
    if (mesh == nullptr || path == nullptr || mesh->vertex_count == 0) return nothing_to_save;
    if (!indices_in_range(*mesh)) return index_out_of_range;
    const file_stream file(std::fopen(path, "wb"));
    if (file == nullptr) return cannot_create;
    const std::uint64_t triangles = count_triangles(*mesh);
    const qel_mesh_header header = make_header(*mesh, skin, triangles);
    write_array(file.get(), &header, 1);
    write_array(file.get(), mesh->positions, std::uint64_t{mesh->vertex_count} * 3);
    if (has_normals(*mesh)) write_normals(file.get(), *mesh);
    write_triangles(file.get(), *mesh, triangles);
    if (has_joints(skin)) write_skin(file.get(), *skin);
    return saved;
}

int32_t qel_mesh_load(const char *path, qel_mesh *mesh) {
    using namespace qel;
    if (path == nullptr || mesh == nullptr) return no_argument;
    *mesh = {};
    file_mapping mapping;
    const load_status status = status_of(map_file(path, mapping));
    if (status != loaded) return status;

    qel_mesh_header header = {}; // what a short file does not hold stays zero
    std::memcpy(&header, mapping.view,
                std::min<std::size_t>(sizeof header, static_cast<std::size_t>(mapping.size)));
    if (std::memcmp(header.magic, mesh_cache_magic, sizeof header.magic) != 0) {
        unmap_file(mapping);
        return wrong_magic;
    }
    mesh->header = header;
    mesh->view = mapping.view;
    mesh->file_size = mapping.size;
    mesh->positions = place<float>(mapping.view, header.positions_offset);
    if (header.flags & QEL_MESH_HAS_NORMALS)
        mesh->normals = place<float>(mapping.view, header.normals_offset);
    mesh->indices = place<std::uint32_t>(mapping.view, header.indices_offset);
    if (header.flags & QEL_MESH_HAS_SKIN) mesh->skin = load_skin(mapping, header.skin_offset);
    return loaded;
}

void qel_mesh_free(qel_mesh *mesh) {
    using namespace qel;
    if (mesh == nullptr) return;
    if (mesh->view != nullptr) unmap_file({mesh->view, mesh->file_size});
    release_skin(mesh->skin);
    *mesh = {};
}

int32_t qel_mesh_get_gpu_data(const qel_mesh *mesh, const float **positions, const float **normals,
                              const uint32_t **indices, uint32_t *vertex_count, uint32_t *triangle_count) {
    using namespace qel;
    if (mesh == nullptr || mesh->view == nullptr) return not_mapped;
    if (positions != nullptr) *positions = mesh->positions;
    if (normals != nullptr) *normals = mesh->normals;
    if (indices != nullptr) *indices = mesh->indices;
    if (vertex_count != nullptr) *vertex_count = mesh->header.vertex_count;
    if (triangle_count != nullptr) *triangle_count = mesh->header.triangle_count;
    return loaded;
}
}
