// SPDX-License-Identifier: MIT
// Reads the tangents and bitangents of an archive: two blocks of unit vectors of the same size.
#include "qel_unit.h"

#include "common/file.h"
#include "common/heap.h"
#include "ogawa_reader/search/block_search.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

constexpr std::uint32_t stored_components = 3;
constexpr std::uint32_t max_blocks = 32; // later blocks are ignored

struct block_pair {
    ogawa::extent tangents, bitangents;
};

/// Finds the first block with a later block of the same size, and the first such later block.
bool find_pair(std::FILE *stream, block_pair &pair) {
    ogawa::extent blocks[max_blocks];
    const std::uint32_t count = list_blocks(stream, unit_vector_blocks, blocks, max_blocks);
    const ogawa::extent *const end = blocks + count;
    for (const ogawa::extent *first = blocks; first != end; ++first) {
        const ogawa::extent *const second =
            std::find_if(first + 1, end, [first](const ogawa::extent &block) { return block.size == first->size; });
        if (second == end) continue;
        pair = {*first, *second};
        return true;
    }
    return false;
}

/// Reads vectors; those that the stream does not hold are zero.
void read_vectors(std::FILE *stream, const ogawa::extent &block, float *vectors) {
    const auto size = static_cast<std::size_t>(block.size);
    const std::size_t got = read_at(stream, block.at, vectors, size);
    std::memset(reinterpret_cast<char *>(vectors) + got, 0, size - got);
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t ogawa_read_tangent_frame(const ogawa_archive *archive, const ogawa_object *, std::uint64_t,
                                      ogawa_tangent_frame *frame) {
    if (archive == nullptr || archive->file == nullptr || frame == nullptr) return OGAWA_READ_TANGENT_FRAME_NOT_FOUND;
    std::memset(frame, 0, sizeof *frame);
    block_pair pair;
    if (!find_pair(archive->file, pair)) return OGAWA_READ_TANGENT_FRAME_NOT_FOUND;
    frame->count = static_cast<std::uint32_t>(pair.tangents.size / unit_vector_blocks.record_size);
    const std::uint64_t float_count = std::uint64_t{frame->count} * stored_components;
    frame->tangents = heap_array<float>(float_count);
    frame->bitangents = heap_array<float>(float_count);
    if (frame->tangents == nullptr || frame->bitangents == nullptr) {
        std::free(frame->tangents); // one is null; the fields deliberately keep their values
        std::free(frame->bitangents);
        return OGAWA_READ_TANGENT_FRAME_NO_MEMORY;
    }
    read_vectors(archive->file, pair.tangents, frame->tangents);
    read_vectors(archive->file, pair.bitangents, frame->bitangents);
    frame->components = stored_components;
    return QEL_OK;
}

} // extern "C"
