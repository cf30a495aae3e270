// SPDX-License-Identifier: MIT
// Normals and UV sets, recognised by their bytes.
#include "qel_unit.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"
#include "ogawa_reader/search/block_search.h"
#include "ogawa_reader/search/mesh_search.h"

#include <cstring>

namespace qel {
namespace {

enum values_status : std::int32_t { values_read = 0, no_values = -1, no_memory_for_values = -2 };

/// The UVs that the mesh search finds, else the longest block of UVs; 0/0 when neither finds any. Both test every size
/// word, so one pass serves both.
ogawa::extent find_uvs(const ogawa_archive *archive) {
    byte_window window(archive->file);
    ogawa_mesh_locations locations{};
    ogawa::extent longest{0, 0};
    // block_at() tests for itself whether all of a block's first floats are before the file's end.
    search_mesh_data(window, tested_bytes(uv_blocks), locations,
                     [&](const std::uint8_t *bytes, std::uint64_t at) {
                         keep_larger(longest, block_at(bytes, at, window.length(), uv_blocks));
                     });
    return locations.uvs.size != 0 ? locations.uvs : longest;
}

/// Reads `count` floats into a new array. Where the stream ends before the last, the array is released again and null.
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

using namespace qel;

extern "C" {

int32_t ogawa_read_normals(const ogawa_archive *archive, const ogawa_object *, uint64_t, float **normals,
                           uint32_t **indices, uint32_t *count, uint32_t *scope) {
    if (archive == nullptr || archive->file == nullptr) return no_values;
    // The mesh search never finds normals, so it is left out.
    const ogawa::extent block = find_longest_block(archive->file, unit_vector_blocks);
    if (block.size == 0) return no_values;
    *count = static_cast<std::uint32_t>(block.size / unit_vector_blocks.record_size);
    const values_status status = read_floats(archive->file, block.at, std::uint64_t{*count} * 3, normals);
    if (status != values_read) return status;
    *indices = nullptr;
    *scope = OGAWA_SCOPE_VERTEX;
    return values_read;
}

int32_t ogawa_read_uvs(const ogawa_archive *archive, const ogawa_object *, uint64_t, uint32_t,
                       ogawa_uv_set *set) {
    if (archive == nullptr || archive->file == nullptr || set == nullptr) return no_values;
    const ogawa::extent block = find_uvs(archive);
    if (block.size == 0) return no_values;
    std::memset(set, 0, sizeof *set);
    copy_text(set->name, "uv");
    const auto count = static_cast<std::uint32_t>(block.size / uv_blocks.record_size);
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
