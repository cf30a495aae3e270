// SPDX-License-Identifier: MIT
#include "common/file.h"
#include "common/heap.h"
#include "qel_unit/unit_format.h"
#include "qel_unit/unit_sort.h"
#include "qel_unit/unit_store.h"

#include <cstring>

namespace qel {
namespace {

enum load_status : std::int32_t {
    loaded = 0,
    cannot_open = -1,
    no_header = -2,
    not_a_unit = -3,
    no_memory_for_tokens = -4,
    no_memory_for_indexes = -5,
    no_memory_for_order = -6
};

/// Reads the header and as many whole tokens as it claims and the file holds. `missing` counts the tokens that it
/// claims and the file does not hold.
load_status read_unit(std::FILE *stream, qel_unit &unit, std::uint32_t &missing) {
    unit_header header;
    if (std::fread(&header, 1, sizeof header, stream) != sizeof header) return no_header;
    if (std::memcmp(header.magic, unit_magic, sizeof unit_magic) != 0) return not_a_unit;
    unit.version = header.version;
    unit.count = header.count;
    unit.extra = header.extra;
    unit.tokens = heap_array<qel_token>(header.count);
    if (unit.tokens == nullptr) return no_memory_for_tokens;
    unit.count = static_cast<std::uint32_t>(std::fread(unit.tokens, sizeof(qel_token), header.count, stream));
    missing = header.count - unit.count;
    return loaded;
}

/// Gives back the room for tokens that the header claims and the file does not hold.
void shrink_tokens(qel_unit &unit) {
    void *tokens = std::realloc(unit.tokens, array_bytes<qel_token>(unit.count));
    if (tokens != nullptr)
        unit.tokens = static_cast<qel_token *>(tokens); // else the larger block stays in use
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_unit_load(const char *path, qel_unit *unit) {
    file_stream stream(std::fopen(path, "rb"));
    if (stream == nullptr) return cannot_open;
    std::uint32_t missing = 0;
    const load_status status = read_unit(stream.get(), *unit, missing);
    if (status != loaded) return status;
    stream.reset();
    // Every allocation whose failure has a code comes before the sort, which overwrites the nodes and needs no scratch
    // memory.
    if (!allocate_indexes(*unit)) return no_memory_for_indexes;
    if (!allocate_order(*unit)) return no_memory_for_order;
    if (missing != 0) shrink_tokens(*unit);
    sort_tokens(*unit);
    index_tokens(*unit, [](std::uint32_t, std::uint32_t) {});
    return loaded;
}

} // extern "C"
