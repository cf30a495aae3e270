// SPDX-License-Identifier: MIT
#include "model/mesh_cache_model.h"

#include "support/temp_folder.h"

#include <cmath>
#include <cstring>

namespace qel::model {

namespace {

using test::append;
using test::bytes;

/// Corners of face f where faces are walked for normals.
std::uint32_t corners_of(const ogawa_polymesh &mesh, std::uint32_t f) {
    return mesh.face_counts != nullptr ? mesh.face_counts[f] : 3;
}

void put_normals(bytes &out, const ogawa_polymesh &mesh) {
    const std::uint32_t V = mesh.vertex_count;
    if (mesh.normal_scope == 3 && mesh.normal_count == V) {
        for (std::size_t i = 0; i < std::size_t{V} * 3; ++i)
            append(out, mesh.normals[i]);
        return;
    }
    std::vector<float> sums(std::size_t{V} * 3, 0.0f);
    std::vector<std::uint32_t> counts(V, 0);
    std::size_t k = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f)
        for (std::uint32_t c = 0; c < corners_of(mesh, f); ++c, ++k) {
            if (k >= mesh.face_index_count || mesh.face_indices == nullptr) continue;
            const float *normal = k < mesh.normal_count ? &mesh.normals[k * 3] : &mesh.normals[0];
            const std::size_t w = mesh.face_indices[k];
            if (w >= V) continue;
            sums[w * 3] += normal[0];
            sums[w * 3 + 1] += normal[1];
            sums[w * 3 + 2] += normal[2];
            counts[w] += 1;
        }
    for (std::size_t v = 0; v < V; ++v) {
        float &x = sums[v * 3], &y = sums[v * 3 + 1], &z = sums[v * 3 + 2];
        if (counts[v] > 0) {
            const float length = std::sqrt(x * x + y * y + z * z);
            if (length > 1e-8f) {
                x /= length;
                y /= length;
                z /= length;
            }
        }
        append(out, x);
        append(out, y);
        append(out, z);
    }
}

std::uint32_t corner(const ogawa_polymesh &mesh, std::uint64_t k) {
    if (mesh.face_indices == nullptr) return 0;
    if (mesh.face_index_count > 0 && k >= mesh.face_index_count) return 0;
    return mesh.face_indices[k];
}

/// Corners that the faces claim and the indices do not hold.
std::uint64_t missing_corners(const ogawa_polymesh &mesh) {
    if (mesh.face_indices != nullptr && mesh.face_index_count == 0) return 0;
    std::uint64_t claimed = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f)
        claimed += mesh.face_counts[f];
    const std::uint64_t held = mesh.face_indices != nullptr ? mesh.face_index_count : 0;
    return claimed > held ? claimed - held : 0;
}

void put_triangles(bytes &out, const ogawa_polymesh &mesh, std::uint64_t T) {
    if (mesh.face_counts == nullptr || mesh.face_count == 0) {
        for (std::uint64_t i = 0; mesh.face_indices != nullptr && i < T * 3; ++i)
            append(out, mesh.face_indices[i]);
        return;
    }
    if (T > 0xFFFFFFFFu || missing_corners(mesh) > 16777216) return;
    std::uint64_t k = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f) {
        const std::uint32_t c = mesh.face_counts[f];
        for (std::uint32_t i = 1; c >= 3 && i + 1 < c; ++i) {
            append(out, corner(mesh, k));
            append(out, corner(mesh, k + i));
            append(out, corner(mesh, k + i + 1));
        }
        k += c;
    }
}

void put_skin(bytes &out, const qel_skin &skin) {
    append(out, skin.joint_count);
    for (std::uint32_t j = 0; j < skin.joint_count; ++j)
        append(out, skin.joints != nullptr ? skin.joints[j] : qel_skin_joint{});
    append(out, skin.weight_count);
    for (std::uint32_t i = 0; i < skin.weight_count; ++i)
        append(out, skin.weights != nullptr ? skin.weights[i] : qel_skin_weight{});
    append(out, skin.bind_extra);
}

/// Bytes of the file from an offset on; false where they are not all there.
bool get(const bytes &file, std::uint64_t offset, void *value, std::uint64_t size) {
    for (std::uint64_t i = 0; i < size; ++i) {
        if (offset + i >= file.size()) return false;
        static_cast<std::uint8_t *>(value)[i] = file[offset + i];
    }
    return true;
}

bool get_skin(const bytes &file, std::uint64_t offset, loaded_mesh &mesh) {
    std::uint32_t count = 0;
    if (!get(file, offset, &count, 4)) return false;
    offset += 4;
    for (std::uint32_t j = 0; j < count; ++j, offset += 328) {
        qel_skin_joint joint;
        if (!get(file, offset, &joint, 328)) return false;
        mesh.joints.push_back(joint);
    }
    if (!get(file, offset, &count, 4)) return false;
    offset += 4;
    for (std::uint32_t i = 0; i < count; ++i, offset += 20) {
        qel_skin_weight weight;
        if (!get(file, offset, &weight, 20)) return false;
        mesh.weights.push_back(weight);
    }
    mesh.bind_extra.resize(128);
    return get(file, offset, mesh.bind_extra.data(), 128);
}

} // namespace

