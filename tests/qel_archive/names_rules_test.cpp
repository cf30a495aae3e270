// SPDX-License-Identifier: MIT
// Names of objects and properties: which are refused, and how they are found among many.
#include "qel_archive/names.h"

#include "qel_archive/opened_archive.h"

#include <random>

namespace qel {
namespace {

using namespace test;

std::int32_t status_of_object_named(const std::string &name) {
    archive_builder builder;
    builder.top.add(name);
    return status_of(builder);
}

std::int32_t status_of_property_named(const std::string &name) {
    archive_builder builder;
    builder.top.properties.compound(name);
    return status_of(builder);
}

TEST(ArchiveNames, AreNotEmptyAndHoldNeitherSlashNorZero) {
    for (const std::string &name :
         {std::string(), std::string("/"), std::string("a/b"), std::string("a/"), std::string("/a"),
          std::string("a\0b", 3), std::string("\0", 1), std::string("a\0", 2)}) {
        EXPECT_EQ(status_of_object_named(name), QEL_ARCHIVE_DAMAGED) << name;
        EXPECT_EQ(status_of_property_named(name), QEL_ARCHIVE_DAMAGED) << name;
    }
    for (const std::string &name : {std::string("a"), std::string("."), std::string(".."), std::string(" "),
                                    std::string("a:b;c=d"), std::string("\xC3\xA9\xFF"), std::string(70'000, 'n')}) {
        EXPECT_EQ(status_of_object_named(name), QEL_ARCHIVE_OK) << name.substr(0, 10);
        EXPECT_EQ(status_of_property_named(name), QEL_ARCHIVE_OK) << name.substr(0, 10);
    }
}

TEST(ArchiveNames, AreUniqueAmongSiblings) {
    for (const std::size_t count : {2u, 8u, 9u, 10u, 100u}) { // few are compared one by one, many are sorted
        for (const std::size_t twice : {std::size_t{1}, count / 2, count - 1}) {
            archive_builder objects, properties;
            for (std::size_t i = 0; i < count; ++i) {
                const std::string name = "n" + std::to_string(i == twice ? 0 : i);
                objects.top.add(name);
                properties.top.properties.compound(name);
            }
            EXPECT_EQ(status_of(objects), QEL_ARCHIVE_DAMAGED) << count << " " << twice;
            EXPECT_EQ(status_of(properties), QEL_ARCHIVE_DAMAGED) << count << " " << twice;
        }
    }
}

TEST(ArchiveNames, MayRepeatUnderAnotherParentOrAsAPropertyName) {
    archive_builder builder;
    builder.top.add("a").add("a");
    builder.top.properties.compound("a").compound("a");
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_OK);
}

TEST(ArchiveNames, AreComparedByEveryByte) {
    archive_builder builder;
    const std::vector<std::string> names = {"name",           "Name",      "nam",       "name ",
                                            "name0",          "name00000", "name00001", "name0000000001",
                                            "name0000000000", "\xFFname",  "n",         "nbme"};
    for (const std::string &name : names)
        builder.top.add(name);
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    for (std::uint32_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(opened.find(("/" + names[i]).c_str()), i + 1) << names[i];
    for (const char *absent : {"/na", "/name000", "/name00002", "/\xFF", "/o", "/Nam"})
        EXPECT_EQ(opened.find(absent), QEL_NOT_FOUND) << absent;
}

TEST(ArchiveNames, AreFoundAmongManyInAnyOrder) {
    for (const bool ascending : {true, false}) {
        std::vector<std::string> names;
        for (int i = 1000; i < 3000; ++i)
            names.push_back("part" + std::to_string(i));
        std::mt19937 random(3);
        if (!ascending) std::shuffle(names.begin(), names.end(), random);
        archive_builder builder;
        for (const std::string &name : names)
            builder.top.properties.compound(name);
        const opened_archive opened(builder);
        ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
        for (std::uint32_t i = 0; i < names.size(); ++i) {
            ASSERT_EQ(opened.find("/", names[i].c_str()), i);
            ASSERT_STREQ(opened.property("/", i).name, names[i].c_str());
        }
        EXPECT_EQ(opened.find("/", "part999"), 0xFFFFFFFFu);
        EXPECT_EQ(opened.find("/", "part3000"), 0xFFFFFFFFu);
    }
}

} // namespace
} // namespace qel
