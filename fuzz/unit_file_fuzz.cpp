// SPDX-License-Identifier: MIT
// Unit files of any bytes and units of any arrays: load or create, then every query, compared with the model.
#include "harness.h"

#include "model/unit_model.h"
#include "support/units.h"

#include <algorithm>
#include <array>
#include <fuzzer/FuzzedDataProvider.h>
#include <unordered_map>

using namespace qel;
using namespace qel::fuzz;

namespace {

using tokens = std::vector<qel_token>;

/// Keys that often collide: equal keys, neighbours, keys of one bucket, ends of the range.
std::uint64_t any_key(FuzzedDataProvider &fuzz, std::uint64_t previous) {
    switch (fuzz.ConsumeIntegralInRange(0, 7)) {
    case 0:
        return fuzz.ConsumeIntegral<std::uint64_t>();
    case 1:
        return previous + fuzz.ConsumeIntegral<std::uint8_t>();
    case 2:
        return previous - fuzz.ConsumeIntegral<std::uint8_t>();
    case 3: {
        const std::uint64_t word = fuzz.ConsumeIntegral<std::uint32_t>();
        return previous ^ (word << 32 | word); // the same bucket
    }
    case 4:
        return fuzz.ConsumeIntegral<std::uint32_t>() & 0x3FFFF;
    case 5:
        return ~std::uint64_t{0} - fuzz.ConsumeIntegral<std::uint8_t>();
    case 6:
        return previous + (std::uint64_t{1} << fuzz.ConsumeIntegralInRange(0, 63));
    default:
        return previous;
    }
}

qel_token any_token(FuzzedDataProvider &fuzz, std::uint64_t previous) {
    qel_token token = {};
    token.morton = any_key(fuzz, previous);
    if (fuzz.ConsumeBool()) {
        char text[9];
        std::snprintf(text, sizeof text, "%08X", fuzz.ConsumeIntegral<std::uint8_t>());
        std::memcpy(token.hex_id, text, sizeof token.hex_id);
    } else {
        fuzz.ConsumeData(token.hex_id, sizeof token.hex_id);
    }
    token.payload = fuzz.ConsumeIntegral<std::uint16_t>();
    token.layer = fuzz.ConsumeIntegralInRange<std::uint8_t>(0, 3);
    return token;
}

tokens any_tokens(FuzzedDataProvider &fuzz) {
    tokens list;
    // Up to twice the capacity of the queries' short list, if the input has enough bytes.
    const std::size_t repeats = fuzz.ConsumeIntegralInRange<std::size_t>(1, 8);
    while (fuzz.remaining_bytes() > 0 && list.size() < 600) {
        const qel_token token = any_token(fuzz, list.empty() ? 0 : list.back().morton);
        for (std::size_t i = 0; i < repeats; ++i) {
            list.push_back(token);
            list.back().morton += i * i;
        }
    }
    return list;
}

bytes any_file(FuzzedDataProvider &fuzz) {
    const auto lie = fuzz.ConsumeIntegral<std::uint32_t>();
    const bool lies = fuzz.ConsumeBool();
    const std::size_t cut = fuzz.ConsumeIntegralInRange<std::size_t>(0, 60);
    const tokens list = any_tokens(fuzz);
    bytes file = unit_file(lies ? lie : static_cast<std::uint32_t>(list.size()), list, 1, lie);
    if (cut < file.size()) file.resize(file.size() - cut);
    return file;
}

/// Checks the heads and chains of an index: a node for each token, in order, each pointing to the previous one of its
/// bucket.
void check_index(const qel_hash_index &index, const std::vector<std::uint32_t> &bucket_of) {
    require(index.node_count == bucket_of.size());
    std::unordered_map<std::uint32_t, std::uint32_t> heads;
    for (std::uint32_t i = 0; i < index.node_count; ++i) {
        const auto before = heads.find(bucket_of[i]);
        require(index.nodes[i].token == i);
        require(index.nodes[i].next == (before == heads.end() ? 0xFFFFFFFF : before->second));
        heads[bucket_of[i]] = i;
    }
    for (const auto &[bucket, head] : heads)
        require(index.buckets[bucket] == head);
    for (std::uint32_t bucket = 0; bucket < QEL_HASH_BUCKETS; bucket += 65521)
        if (heads.count(bucket) == 0) require(index.buckets[bucket] == 0xFFFFFFFF);
}

void check_indexes(const qel_unit &unit) {
    std::vector<std::uint32_t> morton_buckets, hex_buckets;
    for (std::uint32_t i = 0; i < unit.count; ++i) {
        morton_buckets.push_back(model::morton_bucket(unit.tokens[i].morton));
        hex_buckets.push_back(model::hex_bucket(unit.tokens[i].hex_id));
        require(unit.order[i] == i);
    }
    check_index(*unit.morton_index, morton_buckets);
    check_index(*unit.hex_index, hex_buckets);
}

/// The newest token of a bucket, if it has the requested key.
template <class Bucket, class Same>
std::uint32_t newest(const tokens &list, Bucket in_bucket, Same same) {
    for (std::size_t i = list.size(); i-- > 0;)
        if (in_bucket(list[i])) return same(list[i]) ? static_cast<std::uint32_t>(i) : QEL_NOT_FOUND;
    return QEL_NOT_FOUND;
}

void look_up(const qel_unit &unit, const tokens &list, std::uint64_t key, const char *id) {
    const std::uint32_t by_key = newest(
        list, [key](const qel_token &t) { return model::morton_bucket(t.morton) == model::morton_bucket(key); },
        [key](const qel_token &t) { return t.morton == key; });
    require(qel_unit_lookup_morton(&unit, key) == by_key);
    const auto x = static_cast<std::uint16_t>(key >> 32), y = static_cast<std::uint16_t>(key >> 16);
    const std::uint32_t by_vertex = qel_unit_query_lattice_vertex(&unit, x, y, static_cast<std::uint16_t>(key));
    require(by_vertex == qel_unit_lookup_morton(&unit, key & 0xFFFFFFFFFFFFu));

    const exact<char> text(std::vector<char>(id, id + 8));
    const std::uint32_t by_id = newest(
        list, [id](const qel_token &t) { return model::hex_bucket(t.hex_id) == model::hex_bucket(id); },
        [id](const qel_token &t) { return std::memcmp(t.hex_id, id, 8) == 0; });
    require(qel_unit_lookup_hex(&unit, text) == by_id);
}

void find_nearest(const qel_unit &unit, const tokens &list, std::uint64_t key, std::int32_t k) {
    const std::vector<model::near_token> expected = model::nearest(list, key, k);
    std::vector<std::uint32_t> numbers(expected.size());
    std::vector<std::uint64_t> distances(expected.size());
    require(qel_unit_query_nearest(&unit, key, k, numbers.data(), distances.data()) == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        require(numbers[i] == expected[i].token && distances[i] == expected[i].distance);
}

void find_layer(const qel_unit &unit, const tokens &list, std::uint8_t layer, std::int32_t max) {
    std::vector<std::uint32_t> expected;
    for (std::size_t i = 0; i < list.size() && static_cast<std::int64_t>(expected.size()) < max; ++i)
        if (list[i].layer == layer) expected.push_back(static_cast<std::uint32_t>(i));
    std::vector<std::uint32_t> numbers(expected.size());
    require(qel_unit_query_layer(&unit, layer, numbers.data(), max) == expected.size());
    require(numbers == expected);
}

void copy_all(const qel_unit &unit, const tokens &list) {
    std::vector<std::uint64_t> mortons(list.size());
    std::vector<std::array<char, 8>> ids(list.size());
    std::vector<std::uint8_t> layers(list.size());
    char *const id_bytes = list.empty() ? nullptr : ids[0].data();
    require(qel_unit_get_all_tokens(&unit, mortons.data(), id_bytes, layers.data()) == list.size());
    for (std::uint32_t i = 0; i < list.size(); ++i) {
        std::uint64_t morton = 0;
        char id[8];
        std::uint8_t layer = 0;
        require(qel_unit_get_token(&unit, i, &morton, id, &layer) == 0);
        require(morton == list[i].morton && mortons[i] == morton && layer == list[i].layer && layers[i] == layer);
        require(std::memcmp(id, list[i].hex_id, 8) == 0 && std::memcmp(ids[i].data(), id, 8) == 0);
    }
    require(qel_unit_get_token(&unit, unit.count, nullptr, nullptr, nullptr) == -1);
}

void save(const qel_unit &unit, const tokens &list) {
    const memory_file file;
    require(qel_unit_save(file.path(), &unit) == (list.empty() ? -1 : 0));
    if (list.empty()) return;
    const bytes content = file.content();
    require(content.size() == 24 + list.size() * 25);
    require(std::memcmp(content.data(), "QEL", 4) == 0 && std::memcmp(&content[4], &unit.version, 12) == 0);
    require(std::memcmp(&content[24], list.data(), list.size() * 25) == 0);
}

/// Checks the arithmetic on tokens with any numbers.
void transform(const qel_token &original, std::int32_t low, std::int32_t high) {
    const auto number = static_cast<std::int32_t>(original.morton);
    const auto root = number < 1 ? 0 : static_cast<std::int32_t>(model::root(static_cast<std::uint64_t>(number)));
    require(ruv_isqrt(number) == static_cast<std::uint32_t>(root));
    require(ruv_bounded_sqrt(number, low, high) == (low > root ? low : std::min(root, high)));
    for (const std::int32_t op : {2, 3, -1, low}) {
        qel_token token = original, expected = original;
        qel_token_apply_ilogic(&token, op);
        if (op == 2) expected.morton = original.morton * 2 + 1;
        if (op == 3) expected.morton = original.morton / 2;
        if (op == -1) expected.payload = __builtin_bswap64(original.payload);
        require(std::memcmp(&token, &expected, sizeof token) == 0);
    }
}

void use(const qel_unit &unit, const tokens &list) {
    require(unit.count == list.size() && qel_unit_get_count(&unit) == unit.count);
    require(list.empty() || std::memcmp(unit.tokens, list.data(), list.size() * sizeof(qel_token)) == 0);
    check_indexes(unit);
    copy_all(unit, list);
    save(unit, list);
    const auto count = static_cast<std::int32_t>(list.size());
    const std::size_t stride = 1 + list.size() / 12;
    for (std::size_t i = 0; i < list.size(); i += stride) {
        const qel_token &token = list[i];
        look_up(unit, list, token.morton, token.hex_id);
        look_up(unit, list, token.payload, reinterpret_cast<const char *>(&token));
        find_nearest(unit, list, token.morton + token.payload, 1 + static_cast<std::int32_t>(i % 40));
        find_layer(unit, list, token.layer, static_cast<std::int32_t>(token.payload) - 2);
        transform(token, static_cast<std::int32_t>(token.payload >> 8) - 9, static_cast<std::int32_t>(i));
        require(ruv_sqrt(token.morton) == model::root(token.morton));
        require(ruv_hop_distance(token.morton, list[0].morton) == model::hops(token.morton, list[0].morton));
    }
    for (const std::int32_t k : {-1, 0, 1, count - 1, count / 2, count + 1})
        if (count <= 600) find_nearest(unit, list, list.empty() ? 7 : list[list.size() / 2].morton + 1, k);
    find_layer(unit, list, 1, count + 1);
}

void release(qel_unit &unit) {
    qel_unit_free(&unit);
    require(unit.tokens == nullptr && unit.morton_index == nullptr && unit.hex_index == nullptr);
    std::free(unit.order);
}

void load(const bytes &content) {
    const memory_file file(content);
    qel_unit unit = {};
    const std::int32_t status = qel_unit_load(file.path(), &unit);
    const model::loaded_file expected = model::load(content);
    std::uint32_t claimed = 0;
    if (content.size() >= 12) std::memcpy(&claimed, &content[8], sizeof claimed);
    if (expected.status == 0 && std::uint64_t{claimed} * 25 > max_heap_bytes) {
        require(status == -4 && unit.count == claimed && unit.tokens == nullptr);
    } else if (expected.status == 0 && std::uint64_t{claimed} * 8 > max_heap_bytes) {
        require(status == 0 || status == -5);
    } else {
        require(status == expected.status);
    }
    if (expected.status == 0) require(unit.version == expected.version && unit.extra == expected.extra);
    if (status == 0) use(unit, expected.tokens);
    release(unit);
}

/// The tokens are usually not sorted: the nearest query must still end and return tokens of the unit.
void create_and_use(const tokens &list) {
    qel_unit unit = {};
    require(create(unit, list) == (list.empty() ? -1 : 0));
    if (!list.empty()) {
        require(unit.version == 1 && unit.extra == 0);
        use(unit, list);
    }
    release(unit);
}

void run_out_of_memory(FuzzedDataProvider &fuzz) {
    const bool loads = fuzz.ConsumeBool();
    const bool all_later = fuzz.ConsumeBool();
    const auto n = fuzz.ConsumeIntegralInRange<std::uint64_t>(1, 11);
    const bytes content = any_file(fuzz);
    const tokens list = model::load(content).tokens;
    const memory_file file(content);
    qel_unit unit = {};
    std::int32_t status;
    {
        const failing_heap heap = failing_heap::at(n, all_later);
        status = loads ? qel_unit_load(file.path(), &unit) : create(unit, list);
    }
    if (status == 0 && loads) {
        use(unit, list);
    } else if (status != 0) {
        require(unit.tokens == nullptr && unit.morton_index == nullptr && unit.hex_index == nullptr);
        require(unit.order == nullptr);
    }
    release(unit);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider fuzz(data, size);
    const heap_ledger heap;
    switch (fuzz.ConsumeIntegralInRange(0, 4)) {
    case 0:
        load(fuzz.ConsumeRemainingBytes<std::uint8_t>());
        break;
    case 1:
    case 2:
        load(any_file(fuzz));
        break;
    case 3:
        create_and_use(any_tokens(fuzz));
        break;
    default:
        run_out_of_memory(fuzz);
    }
    require(heap.live() == 0);
    return 0;
}
