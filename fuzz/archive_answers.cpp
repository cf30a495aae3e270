// SPDX-License-Identifier: MIT
#include "archive_answers.h"

#include "harness.h"

#include <algorithm>

namespace qel::fuzz {

namespace {

constexpr std::uint32_t max_objects = 40, max_properties = 40;
constexpr double times[] = {0, 0.04, -1, 1e300};

class digest {
  public:
    void add(const void *first, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            state_ = (state_ ^ static_cast<const std::uint8_t *>(first)[i]) * 0x100000001B3u;
    }
    template <class T>
    void add(const T &value) {
        add(&value, sizeof value);
    }
    template <class T>
    void add_array(const T *values, std::uint64_t count) {
        add(values != nullptr);
        if (values != nullptr) add(values, static_cast<std::size_t>(count) * sizeof(T));
    }
    void add_text(const char *text) { add(text, std::strlen(text)); }
    std::uint64_t value() const { return state_; }

  private:
    std::uint64_t state_ = 0xCBF29CE484222325u;
};

class questions {
  public:
    explicit questions(const qel_archive *archive) : archive_(archive) {}

    std::vector<archive_answer> ask() {
        qel_archive_info info;
        require(qel_archive_get_info(archive_, &info) == QEL_ARCHIVE_OK);
        const std::uint32_t objects = std::min(info.object_count, max_objects);
        for (std::uint32_t i = 0; i < objects; ++i) {
            const std::uint32_t properties = object(i);
            for (std::uint32_t k = 0; k < std::min(properties, max_properties); ++k)
                property(i, k);
            for (const std::uint64_t sample : {0u, 1u, 3u})
                mesh(i, sample);
            for (const double seconds : times)
                at_time(i, seconds);
        }
        return std::move(answers_);
    }

  private:
    void note(std::int32_t status, const digest &given) {
        answers_.push_back({status, status == QEL_ARCHIVE_OK ? given.value() : 0});
    }

    /// Queries an object; returns its number of properties.
    std::uint32_t object(std::uint32_t number) {
        qel_archive_object object = {};
        digest given;
        const std::int32_t status = qel_archive_get_object(archive_, number, &object);
        if (status == QEL_ARCHIVE_OK) {
            given.add_text(object.path);
            given.add_text(object.metadata);
            require(qel_archive_find(archive_, object.path) == number);
        }
        note(status, given);
        return object.property_count;
    }

    void property(std::uint32_t object, std::uint32_t number) {
        qel_archive_property property = {};
        digest given;
        const std::int32_t status = qel_archive_get_property(archive_, object, number, &property);
        if (status == QEL_ARCHIVE_OK) {
            given.add_text(property.name);
            require(qel_archive_find_property(archive_, object, property.name) == number);
        }
        note(status, given);
        for (const std::uint64_t sample : {0u, 1u, 5u}) {
            read(object, number, sample);
            digest time;
            double seconds = 0;
            const std::int32_t known = qel_archive_property_time(archive_, object, number, sample, &seconds);
            time.add(seconds);
            note(known, time);
        }
    }

    void read(std::uint32_t object, std::uint32_t number, std::uint64_t sample) {
        std::uint64_t size = 0;
        digest given;
        std::int32_t status = qel_archive_read_property(archive_, object, number, sample, nullptr, 0, &size);
        if (status == QEL_ARCHIVE_OK) {
            bytes values(static_cast<std::size_t>(size));
            status = qel_archive_read_property(archive_, object, number, sample, values.data(), size, &size);
            given.add(values.data(), values.size());
        }
        note(status, given);
    }

    void mesh(std::uint32_t object, std::uint64_t sample) {
        qel_archive_mesh_info info = {};
        digest told, given;
        const std::int32_t known = qel_archive_get_mesh_info(archive_, object, &info);
        told.add(info);
        note(known, told);
        ogawa_polymesh mesh;
        const std::int32_t status = qel_archive_read_mesh(archive_, object, sample, &mesh);
        if (status == QEL_ARCHIVE_OK) {
            add(given, mesh);
            note_parameters(mesh);
        } else {
            answers_.push_back({status, 0});
            ogawa_polymesh cleared;
            std::memset(&cleared, 0, sizeof cleared);
            require(std::memcmp(&mesh, &cleared, sizeof mesh) == 0);
        }
        note(status, given);
        ogawa_free_polymesh(&mesh);
    }

    static void add(digest &given, const ogawa_polymesh &mesh) {
        given.add_text(mesh.path);
        given.add_array(mesh.positions, 3ull * mesh.vertex_count);
        given.add_array(mesh.face_counts, mesh.face_count);
        given.add_array(mesh.face_indices, mesh.face_index_count);
        given.add(mesh.bounds_min);
        given.add(mesh.self_bounds_max);
        given.add(mesh.transform);
    }

    /// Records normals and UVs, with their number in place of a status.
    void note_parameters(const ogawa_polymesh &mesh) {
        digest given;
        given.add_array(mesh.normals, 3ull * mesh.normal_count);
        given.add(mesh.normal_scope);
        for (std::uint32_t i = 0; i < mesh.uv_set_count; ++i) {
            const ogawa_uv_set &set = mesh.uv_sets[i];
            given.add_text(set.name);
            given.add_array(set.values, 2ull * set.value_count);
            given.add_array(set.indices, set.index_count);
        }
        answers_.push_back(
            {static_cast<std::int32_t>(mesh.uv_set_count) + (mesh.normals != nullptr ? 1 : 0), given.value()});
    }

    void at_time(std::uint32_t object, double seconds) {
        std::uint64_t sample = 0;
        std::int32_t visible = 0;
        double local[16] = {}, world[16] = {};
        note_value(qel_archive_sample_at(archive_, object, seconds, &sample), sample);
        note_value(qel_archive_is_visible(archive_, object, seconds, &visible), visible);
        note_value(qel_archive_local_transform(archive_, object, seconds, local), local);
        note_value(qel_archive_world_transform(archive_, object, seconds, world), world);
    }

    template <class T>
    void note_value(std::int32_t status, const T &value) {
        digest given;
        given.add(value);
        note(status, given);
    }

    const qel_archive *archive_;
    std::vector<archive_answer> answers_;
};

} // namespace

std::vector<archive_answer> ask_everything(const qel_archive *archive) {
    return questions(archive).ask();
}

} // namespace qel::fuzz
