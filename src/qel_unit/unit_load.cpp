// SPDX-License-Identifier: MIT
#include "common/file.h"
#include "common/heap.h"
#include "qel_unit/unit_format.h"
#include "qel_unit/unit_sort.h"
#include "qel_unit/unit_store.h"

#include <cstring>

namespace qel {
namespace {

/// Reads the header and the whole tokens that the file holds, at most as many as the header claims. `missing` is the
/// number of claimed tokens that the file does not hold.
qel_status read_unit(std::FILE *stream, qel_unit &unit, std::uint32_t &missing) {
    unit_header header;
    if (std::fread(&header, 1, sizeof header, stream) != sizeof header) return QEL_UNIT_LOAD_TOO_SHORT;
    if (std::memcmp(header.magic, unit_magic, sizeof unit_magic) != 0) return QEL_UNIT_LOAD_NOT_A_UNIT;
    unit.version = header.version;
    unit.count = header.count;
    unit.extra = header.extra;
    unit.tokens = heap_array<qel_token>(header.count);
    if (unit.tokens == nullptr) return QEL_UNIT_LOAD_TOKENS_NO_MEMORY;
    unit.count = static_cast<std::uint32_t>(std::fread(unit.tokens, sizeof(qel_token), header.count, stream));
    missing = header.count - unit.count;
    return QEL_OK;
}

/// Shrinks the array to the tokens that the file holds.
void shrink_tokens(qel_unit &unit) {
    void *tokens = std::realloc(unit.tokens, array_bytes<qel_token>(unit.count));
    if (tokens != nullptr) unit.tokens = static_cast<qel_token *>(tokens); // else the larger block stays in use
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_unit_load(const char *path, qel_unit *unit) {
    const file_stream stream(std::fopen(path, "rb"));
    if (stream == nullptr) return QEL_UNIT_LOAD_CANNOT_OPEN;
    std::uint32_t missing = 0;
    const qel_status status = read_unit(stream.get(), *unit, missing);
    if (status != QEL_OK) return status;
    // Every allocation whose failure has a code precedes the sort, which overwrites the nodes and requires no other
    // scratch memory.
    if (!allocate_indexes(*unit)) return QEL_UNIT_LOAD_INDEX_NO_MEMORY;
    if (!allocate_order(*unit)) return QEL_UNIT_LOAD_ORDER_NO_MEMORY;
    if (missing != 0) shrink_tokens(*unit);
    sort_tokens(*unit);
    index_tokens(*unit, [](std::uint32_t, std::uint32_t) {});
    return QEL_OK;
}

} // extern "C"
