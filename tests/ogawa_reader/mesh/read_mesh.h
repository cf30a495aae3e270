// SPDX-License-Identifier: MIT
// A mesh as it was read, released at the end of its scope; and archives of a few nodes to read it from.
#pragma once

#include "model/polymesh_model.h"
#include "ogawa_reader/container/stored_archive.h"
#include "support/archive_writer.h"

#include <vector>

namespace qel::test {

class read_mesh {
  public:
    explicit read_mesh(const stored_archive &archive, const ogawa_object *object = nullptr) {
        status = ogawa_read_polymesh(&archive.record, object, 0, &mesh);
    }
    explicit read_mesh(const bytes &content) : read_mesh(stored_archive(content)) {}
    ~read_mesh() { ogawa_free_polymesh(&mesh); }
    read_mesh(const read_mesh &) = delete;
    read_mesh &operator=(const read_mesh &) = delete;

    std::vector<float> positions() const { return copy(mesh.positions, mesh.vertex_count * 3); }
    std::vector<float> normals() const { return copy(mesh.normals, mesh.normal_count * 3); }
    std::vector<std::uint32_t> face_counts() const { return copy(mesh.face_counts, mesh.face_count); }
    std::vector<std::uint32_t> face_indices() const { return copy(mesh.face_indices, mesh.face_index_count); }

    int status;
    ogawa_polymesh mesh;

  private:
    template <class T>
    static std::vector<T> copy(const T *array, std::uint32_t count) {
        return array == nullptr ? std::vector<T>() : std::vector<T>(array, array + count);
    }
};

/// Whether an archive's mesh is the one that the plain form reads, status and every bit.
inline bool agrees_with_model(const stored_archive &archive) {
    const read_mesh read(archive);
    ogawa_polymesh expected;
    const int status = model::read_polymesh(archive.stream(), nullptr, &expected);
    const bool agrees = status == read.status && model::same_polymesh(read.mesh, expected);
    model::free_polymesh(&expected);
    return agrees;
}

/// An archive that holds these payloads as data nodes below its top object, far enough from its start that
/// the byte search finds none of them.
inline archive_writer archive_of(const std::vector<bytes> &payloads) {
    archive_writer archive;
    archive.pad_to(3000, 0xFF);
    std::vector<std::uint64_t> nodes;
    for (const bytes &payload : payloads)
        nodes.push_back(archive.data(payload));
    archive.finish(archive.group(nodes));
    return archive;
}

/// A payload of `size` bytes: these words first, then the last of them over and over.
template <class T>
bytes payload_of(std::vector<T> words, std::uint64_t size) {
    words.resize(size / 4 + 1, words.back());
    bytes payload = bytes_of(words);
    payload.resize(size);
    return payload;
}

/// Positions, normals, face counts and face indices, each of a different length. If `cut` is given, the size
/// word of that one is larger than the rest of the file.
inline archive_writer four_arrays(int cut = -1) {
    const bytes payloads[4] = {payload_of<float>({7}, 12000), payload_of<float>({0.5f}, 12012),
                               payload_of<std::uint32_t>({4}, 2004),
                               payload_of<std::uint32_t>({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 10004)};
    archive_writer archive;
    archive.pad_to(3000, 0xFF);
    std::vector<std::uint64_t> nodes;
    for (int i = 0; i < 4; ++i)
        nodes.push_back(archive.data_claiming(i == cut ? (i < 2 ? 480000 : 480004) : payloads[i].size(), payloads[i]));
    archive.finish(archive.group(nodes));
    return archive;
}

} // namespace qel::test
