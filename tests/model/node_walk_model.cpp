// SPDX-License-Identifier: MIT
#include "model/node_walk_model.h"

#include "support/stream_position.h"

namespace qel::model {

namespace {

bool read_u64(std::FILE *stream, std::uint64_t &value) {
    return std::fread(&value, 1, 8, stream) == 8;
}

} // namespace

void node_walk::visit(std::int64_t reference, std::int32_t depth) {
    if (++visits > max_visits) return;
    if (depth > max_depth) return;
    if (nodes.size() >= capacity) return;
    const std::uint64_t position = static_cast<std::uint64_t>(reference) & 0x7FFFFFFFFFFFFFFFu;
    if (position == 0 || position >= file_size) return;
    if (!test::seek_stream(stream, position)) return;

    if (reference < 0) {
        std::uint64_t size;
        if (!read_u64(stream, size)) return;
        if (size < 101 || size > 9999999) return;
        nodes.push_back({position + 8, size});
        return;
    }

    std::uint64_t count;
    if (!read_u64(stream, count)) return;
    if (count > 1000) return;
    std::vector<std::uint64_t> children;
    for (std::uint64_t i = 0; i < count && nodes.size() < capacity; ++i) {
        std::uint64_t child;
        children.push_back(read_u64(stream, child) ? child : 0);
    }
    for (std::uint64_t i = 0; i < count && nodes.size() < capacity; ++i) {
        if (children[i] != 0) visit(static_cast<std::int64_t>(children[i]), depth + 1);
    }
}

} // namespace qel::model