std::uint64_t triangle_count(const ogawa_polymesh &mesh) {
    if (mesh.face_counts == nullptr || mesh.face_count == 0) return mesh.face_index_count / 3;
    std::uint64_t triangles = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f) {
        const std::uint32_t c = mesh.face_counts[f];
        triangles += c > 2 ? c - 2 : 0;
    }
    return triangles;
}

saved_mesh save_mesh(const ogawa_polymesh &mesh, const qel_skin *skin) {
    const std::uint32_t V = mesh.vertex_count;
    if (V == 0) return {-1, {}};
    if (mesh.face_indices != nullptr)
        for (std::uint32_t i = 0; i < mesh.face_index_count; ++i)
            if (mesh.face_indices[i] >= V) return {-10, {}};

    const bool normals = mesh.normals != nullptr && mesh.normal_count > 0;
    const bool skinned = skin != nullptr && skin->joint_count > 0;
    const std::uint64_t T = triangle_count(mesh);
    const std::uint64_t indices_at = 64 + std::uint64_t{V} * 12 * (normals ? 2 : 1);
    bytes out;
    for (const char letter : {'Q', 'E', 'L', 'M'})
        append(out, letter);
    append(out, std::uint16_t{2});
    append(out, static_cast<std::uint16_t>((normals ? 1 : 0) + (skinned ? 4 : 0)));
    append(out, V);
    append(out, static_cast<std::uint32_t>(T));
    append(out, skin != nullptr ? skin->joint_count : 0u);
    append(out, 1u);
    append(out, mesh.bounds_min);
    append(out, mesh.bounds_max);
    append(out, 64u);
    append(out, normals ? static_cast<std::uint32_t>(64 + std::uint64_t{V} * 12) : 0u);
    append(out, static_cast<std::uint32_t>(indices_at));
    append(out, skinned ? static_cast<std::uint32_t>(indices_at + 12 * T) : 0u);
    for (std::size_t i = 0; i < std::size_t{V} * 3; ++i)
        append(out, mesh.positions != nullptr ? mesh.positions[i] : 0.0f);
    if (normals) put_normals(out, mesh);
    put_triangles(out, mesh, T);
    if (skinned) put_skin(out, *skin);
    return {0, out};
}

loaded_mesh load_mesh(const bytes &file) {
    loaded_mesh mesh;
    if (file.empty()) {
        mesh.status = -3;
        return mesh;
    }
    bytes padded = file;
    padded.resize(64 > file.size() ? 64 : file.size());
    std::memcpy(&mesh.header, padded.data(), 64);
    if (std::memcmp(mesh.header.magic, "QELM", 4) != 0) {
        mesh = {};
        mesh.status = -5;
        return mesh;
    }
    if ((mesh.header.flags & 4) != 0) mesh.has_skin = get_skin(file, mesh.header.skin_offset, mesh);
    return mesh;
}

const char *difference(const qel_mesh &mesh, const bytes &file, const loaded_mesh &expected) {
    if (std::memcmp(&mesh.header, &expected.header, sizeof mesh.header) != 0) return "header";
    if (mesh.view == nullptr || mesh.file_size != file.size()) return "mapping";
    if (std::memcmp(mesh.view, file.data(), file.size()) != 0) return "mapped bytes";
    const auto place = [&mesh](std::uint32_t offset) { // where it leads, without following it
        return reinterpret_cast<const void *>(reinterpret_cast<std::uintptr_t>(mesh.view) + offset);
    };
    const bool has_normals = (expected.header.flags & 1) != 0;
    if (mesh.positions != place(expected.header.positions_offset)) return "positions";
    if (mesh.normals != (has_normals ? place(expected.header.normals_offset) : nullptr)) return "normals";
    if (mesh.indices != place(expected.header.indices_offset)) return "indices";
    if ((mesh.skin != nullptr) != expected.has_skin) return "skin";
    if (mesh.skin == nullptr) return nullptr;
    const qel_skin &skin = *mesh.skin;
    const auto same = [](const void *found, const auto &values) {
        const std::size_t size = values.size() * sizeof values[0];
        return found != nullptr && (size == 0 || std::memcmp(found, values.data(), size) == 0);
    };
    if (skin.joint_count != expected.joints.size() || !same(skin.joints, expected.joints)) return "joints";
    if (skin.weight_count != expected.weights.size() || !same(skin.weights, expected.weights)) return "weights";
    return same(skin.bind_extra, expected.bind_extra) ? nullptr : "bind extra";
}

} // namespace qel::model
