// SPDX-License-Identifier: MIT
#include "qel_archive/archive_scenes.h"

#include "ogawa_reader/archive_inputs.h"
#include "support/archive_schemas.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace qel::bench {

namespace {

using namespace test;

/// Square sheets of quads, enough for an array of `bytes` bytes.
polymesh quads(std::size_t bytes) {
    const auto side = static_cast<std::uint32_t>(std::sqrt(static_cast<double>(bytes) / bytes_of_quad));
    const plain_mesh grid = make_grid(side, side, false);
    polymesh mesh;
    mesh.points = {grid.positions};
    mesh.face_counts = {std::vector<std::int32_t>(grid.face_counts.begin(), grid.face_counts.end())};
    mesh.face_indices = {std::vector<std::int32_t>(grid.face_indices.begin(), grid.face_indices.end())};
    const std::size_t corners = grid.face_indices.size();
    mesh.parameters = {normals({make_unit_vectors(corners)}), uvs({make_uvs(corners)})};
    return mesh;
}

/// The location of the values of a property's only sample, without the digest.
file_range values_of(const built_archive &built, const std::string &property) {
    constexpr std::uint64_t digest = 16;
    const std::uint64_t at = built_archive::position_of(built.places.at(property).references.at(0));
    std::uint64_t size;
    std::memcpy(&size, built.content.data() + at, sizeof size);
    return {at + sizeof size + digest, size - digest};
}

} // namespace

archive_on_disk::archive_on_disk(const built_archive &built) : path_(folder_.file("bench.abc")) {
    write_file(path_, built.content);
    descriptor_ = open(path_.c_str(), O_RDONLY);
    if (descriptor_ < 0 || qel_archive_open(path_.c_str(), &archive_) != QEL_ARCHIVE_OK)
        throw std::runtime_error("the archive cannot be opened");
}

archive_on_disk::~archive_on_disk() {
    qel_archive_close(archive_);
    close(descriptor_);
}

void read_at(int descriptor, const file_range &range, void *bytes) {
    for (std::uint64_t done = 0; done < range.size;) {
        const ssize_t count = pread(descriptor, static_cast<char *>(bytes) + done, range.size - done,
                                    static_cast<off_t>(range.at + done));
        if (count <= 0) throw std::runtime_error("a file ends early");
        done += static_cast<std::uint64_t>(count);
    }
}

archive_builder tree_of_objects(std::size_t count) {
    archive_builder archive;
    for (std::size_t made = 0; made < count;) {
        object_node *parent = &add_xform(archive.top, "group_" + std::to_string(made), {translate(1, 2, 3)});
        ++made;
        for (std::size_t i = 0; i < 9 && made < count; ++i, ++made) {
            object_node &child = add_xform(*parent, "part_" + std::to_string(i), {translate(1, 2, 3)});
            if (i % 3 == 0) parent = &child;
        }
    }
    return archive;
}

std::vector<file_range> header_places(const built_archive &built) {
    std::vector<file_range> places;
    for (const auto &[path, place] : built.places)
        if (place.headers_size != 0) places.push_back({place.headers - 8, place.headers_size + 8});
    std::sort(places.begin(), places.end(), [](const file_range &a, const file_range &b) { return a.at < b.at; });
    return places;
}

std::uint64_t header_bytes(const built_archive &built) {
    std::uint64_t sum = 0;
    for (const auto &[path, place] : built.places)
        if (place.headers_size != 0) sum += 8 + 8 * place.references.size() + 8 + place.headers_size;
    return sum;
}

large_meshes make_meshes(std::size_t count, std::size_t bytes_each) {
    archive_builder archive;
    archive.share_data = false;
    const polymesh mesh = quads(bytes_each);
    for (std::size_t i = 0; i < count; ++i)
        add_polymesh(archive.top, "mesh" + std::to_string(i), mesh);
    large_meshes made = {archive.build(), {}};
    for (std::size_t i = 0; i < count; ++i) {
        made.arrays.emplace_back();
        for (const char *array : {"P", ".faceCounts", ".faceIndices", "N", "uv"})
            made.arrays.back().push_back(values_of(made.built, "/mesh" + std::to_string(i) + ":.geom/" + array));
    }
    return made;
}

} // namespace qel::bench
