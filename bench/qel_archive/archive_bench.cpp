// SPDX-License-Identifier: MIT
// Opening archives and reading meshes and properties from their structure.
#include "common/heap.h"
#include "qel_archive/archive_scenes.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/peak_memory.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

#include <malloc.h>

namespace qel::bench {

namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;

std::size_t array_bytes() {
    return sized(64 * mebibyte, mebibyte / 8);
}

std::size_t object_count() {
    return sized(100'000, 200);
}

test::built_archive object_tree() {
    return tree_of_objects(object_count()).build();
}

/// The objects of an archive, without the top one.
std::size_t objects_below_top(const qel_archive *archive) {
    qel_archive_info info = {};
    qel_archive_get_info(archive, &info);
    return info.object_count - 1;
}

/// One read for each header, from the file's beginning to its end.
void fread_each(std::FILE *stream, const std::vector<file_range> &places) {
    static char header[1 << 20];
    for (const file_range &place : places) {
        std::fseek(stream, static_cast<long>(place.at), SEEK_SET);
        keep(std::fread(header, 1, std::min<std::size_t>(place.size, sizeof header), stream));
    }
}

void open_tree(benchmark::State &state, std::size_t objects) {
    const test::built_archive built = tree_of_objects(objects).build();
    const archive_on_disk disk(built);
    if (!agree(state, objects_below_top(disk.archive()) == objects, "objects are missing")) return;
    const std::vector<file_range> headers = header_places(built);
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::fopen(disk.path(), "rb"), std::fclose);
    qel_archive *archive = nullptr;
    side_by_side(state, {[&] { qel_archive_open(disk.path(), &archive); }, [&] { qel_archive_close(archive); }})
        .limit("fread of each header", {[&] { fread_each(stream.get(), headers); }}, 3)
        .limit("fread of the whole file", {[&] { read_through(stream.get()); }})
        .measure();
}

/// Bytes in use on the heap.
std::size_t heap_in_use() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

/// The heap's bytes for an open archive divided by the bytes of its headers in the file. Counted, not sampled.
void memory_of_tree(benchmark::State &state) {
    const test::built_archive built = object_tree();
    const archive_on_disk disk(built);
    for (auto _ : state) {
        const std::size_t before = heap_in_use();
        qel_archive *archive = nullptr;
        qel_archive_open(disk.path(), &archive);
        const std::size_t held = heap_in_use() - before;
        qel_archive_close(archive);
        state.SetIterationTime(0);
        state.counters["limit|the headers' bytes|8|middle"] =
            static_cast<double>(held) / static_cast<double>(header_bytes(built));
    }
}

void peak_of_open(benchmark::State &state) {
    const archive_on_disk disk(object_tree());
    report_peak(state, [&] {
        qel_archive *archive = nullptr;
        qel_archive_open(disk.path(), &archive);
        keep(archive);
    });
}

/// Whether a mesh's arrays equal those in the file.
bool is_whole(const archive_on_disk &disk, const std::vector<file_range> &arrays, std::uint32_t object) {
    ogawa_polymesh mesh;
    if (qel_archive_read_mesh(disk.archive(), object, 0, &mesh) != QEL_ARCHIVE_OK || mesh.uv_set_count != 1)
        return false;
    const void *const read[] = {mesh.positions, mesh.face_counts, mesh.face_indices, mesh.normals,
                                mesh.uv_sets[0].values};
    bool same = arrays.size() == std::size(read);
    for (std::size_t i = 0; same && i < arrays.size(); ++i) {
        std::vector<char> expected(arrays[i].size);
        read_at(disk.descriptor(), arrays[i], expected.data());
        same = std::memcmp(expected.data(), read[i], expected.size()) == 0;
    }
    ogawa_free_polymesh(&mesh);
    return same;
}

/// Reads each array into a fresh block of the heap, with huge pages like the library's.
void read_arrays(const archive_on_disk &disk, const std::vector<file_range> &arrays, std::vector<heap_block> &blocks) {
    for (const file_range &array : arrays) {
        blocks.emplace_back(heap_array<std::uint8_t>(array.size));
        read_at(disk.descriptor(), array, blocks.back().get());
    }
}

/// Calls a function with 0 here and with 1 on another thread.
template <class Function>
void on_two_threads(const Function &function) {
    std::thread other(function, 1);
    function(0);
    other.join();
}

void read_mesh(benchmark::State &state, std::size_t bytes) {
    const large_meshes meshes = make_meshes(1, bytes);
    const archive_on_disk disk(meshes.built);
    report_size(state, meshes.arrays[0][1].size / sizeof(std::uint32_t));
    if (!agree(state, is_whole(disk, meshes.arrays[0], 1), "the mesh is another one")) return;
    ogawa_polymesh mesh = {};
    std::vector<heap_block> blocks;
    side_by_side(state,
                 {[&] { qel_archive_read_mesh(disk.archive(), 1, 0, &mesh); }, [&] { ogawa_free_polymesh(&mesh); }})
        .limit("pread of those arrays", {[&] { read_arrays(disk, meshes.arrays[0], blocks); }, [&] { blocks.clear(); }},
               1.3)
        .measure();
}

void read_two_meshes(benchmark::State &state) {
    const large_meshes meshes = make_meshes(2, array_bytes());
    const archive_on_disk disk(meshes.built);
    const bool whole = is_whole(disk, meshes.arrays[0], 1) && is_whole(disk, meshes.arrays[1], 2);
    if (!agree(state, whole, "a mesh is another one")) return;
    ogawa_polymesh read[2] = {};
    const auto read_one = [&](std::uint32_t number) {
        qel_archive_read_mesh(disk.archive(), number + 1, 0, &read[number]);
    };
    const auto release = [&] {
        for (ogawa_polymesh &mesh : read)
            ogawa_free_polymesh(&mesh);
    };
    std::vector<heap_block> blocks[2];
    const auto pread_one = [&](std::uint32_t number) { read_arrays(disk, meshes.arrays[number], blocks[number]); };
    const auto release_blocks = [&] {
        for (std::vector<heap_block> &each : blocks)
            each.clear();
    };
    side_by_side(state, {[&] { on_two_threads(read_one); }, release})
        .peer("one after the other",
              {[&] {
                   read_one(0);
                   read_one(1);
               },
               release},
              1.8)
        .limit("pread of those arrays on two threads", {[&] { on_two_threads(pread_one); }, release_blocks}, 1.3)
        .measure();
}

void read_property(benchmark::State &state) {
    const large_meshes meshes = make_meshes(1, 2 * array_bytes());
    const archive_on_disk disk(meshes.built);
    const file_range &values = meshes.arrays[0][3]; // the normals
    const std::uint32_t property = qel_archive_find_property(disk.archive(), 1, ".geom/N");
    std::vector<char> ours(values.size), expected(values.size);
    std::uint64_t size = 0;
    const auto read = [&] {
        qel_archive_read_property(disk.archive(), 1, property, 0, ours.data(), ours.size(), &size);
    };
    read();
    read_at(disk.descriptor(), values, expected.data());
    if (!agree(state, size == values.size && ours == expected, "the values are others")) return;
    side_by_side(state, {read})
        .limit("pread", {[&] { read_at(disk.descriptor(), values, expected.data()); }}, 1.1)
        .measure();
}

} // namespace

void add_archive_rows() {
    row("archive open", "100,000 objects", [](auto &state) { open_tree(state, object_count()); });
    row("archive open: memory held", "100,000 objects", memory_of_tree);
    row("mesh by what the archive says", "64 MiB of arrays", [](auto &state) { read_mesh(state, array_bytes()); });
    row("two meshes on two threads", "64 MiB of arrays each", read_two_meshes);
    row("property, one sample", "55 MiB", read_property);
    row("peak memory: archive open", "100,000 objects", peak_of_open);
    growth("archive open", "object", 1'000'000, open_tree);
    growth("mesh by what the archive says", "quad", 8'000'000,
           [](auto &state, std::size_t quads) { read_mesh(state, quads * bytes_of_quad); });
}

} // namespace qel::bench
