// SPDX-License-Identifier: MIT
// Every answer of the archive reader is the model's: for archives made by chance, sound and damaged, for every
// truncation and every changed byte of small ones.
//
// QEL_ARCHIVE_ROUNDS makes the tests longer: so many random archives of each sort, and every value of every byte.
// QEL_ARCHIVE_SEED has the random ones begin elsewhere.
#include "model/archive_comparison.h"
#include "qel_archive.h"
#include "qel_archive/small_archives.h"
#include "support/random_archive.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <numeric>

namespace qel {
namespace {

using namespace test;

std::uint64_t from_environment(const char *name, std::uint64_t otherwise) {
    const char *value = std::getenv(name);
    return value == nullptr ? otherwise : std::strtoull(value, nullptr, 10);
}

class ArchiveAgainstModel : public testing::Test {
  protected:
    /// Empty where the library answers as the model does.
    std::string difference(const bytes &content) {
        std::filesystem::remove(path_); // a new file waits for no disk, unlike one that is written over
        write_file(path_, content);
        return model::first_difference(path_);
    }

    /// Compares archives that `make` makes of chances.
    template <class Make>
    void compare_random(const Make &make) {
        const std::uint64_t rounds = from_environment("QEL_ARCHIVE_ROUNDS", 400);
        const std::uint64_t first = from_environment("QEL_ARCHIVE_SEED", 1);
        for (std::uint64_t seed = first; seed < first + rounds; ++seed) {
            chance random(seed);
            ASSERT_EQ(difference(make(random)), "") << "QEL_ARCHIVE_SEED=" << seed;
        }
    }

    temp_folder folder_;
    std::string path_ = folder_.file("archive.abc");
};

TEST_F(ArchiveAgainstModel, ReadsSoundArchivesAlike) {
    compare_random([](chance &random) { return random_archive(random).build().content; });
}

TEST_F(ArchiveAgainstModel, ReadsArchivesWithDamagedFieldsAlike) {
    compare_random([](chance &random) {
        archive_builder archive = random_archive(random);
        damage_fields(archive, random);
        return archive.build().content;
    });
}

TEST_F(ArchiveAgainstModel, ReadsArchivesWithDamagedBytesAlike) {
    compare_random([](chance &random) { return damaged_bytes(random_archive(random).build(), random); });
}

/// The comparison of damaged archives is meaningless if every one is refused.
TEST_F(ArchiveAgainstModel, OpensManyOfTheDamagedArchives) {
    std::uint32_t opened = 0, refused = 0;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        chance random(seed);
        archive_builder archive = random_archive(random);
        damage_fields(archive, random);
        archive.save(path_);
        ++(model::model_status(path_) == QEL_ARCHIVE_OK ? opened : refused);
    }
    EXPECT_GT(opened, 50u);
    EXPECT_GT(refused, 50u);
}

TEST_F(ArchiveAgainstModel, ReadsEveryTruncationAlike) {
    for (const archive_builder &archive : small_archives()) {
        const bytes whole = archive.build().content;
        for (std::size_t size = 0; size <= whole.size(); ++size) {
            const bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            ASSERT_EQ(difference(cut), "") << size << " of " << whole.size() << " bytes";
        }
    }
}

/// What is added to a byte: two steps, or all where the random tests are made longer.
std::vector<std::uint8_t> byte_steps() {
    if (std::getenv("QEL_ARCHIVE_ROUNDS") == nullptr) return {1, 0x80};
    std::vector<std::uint8_t> steps(255);
    std::iota(steps.begin(), steps.end(), std::uint8_t{1});
    return steps;
}

TEST_F(ArchiveAgainstModel, ReadsEveryChangedByteAlike) {
    for (const archive_builder &archive : small_archives()) {
        const bytes whole = archive.build().content;
        for (std::size_t at = 0; at < whole.size(); ++at)
            for (const std::uint8_t step : byte_steps()) {
                bytes changed = whole;
                changed[at] = static_cast<std::uint8_t>(changed[at] + step);
                ASSERT_EQ(difference(changed), "") << "byte " << at << " = " << int{changed[at]};
            }
    }
}

/// Names around the 256 bytes of the record, paths around its 1,024, UV sets around their 64.
TEST_F(ArchiveAgainstModel, CutsLongNamesAlike) {
    polymesh mesh;
    mesh.points = {{0, 0, 0}};
    mesh.face_counts = mesh.face_indices = {{}};
    for (std::size_t length = 60; length < 68; ++length) {
        mesh.more_parameters.push_back(uvs({{1, 2}}, "con"));
        mesh.more_parameters.back().name = std::string(length, 'u');
        mesh.parameters = {uvs({{1, 2}}, "con", std::string(length, 's'))};
        archive_builder archive;
        object_node *parent = &archive.top;
        for (int level = 0; level < 3; ++level)
            parent = &parent->add(std::string(255, 'o'));
        for (std::size_t name = 250; name < 260; ++name)
            add_polymesh(*parent, std::string(name, 'm'), mesh);
        EXPECT_EQ(difference(archive.build().content), "") << length;
    }
}

} // namespace
} // namespace qel
