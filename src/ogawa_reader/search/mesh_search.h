// SPDX-License-Identifier: MIT
// The search through all of an archive for the size words of mesh arrays.
#pragma once

#include "ogawa_reader/container/container.h"
#include "ogawa_reader/search/size_words.h"
#include "qel_unit.h"

#include <cstddef>
#include <cstdint>

namespace qel {

/// Where arrays of a mesh are, each as long as its size word says; all zero if none was found.
struct ogawa_mesh_locations {
    ogawa::extent positions;
    ogawa::extent uvs;
    ogawa::extent normals; // never found: their readers search in their own way
    ogawa::extent face_counts;
    ogawa::extent reserved; // never found
};

inline constexpr std::size_t candidate_bytes = 20; // a size word and three more of the payload

/// Keeps the payload of a size word where it is the largest of a kind that it may be. `bytes` are the size word and
/// three payload words, the first of them at `at`.
void weigh_candidate(const std::uint8_t *bytes, std::uint64_t at, ogawa_mesh_locations *best);

/// Weighs every size word of a stream, from the header's end on, in file order. `look(bytes, at)` is called with each
/// as well: `at` is the word's position, and `bytes` are `wanted` from there on, near the stream's end fewer.
template <class Look>
void search_mesh_data(byte_window &window, std::size_t wanted, ogawa_mesh_locations &locations, Look look) {
    for_each_size_word(window, candidate_bytes, wanted, [&](const std::uint8_t *bytes, std::uint64_t at) {
        weigh_candidate(bytes, at + sizeof(std::uint64_t), &locations);
        look(bytes, at);
        return true;
    });
}

/// Searches the whole file, at every fourth byte from 16 on, for the largest payload of each kind, the first of equal
/// ones. The archive is open. A file without a whole root reference leaves `locations` untouched.
void ogawa_find_mesh_data(const ogawa_archive *archive, ogawa_mesh_locations *locations);

} // namespace qel
