// SPDX-License-Identifier: MIT
// Calls every function that the library has for a file of this kind.
#pragma once

#include "support/temp_folder.h"

#include <cstdint>
#include <string>

namespace qel::test {

enum class file_kind : std::uint8_t {
    unit,
    scene,
    cache,
    agents,
    archive,          // read by its bytes
    archive_structure // read by its structure
};

/// Writes the file, loads it, calls every query, saves it, releases it. Allocation number `failing_allocation` of
/// the load fails, none if it is 0. Returns the load's code; for an archive that opens, the code of its mesh. An
/// archive read by structure is compared with the model if no allocation fails.
std::int32_t replay(file_kind kind, const bytes &file, std::uint64_t failing_allocation);

/// Sound files to damage.
bytes sound_unit();                          // 3 tokens
bytes sound_scene();                         // 2 meshes of 3 and 2 vertices, 1 frame
bytes sound_cache();                         // 4 vertices, 2 triangles, a skin of 2 joints and 4 weights
bytes sound_agents();                        // 3 agents
bytes sound_archive();                       // a torus of 40 x 30 quads, laid out as production tools do
bytes archive_of_a_turn(double axis_length); // a rotation about an axis in no plane of two others
bytes archive_inside_itself();               // an object whose group is its own compound

/// The bytes of a file, changed.
template <class T>
bytes patched(bytes file, std::size_t at, const T &value) {
    if (file.size() < at + sizeof value) file.resize(at + sizeof value);
    const auto *first = reinterpret_cast<const std::uint8_t *>(&value);
    for (std::size_t i = 0; i < sizeof value; ++i)
        file[at + i] = first[i];
    return file;
}
bytes cut(bytes file, std::size_t length);
/// With every copy of one word replaced by another, but for the first few of each run of copies.
bytes replaced(bytes file, std::uint32_t word, std::uint32_t by, std::size_t spared = 0);

} // namespace qel::test
