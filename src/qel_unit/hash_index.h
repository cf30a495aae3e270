// SPDX-License-Identifier: MIT
// The chained hash index over tokens and agents: a fixed array of bucket heads and one node per entry. The insertion
// and the newest-node rule are implemented only here.
#pragma once

#include "common/bytes.h"
#include "common/cpu.h"
#include "common/morton_key.h"
#include "qel_unit.h"

#include <cstdint>

#if QEL_SSE2_KERNELS
#include <emmintrin.h>
#endif

namespace qel {

static_assert(sizeof(qel_hash_node) == 8);

constexpr std::uint32_t empty_bucket = 0xFFFFFFFF; // also the end of a chain
constexpr std::uint32_t bucket_mask = QEL_HASH_BUCKETS - 1;
static_assert(QEL_HASH_BUCKETS == index_slots);

/// djb2 over at most 8 bytes, ending before a zero byte. Bytes are signed: 0x80..0xFF subtract. Nothing after the zero
/// byte is read.
inline std::uint32_t identity_hash(const char *identity) {
    std::uint32_t hash = 5381;
    for (int i = 0; i < 8 && identity[i] != '\0'; ++i)
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(identity[i]));
    return hash & bucket_mask;
}

constexpr std::uint32_t power_2 = 33 * 33, power_4 = power_2 * power_2;
constexpr std::uint32_t power_8_start = 5381 * power_4 * power_4; // 5381 x 33^8, mod 2^32

/// The identity hash of a field whose 8 bytes can all be read. If none is zero, the eight steps of the loop become
/// three: pairs, then fours, then all of them at once. Inverting a byte's highest bit gives the signed byte plus 128;
/// the start subtracts the sum of the eight offsets.
inline std::uint32_t field_hash_plain(const char *field) {
    constexpr std::uint64_t ones = 0x0101010101010101, high_bits = ones << 7;
    auto bytes = load<std::uint64_t>(reinterpret_cast<const std::uint8_t *>(field));
    if (((bytes - ones) & ~bytes & high_bits) != 0) return identity_hash(field); // a zero byte
    bytes ^= high_bits;
    constexpr std::uint64_t every_second = 0x00FF00FF00FF00FF, every_fourth = 0x0000FFFF0000FFFF;
    const std::uint64_t pairs = (bytes & every_second) * 33 + (bytes >> 8 & every_second);
    const std::uint64_t fours = (pairs & every_fourth) * power_2 + (pairs >> 16 & every_fourth);
    constexpr std::uint32_t sign_offset = 128U * 34 * 1090 * (1 + power_4); // 128 x (33^0 + ... + 33^7)
    const std::uint32_t hash = power_8_start - sign_offset + static_cast<std::uint32_t>(fours) * power_4 +
                               static_cast<std::uint32_t>(fours >> 32);
    return hash & bucket_mask;
}

#if QEL_SSE2_KERNELS
/// The same steps on signed words. A lookup takes nine instructions fewer, so that more lookups overlap.
inline std::uint32_t field_hash_sse2(const char *field) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(field));
    constexpr int none_of_eight = 0xFF00; // the other eight bytes are zero
    const int zeros = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128()));
    if (__builtin_expect(zeros != none_of_eight, 0)) return identity_hash(field);
    const __m128i words = _mm_srai_epi16(_mm_unpacklo_epi8(bytes, bytes), 8);
    const __m128i pairs = _mm_madd_epi16(words, _mm_set1_epi32(1 << 16 | 33));
    const __m128i fours = _mm_madd_epi16(_mm_packs_epi32(pairs, pairs), _mm_set1_epi32(1 << 16 | int{power_2}));
    const auto first = static_cast<std::uint32_t>(_mm_cvtsi128_si32(fours));
    const auto second = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_epi64(fours, 32)));
    return (power_8_start + first * power_4 + second) & bucket_mask;
}
#endif

/// The SSE2 form if it is compiled, else the plain one.
inline std::uint32_t field_hash(const char *field) {
#if QEL_SSE2_KERNELS
    return field_hash_sse2(field);
#else
    return field_hash_plain(field);
#endif
}

/// Makes an empty index with room for `capacity` nodes; null if a part of it cannot be allocated.
qel_hash_index *create_index(std::uint64_t capacity);

/// Frees an index and nulls the pointer. A null pointer is allowed.
void release_index(qel_hash_index *&index);

/// Makes `node` hold `entry` and puts it at the head of a bucket. An index takes QEL_HASH_BUCKETS insertions; later
/// ones do nothing.
///
/// A node that is in use moves to its new bucket. Chains are then invalid; no code follows them.
inline void insert(qel_hash_index &index, std::uint32_t bucket, std::uint32_t entry, std::uint32_t node) {
    if (index.node_count >= QEL_HASH_BUCKETS) return;
    index.nodes[node] = {entry, index.buckets[bucket]};
    index.buckets[bucket] = node;
    ++index.node_count;
}

/// The same in an index that is filled once: the entry takes the next node.
inline void insert(qel_hash_index &index, std::uint32_t bucket, std::uint32_t entry) {
    insert(index, bucket, entry, index.node_count);
}

/// The newest-node rule: returns `accept` of the entry of a bucket's newest node, which is that entry or QEL_NOT_FOUND;
/// QEL_NOT_FOUND for an empty bucket. The rest of the chain is not read, so that a lookup is one bucket, one node and
/// one entry.
///
/// Node n nearly always holds entry n. The comparison of both lets the processor predict the entry and load it before
/// the node has arrived.
template <class Accept>
std::uint32_t newest_entry(const qel_hash_index &index, std::uint32_t bucket, Accept accept) {
    const std::uint32_t node = index.buckets[bucket];
    if (node == empty_bucket) return QEL_NOT_FOUND;
    const std::uint32_t held = index.nodes[node].token;
    std::uint32_t entry = node;
    if (held != node) {
        if (held == QEL_NOT_FOUND) return QEL_NOT_FOUND;
        entry = held;
    }
    return accept(entry);
}

/// The newest entry without a comparison of keys.
inline std::uint32_t newest_entry(const qel_hash_index &index, std::uint32_t bucket) {
    return newest_entry(index, bucket, [](std::uint32_t entry) { return entry; });
}

} // namespace qel
