// SPDX-License-Identifier: MIT
#include "ogawa_reader/cache/cache_loading.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

using namespace test;

TEST_F(MeshCacheLoad, SurvivesEveryTruncation) {
    const bytes whole = whole_cache_file(some_skin());
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        expect_as_modelled(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        ASSERT_FALSE(HasFatalFailure()) << size;
    }
}

TEST_F(MeshCacheLoad, SurvivesExtremesInEveryWord) {
    const bytes whole = whole_cache_file(some_skin());
    const auto size = static_cast<std::uint32_t>(whole.size());
    std::vector<std::size_t> places = {skin_at, skin_at + 4 + 2 * 328};
    for (std::size_t at = 0; at < 64; at += 2)
        places.push_back(at);
    for (const std::size_t at : places)
        for (const std::uint32_t word : {0u, 1u, 3u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, size - 133, size - 132,
                                         size - 128, size - 4, size - 1, size, size + 1}) {
            bytes file = whole;
            std::memcpy(&file[at], &word, 4);
            expect_as_modelled(file);
            ASSERT_FALSE(HasFatalFailure()) << at << ' ' << word;
        }
}

TEST_F(MeshCacheLoad, SurvivesRandomBytes) {
    std::mt19937 random(74);
    int with_skin = 0;
    for (int round = 0; round < 1500; ++round) {
        bytes file(random() % 700 + 1);
        for (std::uint8_t &byte : file)
            byte = random() % 3 == 0 ? static_cast<std::uint8_t>(random()) : 0;
        if (round % 20 != 0) std::memcpy(file.data(), "QELM", file.size() < 4 ? file.size() : 4);
        if (file.size() >= 64 && round % 3 != 0) {
            const auto offset = static_cast<std::uint32_t>(random() % (file.size() + 4));
            file[6] |= 4;
            std::memcpy(&file[60], &offset, 4);
            const std::uint32_t joints = random() % 2;
            if (offset + 4 <= file.size()) std::memcpy(&file[offset], &joints, 4);
        }
        if (model::load_mesh(file).has_skin) ++with_skin;
        expect_as_modelled(file);
        ASSERT_FALSE(HasFatalFailure()) << "round " << round;
    }
    EXPECT_GT(with_skin, 50);
}

} // namespace
} // namespace qel
