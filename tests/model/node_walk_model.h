// SPDX-License-Identifier: MIT
// The walk over the node tree in its plainest form: every reference is followed, every time.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

namespace qel::model {

struct listed_node {
    std::uint64_t payload_at;
    std::uint64_t payload_size;
};

inline bool operator==(const listed_node &a, const listed_node &b) {
    return a.payload_at == b.payload_at && a.payload_size == b.payload_size;
}

/// One walk. Set the first four fields, call visit, look at the rest.
struct node_walk {
    std::FILE *stream;
    std::uint64_t file_size;
    std::uint32_t capacity;
    std::int32_t max_depth;
    std::vector<listed_node> nodes;
    std::uint64_t visits = 0;
    std::uint64_t max_visits = UINT64_MAX; // it stops beyond: `nodes` is then meaningless
    bool gave_up() const { return visits > max_visits; }

    void visit(std::int64_t reference, std::int32_t depth);
};

} // namespace qel::model
