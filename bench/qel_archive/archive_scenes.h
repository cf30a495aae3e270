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

/// Where bytes stand in a file.
struct file_range {
    std::uint64_t at, size;
};

/// An archive on disk, its pages in the system's cache; open to the library and for reads at positions.
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

/// Reads at a position until all is there.
void read_at(int descriptor, const file_range &range, void *bytes);

/// Groups of ten transforms below each other's parents: about so many objects, each with a compound of three properties
/// whose few values all share. Nearly all of the file is headers.
test::archive_builder tree_of_objects(std::size_t count);

/// Where the headers of objects and compounds stand, in the file's order, each with the word before it that says how
/// long it is.
std::vector<file_range> header_places(const test::built_archive &built);

/// The bytes of these and of the groups that they belong to.
std::uint64_t header_bytes(const test::built_archive &built);

/// 16 bytes of indices, 4 of counts, 48 of normals, 32 of UVs, and about 12 of a point.
constexpr std::size_t bytes_of_quad = 112;

/// Meshes of one sample with normals and UVs at the corners, of so many bytes of arrays each, and where the arrays
/// of each stand.
struct large_meshes {
    test::built_archive built;
    std::vector<std::vector<file_range>> arrays; // by mesh
};
large_meshes make_meshes(std::size_t count, std::size_t bytes_each);

} // namespace qel::bench
