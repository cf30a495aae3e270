// SPDX-License-Identifier: MIT
// Meshes and skins to write to the mesh cache file, and its parts as a test reads them.
#pragma once

#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include "qel_unit.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace qel::test {

/// A mesh as vectors. Empty vectors are null in the record.
struct cache_mesh {
    std::vector<float> positions;
    std::vector<float> normals;
    std::uint32_t normal_scope = 0;
    std::vector<std::uint32_t> face_counts;
    std::vector<std::uint32_t> face_indices;

    /// A record that points into the vectors. Counts may be falsified afterwards.
    ogawa_polymesh record() {
        ogawa_polymesh mesh;
        std::memset(&mesh, 0, sizeof mesh);
        mesh.positions = positions.empty() ? nullptr : positions.data();
        mesh.vertex_count = static_cast<std::uint32_t>(positions.size() / 3);
        mesh.normals = normals.empty() ? nullptr : normals.data();
        mesh.normal_count = static_cast<std::uint32_t>(normals.size() / 3);
        mesh.normal_scope = normal_scope;
        mesh.face_counts = face_counts.empty() ? nullptr : face_counts.data();
        mesh.face_count = static_cast<std::uint32_t>(face_counts.size());
        mesh.face_indices = face_indices.empty() ? nullptr : face_indices.data();
        mesh.face_index_count = static_cast<std::uint32_t>(face_indices.size());
        return mesh;
    }
};

/// One quad in the plane z = 0.
inline cache_mesh quad() {
    cache_mesh mesh;
    mesh.positions = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    mesh.face_counts = {4};
    mesh.face_indices = {0, 1, 2, 3};
    return mesh;
}

/// A skin as vectors.
struct cache_skin {
    std::vector<qel_skin_joint> joints;
    std::vector<qel_skin_weight> weights;
    std::uint8_t bind_extra[128] = {};

    qel_skin record() {
        qel_skin skin;
        std::memset(&skin, 0, sizeof skin);
        skin.joints = joints.empty() ? nullptr : joints.data();
        skin.joint_count = static_cast<std::uint32_t>(joints.size());
        skin.weights = weights.empty() ? nullptr : weights.data();
        skin.weight_count = static_cast<std::uint32_t>(weights.size());
        std::memcpy(skin.bind_extra, bind_extra, sizeof skin.bind_extra);
        return skin;
    }
};

/// Joints and weights of random bytes.
inline cache_skin noise_skin(std::mt19937 &random, std::size_t joints, std::size_t weights) {
    const auto fill = [&random](void *out, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            static_cast<std::uint8_t *>(out)[i] = static_cast<std::uint8_t>(random());
    };
    cache_skin skin;
    skin.joints.resize(joints);
    skin.weights.resize(weights);
    fill(skin.joints.data(), joints * sizeof(qel_skin_joint));
    fill(skin.weights.data(), weights * sizeof(qel_skin_weight));
    fill(skin.bind_extra, sizeof skin.bind_extra);
    return skin;
}

inline qel_mesh_header header_of(const bytes &file) {
    qel_mesh_header header = {};
    std::memcpy(&header, file.data(), file.size() < sizeof header ? file.size() : sizeof header);
    return header;
}

/// Values of the file from an offset on.
template <class T>
std::vector<T> values_at(const bytes &file, std::size_t offset, std::size_t count) {
    if (file.size() < offset + count * sizeof(T)) return {};
    std::vector<T> values(count);
    if (count > 0) std::memcpy(values.data(), file.data() + offset, count * sizeof(T));
    return values;
}

/// Saves meshes to a file of its own and reads the file's blocks.
class mesh_cache_saving : public testing::Test {
  protected:
    std::int32_t save(const ogawa_polymesh &mesh, const qel_skin *skin = nullptr) {
        return qel_mesh_save(&mesh, skin, path_.c_str());
    }
    /// The file's content after a save that must succeed.
    bytes saved(const ogawa_polymesh &mesh, const qel_skin *skin = nullptr) {
        EXPECT_EQ(save(mesh, skin), 0);
        return read_file(path_);
    }
    std::vector<std::uint32_t> saved_triangles(cache_mesh mesh) {
        const bytes file = saved(mesh.record());
        const qel_mesh_header header = header_of(file);
        EXPECT_EQ(file.size(), header.indices_offset + header.triangle_count * 12);
        return values_at<std::uint32_t>(file, header.indices_offset, header.triangle_count * 3);
    }
    std::vector<float> saved_normals(const ogawa_polymesh &mesh) {
        const bytes file = saved(mesh);
        const qel_mesh_header header = header_of(file);
        EXPECT_EQ(header.flags, 1);
        return values_at<float>(file, header.normals_offset, header.vertex_count * 3);
    }

    temp_folder folder_;
    std::string path_ = folder_.file("mesh.qelm");
};

} // namespace qel::test
