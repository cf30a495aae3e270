// SPDX-License-Identifier: MIT
#include "model/polymesh_model.h"

#include "model/bounds_model.h"
#include "model/mesh_scan_model.h"
#include "model/node_walk_model.h"
#include "support/stream_position.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace qel::model {

namespace {

using test::length_of;
using test::seek_stream;

template <class T>
bool read_value(std::FILE *stream, T &value) {
    return std::fread(&value, 1, sizeof value, stream) == sizeof value;
}

struct candidate {
    std::uint64_t p = 0, n = 0;
};

struct candidates {
    candidate positions, normals, face_counts, face_indices;
};

float as_float(std::uint32_t word) {
    float value;
    std::memcpy(&value, &word, 4);
    return value;
}

bool out_of_range(std::uint32_t word) {
    const float v = as_float(word);
    return std::isnan(v) || std::isinf(v) || std::fabs(v) > 50000.0f;
}

float largest(const std::uint32_t *w, int first, int last) {
    float result = 0.0f;
    for (int i = first; i <= last; ++i)
        if (std::fabs(as_float(w[i])) > result) result = std::fabs(as_float(w[i]));
    return result;
}

bool all_in_range(const std::uint32_t *w, int first, int last) {
    for (int i = first; i <= last; ++i)
        if (out_of_range(w[i])) return false;
    return true;
}

void replace_if_larger(candidate &best, std::uint64_t p, std::uint64_t n) {
    if (n > best.n) best = {p, n};
}

void classify(std::FILE *stream, std::uint64_t p, std::uint64_t n, candidates &best) {
    std::uint32_t w[12];
    seek_stream(stream, p);
    if (std::fread(w, 1, 48, stream) < 48) return;
    int out_of_range_count = 0;
    for (int i = 0; i < 4; ++i)
        if (out_of_range(w[i])) ++out_of_range_count;
    if (out_of_range_count >= 2 && n > 16) {
        p += 16;
        n -= 16;
    } else if (out_of_range_count <= 1 && n > 16 && n % 12 != 0 && (n - 16) % 12 == 0 && n - 16 >= 10001 &&
               all_in_range(w, 4, 9) && largest(w, 4, 9) > 1.5f) {
        p += 16;
        n -= 16;
    }
    seek_stream(stream, p);
    if (std::fread(w, 1, 48, stream) < 24) return;

    bool face_count_test = false, face_index_test = false;
    if (n <= 10000) {
        if (!(n >= 1001 && n % 4 == 0)) return;
        face_count_test = true;
    } else {
        if (n % 12 == 0 && all_in_range(w, 0, 5)) {
            const float m = largest(w, 0, 5);
            if (m > 1.5f)
                replace_if_larger(best.positions, p, n);
            else if (m <= 1.1f)
                replace_if_larger(best.normals, p, n);
        }
        if (n % 4 != 0) return;
        if (n >= 500000)
            face_index_test = true;
        else
            face_count_test = true;
    }
    if (face_count_test) {
        int small = 0;
        for (int i = 0; i < 10; ++i)
            if (w[i] >= 3 && w[i] <= 8) ++small;
        if (small >= 8) replace_if_larger(best.face_counts, p, n);
        if (n > 10000) face_index_test = true;
    }
    if (face_index_test) {
        bool all_small = true;
        for (int i = 0; i < 10; ++i)
            if (w[i] > 99999) all_small = false;
        int differ = 0;
        for (int i = 0; i < 9; ++i)
            if (w[i] != w[i + 1]) ++differ;
        if (all_small && differ >= 5) replace_if_larger(best.face_indices, p, n);
    }
}

/// False sends the read to the fallback.
bool walk_and_classify(std::FILE *stream, candidates &best) {
    const std::uint64_t length = length_of(stream);
    std::uint64_t root, count, third;
    if (!seek_stream(stream, 8) || !read_value(stream, root)) return false;
    root &= 0x7FFFFFFFFFFFFFFFu;
    if (root == 0 || root >= length) return false;
    if (!seek_stream(stream, root) || !read_value(stream, count) || count < 3) return false;
    if (!seek_stream(stream, root + 24) || !read_value(stream, third)) return false;
    node_walk walk{stream, length, 500, 20, {}};
    walk.visit(static_cast<std::int64_t>(third), 0);
    for (const listed_node &node : walk.nodes)
        classify(stream, node.payload_at, node.payload_size, best);
    return best.positions.n != 0;
}

template <class T>
void read_winner(std::FILE *stream, candidate winner, std::uint32_t width, T **array, std::uint32_t *count) {
    if (winner.n == 0) return;
    *count = static_cast<std::uint32_t>(winner.n / width);
    *array = static_cast<T *>(std::malloc(winner.n));
    if (*array == nullptr) return;
    if (seek_stream(stream, winner.p) && std::fread(*array, 1, winner.n, stream) == winner.n) return;
    std::free(*array);
    *array = nullptr;
    *count = 0;
}

int finish(ogawa_polymesh *mesh) {
    if (mesh->positions != nullptr && mesh->vertex_count > 0) {
        float box[6];
        bounds(mesh->positions, mesh->vertex_count, box);
        for (int axis = 0; axis < 3; ++axis) {
            mesh->bounds_min[axis] = mesh->self_bounds_min[axis] = box[axis];
            mesh->bounds_max[axis] = mesh->self_bounds_max[axis] = box[axis + 3];
        }
    }
    for (int i = 0; i < 16; ++i)
        mesh->transform[i] = i % 5 == 0 ? 1.0 : 0.0;
    mesh->reserved_word = 1;
    return mesh->vertex_count != 0 ? 0 : -1;
}

bool unit_length(const float *v) {
    const float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return length > 0.95f && length < 1.05f;
}

} // namespace

