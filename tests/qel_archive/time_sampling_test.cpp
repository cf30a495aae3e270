// SPDX-License-Identifier: MIT
#include "qel_archive/time_sampling.h"
#include "support/archive_headers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace qel::archives {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// Tests every sample.
std::uint64_t plain_last_sample_at(const time_sampling &sampling, std::uint64_t count, double seconds) {
    const double slack = sampling.acyclic ? 0 : 1e-6 * std::fabs(sampling.cycle);
    std::uint64_t last = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (sample_time(sampling, i) <= seconds + slack) last = i;
    }
    return last;
}

TEST(TimeSampling, UniformCyclicAndAcyclicTimesFollowTheirFormulas) {
    const double one[] = {0.5}, three[] = {0, 0.1, 0.3};
    const time_sampling uniform = {0.25, one, 1, false}, cyclic = {1, three, 3, false},
                        acyclic = {test::acyclic, three, 3, true};
    EXPECT_EQ(sample_time(uniform, 0), 0.5);
    EXPECT_EQ(sample_time(uniform, 7), 0.5 + 7 * 0.25);
    EXPECT_EQ(sample_time(cyclic, 2), 0.3);
    EXPECT_EQ(sample_time(cyclic, 7), 0.1 + 2.0);
    EXPECT_EQ(sample_time(acyclic, 2), 0.3);
    EXPECT_EQ(sample_time(acyclic, 9), 0.3);
}

TEST(TimeSampling, TheLastSampleAtATimeIsTheOneThatAPlainSearchFinds) {
    std::mt19937 random(11);
    const double cycles[] = {1, 1.0 / 24, 0, -0.5, 1e300, infinite, -infinite, not_a_number, test::acyclic};
    const double odd[] = {infinite, -infinite, not_a_number, 0};
    for (int run = 0; run < 20'000; ++run) {
        const auto count = 1 + static_cast<std::uint32_t>(random() % 5);
        double times[5];
        for (double &time : times)
            time = random() % 30 == 0 ? odd[random() % 4] : static_cast<double>(random() % 100) / 8 - 4;
        const double cycle = cycles[random() % 9];
        const time_sampling sampling = {cycle, times, count, cycle == test::acyclic};
        const std::uint64_t samples = 1 + random() % 40;
        double seconds = sample_time(sampling, random() % samples);
        if (random() % 3 == 0) seconds += (static_cast<double>(random() % 5) - 2) * 5e-7 * cycle;
        if (random() % 20 == 0) seconds = odd[random() % 4];
        ASSERT_EQ(last_sample_at(sampling, samples, seconds), plain_last_sample_at(sampling, samples, seconds))
            << run << " cycle " << cycle << " seconds " << seconds;
    }
}

TEST(TimeSampling, StoredSamplingsAreReadWholeOrRefused) {
    using test::bytes;
    bytes stored = test::bytes_of_sampling({}, 1);
    test::append_bytes(stored, test::bytes_of_sampling({0.5, {1, 2, 3}}, 9));
    test::append_bytes(stored, test::bytes_of_sampling({test::acyclic, {1}}, 9));
    arena memory;
    time_sampling_table table;
    ASSERT_EQ(read_time_samplings(stored.data(), stored.size(), memory, table), QEL_ARCHIVE_OK);
    ASSERT_EQ(table.count, 3u);
    EXPECT_TRUE(table.samplings[0].is_uniform());
    EXPECT_EQ(table.samplings[1].count, 3u);
    EXPECT_EQ(table.samplings[1].times[2], 3.0);
    EXPECT_TRUE(table.samplings[2].acyclic);
    EXPECT_FALSE(table.samplings[2].is_uniform());
    const std::size_t ends[] = {24, 24 + 40, stored.size()};
    for (std::size_t size = 1; size < stored.size(); ++size) {
        const bool whole = size == ends[0] || size == ends[1];
        EXPECT_EQ(read_time_samplings(stored.data(), size, memory, table), whole ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED)
            << size;
    }
    const bytes without_times = test::bytes_of_sampling({1, {}}, 1);
    EXPECT_EQ(read_time_samplings(without_times.data(), without_times.size(), memory, table), QEL_ARCHIVE_DAMAGED);
}

} // namespace
} // namespace qel::archives
