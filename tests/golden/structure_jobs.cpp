// SPDX-License-Identifier: MIT
// Archives read by their headers: one of everything, the example scene, and damaged ones; every function of
// qel_archive.h.
#include "golden/jobs.h"
#include "golden/records.h"
#include "support/archive_schemas.h"
#include "support/random_archive.h"

#include <qel_archive.h>

#include <cmath>
#include <cstring>
#include <filesystem>

namespace qel::test {
namespace {

/// Sines of the C library differ in their last bit from platform to platform, and the numbers made of them with it.
enum class transforms {
    exact,   // of archives without rotations
    rounded, // to multiples of 2^-20
    left_out // of any size
};

class reader {
  public:
    reader(digest &results, const qel_archive *archive, transforms kept)
        : results_(results), archive_(archive), kept_(kept) {}

    void read() {
        qel_archive_info info = {};
        results_.add(qel_archive_get_info(archive_, &info));
        results_.add(info.library_version, info.mesh_count, info.time_sampling_count, info.start, info.end,
                     info.frames_per_second);
        results_.add(std::string(info.metadata));
        for (std::uint32_t i = 0; i <= info.object_count; ++i)
            read_object(i);
    }

  private:
    void read_object(std::uint32_t number) {
        qel_archive_object object = {};
        results_.add(qel_archive_get_object(archive_, number, &object));
        if (object.path != nullptr) {
            for (const char *text : {object.name, object.path, object.metadata, object.schema})
                results_.add(std::string(text));
            results_.add(qel_archive_find(archive_, object.path));
        }
        results_.add(object.kind, object.parent, object.child_count, object.property_count);
        for (std::uint32_t i = 0; i <= object.property_count; ++i)
            read_property(number, i);
        read_meshes(number);
        for (const double seconds : {-1.0, 0.0, 0.25, 1.0, 1e9})
            read_at(number, seconds);
    }

    void read_property(std::uint32_t object, std::uint32_t number) {
        qel_archive_property property = {};
        results_.add(qel_archive_get_property(archive_, object, number, &property));
        if (property.name != nullptr) {
            results_.add(std::string(property.name));
            results_.add(std::string(property.metadata));
            results_.add(qel_archive_find_property(archive_, object, property.name));
        }
        for (const std::uint32_t field : {property.kind, property.value, property.extent, property.sample_count,
                                          property.time_sampling, property.constant})
            results_.add(field);
        for (const std::uint64_t sample : samples_of(property.sample_count))
            read_sample(object, number, sample);
    }

    /// The first ones, the middle, the last, and one that is not there.
    static std::vector<std::uint64_t> samples_of(std::uint32_t count) {
        return {0, 1, 2, count / 2, std::uint64_t{count} - 1, count};
    }

    void read_sample(std::uint32_t object, std::uint32_t number, std::uint64_t sample) {
        double seconds = 0;
        results_.add(qel_archive_property_time(archive_, object, number, sample, &seconds));
        results_.add(seconds);
        std::uint64_t size = 0;
        const std::int32_t status = qel_archive_read_property(archive_, object, number, sample, nullptr, 0, &size);
        results_.add(status, size);
        if (status != QEL_ARCHIVE_OK) return;
        bytes values(static_cast<std::size_t>(size));
        results_.add(qel_archive_read_property(archive_, object, number, sample, values.data(), size, &size));
        results_.add_bytes(values.data(), values.size());
    }

    void read_meshes(std::uint32_t object) {
        qel_archive_mesh_info info = {};
        results_.add(qel_archive_get_mesh_info(archive_, object, &info));
        for (const std::uint32_t field :
             {info.sample_count, info.topology, info.vertex_count, info.face_count, info.corner_count})
            results_.add(field);
        results_.add(info.start, info.end);
        for (const std::uint64_t sample : samples_of(info.sample_count)) {
            ogawa_polymesh mesh;
            results_.add(qel_archive_read_mesh(archive_, object, sample, &mesh));
            add_mesh(mesh);
            ogawa_free_polymesh(&mesh);
        }
    }

    void add_mesh(ogawa_polymesh &mesh) {
        add_transform(mesh.transform);
        std::memset(mesh.transform, 0, sizeof mesh.transform);
        add_polymesh(results_, mesh);
        const std::uint32_t places[] = {1, mesh.face_count, mesh.vertex_count, mesh.vertex_count,
                                        mesh.face_index_count};
        results_.add_array(mesh.normal_indices, places[mesh.normal_scope]);
        results_.add(mesh.uv_set_count);
        for (std::uint32_t i = 0; i < mesh.uv_set_count; ++i)
            add_uv_set(results_, mesh.uv_sets[i]);
    }

    void read_at(std::uint32_t object, double seconds) {
        std::uint64_t sample = 0;
        results_.add(qel_archive_sample_at(archive_, object, seconds, &sample));
        results_.add(sample);
        std::int32_t visible = 7;
        results_.add(qel_archive_is_visible(archive_, object, seconds, &visible));
        results_.add(visible);
        for (const auto transform : {qel_archive_local_transform, qel_archive_world_transform}) {
            double matrix[16] = {};
            results_.add(transform(archive_, object, seconds, matrix));
            add_transform(matrix);
        }
    }

    void add_transform(const double (&matrix)[16]) {
        for (const double value : matrix) {
            if (kept_ == transforms::exact) results_.add(value);
            if (kept_ == transforms::rounded) results_.add(std::llround(std::ldexp(value, 20)));
        }
    }

