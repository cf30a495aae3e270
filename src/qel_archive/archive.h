// SPDX-License-Identifier: MIT
// An open archive: the structure that was read from its file. After opening, only the texts made on request change.
#pragma once

#include "qel_archive/object_tree.h"

/// The record that a caller's handle points to. Only `texts`, and the slots that refer to them, change after opening.
struct qel_archive {
    qel::random_access_file file;
    qel::arena memory;
    qel::archives::header_context context = {};
    qel::archives::object_tree tree;
    std::int32_t library_version = {};
    const char *metadata = "";
    mutable qel::archives::lazy_texts texts;
};

namespace qel::archives {

inline const time_sampling &sampling_of(const qel_archive &archive, const property_header &header) {
    return archive.context.samplings.samplings[header.time_sampling];
}

/// Finds a property of an object by its name; false if there is none.
inline bool find_property(const qel_archive &archive, std::uint32_t object, const char *name, property_entry &entry) {
    return archive.tree.compounds.find(archive.tree.properties(object), name, entry);
}

/// Reads the archive's structure from its file.
status read_structure(qel_archive &archive);

} // namespace qel::archives
