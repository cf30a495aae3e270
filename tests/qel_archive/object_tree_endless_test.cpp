// SPDX-License-Identifier: MIT
// Trees that hold themselves, or share groups more often than any file could repeat them, are refused at once.
#include "qel_archive/opened_archive.h"

namespace qel {
namespace {

using namespace test;

/// Objects of which each shows the one before twice.
archive_builder doubling_instances(int levels) {
    archive_builder scene;
    scene.top.add("o0");
    for (int i = 1; i < levels; ++i) {
        object_node &next = scene.top.add("o" + std::to_string(i));
        add_instance(next, "a", "/o" + std::to_string(i - 1));
        add_instance(next, "b", "/o" + std::to_string(i - 1));
    }
    return scene;
}

/// Groups of which each holds the one before twice, written by hand.
bytes doubling_groups(int levels, bool of_properties) {
    archive_writer writer;
    const auto headers = [&](const char *name) {
        bytes all;
        for (const char last : {'a', 'b'}) {
            const std::string full = std::string(name) + last;
            if (of_properties) {
                property_header header;
                header.name = full;
                append_bytes(all, bytes_of_header(header));
            } else {
                object_header header;
                header.name = full;
                append_bytes(all, bytes_of_header(header));
            }
        }
        if (!of_properties) all.resize(all.size() + 32);
        return writer.data(all);
    };
    std::uint64_t inner = of_properties ? 0 : writer.group({0});
    for (int i = 0; i < levels; ++i) {
        const std::uint64_t last = headers("x");
        inner = of_properties ? writer.group({inner, inner, last}) : writer.group({0, inner, inner, last});
    }
    const std::uint64_t top = of_properties ? writer.group({inner}) : inner;
    writer.set_root(writer.group({writer.data(bytes(4)), writer.data(bytes(4)), top, writer.data({}),
                                  writer.data(bytes_of_sampling({}, 1)), writer.data({})}));
    return writer.content();
}

// A walk of every path would take 2^60 steps and meet the time limit that every test has.
TEST(EndlessArchiveTrees, AreRefusedBeforeTheyAreWalkedOut) {
    EXPECT_EQ(status_of(doubling_groups(60, false)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(doubling_groups(60, true)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(doubling_instances(60)), QEL_ARCHIVE_DAMAGED);
    archive_builder scene;
    scene.top.add("a").edit_references = [](std::vector<std::uint64_t> &references, std::uint64_t own) {
        references[0] = own;
    };
    EXPECT_EQ(status_of(scene), QEL_ARCHIVE_DAMAGED);
    scene = {};
    scene.top.add("a").edit_references = [](std::vector<std::uint64_t> &references, std::uint64_t own) {
        if (references.size() > 2) references[1] = own;
    };
    scene.top.children.front().add("b");
    EXPECT_EQ(status_of(scene), QEL_ARCHIVE_DAMAGED);
}

} // namespace
} // namespace qel
