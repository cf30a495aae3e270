// SPDX-License-Identifier: MIT
// Texts of `key=value` pairs, joined by ';'.
#pragma once

#include "common/arena.h"
#include "qel_unit.h"

#include <cstddef>

namespace qel::archives {

/// An object's metadata text and the schema that it names.
struct object_metadata {
    const char *text;
    const char *schema; // the value of the key `schema`, "" without one
    ogawa_schema kind;
};

inline bool is_mesh(const object_metadata &metadata) {
    return metadata.kind == OGAWA_SCHEMA_POLYMESH || metadata.kind == OGAWA_SCHEMA_SUBD;
}

/// Finds the value of the first pair with a key; null if there is none.
const char *find_value(const char *metadata, std::size_t metadata_length, const char *key, std::size_t &value_length);

/// Reads an object's text of `text_length` bytes; false when there is no memory.
bool describe_object(const char *text, std::size_t text_length, arena &memory, object_metadata &metadata);

} // namespace qel::archives
