// SPDX-License-Identifier: MIT
// The meshes of the archive model.
#include "model/archive_model.h"
#include "model/bounds_model.h"

#include <algorithm>

namespace qel::model {
namespace {

constexpr std::uint32_t u32_value = 5, i32_value = 6, f32_value = 10, f64_value = 11;

template <class T>
std::vector<T> values_of(const archive_bytes &bytes) {
    std::vector<T> values(bytes.size() / sizeof(T));
    if (!values.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
}

bool has_samples(const archive_tree_property *property) {
    return property != nullptr && property->header.kind != 0 && property->header.samples != 0;
}

/// A property with fewer samples than the positions gives its last one.
std::uint64_t nearest_sample(const archive_tree_property &property, std::uint64_t sample) {
    return std::min<std::uint64_t>(sample, property.header.samples - 1);
}

bool is_of_type(const archive_tree_property &property, std::uint32_t kind, std::uint32_t value, std::uint32_t extent) {
    return property.header.kind == kind && property.header.value == value && property.header.extent == extent;
}

/// An array of a mesh; one that is not there is empty.
template <class T>
std::vector<T> mesh_array(const archive_file &file, const archive_tree_property *property, std::uint32_t value,
                          std::uint32_t extent, std::uint64_t sample) {
    if (property == nullptr) return {};
    require(is_of_type(*property, 2, value, extent));
    if (!has_samples(property)) return {};
    return values_of<T>(file.sample(*property, nearest_sample(*property, sample)));
}

struct mesh_sizes {
    std::uint64_t points, faces, corners;
};

bool has_faces(const archive_tree_object &object) {
    const ogawa_schema kind = archive_schema(object.metadata);
    return kind == OGAWA_SCHEMA_POLYMESH || kind == OGAWA_SCHEMA_SUBD;
}

void check_faces(const archive_model_mesh &mesh) {
    std::uint64_t sum = 0;
    for (const std::uint32_t count : mesh.face_counts) {
        require(count <= 0x7FFFFFFF);
        sum += count;
    }
    require(sum == mesh.face_indices.size());
    for (const std::uint32_t index : mesh.face_indices)
        require(index < mesh.positions.size() / 3);
}

std::optional<std::uint32_t> written_scope(const std::string &metadata) {
    const std::optional<std::string> word = metadata_value(metadata, "geoScope");
    if (!word) return std::nullopt;
    const std::string words[5] = {"con", "uni", "var", "vtx", "fvr"};
    for (std::uint32_t scope = 0; scope < 5; ++scope)
        if (*word == words[scope]) return scope;
    return std::nullopt; // an unknown word counts as no word
}

std::uint64_t places_of(std::uint32_t scope, const mesh_sizes &sizes) {
    const std::uint64_t places[5] = {1, sizes.faces, sizes.points, sizes.points, sizes.corners};
    return places[scope];
}

/// A scope that is not written: corner, point, face, one, whichever comes first.
std::uint32_t scope_by_length(std::uint64_t length, const mesh_sizes &sizes) {
    for (const std::uint32_t scope : {4u, 3u, 1u, 0u})
        if (places_of(scope, sizes) == length) return scope;
    throw archive_failure{QEL_ARCHIVE_DAMAGED};
}

/// The parts of a geometry parameter, which is an array, or a compound of values and indices.
struct parameter_parts {
    const archive_tree_property *values = nullptr, *indices = nullptr;
    std::optional<std::uint32_t> scope;
};

parameter_parts find_parts(const archive_tree_object &object, const archive_tree_property &property) {
    if (property.header.kind != 0) return {&property, nullptr, written_scope(property.header.metadata)};
    parameter_parts parts;
    parts.values = object.property(property.header.name + "/.vals");
    parts.indices = object.property(property.header.name + "/.indices");
    require(parts.values != nullptr && parts.indices != nullptr);
    parts.scope = written_scope(property.header.metadata);
    if (!parts.scope) parts.scope = written_scope(parts.values->header.metadata);
    return parts;
}

archive_model_parameter read_parameter(const archive_file &file, const archive_tree_object &object,
                                       const archive_tree_property &property, std::uint32_t extent,
                                       std::uint64_t sample, const mesh_sizes &sizes) {
    const parameter_parts parts = find_parts(object, property);
    require(has_samples(parts.values));
    archive_model_parameter result;
    result.values = mesh_array<float>(file, parts.values, f32_value, extent, sample);
    const std::uint64_t count = result.values.size() / extent;
    std::uint64_t length = count;
    result.indexed = parts.indices != nullptr;
    if (result.indexed) {
        require(has_samples(parts.indices));
        result.indices = mesh_array<std::uint32_t>(file, parts.indices, u32_value, 1, sample);
        length = result.indices.size();
        for (const std::uint32_t index : result.indices)
            require(index < count);
    }
    result.scope = parts.scope ? *parts.scope : scope_by_length(length, sizes);
    require(length == places_of(result.scope, sizes));
    return result;
}

/// A missing or unsound parameter gives no value.
std::optional<archive_model_parameter> sound_parameter(const archive_file &file, const archive_tree_object &object,
                                                       const archive_tree_property *property, std::uint32_t extent,
                                                       std::uint64_t sample, const mesh_sizes &sizes) {
    if (property == nullptr) return std::nullopt;
    try {
        return read_parameter(file, object, *property, extent, sample, sizes);
    } catch (const archive_failure &) {
        return std::nullopt;
    }
}

std::string uv_name(const archive_tree_object &object, const archive_tree_property &uv) {
    for (const archive_tree_property *named : {&uv, object.property(uv.header.name + "/.vals")}) {
        if (named == nullptr) continue;
        const std::string name = metadata_value(named->header.metadata, "sourceName").value_or("");
        if (!name.empty()) return name.substr(0, 63);
    }
    return "uv";
}

void read_uv_sets(const archive_file &file, const archive_tree_object &object, std::uint64_t sample,
                  const mesh_sizes &sizes, archive_model_mesh &mesh) {
    const auto add = [&](const archive_tree_property *property, const std::string &name) {
        const auto uv = sound_parameter(file, object, property, 2, sample, sizes);
        if (uv) mesh.uv_sets.push_back({name, *uv});
    };
    const archive_tree_property *uv = object.property(".geom/uv");
    if (uv != nullptr) add(uv, uv_name(object, *uv));
    const std::string others = ".geom/.arbGeomParams/";
    for (const archive_tree_property &property : object.content->properties) {
        if (property.header.name.compare(0, others.size(), others) != 0) continue;
        const std::string name = property.header.name.substr(others.size());
        if (name.find('/') != std::string::npos) continue; // inside a parameter
        add(&property, name.substr(0, 63));
    }
}

void set_bounds(const archive_file &file, const archive_tree_object &object, std::uint64_t sample,
                archive_model_mesh &mesh) {
    const auto points = static_cast<std::uint32_t>(mesh.positions.size() / 3);
    if (points != 0) bounds(mesh.positions.data(), points, mesh.bounds.data());
    mesh.self_bounds = mesh.bounds;
    const archive_tree_property *property = object.property(".geom/.selfBnds");
    if (!has_samples(property) || !is_of_type(*property, 1, f64_value, 6)) return;
    const auto corners = values_of<double>(file.sample(*property, nearest_sample(*property, sample)));
    for (std::size_t i = 0; i < 6; ++i)
        mesh.self_bounds[i] = static_cast<float>(corners[i]);
}

/// 0 constant, 1 only the positions change, 2 counts or indices change.
std::uint32_t topology(const archive_tree_object &object) {
    if (has_faces(object))
        for (const char *name : {".geom/.faceCounts", ".geom/.faceIndices"}) {
            const archive_tree_property *property = object.property(name);
            if (property != nullptr && property->header.kind != 0 && !property->header.is_constant()) return 2;
        }
    return archive_positions(object).header.is_constant() ? 0 : 1;
}

void read_faces(const archive_file &file, const archive_tree_object &object, std::uint64_t sample,
                archive_model_mesh &mesh) {
    if (!has_faces(object)) return;
    mesh.face_counts = mesh_array<std::uint32_t>(file, object.property(".geom/.faceCounts"), i32_value, 1, sample);
    mesh.face_indices = mesh_array<std::uint32_t>(file, object.property(".geom/.faceIndices"), i32_value, 1, sample);
}

} // namespace

const archive_tree_property &archive_positions(const archive_tree_object &object) {
    const archive_tree_property *positions = object.property(".geom/P");
    require(positions != nullptr && positions->header.kind != 0, QEL_ARCHIVE_WRONG_KIND);
    require(is_of_type(*positions, 2, f32_value, 3));
    require(positions->header.samples != 0, QEL_ARCHIVE_NOT_FOUND);
    return *positions;
}

qel_archive_mesh_info read_archive_mesh_info(const archive_file &file, const archive_tree_object &object) {
    const archive_tree_property &positions = archive_positions(object);
    archive_model_mesh mesh;
    mesh.positions = mesh_array<float>(file, &positions, f32_value, 3, 0);
    read_faces(file, object, 0, mesh);
    qel_archive_mesh_info info = {};
    info.sample_count = positions.header.samples;
    info.topology = topology(object);
    info.vertex_count = static_cast<std::uint32_t>(mesh.positions.size() / 3);
    info.face_count = static_cast<std::uint32_t>(mesh.face_counts.size());
    info.corner_count = static_cast<std::uint32_t>(mesh.face_indices.size());
    info.start = file.time(positions.header, 0);
    info.end = file.time(positions.header, positions.header.samples - 1);
    return info;
}

archive_model_mesh read_archive_mesh(const archive_file &file, const archive_tree_object &object,
                                     std::uint64_t sample) {
    const archive_tree_property &positions = archive_positions(object);
    require(sample < positions.header.samples, QEL_ARCHIVE_NOT_FOUND);
    archive_model_mesh mesh;
    mesh.name = object.name.substr(0, 255);
    mesh.path = object.path.substr(0, 1023);
    mesh.positions = mesh_array<float>(file, &positions, f32_value, 3, sample);
    read_faces(file, object, sample, mesh);
    check_faces(mesh);
    set_bounds(file, object, sample, mesh);
    if (!has_faces(object)) return mesh;
    const mesh_sizes sizes = {mesh.positions.size() / 3, mesh.face_counts.size(), mesh.face_indices.size()};
    mesh.normals = sound_parameter(file, object, object.property(".geom/N"), 3, sample, sizes);
    read_uv_sets(file, object, sample, sizes, mesh);
    return mesh;
}

} // namespace qel::model
