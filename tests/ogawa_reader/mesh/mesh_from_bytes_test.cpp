// SPDX-License-Identifier: MIT
// A mesh that is read from an archive's bytes because its node tree holds no positions.
#include "ogawa_reader/container/archive_in_memory.h"
#include "ogawa_reader/search/searched_archive.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace qel {
namespace {

using namespace test;

TEST(PositionsFromBytes, AreThoseOfThePositionsScan) {
    const read_mesh read(vertices_only());
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.positions(), floats(3003, 5.0f));
    EXPECT_EQ(read.mesh.bounds_min[1], 5.0f);
    EXPECT_EQ(read.mesh.self_bounds_max[2], 5.0f);
    EXPECT_EQ(read.mesh.transform[10], 1.0);
    EXPECT_EQ(read.mesh.reserved_word, 1u);
    EXPECT_EQ(read.mesh.normals, nullptr);
    EXPECT_EQ(read.mesh.normal_scope, 0u);
    EXPECT_EQ(read.mesh.face_count, 0u);
    EXPECT_EQ(read.mesh.face_index_count, 0u);
    EXPECT_EQ(read.mesh.face_counts, nullptr);
    EXPECT_EQ(read.mesh.face_indices, nullptr);
}

TEST(PositionsFromBytes, AreReadFromTheShortestFiles) {
    for (std::uint64_t length = 90; length <= 130; ++length) {
        bytes content(length, 0xFF);
        put(content, 8, std::uint64_t{0});
        put(content, 16, std::uint64_t{12012});
        for (std::uint64_t at = 24; at + 4 <= length; at += 4)
            put(content, at, 1.0f);
        const stored_archive archive(content);
        EXPECT_EQ(read_mesh(archive).status, length < 96 ? -1 : 0) << length;
        EXPECT_TRUE(test::agrees_with_model(archive)) << length;
    }
}

TEST(NormalsFromBytes, CutShortAreCountedButNotRead) {
    bytes content = with_normals(12016);
    content.resize(data_at + 24 + 11999);
    const read_mesh cut(content);
    EXPECT_EQ(cut.status, 0);
    EXPECT_EQ(cut.mesh.normal_count, 1000u);
    EXPECT_EQ(cut.mesh.normals, nullptr);
    EXPECT_EQ(cut.mesh.normal_scope, 0u);
    content.push_back(0);
    EXPECT_NE(read_mesh(content).mesh.normals, nullptr);
}

#if !defined(_WIN32) // where the stream is over a file
TEST(NormalsFromBytes, WithoutMemoryAreNotRead) {
    const archive_in_memory archive(with_normals(12028 + 12));
    const failing_heap heap = failing_heap::of_size(12024);
    ogawa_polymesh mesh;
    EXPECT_EQ(ogawa_read_polymesh(&archive.record, nullptr, 0, &mesh), 0);
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(mesh.normals, nullptr);
    ogawa_free_polymesh(&mesh);
}
#endif

#if defined(__GLIBC__)
/// Bytes of a file that is cut once they have been read to their end.
struct cut_file {
    bytes content;
    std::size_t length_then;
    std::size_t position = 0;

    static ssize_t read(void *cookie, char *out, std::size_t size) {
        auto &file = *static_cast<cut_file *>(cookie);
        if (file.position >= file.content.size()) file.content.resize(file.length_then);
        const std::size_t held = file.content.size() - std::min(file.position, file.content.size());
        const std::size_t count = std::min(size, held);
        std::copy_n(file.content.begin() + static_cast<std::ptrdiff_t>(file.position), count, out);
        file.position += count;
        return static_cast<ssize_t>(count);
    }
    static int seek(void *cookie, off64_t *offset, int origin) {
        auto &file = *static_cast<cut_file *>(cookie);
        const std::size_t from = origin == SEEK_END ? file.content.size() : origin == SEEK_CUR ? file.position : 0;
        file.position = from + static_cast<std::size_t>(*offset);
        *offset = static_cast<off64_t>(file.position);
        return 0;
    }
};

TEST(IndicesFromBytes, OfATruncatedFileAreZeroAfterItsEnd) {
    cut_file file = {with_words(counting(3001)), data_at + 10 * 4};
    ogawa_archive record = {};
    record.file = fopencookie(&file, "rb", {cut_file::read, nullptr, cut_file::seek, nullptr});
    const words before(3001, ~0u); // the heap reuses their memory
    EXPECT_EQ(before[3000], ~0u);
    ogawa_polymesh mesh;
    EXPECT_EQ(ogawa_read_polymesh(&record, nullptr, 0, &mesh), 0);
    ASSERT_EQ(mesh.face_index_count, 3001u);
    words expected = counting(10);
    expected.resize(3001, 0);
    EXPECT_EQ(words(mesh.face_indices, mesh.face_indices + 3001), expected);
    ogawa_free_polymesh(&mesh);
    std::fclose(record.file);
}
#endif

