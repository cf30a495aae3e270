// SPDX-License-Identifier: MIT
// Archives that production tools wrote, read as their models read them.
#include "model/mesh_scan_model.h"
#include "model/node_walk_model.h"
#include "ogawa_reader/container/node_walk.h"
#include "ogawa_reader/mesh/read_mesh.h"
#include "ogawa_reader/search/mesh_search.h"
#include "support/real_archives.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace qel {
namespace {

namespace fs = std::filesystem;
using namespace test;

class RealArchives : public testing::Test {
  protected:
    void SetUp() override {
        paths = test::real_archives();
        if (paths.empty()) GTEST_SKIP() << test::no_real_archives;
    }

    /// Calls `check` with each archive, open.
    template <class Check>
    void for_each(const Check &check) {
        for (const fs::path &path : paths) {
            SCOPED_TRACE(path.filename().string());
            ogawa_archive archive;
            ASSERT_EQ(ogawa_open(path.string().c_str(), &archive), 0);
            check(archive, fs::file_size(path));
            ogawa_close(&archive);
        }
    }

    std::vector<fs::path> paths;
};

TEST_F(RealArchives, ListTheNodesOfTheNaiveWalk) {
    for_each([](ogawa_archive &archive, std::uint64_t length) {
        std::uint64_t root = 0;
        std::fseek(archive.file, 8, SEEK_SET);
        ASSERT_EQ(std::fread(&root, 8, 1, archive.file), 1u);
        for (const std::uint32_t capacity : {500u, 20u}) {
            for (const std::int32_t max_depth : {20, 4}) {
                model::node_walk naive{archive.file, length, capacity, max_depth, {}};
                naive.visit(static_cast<std::int64_t>(root), 0);
                std::vector<ogawa::extent> nodes(capacity);
                ogawa_node_collector collector = {archive.file, length, nodes.data(), 0, capacity, max_depth};
                ogawa_collect_data_nodes(&collector, static_cast<std::int64_t>(root), 0);
                ASSERT_EQ(collector.count, naive.nodes.size());
                for (std::uint32_t i = 0; i < collector.count; ++i)
                    EXPECT_EQ((model::listed_node{nodes[i].at, nodes[i].size}), naive.nodes[i]);
            }
        }
    });
}

TEST_F(RealArchives, ScanToThePositionsOfThePlainForm) {
    for_each([](ogawa_archive &archive, std::uint64_t) {
        float *positions = nullptr, *expected = nullptr;
        std::uint32_t count = 0, expected_count = 0;
        const int status = ogawa_read_positions(&archive, nullptr, 0, &positions, &count);
        EXPECT_EQ(status, model::scan_positions(archive.file, &expected, &expected_count));
        EXPECT_EQ(count, expected_count);
        EXPECT_TRUE(std::equal(positions, positions + std::size_t{count} * 3, expected));
        std::free(positions);
        std::free(expected);
    });
}

TEST_F(RealArchives, HoldTheMeshDataOfThePlainForm) {
    for_each([](ogawa_archive &archive, std::uint64_t) {
        ogawa_mesh_locations found;
        model::mesh_locations expected;
        ogawa_find_mesh_data(&archive, &found);
        model::find_mesh_data(archive.file, &expected);
        EXPECT_EQ(std::memcmp(&found, &expected, sizeof found), 0);
    });
}

TEST_F(RealArchives, GiveTheMeshOfThePlainForm) {
    int meshes = 0;
    for_each([&](ogawa_archive &archive, std::uint64_t) {
        const heap_ledger ledger;
        ogawa_polymesh mesh, expected;
        const int status = ogawa_read_polymesh(&archive, nullptr, 0, &mesh);
        EXPECT_EQ(status, model::read_polymesh(archive.file, nullptr, &expected));
        EXPECT_TRUE(model::same_polymesh(mesh, expected));
        meshes += status == 0;
        ogawa_free_polymesh(&mesh);
        model::free_polymesh(&expected);
        EXPECT_EQ(ledger.live(), 0u);
    });
    EXPECT_GT(meshes, 0);
}

} // namespace
} // namespace qel
