// SPDX-License-Identifier: MIT
// Normals and UV sets, recognised by their bytes.
#include "qel_unit.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"
#include "ogawa_reader/search/block_search.h"
#include "ogawa_reader/search/mesh_search.h"
#include "ogawa_reader/search/size_words.h"

#include <cstring>

namespace qel {

namespace {

enum values_status : std::int32_t { values_read = 0, no_values = -1, no_memory_for_values = -2 };

/// The UV block that the mesh-data search finds, else what the block scan finds; 0/0 when neither does. Both look at
/// every size word, so they do it together.
float_block find_uvs(const ogawa_archive *archive) {
    constexpr std::size_t block_bytes =
        bytes_looked_at(uv_blocks); // more; block_at() sees where they are not there
    byte_window window(archive->file);
    ogawa_mesh_locations locations{};
    float_block longest{0, 0};
    for_each_size_word(window, candidate_bytes, block_bytes,
                       [&](const std::uint8_t *bytes, std::uint64_t at) {
                           weigh_candidate(bytes, at + sizeof(std::uint64_t), &locations);
                           const float_block block = block_at(bytes, at, window.length(), uv_blocks);
                           if (block.size > longest.size) longest = block;
                           return true;
                       });
    if (locations.uvs.size != 0) return {locations.uvs.at, locations.uvs.size};
    return longest;
}

/// Reads `count` floats of a block into a new array. Where the stream ends before them, the array is released
/// again and null.
values_status read_floats(std::FILE *stream, std::uint64_t at, std::uint64_t count, float **array) {
    *array = heap_array<float>(count);
    if (*array == nullptr) return no_memory_for_values;
    const std::size_t size = static_cast<std::size_t>(count) * sizeof(float);
    if (read_at(stream, at, *array, size) == size) return values_read;
    release(*array);
    return no_values;
}

} // namespace

} // namespace qel

extern "C" {

using namespace qel;

int32_t ogawa_read_normals(const ogawa_archive *archive, const ogawa_object *, uint64_t, float **normals,
                           uint32_t **indices, uint32_t *count, uint32_t *scope) {
    if (archive == nullptr || archive->file == nullptr) return no_values;
    // The mesh-data search is not asked: it never reports normals.
    const float_block block = find_longest_block(archive->file, unit_vector_blocks);
    if (block.size == 0) return no_values;
    *count = static_cast<std::uint32_t>(block.size / 12);
    const values_status status = read_floats(archive->file, block.at, std::uint64_t{*count} * 3, normals);
    if (status != values_read) return status;
    *indices = nullptr;
    *scope = OGAWA_SCOPE_VERTEX;
    return values_read;
}

int32_t ogawa_read_uvs(const ogawa_archive *archive, const ogawa_object *, uint64_t, uint32_t,
                       ogawa_uv_set *set) {
    if (archive == nullptr || archive->file == nullptr || set == nullptr) return no_values;
    const float_block block = find_uvs(archive);
    if (block.size == 0) return no_values;
    std::memset(set, 0, sizeof *set);
    copy_text(set->name, "uv");
    const auto count = static_cast<std::uint32_t>(block.size / 8);
    const values_status status = read_floats(archive->file, block.at, std::uint64_t{count} * 2, &set->values);
    if (status != values_read) return status;
    set->value_count = count;
    set->scope = OGAWA_SCOPE_FACE_VARYING;
    return values_read;
}

void ogawa_free_uv_set(ogawa_uv_set *set) {
    if (set == nullptr) return;
    release(set->values);
    release(set->indices);
    std::memset(set, 0, sizeof *set);
}

} // extern "C"
