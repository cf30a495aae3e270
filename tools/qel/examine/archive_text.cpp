// SPDX-License-Identifier: MIT
#include "examine/archive_text.h"

#include "files/failure.h"

namespace tool {

value_type type_of(std::uint32_t value) {
    switch (value) {
    case QEL_ARCHIVE_VALUE_BOOL:
        return {"bool", 1};
    case QEL_ARCHIVE_VALUE_U8:
        return {"uint8", 1};
    case QEL_ARCHIVE_VALUE_I8:
        return {"int8", 1};
    case QEL_ARCHIVE_VALUE_U16:
        return {"uint16", 2};
    case QEL_ARCHIVE_VALUE_I16:
        return {"int16", 2};
    case QEL_ARCHIVE_VALUE_U32:
        return {"uint32", 4};
    case QEL_ARCHIVE_VALUE_I32:
        return {"int32", 4};
    case QEL_ARCHIVE_VALUE_U64:
        return {"uint64", 8};
    case QEL_ARCHIVE_VALUE_I64:
        return {"int64", 8};
    case QEL_ARCHIVE_VALUE_F16:
        return {"float16", 2};
    case QEL_ARCHIVE_VALUE_F32:
        return {"float32", 4};
    case QEL_ARCHIVE_VALUE_F64:
        return {"float64", 8};
    case QEL_ARCHIVE_VALUE_TEXT:
        return {"text", 0};
    case QEL_ARCHIVE_VALUE_WIDE_TEXT:
        return {"wide text", 0};
    default:
        return {"unknown", 0};
    }
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
    switch (scope) {
    case OGAWA_SCOPE_CONSTANT:
        return "for all";
    case OGAWA_SCOPE_FACE:
        return "by face";
    case OGAWA_SCOPE_VARYING:
        return "varying";
    case OGAWA_SCOPE_VERTEX:
        return "by vertex";
    case OGAWA_SCOPE_FACE_VARYING:
        return "by corner";
    default:
        return "of an unknown scope";
    }
}

std::string archive_message(std::int32_t status) {
    return status == QEL_ARCHIVE_NO_MEMORY ? no_memory : qel_archive_message(status);
}

} // namespace tool
