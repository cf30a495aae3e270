// SPDX-License-Identifier: MIT
#include "model/archive_model.h"

#include <algorithm>

namespace qel::model {
namespace {

template <class Read>
std::int32_t status_of(const Read &read) {
    try {
        read();
        return QEL_ARCHIVE_OK;
    } catch (const archive_failure &failure) {
        return failure.status;
    }
}

/// First and last sample time over all properties with more than one sample.
void set_time_range(const archive_file &file, const std::vector<archive_tree_object> &objects,
                    archive_model_info &info) {
    bool any = false;
    for (const archive_tree_object &object : objects)
        for (const archive_tree_property &property : object.content->properties) {
            if (property.header.samples < 2) continue;
            const double first = file.time(property.header, 0);
            const double last = file.time(property.header, property.header.samples - 1);
            if (!any || first < info.start) info.start = first;
            if (!any || last > info.end) info.end = last;
            any = true;
        }
}

double frames_per_second(const std::vector<archive_time_sampling> &samplings) {
    for (std::size_t i = 1; i < samplings.size(); ++i)
        if (samplings[i].is_uniform()) return 1 / samplings[i].cycle;
    return 0;
}

/// "Xform" of "AbcGeom_Xform_v3"; empty where a schema is called otherwise.
std::string schema_name(const std::string &schema) {
    const std::string prefix = "AbcGeom_";
    const std::size_t version = schema.rfind("_v");
    if (schema.compare(0, prefix.size(), prefix) != 0) return "";
    if (version == std::string::npos || version < prefix.size() || version + 2 == schema.size()) return "";
    if (schema.find_first_not_of("0123456789", version + 2) != std::string::npos) return "";
    return schema.substr(prefix.size(), version - prefix.size());
}

} // namespace

ogawa_schema archive_schema(const std::string &metadata) {
    const std::string name = schema_name(metadata_value(metadata, "schema").value_or(""));
    if (name == "Xform") return OGAWA_SCHEMA_XFORM;
    if (name == "PolyMesh") return OGAWA_SCHEMA_POLYMESH;
    if (name == "SubD") return OGAWA_SCHEMA_SUBD;
    if (name == "Points") return OGAWA_SCHEMA_POINTS;
    if (name == "Curve") return OGAWA_SCHEMA_CURVES;
    if (name == "Camera") return OGAWA_SCHEMA_CAMERA;
    return OGAWA_SCHEMA_UNKNOWN;
}

std::int32_t archive_model::open(const std::string &path, std::unique_ptr<archive_model> &archive) {
    archive.reset();
    return status_of([&] { archive.reset(new archive_model(path)); });
}

const archive_tree_object &archive_model::object_at(std::uint32_t object) const {
    require(object < objects_.size(), QEL_ARCHIVE_NOT_FOUND);
    return objects_[object];
}

const archive_tree_property &archive_model::property_at(std::uint32_t object, std::uint32_t property) const {
    const std::vector<archive_tree_property> &properties = object_at(object).content->properties;
    require(property < properties.size(), QEL_ARCHIVE_NOT_FOUND);
    return properties[property];
}

const archive_tree_property &archive_model::sampled_property(std::uint32_t object, std::uint32_t property,
                                                             std::uint64_t sample) const {
    const archive_tree_property &found = property_at(object, property);
    require(found.header.kind != 0, QEL_ARCHIVE_WRONG_KIND);
    require(sample < found.header.samples, QEL_ARCHIVE_NOT_FOUND);
    return found;
}

std::int32_t archive_model::get_info(archive_model_info &info) const {
    info = {};
    info.library_version = file_.library_version;
    info.object_count = static_cast<std::uint32_t>(objects_.size());
    for (const archive_tree_object &object : objects_) {
        const ogawa_schema kind = archive_schema(object.metadata);
        if (kind == OGAWA_SCHEMA_POLYMESH || kind == OGAWA_SCHEMA_SUBD) ++info.mesh_count;
    }
    info.time_sampling_count = static_cast<std::uint32_t>(file_.time_samplings.size());
    set_time_range(file_, objects_, info);
    info.frames_per_second = frames_per_second(file_.time_samplings);
    info.metadata = file_.metadata;
    return QEL_ARCHIVE_OK;
}

std::int32_t archive_model::get_object(std::uint32_t object, archive_model_object &out) const {
    return status_of([&] {
        const archive_tree_object &found = object_at(object);
        out = {found.name,
               found.path,
               found.metadata,
               metadata_value(found.metadata, "schema").value_or(""),
               archive_schema(found.metadata),
               found.parent,
               found.child_count,
               static_cast<std::uint32_t>(found.content->properties.size())};
    });
}

std::uint32_t archive_model::find(const std::string &path) const {
    for (std::size_t i = 0; i < objects_.size(); ++i)
        if (objects_[i].path == path) return static_cast<std::uint32_t>(i);
    return 0xFFFFFFFF;
}

std::int32_t archive_model::get_property(std::uint32_t object, std::uint32_t property,
                                         archive_property_header &out) const {
    return status_of([&] { out = property_at(object, property).header; });
}

std::uint32_t archive_model::find_property(std::uint32_t object, const std::string &name) const {
    if (object >= objects_.size()) return 0xFFFFFFFF;
    return objects_[object].find_property(name);
}

std::int32_t archive_model::read_property(std::uint32_t object, std::uint32_t property, std::uint64_t sample,
                                          archive_bytes &bytes) const {
    return status_of([&] { bytes = file_.sample(sampled_property(object, property, sample), sample); });
}

std::int32_t archive_model::property_time(std::uint32_t object, std::uint32_t property, std::uint64_t sample,
                                          double &seconds) const {
    return status_of([&] { seconds = file_.time(sampled_property(object, property, sample).header, sample); });
}

std::int32_t archive_model::get_mesh_info(std::uint32_t object, qel_archive_mesh_info &out) const {
    return status_of([&] { out = read_archive_mesh_info(file_, object_at(object)); });
}

std::int32_t archive_model::read_mesh(std::uint32_t object, std::uint64_t sample, archive_model_mesh &mesh) const {
    return status_of([&] {
        mesh = read_archive_mesh(file_, object_at(object), sample);
        const double seconds = file_.time(archive_positions(objects_[object]).header, sample);
        mesh.transform = archive_world_transform(file_, objects_, object, seconds);
    });
}

std::int32_t archive_model::sample_at(std::uint32_t object, double seconds, std::uint64_t &sample) const {
    return status_of([&] { sample = file_.sample_at(archive_positions(object_at(object)).header, seconds); });
}

std::int32_t archive_model::local_transform(std::uint32_t object, double seconds, archive_matrix &matrix) const {
    return status_of([&] { matrix = archive_local_transform(file_, object_at(object), seconds); });
}

std::int32_t archive_model::world_transform(std::uint32_t object, double seconds, archive_matrix &matrix) const {
    return status_of([&] {
        object_at(object);
        matrix = archive_world_transform(file_, objects_, object, seconds);
    });
}

std::int32_t archive_model::is_visible(std::uint32_t object, double seconds, std::int32_t &visible) const {
    return status_of([&] {
        object_at(object);
        visible = archive_is_visible(file_, objects_, object, seconds) ? 1 : 0;
    });
}

} // namespace qel::model
