// SPDX-License-Identifier: MIT
#include "support/random_archive.h"

#include "support/archive_schemas.h"

#include <cmath>

namespace qel::test {
namespace {

constexpr std::uint32_t max_objects = 14, deepest = 5;

/// Builds one archive.
class maker {
  public:
    explicit maker(chance &random) : random_(random) {}

    archive_builder make();

  private:
    void add_samplings();
    void add_children(object_node &parent, std::uint32_t depth);
    object_node &add_child(object_node &parent, const std::string &name);
    object_node &add_transform(object_node &parent, const std::string &name);
    object_node &add_mesh(object_node &parent, const std::string &name);
    object_node &add_positions_only(object_node &parent, const std::string &name);
    object_node &add_instance_of_any(object_node &parent, const std::string &name);
    void vary_instance(object_node &instance);
    std::vector<xform_operation> operations();
    xform_operation operation_of(std::uint8_t code);
    polymesh mesh_arrays();
    geometry_parameter parameter(const polymesh &mesh, std::uint32_t extent, std::uint32_t samples);
    void spoil_mesh(property_node &geometry);
    void add_properties(property_node &compound, std::uint32_t depth);
    property_node random_property(const std::string &name);
    sample_data random_sample(const property_node &property);
    void vary(property_node &property);
    void vary(object_node &object);

    std::uint32_t sampling() { return random_.below(archive_.samplings.size()); }
    std::uint32_t few_samples() { return random_.one_in(2) ? 1 : 1 + random_.below(5); }
    std::string name();
    std::vector<float> floats(std::size_t count);