TEST(IndicesFromBytes, KeepsIndicesBeyondAMultipleOfThree) {
    const read_mesh read(with_words(counting(7)));
    EXPECT_EQ(read.face_counts(), (words{3, 3}));
    EXPECT_EQ(read.face_indices(), counting(7));
    EXPECT_EQ(read_mesh(with_words(counting(8))).mesh.face_count, 2u);
    EXPECT_EQ(read_mesh(with_words(counting(9))).mesh.face_count, 3u);
}

TEST(IndicesFromBytes, WithoutMemoryForFaceCountsReleasesTheIndices) {
    const stored_archive archive(with_words(counting(301)));
    const heap_ledger ledger;
    {
        const failing_heap heap = failing_heap::of_size(100 * 4);
        const read_mesh read(archive);
        EXPECT_EQ(heap.failures(), 1u);
        EXPECT_EQ(read.status, 0);
        EXPECT_EQ(read.mesh.face_index_count, 0u);
        EXPECT_EQ(read.mesh.face_indices, nullptr);
        EXPECT_EQ(read.mesh.face_count, 100u);
        EXPECT_EQ(read.mesh.face_counts, nullptr);
        EXPECT_EQ(ledger.live(), 1u) << "the positions";
    }
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(MeshFromBytes, AgreesWithItsPlainFormOnAdversarialFiles) {
    std::mt19937 generator(14);
    const auto random = [&] { return static_cast<std::uint32_t>(generator()); };
    const auto pick = [&](const auto &values) { return values[random() % std::size(values)]; };
    const float values[] = {0.5f, 1.0f, -1.0f,  0.6f, 0.8f, 0.95f, 1.05f, 1.1f, std::nextafter(1.1f, 2.0f),
                            0.7f, 2.0f, 300.0f, nan};
    const std::uint32_t small[] = {0, 1, 2, 3, 4, 5, 6, 7, 20, 100, 400, 1000, 1001, 12012};
    const std::uint64_t normal_sizes[] = {10000, 10001, 10012, 10013, 10024, 10036, 1999996, 2000008};
    stored_archive archive;
    int meshes = 0, normals_read = 0, normals_counted = 0, topologies = 0;
    for (int round = 0; round < 500; ++round) {
        const std::uint64_t length = random() % 4 == 0 ? 14000 + random() % 2000 : 200 + random() % 2000;
        bytes content(length);
        for (std::uint64_t at = 0; at < length;) {
            const std::uint32_t kind = random() % 3; // a stretch of small words, of floats or of noise
            for (std::uint32_t i = 1 + random() % 40; i > 0 && at < length; --i, at += 4)
                put(content, at, kind == 0 ? pick(small) : random());
            if (kind == 1) put(content, at, pick(values));
        }
        content.resize(length);
        put(content, 8, std::uint64_t{0});
        for (std::uint32_t i = random() % 24; i > 0; --i) {
            const std::uint64_t at = 16 + random() % std::min<std::uint64_t>(length - 80, 4000);
            put(content, at, pick(normal_sizes));
            for (std::uint64_t f = 0; f < 6; ++f)
                put(content, at + 24 + f * 4, f % 3 == 0 ? (random() % 2 == 0 ? 1.0f : pick(values)) : 0.05f);
        }
        const std::uint64_t at = 16 + random() % std::min<std::uint64_t>(length - 100, 500);
        put_block(content, at, 12012 + random() % 100, floats(18, 1.0f));
        content.resize(length - random() % 5);
        archive.store(content);
        ASSERT_TRUE(test::agrees_with_model(archive)) << "round " << round;
        const read_mesh read(archive);
        meshes += read.status == 0;
        normals_counted += read.mesh.normal_count != 0;
        normals_read += read.mesh.normals != nullptr;
        topologies += read.mesh.face_indices != nullptr;
    }
    EXPECT_GT(meshes, 400);
    EXPECT_GT(normals_counted, 50);
    EXPECT_GT(normals_read, 5);
    EXPECT_GT(topologies, 300);
}

} // namespace
} // namespace qel
