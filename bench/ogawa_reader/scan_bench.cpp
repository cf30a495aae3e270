// SPDX-License-Identifier: MIT
// Arrays found by searching an archive's bytes.
#include "model/block_scan_model.h"
#include "model/mesh_scan_model.h"
#include "model/polymesh_model.h"
#include "ogawa_reader/archive_inputs.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/peak_memory.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <algorithm>
#include <cstdlib>

namespace qel::bench {

namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;

std::size_t file_size() {
    return sized(64 * mebibyte, mebibyte / 8);
}
/// A plain scan with one read per step would take minutes for 64 MiB.
std::size_t small_size() {
    return sized(mebibyte, mebibyte / 16);
}

/// Appends the values to `kept`, unless it is null.
void keep_floats(std::vector<float> *kept, const float *values, std::size_t count) {
    if (kept != nullptr && values != nullptr) kept->insert(kept->end(), values, values + count);
}

/// The reader of normals, in the library and in its plain form.
struct normals_reader {
    static void read(const ogawa_archive &archive, std::vector<float> *kept = nullptr) {
        float *normals = nullptr;
        std::uint32_t *indices = nullptr;
        std::uint32_t count = 0, scope = 0;
        ogawa_read_normals(&archive, nullptr, 0, &normals, &indices, &count, &scope);
        keep_floats(kept, normals, std::size_t{count} * 3);
        std::free(normals);
    }
    static std::vector<float> read_plainly(std::FILE *file) { return model::read_normals_plainly(file).values; }
};

struct uvs_reader {
    static void read(const ogawa_archive &archive, std::vector<float> *kept = nullptr) {
        ogawa_uv_set set = {};
        ogawa_read_uvs(&archive, nullptr, 0, 0, &set);
        keep_floats(kept, set.values, std::size_t{set.value_count} * 2);
        ogawa_free_uv_set(&set);
    }
    static std::vector<float> read_plainly(std::FILE *file) { return model::read_uvs_plainly(file).values; }
};

struct tangents_reader {
    static void read(const ogawa_archive &archive, std::vector<float> *kept = nullptr) {
        ogawa_tangent_frame frame = {};
        if (ogawa_read_tangent_frame(&archive, nullptr, 0, &frame) != 0) return;
        keep_floats(kept, frame.tangents, std::size_t{frame.count} * 3);
        keep_floats(kept, frame.bitangents, std::size_t{frame.count} * 3);
        ogawa_free_tangent_frame(&frame);
    }
    static std::vector<float> read_plainly(std::FILE *file) {
        model::tangents_read read = model::read_tangents_plainly(file);
        read.tangents.insert(read.tangents.end(), read.bitangents.begin(), read.bitangents.end());
        return read.tangents;
    }
};

struct positions_reader {
    static void read(const ogawa_archive &archive, std::vector<float> *kept = nullptr) {
        float *positions = nullptr;
        std::uint32_t count = 0;
        ogawa_read_positions(&archive, nullptr, 0, &positions, &count);
        keep_floats(kept, positions, std::size_t{count} * 3);
        std::free(positions);
    }
    static std::vector<float> read_plainly(std::FILE *file) {
        float *positions = nullptr;
        std::uint32_t count = 0;
        std::vector<float> values;
        model::scan_positions(file, &positions, &count);
        keep_floats(&values, positions, std::size_t{count} * 3);
        std::free(positions);
        return values;
    }
};

/// A mesh that only the byte search finds.
struct mesh_reader {
    static void read(const ogawa_archive &archive) {
        ogawa_polymesh mesh;
        ogawa_read_polymesh(&archive, nullptr, 0, &mesh);
        ogawa_free_polymesh(&mesh);
    }
};

template <class Reader>
std::vector<float> found_by(const ogawa_archive &archive) {
    std::vector<float> values;
    Reader::read(archive, &values);
    return values;
}

template <class Reader>
bool read_same(const ogawa_archive &archive) {
    const std::vector<float> found = found_by<Reader>(archive);
    return !found.empty() && found == Reader::read_plainly(archive.file);
}

/// The search reads only the file's beginning; the array grows, up to the 10 MB that a node may hold. The smallest
/// accepted array has 1,002 vertices.
void positions(benchmark::State &state, std::size_t vertices) {
    test::archive_writer content;
    const long at = static_cast<long>(content.size() + sizeof(std::uint64_t));
    const std::size_t count = std::max<std::size_t>(vertices, 1002), size = count * 3 * sizeof(float);
    content.data(test::bytes_of(make_positions(count)));
    const open_archive archive(content);
    report_size(state, count);
    const auto same = [&] { return read_same<positions_reader>(archive.archive); };
    if (!agree_with_model(state, "the plain positions differ", same)) return;
    side_by_side(state, {[&] { positions_reader::read(archive.archive); }})
        .model({[&] { keep(positions_reader::read_plainly(archive.archive.file)); }})
        .limit("fread of the array", {[&] { read_into_fresh(archive.archive.file, at, size); }})
        .measure();
}

/// At one size, all contenders on the same file.
template <class Reader, test::archive_writer (*Make)(std::size_t)>
void scan_grown(benchmark::State &state, std::size_t lines) {
    const open_archive archive(Make(lines * 64));
    if (!agree(state, !found_by<Reader>(archive.archive).empty(), "nothing is found")) return;
    const auto same = [&] { return read_same<Reader>(archive.archive); };
    if (!agree_with_model(state, "the plain arrays differ", same)) return;
    side_by_side(state, {[&] { Reader::read(archive.archive); }})
        .model({[&] { keep(Reader::read_plainly(archive.archive.file)); }})
        .limit("fread of the file", {[&] { read_through(archive.archive.file); }})
        .measure();
}

template <class Reader, test::archive_writer (*Make)(std::size_t)>
void scan(benchmark::State &state) {
    const open_archive large(Make(file_size())), small(Make(small_size()));
    const bool same = read_same<Reader>(small.archive);
    if (!agree(state, same && !found_by<Reader>(large.archive).empty(), "the plain arrays differ")) return;
    side_by_side(state, {[&] { Reader::read(large.archive); }})
        .model_at("1 MiB", {[&] { Reader::read(small.archive); }},
                  {[&] { keep(Reader::read_plainly(small.archive.file)); }}, 100)
        .limit("fread of the file", {[&] { read_through(large.archive.file); }}, 2)
        .measure();
}

/// The mesh search needs no small reads, so its plain form is not hundreds of times slower.
void searched_uvs(benchmark::State &state) {
    const open_archive large(archive_of_blocks(file_size()));
    if (!agree(state, read_same<uvs_reader>(large.archive), "the plain UVs differ")) return;
    side_by_side(state, {[&] { uvs_reader::read(large.archive); }})
        .model({[&] { keep(uvs_reader::read_plainly(large.archive.file)); }})
        .limit("fread of the file", {[&] { read_through(large.archive.file); }}, 2)
        .measure();
}

bool same_as_plain(const ogawa_archive &archive) {
    ogawa_polymesh ours, plain;
    ogawa_read_polymesh(&archive, nullptr, 0, &ours);
    model::read_polymesh(archive.file, nullptr, &plain);
    const bool found = ours.vertex_count != 0 && ours.normal_count != 0 && ours.face_index_count != 0;
    const bool same = found && model::same_polymesh(ours, plain);
    ogawa_free_polymesh(&ours);
    model::free_polymesh(&plain);
    return same;
}

void fallback(benchmark::State &state) {
    const open_archive large(archive_without_tree(file_size())), small(archive_without_tree(small_size() / 2));
    if (!agree(state, same_as_plain(small.archive), "the plain mesh differs")) return;
    ogawa_polymesh plain = {};
    side_by_side(state, {[&] { mesh_reader::read(large.archive); }})
        .model_at(
            "512 KiB", {[&] { mesh_reader::read(small.archive); }},
            {[&] { model::read_polymesh(small.archive.file, nullptr, &plain); }, [&] { model::free_polymesh(&plain); }},
            100)
        .limit("fread of the file", {[&] { read_through(large.archive.file); }}, 4)
        .measure();
}

template <class Reader, test::archive_writer (*Make)(std::size_t)>
void scan_peak(benchmark::State &state) {
    const open_archive large(Make(file_size()));
    report_peak(state, [&] { Reader::read(large.archive); });
}

} // namespace

