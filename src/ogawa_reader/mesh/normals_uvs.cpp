// SPDX-License-Identifier: MIT
// Finds normals and UV sets by their bytes.
#include "qel_unit.h"

#include "common/file.h"
#include "common/heap.h"
#include "common/text.h"
#include "ogawa_reader/search/block_search.h"
#include "ogawa_reader/search/mesh_search.h"

#include <cstring>

namespace qel {
namespace {

enum class outcome { read, cut_short, no_memory };

/// The UVs that the mesh search finds, else the longest block of UVs; size 0 if neither finds any. Both test every size
/// word, so one pass does both searches.
ogawa::extent find_uvs(const ogawa_archive *archive) {
    byte_window window(archive->file);
    ogawa_mesh_locations locations{};
    ogawa::extent longest{0, 0};
    // block_at() checks that all tested floats of a block lie before the file's end.
    search_mesh_data(window, tested_bytes(uv_blocks), locations, [&](const std::uint8_t *bytes, std::uint64_t at) {
        keep_larger(longest, block_at(bytes, at, window.length(), uv_blocks));
    });
    return locations.uvs.size != 0 ? locations.uvs : longest;
}

/// Reads `count` floats into a new array. If the stream ends before the last, the array is released and null.
outcome read_floats(std::FILE *stream, std::uint64_t at, std::uint64_t count, float **array) {
    *array = heap_array<float>(count);
    if (*array == nullptr) return outcome::no_memory;
    const std::size_t size = static_cast<std::size_t>(count) * sizeof(float);
    if (read_at(stream, at, *array, size) == size) return outcome::read;
    release(*array);
    return outcome::cut_short;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t ogawa_read_normals(const ogawa_archive *archive, const ogawa_object *, std::uint64_t, float **normals,
                                std::uint32_t **indices, std::uint32_t *count, std::uint32_t *scope) {
    if (archive == nullptr || archive->file == nullptr) return OGAWA_READ_NORMALS_NOT_FOUND;
    // The mesh search never finds normals, so it is not run.
    const ogawa::extent block = find_longest_block(archive->file, unit_vector_blocks);
    if (block.size == 0) return OGAWA_READ_NORMALS_NOT_FOUND;
    *count = static_cast<std::uint32_t>(block.size / unit_vector_blocks.record_size);
    const outcome result = read_floats(archive->file, block.at, std::uint64_t{*count} * 3, normals);
    if (result == outcome::no_memory) return OGAWA_READ_NORMALS_NO_MEMORY;
    if (result == outcome::cut_short) return OGAWA_READ_NORMALS_NOT_FOUND;
    *indices = nullptr;
    *scope = OGAWA_SCOPE_VERTEX;
    return QEL_OK;
}

std::int32_t ogawa_read_uvs(const ogawa_archive *archive, const ogawa_object *, std::uint64_t, std::uint32_t,
                            ogawa_uv_set *set) {
    if (archive == nullptr || archive->file == nullptr || set == nullptr) return OGAWA_READ_UVS_NOT_FOUND;
    const ogawa::extent block = find_uvs(archive);
    if (block.size == 0) return OGAWA_READ_UVS_NOT_FOUND;
    std::memset(set, 0, sizeof *set);
    copy_text(set->name, "uv");
    const auto count = static_cast<std::uint32_t>(block.size / uv_blocks.record_size);
    const outcome result = read_floats(archive->file, block.at, std::uint64_t{count} * 2, &set->values);
    if (result == outcome::no_memory) return OGAWA_READ_UVS_NO_MEMORY;
    if (result == outcome::cut_short) return OGAWA_READ_UVS_NOT_FOUND;
    set->value_count = count;
    set->scope = OGAWA_SCOPE_FACE_VARYING;
    return QEL_OK;
}

void ogawa_free_uv_set(ogawa_uv_set *set) {
    if (set == nullptr) return;
    release(set->values);
    release(set->indices);
    std::memset(set, 0, sizeof *set);
}

} // extern "C"
