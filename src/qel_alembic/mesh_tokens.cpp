// SPDX-License-Identifier: MIT
#include "common/bounds.h"
#include "common/heap.h"
#include "common/text.h"
#include "qel_alembic/lattice_run.h"
#include "qel_alembic/vertex_tokens.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

constexpr std::uint32_t topology_seed = 0x5A5A5A5A; // the hash of a vertex in no face
constexpr std::uint8_t raw_layer = 1;

/// The value that a face adds to the hash of each of its vertices.
std::uint32_t face_mix(const std::uint32_t *face) {
    return face[0] * 0x1F1F1F1F ^ face[1] * 0x2E2E2E2E ^ face[2] * 0x3D3D3D3D;
}

std::uint32_t with_face(std::uint32_t hash, std::uint32_t mix) {
    hash ^= mix;
    return hash << 5 | hash >> 27;
}

bool allocate_where_null(qel_alembic_mesh &mesh) {
    // Zeroed because the padding is written to scene files.
    if (mesh.vertices == nullptr) mesh.vertices = heap_zeroed<qel_alembic_vertex>(mesh.vertex_count);
    if (mesh.vertices == nullptr) return false;
    if (mesh.tokens == nullptr) mesh.tokens = heap_zeroed<qel_alembic_token>(mesh.vertex_count);
    return mesh.tokens != nullptr;
}

/// Adds each face to the hashes of its vertices, face by face, so that every hash receives its faces in order.
/// `hash_of` returns a reference to a vertex's hash.
template <class HashOf>
void hash_faces(const qel_alembic_mesh &mesh, HashOf hash_of) {
    const std::uint32_t vertex_count = mesh.vertex_count;
    const auto add_face = [=](std::uint32_t vertex, std::uint32_t mix) {
        if (vertex >= vertex_count) return; // the only check of the indices
        std::uint32_t &hash = hash_of(vertex);
        hash = with_face(hash, mix);
    };
    const std::uint32_t *const end = mesh.indices + std::uint64_t{mesh.face_count} * 3;
    for (const std::uint32_t *face = mesh.indices; face != end; face += 3) {
        const std::uint32_t a = face[0], b = face[1], c = face[2];
        const std::uint32_t mix = face_mix(face);
        add_face(a, mix); // a vertex that occurs twice in the face is added once
        if (b != a) add_face(b, mix);
        if (c != a && c != b) add_face(c, mix);
    }
}

/// The topology hashes of all vertices.
template <class HashOf>
void hash_topology(const qel_alembic_mesh &mesh, HashOf hash_of) {
    const bool has_faces = mesh.indices != nullptr && mesh.face_count != 0;
    for (std::uint64_t i = 0; i < mesh.vertex_count; ++i)
        hash_of(static_cast<std::uint32_t>(i)) = has_faces ? topology_seed : 0;
    if (has_faces) hash_faces(mesh, hash_of);
}

/// Writes each vertex record and token once. `hash_of` may return references into the records.
template <class HashOf>
void fill_records(qel_alembic_mesh &mesh, HashOf hash_of) {
    const lattice_box box = span_lattice(mesh.bounds);
    lattice_run run;
    for (std::uint64_t first = 0; first < mesh.vertex_count; first += lattice_run::size) {
        const auto count =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(lattice_run::size, mesh.vertex_count - first));
        run.place(mesh.positions + 3 * first, count, box);
        for (std::uint32_t i = 0; i < count; ++i) {
            const auto number = static_cast<std::uint32_t>(first + i);
            qel_alembic_vertex &vertex = mesh.vertices[number];
            run.fill(i, vertex);
            vertex.topology = hash_of(number);
            make_token(vertex, mesh.layer, 0, number, mesh.tokens[number]);
        }
    }
}

/// Updates the hashes of the vertex records; without positions nothing else in them changes.
template <class HashOf>
void refresh_records(qel_alembic_mesh &mesh, HashOf hash_of) {
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i) {
        mesh.vertices[i].topology = hash_of(i);
        make_token(mesh.vertices[i], mesh.layer, 0, i, mesh.tokens[i]);
    }
}

