// SPDX-License-Identifier: MIT
// Whether objects are shown.
#include "qel_archive/opened_archive.h"

namespace qel {
namespace {

using namespace test;

TEST(ArchiveVisibility, IsInheritedFromTheNearestAncestorWithAValue) {
    constexpr int unset = 9;
    for (const int top : {unset, -1, 0, 1})
        for (const int middle : {unset, -1, 0, 1})
            for (const int leaf : {unset, -1, 0, 1}) {
                archive_builder builder;
                object_node &parent = builder.top.add("a");
                object_node &below = parent.add("b");
                if (top != unset) set_visible(builder.top, {top});
                if (middle != unset) set_visible(parent, {middle});
                if (leaf != unset) set_visible(below, {leaf});
                const opened_archive opened(builder);
                int expected = 1; // at the top
                for (const auto &[path, says] : {std::pair{"/", top}, {"/a", middle}, {"/a/b", leaf}}) {
                    if (says == 0 || says == 1) expected = says;
                    EXPECT_EQ(opened.visible(path), expected) << path << top << middle << leaf;
                }
            }
}

TEST(ArchiveVisibility, ChangesWithTime) {
    archive_builder builder;
    const std::uint32_t film = builder.add_sampling({1, {0}});
    set_visible(builder.top.add("a"), {1, 0, -1, 0}, film);
    set_visible(builder.top, {0});
    const opened_archive opened(builder);
    for (const auto &[seconds, shown] :
         {std::pair{-5.0, 1}, {0.5, 1}, {1.0, 0}, {2.0, 0}, {3.5, 0}, {1 - 0.5e-6, 0}, {1 - 2e-6, 1}})
        EXPECT_EQ(opened.visible("/a", seconds), shown) << seconds;
}

TEST(ArchiveVisibility, IsInheritedWithoutAValidValue) {
    archive_builder builder;
    set_visible(builder.top, {0});
    set_visible(builder.top.add("other number"), {2});
    set_visible(builder.top.add("negative"), {-2});
    builder.top.add("no samples").properties.scalar<std::int8_t>("visible", 1, {});
    builder.top.add("a compound").properties.compound("visible");
    builder.top.add("another kind").properties.scalar<std::uint8_t>("visible", 1, {{1}});
    builder.top.add("an array").properties.array<std::int8_t>("visible", 1, {{1}});
    builder.top.add("elsewhere").properties.compound("c").scalar<std::int8_t>("visible", 1, {{1}});
    const opened_archive opened(builder);
    for (std::uint32_t i = 1; i < opened.info().object_count; ++i)
        EXPECT_EQ(opened.visible(opened.object(i).path), 0) << opened.object(i).path;
}

TEST(ArchiveVisibility, IsDamagedIfItsSampleIsDamaged) {
    archive_builder builder;
    object_node &a = builder.top.add("a");
    set_visible(a, {1}).instead = 0;
    set_visible(a.add("b"), {-1});
    set_visible(a.add("c"), {1});
    const opened_archive opened(builder);
    std::int32_t visible = 77;
    EXPECT_EQ(qel_archive_is_visible(opened.get(), opened.find("/a"), 0, &visible), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(qel_archive_is_visible(opened.get(), opened.find("/a/b"), 0, &visible), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(visible, 77);
    EXPECT_EQ(opened.visible("/a/c"), 1) << "it says so itself";
}

} // namespace
} // namespace qel
