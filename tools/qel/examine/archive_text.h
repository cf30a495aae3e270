// SPDX-License-Identifier: MIT
// The names of an archive's kinds, types and scopes in the output.
#pragma once

#include <qel_archive.h>

#include <cstddef>
#include <string>

namespace tool {

/// A type of values: its name, and the bytes of one number, 0 of a text.
struct value_type {
    const char *name;
    std::size_t bytes;
};
/// An unknown type has 0 bytes.
value_type type_of(std::uint32_t value);

/// "Xform", "FaceSet": an object's schema without the prefix and the version.
std::string kind_of_object(const qel_archive_object &object);
/// "float32[3]": a property's type and extent.
std::string kind_of_values(const qel_archive_property &property);
/// "by corner": the elements that have a value each.
const char *scope_text(std::uint32_t scope);

/// qel_archive_message, but one text for all failed allocations.
std::string archive_message(std::int32_t status);

} // namespace tool
