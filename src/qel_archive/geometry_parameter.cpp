// SPDX-License-Identifier: MIT
#include "qel_archive/geometry_parameter.h"

#include "qel_archive/index_check.h"

#include <cstring>

namespace qel::archives {
namespace {

struct scope_word {
    char word[4];
    std::uint32_t scope;
};

constexpr scope_word scope_words[] = {{"con", OGAWA_SCOPE_CONSTANT},
                                      {"uni", OGAWA_SCOPE_FACE},
                                      {"var", OGAWA_SCOPE_VARYING},
                                      {"vtx", OGAWA_SCOPE_VERTEX},
                                      {"fvr", OGAWA_SCOPE_FACE_VARYING}};

/// Reads the scope from the metadata; false if it is not there.
bool find_written_scope(const parameter_entries &entries, std::uint32_t &scope) {
    std::size_t length = 0;
    const char *const word = parameter_metadata(entries, "geoScope", length);
    for (const scope_word &known : scope_words) {
        if (length == sizeof known.word - 1 && std::memcmp(word, known.word, length) == 0) {
            scope = known.scope;
            return true;
        }
    }
    return false;
}

/// The number of entries of a parameter with this scope.
std::uint32_t entries_of(std::uint32_t scope, const mesh_size &size) {
    switch (scope) {
    case OGAWA_SCOPE_CONSTANT:
        return 1;
    case OGAWA_SCOPE_FACE:
        return size.faces;
    case OGAWA_SCOPE_FACE_VARYING:
        return size.corners;
    default:
        return size.points;
    }
}

/// Determines the scope of a parameter of `count` entries: the one in its metadata, which must have that many entries,
/// else the first scope with that many entries; false if no scope has.
bool determine_scope(const parameter_entries &entries, std::uint32_t count, const mesh_size &size,
                     std::uint32_t &scope) {
    std::uint32_t written;
    if (find_written_scope(entries, written)) {
        scope = written;
        return count == entries_of(written, size);
    }
    for (const std::uint32_t candidate :
         {OGAWA_SCOPE_FACE_VARYING, OGAWA_SCOPE_VERTEX, OGAWA_SCOPE_FACE, OGAWA_SCOPE_CONSTANT}) {
        if (count != entries_of(candidate, size)) continue;
        scope = candidate;
        return true;
    }
    return false;
}

/// Reads the arrays; DAMAGED if the parameter is unsound. Values read before a failure stay in `parameter`.
status read_arrays(const qel_archive &archive, const parameter_entries &entries, std::uint64_t sample,
                   const mesh_size &size, geometry_parameter &parameter) {
    stored_array values, indices;
    status outcome = find_array(archive, entries.values, sample, values);
    if (outcome == QEL_ARCHIVE_OK && entries.indexed) outcome = find_array(archive, entries.indices, sample, indices);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const std::uint32_t count = entries.indexed ? indices.count : values.count;
    if (!determine_scope(entries, count, size, parameter.scope)) return QEL_ARCHIVE_DAMAGED;
    parameter.value_count = values.count;
    parameter.index_count = indices.count;
    outcome =
        read_values(archive.file, values.values, parameter.values, [](const float *, std::uint64_t) { return true; });
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    return read_values(archive.file, indices.values, parameter.indices,
                       [&values](const std::uint32_t *piece, std::uint64_t piece_count) {
                           return all_below(piece, piece_count, values.count);
                       });
}

} // namespace

bool find_parameter(const qel_archive &archive, const property_entry &entry, std::uint32_t extent,
                    parameter_entries &entries) {
    entries = {entry, entry, {}, entry.header().kind == property_kind::compound};
    if (entries.indexed) {
        const compound_table &compounds = archive.tree.compounds;
        const compound &parent = compounds[entry.reference()];
        if (!compounds.find(parent, ".vals", entries.values) || !compounds.find(parent, ".indices", entries.indices) ||
            !is_array_of(entries.indices.header(), QEL_ARCHIVE_VALUE_U32, 1))
            return false;
    }
    return is_array_of(entries.values.header(), QEL_ARCHIVE_VALUE_F32, extent);
}

status read_parameter(const qel_archive &archive, const parameter_entries &entries, std::uint64_t sample,
                      const mesh_size &size, geometry_parameter &parameter) {
    parameter = {};
    const bool has_samples =
        entries.values.header().samples != 0 && (!entries.indexed || entries.indices.header().samples != 0);
    if (!has_samples) return QEL_ARCHIVE_OK;
    const status outcome = read_arrays(archive, entries, sample, size, parameter);
    parameter.sound = outcome == QEL_ARCHIVE_OK;
    if (parameter.sound) return outcome;
    release(parameter.values);
    parameter = {};
    return outcome == QEL_ARCHIVE_DAMAGED ? QEL_ARCHIVE_OK : outcome;
}

const char *parameter_metadata(const parameter_entries &entries, const char *key, std::size_t &length) {
    const char *const metadata = entries.parameter.header().metadata;
    const char *const value = find_value(metadata, std::strlen(metadata), key, length);
    if (value != nullptr || !entries.indexed) return value;
    const char *const inner = entries.values.header().metadata;
    return find_value(inner, std::strlen(inner), key, length);
}

} // namespace qel::archives
