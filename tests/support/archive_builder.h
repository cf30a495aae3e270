// SPDX-License-Identifier: MIT
// Whole archives from a tree of objects and properties, laid out as production tools do; and deliberately damaged
// ones. There are three layers:
//
//   archive_writer.h   groups and data, byte by byte
//   archive_headers.h  the records that data holds: headers, time samplings, texts
//   this file          objects, properties, samples; archive_schemas.h adds meshes, transforms and the other schemas
//
// A sound archive is a page of code:
//
//   archive_builder scene;
//   const std::uint32_t film = scene.add_sampling({1.0 / 24, {0}});
//   object_node &arm = scene.top.add("arm", "schema=AbcGeom_Xform_v3;schemaObjTitle=AbcGeom_Xform_v3:.xform");
//   property_node &xform = arm.properties.compound(".xform");
//   xform.scalar<double>(".vals", 3, {{0, 0, 0}, {0, 0, 1}}, film);
//   write_file(path, scene.build().content);
//
// Damage comes in three ways, which can be mixed:
//   - `instead` replaces the node's own reference: 0 (empty), a place outside the file, data
//     where a group belongs, or the place of another node;
//   - the `edit_…` functions change a header, the bytes of all headers or a group's references just before they are
//     written; a group's own position is known by then, so that it can hold itself;
//   - `built_archive::places` has the position of everything in the finished bytes, which can be patched: a
//     reference to a group that was written later, a byte of a header, the first 16 bytes.
#pragma once

#include "support/archive_headers.h"
#include "support/archive_writer.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace qel::test {

/// One sample of a property.
struct sample_data {
    bytes values;                          // as stored, without the digest
    std::vector<std::uint64_t> dimensions; // of an array; none are stored as empty data: one dimension
    bool store_empty = false;              // an empty array as a digest alone instead of as empty data
    // Damage: what the data holds, digest included, and references that are written instead of one to it.
    std::optional<bytes> payload = std::nullopt, dimensions_payload = std::nullopt;
    std::optional<std::uint64_t> instead = std::nullopt, dimensions_instead = std::nullopt;

    bool operator==(const sample_data &other) const;
};

/// Samples of numbers.
template <class T>
std::vector<sample_data> samples_of(const std::vector<std::vector<T>> &samples) {
    std::vector<sample_data> all(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i)
        all[i].values = bytes_of(samples[i]);
    return all;
}

/// A sample of texts, each with its zero byte. In an array their number is a dimension.
sample_data sample_of_texts(const std::vector<std::string> &texts, bool of_an_array);

template <class T>
constexpr value_kind kind_of() {
    constexpr std::uint32_t integer = sizeof(T) == 1 ? 1 : sizeof(T) == 2 ? 3 : sizeof(T) == 4 ? 5 : 7;
    static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, "say the kind of value");
    if (std::is_floating_point_v<T>) return sizeof(T) == 4 ? value_kind::f32 : value_kind::f64;
    return static_cast<value_kind>(integer + (std::is_signed_v<T> ? 1 : 0));
}

/// Which samples are stored, and how the header records that. There are two forms for equal samples and two for
/// samples that all changed.
enum class changes {
    as_found,     // equal samples are stored once; first and last changed only where they must be
    written,      // the same, with first and last changed always in the header
    every_sample, // all samples are stored, equal or not
};

using references_edit = std::function<void(std::vector<std::uint64_t> &references, std::uint64_t own_position)>;

struct property_node {
    std::string name, metadata;
    property_kind kind = property_kind::compound; // arrays of one element per sample are recognized
    value_kind value = value_kind::boolean;
    std::uint32_t extent = 0;
    std::uint32_t time_sampling = 0;
    std::vector<sample_data> samples;  // all of them, in order
    std::list<property_node> children; // of a compound

    // How it is stored.
    changes changed = changes::as_found;
    std::optional<number_width> width;  // the narrowest one that holds all numbers
    bool write_static_sampling = false; // sampling 0 as a number in the header
    bool inline_metadata = false;       // the text in the header, not its number
    bool store_empty = false;           // an empty compound as a group of no headers, not as position 0

