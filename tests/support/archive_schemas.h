// SPDX-License-Identifier: MIT
// Objects of the known schemas for the archives that tests build: transforms, meshes, points, curves, instances.
// Each function adds a child to an object and gives it back, so that it can be changed further, or damaged.
//
//   object_node &mill = add_xform(scene.top, "mill", {translate(0, 4, 0)});
//   polymesh sail;
//   sail.points = {{0, 0, 0, 1, 0, 0, 0, 5, 0}};
//   sail.face_counts = {{3}};
//   sail.face_indices = {{0, 1, 2}};
//   add_polymesh(mill, "sail", sail);
//   add_instance(scene.top, "second_mill", "/mill");
#pragma once

#include "support/archive_builder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qel::test {

/// `schema=…` of an object and `schema=…` of its compound, as writers write them.
std::string object_metadata(const std::string &schema, const std::string &compound);
std::string compound_metadata(const std::string &schema);

/// An object of any schema with its compound, which is its first property.
object_node &add_schema_object(object_node &parent, const std::string &name, const std::string &schema,
                               const std::string &compound);
/// The compound of the object's schema.
property_node &schema_compound(object_node &object);

/// One operation of a transform: its code (the high four bits of the byte), a hint (the low ones), its values.
struct xform_operation {
    std::uint8_t code;
    std::vector<double> values;
};
xform_operation scale(double x, double y, double z);
xform_operation translate(double x, double y, double z);
xform_operation rotate(double x, double y, double z, double degrees);
xform_operation matrix(const std::vector<double> &row_by_row);
xform_operation rotate_x(double degrees);
xform_operation rotate_y(double degrees);
xform_operation rotate_z(double degrees);

/// A constant transform; one without operations is an empty compound.
object_node &add_xform(object_node &parent, const std::string &name,
                       const std::vector<xform_operation> &operations = {});
/// A transform that moves: the operations of every sample, which differ in their values only.
object_node &add_moving_xform(object_node &parent, const std::string &name,
                              const std::vector<std::vector<xform_operation>> &samples, std::uint32_t time_sampling);

/// −1 as the parent, 0 hidden, 1 shown; one or more samples.
property_node &set_visible(object_node &object, const std::vector<int> &samples, std::uint32_t time_sampling = 0);
/// The `.inherits` of a transform.
property_node &set_inherits(object_node &xform, bool inherits);

/// Values of a mesh's faces, vertices or corners: plain, or with indices as a compound.
struct geometry_parameter {
    std::string name;
    std::uint32_t extent = 2;
    std::string scope = "fvr";                       // con, uni, var, vtx, fvr; "" writes none
    std::vector<std::vector<float>> values;          // by sample
    std::vector<std::vector<std::uint32_t>> indices; // by sample; none: not indexed
    std::string source_name;                         // of a UV set; "" writes none
    bool metadata_with_values = false;               // indexed: with `.vals` instead of with the compound
};
property_node &add_parameter(property_node &compound, const geometry_parameter &parameter,
                             std::uint32_t time_sampling = 0);
geometry_parameter normals(const std::vector<std::vector<float>> &values, const std::string &scope = "fvr");
geometry_parameter uvs(const std::vector<std::vector<float>> &values, const std::string &scope = "fvr",
                       const std::string &source_name = "");

/// A mesh, each array by sample; with one sample it is constant.
struct polymesh {
    std::vector<std::vector<float>> points; // triples
    std::vector<std::vector<std::int32_t>> face_counts, face_indices;
    std::vector<geometry_parameter> parameters;      // N and uv
    std::vector<geometry_parameter> more_parameters; // in .arbGeomParams, which is left out without any
    std::vector<std::vector<float>> velocities;
    std::uint32_t time_sampling = 0;
    bool bounds = true; // .selfBnds, from the points
    std::string schema = "AbcGeom_PolyMesh_v1";
};
object_node &add_polymesh(object_node &parent, const std::string &name, const polymesh &mesh);
/// A set of faces of a mesh.
object_node &add_face_set(object_node &mesh, const std::string &name, const std::vector<std::int32_t> &faces);

object_node &add_points(object_node &parent, const std::string &name, const std::vector<std::vector<float>> &points,
                        const std::vector<float> &widths = {}, std::uint32_t time_sampling = 0);
object_node &add_curves(object_node &parent, const std::string &name, const std::vector<std::vector<float>> &points,
                        const std::vector<std::int32_t> &point_counts, std::uint32_t time_sampling = 0);
object_node &add_nu_patch(object_node &parent, const std::string &name, const std::vector<std::vector<float>> &points,
                          std::int32_t count_u, std::int32_t count_v, std::uint32_t time_sampling = 0);

/// An instance of another object and everything below it.
object_node &add_instance(object_node &parent, const std::string &name, const std::string &source_path);

} // namespace qel::test