    digest &results_;
    const qel_archive *archive_;
    transforms kept_;
};

void read_file_at(digest &results, const std::string &path, transforms kept) {
    qel_archive *archive = nullptr;
    const std::int32_t status = qel_archive_open(path.c_str(), &archive);
    results.add(status);
    if (status == QEL_ARCHIVE_OK) reader(results, archive, kept).read();
    qel_archive_close(archive);
}

void read_content(digest &results, const bytes &content, transforms kept) {
    write_file("structure.abc", content);
    read_file_at(results, "structure.abc", kept);
}

polymesh folding_sheet(std::uint32_t film) {
    polymesh mesh;
    for (const float height : {0.0f, 0.25f, 0.5f})
        mesh.points.push_back({0, 0, height, 1, 0, -height, 1, 1, height, 0, 1, -height, 0.5f, 2, -0.0f});
    mesh.face_counts = {{4, 3}};
    mesh.face_indices = {{0, 1, 2, 3, 3, 2, 4}};
    geometry_parameter up = normals({{0, 0, 1, 0, 1, 0}}, "uni");
    geometry_parameter map = uvs({{0, 0, 1, 0, 1, 1}}, "fvr", "map1");
    map.indices = {{0, 1, 2, 0, 0, 2, 1}};
    geometry_parameter more = uvs({{0, 0, 1, 0, 1, 1, 0, 1, 0.5f, 2}}, "vtx");
    more.name = "second";
    mesh.parameters = {up, map};
    mesh.more_parameters = {more};
    mesh.time_sampling = film;
    return mesh;
}

/// Every schema, samplings of all kinds, hidden and inherited, instances; no rotations.
archive_builder one_of_everything() {
    archive_builder archive;
    const std::uint32_t film = archive.add_sampling({1.0 / 24, {0.5}});
    const std::uint32_t steps = archive.add_sampling({acyclic, {0, 0.125, 2}});
    const std::uint32_t cyclic = archive.add_sampling({1, {0, 0.25}});
    object_node &arm = add_moving_xform(
        archive.top, "arm", {{translate(1, 2, 3), scale(2, 2, 2)}, {translate(4, 5, 6), scale(1, -1, 1)}}, film);
    set_visible(arm, {0, 1}, film);
    object_node &sheet = add_polymesh(arm, "sheet", folding_sheet(film));
    add_face_set(sheet, "front", {0});
    polymesh smooth = folding_sheet(steps);
    smooth.schema = "AbcGeom_SubD_v1";
    set_visible(add_polymesh(arm, "smooth", smooth), {-1});
    object_node &own = add_xform(arm, "own", {matrix({1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0.5, 0.25, -8, 1})});
    set_inherits(own, false);
    add_points(own, "points", {{1, 2, 3}, {}, {4, 5, 6, 7, 8, 9}}, {0.5f}, steps);
    add_curves(own, "curves", {{0, 0, 0, 1, 1, 1}}, {2}, cyclic);
    add_nu_patch(own, "patch", {{0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}}, 2, 2);
    add_instance(archive.top, "again", "/arm");
    property_node &user = archive.top.properties.compound("user", "key=value");
    user.text("word", "grün", cyclic);
    user.array<std::uint16_t>("pairs", 2, {{1, 2}, {1, 2}, {3, 4, 5, 6}, {}}, cyclic);
    user.scalar<double>("number", 1, {{1}, {2}, {2}}, cyclic);
    return archive;
}

void structured_archives(digest &results) {
    for (const bool shared : {true, false}) {
        archive_builder archive = one_of_everything();
        archive.share_data = archive.share_metadata = shared;
        const bytes content = archive.build().content;
        results.add_bytes(content.data(), content.size());
        read_content(results, content, transforms::exact);
    }
    // Paths are bytes on POSIX and UTF-8 on Windows.
    const std::string name = "\xC3\xA4\xE6\xBC\xA2\xF0\x9F\x90\x9A.abc";
    std::filesystem::rename("structure.abc", std::filesystem::u8path(name));
    read_file_at(results, name, transforms::exact);
    std::filesystem::remove(std::filesystem::u8path(name));
    for (std::int32_t status = 1; status > -11; --status)
        results.add(std::string(qel_archive_message(status)));
}

void example_scene(digest &results) {
    read_file_at(results, GOLDEN_EXAMPLES "/harbour.abc", transforms::rounded);
}

void damaged_structures(digest &results) {
    const bytes whole = one_of_everything().build().content;
    chance random(17);
    for (int i = 0; i < 150; ++i) {
        archive_builder archive = one_of_everything();
        if (i % 2 == 0) damage_fields(archive, random);
        const built_archive built = archive.build();
        read_content(results, i % 2 == 0 ? built.content : damaged_bytes(built, random), transforms::left_out);
    }
    for (std::size_t size = 0; size < whole.size(); size += size < 24 ? 1 : 97)
        read_content(results, bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)),
                     transforms::left_out);
    read_file_at(results, "missing.abc", transforms::left_out);
    read_file_at(results, ".", transforms::left_out); // a folder
}

} // namespace

const job structure_jobs[] = {{"structured_archives", structured_archives},
                              {"example_scene", example_scene},
                              {"damaged_structures", damaged_structures},
                              {nullptr, nullptr}};

} // namespace qel::test
