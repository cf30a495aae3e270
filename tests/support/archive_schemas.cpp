// SPDX-License-Identifier: MIT
#include "support/archive_schemas.h"

#include <algorithm>
#include <utility>

namespace qel::test {

namespace {

constexpr std::size_t max_scalar_extent = 255; // in eight bits of the header; more values are an array
const char *const point_metadata = "geoScope=vtx;interpretation=point";

std::vector<double> bounds_of(const std::vector<float> &points) {
    if (points.empty()) return std::vector<double>(6, 0.0);
    std::vector<double> bounds(6);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        float low = points[axis], high = low;
        for (std::size_t i = axis; i < points.size(); i += 3) {
            low = std::min(low, points[i]);
            high = std::max(high, points[i]);
        }
        bounds[axis] = static_cast<double>(low);
        bounds[axis + 3] = static_cast<double>(high);
    }
    return bounds;
}

/// Positions and, where asked for, their bounds.
void add_positions(property_node &geometry, const std::vector<std::vector<float>> &points, std::uint32_t time_sampling,
                   bool with_bounds) {
    if (with_bounds) {
        std::vector<std::vector<double>> bounds;
        for (const std::vector<float> &sample : points)
            bounds.push_back(bounds_of(sample));
        geometry.scalar(".selfBnds", 6, bounds, time_sampling, "interpretation=box");
    }
    geometry.array("P", 3, points, time_sampling, point_metadata);
}

std::string parameter_metadata(const geometry_parameter &parameter) {
    const bool is_uv = parameter.extent == 2;
    std::string text = "arrayExtent=1";
    if (!parameter.scope.empty()) text += ";geoScope=" + parameter.scope;
    if (parameter.extent > 1) text += is_uv ? ";interpretation=vector" : ";interpretation=normal";
    text += ";isGeomParam=true;podExtent=" + std::to_string(parameter.extent) + ";podName=float32_t";
    if (!parameter.source_name.empty()) text += ";sourceName=" + parameter.source_name;
    return text;
}

/// Values of fixed or, beyond what a scalar holds, of array form.
template <class T>
void add_values(property_node &xform, const std::string &name, const std::vector<std::vector<T>> &samples,
                std::uint32_t time_sampling) {
    const std::size_t count = samples.front().size();
    if (count > max_scalar_extent) {
        xform.array(name, 1, samples, time_sampling);
    } else {
        xform.scalar(name, static_cast<std::uint32_t>(count), samples, time_sampling);
    }
}

} // namespace

std::string object_metadata(const std::string &schema, const std::string &compound) {
    return compound_metadata(schema) + ";schemaObjTitle=" + schema + ":" + compound;
}

std::string compound_metadata(const std::string &schema) {
    const bool is_geometry = schema != "AbcGeom_Xform_v3" && schema != "AbcGeom_FaceSet_v1";
    return "schema=" + schema + (is_geometry ? ";schemaBaseType=AbcGeom_GeomBase_v1" : "");
}

object_node &add_schema_object(object_node &parent, const std::string &name, const std::string &schema,
                               const std::string &compound) {
    object_node &object = parent.add(name, object_metadata(schema, compound));
    object.properties.compound(compound, compound_metadata(schema));
    return object;
}

property_node &schema_compound(object_node &object) {
    return object.properties.children.front();
}

xform_operation scale(double x, double y, double z) {
    return {0x00, {x, y, z}};
}
xform_operation translate(double x, double y, double z) {
    return {0x10, {x, y, z}};
}
xform_operation rotate(double x, double y, double z, double degrees) {
    return {0x20, {x, y, z, degrees}};
}
xform_operation matrix(const std::vector<double> &row_by_row) {
    return {0x30, row_by_row};
}
xform_operation rotate_x(double degrees) {
    return {0x40, {degrees}};
}
xform_operation rotate_y(double degrees) {
    return {0x50, {degrees}};
}
xform_operation rotate_z(double degrees) {
    return {0x60, {degrees}};
}

object_node &add_xform(object_node &parent, const std::string &name, const std::vector<xform_operation> &operations) {
    return add_moving_xform(parent, name, {operations}, 0);
}

object_node &add_moving_xform(object_node &parent, const std::string &name,
                              const std::vector<std::vector<xform_operation>> &samples, std::uint32_t time_sampling) {
    object_node &object = add_schema_object(parent, name, "AbcGeom_Xform_v3", ".xform");
    if (samples.front().empty()) return object;
    std::vector<std::uint8_t> codes;
    for (const xform_operation &operation : samples.front())
        codes.push_back(operation.code);
    std::vector<std::vector<double>> values;
    for (const std::vector<xform_operation> &operations : samples) {
        values.emplace_back();
        for (const xform_operation &operation : operations) {
            values.back().insert(values.back().end(), operation.values.begin(), operation.values.end());
        }
    }
    property_node &xform = schema_compound(object);
    set_inherits(object, true);
    add_values<std::uint8_t>(xform, ".ops", {codes}, 0);
    add_values(xform, ".vals", values, time_sampling);
    return object;
}

property_node &set_visible(object_node &object, const std::vector<int> &samples, std::uint32_t time_sampling) {
    std::vector<std::vector<std::int8_t>> values;
    for (const int sample : samples)
        values.push_back({static_cast<std::int8_t>(sample)});
    return object.properties.scalar("visible", 1, values, time_sampling);
}

