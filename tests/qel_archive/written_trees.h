// SPDX-License-Identifier: MIT
// Trees that no builder makes, written group by group: groups with several parents, and very many groups.
#pragma once

#include "support/archive_headers.h"
#include "support/archive_writer.h"

#include <string>
#include <vector>

namespace qel::test {

/// The headers of the children of an object, named "o" and a number from `first` on, with the digests after them.
inline std::uint64_t object_headers(archive_writer &out, std::size_t count, std::size_t first = 0) {
    bytes headers;
    for (std::size_t i = first; i < first + count; ++i)
        append_bytes(headers, bytes_of_header(object_header{"o" + std::to_string(i), 0, ""}));
    headers.resize(headers.size() + 32);
    return out.data(headers);
}

inline std::uint64_t object_group(archive_writer &out, std::uint64_t properties,
                                  const std::vector<std::uint64_t> &children) {
    std::vector<std::uint64_t> references = {properties};
    references.insert(references.end(), children.begin(), children.end());
    references.push_back(object_headers(out, children.size()));
    return out.group(references);
}

/// A compound of compounds, named "c" and their number.
inline std::uint64_t compound_group(archive_writer &out, const std::vector<std::uint64_t> &children) {
    bytes headers;
    for (std::size_t i = 0; i < children.size(); ++i) {
        property_header header;
        header.name = "c" + std::to_string(i);
        append_bytes(headers, bytes_of_header(header));
    }
    std::vector<std::uint64_t> references = children;
    references.push_back(out.data(headers));
    return out.group(references);
}

/// Closes an archive around its top object, with the static time sampling.
inline void set_top_object(archive_writer &out, std::uint64_t top) {
    const std::uint64_t version = out.data(bytes(4, 0)), samplings = out.data(bytes_of_sampling({}, 0));
    constexpr std::uint64_t no_text = archive_writer::empty_data;
    out.set_root(out.group({version, version, top, no_text, samplings, no_text}));
}

} // namespace qel::test
