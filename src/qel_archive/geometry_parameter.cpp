// SPDX-License-Identifier: MIT
#include "qel_archive/geometry_parameter.h"

#include "qel_archive/index_check.h"

#include <cstring>

namespace qel::archives {
namespace {

/// Where a parameter's values and indices are.
struct parameter_places {
    property_entry values, indices;
    bool indexed;
};

/// Finds them; false where the property is neither an array nor a compound of both.
bool find_places(const qel_archive &archive, const property_entry &entry, parameter_places &places) {
    places = {entry, {}, false};
    if (entry.header().kind != property_kind::compound) return true;
    places.indexed = true;
    const compound &home = archive.tree.compounds[entry.place()];
    return archive.tree.compounds.find(home, ".vals", places.values) &&
           archive.tree.compounds.find(home, ".indices", places.indices);
}

struct scope_word {
    char word[4];
    geometry_scope scope;
};

constexpr scope_word scope_words[] = {{"con", scope_constant},
                                      {"uni", scope_face},
                                      {"var", scope_varying},
                                      {"vtx", scope_vertex},
                                      {"fvr", scope_corner}};

/// Reads the scope that is written; false where there is none.
bool find_written_scope(const qel_archive &archive, const property_entry &entry, geometry_scope &scope) {
    std::size_t length = 0;
    const char *const word = parameter_metadata(archive, entry, "geoScope", length);
    if (word == nullptr) return false;
    for (const scope_word &known : scope_words) {
        if (length == std::strlen(known.word) && std::memcmp(word, known.word, length) == 0) {
            scope = known.scope;
            return true;
        }
    }
    return false;
}

/// How many places a scope has.
std::uint32_t places_of(geometry_scope scope, const mesh_size &size) {
    switch (scope) {
    case scope_constant:
        return 1;
    case scope_face:
        return size.faces;
    case scope_corner:
        return size.corners;
    default:
        return size.points;
    }
}

/// Settles the scope; false where the parameter has another number of places.
bool settle_scope(const qel_archive &archive, const property_entry &entry, std::uint32_t places,
                  const mesh_size &size, std::uint32_t &scope) {
    geometry_scope written;
    if (find_written_scope(archive, entry, written)) {
        scope = written;
        return places == places_of(written, size);
    }
    for (const geometry_scope told : {scope_corner, scope_vertex, scope_face, scope_constant}) {
        if (places != places_of(told, size)) continue;
        scope = told;
        return true;
    }
    return false;
}

/// Reads the arrays; DAMAGED where the parameter is unsound. What was read by then stays in it.
status read_arrays(const qel_archive &archive, const property_entry &entry, const parameter_places &places,
                   std::uint64_t sample, const mesh_size &size, geometry_parameter &parameter) {
    stored_array values, indices = {};
    status outcome = find_array(archive, places.values, sample, values);
    if (outcome == QEL_ARCHIVE_OK && places.indexed)
        outcome = find_array(archive, places.indices, sample, indices);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const std::uint32_t count = places.indexed ? indices.count : values.count;
    if (!settle_scope(archive, entry, count, size, parameter.scope)) return QEL_ARCHIVE_DAMAGED;
    parameter.value_count = values.count;
    parameter.index_count = indices.count;
    outcome = read_values(archive.file, values.values, parameter.values,
                          [](const float *, std::uint64_t) { return true; });
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    return read_values(archive.file, indices.values, parameter.indices,
                       [&values](const std::uint32_t *piece, std::uint64_t piece_count) {
                           return all_below(piece, piece_count, values.count);
                       });
}

} // namespace

bool is_parameter(const qel_archive &archive, const property_entry &entry, std::uint32_t extent) {
    parameter_places places;
    if (!find_places(archive, entry, places)) return false;
    return is_array_of(places.values.header(), value_f32, extent) &&
           (!places.indexed || is_array_of(places.indices.header(), value_u32, 1));
}

status read_parameter(const qel_archive &archive, const property_entry &entry, std::uint32_t extent,
                      std::uint64_t sample, const mesh_size &size, geometry_parameter &parameter) {
    parameter = {};
    parameter_places places;
    if (!is_parameter(archive, entry, extent) || !find_places(archive, entry, places)) return QEL_ARCHIVE_OK;
    const bool has_samples =
        places.values.header().samples != 0 && (!places.indexed || places.indices.header().samples != 0);
    if (!has_samples) return QEL_ARCHIVE_OK;
    const status outcome = read_arrays(archive, entry, places, sample, size, parameter);
    parameter.sound = outcome == QEL_ARCHIVE_OK;
    if (parameter.sound) return outcome;
    release(parameter.values);
    release(parameter.indices);
    parameter = {};
    return outcome == QEL_ARCHIVE_DAMAGED ? QEL_ARCHIVE_OK : outcome;
}

const char *parameter_metadata(const qel_archive &archive, const property_entry &entry, const char *key,
                               std::size_t &length) {
    const char *const metadata = entry.header().metadata;
    const char *const value = find_value(metadata, std::strlen(metadata), key, length);
    if (value != nullptr || entry.header().kind != property_kind::compound) return value;
    parameter_places places;
    if (!find_places(archive, entry, places)) return nullptr;
    const char *const inner = places.values.header().metadata;
    return find_value(inner, std::strlen(inner), key, length);
}

} // namespace qel::archives
