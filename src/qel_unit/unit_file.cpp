// SPDX-License-Identifier: MIT
// The sort is a least-significant-digit radix sort of (key, position) pairs: Knuth, The Art of Computer
// Programming 3, section 5.2.5.
#include "qel_unit/unit_file.h"

#include "common/file.h"
#include "common/heap.h"
#include "qel_unit/unit_store.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <utility>

namespace qel {
namespace {

static_assert(sizeof(std::time_t) == 8, "build with a 64-bit clock: seconds since 1970 outgrow 32 bits");

enum save_status : std::int32_t {
    saved = 0,
    nothing_to_save = -1,
    cannot_create = -2,
    header_cut = -3,
    tokens_cut = -4
};

enum load_status : std::int32_t {
    loaded = 0,
    cannot_open = -1,
    no_header = -2,
    wrong_magic = -3,
    no_tokens = -4,
    no_index = -5,
    no_order = -6
};

bool write_header(std::FILE *stream, const qel_unit &unit) {
    unit_header header = {{}, unit.version, unit.count, unit.extra, std::time(nullptr)};
    std::memcpy(header.magic, unit_magic, sizeof header.magic);
    return std::fwrite(&header, 1, sizeof header, stream) == sizeof header;
}

/// The byte count is a 32-bit product on purpose: a unit too large for it is cut short.
bool write_tokens(std::FILE *stream, const qel_unit &unit) {
    const std::uint32_t bytes = unit.count * std::uint32_t{sizeof(qel_token)};
    return std::fwrite(unit.tokens, 1, bytes, stream) == bytes;
}

/// Reads the header and as many whole tokens as it claims and the file holds; `missing` are those it does not.
load_status read_unit(std::FILE *stream, qel_unit &unit, std::uint32_t &missing) {
    unit_header header;
    if (std::fread(&header, 1, sizeof header, stream) != sizeof header) return no_header;
    if (std::memcmp(header.magic, unit_magic, sizeof unit_magic) != 0) return wrong_magic;
    unit.version = header.version;
    unit.count = header.count;
    unit.extra = header.extra;
    unit.tokens = heap_array<qel_token>(header.count);
    if (unit.tokens == nullptr) return no_tokens;
    unit.count = static_cast<std::uint32_t>(std::fread(unit.tokens, sizeof(qel_token), header.count, stream));
    missing = header.count - unit.count;
    return loaded;
}

/// Gives back the room for tokens that the header claimed and the file did not hold.
void shrink_tokens(qel_unit &unit) {
    void *tokens = std::realloc(unit.tokens, array_bytes<qel_token>(unit.count));
    if (tokens != nullptr) unit.tokens = static_cast<qel_token *>(tokens); // else the larger block serves
}

bool key_before(const qel_token &a, const qel_token &b) {
    return compare_tokens_morton(&a, &b) < 0;
}

struct sort_entry {
    std::uint64_t key;
    std::uint32_t position;
};

/// The 8-bit digits to sort by. Each begins at the lowest bit in which keys differ and which no digit before it
/// covers: lattice keys, with few bits in use, take few digits.
struct radix_digits {
    static constexpr unsigned most = 8;
    static constexpr std::uint32_t radix = 256;

    explicit radix_digits(std::uint64_t differing) {
        for (unsigned shift = 0; shift < 64;) {
            if ((differing >> shift & 1) != 0) {
                shifts[count++] = shift;
                shift += 8;
            } else {
                ++shift;
            }
        }
    }

    std::uint32_t of(std::uint64_t key, unsigned digit) const { return key >> shifts[digit] & (radix - 1); }

    unsigned count = 0;
    unsigned shifts[most];
};

std::uint64_t differing_bits(const qel_token *tokens, std::uint32_t count) {
    std::uint64_t differing = 0;
    for (std::uint32_t i = 1; i < count; ++i)
        differing |= tokens[i].morton ^ tokens[0].morton;
    return differing;
}

/// Sorts `count` pairs of every token's key and position; they end in `entries`, by way of `other`. Stable.
void sort_keys(const qel_token *tokens, std::uint32_t count, sort_entry *entries, sort_entry *other) {
    const radix_digits digits(differing_bits(tokens, count));
    // First how often each value of each digit occurs, then where its next entry goes.
    std::uint32_t places[radix_digits::most][radix_digits::radix] = {};
    sort_entry *from = digits.count % 2 == 0 ? entries : other;
    sort_entry *to = digits.count % 2 == 0 ? other : entries;
    for (std::uint32_t i = 0; i < count; ++i) {
        from[i] = {tokens[i].morton, i};
        for (unsigned digit = 0; digit < digits.count; ++digit)
            ++places[digit][digits.of(from[i].key, digit)];
    }
    for (unsigned digit = 0; digit < digits.count; ++digit) {
        std::uint32_t place = 0;
        for (std::uint32_t &value : places[digit])
            place += std::exchange(value, place);
        for (std::uint32_t i = 0; i < count; ++i)
            to[places[digit][digits.of(from[i].key, digit)]++] = from[i];
        std::swap(from, to);
    }
}

/// Sorts the keys first, then moves every token once. False without scratch memory for that.
bool sort_with_scratch(qel_unit &unit) {
    static_assert(sizeof(sort_entry) <= sizeof(qel_token) &&
                  alignof(sort_entry) <= alignof(std::max_align_t));
    const scratch<sort_entry> entries(heap_array<sort_entry>(unit.count));
    scratch<qel_token> sorted(heap_array<qel_token>(unit.count));
    if (entries == nullptr || sorted == nullptr) return false;

    // Until the tokens move in, their new block is the other half of the key sort's memory.
    sort_keys(unit.tokens, unit.count, entries.get(), reinterpret_cast<sort_entry *>(sorted.get()));
    for (std::uint32_t i = 0; i < unit.count; ++i)
        sorted[i] = unit.tokens[entries[i].position];
    release(unit.tokens);
    unit.tokens = sorted.release();
    return true;
}

/// Sorts the tokens ascending by key; equal keys keep the file's order.
void sort_tokens(qel_unit &unit) {
    qel_token *const end = unit.tokens + unit.count;
    if (std::is_sorted(unit.tokens, end, key_before)) return;
    if (!sort_with_scratch(unit)) std::stable_sort(unit.tokens, end, key_before);
}

} // namespace
} // namespace qel

extern "C" {

int32_t qel_unit_save(const char *path, const qel_unit *unit) {
    if (unit == nullptr || unit->tokens == nullptr || unit->count == 0) return qel::nothing_to_save;
    const qel::file_stream stream(std::fopen(path, "wb"));
    if (stream == nullptr) return qel::cannot_create;
    if (!qel::write_header(stream.get(), *unit)) return qel::header_cut;
    if (!qel::write_tokens(stream.get(), *unit)) return qel::tokens_cut;
    return qel::saved;
}

int32_t qel_unit_load(const char *path, qel_unit *unit) {
    qel::file_stream stream(std::fopen(path, "rb"));
    if (stream == nullptr) return qel::cannot_open;
    uint32_t missing = 0;
    const qel::load_status status = qel::read_unit(stream.get(), *unit, missing);
    if (status != qel::loaded) return status;
    stream.reset();
    // All that can fail comes first: whether the sort gets its scratch memory changes no code.
    if (!qel::allocate_indexes(*unit)) return qel::no_index;
    if (!qel::allocate_order(*unit)) return qel::no_order;
    if (missing != 0) qel::shrink_tokens(*unit);
    qel::sort_tokens(*unit);
    qel::index_tokens(*unit);
    return qel::loaded;
}
}
