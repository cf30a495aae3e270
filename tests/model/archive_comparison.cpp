// SPDX-License-Identifier: MIT
#include "model/archive_comparison.h"

#include "model/archive_model.h"
#include "model/same_answers.h"

#include <algorithm>
#include <cmath>

namespace qel::model {
namespace {

constexpr std::uint32_t no_number = 0xFFFFFFFF;
constexpr std::uint64_t max_samples = 8; ///< of one property that are all read

class comparison {
  public:
    comparison(qel_archive *library, const archive_model &model) : library_(library), model_(model) {}

    void run();

  private:
    std::string where() const;
    template <class T>
    void same(const char *what, const T &library, const T &model) const {
        if (same_bits(library, model)) return;
        throw difference{where() + what + ": library " + shown(library) + ", model " + shown(model)};
    }
    void same_text(const char *what, const char *library, const std::string &model) const {
        if (library == nullptr) throw difference{where() + what + " is null"};
        same(what, std::string(library), as_c_string(model));
    }
    void same_matrix(const char *what, const double *library, const archive_matrix &model) const {
        for (std::size_t i = 0; i < 16; ++i)
            same(what, library[i], model[i]);
    }
    void holds(const char *what, bool condition) const {
        if (!condition) throw difference{where() + what};
    }

    void info();
    void object(std::uint32_t number);
    void property(std::uint32_t number);
    void sample(std::uint32_t number, std::uint64_t i);
    void copies(std::uint32_t number, std::uint64_t i, const archive_bytes &bytes) const;
    void mesh();
    void mesh_sample(std::uint64_t i);
    void normals(const ogawa_polymesh &library, const archive_model_mesh &model) const;
    void uv_sets(const ogawa_polymesh &library, const archive_model_mesh &model) const;
    void at_time(double seconds);
    void transform_at_time(double seconds);
    std::vector<double> times() const;

