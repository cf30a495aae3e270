// SPDX-License-Identifier: MIT
// Archives to open and to read meshes from.
#pragma once

#include "qel_archive.h"

#include "support/archive_builder.h"
#include "support/temp_folder.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel::bench {

/// A range of bytes of a file.
struct file_range {
    std::uint64_t at, size;
};

/// An archive on disk, with its pages in the system's cache; open in the library and for reads at positions.
class archive_on_disk {
  public:
    explicit archive_on_disk(const test::built_archive &built);
    ~archive_on_disk();
    archive_on_disk(const archive_on_disk &) = delete;
    archive_on_disk &operator=(const archive_on_disk &) = delete;

    const char *path() const { return path_.c_str(); }
    int descriptor() const { return descriptor_; }
    qel_archive *archive() const { return archive_; }

  private:
    test::temp_folder folder_;
    std::string path_;
    int descriptor_;
    qel_archive *archive_ = nullptr;
};

/// Reads a whole range; repeats short reads.
void read_at(int descriptor, const file_range &range, void *bytes);

/// A tree of about `count` transforms, ten children each, each with a compound of three properties that share their
/// values. Nearly all of the file is headers.
test::archive_builder tree_of_objects(std::size_t count);

/// The locations of the headers of objects and compounds, in file order, each with the size word before it.
std::vector<file_range> header_places(const test::built_archive &built);

/// The bytes of these and of their groups.
std::uint64_t header_bytes(const test::built_archive &built);

/// 16 bytes of indices, 4 of counts, 48 of normals, 32 of UVs, and about 12 of one point.
constexpr std::size_t bytes_of_quad = 112;

/// Meshes of one sample with normals and UVs at the corners, with arrays of a given size, and the locations of the
/// arrays.
struct large_meshes {
    test::built_archive built;
    std::vector<std::vector<file_range>> arrays; // by mesh
};
large_meshes make_meshes(std::size_t count, std::size_t bytes_each);

} // namespace qel::bench
