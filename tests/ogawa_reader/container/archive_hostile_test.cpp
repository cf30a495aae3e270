// SPDX-License-Identifier: MIT
// Hostile files. Every call must return, leave nothing on the heap and raise no report of a sanitizer; where the models
// are quick enough, the answers are theirs.
#include "ogawa_reader/mesh/read_mesh.h"
#include "ogawa_reader/search/mesh_search.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

#include <random>

namespace qel {
namespace {

using namespace test;

/// Opens the file and calls every reader. Returns the status of the mesh.
int read_everything(const std::string &path) {
    const heap_ledger ledger;
    ogawa_archive archive;
    int status = -9;
    if (ogawa_open(path.c_str(), &archive) == 0) {
        ogawa_polymesh mesh;
        status = ogawa_read_polymesh(&archive, nullptr, 0, &mesh);
        EXPECT_TRUE(status == 0 || status == -1);
        EXPECT_EQ(status == 0, mesh.vertex_count != 0);
        ogawa_free_polymesh(&mesh);
        float *positions = nullptr;
        std::uint32_t count = 0;
        const int scan_status = ogawa_read_positions(&archive, nullptr, 0, &positions, &count);
        EXPECT_EQ(scan_status == 0, count != 0);
        std::free(positions);
        ogawa_mesh_locations locations;
        ogawa_find_mesh_data(&archive, &locations);
        EXPECT_EQ(ogawa_get_first_polymesh(&archive) != nullptr, status == 0);
    }
    ogawa_close(&archive);
    EXPECT_EQ(ledger.live(), 0u);
    return status;
}

int read_everything(const stored_archive &archive) {
    return read_everything(archive.path());
}

archive_writer small_torus() {
    test::plain_mesh mesh = test::make_torus(40, 30, 3.0f, 1.0f);
    mesh.corner_normals.clear();
    mesh.corner_uvs.clear();
    return test::production_archive(mesh);
}

bytes random_bytes(std::mt19937 &random, std::size_t size) {
    bytes content(size);
    for (std::uint8_t &byte : content)
        byte = static_cast<std::uint8_t>(random());
    return content;
}

const bytes header = {'O', 'g', 'a', 'w', 'a', 0xFF, 0, 1};

TEST(HostileArchives, OfNoiseAfterAHeaderAreRead) {
    std::mt19937 random(21);
    stored_archive archive;
    for (int round = 0; round < 300; ++round) {
        bytes content = random_bytes(random, 16 + random() % 5000);
        std::copy(header.begin(), header.end(), content.begin());
        if (round % 2 == 0) put(content, 8, std::uint64_t{16 + random() % content.size()});
        archive.store(content);
        read_everything(archive);
    }
}

TEST(HostileArchives, OfSparseNoiseAreRead) {
    // Mostly zeros: counts are small, and references stay in the file.
    std::mt19937 random(22);
    stored_archive archive;
    for (int round = 0; round < 300; ++round) {
        bytes content(16 + random() % 5000);
        for (std::size_t at = 8; at < content.size(); at += 1 + random() % 12)
            content[at] = static_cast<std::uint8_t>(random() % (random() % 2 == 0 ? 256 : 20));
        std::copy(header.begin(), header.end(), content.begin());
        put(content, 8, std::uint64_t{16 + random() % content.size()});
        put(content, 30, std::uint64_t{12012 + random() % 100});
        archive.store(content);
        read_everything(archive);
    }
}

TEST(HostileArchives, CutAnywhereAreRead) {
    const bytes whole = small_torus().content();
    stored_archive archive(whole);
    ASSERT_EQ(read_everything(archive), 0);
    int meshes = 0;
    // Every size at both ends, every seventh in between.
    for (std::uint64_t size = whole.size() - 1; size > 0; size -= size > 2000 && size < whole.size() - 2000 ? 7 : 1) {
        archive.resize(size);
        meshes += read_everything(archive) == 0;
        ASSERT_FALSE(HasFailure()) << size << " bytes";
    }
    EXPECT_GT(meshes, 1000) << "the byte search finds the positions as long as there are some";
}

TEST(HostileArchives, CutAnywhereGiveTheAnswersOfThePlainForms) {
    const bytes whole = small_torus().content();
    for (std::uint64_t size = 20; size <= whole.size(); size += 1783) {
        stored_archive archive(whole);
        archive.resize(size);
        EXPECT_TRUE(test::agrees_with_model(archive)) << size << " bytes";
    }
}

TEST(HostileArchives, WithAnyWordReplacedAreRead) {
    const bytes whole = small_torus().content();
    std::mt19937_64 random(23);
    const std::uint64_t extremes[] = {0,
                                      1,
                                      7,
                                      999,
                                      1000,
                                      1001,
                                      12012,
                                      9999999,
                                      10000000,
                                      0x7FFFFFFF,
                                      0x80000000,
                                      0xFFFFFFFF,
                                      std::uint64_t{1} << 62,
                                      archive_writer::data_bit,
                                      archive_writer::data_bit | 16,
                                      archive_writer::data_bit | 0xFFFFFFFF,
                                      UINT64_MAX - 7,
                                      UINT64_MAX,
                                      whole.size(),
                                      whole.size() - 8};
    stored_archive archive;
    const std::uint64_t tree = whole.size() - 700; // the groups are at the end
    for (int round = 0; round < 700; ++round) {
        bytes content = whole;
        for (std::uint64_t i = random() % 3 + 1; i > 0; --i) {
            const std::uint64_t at = random() % 4 == 0 ? 8 : tree + random() % 692;
            put(content, at, extremes[random() % std::size(extremes)]);
        }
        archive.store(content);
        read_everything(archive);
    }
}

TEST(HostileArchives, WithWrongSizesAndCyclicReferencesAreRead) {
    archive_writer archive;
    archive.pad_to(64);
    std::vector<std::uint64_t> references;
    for (const std::uint64_t size : {std::uint64_t{9999999}, std::uint64_t{9999996}, std::uint64_t{9999996}})
        references.push_back(archive.data_claiming(size, test::payload_of<float>({2, 1, 0, 3}, 48)));
    references.push_back(archive.size()); // itself
    references.push_back(UINT64_MAX);
    archive.finish(archive.group(references));
    EXPECT_EQ(read_everything(stored_archive(archive.content())), -1);
}

TEST(HostileArchives, OfGroupsThatAllHoldEachOtherAreRead) {
    archive_writer archive;
    std::vector<std::uint64_t> groups;
    for (std::uint64_t i = 0; i < 50; ++i)
        groups.push_back(64 + i * (8 + 8 * 1000));
    archive.pad_to(64);
    for (std::uint64_t i = 0; i < 50; ++i) {
        std::vector<std::uint64_t> children(1000);
        for (std::uint64_t c = 0; c < 1000; ++c)
            children[c] = groups[(c * 7 + i) % 50];
        EXPECT_EQ(archive.group(children), groups[i]);
    }
    archive.finish(groups[0]);
    EXPECT_EQ(read_everything(stored_archive(archive.content())), -1);
}

TEST(HostileArchives, WhoseRootReferencesItselfAreRead) {
    archive_writer archive;
    const std::uint64_t root = archive.size();
    archive.set_root(archive.group(std::vector<std::uint64_t>(1000, root)));
    EXPECT_EQ(read_everything(stored_archive(archive.content())), -1);
    archive_writer header_as_group; // its root reference is also its child count
    header_as_group.set_root(8);
    header_as_group.append_raw(bytes(100));
    EXPECT_EQ(read_everything(stored_archive(header_as_group.content())), -1);
}

TEST(HostileArchives, OfZerosAreRead) {
    bytes content(2 << 20);
    std::copy(header.begin(), header.end(), content.begin());
    put(content, 30, std::uint64_t{9999999});
    for (std::uint64_t at = 38; at < 38 + 72; at += 4)
        put(content, at, 1.0f);
    EXPECT_EQ(read_everything(stored_archive(content)), 0);
}

} // namespace
} // namespace qel
