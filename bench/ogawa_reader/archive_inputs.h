// SPDX-License-Identifier: MIT
// Large archives to search through.
#pragma once

#include "qel_unit.h"

#include "support/archive_writer.h"
#include "support/temp_folder.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel::bench {

/// An archive on disk, open, its pages in the system's cache.
class open_archive {
  public:
    explicit open_archive(const test::archive_writer &content) : path_(folder_.file("bench.abc")) {
        content.save(path_);
        ogawa_open(path_.c_str(), &archive);
    }
    ~open_archive() { ogawa_close(&archive); }
    open_archive(const open_archive &) = delete;
    open_archive &operator=(const open_archive &) = delete;

    ogawa_archive archive = {};

  private:
    test::temp_folder folder_;
    std::string path_;
};

/// Position-like floats, small whole numbers from 1 on, all 4, values of a vector field of unit length, UVs.
std::vector<float> make_positions(std::size_t triples);
std::vector<std::uint32_t> make_indices(std::size_t count);
std::vector<float> make_unit_vectors(std::size_t triples);
std::vector<float> make_uvs(std::size_t pairs);

/// Arrays with digests, as in production, of about so many bytes: positions, indices, face counts by turns.
void append_filler(test::archive_writer &archive, std::size_t bytes);

/// Of about so many bytes, with normals, tangents, bitangents and a large UV array without digests at its end.
test::archive_writer archive_of_blocks(std::size_t bytes);
/// The same with only one small UV array, which the mesh search passes over and the block scan finds.
test::archive_writer archive_of_small_uvs(std::size_t bytes);
/// Without a tree: positions at the beginning, normals and a run of indices towards the end.
test::archive_writer archive_without_tree(std::size_t bytes);

/// Where the walk's winners stand.
struct array_place {
    long at;
    std::size_t size;
};

/// With a tree of arrays of about so many bytes; at most the largest that a node may hold.
test::archive_writer archive_of_arrays(std::size_t bytes, std::vector<array_place> &winners);

} // namespace qel::bench