void add_scan_rows() {
    growth("normals by scan", "line of 64 bytes", 16'000'000, scan_grown<normals_reader, archive_of_blocks>);
    growth("positions by scan", "vertex", 830'000, positions);
    row("positions by scan", "800 k vertices", [](auto &state) { positions(state, sized(800000, 2000)); });
    row("normals by scan", "64 MiB file", scan<normals_reader, archive_of_blocks>);
    row("UVs by scan", "64 MiB file", scan<uvs_reader, archive_of_small_uvs>);
    row("UVs by the mesh search", "64 MiB file", searched_uvs);
    row("tangent frames by scan", "64 MiB file", scan<tangents_reader, archive_of_blocks>);
    row("positions, normals, topology fallback", "64 MiB file", fallback);
    row("peak memory: normals by scan", "64 MiB file", scan_peak<normals_reader, archive_of_blocks>);
    row("peak memory: UVs by scan", "64 MiB file", scan_peak<uvs_reader, archive_of_small_uvs>);
    row("peak memory: tangent frames by scan", "64 MiB file", scan_peak<tangents_reader, archive_of_blocks>);
    row("peak memory: positions, normals, topology fallback", "64 MiB file",
        scan_peak<mesh_reader, archive_without_tree>);
}

} // namespace qel::bench
