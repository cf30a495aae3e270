// SPDX-License-Identifier: MIT
// Archives without a node tree, whose meshes are found by searches: meaningless filler, vertices, and what a
// test puts after them.
#pragma once

#include "ogawa_reader/mesh/read_mesh.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace qel::test {

using floats = std::vector<float>;
using words = std::vector<std::uint32_t>;

constexpr std::uint64_t data_at = 13000; // after the positions

/// Filler, and 1001 vertices near the start.
inline bytes vertices_only(std::uint64_t length = 40000) {
    bytes content(length, 0xFF);
    put(content, 8, std::uint64_t{0});
    put_block(content, 100, 12012, floats(3003, 5.0f));
    return content;
}

/// A size word, a digest of filler and unit vectors, as many as the size promises or as the file holds.
inline void put_normals(bytes &content, std::uint64_t at, std::uint64_t size, const floats &head = {0, 0, 1, 0, 1, 0}) {
    put(content, at, size);
    floats values(std::min<std::uint64_t>((size - 16) / 12 * 3, (content.size() - at - 24) / 4), 1.0f);
    std::copy(head.begin(), head.end(), values.begin());
    put_all(content, at + 24, values);
}

inline bytes with_normals(std::uint64_t size, const floats &head = {0, 0, 1, 0, 1, 0}) {
    bytes content = vertices_only();
    put_normals(content, data_at, size, head);
    return content;
}

inline words counting(std::uint32_t count) {
    words run(count);
    for (std::uint32_t i = 0; i < count; ++i)
        run[i] = (i * 7 + 1) % 1001;
    return run;
}

inline bytes with_words(const words &run, std::uint64_t at = data_at) {
    bytes content = vertices_only();
    put_all(content, at, run);
    return content;
}

} // namespace qel::test
