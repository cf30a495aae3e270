// SPDX-License-Identifier: MIT
// The valid positions of groups and data, and the first sixteen bytes.
#include "qel_archive/container.h"

#include "qel_archive/opened_archive.h"

namespace qel::archives {
namespace {

using test::archive_builder;
using test::built_archive;
using test::bytes;
using test::opened_archive;
using test::status_of;

constexpr std::uint64_t data_bit = std::uint64_t{1} << 63;

bytes sound() {
    archive_builder builder;
    builder.top.add("a");
    return builder.build().content;
}

TEST(ArchiveContainer, NeedsSixteenBytes) {
    bytes content = sound();
    content.resize(15);
    EXPECT_EQ(status_of(content), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    EXPECT_EQ(status_of(bytes()), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    content.resize(16); // now only the root is missing
    EXPECT_EQ(status_of(content), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveContainer, BeginsWithItsFiveLetters) {
    for (std::size_t i = 0; i < 5; ++i) {
        bytes content = sound();
        content[i] ^= 1;
        EXPECT_EQ(status_of(content), QEL_ARCHIVE_NOT_AN_ARCHIVE) << i;
    }
    EXPECT_EQ(status_of(bytes(100, 0)), QEL_ARCHIVE_NOT_AN_ARCHIVE);
}

TEST(ArchiveContainer, RecognizesHdf5ByItsFirstEightBytes) {
    bytes content = {0x89, 0x48, 0x44, 0x46, 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(status_of(content), QEL_ARCHIVE_HDF5);
    content[7] = 0x0B;
    EXPECT_EQ(status_of(content), QEL_ARCHIVE_NOT_AN_ARCHIVE);
    content[7] = 0x0A;
    content.pop_back();
    EXPECT_EQ(status_of(content), QEL_ARCHIVE_NOT_AN_ARCHIVE);
}

TEST(ArchiveContainer, MustBeFinishedByItsWriter) {
    for (const int finished : {0x00, 0x01, 0x7F, 0xFE}) {
        bytes content = sound();
        content[5] = static_cast<std::uint8_t>(finished);
        EXPECT_EQ(status_of(content), QEL_ARCHIVE_DAMAGED) << finished;
    }
    EXPECT_EQ(status_of(sound()), QEL_ARCHIVE_OK);
}

/// Opens with the root at some place.
std::int32_t status_with_root(bytes content, std::uint64_t root) {
    std::memcpy(content.data() + 8, &root, sizeof root);
    return status_of(content);
}

TEST(ArchiveContainer, RefusesARootOutsideTheFileOrInTheHeader) {
    const bytes content = sound();
    for (const std::uint64_t root : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{8}, std::uint64_t{15},
                                     std::uint64_t{content.size() - 7}, std::uint64_t{content.size()},
                                     std::uint64_t{content.size() + 1}, data_bit - 1, data_bit | 16, ~std::uint64_t{0}})
        EXPECT_EQ(status_with_root(content, root), QEL_ARCHIVE_DAMAGED) << root;
}

/// A file that never was one.
class memory_source {
  public:
    explicit memory_source(bytes content) : content_(std::move(content)) {}
    std::uint64_t size() const { return content_.size(); }
    read_outcome read(std::uint64_t position, void *out, std::size_t size) const {
        if (position > content_.size() || content_.size() - position < size) return read_outcome::cut;
        std::memcpy(out, content_.data() + position, size);
        return read_outcome::read;
    }

  private:
    bytes content_;
};

/// Sixteen bytes of header, then one word and `more` zero bytes.
memory_source word_at_16(std::uint64_t word, std::size_t more) {
    bytes content(16, 0);
    test::append(content, word);
    content.resize(content.size() + more, 0);
    return memory_source(content);
}

TEST(ArchiveContainer, RequiresAllReferencesOfAGroupInsideTheFile) {
    reference_list list;
    memory_source fits = word_at_16(2, 16), lacks = word_at_16(2, 15);
    EXPECT_EQ(find_group(fits, 16, list), QEL_ARCHIVE_OK);
    EXPECT_EQ(list.at, 24u);
    EXPECT_EQ(list.count, 2u);
    EXPECT_EQ(find_group(lacks, 16, list), QEL_ARCHIVE_DAMAGED);
    memory_source huge = word_at_16(~std::uint64_t{0} / 8 + 1, 8); // eight times that is 0 in 64 bits
    EXPECT_EQ(find_group(huge, 16, list), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveContainer, RequiresAllBytesOfDataInsideTheFile) {
    extent data;
    memory_source fits = word_at_16(5, 5), lacks = word_at_16(5, 4);
    EXPECT_EQ(find_data(fits, data_bit | 16, data), QEL_ARCHIVE_OK);
    EXPECT_EQ(data.at, 24u);
    EXPECT_EQ(data.size, 5u);
    EXPECT_EQ(find_data(lacks, data_bit | 16, data), QEL_ARCHIVE_DAMAGED);
    memory_source huge = word_at_16(~std::uint64_t{0}, 8);
    EXPECT_EQ(find_data(huge, data_bit | 16, data), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveContainer, TreatsPositionZeroAsEmpty) {
    memory_source source = word_at_16(7, 0);
    reference_list list = {9, 9};
    extent data = {9, 9};
    EXPECT_EQ(find_group(source, 0, list), QEL_ARCHIVE_OK);
    EXPECT_EQ(list.count, 0u);
    EXPECT_EQ(find_data(source, data_bit, data), QEL_ARCHIVE_OK);
    EXPECT_EQ(data.size, 0u);
}

TEST(ArchiveContainer, DistinguishesGroupsFromDataByTheHighestBit) {
    memory_source source = word_at_16(0, 0);
    reference_list list;
    extent data;
    EXPECT_EQ(find_group(source, 16, list), QEL_ARCHIVE_OK);
    EXPECT_EQ(find_group(source, data_bit | 16, list), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(find_data(source, data_bit | 16, data), QEL_ARCHIVE_OK);
    EXPECT_EQ(find_data(source, 16, data), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(find_data(source, 0, data), QEL_ARCHIVE_DAMAGED) << "an empty group is no data";
    EXPECT_EQ(find_group(source, data_bit, list), QEL_ARCHIVE_DAMAGED) << "empty data is no group";
}

TEST(ArchiveContainer, RefusesPositionsInTheHeaderAndPastTheEnd) {
    memory_source source = word_at_16(0, 3);
    reference_list list;
    for (const std::uint64_t place : {1u, 8u, 15u, 16u, 19u, 20u, 24u, 27u, 28u}) {
        const bool stands = place == 16 || place == 19;
        EXPECT_EQ(is_valid_position(place, 27), stands) << place;
        EXPECT_EQ(find_group(source, place, list), stands ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << place;
    }
}

} // namespace
} // namespace qel::archives
