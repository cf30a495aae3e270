// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/size_words.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

namespace qel {
namespace {

std::vector<std::size_t> places_seen(const std::vector<std::uint8_t> &bytes, std::size_t count) {
    std::vector<std::size_t> places;
    look_at_size_words(bytes.data(), count, [&](std::size_t place) {
        places.push_back(place);
        return true;
    });
    return places;
}

TEST(SizeWords, AreFoundAtEveryStep) {
    for (const std::uint64_t size : {1u, 12u, 255u, 256u, 65536u, 10'000'000u, 16'777'215u}) {
        for (std::size_t count = 1; count <= 40; ++count) {
            for (std::size_t step = 0; step < count; ++step) {
                std::vector<std::uint8_t> bytes(count * size_word_step + 4, 0xA5);
                std::memcpy(&bytes[step * size_word_step], &size, sizeof size);
                const std::vector<std::size_t> places = places_seen(bytes, count);
                ASSERT_EQ(std::count(places.begin(), places.end(), step * size_word_step), 1) << size;
            }
        }
    }
}

TEST(SizeWords, AreAllFoundInOrderInNoiseWithManyZeros) {
    std::mt19937 random(61);
    for (int round = 0; round < 200; ++round) {
        const std::size_t count = 1 + random() % 100;
        std::vector<std::uint8_t> bytes(count * size_word_step + 4);
        for (std::uint8_t &byte : bytes)
            byte = random() % 3 == 0 ? static_cast<std::uint8_t>(random()) : std::uint8_t{0};
        const std::vector<std::size_t> places = places_seen(bytes, count);
        EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t word = load<std::uint64_t>(&bytes[i * size_word_step]);
            if (word == 0 || word >= size_word_end) continue;
            EXPECT_TRUE(std::binary_search(places.begin(), places.end(), i * size_word_step)) << i;
        }
    }
}

TEST(SizeWords, AreNotFoundInARunOfValuesZerosOrIndices) {
    for (const std::uint32_t word : {0x3F800000u, 0u, 99'999u, 4u}) {
        std::vector<std::uint8_t> bytes(65 * size_word_step);
        for (std::size_t i = 0; i < 65; ++i)
            std::memcpy(&bytes[i * size_word_step], &word, sizeof word);
        EXPECT_TRUE(places_seen(bytes, 64).empty()) << word;
    }
}

TEST(SizeWords, StopsWhenTheCallbackReturnsFalse) {
    std::vector<std::uint8_t> bytes(100 * size_word_step);
    for (std::size_t i = 0; i < 100; i += 2)
        bytes[i * size_word_step] = 40;
    int seen = 0;
    EXPECT_FALSE(look_at_size_words(bytes.data(), 98, [&](std::size_t) { return ++seen < 7; }));
    EXPECT_EQ(seen, 7);
}

TEST(SizeWords, StopsWhenTheCallbackReturnsFalseInTheLastSteps) {
    const std::size_t last = 6 * steps_at_once; // the steps from here on are too few for one batch
    std::vector<std::uint8_t> bytes((last + 3) * size_word_step);
    bytes[last * size_word_step] = bytes[(last + 1) * size_word_step] = 40;
    std::vector<std::size_t> places;
    EXPECT_FALSE(look_at_size_words(bytes.data(), last + 2, [&](std::size_t place) {
        places.push_back(place);
        return false;
    }));
    EXPECT_EQ(places, std::vector<std::size_t>{384});
}

} // namespace
} // namespace qel
