// SPDX-License-Identifier: MIT
#include "support/archive_writer.h"

#include <cstring>

namespace qel::test {

namespace {

std::uint64_t mixed(std::uint64_t value) { // splitmix64
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

bytes text(const std::string &characters) {
    return bytes(characters.begin(), characters.end());
}

} // namespace

archive_writer::archive_writer() : content_{'O', 'g', 'a', 'w', 'a', 0xFF, 0, 1} {
    append(content_, std::uint64_t{0});
}

bytes archive_writer::with_digest(const bytes &values) {
    std::uint64_t low = 0x243F6A8885A308D3u, high = 0x13198A2E03707344u;
    for (const std::uint8_t value : values) {
        low = mixed(low ^ value);
        high = mixed(high + value);
    }
    // Two words whose exponents are all ones and two that are anything: as a float such a word is NaN, which is how
    // the reader distinguishes a digest from data.
    low |= 0x7F8000017F800001u;
    bytes payload;
    append(payload, low);
    append(payload, high);
    payload.insert(payload.end(), values.begin(), values.end());
    return payload;
}

std::uint64_t archive_writer::data(const bytes &payload) {
    return data_claiming(payload.size(), payload);
}

std::uint64_t archive_writer::data_claiming(std::uint64_t size, const bytes &payload) {
    const std::uint64_t at = content_.size();
    append(content_, size);
    append_raw(payload);
    return at | data_bit;
}

std::uint64_t archive_writer::group(const std::vector<std::uint64_t> &children) {
    return group_claiming(children.size(), children);
}

std::uint64_t archive_writer::group_claiming(std::uint64_t count, const std::vector<std::uint64_t> &children) {
    const std::uint64_t at = content_.size();
    append(content_, count);
    append_raw(bytes_of(children));
    return at;
}

void archive_writer::set_root(std::uint64_t reference) {
    patch(8, reference);
}

void archive_writer::finish(std::uint64_t top_object) {
    const std::uint64_t version = data(text(std::string(4, '\0')));
    const std::uint64_t library = data(text(std::string(4, '\1')));
    const std::uint64_t metadata = data(text("title=test"));
    const std::uint64_t sampling = data(bytes(24, 0));
    const std::uint64_t indexed = data(text("schema=mesh"));
    set_root(group({version, library, top_object, metadata, sampling, indexed}));
}

void archive_writer::append_raw(const bytes &raw) {
    content_.insert(content_.end(), raw.begin(), raw.end());
}

void archive_writer::pad_to(std::uint64_t offset, std::uint8_t fill) {
    if (content_.size() < offset) content_.resize(offset, fill);
}

void archive_writer::patch(std::uint64_t offset, std::uint64_t word) {
    std::memcpy(content_.data() + offset, &word, sizeof word);
}

archive_writer production_archive(const plain_mesh &mesh, const std::vector<bytes> &plain_arrays) {
    archive_writer archive;
    std::vector<std::uint64_t> properties;
    const auto add_property = [&](std::uint64_t sample) {
        const std::uint64_t dimensions = archive.data(bytes(8, 0));
        properties.push_back(archive.group({sample, dimensions}));
    };
    add_property(archive.array(mesh.positions));
    add_property(archive.array(mesh.face_indices));
    add_property(archive.array(mesh.face_counts));
    if (!mesh.corner_normals.empty()) add_property(archive.array(mesh.corner_normals));
    if (!mesh.corner_uvs.empty()) add_property(archive.array(mesh.corner_uvs));
    for (const bytes &plain : plain_arrays)
        add_property(archive.data(plain));
    properties.push_back(archive.data(text("P .faceIndices .faceCounts N uv")));
    const std::uint64_t geometry = archive.group(properties);
    const std::uint64_t compound = archive.group({geometry, archive.data(text(".geom"))});
    const std::uint64_t mesh_object = archive.group({compound, archive.data(text("headers"))});
    const std::uint64_t no_properties = archive.group({archive_writer::empty_data});
    archive.finish(archive.group({no_properties, mesh_object, archive.data(text("torus"))}));
    return archive;
}

} // namespace qel::test
