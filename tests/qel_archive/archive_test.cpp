// SPDX-License-Identifier: MIT
// The interface: messages, arguments, outputs after a failure, files that are not regular.
#include "qel_archive/opened_archive.h"

#include "support/failing_heap.h"

#include <filesystem>
#include <set>

#if !defined(_WIN32)
#include "support/open_descriptors.h"

#include <sys/stat.h>
#include <unistd.h>
#endif

namespace qel {
namespace {

using namespace test;

TEST(ArchiveMessages, DescribeEachStatusInOneLine) {
    const std::pair<std::int32_t, const char *> texts[] = {
        {0, "done"},
        {-1, "a null pointer where one is needed"},
        {-2, "the file cannot be opened or read, or is no regular file"},
        {-3, "the file is no Alembic archive"},
        {-4, "the archive is in the older HDF5 container, which is not read"},
        {-5, "the archive is damaged, cut short or was never finished"},
        {-6, "there is not enough memory"},
        {-7, "there is no such object, property or sample"},
        {-8, "the object has no points, or the property is a compound"}};
    std::set<std::string> different;
    for (const auto &[status, text] : texts) {
        EXPECT_STREQ(qel_archive_message(status), text);
        EXPECT_EQ(std::string(text).find_first_of(".\n"), std::string::npos);
        different.insert(text);
    }
    for (const std::int32_t status :
         {1, -9, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()})
        EXPECT_STREQ(qel_archive_message(status), "unknown status") << status;
    EXPECT_EQ(different.size(), 9u);
}

archive_builder scene() {
    archive_builder builder;
    add_polymesh(add_xform(builder.top, "arm", {translate(1, 2, 3)}), "hand", triangle());
    return builder;
}

TEST(ArchiveArguments, AreRefusedIfTheyAreNull) {
    const opened_archive opened(scene());
    const qel_archive *const archive = opened.get();
    qel_archive *other = nullptr;
    qel_archive_info info;
    qel_archive_object object;
    qel_archive_property property;
    qel_archive_mesh_info mesh_info;
    ogawa_polymesh mesh;
    std::uint64_t number = 0;
    double seconds = 0, matrix[16];
    std::int32_t visible = 0;
    const std::int32_t refused[] = {
        qel_archive_open(nullptr, &other),
        qel_archive_open(opened.path().c_str(), nullptr),
        qel_archive_open(nullptr, nullptr),
        qel_archive_get_info(nullptr, &info),
        qel_archive_get_info(archive, nullptr),
        qel_archive_get_object(nullptr, 0, &object),
        qel_archive_get_object(archive, 0, nullptr),
        qel_archive_get_property(nullptr, 1, 0, &property),
        qel_archive_get_property(archive, 1, 0, nullptr),
        qel_archive_read_property(nullptr, 1, 1, 0, nullptr, 0, &number),
        qel_archive_read_property(archive, 1, 1, 0, nullptr, 0, nullptr),
        qel_archive_read_property(archive, 1, 1, 0, nullptr, 1, &number),
        qel_archive_property_time(nullptr, 1, 1, 0, &seconds),
        qel_archive_property_time(archive, 1, 1, 0, nullptr),
        qel_archive_get_mesh_info(nullptr, 2, &mesh_info),
        qel_archive_get_mesh_info(archive, 2, nullptr),
        qel_archive_read_mesh(nullptr, 2, 0, &mesh),
        qel_archive_read_mesh(archive, 2, 0, nullptr),
        qel_archive_sample_at(nullptr, 2, 0, &number),
        qel_archive_sample_at(archive, 2, 0, nullptr),
        qel_archive_local_transform(nullptr, 1, 0, matrix),
        qel_archive_local_transform(archive, 1, 0, nullptr),
        qel_archive_world_transform(nullptr, 1, 0, matrix),
        qel_archive_world_transform(archive, 1, 0, nullptr),
        qel_archive_is_visible(nullptr, 1, 0, &visible),
        qel_archive_is_visible(archive, 1, 0, nullptr),
    };
    for (std::size_t i = 0; i < std::size(refused); ++i)
        EXPECT_EQ(refused[i], QEL_ARCHIVE_BAD_ARGUMENT) << i;
    EXPECT_EQ(qel_archive_find(nullptr, "/"), QEL_NOT_FOUND);
    EXPECT_EQ(qel_archive_find(archive, nullptr), QEL_NOT_FOUND);
    EXPECT_EQ(qel_archive_find_property(nullptr, 1, ".xform"), QEL_NOT_FOUND);
    EXPECT_EQ(qel_archive_find_property(archive, 1, nullptr), QEL_NOT_FOUND);
    qel_archive_close(nullptr);
}

TEST(ArchiveArguments, OfMissingObjectsAndPropertiesReturnNotFound) {
    const opened_archive opened(scene());
    const qel_archive *const archive = opened.get();
    for (const std::uint32_t none : {3u, 0xFFFFFFFFu}) {
        qel_archive_object object = {};
        qel_archive_property property = {};
        qel_archive_mesh_info mesh = {};
        object.child_count = property.extent = mesh.face_count = 77;
        double matrix[16] = {77};
        std::int32_t visible = 77;
        std::uint64_t sample = 77;
        EXPECT_EQ(qel_archive_get_object(archive, none, &object), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_get_property(archive, none, 0, &property), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_get_property(archive, 0, 0, &property), QEL_ARCHIVE_NOT_FOUND) << "it has none";
        EXPECT_EQ(qel_archive_get_property(archive, 1, 99, &property), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_get_property(archive, 1, 0xFFFFFFFF, &property), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_get_mesh_info(archive, none, &mesh), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_local_transform(archive, none, 0, matrix), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_world_transform(archive, none, 0, matrix), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_is_visible(archive, none, 0, &visible), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_sample_at(archive, none, 0, &sample), QEL_ARCHIVE_NOT_FOUND);
        EXPECT_EQ(qel_archive_find_property(archive, none, ".xform"), QEL_NOT_FOUND);
        EXPECT_EQ(object.child_count, 77u);
        EXPECT_EQ(property.extent, 77u);
        EXPECT_EQ(mesh.face_count, 77u);
        EXPECT_EQ(matrix[0], 77.0);
        EXPECT_EQ(visible, 77);
        EXPECT_EQ(sample, 77u);
    }
}

/// Opens into a pointer that is not null before.
std::int32_t open_status(const std::string &path) {
    auto *archive = reinterpret_cast<qel_archive *>(std::uintptr_t{16});
    const std::int32_t status = qel_archive_open(path.c_str(), &archive);
    EXPECT_EQ(archive == nullptr, status != QEL_ARCHIVE_OK);
    qel_archive_close(archive);
    return status;
}

TEST(ArchiveFiles, SetTheHandleToNullOnFailure) {
    const temp_folder folder;
    const heap_ledger ledger;
    EXPECT_EQ(open_status(folder.file("missing")), QEL_ARCHIVE_CANNOT_OPEN);
    EXPECT_EQ(open_status(""), QEL_ARCHIVE_CANNOT_OPEN);
    EXPECT_EQ(open_status(folder.path().string()), QEL_ARCHIVE_CANNOT_OPEN) << "a folder";
    auto *archive = reinterpret_cast<qel_archive *>(std::uintptr_t{16});
    EXPECT_EQ(qel_archive_open(nullptr, &archive), QEL_ARCHIVE_BAD_ARGUMENT);
    EXPECT_EQ(archive, nullptr);
}

TEST(ArchiveFiles, MayHaveNamesOfAnyCharacters) {
    const temp_folder folder;
    const std::string path = folder.file("\xC3\xA4 \xE6\xA3\xAE.abc"); // UTF-8
    const bytes content = scene().build().content;
    {
        std::FILE *file = nullptr;
#if defined(_WIN32)
        file = _wfopen(std::filesystem::u8path(path).c_str(), L"wb");
#else
        file = std::fopen(path.c_str(), "wb");
#endif
        ASSERT_NE(file, nullptr);
        ASSERT_EQ(std::fwrite(content.data(), 1, content.size(), file), content.size());
        std::fclose(file);
    }
    EXPECT_EQ(open_status(path), QEL_ARCHIVE_OK);
#if !defined(_WIN32)
    const std::string no_text = folder.file("\xFF\xFE"); // any bytes
    write_file(no_text, content);
    EXPECT_EQ(open_status(no_text), QEL_ARCHIVE_OK);
#endif
}

#if !defined(_WIN32)
TEST(ArchiveFiles, AreRegular) {
    const temp_folder folder;
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(open_status(pipe), QEL_ARCHIVE_CANNOT_OPEN) << "without waiting for a writer";
    EXPECT_EQ(open_status("/dev/null"), QEL_ARCHIVE_CANNOT_OPEN);
    EXPECT_EQ(open_status("/dev/zero"), QEL_ARCHIVE_CANNOT_OPEN);
    write_file(folder.file("archive"), scene().build().content);
    std::filesystem::create_symlink(folder.file("archive"), folder.file("link"));
    EXPECT_EQ(open_status(folder.file("link")), QEL_ARCHIVE_OK);
    EXPECT_EQ(open_status(folder.file("archive") + "/x"), QEL_ARCHIVE_CANNOT_OPEN);
}

TEST(ArchiveFiles, NeedPermission) {
    if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
    const temp_folder folder;
    write_file(folder.file("archive"), scene().build().content);
    ASSERT_EQ(chmod(folder.file("archive").c_str(), 0), 0);
    EXPECT_EQ(open_status(folder.file("archive")), QEL_ARCHIVE_CANNOT_OPEN);
}

TEST(ArchiveFiles, AreClosedWithTheArchiveAndAfterAFailure) {
    const temp_folder folder;
    write_file(folder.file("archive"), scene().build().content);
    write_file(folder.file("other"), bytes(100, 7));
    const std::size_t before = open_descriptors();
    EXPECT_EQ(open_status(folder.file("archive")), QEL_ARCHIVE_OK);
    EXPECT_EQ(open_status(folder.file("other")), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    EXPECT_EQ(open_status(folder.path().string()), QEL_ARCHIVE_CANNOT_OPEN);
    EXPECT_EQ(open_descriptors(), before);
}
#endif

TEST(ArchiveFiles, GiveAMeshThatOutlivesThem) {
    ogawa_polymesh mesh;
    {
        const opened_archive opened(scene());
        ASSERT_EQ(qel_archive_read_mesh(opened.get(), opened.find("/arm/hand"), 0, &mesh), QEL_ARCHIVE_OK);
    }
    EXPECT_EQ(mesh.positions[7], 2.0f);
    EXPECT_STREQ(mesh.path, "/arm/hand");
    const heap_ledger ledger;
    ogawa_free_polymesh(&mesh);
    EXPECT_EQ(mesh.positions, nullptr);
}

TEST(ArchiveFiles, AreIndependentOfEachOther) {
    const opened_archive first(scene());
    archive_builder other = scene();
    other.top.add("more");
    const opened_archive second(other);
    EXPECT_EQ(first.info().object_count, 3u);
    EXPECT_EQ(second.info().object_count, 4u);
    EXPECT_EQ(first.find("/more"), QEL_NOT_FOUND);
}

} // namespace
} // namespace qel
