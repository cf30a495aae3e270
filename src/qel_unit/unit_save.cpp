// SPDX-License-Identifier: MIT
#include "common/clock.h"
#include "common/file.h"
#include "qel_unit/unit_format.h"

#include <cstring>

namespace qel {
namespace {

bool write_header(std::FILE *stream, const qel_unit &unit) {
    unit_header header = {{}, unit.version, unit.count, unit.extra, seconds_since_1970()};
    std::memcpy(header.magic, unit_magic, sizeof header.magic);
    return std::fwrite(&header, 1, sizeof header, stream) == sizeof header;
}

/// The byte count is deliberately a 32-bit product: a unit too large for it is truncated.
bool write_tokens(std::FILE *stream, const qel_unit &unit) {
    const std::uint32_t bytes = unit.count * std::uint32_t{sizeof(qel_token)};
    return std::fwrite(unit.tokens, 1, bytes, stream) == bytes;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_unit_save(const char *path, const qel_unit *unit) {
    if (unit == nullptr || unit->tokens == nullptr || unit->count == 0) return QEL_UNIT_SAVE_BAD_ARGUMENT;
    const file_stream stream(std::fopen(path, "wb"));
    if (stream == nullptr) return QEL_UNIT_SAVE_CANNOT_CREATE;
    if (!write_header(stream.get(), *unit)) return QEL_UNIT_SAVE_CANNOT_WRITE_HEADER;
    if (!write_tokens(stream.get(), *unit)) return QEL_UNIT_SAVE_CANNOT_WRITE_TOKENS;
    return QEL_OK;
}

} // extern "C"
