// SPDX-License-Identifier: MIT
// Texts of `key=value` pairs, and the schemas that they name.
#include "qel_archive/metadata.h"

#include <cstring>

namespace qel::archives {
namespace {

struct schema_name {
    const char *word;
    ogawa_schema kind;
};

constexpr schema_name schema_names[] = {
    {"Xform", OGAWA_SCHEMA_XFORM},   {"PolyMesh", OGAWA_SCHEMA_POLYMESH}, {"SubD", OGAWA_SCHEMA_SUBD},
    {"Points", OGAWA_SCHEMA_POINTS}, {"Curve", OGAWA_SCHEMA_CURVES},      {"Camera", OGAWA_SCHEMA_CAMERA},
};

/// Whether a schema is any version of the named one: "AbcGeom_", the name, "_v" and digits.
bool is_version_of(const char *schema, const char *word) {
    constexpr char family[] = "AbcGeom_", version[] = "_v";
    const std::size_t family_length = sizeof family - 1, word_length = std::strlen(word);
    if (std::strncmp(schema, family, family_length) != 0) return false;
    schema += family_length;
    if (std::strncmp(schema, word, word_length) != 0) return false;
    schema += word_length;
    if (std::strncmp(schema, version, sizeof version - 1) != 0) return false;
    schema += sizeof version - 1;
    return *schema != '\0' && schema[std::strspn(schema, "0123456789")] == '\0';
}

ogawa_schema kind_of(const char *schema) {
    for (const schema_name &name : schema_names) {
        if (is_version_of(schema, name.word)) return name.kind;
    }
    return OGAWA_SCHEMA_UNKNOWN;
}

} // namespace

const char *find_value(const char *metadata, std::size_t metadata_length, const char *key, std::size_t &value_length) {
    const std::size_t key_length = std::strlen(key);
    const char *const end = metadata + metadata_length;
    for (const char *pair = metadata; pair < end;) {
        const auto *const found = static_cast<const char *>(std::memchr(pair, ';', std::size_t(end - pair)));
        const char *const pair_end = found != nullptr ? found : end;
        const auto pair_length = static_cast<std::size_t>(pair_end - pair);
        if (pair_length > key_length && pair[key_length] == '=' && std::memcmp(pair, key, key_length) == 0) {
            value_length = pair_length - key_length - 1;
            return pair + key_length + 1;
        }
        pair = pair_end + 1;
    }
    return nullptr;
}

bool describe_object(const char *text, std::size_t text_length, arena &memory, object_metadata &metadata) {
    metadata = {text, "", OGAWA_SCHEMA_UNKNOWN};
    std::size_t schema_length = 0;
    const char *const schema = find_value(text, text_length, "schema", schema_length);
    if (schema == nullptr) return true;
    char *const copy = memory.array<char>(schema_length + 1);
    if (copy == nullptr) return false;
    std::memcpy(copy, schema, schema_length);
    copy[schema_length] = '\0';
    metadata = {text, copy, kind_of(copy)};
    return true;
}

} // namespace qel::archives