    qel_archive *library_;
    const archive_model &model_;
    // Where the answers are compared, for the text of a difference.
    std::uint32_t object_ = no_number;
    const char *part_ = "";
    std::uint64_t number_ = 0, sample_ = 0;
    double seconds_ = 0;
};

/// The samples that are read: all of a few, else those at both ends and around the changes; and missing ones.
std::vector<std::uint64_t> tested_samples(std::uint64_t count, std::uint64_t first, std::uint64_t last) {
    std::vector<std::uint64_t> samples = {count, ~std::uint64_t{0}};
    for (std::uint64_t i = 0; i < std::min(count, max_samples); ++i)
        samples.push_back(i);
    for (const std::uint64_t i : {first, last, count})
        for (const std::uint64_t near : {i - 1, i, i + 1})
            if (near >= max_samples && near < count) samples.push_back(near);
    return samples;
}

std::string comparison::where() const {
    archive_model_object object;
    archive_property_header property;
    model_.get_object(object_, object);
    std::string text = "object " + shown(object_) + " " + object.path;
    if (part_[0] == 'p' && model_.get_property(object_, static_cast<std::uint32_t>(number_), property) == 0)
        text += " " + property.name;
    return text + " " + part_ + " " + shown(number_) + " sample " + shown(sample_) + " at " + shown(seconds_) + ": ";
}

void comparison::run() {
    info();
    archive_model_info all;
    model_.get_info(all);
    for (std::uint32_t i = 0; i < all.object_count; ++i)
        object(i);
    object(all.object_count);
    object(no_number);
    for (const char *path : {"", "/", "//", "a", "/nowhere", "/a/"})
        same("find", qel_archive_find(library_, path), model_.find(path));
}

void comparison::info() {
    auto library = patterned<qel_archive_info>();
    archive_model_info model;
    same("get_info", qel_archive_get_info(library_, &library), model_.get_info(model));
    same("library_version", library.library_version, model.library_version);
    same("object_count", library.object_count, model.object_count);
    same("mesh_count", library.mesh_count, model.mesh_count);
    same("time_sampling_count", library.time_sampling_count, model.time_sampling_count);
    same("start", library.start, model.start);
    same("end", library.end, model.end);
    same("frames_per_second", library.frames_per_second, model.frames_per_second);
    same_text("metadata", library.metadata, model.metadata);
}

void comparison::object(std::uint32_t number) {
    object_ = number;
    part_ = "itself";
    auto library = patterned<qel_archive_object>();
    archive_model_object model;
    const std::int32_t status = model_.get_object(number, model);
    same("get_object", qel_archive_get_object(library_, number, &library), status);
    if (status == QEL_ARCHIVE_OK) {
        same_text("name", library.name, model.name);
        same_text("path", library.path, model.path);
        same_text("metadata", library.metadata, model.metadata);
        same_text("schema", library.schema, model.schema);
        same("kind", library.kind, model.kind);
        same("parent", library.parent, model.parent);
        same("child_count", library.child_count, model.child_count);
        same("property_count", library.property_count, model.property_count);
        same("find", qel_archive_find(library_, model.path.c_str()), model_.find(model.path));
        const std::string longer = model.path + "/";
        same("find beyond", qel_archive_find(library_, longer.c_str()), model_.find(longer));
    } else {
        holds("get_object leaves the record", is_patterned(library));
    }
    for (std::uint32_t i = 0; i <= model.property_count; ++i)
        property(i);
    property(no_number);
    for (const char *name : {"", ".geom", ".geom/", ".geom/P", "/", "nothing"})
        same("find_property", qel_archive_find_property(library_, number, name), model_.find_property(number, name));
    mesh();
    for (const double seconds : times())
        at_time(seconds);
}

void comparison::property(std::uint32_t number) {
    part_ = "property";
    number_ = number;
    auto library = patterned<qel_archive_property>();
    archive_property_header model;
    const std::int32_t status = model_.get_property(object_, number, model);
    same("get_property", qel_archive_get_property(library_, object_, number, &library), status);
    if (status == QEL_ARCHIVE_OK) {
        same_text("name", library.name, model.name);
        same_text("metadata", library.metadata, model.metadata);
        same("kind", library.kind, model.kind);
        same("value", library.value, model.value);
        same("extent", library.extent, model.extent);
        same("sample_count", library.sample_count, model.samples);
        same("time_sampling", library.time_sampling, model.time_sampling);
        same("constant", library.constant, std::uint32_t{model.is_constant()});
        same("find_property", qel_archive_find_property(library_, object_, model.name.c_str()), number);
    } else {
        holds("get_property leaves the record", is_patterned(library));
    }
    for (const std::uint64_t i : tested_samples(model.samples, model.first_changed, model.last_changed))
        sample(number, i);
}

void comparison::sample(std::uint32_t number, std::uint64_t i) {
    sample_ = i;
    auto library_time = patterned<double>(), model_time = library_time;
    same("property_time", qel_archive_property_time(library_, object_, number, i, &library_time),
         model_.property_time(object_, number, i, model_time));
    same("time", library_time, model_time);
    auto size = patterned<std::uint64_t>();
    archive_bytes bytes;
    const std::int32_t status = model_.read_property(object_, number, i, bytes);
    same("read_property", qel_archive_read_property(library_, object_, number, i, nullptr, 0, &size), status);
    if (status == QEL_ARCHIVE_OK) {
        same("size", size, std::uint64_t{bytes.size()});
        copies(number, i, bytes);
    } else {
        holds("read_property leaves the size", is_patterned(size));
    }
}

/// Too small a buffer stays unchanged, a larger one keeps its bytes after the values.
void comparison::copies(std::uint32_t number, std::uint64_t i, const archive_bytes &bytes) const {
    for (const std::uint64_t capacity : {bytes.size() + 3, bytes.size(), bytes.size() - 1}) {
        if (capacity > bytes.size() + 3) continue; // the size wrapped: no buffer is smaller than an empty one
        archive_bytes place(capacity + 1, 0xA5);
        archive_bytes expected = place;
        if (capacity >= bytes.size()) std::copy(bytes.begin(), bytes.end(), expected.begin());
        auto size = patterned<std::uint64_t>();
        const std::int32_t status =
            qel_archive_read_property(library_, object_, number, i, place.data(), capacity, &size);
        same("read_property again", status, std::int32_t{QEL_ARCHIVE_OK});
        same("size again", size, std::uint64_t{bytes.size()});
        holds("values", place == expected);
    }
}

void comparison::mesh() {
    part_ = "mesh";
    auto library = patterned<qel_archive_mesh_info>();
    qel_archive_mesh_info model = {};
    const std::int32_t status = model_.get_mesh_info(object_, model);
    same("get_mesh_info", qel_archive_get_mesh_info(library_, object_, &library), status);
    if (status == QEL_ARCHIVE_OK) {
        same("sample_count", library.sample_count, model.sample_count);
        same("topology", library.topology, model.topology);
        same("vertex_count", library.vertex_count, model.vertex_count);
        same("face_count", library.face_count, model.face_count);
        same("corner_count", library.corner_count, model.corner_count);
        same("start", library.start, model.start);
        same("end", library.end, model.end);
    } else {
        holds("get_mesh_info leaves the record", is_patterned(library));
    }
    archive_property_header positions;
    model_.get_property(object_, model_.find_property(object_, ".geom/P"), positions);
    const auto samples = tested_samples(positions.samples, positions.first_changed, positions.last_changed);
    for (const std::uint64_t i : samples)
        mesh_sample(i);
}

void comparison::mesh_sample(std::uint64_t i) {
    sample_ = i;
    auto library = patterned<ogawa_polymesh>();
    archive_model_mesh model;
    const std::int32_t status = model_.read_mesh(object_, i, model);
    same("read_mesh", qel_archive_read_mesh(library_, object_, i, &library), status);
    if (status != QEL_ARCHIVE_OK) {
        ogawa_polymesh cleared;
        std::memset(&cleared, 0, sizeof cleared);
        holds("a failed read_mesh clears the record", std::memcmp(&library, &cleared, sizeof cleared) == 0);
        return;
    }
    same_text("name", library.name, model.name);
    same_text("path", library.path, model.path);
    holds("positions", same_array(library.positions, 3ull * library.vertex_count, model.positions));
    holds("face_counts", same_array(library.face_counts, library.face_count, model.face_counts));
    holds("face_indices", same_array(library.face_indices, library.face_index_count, model.face_indices));
    normals(library, model);
    uv_sets(library, model);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        same("bounds_min", library.bounds_min[axis], model.bounds[axis]);
        same("bounds_max", library.bounds_max[axis], model.bounds[3 + axis]);
        same("self_bounds_min", library.self_bounds_min[axis], model.self_bounds[axis]);
        same("self_bounds_max", library.self_bounds_max[axis], model.self_bounds[3 + axis]);
    }
    same_matrix("transform", library.transform, model.transform);
    same("reserved_word", library.reserved_word, std::uint32_t{1});
    holds("everything else zero", library.reserved_array == nullptr && library.reserved_count == 0 &&
                                      library.reserved_buffer == nullptr && library.tangent_frame.tangents == nullptr &&
                                      library.tangent_frame.bitangents == nullptr && library.tangent_frame.count == 0 &&
                                      library.tangent_frame.components == 0);
    const ogawa_manifold none = {};
    holds("no manifold", std::memcmp(&library.manifold, &none, sizeof none) == 0);
    ogawa_free_polymesh(&library);
}

void comparison::normals(const ogawa_polymesh &library, const archive_model_mesh &model) const {
    const archive_model_parameter expected = model.normals.value_or(archive_model_parameter());
    holds("normals", same_array(library.normals, 3ull * library.normal_count, expected.values));
    same("normal_scope", library.normal_scope, expected.scope);
    // Their number is not in the record: it follows from the scope.
    const bool indexed = !expected.indices.empty();
    same("normals are indexed", library.normal_indices != nullptr && indexed, indexed);
    if (!expected.indexed) holds("no normal_indices", library.normal_indices == nullptr);
    if (indexed) holds("normal_indices", same_array(library.normal_indices, expected.indices.size(), expected.indices));
}

void comparison::uv_sets(const ogawa_polymesh &library, const archive_model_mesh &model) const {
    same("uv_set_count", library.uv_set_count, static_cast<std::uint32_t>(model.uv_sets.size()));
    for (std::uint32_t k = 0; k < library.uv_set_count; ++k) {
        const ogawa_uv_set &set = library.uv_sets[k];
        const archive_model_uv_set &expected = model.uv_sets[k];
        same_text("uv set name", set.name, expected.name);
        same("uv set scope", set.scope, expected.parameter.scope);
        holds("uv set values", same_array(set.values, 2ull * set.value_count, expected.parameter.values));
        holds("uv set indices", same_array(set.indices, set.index_count, expected.parameter.indices));
        if (!expected.parameter.indexed) holds("no uv set indices", set.indices == nullptr);
    }
}

/// Distant times, NaN, and times around those of the object's samples.
std::vector<double> comparison::times() const {
    std::vector<double> times = {0.0, -1e9, INFINITY, NAN, 1.0 / 24, 0.5};
    archive_model_object object;
    if (model_.get_object(object_, object) != QEL_ARCHIVE_OK) return {0.0};
    for (std::uint32_t p = 0; p < object.property_count && times.size() < 24; ++p) {
        archive_property_header header;
        model_.get_property(object_, p, header);
        if (header.kind == 0 || header.samples < 2) continue;
        for (const std::uint64_t i : {0u, 1u, header.samples - 1}) {
            double seconds = 0;
            model_.property_time(object_, p, i, seconds);
            for (const double step : {0.0, 1e-3, -1e-3, 1e-7, -1e-7})
                times.push_back(seconds + step);
        }
    }
    return times;
}

void comparison::at_time(double seconds) {
    part_ = "time";
    seconds_ = seconds;
    auto library_sample = patterned<std::uint64_t>(), model_sample = library_sample;
    same("sample_at", qel_archive_sample_at(library_, object_, seconds, &library_sample),
         model_.sample_at(object_, seconds, model_sample));
    same("sample", library_sample, model_sample);
    auto library_visible = patterned<std::int32_t>(), model_visible = library_visible;
    same("is_visible", qel_archive_is_visible(library_, object_, seconds, &library_visible),
         model_.is_visible(object_, seconds, model_visible));
    same("visible", library_visible, model_visible);
    transform_at_time(seconds);
}

void comparison::transform_at_time(double seconds) {
    auto library = patterned<archive_matrix>(), model = library;
    same("local_transform", qel_archive_local_transform(library_, object_, seconds, library.data()),
         model_.local_transform(object_, seconds, model));
    same_matrix("local matrix", library.data(), model);
    library = model = patterned<archive_matrix>();
    same("world_transform", qel_archive_world_transform(library_, object_, seconds, library.data()),
         model_.world_transform(object_, seconds, model));
    same_matrix("world matrix", library.data(), model);
}

} // namespace

std::int32_t model_status(const std::string &path) {
    std::unique_ptr<archive_model> model;
    return archive_model::open(path, model);
}

std::string first_difference(const std::string &path) {
    std::unique_ptr<archive_model> model;
    const std::int32_t model_answer = archive_model::open(path, model);
    auto *library = reinterpret_cast<qel_archive *>(&model);
    const std::int32_t library_answer = qel_archive_open(path.c_str(), &library);
    if (library_answer != QEL_ARCHIVE_OK && library != nullptr) return "a failed open leaves an archive";
    std::string found;
    if (library_answer != model_answer) {
        found = "open: library " + shown(library_answer) + ", model " + shown(model_answer);
    } else if (model_answer == QEL_ARCHIVE_OK) {
        try {
            comparison(library, *model).run();
        } catch (const difference &first) {
            found = first.text;
        }
    }
    qel_archive_close(library);
    return found;
}

} // namespace qel::model