void read_fallback_normals(std::FILE *stream, ogawa_polymesh *mesh) {
    const std::uint64_t length = length_of(stream);
    if (length >= 100 && length <= 116) return;
    std::uint64_t best_at = 0;
    std::uint32_t best_count = 0;
    for (std::uint64_t s = 16; s != length - 100; ++s) {
        std::uint64_t z;
        seek_stream(stream, s);
        if (!read_value(stream, z)) break;
        if (z < 10001 || z > 1999999 || (z - 16) % 12 != 0) continue;
        float f[6];
        seek_stream(stream, s + 24);
        if (!read_value(stream, f)) break;
        bool good = true;
        for (float v : f)
            if (std::isnan(v) || std::isinf(v) || v < -1.1f || v > 1.1f) good = false;
        if (!good || !unit_length(f) || !unit_length(f + 3)) continue;
        const std::uint32_t count = static_cast<std::uint32_t>((z - 16) / 12);
        if (count > best_count) {
            best_count = count;
            best_at = s + 24;
        }
    }
    if (best_count <= 99) return;
    seek_stream(stream, best_at);
    mesh->normal_count = best_count;
    mesh->normals = static_cast<float *>(std::malloc(std::size_t{best_count} * 12));
    if (mesh->normals == nullptr) return;
    if (std::fread(mesh->normals, 12, best_count, stream) < best_count) {
        std::free(mesh->normals);
        mesh->normals = nullptr;
        return;
    }
    mesh->normal_scope = 4;
}

