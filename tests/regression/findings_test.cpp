// SPDX-License-Identifier: MIT
// Every file that once broke the library or was made to: one line each, tested on every run. To add one, damage a
// sound file as the finding does. An input of a fuzz target goes to tests/regression/inputs/<target> instead.
#include "qel_archive.h"
#include "regression/replay.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <ostream>

namespace qel {
namespace {

using namespace test;

struct finding {
    const char *name;
    file_kind kind;
    bytes (*file)();
    std::uint64_t failing_allocation; // of the load; 0: none
    std::int32_t code;
};

/// Names a finding in lists of tests.
std::ostream &operator<<(std::ostream &out, const finding &one) {
    return out << one.name;
}

constexpr std::uint32_t all = 0xFFFFFFFF;
constexpr std::uint64_t data_bit = std::uint64_t{1} << 63;
constexpr std::size_t scene_indices_at = 64 + 64 + 4 + 4 + 1 + 24 + 3 * 12; // of the first mesh
constexpr std::size_t cache_skin_at = 64 + 48 + 24;                         // in the sound cache

constexpr finding findings[] = {
    // Units: 16 bytes to the time, 24 to the tokens of 25 bytes each.
    {"UnitHeaderCut", file_kind::unit, [] { return cut(sound_unit(), 23); }, 0, -2},
    {"UnitHeaderAlone", file_kind::unit, [] { return cut(sound_unit(), 24); }, 0, 0},
    {"UnitTokenCut", file_kind::unit, [] { return cut(sound_unit(), 24 + 25 + 7); }, 0, 0},
    {"UnitOfOtherKind", file_kind::unit, sound_agents, 0, -3},
    {"UnitCountOfGigabytesRefused", file_kind::unit, [] { return patched(sound_unit(), 8, all); }, 1, -4},
    {"UnitOfOneMillionMissingTokens", file_kind::unit, [] { return patched(sound_unit(), 8, 1000000u); }, 0, 0},
    {"UnitKeysAllAlike", file_kind::unit, [] { return replaced(replaced(sound_unit(), 7, 1), 5, 1); }, 0, 0},
    {"UnitFirstIndexMissing", file_kind::unit, sound_unit, 2, -5},

    // Scenes: counts at 8 and 12; the first mesh at 64 with a name of 64 bytes, then its counts.
    {"SceneHeaderCut", file_kind::scene, [] { return cut(sound_scene(), 63); }, 0, -2},
    {"SceneHeaderAlone", file_kind::scene, [] { return cut(sound_scene(), 64); }, 0, 0},
    {"SceneVersionTwo", file_kind::scene, [] { return patched(sound_scene(), 4, 2u); }, 0, -3},
    {"SceneMeshCountOfGigabytes", file_kind::scene, [] { return patched(sound_scene(), 8, all); }, 0, -4},
    {"SceneFrameCountOfGigabytes", file_kind::scene, [] { return patched(sound_scene(), 12, all); }, 0, -4},
    {"SceneVertexBytesBeyond32Bits", file_kind::scene, [] { return patched(sound_scene(), 128, 0x15555556u); }, 0, -4},
    {"SceneFaceBytesBeyond32Bits", file_kind::scene, [] { return patched(sound_scene(), 132, 0x15555556u); }, 0, -4},
    {"SceneOfOneMillionMissingFaces", file_kind::scene, [] { return patched(sound_scene(), 132, 1000000u); }, 0, 0},
    {"SceneNameWithoutEnd", file_kind::scene,
     [] {
         bytes file = sound_scene();
         std::fill_n(file.begin() + 64, 64, std::uint8_t{'n'});
         return file;
     },
     0, 0},
    {"SceneIndicesBeyondTheVertices", file_kind::scene,
     [] { return patched(sound_scene(), scene_indices_at + 8, all); }, 0, 0},

    // Mesh caches: skin offset at 60.
    {"CacheEmpty", file_kind::cache, [] { return bytes{}; }, 0, -3},
    {"CacheOfFourBytes", file_kind::cache, [] { return cut(sound_cache(), 4); }, 0, 0},
    {"CacheOfOtherKind", file_kind::cache, sound_scene, 0, -5},
    {"CacheSkinBehindTheFile", file_kind::cache, [] { return patched(sound_cache(), 60, all); }, 0, 0},
    {"CacheJointBytesBeyond32Bits", file_kind::cache, [] { return patched(sound_cache(), cache_skin_at, 0x00C7CE0Du); },
     0, 0},
    {"CacheWeightsOfGigabytes", file_kind::cache,
     [] { return patched(sound_cache(), cache_skin_at + 4 + 2 * 328, all); }, 0, 0},
    {"CacheJointsBeyondTheSkin", file_kind::cache, [] { return replaced(sound_cache(), 1, all); }, 0, 0},
    {"CacheWithoutMemoryForJoints", file_kind::cache, sound_cache, 2, 0},

    // Agent directories: count at 8, active at 12, agents at 24.
    {"AgentsHeaderCut", file_kind::agents, [] { return cut(sound_agents(), 15); }, 0, -3},
    {"AgentsTimeCut", file_kind::agents, [] { return cut(sound_agents(), 20); }, 0, 0},
    {"AgentsRecordCut", file_kind::agents, [] { return cut(sound_agents(), 24 + 40 + 1); }, 0, 0},
    {"AgentsOneMoreThanFit", file_kind::agents, [] { return patched(sound_agents(), 8, 65537u); }, 0, 0},
    {"AgentsOfAllCounts", file_kind::agents, [] { return patched(sound_agents(), 8, ~std::uint64_t{0}); }, 0, 0},
    {"AgentsOfOtherKind", file_kind::agents, sound_unit, 0, -4},
    {"AgentsWithoutMemory", file_kind::agents, sound_agents, 3, -1},

    // Archives: root reference at 8, nodes from 16 on.
    {"ArchiveHeaderCut", file_kind::archive, [] { return cut(sound_archive(), 15); }, 0, -5},
    {"ArchiveHeaderAlone", file_kind::archive, [] { return cut(sound_archive(), 16); }, 0, -1},
    {"ArchiveRootIsItsOwnReference", file_kind::archive, [] { return patched(sound_archive(), 8, std::uint64_t{8}); },
     0, 0},
    {"ArchiveRootIsData", file_kind::archive, [] { return patched(sound_archive(), 8, data_bit | 16); }, 0, 0},
    {"ArchiveRootBeyondAllOffsets", file_kind::archive, [] { return patched(sound_archive(), 8, ~std::uint64_t{0}); },
     0, 0},
    {"ArchiveFacesOfEnormousCounts", file_kind::archive, [] { return replaced(sound_archive(), 4, 0xFFFFFFF0, 10); }, 0,
     0},
    {"ArchiveWithoutMemoryForTheNodes", file_kind::archive, sound_archive, 1, 0},

    // Archives read by structure.
    {"StructureOfAnObjectThatIsItsOwnCompound", file_kind::archive_structure, archive_inside_itself, 0,
     QEL_ARCHIVE_DAMAGED},
    {"StructureTurnsAboutAnAxisWhoseSquareUnderflows", file_kind::archive_structure,
     [] { return archive_of_a_turn(1e-200); }, 0, QEL_ARCHIVE_OK},
    {"StructureTurnsAboutAnAxisWhoseSquareOverflows", file_kind::archive_structure,
     [] { return archive_of_a_turn(1e200); }, 0, QEL_ARCHIVE_OK},
    {"StructureWithoutMemoryForTheArchive", file_kind::archive_structure, sound_archive, 1, QEL_ARCHIVE_NO_MEMORY},
};

class Findings : public testing::TestWithParam<finding> {};

TEST_P(Findings, ReturnTheirCodeAndLeakNothing) {
    const finding &it = GetParam();
    const heap_ledger ledger;
    EXPECT_EQ(replay(it.kind, it.file(), it.failing_allocation), it.code);
    EXPECT_EQ(ledger.live(), 0u);
}

INSTANTIATE_TEST_SUITE_P(, Findings, testing::ValuesIn(findings), [](const auto &each) { return each.param.name; });

} // namespace
} // namespace qel
