// SPDX-License-Identifier: MIT
// The search through all of an archive for the size words of mesh arrays.
#pragma once

#include "ogawa_reader/container/container.h"
#include "ogawa_reader/search/size_words.h"
#include "qel_unit.h"

#include <cstddef>
#include <cstdint>

namespace qel {

/// The arrays of a mesh, each with the size of its size word; 0 at 0 if none was found.
struct ogawa_mesh_locations {
    ogawa::extent positions;
    ogawa::extent uvs;
    ogawa::extent normals; // never found: ogawa_read_normals() has a search of its own
    ogawa::extent face_counts;
    ogawa::extent reserved; // never found
};

inline constexpr std::size_t candidate_bytes = 20; // a size word and three more of the payload

/// Keeps the payload of a size word for each kind that it may be, if it is the largest of that kind so far. `bytes` are
/// the size word and three payload words, the first of them at `at`.
void weigh_candidate(const std::uint8_t *bytes, std::uint64_t at, ogawa_mesh_locations *best);

/// Examines every size word of a stream, from the header's end on, in file order, and calls `look(bytes, at)` with
/// each: `at` is the word's position, and `bytes` are the `wanted` bytes from there on, fewer near the stream's end.
template <class Look>
void search_mesh_data(byte_window &window, std::size_t wanted, ogawa_mesh_locations &locations, Look look) {
    for_each_size_word(window, candidate_bytes, wanted, [&](const std::uint8_t *bytes, std::uint64_t at) {
        weigh_candidate(bytes, at + sizeof(std::uint64_t), &locations);
        look(bytes, at);
        return true;
    });
}

/// Searches the whole file, at every fourth byte from 16 on, for the largest payload of each kind, the first of equal
/// ones. The archive is open. For a file without a complete root reference `locations` does not change.
void ogawa_find_mesh_data(const ogawa_archive *archive, ogawa_mesh_locations *locations);

} // namespace qel
