// SPDX-License-Identifier: MIT
// Transforms by hand: what the operations of a page's worth of arithmetic come to.
#include "qel_archive.h"
#include "support/archive_schemas.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>

namespace qel::test {
namespace {

struct archive_closer {
    void operator()(qel_archive *archive) const { qel_archive_close(archive); }
};
using archive_pointer = std::unique_ptr<qel_archive, archive_closer>;

using matrix_values = std::array<double, 16>;

struct Transforms : testing::Test {
    temp_folder folder;
    archive_builder scene;

    archive_pointer open() {
        const std::string path = folder.file("scene.abc");
        scene.save(path);
        qel_archive *archive = nullptr;
        EXPECT_EQ(qel_archive_open(path.c_str(), &archive), QEL_ARCHIVE_OK);
        return archive_pointer(archive);
    }
    matrix_values local(const archive_pointer &archive, const char *path, double seconds = 0) {
        matrix_values values{};
        EXPECT_EQ(qel_archive_local_transform(archive.get(), qel_archive_find(archive.get(), path), seconds,
                                              values.data()),
                  QEL_ARCHIVE_OK)
            << path;
        return values;
    }
    matrix_values world(const archive_pointer &archive, const char *path, double seconds = 0) {
        matrix_values values{};
        EXPECT_EQ(qel_archive_world_transform(archive.get(), qel_archive_find(archive.get(), path), seconds,
                                              values.data()),
                  QEL_ARCHIVE_OK)
            << path;
        return values;
    }
    std::int32_t local_status(const archive_pointer &archive, const char *path) {
        double values[16];
        return qel_archive_local_transform(archive.get(), qel_archive_find(archive.get(), path), 0, values);
    }
    int visible(const archive_pointer &archive, const char *path, double seconds = 0) {
        std::int32_t answer = -7;
        EXPECT_EQ(
            qel_archive_is_visible(archive.get(), qel_archive_find(archive.get(), path), seconds, &answer),
            QEL_ARCHIVE_OK);
        return answer;
    }
};

constexpr matrix_values unmoved = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

void expect_near(const matrix_values &values, const matrix_values &expected) {
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_NEAR(values[i], expected[i], 1e-15) << i;
}

TEST_F(Transforms, TheLastOperationIsDoneToAPointFirst) {
    // A point (1, 1, 1) becomes (2, 3, 4) by the scale and (12, 23, 34) by the translation after it.
    add_xform(scene.top, "a", {translate(10, 20, 30), scale(2, 3, 4)});
    EXPECT_EQ(local(open(), "/a"), (matrix_values{2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 10, 20, 30, 1}));
}

TEST_F(Transforms, QuarterTurnsTakeEachAxisToTheNext) {
    add_xform(scene.top, "x", {rotate_x(90)});
    add_xform(scene.top, "y", {rotate_y(90)});
    add_xform(scene.top, "z", {rotate_z(90)});
    add_xform(scene.top, "long", {rotate(0, 0, 5, 90)});
    add_xform(scene.top, "diagonal", {rotate(1, 1, 1, 120)});
    const archive_pointer archive = open();
    expect_near(local(archive, "/x"), {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1});
    expect_near(local(archive, "/y"), {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1});
    expect_near(local(archive, "/z"), {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    EXPECT_EQ(local(archive, "/long"), local(archive, "/z"));
    expect_near(local(archive, "/diagonal"), {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1});
}

TEST_F(Transforms, AnAxisOfNoLengthTurnsNothing) {
    add_xform(scene.top, "a", {rotate(0, 0, 0, 90)});
    EXPECT_EQ(local(open(), "/a"), unmoved);
}

TEST_F(Transforms, AMatrixIsTakenRowByRow) {
    const matrix_values given = {1, -2, 3, 0, 5, 6, 7, 0, 9, 10, 11, 0, 13, 14, 15, 2};
    add_xform(scene.top, "a", {matrix({given.begin(), given.end()})});
    const matrix_values read = local(open(), "/a");
    EXPECT_EQ(std::memcmp(read.data(), given.data(), sizeof given), 0);
}

TEST_F(Transforms, TheIdentityIsTheFirstFactorSoThatANegativeZeroBecomesPositive) {
    add_xform(scene.top, "a", {translate(1, -0.0, 2)});
    const matrix_values read = local(open(), "/a");
    EXPECT_EQ(read[13], 0.0);
    EXPECT_FALSE(std::signbit(read[13]));
}

TEST_F(Transforms, TheWorldsIsOwnTimesParentsUnlessItDoesNotInherit) {
    object_node &a = add_xform(scene.top, "a", {translate(1, 2, 3)});
    object_node &group = a.add("group");
    add_xform(group, "b", {scale(2, 2, 2)});
    set_inherits(add_xform(group, "alone", {scale(2, 2, 2)}), false);
    const archive_pointer archive = open();
    EXPECT_EQ(world(archive, "/"), unmoved);
    EXPECT_EQ(local(archive, "/a/group"), unmoved);
    EXPECT_EQ(world(archive, "/a/group"), world(archive, "/a"));
    EXPECT_EQ(world(archive, "/a/group/b"), (matrix_values{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1}));
    EXPECT_EQ(world(archive, "/a/group/alone"),
              (matrix_values{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1}));
}

TEST_F(Transforms, ATimeBetweenSamplesGivesTheEarlierOne) {
    const std::uint32_t film = scene.add_sampling({0.5, {1}});
    add_moving_xform(scene.top, "a", {{translate(1, 0, 0)}, {translate(2, 0, 0)}, {translate(3, 0, 0)}},
                     film);
    const archive_pointer archive = open();
    EXPECT_EQ(local(archive, "/a", -5)[12], 1);
    EXPECT_EQ(local(archive, "/a", 1.49)[12], 1);
    EXPECT_EQ(local(archive, "/a", 1.5 - 4e-7)[12], 2); // within a millionth of a cycle
    EXPECT_EQ(local(archive, "/a", 1.5)[12], 2);
    EXPECT_EQ(local(archive, "/a", 99)[12], 3);
}

TEST_F(Transforms, TooFewValuesAndUnknownOperationsAreDamage) {
    add_xform(scene.top, "unknown", {{0x70, {0, 0, 0}}});
    object_node &few = add_schema_object(scene.top, "few", "AbcGeom_Xform_v3", ".xform");
    schema_compound(few).scalar<std::uint8_t>(".ops", 2, {{0x00, 0x10}});
    schema_compound(few).scalar<double>(".vals", 5, {{1, 2, 3, 4, 5}});
    object_node &many = add_schema_object(scene.top, "many", "AbcGeom_Xform_v3", ".xform");
    schema_compound(many).array<std::uint8_t>(".ops", 1, {{0x10}});
    schema_compound(many).array<double>(".vals", 1, {{1, 2, 3, 4, 5}});
    const archive_pointer archive = open();
    EXPECT_EQ(local_status(archive, "/unknown"), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(local_status(archive, "/few"), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(local(archive, "/many")[14], 3); // surplus values are ignored
}

TEST_F(Transforms, OperationsMayBeMoreThanAnyBuffer) {
    object_node &a = add_schema_object(scene.top, "a", "AbcGeom_Xform_v3", ".xform");
    schema_compound(a).array<std::uint8_t>(".ops", 1, {std::vector<std::uint8_t>(1000, 0x10)});
    schema_compound(a).array<double>(".vals", 1, {std::vector<double>(3000, 1)});
    EXPECT_EQ(local(open(), "/a")[13], 1000);
}

TEST_F(Transforms, TheNearestVisibilityUpwardsDecides) {
    object_node &hidden = scene.top.add("hidden");
    set_visible(hidden, {0});
    set_visible(hidden.add("shown"), {1});
    set_visible(hidden.add("deferred"), {-1});
    hidden.add("silent");
    const std::uint32_t film = scene.add_sampling({1, {0}});
    set_visible(scene.top.add("blinking"), {1, 0, -1}, film);
    const archive_pointer archive = open();
    EXPECT_EQ(visible(archive, "/"), 1);
    EXPECT_EQ(visible(archive, "/hidden"), 0);
    EXPECT_EQ(visible(archive, "/hidden/shown"), 1);
    EXPECT_EQ(visible(archive, "/hidden/deferred"), 0);
    EXPECT_EQ(visible(archive, "/hidden/silent"), 0);
    EXPECT_EQ(visible(archive, "/blinking", 0.5), 1);
    EXPECT_EQ(visible(archive, "/blinking", 1), 0);
    EXPECT_EQ(visible(archive, "/blinking", 2), 1);
}

} // namespace
} // namespace qel::test
