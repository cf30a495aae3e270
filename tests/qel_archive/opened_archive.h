// SPDX-License-Identifier: MIT
// An archive that was built for a test and opened, queried by paths and names instead of by numbers.
#pragma once

#include "qel_archive.h"
#include "support/archive_builder.h"
#include "support/archive_schemas.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace qel::test {

using matrix_values = std::array<double, 16>;

constexpr matrix_values identity_matrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// A mesh that was read; released at the end.
class read_mesh {
  public:
    read_mesh(const qel_archive *archive, std::uint32_t object, std::uint64_t sample) {
        std::memset(&record_, 0xAB, sizeof record_);
        status = qel_archive_read_mesh(archive, object, sample, &record_);
    }
    ~read_mesh() { ogawa_free_polymesh(&record_); }
    read_mesh(const read_mesh &) = delete;
    read_mesh &operator=(const read_mesh &) = delete;

    const ogawa_polymesh *operator->() const { return &record_; }
    const ogawa_polymesh &operator*() const { return record_; }

    std::vector<float> positions() const { return list(record_.positions, std::size_t{record_.vertex_count} * 3); }
    std::vector<float> normals() const { return list(record_.normals, std::size_t{record_.normal_count} * 3); }
    std::vector<std::uint32_t> face_counts() const { return list(record_.face_counts, record_.face_count); }
    std::vector<std::uint32_t> face_indices() const { return list(record_.face_indices, record_.face_index_count); }
    std::vector<float> uvs(std::uint32_t set) const {
        return list(record_.uv_sets[set].values, std::size_t{record_.uv_sets[set].value_count} * 2);
    }
    std::vector<std::uint32_t> uv_indices(std::uint32_t set) const {
        return list(record_.uv_sets[set].indices, record_.uv_sets[set].index_count);
    }
    bool is_all_zero() const {
        static const ogawa_polymesh zero = {};
        return std::memcmp(&record_, &zero, sizeof record_) == 0;
    }

    std::int32_t status;

  private:
    template <class T>
    static std::vector<T> list(const T *values, std::size_t count) {
        return values == nullptr ? std::vector<T>() : std::vector<T>(values, values + count);
    }

    ogawa_polymesh record_;
};

class opened_archive {
  public:
    explicit opened_archive(const archive_builder &builder) : opened_archive(builder.build().content) {}
    explicit opened_archive(const bytes &content) {
        write_file(path(), content);
        status = qel_archive_open(path().c_str(), &archive_);
    }
    ~opened_archive() { qel_archive_close(archive_); }
    opened_archive(const opened_archive &) = delete;
    opened_archive &operator=(const opened_archive &) = delete;

    const qel_archive *get() const { return archive_; }
    std::string path() const { return folder_.file("archive.abc"); }

    std::uint32_t find(const char *object) const { return qel_archive_find(archive_, object); }
    std::uint32_t find(const char *object, const char *property) const {
        return qel_archive_find_property(archive_, find(object), property);
    }
    qel_archive_info info() const {
        qel_archive_info info = {};
        EXPECT_EQ(qel_archive_get_info(archive_, &info), QEL_ARCHIVE_OK);
        return info;
    }
    qel_archive_object object(std::uint32_t number) const {
        qel_archive_object out = {};
        EXPECT_EQ(qel_archive_get_object(archive_, number, &out), QEL_ARCHIVE_OK) << number;
        return out;
    }
    qel_archive_object object(const char *path) const { return object(find(path)); }
    qel_archive_property property(const char *object, std::uint32_t number) const {
        qel_archive_property out = {};
        EXPECT_EQ(qel_archive_get_property(archive_, find(object), number, &out), QEL_ARCHIVE_OK) << number;
        return out;
    }
    qel_archive_property property(const char *object, const char *name) const {
        return property(object, find(object, name));
    }

    /// The paths of all objects, in the order of their numbers.
    std::vector<std::string> paths() const {
        std::vector<std::string> all;
        for (std::uint32_t i = 0; i < info().object_count; ++i)
            all.emplace_back(object(i).path);
        return all;
    }
    /// The names of all properties of an object, likewise.
    std::vector<std::string> property_names(const char *path) const {
        std::vector<std::string> all;
        for (std::uint32_t i = 0; i < object(path).property_count; ++i)
            all.emplace_back(property(path, i).name);
        return all;
    }

