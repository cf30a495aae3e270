// SPDX-License-Identifier: MIT
// Tangents and bitangents of a mesh, computed from its positions and UVs.
#include "qel_unit.h"

#include "common/heap.h"
#include "ogawa_reader/geometry/faces.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace qel {
namespace {

constexpr std::uint32_t components_per_vector = 3;

struct vec3 {
    float x, y, z;
};

vec3 operator-(const vec3 &a, const vec3 &b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

vec3 operator*(const vec3 &a, float factor) {
    return {a.x * factor, a.y * factor, a.z * factor};
}

vec3 vector_at(const float *vectors, std::uint32_t number) {
    const float *const vector = vectors + std::size_t{number} * components_per_vector;
    return {vector[0], vector[1], vector[2]};
}

void add_to(float *vectors, std::uint32_t number, const vec3 &addend) {
    float *const vector = vectors + std::size_t{number} * components_per_vector;
    vector[0] += addend.x;
    vector[1] += addend.y;
    vector[2] += addend.z;
}

struct uv_pair {
    float u, v;
};

/// The UVs of a mesh's corners.
class uv_lookup {
  public:
    explicit uv_lookup(const ogawa_uv_set &set)
        : values_(set.values), value_count_(set.value_count),
          indices_(set.scope == OGAWA_SCOPE_FACE_VARYING ? set.indices : nullptr),
          index_count_(set.index_count != 0 ? set.index_count : no_bound) {
        if (indices_ != nullptr && value_count_ == 0) value_count_ = no_bound;
    }

    /// The value at the corner's index in a face-varying set with indices, else at its vertex. A missing or
    /// out-of-range number reads value 0.
    uv_pair at(std::uint32_t corner, std::uint32_t vertex) const {
        if (values_ == nullptr) return {0.0f, 0.0f};
        std::uint32_t number = vertex;
        if (indices_ != nullptr) number = corner < index_count_ ? indices_[corner] : 0;
        if (number >= value_count_) number = 0;
        const float *const value = values_ + std::size_t{number} * 2;
        return {value[0], value[1]};
    }

  private:
    /// For a record filled by hand that gives no length of an array.
    static constexpr std::uint64_t no_bound = std::numeric_limits<std::uint64_t>::max();

    const float *values_;
    std::uint64_t value_count_;
    const std::uint32_t *indices_;
    std::uint64_t index_count_;
};

struct face_frame {
    vec3 tangent, bitangent;
};

/// The directions in which u and v grow on a triangle. If the UVs span no area the vectors are very long, but the face
/// still counts: the sums are normalized.
face_frame frame_of(const vec3 (&points)[3], const uv_pair (&uvs)[3]) {
    const vec3 e1 = points[1] - points[0], e2 = points[2] - points[0];
    const float du1 = uvs[1].u - uvs[0].u, dv1 = uvs[1].v - uvs[0].v;
    const float du2 = uvs[2].u - uvs[0].u, dv2 = uvs[2].v - uvs[0].v;
    const float det = du1 * dv2 - dv1 * du2;
    const float r = std::fabs(det) < 1e-8f ? 1e8f : 1.0f / det;
    return {(e1 * dv2 - e2 * dv1) * r, (e2 * du1 - e1 * du2) * r};
}

/// The vectors of a face, from its first three corners; false if one of their vertices does not exist.
bool find_face_frame(const ogawa_polymesh &mesh, const uv_lookup &uvs, std::uint32_t first, face_frame &frame) {
    vec3 points[3];
    uv_pair corner_uvs[3];
    for (std::uint32_t m = 0; m < 3; ++m) {
        const std::uint32_t vertex = mesh.face_indices[first + m];
        if (vertex >= mesh.vertex_count) return false;
        points[m] = vector_at(mesh.positions, vertex);
        corner_uvs[m] = uvs.at(first + m, vertex);
    }
    frame = frame_of(points, corner_uvs);
    return true;
}

/// Adds each face's vectors to all its vertices. A face of fewer than three corners adds nothing, nor does a face with
/// an invalid vertex among its first three.
void accumulate(const ogawa_polymesh &mesh, const uv_lookup &uvs) {
    if (mesh.positions == nullptr) return;
    const mesh_faces faces(mesh);
    const std::uint32_t vertex_count = mesh.vertex_count;
    float *const tangents = mesh.tangent_frame.tangents;
    float *const bitangents = mesh.tangent_frame.bitangents;
    std::uint32_t end = 0;
    for (std::uint32_t face = 0; face < faces.count && end < faces.readable; ++face) {
        const std::uint32_t first = end;
        end = faces.end_of(face, first);
        face_frame frame;
        if (end - first < 3 || !find_face_frame(mesh, uvs, first, frame)) continue;
        for (std::uint32_t corner = first; corner < end; ++corner) {
            const std::uint32_t vertex = faces.indices[corner];
            if (vertex >= vertex_count) continue;
            add_to(tangents, vertex, frame.tangent);
            add_to(bitangents, vertex, frame.bitangent);
        }
    }
}

/// Normalizes vectors. A vector of length 1e-8 or less, or whose length is NaN, does not change.
void normalize(float *vectors, std::uint32_t count) {
    float *const end = vectors + std::size_t{count} * components_per_vector;
    for (float *vector = vectors; vector != end; vector += components_per_vector) {
        const float x = vector[0], y = vector[1], z = vector[2];
        const float length = std::sqrt(x * x + y * y + z * z);
        if (!(length > 1e-8f)) continue;
        vector[0] = x / length;
        vector[1] = y / length;
        vector[2] = z / length;
    }
}

/// Whether a set has this name. In a field without a terminator all characters belong to the name.
bool has_name(const ogawa_uv_set &set, const char *name) {
    for (const char character : set.name) {
        if (character != *name) return false;
        if (character == '\0') return true;
        ++name;
    }
    return *name == '\0';
}

/// The set of that name, or the first for a null name; null if there is none.
const ogawa_uv_set *choose_set(const ogawa_polymesh &mesh, const char *name) {
    if (mesh.uv_sets == nullptr || name == nullptr) return mesh.uv_sets;
    const ogawa_uv_set *const end = mesh.uv_sets + mesh.uv_set_count;
    const ogawa_uv_set *const chosen = std::find_if(static_cast<const ogawa_uv_set *>(mesh.uv_sets), end,
                                                    [name](const ogawa_uv_set &set) { return has_name(set, name); });
    return chosen == end ? nullptr : chosen;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t ogawa_compute_tangent_frame(ogawa_polymesh *mesh, const char *uv_set_name) {
    if (mesh == nullptr || mesh->vertex_count == 0 || mesh->uv_set_count == 0)
        return OGAWA_COMPUTE_TANGENT_FRAME_BAD_ARGUMENT;
    const ogawa_uv_set *const set = choose_set(*mesh, uv_set_name);
    if (set == nullptr) return OGAWA_COMPUTE_TANGENT_FRAME_NOT_FOUND;
    ogawa_tangent_frame &frame = mesh->tangent_frame;
    frame.count = mesh->vertex_count;
    const std::uint64_t float_count = std::uint64_t{frame.count} * components_per_vector;
    frame.tangents = heap_zeroed<float>(float_count);
    frame.bitangents = heap_zeroed<float>(float_count);
    if (frame.tangents == nullptr || frame.bitangents == nullptr) return OGAWA_COMPUTE_TANGENT_FRAME_NO_MEMORY;
    accumulate(*mesh, uv_lookup(*set));
    normalize(frame.tangents, frame.count);
    normalize(frame.bitangents, frame.count);
    frame.components = components_per_vector;
    return QEL_OK;
}

void ogawa_free_tangent_frame(ogawa_tangent_frame *frame) {
    if (frame == nullptr) return;
    release(frame->tangents);
    release(frame->bitangents);
    frame->count = 0;
}

} // extern "C"
