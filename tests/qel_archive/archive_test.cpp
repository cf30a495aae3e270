// SPDX-License-Identifier: MIT
// Opening and the limits that it keeps, instances, and what a failed allocation leaves.
#include "qel_archive.h"
#include "support/archive_schemas.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

namespace qel::test {
namespace {

struct archive_closer {
    void operator()(qel_archive *archive) const { qel_archive_close(archive); }
};
using archive_pointer = std::unique_ptr<qel_archive, archive_closer>;

struct Archive : testing::Test {
    temp_folder folder;
    const std::string path = folder.file("scene.abc");

    std::int32_t status_of(const bytes &content) {
        write_file(path, content);
        return status_of_file(path);
    }
    std::int32_t status_of(const archive_builder &scene) { return status_of(scene.build().content); }
    std::int32_t status_of_file(const std::string &file) {
        qel_archive *archive = reinterpret_cast<qel_archive *>(this);
        const std::int32_t status = qel_archive_open(file.c_str(), &archive);
        EXPECT_EQ(archive != nullptr, status == QEL_ARCHIVE_OK);
        qel_archive_close(archive);
        return status;
    }
    archive_pointer open(const archive_builder &scene) {
        scene.save(path);
        qel_archive *archive = nullptr;
        EXPECT_EQ(qel_archive_open(path.c_str(), &archive), QEL_ARCHIVE_OK);
        return archive_pointer(archive);
    }
};

/// An archive with something of everything.
archive_builder rich_scene() {
    archive_builder scene;
    const std::uint32_t film = scene.add_sampling({1.0 / 24, {0}});
    object_node &arm = add_xform(scene.top, "arm", {translate(1, 2, 3)});
    polymesh mesh;
    mesh.points = {{0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 0, 1, 1, 0, 0, 0, 1, 0}};
    mesh.face_counts = {{3}};
    mesh.face_indices = {{0, 1, 2}};
    mesh.time_sampling = film;
    mesh.parameters = {normals({{0, 0, 1, 0, 0, 1, 0, 0, 1}}), uvs({{0, 0, 1, 0, 0, 1}}, "fvr", "map")};
    mesh.parameters.back().indices = {{0, 1, 2}};
    mesh.more_parameters = {uvs({{0, 0, 1, 0, 0, 1}}, "vtx")};
    mesh.more_parameters.back().name = "second";
    add_polymesh(arm, "hand", mesh).inline_metadata = true;
    add_points(arm, "dust", {{1, 2, 3}});
    for (int i = 0; i < 12; ++i)
        arm.add("finger" + std::to_string(i * 5 % 12));
    add_instance(scene.top, "other_arm", "/arm");
    return scene;
}

/// A chain of objects, the top object included.
archive_builder object_chain(int levels) {
    archive_builder scene;
    object_node *last = &scene.top;
    for (int i = 1; i < levels; ++i)
        last = &last->add("o");
    return scene;
}

/// Properties, each in the one before.
archive_builder property_chain(int levels) {
    archive_builder scene;
    property_node *last = &scene.top.properties;
    for (int i = 1; i < levels; ++i)
        last = &last->compound("c");
    last->scalar<std::uint8_t>("s", 1, {{1}});
    return scene;
}

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

TEST_F(Archive, NamesWhyAFileIsNoArchive) {
    const bytes sound = rich_scene().build().content;
    EXPECT_EQ(status_of(sound), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_file(folder.file("missing")), QEL_ARCHIVE_CANNOT_OPEN);
    EXPECT_EQ(status_of_file(folder.path().string()), QEL_ARCHIVE_CANNOT_OPEN);
    EXPECT_EQ(status_of(bytes{}), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    EXPECT_EQ(status_of(bytes(sound.begin(), sound.begin() + 15)), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    EXPECT_EQ(status_of(bytes(sound.begin(), sound.begin() + 16)), QEL_ARCHIVE_DAMAGED);
    bytes changed = sound;
    changed[0] = 'o';
    EXPECT_EQ(status_of(changed), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    changed = sound;
    changed[5] = 0; // not finished
    EXPECT_EQ(status_of(changed), QEL_ARCHIVE_DAMAGED);
    bytes older = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1A, '\n'};
    older.resize(512);
    EXPECT_EQ(status_of(older), QEL_ARCHIVE_HDF5);
}

TEST_F(Archive, ATreeOfAThousandLevelsIsReadAndOneMoreIsDamage) {
    EXPECT_EQ(status_of(object_chain(1000)), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of(object_chain(1001)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(property_chain(1000)), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of(property_chain(1001)), QEL_ARCHIVE_DAMAGED);
}

TEST_F(Archive, SharedGroupsAreATreeOfCopiesUpToTheLimits) {
    EXPECT_EQ(status_of(doubling_groups(19, false)), QEL_ARCHIVE_OK); // 2^20 - 1 objects
    EXPECT_EQ(status_of(doubling_groups(20, false)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(doubling_groups(23, true)), QEL_ARCHIVE_OK); // 2^24 - 2 properties
    EXPECT_EQ(status_of(doubling_groups(24, true)), QEL_ARCHIVE_DAMAGED);
}

TEST_F(Archive, TreesWithoutEndEndWithinASecond) {
    const auto begin = std::chrono::steady_clock::now();
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
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6)); // a second each
}

TEST_F(Archive, AnInstanceShowsItsSourceAndAllBelowIt) {
    archive_builder scene = rich_scene();
    add_instance(scene.top, "third_arm", "/other_arm");
    add_instance(scene.top, "only_hand", "/third_arm/hand");
    const archive_pointer archive = open(scene);
    for (const char *root : {"/other_arm", "/third_arm"}) {
        const std::uint32_t object = qel_archive_find(archive.get(), root);
        qel_archive_object shown;
        ASSERT_EQ(qel_archive_get_object(archive.get(), object, &shown), QEL_ARCHIVE_OK);
        EXPECT_STREQ(shown.name, root + 1);
        EXPECT_STREQ(shown.path, root);
        EXPECT_EQ(shown.kind, static_cast<ogawa_schema>(OGAWA_SCHEMA_XFORM));
        EXPECT_EQ(shown.child_count, 14u);
        EXPECT_EQ(qel_archive_find_property(archive.get(), object, ".instanceSource"), QEL_NOT_FOUND);
        EXPECT_NE(qel_archive_find(archive.get(), (std::string(root) + "/hand").c_str()), QEL_NOT_FOUND);
    }
    ogawa_polymesh mesh;
    const std::uint32_t hand = qel_archive_find(archive.get(), "/only_hand");
    ASSERT_EQ(qel_archive_read_mesh(archive.get(), hand, 0, &mesh), QEL_ARCHIVE_OK);
    EXPECT_STREQ(mesh.path, "/only_hand");
    EXPECT_EQ(mesh.face_count, 1u);
    EXPECT_EQ(mesh.transform[12], 0); // the source's parent is not its parent
    ogawa_free_polymesh(&mesh);
}

TEST_F(Archive, AnInstanceWithoutASourceOrOfItselfIsDamage) {
    const auto instance_of = [](const char *source) {
        archive_builder scene = rich_scene();
        add_instance(scene.top.children.front(), "copy", source);
        return scene;
    };
    EXPECT_EQ(status_of(instance_of("/arm/dust")), QEL_ARCHIVE_OK);
    for (const char *source :
         {"", "/", "arm", "/arm", "/arm/", "/arm/copy", "/arm/copy/a", "/nobody", "/other_arm"})
        EXPECT_EQ(status_of(instance_of(source)), QEL_ARCHIVE_DAMAGED) << source;
    archive_builder circle;
    add_instance(circle.top, "a", "/b");
    add_instance(circle.top, "b", "/a");
    EXPECT_EQ(status_of(circle), QEL_ARCHIVE_DAMAGED);
}

TEST_F(Archive, EveryAllocationOfOpenMayFailAndLeavesNothing) {
    write_file(path, rich_scene().build().content);
    for (std::uint64_t n = 1;; ++n) {
        const heap_ledger ledger;
        std::int32_t status;
        std::uint64_t failures;
        qel_archive *archive = nullptr;
        {
            const auto plan = failing_heap::nth(n);
            status = qel_archive_open(path.c_str(), &archive);
            failures = plan.failures();
        }
        if (failures == 0) {
            EXPECT_GT(n, 5u);
            EXPECT_EQ(status, QEL_ARCHIVE_OK);
            qel_archive_close(archive);
            EXPECT_EQ(ledger.live(), 0u);
            return;
        }
        ASSERT_EQ(status, QEL_ARCHIVE_NO_MEMORY) << n;
        ASSERT_EQ(archive, nullptr);
        ASSERT_EQ(ledger.live(), 0u) << n;
    }
}

/// Calls a function with every allocation failing in turn, until it needs no more of them.
void fail_in_turn(const std::function<std::int32_t()> &call) {
    for (std::uint64_t n = 1;; ++n) {
        const auto plan = failing_heap::nth(n);
        const std::int32_t status = call();
        if (plan.failures() == 0) {
            EXPECT_EQ(status, QEL_ARCHIVE_OK);
            EXPECT_GT(n, 1u) << "nothing was allocated";
            return;
        }
        ASSERT_EQ(status, QEL_ARCHIVE_NO_MEMORY) << n;
    }
}

TEST_F(Archive, EveryAllocationAfterwardsMayFailAndLeavesNothing) {
    const archive_pointer archive = open(rich_scene());
    const std::uint32_t hand = qel_archive_find(archive.get(), "/arm/hand");
    qel_archive_object object;
    qel_archive_property property;
    fail_in_turn([&] { return qel_archive_get_object(archive.get(), hand, &object); });
    EXPECT_STREQ(object.path, "/arm/hand");
    const std::uint32_t number = qel_archive_find_property(archive.get(), hand, ".geom/uv/.indices");
    fail_in_turn([&] { return qel_archive_get_property(archive.get(), hand, number, &property); });
    EXPECT_STREQ(property.name, ".geom/uv/.indices");
    const heap_ledger ledger;
    ogawa_polymesh mesh;
    fail_in_turn([&] {
        const std::int32_t status = qel_archive_read_mesh(archive.get(), hand, 1, &mesh);
        if (status == QEL_ARCHIVE_NO_MEMORY) {
            EXPECT_EQ(ledger.live(), 0u);
        }
        return status;
    });
    EXPECT_EQ(mesh.uv_set_count, 2u);
    EXPECT_STREQ(mesh.uv_sets[0].name, "map");
    EXPECT_STREQ(mesh.uv_sets[1].name, "second");
    ogawa_free_polymesh(&mesh);
    EXPECT_EQ(ledger.live(), 0u);
}

} // namespace
} // namespace qel::test