    /// Reads a sample's size, then its bytes.
    std::int32_t read(const char *object, const char *name, std::uint64_t sample, bytes &values) const {
        const std::uint32_t number = find(object), property = find(object, name);
        std::uint64_t size = 0;
        const std::int32_t asked = qel_archive_read_property(archive_, number, property, sample, nullptr, 0, &size);
        if (asked != QEL_ARCHIVE_OK) return asked;
        values.assign(size, 0xAB);
        return qel_archive_read_property(archive_, number, property, sample, values.data(), size, &size);
    }
    std::int32_t read_status(const char *object, const char *name, std::uint64_t sample = 0) const {
        bytes values;
        return read(object, name, sample, values);
    }
    /// The values of a sample that can be read.
    template <class T>
    std::vector<T> values(const char *object, const char *name, std::uint64_t sample = 0) const {
        bytes stored;
        EXPECT_EQ(read(object, name, sample, stored), QEL_ARCHIVE_OK) << object << name << sample;
        std::vector<T> all(stored.size() / sizeof(T));
        if (!all.empty()) std::memcpy(all.data(), stored.data(), all.size() * sizeof(T));
        return all;
    }
    double time(const char *object, const char *name, std::uint64_t sample) const {
        double seconds = -1;
        EXPECT_EQ(qel_archive_property_time(archive_, find(object), find(object, name), sample, &seconds),
                  QEL_ARCHIVE_OK);
        return seconds;
    }
    std::uint64_t sample_at(const char *object, double seconds) const {
        std::uint64_t sample = 999;
        EXPECT_EQ(qel_archive_sample_at(archive_, find(object), seconds, &sample), QEL_ARCHIVE_OK);
        return sample;
    }

    qel_archive_mesh_info mesh_info(const char *object) const {
        qel_archive_mesh_info out = {};
        EXPECT_EQ(qel_archive_get_mesh_info(archive_, find(object), &out), QEL_ARCHIVE_OK) << object;
        return out;
    }
    std::int32_t mesh_info_status(const char *object) const {
        qel_archive_mesh_info out;
        return qel_archive_get_mesh_info(archive_, find(object), &out);
    }
    read_mesh mesh(const char *object, std::uint64_t sample = 0) const {
        return read_mesh(archive_, find(object), sample);
    }

    matrix_values local(const char *object, double seconds = 0) const {
        matrix_values matrix{};
        EXPECT_EQ(qel_archive_local_transform(archive_, find(object), seconds, matrix.data()), QEL_ARCHIVE_OK);
        return matrix;
    }
    matrix_values world(const char *object, double seconds = 0) const {
        matrix_values matrix{};
        EXPECT_EQ(qel_archive_world_transform(archive_, find(object), seconds, matrix.data()), QEL_ARCHIVE_OK);
        return matrix;
    }
    std::int32_t local_status(const char *object) const {
        matrix_values matrix{};
        return qel_archive_local_transform(archive_, find(object), 0, matrix.data());
    }
    std::int32_t world_status(const char *object) const {
        matrix_values matrix{};
        return qel_archive_world_transform(archive_, find(object), 0, matrix.data());
    }
    std::int32_t visible(const char *object, double seconds = 0) const {
        std::int32_t answer = -1;
        EXPECT_EQ(qel_archive_is_visible(archive_, find(object), seconds, &answer), QEL_ARCHIVE_OK);
        return answer;
    }

    std::int32_t status = 0;

  private:
    temp_folder folder_;
    qel_archive *archive_ = nullptr;
};

/// What opening answers.
inline std::int32_t status_of(const bytes &content) {
    const opened_archive opened(content);
    EXPECT_EQ(opened.get() == nullptr, opened.status != QEL_ARCHIVE_OK);
    return opened.status;
}
inline std::int32_t status_of(const archive_builder &builder) {
    return status_of(builder.build().content);
}

/// The status of opening if one reference of a group is changed.
inline std::int32_t status_with_reference(built_archive archive, std::uint64_t group, std::uint64_t child,
                                          std::uint64_t reference) {
    archive.patch(built_archive::reference_at(group, child), reference);
    return status_of(archive.content);
}

/// A triangle (0, 0, 0), (1, 0, 0), (0, 2, 0).
inline polymesh triangle() {
    polymesh mesh;
    mesh.points = {{0, 0, 0, 1, 0, 0, 0, 2, 0}};
    mesh.face_counts = {{3}};
    mesh.face_indices = {{0, 1, 2}};
    return mesh;
}

/// A quad and a triangle that share an edge: 5 points, 2 faces, 7 corners.
inline polymesh two_faces() {
    polymesh mesh;
    mesh.points = {{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 2, 2, 2}};
    mesh.face_counts = {{4, 3}};
    mesh.face_indices = {{0, 1, 2, 3, 1, 4, 2}};
    return mesh;
}

/// An archive of one mesh, "/m", open.
inline opened_archive opened_mesh(const polymesh &mesh) {
    archive_builder builder;
    add_polymesh(builder.top, "m", mesh);
    return opened_archive(builder);
}

/// Values 0, 1, 2, …, all different.
inline std::vector<float> rising(std::size_t count) {
    std::vector<float> values;
    for (std::size_t i = 0; i < count; ++i)
        values.push_back(static_cast<float>(i));
    return values;
}

/// The child of a compound with a name.
inline property_node &child(property_node &compound, const std::string &name) {
    for (property_node &each : compound.children)
        if (each.name == name) return each;
    ADD_FAILURE() << "no property " << name;
    return compound.children.front();
}

} // namespace qel::test
