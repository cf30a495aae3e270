// SPDX-License-Identifier: MIT
#include "examine/archive_text.h"

#include "files/failure.h"

#include <utility>

namespace tool {

value_type type_of(std::uint32_t value) {
    constexpr std::pair<std::uint32_t, value_type> types[] = {
        {QEL_ARCHIVE_VALUE_BOOL, {"bool", 1}},   {QEL_ARCHIVE_VALUE_U8, {"uint8", 1}},
        {QEL_ARCHIVE_VALUE_I8, {"int8", 1}},     {QEL_ARCHIVE_VALUE_U16, {"uint16", 2}},
        {QEL_ARCHIVE_VALUE_I16, {"int16", 2}},   {QEL_ARCHIVE_VALUE_U32, {"uint32", 4}},
        {QEL_ARCHIVE_VALUE_I32, {"int32", 4}},   {QEL_ARCHIVE_VALUE_U64, {"uint64", 8}},
        {QEL_ARCHIVE_VALUE_I64, {"int64", 8}},   {QEL_ARCHIVE_VALUE_F16, {"float16", 2}},
        {QEL_ARCHIVE_VALUE_F32, {"float32", 4}}, {QEL_ARCHIVE_VALUE_F64, {"float64", 8}},
        {QEL_ARCHIVE_VALUE_TEXT, {"text", 0}},   {QEL_ARCHIVE_VALUE_WIDE_TEXT, {"wide text", 0}}};
    for (const auto &[number, type] : types)
        if (number == value) return type;
    return {"unknown", 0};
}

std::string kind_of_object(const qel_archive_object &object) {
    const std::string schema = object.schema;
    if (schema.empty()) return "Object";
    const std::size_t first = schema.find('_'), last = schema.rfind("_v");
    if (first == std::string::npos || last == std::string::npos || last <= first) return schema;
    return schema.substr(first + 1, last - first - 1);
}

std::string kind_of_values(const qel_archive_property &property) {
    const std::string name = type_of(property.value).name;
    return property.extent > 1 ? name + "[" + std::to_string(property.extent) + "]" : name;
}

const char *scope_text(std::uint32_t scope) {
    constexpr std::pair<std::uint32_t, const char *> texts[] = {{OGAWA_SCOPE_CONSTANT, "for all"},
                                                                {OGAWA_SCOPE_FACE, "by face"},
                                                                {OGAWA_SCOPE_VARYING, "varying"},
                                                                {OGAWA_SCOPE_VERTEX, "by vertex"},
                                                                {OGAWA_SCOPE_FACE_VARYING, "by corner"}};
    for (const auto &[number, text] : texts)
        if (number == scope) return text;
    return "of an unknown scope";
}

std::string archive_message(std::int32_t status) {
    return status == QEL_ARCHIVE_NO_MEMORY ? no_memory : qel_archive_message(status);
}

} // namespace tool
