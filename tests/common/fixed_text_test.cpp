// SPDX-License-Identifier: MIT
#include "common/fixed_text.h"

#include "qel_unit.h"
#include "support/locales.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace qel {
namespace {

using limits = std::numeric_limits<double>;

std::string standard(double value, int decimals) {
    char text[400];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

/// Where rounding, length or form is special, and any bits at all.
std::vector<double> numbers() {
    std::vector<double> list = {0.0,   0.5,      0.0005,      0.0015,     0.0025, 1.0,  2.675,
                                0.125, 999.9995, 9.999999999, 123456.789, 1e15,   1e22, 1e23};
    list.insert(list.end(), {limits::max(), limits::min(), limits::denorm_min(), limits::infinity(),
                             limits::quiet_NaN(), static_cast<double>(0.1f), static_cast<double>(3.4028235e38f)});
    std::mt19937_64 random(31);
    for (int i = 0; i < 3000; ++i) {
        const std::uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        list.push_back(value);
        list.push_back(static_cast<double>(static_cast<std::int64_t>(bits) >> 40) / 2000); // ties, or nearly
    }
    const std::size_t count = list.size();
    for (std::size_t i = 0; i < count; ++i)
        list.push_back(-list[i]);
    return list;
}

TEST(FixedText, EqualsTheStandardFormatter) {
    for (const double value : numbers())
        for (const int decimals : {0, 2, 3, fixed_text::max_decimals})
            ASSERT_EQ(fixed(value, decimals).text, standard(value, decimals));
}

TEST(FixedText, RoundsHalfwayValuesToEven) {
    EXPECT_STREQ(fixed(0.125, 2).text, "0.12");
    EXPECT_STREQ(fixed(0.375, 2).text, "0.38");
    EXPECT_STREQ(fixed(-0.0001, 3).text, "-0.000");
    EXPECT_STREQ(fixed(2.5, 0).text, "2");
}

// Under other locales. The expected texts are made before they are set.

class Locales : public testing::TestWithParam<std::string> {};

TEST_P(Locales, MakeNoDifferenceToANumbersText) {
    const std::vector<double> values = numbers();
    std::vector<std::string> expected;
    for (const double value : values)
        for (const int decimals : {0, 2, 3, fixed_text::max_decimals})
            expected.push_back(standard(value, decimals));
    const test::set_locale locale(GetParam());
    if (!locale) GTEST_SKIP() << "there is no locale " << GetParam() << " here";
    EXPECT_NE(standard(0.5, 1), "0.5") << "the locale is in force";
    std::size_t next = 0;
    for (const double value : values)
        for (const int decimals : {0, 2, 3, fixed_text::max_decimals})
            ASSERT_EQ(fixed(value, decimals).text, expected[next++]);
}

TEST_P(Locales, MakeNoDifferenceToTheTextOfAnArchive) {
    ogawa_archive archive = {};
    std::strcpy(archive.path, "a,b.abc");
    archive.version[0] = 1;
    archive.time_start = -0.25;
    archive.time_end = 1234567.0006;
    archive.fps = 23.976;
    const test::set_locale locale(GetParam());
    if (!locale) GTEST_SKIP() << "there is no locale " << GetParam() << " here";
    char text[1200];
    ogawa_get_info(&archive, text, sizeof text);
    EXPECT_STREQ(text, "Ogawa Archive\n=============\nPath: a,b.abc\nVersion: 1.0\nObjects: 0\nPolyMeshes: 0\n"
                       "Time Range: -0.250 - 1234567.001 sec\nFPS: 23.98");
}

TEST_P(Locales, MakeNoDifferenceToTheTextOfAScene) {
    qel_alembic_file scene = {};
    scene.mesh_count = 12345;
    scene.total_vertices = 1234567;
    scene.fps = 29.97f;
    scene.time_start = 0.5f;
    scene.time_end = std::numeric_limits<float>::infinity();
    const test::set_locale locale(GetParam());
    if (!locale) GTEST_SKIP() << "there is no locale " << GetParam() << " here";
    char text[600];
    qel_alembic_file_info(&scene, text, sizeof text);
    EXPECT_STREQ(text, "QEL Alembic File\n================\nVersion: 0\nMeshes: 12345\nTotal Vertices: 1234567\n"
                       "Total Faces: 0\nTotal Tokens: 0\nFrames: 0\nFPS: 29.97\n"
                       "Time Range: 0.500 - inf sec\nSource: ");
}

TEST_P(Locales, MakeNoDifferenceToTheTextOfAMesh) {
    qel_alembic_mesh mesh = {};
    std::strcpy(mesh.name, "m");
    const float bounds[6] = {-1.5f, 0.0f, 2.0f / 3, 1e10f, 0.0005f, 7.0f};
    std::copy_n(bounds, 6, mesh.bounds);
    const test::set_locale locale(GetParam());
    if (!locale) GTEST_SKIP() << "there is no locale " << GetParam() << " here";
    char text[300];
    qel_alembic_mesh_info(&mesh, text, sizeof text);
    EXPECT_STREQ(text, "Mesh: m\nVertices: 0\nFaces: 0\n"
                       "Bounds: [-1.500,0.000,0.667] - [10000000000.000,0.001,7.000]\nLayer: L0\n"
                       "QEL Processed: no\nTokens Generated: no");
}

std::string short_name(const testing::TestParamInfo<std::string> &locale) {
    return locale.param.substr(0, 5);
}

INSTANTIATE_TEST_SUITE_P(, Locales, testing::ValuesIn(test::foreign_locales), short_name);

} // namespace
} // namespace qel
