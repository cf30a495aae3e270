// SPDX-License-Identifier: MIT
// Transforms: every operation, their order, times, inheritance, damage.
#include "qel_archive/opened_archive.h"

#include <cmath>

namespace qel {
namespace {

using namespace test;

const double half = std::sqrt(0.5);

/// The own transform of an object with these operations.
matrix_values local_of(const std::vector<xform_operation> &operations) {
    archive_builder builder;
    add_xform(builder.top, "x", operations);
    return opened_archive(builder).local("/x");
}

void expect_near(const matrix_values &found, const matrix_values &expected) {
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_NEAR(found[i], expected[i], 1e-15) << i;
}

TEST(ArchiveTransforms, AreTheIdentityWithoutOperations) {
    EXPECT_EQ(local_of({}), identity_matrix);
    archive_builder builder;
    object_node &no_samples = add_xform(builder.top, "x", {translate(1, 2, 3)});
    child(schema_compound(no_samples), ".ops").samples.clear();
    schema_compound(add_xform(builder.top, "y")).array<std::uint8_t>(".ops", 1, {{}}); // an empty array
    add_schema_object(builder.top, "z", "AbcGeom_Xform_v3", ".other");
    const opened_archive opened(builder);
    for (const char *path : {"/x", "/y", "/z"})
        EXPECT_EQ(opened.local(path), identity_matrix) << path;
}

TEST(ArchiveTransforms, ScaleAndTranslateExactly) {
    EXPECT_EQ(local_of({scale(2, 3, 4)}), (matrix_values{2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}));
    EXPECT_EQ(local_of({translate(2, 3, 4)}), (matrix_values{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 2, 3, 4, 1}));
}

TEST(ArchiveTransforms, TakeAMatrixRowByRow) {
    const std::vector<double> given = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const matrix_values found = local_of({matrix(given)});
    EXPECT_EQ(std::memcmp(found.data(), given.data(), sizeof found), 0);
}

TEST(ArchiveTransforms, StartFromTheIdentitySoThatNegativeZerosBecomePositive) {
    const matrix_values found = local_of({translate(1, -0.0, 2)});
    EXPECT_EQ(found[13], 0.0);
    EXPECT_FALSE(std::signbit(found[13]));
}

TEST(ArchiveTransforms, RotateRowVectors) {
    // A quarter turn about z takes (1, 0, 0) to (0, 1, 0): row 0 is (0, 1, 0).
    expect_near(local_of({rotate_z(90)}), {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    expect_near(local_of({rotate_x(90)}), {1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1});
    expect_near(local_of({rotate_y(90)}), {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1});
    expect_near(local_of({rotate_z(45)}), {half, half, 0, 0, -half, half, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    expect_near(local_of({rotate(1, 1, 1, 120)}), {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1});
}

TEST(ArchiveTransforms, RotateAboutTheNormalizedAxis) {
    EXPECT_EQ(local_of({rotate(0, 0, 7, 30)}), local_of({rotate_z(30)}));
    EXPECT_EQ(local_of({rotate(0, 0.25, 0, 30)}), local_of({rotate_y(30)}));
    expect_near(local_of({rotate(-3, 0, 0, 30)}), local_of({rotate_x(-30)}));
    EXPECT_EQ(local_of({rotate(0, 0, 0, 30)}), identity_matrix) << "a zero axis turns nothing";
}

TEST(ArchiveTransforms, RotateAboutAxesOfAnyLength) {
    for (const double length : {1e-300, 1e-200, 1e200, 1e300}) {
        expect_near(local_of({rotate(0, 0, length, 30)}), local_of({rotate_z(30)}));
        expect_near(local_of({rotate(length, length, length, 120)}), local_of({rotate(1, 1, 1, 120)}));
    }
}

TEST(ArchiveTransforms, RotateAboutLongAxesOfUnequalComponents) {
    for (const double shorter : {1.0, -1.0, 1e100}) {
        expect_near(local_of({rotate(1e200, shorter, shorter, 30)}), local_of({rotate_x(30)}));
        expect_near(local_of({rotate(shorter, 1e200, shorter, 30)}), local_of({rotate_y(30)}));
        expect_near(local_of({rotate(shorter, shorter, 1e200, 30)}), local_of({rotate_z(30)}));
    }
}

TEST(ArchiveTransforms, GiveNansForInfiniteOrNanAxes) {
    for (const double odd : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        for (const xform_operation &turn : {rotate(odd, 0, 0, 30), rotate(0, odd, 0, 30), rotate(1, 1, odd, 30)})
            EXPECT_TRUE(std::isnan(local_of({turn})[0])) << odd;
}

TEST(ArchiveTransforms, ApplyTheLastOperationFirst) {
    // (1, 0, 0) is scaled to (2, 0, 0), then moved to (12, 0, 0).
    EXPECT_EQ(local_of({translate(10, 0, 0), scale(2, 2, 2)}),
              (matrix_values{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 10, 0, 0, 1}));
    EXPECT_EQ(local_of({scale(2, 2, 2), translate(10, 0, 0)}),
              (matrix_values{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 20, 0, 0, 1}));
    EXPECT_EQ(local_of({translate(1, 0, 0), scale(2, 2, 2), translate(10, 0, 0)})[12], 21.0);
}

TEST(ArchiveTransforms, IgnoreHintsInTheLowBits) {
    for (std::uint8_t hint = 0; hint < 16; ++hint)
        EXPECT_EQ(local_of({{static_cast<std::uint8_t>(0x10 | hint), {1, 2, 3}}}), local_of({translate(1, 2, 3)}));
}

TEST(ArchiveTransforms, MayHaveMoreValuesThanAScalarHolds) {
    const std::vector<xform_operation> many(100, translate(1, 0, 2)); // 300 values: an array
    EXPECT_EQ(local_of(many)[12], 100.0);
    const std::vector<xform_operation> more(400, translate(1, 0, 2)); // the operations as well
    EXPECT_EQ(local_of(more)[14], 800.0);
}

std::int32_t status_of_operations(const std::vector<xform_operation> &operations) {
    archive_builder builder;
    add_xform(builder.top, "x", operations);
    const opened_archive opened(builder);
    EXPECT_EQ(opened.local_status("/x"), opened.world_status("/x"));
    return opened.local_status("/x");
}

TEST(ArchiveTransforms, AreDamagedByAnOperationAboveSix) {
    for (int code = 0; code < 16; ++code) {
        const xform_operation operation = {static_cast<std::uint8_t>(code << 4), std::vector<double>(16, 1)};
        EXPECT_EQ(status_of_operations({operation}), code <= 6 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << code;
    }
}

TEST(ArchiveTransforms, AreDamagedByTooFewValues) {
    const std::pair<std::uint8_t, std::size_t> needed[] = {{0x00, 3}, {0x10, 3}, {0x20, 4}, {0x30, 16},
                                                           {0x40, 1}, {0x50, 1}, {0x60, 1}};
    for (const auto &[code, count] : needed)
        for (const std::size_t more : {0u, 1u}) { // after another operation
            std::vector<xform_operation> operations(more, scale(1, 1, 1));
            operations.push_back({code, std::vector<double>(count, 1)});
            EXPECT_EQ(status_of_operations(operations), QEL_ARCHIVE_OK) << int{code};
            operations.back().values.push_back(1);
            EXPECT_EQ(status_of_operations(operations), QEL_ARCHIVE_OK) << "surplus values are ignored";
            operations.back().values.resize(count - 1);
            if (more == 0 && count == 1) continue; // a scalar of no values cannot be
            EXPECT_EQ(status_of_operations(operations), QEL_ARCHIVE_DAMAGED) << int{code};
        }
    archive_builder builder;
    object_node &object = add_xform(builder.top, "x", {translate(1, 2, 3)});
    schema_compound(object).children.remove_if([](const property_node &each) { return each.name == ".vals"; });
    EXPECT_EQ(opened_archive(builder).local_status("/x"), QEL_ARCHIVE_DAMAGED) << "no values at all";
}

TEST(ArchiveTransforms, AreDamagedByPropertiesOfAnotherKindOrSize) {
    for (const char *name : {".ops", ".vals"})
        for (const int change : {0, 1, 2, 3}) {
            archive_builder builder;
            object_node &object = add_xform(builder.top, "x", {rotate_x(1)});
            property_node &node = child(schema_compound(object), name);
            if (change == 0) node.value = node.value == value_kind::u8 ? value_kind::i8 : value_kind::u64;
            if (change == 1) node = property_node(), node.name = name; // a compound
            if (change == 2) node.instead = 0;                         // not stored
            if (change == 3) node.extent += 1;                         // one value too few
            const opened_archive opened(builder);
            ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
            matrix_values values;
            values.fill(77);
            EXPECT_EQ(qel_archive_local_transform(opened.get(), 1, 0, values.data()), QEL_ARCHIVE_DAMAGED)
                << name << change;
            EXPECT_EQ(qel_archive_world_transform(opened.get(), 1, 0, values.data()), QEL_ARCHIVE_DAMAGED);
            EXPECT_EQ(values[0], 77.0) << "nothing is written";
        }
}

TEST(ArchiveTransforms, OfOtherSchemasAreTheIdentity) {
    archive_builder builder;
    object_node &object = add_xform(builder.top, "x", {translate(1, 2, 3)});
    object.metadata = "schema=AbcGeom_Camera_v1";
    set_inherits(object, false);
    object.add("below");
    object_node &parent = add_xform(builder.top, "parent", {translate(5, 0, 0)});
    parent.children.push_back(object);
    const opened_archive opened(builder);
    EXPECT_EQ(opened.local("/"), identity_matrix);
    EXPECT_EQ(opened.local("/x"), identity_matrix);
    EXPECT_EQ(opened.world("/parent/x/below")[12], 5.0) << "its .inherits is ignored";
}

TEST(ArchiveTransforms, MultiplyUpToTheWorld) {
    archive_builder builder;
    object_node &arm = add_xform(builder.top, "arm", {translate(10, 0, 0)});
    object_node &hand = add_xform(arm.add("between"), "hand", {scale(2, 2, 2), translate(1, 0, 0)});
    add_polymesh(hand, "mesh", triangle());
    const opened_archive opened(builder);
    const matrix_values world = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 12, 0, 0, 1};
    EXPECT_EQ(opened.world("/arm/between/hand"), world);
    EXPECT_EQ(opened.world("/arm/between/hand/mesh"), world);
    EXPECT_EQ(opened.world("/arm/between")[12], 10.0);
    EXPECT_EQ(opened.world("/"), identity_matrix);
    EXPECT_EQ(opened.local("/arm/between/hand")[12], 2.0);
}

TEST(ArchiveTransforms, StopAtAnObjectThatDoesNotInherit) {
    archive_builder builder;
    object_node &a = add_xform(builder.top, "a", {translate(1, 0, 0)});
    object_node &b = add_xform(a, "b", {translate(10, 0, 0)});
    object_node &c = add_xform(b, "c", {translate(100, 0, 0)});
    set_inherits(b, false);
    schema_compound(c).children.remove_if([](const property_node &each) { return each.name == ".inherits"; });
    const opened_archive opened(builder);
    EXPECT_EQ(opened.world("/a/b")[12], 10.0);
    EXPECT_EQ(opened.world("/a/b/c")[12], 110.0) << "absent means true";
    EXPECT_EQ(opened.local("/a/b")[12], 10.0);
}

TEST(ArchiveTransforms, IgnoreDamageInUnrelatedObjects) {
    archive_builder builder;
    object_node &a = add_xform(builder.top, "a", {{0x70, {1}}});
    object_node &b = add_xform(a, "b", {translate(10, 0, 0)});
    add_xform(b, "c", {translate(100, 0, 0)});
    const opened_archive inherited(builder);
    EXPECT_EQ(inherited.world_status("/a/b/c"), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(inherited.local_status("/a/b/c"), QEL_ARCHIVE_OK);
    set_inherits(b, false);
    EXPECT_EQ(opened_archive(builder).world("/a/b/c")[12], 110.0);
    child(schema_compound(b), ".inherits").value = value_kind::u8;
    EXPECT_EQ(opened_archive(builder).world_status("/a/b/c"), QEL_ARCHIVE_DAMAGED);
    child(schema_compound(b), ".inherits").value = value_kind::boolean;
    child(schema_compound(b), ".inherits").extent = 2;
    EXPECT_EQ(opened_archive(builder).world_status("/a/b/c"), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveTransforms, AreThoseOfTheLastSampleAtOrBefore) {
    archive_builder builder;
    const std::uint32_t film = builder.add_sampling({0.5, {1}}), listed = builder.add_sampling({acyclic, {0, 3}});
    object_node &arm =
        add_moving_xform(builder.top, "arm", {{translate(1, 0, 0)}, {translate(2, 0, 0)}, {translate(3, 0, 0)}}, film);
    object_node &hand = add_moving_xform(arm, "hand", {{translate(10, 0, 0)}, {translate(20, 0, 0)}}, listed);
    property_node &inherits = child(schema_compound(hand), ".inherits");
    inherits.samples = {inherits.samples[0], inherits.samples[0]};
    inherits.samples[1].values = {0};
    inherits.time_sampling = builder.add_sampling({1, {5}}); // 5: inherits, 6: no longer
    const opened_archive opened(builder);
    const std::pair<double, double> arms[] = {{0, 1},   {1, 1}, {1.49, 1}, {1.5 - 0.4e-6, 2}, {1.5 - 0.6e-6, 1},
                                              {1.5, 2}, {2, 3}, {99, 3}};
    for (const auto &[seconds, x] : arms)
        EXPECT_EQ(opened.local("/arm", seconds)[12], x) << seconds;
    EXPECT_EQ(opened.world("/arm/hand", 0)[12], 11.0);
    EXPECT_EQ(opened.world("/arm/hand", 2)[12], 13.0);
    EXPECT_EQ(opened.world("/arm/hand", 3)[12], 23.0);
    EXPECT_EQ(opened.world("/arm/hand", 5.9)[12], 23.0);
    EXPECT_EQ(opened.world("/arm/hand", 6)[12], 20.0);
}

} // namespace
} // namespace qel
