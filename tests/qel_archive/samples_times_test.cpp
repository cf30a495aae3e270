// SPDX-License-Identifier: MIT
// When samples are: uniform, cyclic and acyclic times, and the sample of a time.
#include "qel_archive/opened_archive.h"

#include <cmath>
#include <limits>

namespace qel {
namespace {

using namespace test;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Points of `count` samples that all differ, at the times of a sampling.
archive_builder moving_points(const time_sampling &sampling, std::size_t count) {
    archive_builder builder;
    const std::uint32_t number = builder.add_sampling(sampling);
    std::vector<std::vector<float>> points;
    for (std::size_t i = 0; i < count; ++i)
        points.push_back({static_cast<float>(i), 0, 0});
    add_points(builder.top, "p", points, {}, number);
    return builder;
}

TEST(ArchiveTimes, OfUniformSamplesAreTheFirstAndThenOneACycle) {
    const opened_archive opened(moving_points({0.25, {1.5}}, 4));
    for (const auto &[sample, seconds] : {std::pair{0u, 1.5}, {1u, 1.75}, {2u, 2.0}, {3u, 2.25}})
        EXPECT_EQ(opened.time("/p", ".geom/P", sample), seconds);
}

TEST(ArchiveTimes, OfCyclicSamplesRepeatEveryCycle) {
    const opened_archive opened(moving_points({1, {0, 0.25, 0.5}}, 8));
    const double expected[] = {0, 0.25, 0.5, 1, 1.25, 1.5, 2, 2.25};
    for (std::uint64_t i = 0; i < 8; ++i)
        EXPECT_EQ(opened.time("/p", ".geom/P", i), expected[i]) << i;
}

TEST(ArchiveTimes, OfAcyclicSamplesAreListedAndTheLastStays) {
    const opened_archive opened(moving_points({acyclic, {0, 0.5, 3}}, 5));
    const double expected[] = {0, 0.5, 3, 3, 3};
    for (std::uint64_t i = 0; i < 5; ++i)
        EXPECT_EQ(opened.time("/p", ".geom/P", i), expected[i]) << i;
}

TEST(ArchiveTimes, OfTheStaticSamplingAreOneASecond) {
    archive_builder builder;
    builder.top.properties.scalar<std::uint8_t>("x", 1, {{1}, {2}, {3}});
    EXPECT_EQ(opened_archive(builder).time("/", "x", 2), 2.0);
}

TEST(ArchiveTimes, AreRefusedForMissingSamples) {
    archive_builder builder = moving_points({1, {0}}, 2);
    const opened_archive opened(builder);
    const std::uint32_t p = opened.find("/p"), positions = opened.find("/p", ".geom/P");
    double seconds = 77;
    EXPECT_EQ(qel_archive_property_time(opened.get(), p, positions, 2, &seconds), QEL_ARCHIVE_NOT_FOUND);
    EXPECT_EQ(qel_archive_property_time(opened.get(), p, 0, 0, &seconds), QEL_ARCHIVE_WRONG_KIND) << "a compound";
    EXPECT_EQ(qel_archive_property_time(opened.get(), p, 99, 0, &seconds), QEL_ARCHIVE_NOT_FOUND);
    EXPECT_EQ(qel_archive_property_time(opened.get(), 99, 0, 0, &seconds), QEL_ARCHIVE_NOT_FOUND);
    EXPECT_EQ(seconds, 77);
}

TEST(ArchiveTimes, FindTheLastSampleAtOrBefore) {
    const opened_archive opened(moving_points({0.5, {1}}, 4)); // 1, 1.5, 2, 2.5
    const std::pair<double, std::uint64_t> expected[] = {{-infinity, 0}, {0, 0},        {1, 0},  {1.4, 0},
                                                         {1.5, 1},       {1.9, 1},      {2, 2},  {2.5, 3},
                                                         {9, 3},         {infinity, 3}, {nan, 0}};
    for (const auto &[seconds, sample] : expected)
        EXPECT_EQ(opened.sample_at("/p", seconds), sample) << seconds;
}

TEST(ArchiveTimes, MayDifferByAMillionthOfACycle) {
    const opened_archive opened(moving_points({0.5, {1}}, 4));
    EXPECT_EQ(opened.sample_at("/p", 1.5 - 0.4e-6), 1u);
    EXPECT_EQ(opened.sample_at("/p", 1.5 - 0.6e-6), 0u);
    const opened_archive cyclic(moving_points({1, {0, 0.5}}, 4)); // 0, 0.5, 1, 1.5
    EXPECT_EQ(cyclic.sample_at("/p", 0.5 - 0.9e-6), 1u);
    EXPECT_EQ(cyclic.sample_at("/p", 0.5 - 1.1e-6), 0u);
    EXPECT_EQ(cyclic.sample_at("/p", 1.5 - 0.9e-6), 3u);
}

TEST(ArchiveTimes, AreComparedExactlyIfTheyAreListed) {
    const opened_archive opened(moving_points({acyclic, {0, 1, 2}}, 4));
    EXPECT_EQ(opened.sample_at("/p", 1), 1u);
    EXPECT_EQ(opened.sample_at("/p", std::nextafter(1.0, 0.0)), 0u);
    EXPECT_EQ(opened.sample_at("/p", -1), 0u);
    EXPECT_EQ(opened.sample_at("/p", 1.9), 1u);
    EXPECT_EQ(opened.sample_at("/p", 2), 3u) << "all later samples have the last time";
    EXPECT_EQ(opened.sample_at("/p", infinity), 3u);
}

TEST(ArchiveTimes, FindTheLastSampleOfACycle) {
    const opened_archive opened(moving_points({1, {0, 0.25, 0.5}}, 8));
    const std::pair<double, std::uint64_t> expected[] = {{-1, 0},  {0.2, 0}, {0.3, 1},  {0.6, 2}, {1.1, 3}, {1.3, 4},
                                                         {1.9, 5}, {2, 6},   {2.24, 6}, {2.3, 7}, {100, 7}};
    for (const auto &[seconds, sample] : expected)
        EXPECT_EQ(opened.sample_at("/p", seconds), sample) << seconds;
}

TEST(ArchiveTimes, OutOfOrderFindTheLastSampleAtOrBefore) {
    const opened_archive falling(moving_points({acyclic, {2, 0, 1}}, 3));
    EXPECT_EQ(falling.sample_at("/p", 0.5), 1u);
    EXPECT_EQ(falling.sample_at("/p", 1), 2u);
    EXPECT_EQ(falling.sample_at("/p", -1), 0u);
    const opened_archive swapped(moving_points({10, {5, 0}}, 4)); // 5, 0, 15, 10
    EXPECT_EQ(swapped.sample_at("/p", 0), 1u);
    EXPECT_EQ(swapped.sample_at("/p", 12), 3u);
    EXPECT_EQ(swapped.sample_at("/p", 15), 3u);
    const opened_archive backwards(moving_points({-1, {0}}, 3)); // 0, -1, -2
    EXPECT_EQ(backwards.sample_at("/p", 0), 2u);
    EXPECT_EQ(backwards.sample_at("/p", -1.5), 2u);
    const opened_archive standing(moving_points({0, {3}}, 3));
    EXPECT_EQ(standing.sample_at("/p", 2), 0u);
    EXPECT_EQ(standing.sample_at("/p", 3), 2u);
}

TEST(ArchiveTimes, OfFourBillionSamplesAreFound) {
    archive_builder builder = moving_points({1, {0}}, 1);
    child(schema_compound(builder.top.children.front()), "P").edit_header = [](property_header &header) {
        header.set(info_width, static_cast<std::uint32_t>(number_width::u32));
        header.set(info_all_equal, 1);
        header.samples = 0xFFFFFFFF;
    };
    const opened_archive opened(builder);
    EXPECT_EQ(opened.sample_at("/p", 1e9), 1'000'000'000u);
    EXPECT_EQ(opened.sample_at("/p", 1e30), 0xFFFFFFFEu);
    EXPECT_EQ(opened.mesh_info("/p").sample_count, 0xFFFFFFFFu);
    EXPECT_EQ(opened.mesh_info("/p").end, 4294967294.0);
    EXPECT_EQ(opened.mesh("/p", 0xFFFFFFFEu).positions(), (std::vector<float>{0, 0, 0}));
    EXPECT_EQ(opened.mesh("/p", 0xFFFFFFFFu).status, QEL_ARCHIVE_NOT_FOUND);
}

TEST(ArchiveTimes, SpanAllPropertiesWithMoreThanOneSample) {
    archive_builder builder;
    const std::uint32_t early = builder.add_sampling({1, {-3}}), late = builder.add_sampling({2, {4}});
    builder.add_sampling({1, {1000}});
    property_node &top = builder.top.add("a").properties;
    top.scalar<std::uint8_t>("early", 1, {{1}, {2}}, early); // -3, -2
    top.compound("c").array<std::uint8_t>("late", 1, {{1}, {1}, {1}},
                                          late); // 4, 6, 8: equal, and samples all the same
    top.scalar<std::uint8_t>("one", 1, {{1}}, 3);
    const qel_archive_info info = opened_archive(builder).info();
    EXPECT_EQ(info.start, -3.0);
    EXPECT_EQ(info.end, 8.0);
    EXPECT_EQ(info.time_sampling_count, 4u);
}

TEST(ArchiveTimes, SpanWithTheSignOfTheFirstZero) {
    for (const double zero : {0.0, -0.0}) {
        const auto span = [](const std::vector<double> &first, const std::vector<double> &second) {
            archive_builder builder;
            for (const std::vector<double> &times : {first, second})
                builder.top.properties.scalar<std::uint8_t>("p" + std::to_string(builder.samplings.size()), 1,
                                                            {{1}, {2}}, builder.add_sampling({acyclic, times}));
            return opened_archive(builder).info();
        };
        EXPECT_EQ(std::signbit(span({zero, 1}, {-zero, 1}).start), std::signbit(zero));
        EXPECT_EQ(std::signbit(span({-1, zero}, {-1, -zero}).end), std::signbit(zero));
    }
}

TEST(ArchiveTimes, SpanTheStaticSamplingToo) {
    archive_builder builder;
    const std::uint32_t film = builder.add_sampling({0.5, {1}});
    builder.top.properties.scalar<std::uint8_t>("x", 1, {{1}, {2}}, film); // 1, 1.5
    EXPECT_EQ(opened_archive(builder).info().start, 1.0);
    builder.top.properties.scalar<std::uint8_t>("y", 1, {{1}, {2}, {3}}); // 0, 1, 2
    const qel_archive_info info = opened_archive(builder).info();
    EXPECT_EQ(info.start, 0.0);
    EXPECT_EQ(info.end, 2.0);
}

TEST(ArchiveTimes, TakeTheFramesFromTheFirstUniformSamplingAfterSampling0) {
    const auto frames = [](const std::vector<time_sampling> &samplings) {
        archive_builder builder;
        for (const time_sampling &each : samplings)
            builder.add_sampling(each);
        return opened_archive(builder).info().frames_per_second;
    };
    EXPECT_EQ(frames({}), 0.0);
    EXPECT_EQ(frames({{1.0 / 24, {0}}}), 24.0);
    EXPECT_EQ(frames({{0.5, {7}}, {1.0 / 24, {0}}}), 2.0);
    EXPECT_EQ(frames({{1, {0, 0.5}}, {acyclic, {0, 1}}, {0.25, {0}}}), 4.0);
    EXPECT_EQ(frames({{1, {0, 0.5}}, {acyclic, {0, 1}}}), 0.0);
    EXPECT_EQ(frames({{acyclic, {0}}}), 0.0) << "one time that does not repeat";
    EXPECT_EQ(frames({{acyclic, {0, 0x1p-1074}}}), 0.0) << "bits as of a uniform one, after the last";
}

TEST(ArchiveTimes, AreRefusedWhereASamplingIsCutShortOrHasNoTimes) {
    for (const std::size_t size : {0u, 1u, 15u, 16u, 23u, 24u, 25u, 39u, 40u, 48u}) { // the static one has 24 bytes
        archive_builder builder;
        builder.add_sampling({1, {0, 1, 2}});
        builder.edit_samplings = [size](bytes &samplings) { samplings.resize(size); };
        const bool whole = size == 0 || size == 24 || size == 48;
        EXPECT_EQ(status_of(builder), size == 48 || !whole ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_OK) << size;
    }
    archive_builder shifted; // a whole one begins one byte late
    shifted.edit_samplings = [](bytes &samplings) { samplings.insert(samplings.begin(), 0); };
    EXPECT_EQ(status_of(shifted), QEL_ARCHIVE_DAMAGED);
    for (const std::uint32_t count : {0u, 1u, 2u, 0xFFFFFFFFu}) {
        archive_builder builder;
        builder.add_sampling({1, {0}, {}, count});
        EXPECT_EQ(status_of(builder), count == 1 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << count;
    }
}

TEST(ArchiveTimes, IgnoreTheStoredHighestSampleCount) {
    archive_builder builder = moving_points({1, {0}}, 3);
    builder.samplings[1].highest_count = 1; // writers store 3
    EXPECT_EQ(opened_archive(builder).time("/p", ".geom/P", 2), 2.0);
}

} // namespace
} // namespace qel