    // Damage.
    std::optional<std::uint64_t> instead;
    std::function<void(property_header &)> edit_header;
    std::function<void(bytes &)> edit_headers; // of a compound: the data that holds the headers
    references_edit edit_references;

    /// Adds a property to this compound. References to properties stay valid when others are added.
    property_node &compound(const std::string &child, const std::string &text = "");
    property_node &add(const std::string &child, property_kind child_kind, value_kind child_value,
                       std::uint32_t child_extent, std::vector<sample_data> child_samples, std::uint32_t sampling = 0,
                       const std::string &text = "");
    template <class T>
    property_node &scalar(const std::string &child, std::uint32_t child_extent,
                          const std::vector<std::vector<T>> &values, std::uint32_t sampling = 0,
                          const std::string &text = "") {
        return add(child, property_kind::scalar, kind_of<T>(), child_extent, samples_of(values), sampling, text);
    }
    template <class T>
    property_node &array(const std::string &child, std::uint32_t child_extent,
                         const std::vector<std::vector<T>> &values, std::uint32_t sampling = 0,
                         const std::string &text = "") {
        return add(child, property_kind::array, kind_of<T>(), child_extent, samples_of(values), sampling, text);
    }
    property_node &text(const std::string &child, const std::string &value, std::uint32_t sampling = 0);
    property_node &texts(const std::string &child, const std::vector<std::string> &values, std::uint32_t sampling = 0);
};

struct object_node {
    std::string name, metadata;
    property_node properties; // a compound without a name
    std::list<object_node> children;

    // How it is stored.
    bool inline_metadata = false;
    bool without_headers = false;  // of no children: no data of headers at all
    std::size_t digest_bytes = 32; // after the children's headers

    // Damage.
    std::optional<std::uint64_t> instead;
    std::function<void(object_header &)> edit_header;
    std::function<void(bytes &)> edit_headers; // the data that holds the children's headers, digests included
    references_edit edit_references;

    /// Adds a child. References to objects stay valid when others are added.
    object_node &add(const std::string &child, const std::string &text = "");
};

/// The position of a node in the finished bytes. Positions are from the start of the file.
struct node_place {
    std::uint64_t reference = 0; // what the parent's group holds
    std::uint64_t header = 0,
                  header_size = 0; // in the parent's data of headers, valid unless edit_headers changed it
    std::uint64_t headers = 0, headers_size = 0; // the content of the node's own data of headers; 0 without
    std::vector<std::uint64_t> references;       // of the node's group, as written
};

struct built_archive {
    bytes content;
    /// Of objects by path ("/" is the top object), of properties by "path:names": "/arm:.xform/.vals", "/:".
    std::map<std::string, node_place> places;
    /// The six children of the root.
    node_place root;

    /// Overwrites bytes within the content.
    template <class T>
    void patch(std::uint64_t at, const T &value_there) {
        std::memcpy(content.data() + at, &value_there, sizeof value_there);
    }
    /// Where a reference leads, be it to a group or to data.
    static std::uint64_t position_of(std::uint64_t reference) { return reference & ~archive_writer::data_bit; }
    /// The position of reference `child` of a group.
    static std::uint64_t reference_at(std::uint64_t group, std::uint64_t child) { return group + 8 + 8 * child; }
};

struct archive_builder {
    object_node top;
    std::int32_t layout_version = 0, library_version = 10709;
    std::string metadata = "_ai_Application=qel_unit;_ai_Description=test";
    std::vector<time_sampling> samplings = {{}}; // number 0 is the static one

    // How it is stored.
    bool share_data = true;     // equal data once, as writers do
    bool share_metadata = true; // texts by number where they fit

    // Damage.
    std::function<void(bytes &)> edit_samplings, edit_shared_texts;
    references_edit edit_root;

    /// The number of a new time sampling.
    std::uint32_t add_sampling(const time_sampling &sampling);
    built_archive build() const;
    void save(const std::string &path) const { write_file(path, build().content); }
};

} // namespace qel::test
