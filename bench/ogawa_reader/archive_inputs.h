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

/// An open archive on disk, with its pages in the system's cache.
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

/// Arrays with digests, as in production, of about `bytes` bytes: positions, indices and face counts in turn.
void append_filler(test::archive_writer &archive, std::size_t bytes);

/// An archive of about `bytes` bytes with normals, tangents, bitangents and a large UV array without digests at its
/// end.
test::archive_writer archive_of_blocks(std::size_t bytes);
/// The same with only one small UV array, which the mesh search skips and the block scan finds.
test::archive_writer archive_of_small_uvs(std::size_t bytes);
/// An archive without a tree: positions at the beginning, normals and a run of indices near the end.
test::archive_writer archive_without_tree(std::size_t bytes);

/// The location of an array that the walk selects.
struct array_place {
    long at;
    std::size_t size;
};

/// An archive with a tree of arrays of about `bytes` bytes; at most the largest that a node may hold.
test::archive_writer archive_of_arrays(std::size_t bytes, std::vector<array_place> &winners);

} // namespace qel::bench
