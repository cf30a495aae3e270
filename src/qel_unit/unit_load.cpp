// SPDX-License-Identifier: MIT
// The sort is a least-significant-digit radix sort of (key prefix, position) pairs: Knuth, The Art of Computer
// Programming 3, section 5.2.5.
#include "qel_unit/unit_format.h"

#include "common/file.h"
#include "common/heap.h"
#include "qel_unit/unit_store.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

namespace qel {
namespace {

static_assert(sizeof(std::time_t) == 8, "build with a 64-bit clock: seconds since 1970 outgrow 32 bits");

enum unit_save_status : std::int32_t {
    unit_saved = 0,
    no_unit_to_save = -1,
    cannot_create_unit = -2,
    header_cut = -3,
    tokens_cut = -4
};

enum unit_load_status : std::int32_t {
    unit_loaded = 0,
    cannot_open_unit = -1,
    no_header = -2,
    not_a_unit = -3,
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
unit_load_status read_unit(std::FILE *stream, qel_unit &unit, std::uint32_t &missing) {
    unit_header header;
    if (std::fread(&header, 1, sizeof header, stream) != sizeof header) return no_header;
    if (std::memcmp(header.magic, unit_magic, sizeof unit_magic) != 0) return not_a_unit;
    unit.version = header.version;
    unit.count = header.count;
    unit.extra = header.extra;
    unit.tokens = heap_array<qel_token>(header.count);
    if (unit.tokens == nullptr) return no_tokens;
    unit.count = static_cast<std::uint32_t>(std::fread(unit.tokens, sizeof(qel_token), header.count, stream));
    missing = header.count - unit.count;
    return unit_loaded;
}

/// Gives back the room for tokens that the header claimed and the file did not hold.
void shrink_tokens(qel_unit &unit) {
    void *tokens = std::realloc(unit.tokens, array_bytes<qel_token>(unit.count));
    if (tokens != nullptr) unit.tokens = static_cast<qel_token *>(tokens); // else the larger block serves
}

bool key_before(const qel_token &a, const qel_token &b) {
    return compare_tokens_morton(&a, &b) < 0;
}

std::uint64_t differing_bits(const qel_token *tokens, std::uint32_t count) {
    std::uint64_t differing = 0;
    for (std::uint32_t i = 1; i < count; ++i)
        differing |= tokens[i].morton ^ tokens[0].morton;
    return differing;
}

/// What keys are sorted by: the highest 32 of the bits in which they differ, moved together. Lattice keys, with few
/// bits in use, fit as a whole.
struct key_prefix {
    explicit key_prefix(std::uint64_t differing) {
        unsigned low = 64;
        while (low > 0 && bits < 32) {
            --low;
            if ((differing >> low & 1) == 0) continue;
            if (count == 0 || parts[count - 1].low != low + 1) parts[count++] = {low + 1, 0};
            --parts[count - 1].low;
            ++parts[count - 1].width;
            ++bits;
        }
        whole = (differing & ((std::uint64_t{1} << low) - 1)) == 0;
    }

    std::uint32_t of(std::uint64_t key) const {
        std::uint64_t prefix = 0;
        for (unsigned i = 0; i < count; ++i)
            prefix = prefix << parts[i].width | (key >> parts[i].low & ((1ULL << parts[i].width) - 1));
        return static_cast<std::uint32_t>(prefix);
    }

    struct part {
        unsigned low, width;
    };

