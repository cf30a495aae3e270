// SPDX-License-Identifier: MIT
// Writes Ogawa containers: laid out as production tools do, or damaged in any way a test needs.
#pragma once

#include "support/mesh_maker.h"
#include "support/temp_folder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qel::test {

/// Builds a container node by node. Children come before their parents, as in a real file; a node's reference
/// is what its parent holds. Nothing is checked: any reference, count or size may be wrong.
class archive_writer {
  public:
    static constexpr std::uint64_t data_bit = std::uint64_t{1} << 63;
    static constexpr std::uint64_t empty_group = 0;
    static constexpr std::uint64_t empty_data = data_bit;

    /// Starts with the 16-byte header: magic, frozen, version 0.1, root reference 0.
    archive_writer();

    /// A data node: size word and payload.
    std::uint64_t data(const bytes &payload);
    /// A data node whose payload is a 16-byte digest and then the values, as arrays are stored.
    template <class T>
    std::uint64_t array(const std::vector<T> &values) {
        return data(with_digest(bytes_of(values)));
    }
    /// A data node whose size word need not be true.
    std::uint64_t data_claiming(std::uint64_t size, const bytes &payload);
    /// A group: child count and references.
    std::uint64_t group(const std::vector<std::uint64_t> &children);
    /// A group whose count need not be true.
    std::uint64_t group_claiming(std::uint64_t count, const std::vector<std::uint64_t> &children);

    void set_root(std::uint64_t reference);
    /// Makes the root of six children that production tools write, the third being the top object.
    void finish(std::uint64_t top_object);

    void append_raw(const bytes &raw);
    /// Fills up with a byte to an absolute offset.
    void pad_to(std::uint64_t offset, std::uint8_t fill = 0);
    /// Overwrites eight bytes.
    void patch(std::uint64_t offset, std::uint64_t word);

    std::uint64_t size() const { return content_.size(); }
    const bytes &content() const { return content_; }
    void save(const std::string &path) const { write_file(path, content_); }

    /// A digest of the data, 16 bytes that look like noise, before the data.
    static bytes with_digest(const bytes &values);

  private:
    bytes content_;
};

/// A whole archive with one mesh, nested as production tools do: the top object holds an object, which holds a
/// compound property of array properties, each a group of samples. Corner normals and UVs are left out where empty;
/// `plain_arrays` are added without digests, as the searches for normals, UVs and tangents require.
archive_writer production_archive(const plain_mesh &mesh, const std::vector<bytes> &plain_arrays = {});

} // namespace qel::test