void read_fallback_topology(std::FILE *stream, ogawa_polymesh *mesh) {
    const std::uint64_t length = length_of(stream);
    if (length - 4 < 17) return;
    const std::uint32_t vertices = mesh->vertex_count;
    std::uint64_t best_at = 0;
    std::uint32_t best_run = 0;
    for (std::uint64_t s = 16; s < length - 4; s += 4) {
        std::uint32_t word;
        seek_stream(stream, s);
        if (!read_value(stream, word)) break;
        if (word >= vertices) continue;
        std::uint32_t run = 1;
        while (run < 10000000 && read_value(stream, word) && (word < vertices || word == 3 || word == 4))
            ++run;
        if (run > best_run && run > 5) {
            best_run = run;
            best_at = s;
        }
    }
    if (best_run < 6) return;
    seek_stream(stream, best_at);
    mesh->face_index_count = best_run;
    mesh->face_indices = static_cast<std::uint32_t *>(std::calloc(best_run, 4));
    for (std::uint32_t i = 0; i < best_run; ++i) {
        std::uint32_t word;
        if (read_value(stream, word)) mesh->face_indices[i] = word;
    }
    mesh->face_count = best_run / 3;
    mesh->face_counts = static_cast<std::uint32_t *>(std::malloc(std::size_t{mesh->face_count} * 4));
    for (std::uint32_t i = 0; i < mesh->face_count; ++i)
        mesh->face_counts[i] = 3;
}

int read_polymesh(std::FILE *stream, const ogawa_object *object, ogawa_polymesh *mesh) {
    std::memset(mesh, 0, sizeof *mesh);
    std::snprintf(mesh->name, sizeof mesh->name, "%.255s", object != nullptr ? object->name : "mesh");
    std::snprintf(mesh->path, sizeof mesh->path, "%.1023s", object != nullptr ? object->path : "/mesh");
    candidates best;
    if (walk_and_classify(stream, best)) {
        read_winner(stream, best.positions, 12, &mesh->positions, &mesh->vertex_count);
        read_winner(stream, best.normals, 12, &mesh->normals, &mesh->normal_count);
        if (best.normals.n != 0) mesh->normal_scope = 4;
        read_winner(stream, best.face_counts, 4, &mesh->face_counts, &mesh->face_count);
        read_winner(stream, best.face_indices, 4, &mesh->face_indices, &mesh->face_index_count);
        return finish(mesh);
    }
    const int status = scan_positions(stream, &mesh->positions, &mesh->vertex_count);
    if (status != 0) return status;
    read_fallback_normals(stream, mesh);
    read_fallback_topology(stream, mesh);
    return finish(mesh);
}

void free_polymesh(ogawa_polymesh *mesh) {
    std::free(mesh->positions);
    std::free(mesh->normals);
    std::free(mesh->face_counts);
    std::free(mesh->face_indices);
    std::memset(mesh, 0, sizeof *mesh);
}

bool same_polymesh(const ogawa_polymesh &a, const ogawa_polymesh &b) {
    const auto same_array = [](const void *x, const void *y, std::size_t bytes) {
        return (x == nullptr) == (y == nullptr) && (x == nullptr || std::memcmp(x, y, bytes) == 0);
    };
    if (a.vertex_count != b.vertex_count || a.normal_count != b.normal_count || a.face_count != b.face_count ||
        a.face_index_count != b.face_index_count)
        return false;
    if (!same_array(a.positions, b.positions, std::size_t{a.vertex_count} * 12) ||
        !same_array(a.normals, b.normals, std::size_t{a.normal_count} * 12) ||
        !same_array(a.face_counts, b.face_counts, std::size_t{a.face_count} * 4) ||
        !same_array(a.face_indices, b.face_indices, std::size_t{a.face_index_count} * 4))
        return false;
    // Everything but the four arrays' addresses, the padding included: both were cleared as a whole.
    ogawa_polymesh rest_a, rest_b;
    std::memcpy(&rest_a, &a, sizeof a);
    std::memcpy(&rest_b, &b, sizeof b);
    for (ogawa_polymesh *mesh : {&rest_a, &rest_b}) {
        mesh->positions = mesh->normals = nullptr;
        mesh->face_counts = mesh->face_indices = nullptr;
    }
    return std::memcmp(&rest_a, &rest_b, sizeof rest_a) == 0;
}

} // namespace qel::model