    part parts[32];
    unsigned count = 0;
    unsigned bits = 0;  // of a prefix
    bool whole = false; // no bit in which keys differ is left out
};

/// A token's position and the prefix of its key, in the shape of a chain node: the nodes of a unit's indexes, which
/// are filled after the sort, are all the memory that sorting keys takes.
using sort_entry = qel_hash_node;

std::uint32_t &position_of(sort_entry &entry) {
    return entry.token;
}

std::uint32_t &prefix_of(sort_entry &entry) {
    return entry.next;
}

/// Sorts the positions of all tokens by the prefixes of their keys, stably, in one of two arrays, which it returns.
sort_entry *sort_prefixes(const qel_token *tokens, std::uint32_t count, const key_prefix &prefix,
                          sort_entry *from, sort_entry *to) {
    constexpr std::uint32_t digit_bits = 8, radix = 1 << digit_bits, most_digits = 32 / digit_bits;
    const std::uint32_t digits = (prefix.bits + digit_bits - 1) / digit_bits;
    // First how often each value of each digit occurs, then where its next entry goes.
    std::uint32_t places[most_digits][radix] = {};
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t value = prefix.of(tokens[i].morton);
        from[i] = {i, value};
        for (std::uint32_t digit = 0; digit < digits; ++digit)
            ++places[digit][value >> digit * digit_bits & (radix - 1)];
    }
    for (std::uint32_t digit = 0; digit < digits; ++digit) {
        std::uint32_t place = 0;
        for (std::uint32_t &value : places[digit])
            place += std::exchange(value, place);
        for (std::uint32_t i = 0; i < count; ++i)
            to[places[digit][prefix_of(from[i]) >> digit * digit_bits & (radix - 1)]++] = from[i];
        std::swap(from, to);
    }
    return from;
}

/// Sorts by whole keys where prefixes are equal.
void settle_ties(const qel_token *tokens, std::uint32_t count, sort_entry *entries) {
    const auto before = [&](sort_entry a, sort_entry b) {
        const std::int32_t order = compare_tokens_morton(tokens + position_of(a), tokens + position_of(b));
        return order != 0 ? order < 0 : position_of(a) < position_of(b);
    };
    for (std::uint32_t first = 0, last = 0; first < count; first = last) {
        for (last = first + 1; last < count && prefix_of(entries[last]) == prefix_of(entries[first]);
             ++last) {
        }
        if (last - first > 1) std::sort(entries + first, entries + last, before);
    }
}

/// Moves every token once, into an array of its own. False without memory for that.
bool move_tokens(qel_unit &unit, sort_entry *entries) {
    scratch<qel_token> sorted(heap_array<qel_token>(unit.count));
    if (sorted == nullptr) return false;
    for (std::uint32_t i = 0; i < unit.count; ++i)
        sorted[i] = unit.tokens[position_of(entries[i])];
    release(unit.tokens);
    unit.tokens = sorted.release();
    return true;
}

/// The same within the array, one cycle of tokens after the other: slower, for each step waits for the one before.
void rotate_tokens(qel_token *tokens, std::uint32_t count, sort_entry *entries) {
    for (std::uint32_t first = 0; first < count; ++first) {
        const qel_token displaced = tokens[first];
        std::uint32_t place = first;
        for (std::uint32_t source = 0; (source = position_of(entries[place])) != first; place = source) {
            tokens[place] = tokens[source];
            position_of(entries[place]) = place;
        }
        tokens[place] = displaced;
        position_of(entries[place]) = place;
    }
}

/// Sorts the tokens ascending by key; equal keys keep the file's order. Overwrites the nodes of both indexes.
void sort_tokens(qel_unit &unit) {
    if (std::is_sorted(unit.tokens, unit.tokens + unit.count, key_before)) return;
    const key_prefix prefix(differing_bits(unit.tokens, unit.count));
    sort_entry *const entries =
        sort_prefixes(unit.tokens, unit.count, prefix, unit.morton_index->nodes, unit.hex_index->nodes);
    if (!prefix.whole) settle_ties(unit.tokens, unit.count, entries);
    if (!move_tokens(unit, entries)) rotate_tokens(unit.tokens, unit.count, entries);
}

} // namespace
} // namespace qel

extern "C" {

int32_t qel_unit_save(const char *path, const qel_unit *unit) {
    if (unit == nullptr || unit->tokens == nullptr || unit->count == 0) return qel::no_unit_to_save;
    const qel::file_stream stream(std::fopen(path, "wb"));
    if (stream == nullptr) return qel::cannot_create_unit;
    if (!qel::write_header(stream.get(), *unit)) return qel::header_cut;
    if (!qel::write_tokens(stream.get(), *unit)) return qel::tokens_cut;
    return qel::unit_saved;
}

int32_t qel_unit_load(const char *path, qel_unit *unit) {
    qel::file_stream stream(std::fopen(path, "rb"));
    if (stream == nullptr) return qel::cannot_open_unit;
    uint32_t missing = 0;
    const qel::unit_load_status status = qel::read_unit(stream.get(), *unit, missing);
    if (status != qel::unit_loaded) return status;
    stream.reset();
    // Whatever has a code is allocated before the sort, which may use the nodes and does without scratch memory.
    if (!qel::allocate_indexes(*unit)) return qel::no_index;
    if (!qel::allocate_order(*unit)) return qel::no_order;
    if (missing != 0) qel::shrink_tokens(*unit);
    qel::sort_tokens(*unit);
    qel::index_tokens(*unit, [](uint32_t, uint32_t) {});
    return qel::unit_loaded;
}
}
