// SPDX-License-Identifier: MIT
// The headers of objects and properties, and the metadata texts that they refer to.
#pragma once

#include "common/arena.h"
#include "qel_archive/container.h"
#include "qel_archive/metadata.h"
#include "qel_archive/names.h"
#include "qel_archive/time_sampling.h"

#include <cstdint>

namespace qel::archives {

/// The shared metadata texts, by number. Number 0 is the empty text.
struct metadata_table {
    const object_metadata *texts;
    std::uint32_t count;
};

/// The tables that headers refer to.
struct header_context {
    metadata_table shared;
    time_sampling_table samplings;
};

/// The bytes of headers, with room for one more. Texts stay in them: the byte after each is set to zero.
struct header_bytes {
    std::uint8_t *bytes;
    std::uint64_t size;
};

/// The headers of the children of one object.
struct object_headers {
    name_table names;
    const object_metadata *const *metadata;
};

enum class property_kind : std::uint8_t {
    compound = QEL_ARCHIVE_PROPERTY_COMPOUND,
    scalar = QEL_ARCHIVE_PROPERTY_SCALAR,
    array = QEL_ARCHIVE_PROPERTY_ARRAY
};

struct property_header {
    const char *metadata;
    std::uint32_t samples, first_changed, last_changed, time_sampling;
    property_kind kind;
    std::uint8_t value, extent;
    bool all_equal; // all samples are equal, according to the header

    bool is_constant() const { return all_equal || samples <= 1; }
};

/// The headers of the properties of one compound.
struct property_headers {
    name_table names;
    const property_header *headers;
    std::uint32_t instance_source; // number of the property that makes an object an instance, or `none`
};

/// Reads the shared texts.
status read_shared_metadata(header_bytes source, arena &memory, metadata_table &table);

/// Reads `count` headers. DAMAGED if there are more or fewer, or a field has an impossible value.
status read_object_headers(header_bytes source, std::uint64_t count, const header_context &context, arena &memory,
                           object_headers &headers);
status read_property_headers(header_bytes source, std::uint64_t count, const header_context &context, arena &memory,
                             property_headers &headers);

/// The size in bytes of a value of a kind that is not a text.
std::uint32_t value_size(std::uint32_t value);

} // namespace qel::archives