    chance &random_;
    archive_builder archive_;
    std::vector<std::string> paths_ = {"/"};
    std::uint32_t objects_ = 1;
    std::string path_; ///< of the object whose children are being added
};

std::string maker::name() {
    static const std::vector<std::string> names = {"a",         "b",        "mesh", "group1", "x.y",
                                                   "two words", "\xC3\xA4", "..",   "P",      ".geom"};
    if (random_.one_in(40)) return std::string(100 + random_.below(300), 'n');
    return random_.of(names);
}

std::vector<float> maker::floats(std::size_t count) {
    std::vector<float> values(count);
    for (float &value : values)
        value = static_cast<float>(random_.number());
    return values;
}

void maker::add_samplings() {
    static const std::vector<double> cycles = {1.0 / 24, 1.0 / 25, 1, 0.1, 1e-9, 1e9, 0, -1.0 / 24};
    for (std::uint32_t count = random_.below(4); count > 0; --count) {
        time_sampling sampling{random_.of(cycles), {random_.one_in(2) ? 0 : random_.number()}};
        const std::uint32_t more = random_.one_in(2) ? 0 : random_.below(4);
        for (std::uint32_t i = 0; i < more; ++i)
            sampling.times.push_back(random_.one_in(6) ? random_.number()
                                                       : sampling.times.back() + 0.01 * random_.below(4));
        if (random_.one_in(3)) sampling.cycle = acyclic;
        archive_.add_sampling(sampling);
    }
    if (random_.one_in(20)) archive_.samplings[0].times[0] = random_.number();
}

xform_operation maker::operation_of(std::uint8_t code) {
    static const std::vector<std::size_t> counts = {3, 3, 4, 16, 1, 1, 1};
    static const std::vector<double> angles = {0, 90, 45, -180, 30, 360, 1e6};
    xform_operation operation{static_cast<std::uint8_t>(code * 16u + random_.below(16)), {}};
    for (std::size_t i = 0; i < counts[code]; ++i)
        operation.values.push_back(random_.one_in(4) ? random_.below(2) : random_.number());
    if (code >= 4 || code == 2) {
        if (random_.one_in(2)) operation.values.back() = random_.of(angles);
        if (code == 2 && random_.one_in(6)) std::fill_n(operation.values.begin(), 3, 0.0);
    }
    return operation;
}

std::vector<xform_operation> maker::operations() {
    std::vector<xform_operation> list;
    const std::uint32_t count = random_.one_in(30) ? 90 : random_.below(5);
    for (std::uint32_t i = 0; i < count; ++i)
        list.push_back(operation_of(static_cast<std::uint8_t>(random_.below(7))));
    return list;
}

object_node &maker::add_transform(object_node &parent, const std::string &name) {
    std::vector<std::vector<xform_operation>> samples = {operations()};
    for (std::uint32_t more = few_samples(); more > 1; --more) {
        samples.push_back(samples.front());
        for (xform_operation &operation : samples.back())
            for (double &value : operation.values)
                if (random_.one_in(2)) value = random_.number();
    }
    object_node &object = add_moving_xform(parent, name, samples, sampling());
    if (random_.one_in(4)) set_inherits(object, random_.one_in(2));
    property_node &xform = schema_compound(object);
    for (property_node &property : xform.children) {
        if (random_.one_in(30)) property.kind = property_kind::array;
        if (random_.one_in(60)) property.samples.clear();
        if (random_.one_in(60)) property.name = ".other";
        if (random_.one_in(80)) property.value = static_cast<value_kind>(random_.below(13));
        if (random_.one_in(80)) property.extent = 1 + random_.below(4);
    }
    return object;
}

/// Values for a mesh's first sample of faces, right for one scope and mostly named so.
geometry_parameter maker::parameter(const polymesh &mesh, std::uint32_t extent, std::uint32_t samples) {
    static const std::vector<std::string> words = {"con", "uni", "var", "vtx", "fvr"};
    const std::size_t places[] = {1, mesh.face_counts[0].size(), mesh.points[0].size() / 3, mesh.points[0].size() / 3,
                                  mesh.face_indices[0].size()};
    const std::uint32_t scope = random_.below(5);
    geometry_parameter made;
    made.extent = extent;
    made.scope = random_.one_in(5) ? "" : random_.one_in(20) ? random_.of(words) : words[scope];
    if (random_.one_in(40)) made.scope = "unknown";
    made.metadata_with_values = random_.one_in(2);
    if (random_.one_in(2)) made.source_name = random_.one_in(8) ? std::string(90, 's') : name();
    const bool indexed = random_.one_in(2);
    for (std::uint32_t i = 0; i < samples; ++i) {
        std::size_t count = places[scope];
        if (random_.one_in(25)) count += random_.below(3);
        const std::size_t values = indexed ? 1 + random_.below(4) : count;
        made.values.push_back(floats(values * extent));
        if (!indexed) continue;
        made.indices.emplace_back();
        for (std::size_t k = 0; k < count; ++k)
            made.indices.back().push_back(random_.below(values + (random_.one_in(80) ? 1 : 0)));
    }
    return made;
}

polymesh maker::mesh_arrays() {
    polymesh mesh;
    const std::uint32_t samples = few_samples();
    const std::uint32_t topologies = random_.one_in(4) ? samples + random_.below(2) : 1;
    const std::uint32_t points = random_.one_in(12) ? 0 : 1 + random_.below(9);
    for (std::uint32_t i = 0; i < topologies; ++i) {
        mesh.face_counts.emplace_back();
        mesh.face_indices.emplace_back();
        for (std::uint32_t faces = points == 0 ? 0 : random_.below(5); faces > 0; --faces) {
            mesh.face_counts.back().push_back(static_cast<std::int32_t>(random_.below(6)));
            for (std::int32_t k = mesh.face_counts.back().back(); k > 0; --k)
                mesh.face_indices.back().push_back(static_cast<std::int32_t>(random_.below(points)));
        }
    }
    for (std::uint32_t i = 0; i < samples; ++i)
        mesh.points.push_back(floats(3 * std::size_t{points}));
    mesh.time_sampling = sampling();
    mesh.bounds = !random_.one_in(4);
    if (random_.one_in(3)) mesh.schema = "AbcGeom_SubD_v1";
    return mesh;
}

/// Some arrays of another type, of other lengths, without samples or not there.
void maker::spoil_mesh(property_node &geometry) {
    for (auto at = geometry.children.begin(); at != geometry.children.end(); ++at) {
        if (random_.one_in(100)) at->value = static_cast<value_kind>(random_.below(12));
        if (random_.one_in(100)) at->extent = 1 + random_.below(4);
        if (random_.one_in(100)) at->kind = static_cast<property_kind>(1 + random_.below(2));
        if (random_.one_in(100)) at->samples.clear();
        if (random_.one_in(100)) at->name = ".other";
        if (!at->samples.empty() && random_.one_in(40)) {
            bytes &values = at->samples[random_.below(at->samples.size())].values;
            if (!values.empty()) values[random_.below(values.size())] ^= static_cast<std::uint8_t>(random_.word());
        }
        if (!at->samples.empty() && random_.one_in(80)) at->samples.push_back(at->samples.front());
    }
}

object_node &maker::add_mesh(object_node &parent, const std::string &name) {
    polymesh mesh = mesh_arrays();
    const auto samples = static_cast<std::uint32_t>(mesh.face_counts.size());
    for (const std::uint32_t extent : {3u, 2u}) {
        if (!random_.one_in(2)) continue;
        mesh.parameters.push_back(parameter(mesh, extent, samples));
        mesh.parameters.back().name = extent == 3 ? "N" : "uv";
    }
    for (std::uint32_t more = random_.one_in(3) ? 1 + random_.below(3) : 0; more > 0; --more) {
        mesh.more_parameters.push_back(parameter(mesh, random_.one_in(4) ? 1 + random_.below(4) : 2, 1));
        mesh.more_parameters.back().name = "set" + std::to_string(more) + std::string(random_.below(80), 'u');
    }
    object_node &object = add_polymesh(parent, name, mesh);
    if (random_.one_in(4)) spoil_mesh(schema_compound(object));
    if (random_.one_in(8)) add_face_set(object, "faces", {0});
    return object;
}

object_node &maker::add_positions_only(object_node &parent, const std::string &name) {
    std::vector<std::vector<float>> points;
    for (std::uint32_t i = few_samples(); i > 0; --i)
        points.push_back(floats(3 * std::size_t{random_.below(5)}));
    if (random_.one_in(3)) return add_points(parent, name, points, {}, sampling());
    if (random_.one_in(2)) return add_curves(parent, name, points, {2}, sampling());
    return add_nu_patch(parent, name, points, 2, 2, sampling());
}

sample_data maker::random_sample(const property_node &property) {
    sample_data sample;
    const bool is_array = property.kind == property_kind::array;
    const std::size_t elements = is_array ? random_.below(7) : 1;
    const std::size_t values = elements * property.extent;
    if (property.value == value_kind::text) {
        static const std::vector<std::string> texts = {"", "a", "text", "/a", "\xC3\xA4"};
        for (std::size_t i = 0; i < values; ++i)
            append_bytes(sample.values, bytes_of_text(random_.of(texts) + '\0'));
    } else if (property.value != value_kind::wide_text) {
        for (std::size_t i = values * value_size(property.value); i > 0; --i)
            sample.values.push_back(static_cast<std::uint8_t>(random_.word()));
    }
    if (!is_array) return sample;
    sample.store_empty = random_.one_in(4);
    if (random_.one_in(3)) sample.dimensions = {elements};
    if (random_.one_in(6)) sample.dimensions = {1, elements, 1};
    if (elements % 2 == 0 && random_.one_in(6)) sample.dimensions = {2, elements / 2};
    return sample;
}

property_node maker::random_property(const std::string &name) {
    property_node property;
    property.name = name;
    property.kind = random_.one_in(2) ? property_kind::scalar : property_kind::array;
    property.value = static_cast<value_kind>(random_.below(13));
    property.extent = random_.one_in(8) ? 1 + random_.below(20) : 1 + random_.below(3);
    property.time_sampling = sampling();
    const std::uint32_t count = random_.one_in(10) ? 0 : few_samples() + (random_.one_in(20) ? 300 : 0);
    for (std::uint32_t i = 0; i < count; ++i)
        property.samples.push_back(i > 0 && random_.one_in(2) ? property.samples.back() : random_sample(property));
    if (random_.one_in(3)) property.metadata = "key=value;geoScope=vtx";
    return property;
}

void maker::add_properties(property_node &compound, std::uint32_t depth) {
    for (std::uint32_t i = random_.below(4); i > 0; --i) {
        const std::string name = "user" + std::to_string(i) + std::string(random_.one_in(20) ? 260 : 0, 'p');
        if (depth < 4 && random_.one_in(4)) {
            add_properties(compound.compound(name, random_.one_in(2) ? "of=compound" : ""), depth + 1);
        } else {
            compound.children.push_back(random_property(name));
        }
    }
}

/// Other ways of storing the same.
void maker::vary(property_node &property) {
    if (random_.one_in(4)) property.changed = static_cast<changes>(random_.below(3));
    if (random_.one_in(8)) property.width = number_width::u32;
    if (random_.one_in(8)) property.write_static_sampling = true;
    if (random_.one_in(8)) property.inline_metadata = true;
    if (random_.one_in(8)) property.store_empty = true;
    for (property_node &child : property.children)
        vary(child);
}

void maker::vary(object_node &object) {
    if (random_.one_in(6)) object.inline_metadata = true;
    if (random_.one_in(6) && object.children.empty()) object.without_headers = true;
    if (random_.one_in(12) && object.children.empty()) object.digest_bytes = random_.below(33);
    vary(object.properties);
    for (object_node &child : object.children)
        vary(child);
}

/// Instances whose source is stored in another form, or that have their own children or properties.
void maker::vary_instance(object_node &instance) {
    property_node &source = instance.properties.children.front();
    bytes &text = source.samples.front().values;
    if (random_.one_in(30)) text.pop_back();
    if (random_.one_in(30)) append_bytes(text, {'a', 0});
    if (random_.one_in(30)) source.extent = 2;
    if (random_.one_in(30)) source.kind = property_kind::array;
    if (random_.one_in(30)) source.value = static_cast<value_kind>(random_.below(14));
    if (random_.one_in(30)) source.samples.push_back(random_sample(source));
    if (random_.one_in(30)) source.samples.clear();
    if (random_.one_in(20)) add_transform(instance, "own");
    if (random_.one_in(20)) instance.metadata = "schema=AbcGeom_PolyMesh_v1";
    if (random_.one_in(20)) add_properties(instance.properties, 2);
}

/// An instance, mostly of an object that came before and does not contain it: such ones end.
object_node &maker::add_instance_of_any(object_node &parent, const std::string &name) {
    if (random_.one_in(60)) return add_instance(parent, name, random_.of(paths_));
    if (random_.one_in(60)) return add_instance(parent, name, random_.of(paths_) + "/group11");
    const std::string instance = path_ + "/" + name;
    for (int tries = 0; tries < 5; ++tries) {
        const std::string &path = random_.of(paths_);
        if (instance.compare(0, path.size(), path) == 0) continue;
        object_node &object = add_instance(parent, name, path);
        if (random_.one_in(4)) vary_instance(object);
        return object;
    }
    return add_transform(parent, name);
}

object_node &maker::add_child(object_node &parent, const std::string &name) {
    switch (random_.below(10)) {
    case 0:
    case 1:
    case 2:
        return add_transform(parent, name);
    case 3:
    case 4:
    case 5:
        return add_mesh(parent, name);
    case 6:
        return add_positions_only(parent, name);
    case 7:
        return add_instance_of_any(parent, name);
    case 8:
        return add_schema_object(parent, name, "AbcGeom_Camera_v1", ".geom");
    default:
        return parent.add(name, random_.one_in(2) ? "" : "schema=Other_v1;a=b");
    }
}

void maker::add_children(object_node &parent, std::uint32_t depth) {
    const std::string around = path_;
    for (std::uint32_t i = random_.below(5); i > 0 && objects_ < max_objects; --i) {
        ++objects_;
        path_ = around;
        const std::string child_name = name() + (random_.one_in(60) ? "" : std::to_string(i));
        object_node &child = add_child(parent, child_name);
        path_ = around + "/" + child_name;
        paths_.push_back(path_);
        if (random_.one_in(4)) add_properties(child.properties, 0);
        if (random_.one_in(4)) {
            std::vector<int> samples;
            for (std::uint32_t k = few_samples(); k > 0; --k)
                samples.push_back(static_cast<int>(random_.below(3)) - 1);
            property_node &visible = set_visible(child, samples, sampling());
            if (random_.one_in(30)) visible.value = static_cast<value_kind>(random_.below(13));
            if (random_.one_in(60)) visible.kind = property_kind::array;
            if (random_.one_in(60)) visible.samples.clear();
            if (!visible.samples.empty() && random_.one_in(60))
                visible.samples[0].values = {static_cast<std::uint8_t>(random_.word())};
        }
        const bool is_instance =
            !child.properties.children.empty() && child.properties.children.front().name == ".instanceSource";
        if (depth < deepest && !is_instance) add_children(child, depth + 1);
    }
    path_ = around;
}

archive_builder maker::make() {
    add_samplings();
    archive_.library_version = static_cast<std::int32_t>(random_.word());
    if (random_.one_in(4)) archive_.metadata = "";
    archive_.share_data = !random_.one_in(4);
    archive_.share_metadata = !random_.one_in(4);
    add_children(archive_.top, 0);
    if (random_.one_in(2)) add_properties(archive_.top.properties, 0);
    vary(archive_.top);
    return archive_;
}

} // namespace

archive_builder random_archive(chance &random) {
    return maker(random).make();
}

} // namespace qel::test