property_node &set_inherits(object_node &xform, bool inherits) {
    std::list<property_node> &known = schema_compound(xform).children;
    known.remove_if([](const property_node &property) { return property.name == ".inherits"; });
    sample_data sample;
    sample.values = {static_cast<std::uint8_t>(inherits)};
    return schema_compound(xform).add(".inherits", property_kind::scalar, value_kind::boolean, 1, {sample});
}

property_node &add_parameter(property_node &compound, const geometry_parameter &parameter,
                             std::uint32_t time_sampling) {
    const std::string text = parameter_metadata(parameter);
    if (parameter.indices.empty())
        return compound.array(parameter.name, parameter.extent, parameter.values, time_sampling, text);
    const bool with_values = parameter.metadata_with_values;
    property_node &indexed = compound.compound(parameter.name, with_values ? "" : text);
    indexed.array(".vals", parameter.extent, parameter.values, time_sampling, with_values ? text : "");
    indexed.array(".indices", 1, parameter.indices, time_sampling);
    return indexed;
}

geometry_parameter normals(const std::vector<std::vector<float>> &values, const std::string &scope) {
    geometry_parameter parameter;
    parameter.name = "N";
    parameter.extent = 3;
    parameter.scope = scope;
    parameter.values = values;
    return parameter;
}

geometry_parameter uvs(const std::vector<std::vector<float>> &values, const std::string &scope,
                       const std::string &source_name) {
    geometry_parameter parameter;
    parameter.name = "uv";
    parameter.scope = scope;
    parameter.values = values;
    parameter.source_name = source_name;
    return parameter;
}

object_node &add_polymesh(object_node &parent, const std::string &name, const polymesh &mesh) {
    object_node &object = add_schema_object(parent, name, mesh.schema, ".geom");
    property_node &geometry = schema_compound(object);
    add_positions(geometry, mesh.points, mesh.time_sampling, mesh.bounds);
    geometry.array(".faceIndices", 1, mesh.face_indices, mesh.time_sampling);
    geometry.array(".faceCounts", 1, mesh.face_counts, mesh.time_sampling);
    if (!mesh.velocities.empty())
        geometry.array(".velocities", 3, mesh.velocities, mesh.time_sampling, "interpretation=vector");
    for (const geometry_parameter &parameter : mesh.parameters)
        add_parameter(geometry, parameter, mesh.time_sampling);
    if (mesh.more_parameters.empty()) return object;
    property_node &more = geometry.compound(".arbGeomParams");
    for (const geometry_parameter &parameter : mesh.more_parameters)
        add_parameter(more, parameter, mesh.time_sampling);
    return object;
}

object_node &add_face_set(object_node &mesh, const std::string &name, const std::vector<std::int32_t> &faces) {
    object_node &object = add_schema_object(mesh, name, "AbcGeom_FaceSet_v1", ".faceset");
    schema_compound(object).array<std::int32_t>(".faces", 1, {faces});
    return object;
}

object_node &add_points(object_node &parent, const std::string &name, const std::vector<std::vector<float>> &points,
                        const std::vector<float> &widths, std::uint32_t time_sampling) {
    object_node &object = add_schema_object(parent, name, "AbcGeom_Points_v1", ".geom");
    property_node &geometry = schema_compound(object);
    add_positions(geometry, points, time_sampling, true);
    std::vector<std::vector<std::uint64_t>> identities;
    for (const std::vector<float> &sample : points) {
        identities.emplace_back();
        for (std::uint64_t i = 0; i < sample.size() / 3; ++i)
            identities.back().push_back(i);
    }
    geometry.array(".pointIds", 1, identities, time_sampling);
    geometry_parameter width;
    width.name = ".widths";
    width.extent = 1;
    width.scope = "vtx";
    width.values = {widths};
    if (!widths.empty()) add_parameter(geometry, width);
    return object;
}

object_node &add_curves(object_node &parent, const std::string &name, const std::vector<std::vector<float>> &points,
                        const std::vector<std::int32_t> &point_counts, std::uint32_t time_sampling) {
    object_node &object = add_schema_object(parent, name, "AbcGeom_Curve_v2", ".geom");
    property_node &geometry = schema_compound(object);
    add_positions(geometry, points, time_sampling, true);
    geometry.array<std::int32_t>("nVertices", 1, {point_counts});
    geometry.scalar<std::uint8_t>("curveBasisAndType", 4, {{1, 0, 0, 0}}); // linear, not closed
    return object;
}

object_node &add_nu_patch(object_node &parent, const std::string &name, const std::vector<std::vector<float>> &points,
                          std::int32_t count_u, std::int32_t count_v, std::uint32_t time_sampling) {
    object_node &object = add_schema_object(parent, name, "AbcGeom_NuPatch_v2", ".geom");
    property_node &geometry = schema_compound(object);
    add_positions(geometry, points, time_sampling, true);
    const std::pair<const char *, std::int32_t> numbers[] = {
        {"nu", count_u}, {"nv", count_v}, {"uOrder", 2}, {"vOrder", 2}};
    for (const auto &[key, number] : numbers)
        geometry.scalar<std::int32_t>(key, 1, {{number}});
    for (const auto &[key, count] : {std::pair{"uKnot", count_u}, std::pair{"vKnot", count_v}}) {
        std::vector<float> knots;
        for (std::int32_t i = 0; i < count + 2; ++i)
            knots.push_back(static_cast<float>(i));
        geometry.array<float>(key, 1, {knots});
    }
    return object;
}

object_node &add_instance(object_node &parent, const std::string &name, const std::string &source_path) {
    object_node &object = parent.add(name);
    object.properties.text(".instanceSource", source_path);
    return object;
}

} // namespace qel::test
