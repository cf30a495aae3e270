// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"
#include "support/failing_write.h"
#include "support/units.h"

namespace qel::test {
namespace {

std::int32_t create_failing(caller &c, std::uint64_t allocation) {
    c.watch(c.unit);
    const token_arrays arrays(tokens_with_keys({5, 1, 3}));
    const failing_heap heap = failing_heap::nth(allocation);
    return arrays.create(c.unit);
}

/// Saves a unit of these keys whose header has another count.
std::int32_t save(caller &c, const std::vector<std::uint64_t> &keys, std::uint32_t count, const std::string &path) {
    std::vector<qel_token> tokens = tokens_with_keys(keys);
    c.unit = borrowed_unit(tokens);
    c.unit.count = count;
    c.watch(c.unit);
    c.watch_file();
    return qel_unit_save(path.c_str(), &c.unit);
}

std::int32_t save_failing(caller &c, int write) {
    failing_write = write;
    const std::int32_t status = save(c, {1, 2, 3}, 3, c.path);
    failing_write = 0;
    return status;
}

std::int32_t load(caller &c, const bytes &file, std::uint64_t failing_allocation = 0) {
    write_file(c.path, file);
    c.watch(c.unit);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_unit_load(c.path.c_str(), &c.unit);
}

bytes sound_file() {
    bytes file = {'Q', 'E', 'L', 0, 6, 0, 0, 0, 3, 0, 0, 0, 7, 0, 0, 0}; // version 6, three tokens, extra 7
    file.resize(24 + 3 * sizeof(qel_token));
    return file;
}

/// Of a unit of one token.
std::int32_t get_token(caller &c, std::uint32_t number) {
    std::vector<qel_token> tokens = {make_token(9, "2A9E0100", 5, 7)};
    c.unit = borrowed_unit(tokens);
    c.watch("morton", c.key);
    c.watch("hex_id", c.text);
    c.watch("layer", c.byte);
    const std::int32_t status = qel_unit_get_token(&c.unit, number, &c.key, c.text, &c.byte);
    if (status == 0) c.text[8] = '\0'; // the function adds no terminator
    return status;
}

} // namespace

const std::vector<outcome> unit_outcomes = {
    {"qel_unit_create", 0, "", [](caller &c) { return create_failing(c, 0); },
     "version 1, count 3, extra 0, tokens owned, morton_index owned, hex_index owned, order owned"},
    {"qel_unit_create", -1, "without tokens",
     [](caller &c) { return qel_unit_create(&c.unit, 0, nullptr, nullptr, nullptr, nullptr); }, "nothing",
     watching<&caller::unit>},
    {"qel_unit_create", -1, "without a unit",
     [](caller &) {
         const std::uint64_t key = 1;
         return qel_unit_create(nullptr, 1, &key, "00000000", &key, reinterpret_cast<const std::uint8_t *>(""));
     },
     "nothing"},
    {"qel_unit_create", -2, "", [](caller &c) { return create_failing(c, 1); },
     "version 1, count 3, extra 0, tokens null"},
    {"qel_unit_create", -3, "the key index's record", [](caller &c) { return create_failing(c, 2); },
     "version 1, count 3, extra 0, tokens null, morton_index null, hex_index null"},
    {"qel_unit_create", -3, "the identity index's buckets", [](caller &c) { return create_failing(c, 7); },
     "version 1, count 3, extra 0, tokens null, morton_index null, hex_index null"},
    {"qel_unit_create", -4, "", [](caller &c) { return create_failing(c, 8); }, "version 1, count 3, rest 0"},

    {"qel_unit_save", 0, "", [](caller &c) { return save_failing(c, 0); }, "file of 99"},
#if defined(__linux__)
    {"qel_unit_save", 0, "the device is full, and the tokens fit the stream's buffer",
     [](caller &c) {
         return save(c, {1, 2, 3}, 3, "/dev/full");
     },
     "nothing"},
#endif
    {"qel_unit_save", -1, "a count of 0", [](caller &c) { return save(c, {1}, 0, c.path); }, "nothing"},
    {"qel_unit_save", -1, "no tokens", [](caller &c) { return save(c, {}, 1, c.path); }, "nothing"},
    {"qel_unit_save", -1, "no unit",
     [](caller &c) {
         c.watch_file();
         return qel_unit_save(c.path.c_str(), nullptr);
     },
     "nothing"},
    {"qel_unit_save", -2, "", [](caller &c) { return save(c, {1}, 1, c.path + "/in-no-folder"); }, "nothing"},
    {"qel_unit_save", -3, "", [](caller &c) { return save_failing(c, 1); }, "file of 0"},
    {"qel_unit_save", -4, "", [](caller &c) { return save_failing(c, 2); }, "file of 24"},

    {"qel_unit_load", 0, "", [](caller &c) { return load(c, sound_file()); },
     "version 6, count 3, extra 7, tokens owned, morton_index owned, hex_index owned, order owned"},
    {"qel_unit_load", 0, "cut short",
     [](caller &c) {
         bytes file = sound_file();
         file.resize(24 + 25 + 24);
         return load(c, file);
     },
     "version 6, count 1, extra 7, tokens owned, morton_index owned, hex_index owned, order owned"},
    {"qel_unit_load", -1, "", [](caller &c) { return qel_unit_load(c.path.c_str(), &c.unit); }, "nothing",
     watching<&caller::unit>},
    {"qel_unit_load", -2, "", [](caller &c) { return load(c, bytes(23, 'Q')); }, "nothing"},
    {"qel_unit_load", -3, "", [](caller &c) { return load(c, bytes(24, 'Q')); }, "nothing"},
    {"qel_unit_load", -4, "", [](caller &c) { return load(c, sound_file(), 1); },
     "version 6, count 3, extra 7, tokens null"},
    {"qel_unit_load", -5, "", [](caller &c) { return load(c, sound_file(), 2); },
     "version 6, count 3, extra 7, tokens null, morton_index null, hex_index null"},
    {"qel_unit_load", -5, "after a truncated file",
     [](caller &c) {
         bytes file = sound_file();
         file.pop_back();
         return load(c, file, 7);
     },
     "version 6, count 2, extra 7, tokens null, morton_index null, hex_index null"},
    {"qel_unit_load", -6, "", [](caller &c) { return load(c, sound_file(), 8); },
     "version 6, count 3, extra 7, rest 0"},

    {"qel_unit_get_token", 0, "", [](caller &c) { return get_token(c, 0); }, "morton 9, hex_id \"2A9E0100\", layer 7"},
    {"qel_unit_get_token", -1, "no such token", [](caller &c) { return get_token(c, 1); }, "nothing"},
};

} // namespace qel::test