template <class HashOf>
void process(qel_alembic_mesh &mesh, HashOf hash_of) {
    hash_topology(mesh, hash_of);
    if (mesh.positions != nullptr)
        fill_records(mesh, hash_of);
    else
        refresh_records(mesh, hash_of);
}

/// Faces refer to their vertices in any order, so the hashes of a large mesh are computed in an array: ten hashes take
/// as much memory as one record. Without memory for the array they are computed in the records.
void process_all(qel_alembic_mesh &mesh) {
    constexpr std::uint32_t max_records_in_cache = 4096;
    scratch<std::uint32_t> hash_array;
    if (mesh.vertex_count > max_records_in_cache) hash_array.reset(heap_array<std::uint32_t>(mesh.vertex_count));
    std::uint32_t *const hashes = hash_array.get();
    qel_alembic_vertex *const vertices = mesh.vertices;
    if (hashes != nullptr)
        process(mesh, [=](std::uint32_t vertex) -> std::uint32_t & { return hashes[vertex]; });
    else
        process(mesh, [=](std::uint32_t vertex) -> std::uint32_t & { return vertices[vertex].topology; });
}

/// Copies `count` triples; null when there is no memory.
template <class T>
T *copy_triples(const T *source, std::uint32_t count) {
    T *copy = heap_array<T>(std::uint64_t{count} * 3);
    if (copy != nullptr) std::memcpy(copy, source, std::size_t{count} * 3 * sizeof(T));
    return copy;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::uint32_t qel_alembic_topology_hash(std::uint32_t vertex_index, const std::uint32_t *indices,
                                        std::uint32_t face_count) {
    if (indices == nullptr || face_count == 0) return 0;
    std::uint32_t hash = topology_seed;
    const std::uint32_t *const end = indices + std::uint64_t{face_count} * 3;
    for (const std::uint32_t *face = indices; face != end; face += 3) {
        if (face[0] == vertex_index || face[1] == vertex_index || face[2] == vertex_index)
            hash = with_face(hash, face_mix(face));
    }
    return hash;
}

std::int32_t qel_alembic_process_mesh(qel_alembic_mesh *mesh, std::uint8_t layer) {
    if (mesh == nullptr || mesh->vertex_count == 0) return QEL_ALEMBIC_PROCESS_MESH_BAD_ARGUMENT;
    if (!allocate_where_null(*mesh)) return QEL_ALEMBIC_PROCESS_MESH_NO_MEMORY;
    mesh->layer = layer;
    if (mesh->positions != nullptr) {
        // A box is unset if both x bounds are 0: the box of a mesh flat at x = 0 is computed at every call.
        if (mesh->bounds[0] == 0.0f && mesh->bounds[3] == 0.0f)
            compute_bounds(mesh->positions, mesh->vertex_count, mesh->bounds);
    }
    process_all(*mesh);
    return QEL_OK;
}

std::int32_t qel_alembic_load_raw(const float *positions, std::uint32_t vertex_count, const std::uint32_t *indices,
                                  std::uint32_t face_count, const char *name, qel_alembic_mesh *out) {
    if (positions == nullptr || out == nullptr) return QEL_ALEMBIC_LOAD_RAW_BAD_ARGUMENT;
    std::memset(out, 0, sizeof *out);
    copy_text(out->name, name != nullptr ? name : "unnamed");
    out->vertex_count = vertex_count;
    out->face_count = face_count;
    out->positions = copy_triples(positions, vertex_count);
    if (out->positions == nullptr) return QEL_ALEMBIC_LOAD_RAW_NO_MEMORY;
    if (face_count > 0 && indices != nullptr) {
        out->indices = copy_triples(indices, face_count);
        if (out->indices == nullptr) {
            std::free(out->positions); // the record keeps the pointer, as documented
            return QEL_ALEMBIC_LOAD_RAW_NO_MEMORY;
        }
    }
    if (vertex_count > 0) compute_bounds(positions, vertex_count, out->bounds);
    return qel_alembic_process_mesh(out, raw_layer);
}

} // extern "C"
