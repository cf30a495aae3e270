// SPDX-License-Identifier: MIT
// Every function that allocates, with its n-th allocation failing, alone and with all that follow, for every n until it
// needs no more: NO_MEMORY, outputs as the header documents, no leak.
#include "qel_archive/rich_scene.h"
#include "support/failing_heap.h"

#include <functional>

namespace qel {
namespace {

using namespace test;

/// Fails every allocation of a call in turn. `check` tests the outputs of a failed call, `release` frees those of a
/// successful one; then nothing may be allocated. Without it, texts that the archive owns may be. Returns the number
/// of allocations.
std::uint64_t fail_in_turn(bool all_later, const std::function<std::int32_t()> &call,
                           const std::function<void()> &check, const std::function<void()> &release = nullptr) {
    for (std::uint64_t n = 1;; ++n) {
        const heap_ledger ledger;
        std::int32_t status = 0;
        std::uint64_t failures = 0;
        {
            const failing_heap heap = failing_heap::at(n, all_later);
            status = call();
            failures = heap.failures();
        }
        EXPECT_EQ(status, failures == 0 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_NO_MEMORY) << n;
        if (status != QEL_ARCHIVE_OK) check();
        if (failures == 0 && release) release();
        if (failures != 0 || release) {
            EXPECT_EQ(ledger.live(), 0u) << n;
        }
        if (failures == 0 || testing::Test::HasFailure()) return n - 1;
    }
}

/// Opens an archive with every allocation failing in turn, of which there are `at_least` so many.
void expect_open_may_fail(const bytes &content, std::uint64_t at_least) {
    const temp_folder folder;
    const std::string path = folder.file("archive.abc");
    write_file(path, content);
    for (const bool all_later : {false, true}) {
        qel_archive *archive = nullptr;
        const std::uint64_t count = fail_in_turn(
            all_later,
            [&] {
                archive = reinterpret_cast<qel_archive *>(std::uintptr_t{16});
                return qel_archive_open(path.c_str(), &archive);
            },
            [&] { EXPECT_EQ(archive, nullptr); }, [&] { qel_archive_close(archive); });
        EXPECT_GE(count, at_least);
    }
}

TEST(ArchiveAllocations, OfOpenMayFail) {
    expect_open_may_fail(rich_scene().build().content, 6);
}

TEST(ArchiveAllocations, OfOpenMayFailInLargeArchives) {
    archive_builder builder; // lists and tables that grow more than once
    for (int i = 0; i < 300; ++i) {
        object_node &object = builder.top.add("o" + std::to_string(i * 7 % 300), "k=" + std::to_string(i));
        object.properties.compound("c" + std::to_string(i)).compound("d").scalar<std::uint8_t>("x", 1, {{1}});
        if (i % 50 == 1) add_instance(object.add("below"), "copy", "/o0");
    }
    expect_open_may_fail(builder.build().content, 20);
}

TEST(ArchiveAllocations, OfOpenMayFailInLongSharedTexts) {
    archive_builder builder; // schemas of more bytes than memory is taken at once
    for (int i = 100; i < 200; ++i)
        builder.top.add("o" + std::to_string(i), "schema=" + std::string(200, 's') + std::to_string(i));
    expect_open_may_fail(builder.build().content, 10);
}

/// Opens a scene of `times` times with every allocation failing in turn. Small arrays share blocks of 4 KiB: the
/// times, 8 bytes each, move all later arrays through the blocks.
void expect_open_may_fail_after(std::size_t times, archive_builder scene) {
    constexpr std::size_t max_times = 100; // of one sampling; more would have their own block
    for (std::size_t left = times; left > 0; left -= std::min(left, max_times))
        scene.add_sampling({1, std::vector<double>(std::min(left, max_times))});
    SCOPED_TRACE(times);
    expect_open_may_fail(scene.build().content, 6);
}

TEST(ArchiveAllocations, OfOpenMayFailAtTheEndOfAnyBlock) {
    for (std::size_t times = 1; times < 512 && !HasFailure(); ++times)
        expect_open_may_fail_after(times, rich_scene());
}

TEST(ArchiveAllocations, OfOpenMayFailWhereABlockEndsAtTheSourceOfAnInstance) {
    const std::string name(300, 's');
    archive_builder scene;
    add_instance(scene.top, "instance", "/" + name);
    scene.top.add(name);
    for (std::size_t times = 1; times < 512 && !HasFailure(); times += 8)
        expect_open_may_fail_after(times, scene);
}

TEST(ArchiveAllocations, OfOpenMayFailInManyTimeSamplings) {
    archive_builder builder;
    for (std::size_t i = 1; i < 200; ++i)
        builder.add_sampling({1, std::vector<double>(i)});
    expect_open_may_fail(builder.build().content, 10);
}

TEST(ArchiveAllocations, OfOpenMayFailInTextsOfManyObjects) {
    archive_builder builder;
    for (int i = 1000; i < 3000; ++i)
        builder.top.add("o" + std::to_string(i), "k=" + std::to_string(i)).inline_metadata = true;
    expect_open_may_fail(builder.build().content, 10);
}

TEST(ArchiveAllocations, OfOpenMayFailWhereGroupsAreShared) {
    archive_builder builder = rich_scene(); // data with five parents follows another path
    const std::uint64_t arm = builder.build().places.at("/arm").reference;
    for (int i = 0; i < 40; ++i) {
        object_node &copy = builder.top.add("copy" + std::to_string(i));
        copy.instead = arm;
    }
    expect_open_may_fail(builder.build().content, 10);
}

TEST(ArchiveAllocations, OfPathsMayFail) {
    const opened_archive opened(rich_scene());
    qel_archive_object object = {};
    object.child_count = 77;
    const auto get = [&] { return qel_archive_get_object(opened.get(), opened.find("/arm/hand"), &object); };
    EXPECT_EQ(fail_in_turn(false, get, [&] { EXPECT_EQ(object.child_count, 77u); }), 1u);
    EXPECT_STREQ(object.path, "/arm/hand");
    EXPECT_EQ(fail_in_turn(false, get, [] {}), 0u) << "made once";
}

TEST(ArchiveAllocations, OfNamesMayFail) {
    const opened_archive opened(rich_scene());
    qel_archive_property property = {};
    property.extent = 77;
    const std::uint32_t hand = opened.find("/arm/hand");
    std::uint32_t number = opened.find("/arm/hand", ".geom/uv/.indices");
    const auto get = [&] { return qel_archive_get_property(opened.get(), hand, number, &property); };
    EXPECT_EQ(fail_in_turn(false, get, [&] { EXPECT_EQ(property.extent, 77u); }), 1u);
    EXPECT_STREQ(property.name, ".geom/uv/.indices");
    EXPECT_EQ(fail_in_turn(false, get, [] {}), 0u) << "made once";
    number = 0;
    EXPECT_EQ(fail_in_turn(false, get, [] {}), 0u);
}

TEST(ArchiveAllocations, OfMeshesMayFail) {
    const opened_archive opened(rich_scene());
    const std::uint32_t hand = opened.find("/arm/hand");
    for (const bool all_later : {false, true}) {
        ogawa_polymesh mesh;
        const ogawa_polymesh zero = {};
        const std::uint64_t count = fail_in_turn(
            all_later,
            [&] {
                std::memset(&mesh, 0xAB, sizeof mesh);
                return qel_archive_read_mesh(opened.get(), hand, 1, &mesh);
            },
            [&] { EXPECT_EQ(std::memcmp(&mesh, &zero, sizeof mesh), 0); },
            [&] {
                EXPECT_EQ(mesh.uv_set_count, 2u);
                EXPECT_STREQ(mesh.uv_sets[0].name, "map");
                EXPECT_STREQ(mesh.uv_sets[1].name, "second");
                ogawa_free_polymesh(&mesh);
            });
        // Positions, counts, indices; values and indices of the normals; the sets, values and indices of the first,
        // values of the second.
        EXPECT_EQ(count, 9u);
    }
}

TEST(ArchiveAllocations, OtherFunctionsAllocateNothing) {
    const opened_archive opened(rich_scene());
    const qel_archive *const archive = opened.get();
    const std::uint32_t hand = opened.find("/arm/hand");
    const failing_heap heap = failing_heap::from(1);
    qel_archive_info info;
    qel_archive_mesh_info mesh_info;
    std::uint64_t number = 0;
    double seconds = 0, matrix[16];
    std::int32_t visible = 0;
    bytes values(1000);
    const std::uint32_t indices = qel_archive_find_property(archive, hand, ".geom/uv/.indices");
    EXPECT_EQ(qel_archive_get_info(archive, &info), QEL_ARCHIVE_OK);
    EXPECT_EQ(qel_archive_get_mesh_info(archive, hand, &mesh_info), QEL_ARCHIVE_OK);
    EXPECT_EQ(qel_archive_read_property(archive, hand, indices, 0, values.data(), values.size(), &number),
              QEL_ARCHIVE_OK);
    EXPECT_EQ(qel_archive_property_time(archive, hand, indices, 0, &seconds), QEL_ARCHIVE_OK);
    EXPECT_EQ(qel_archive_sample_at(archive, hand, 1, &number), QEL_ARCHIVE_OK);
    EXPECT_EQ(qel_archive_local_transform(archive, hand, 1, matrix), QEL_ARCHIVE_OK);
    EXPECT_EQ(qel_archive_world_transform(archive, hand, 1, matrix), QEL_ARCHIVE_OK);
    EXPECT_EQ(qel_archive_is_visible(archive, hand, 1, &visible), QEL_ARCHIVE_OK);
    EXPECT_EQ(heap.count(), 0u);
}

} // namespace
} // namespace qel
