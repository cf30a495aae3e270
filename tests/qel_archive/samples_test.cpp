// SPDX-License-Identifier: MIT
// Samples: which stored sample a number means, which sizes must agree, and what the caller gets.
#include "qel_archive/opened_archive.h"

#include <algorithm>

namespace qel {
namespace {

using namespace test;

constexpr std::uint64_t data_bit = archive_writer::data_bit;

using byte_samples = std::vector<std::vector<std::uint8_t>>;

template <class T>
archive_builder one_array(const std::vector<std::vector<T>> &samples, std::uint32_t extent = 1) {
    archive_builder builder;
    builder.top.properties.array("x", extent, samples);
    return builder;
}

template <class T>
archive_builder one_scalar(const std::vector<std::vector<T>> &samples, std::uint32_t extent = 1) {
    archive_builder builder;
    builder.top.properties.scalar("x", extent, samples);
    return builder;
}

archive_builder array_or_scalar(bool is_array, const byte_samples &samples) {
    return is_array ? one_array(samples) : one_scalar(samples);
}

archive_builder one_sample(property_kind kind, value_kind value, std::uint32_t extent, const sample_data &sample) {
    archive_builder builder;
    builder.top.properties.add("x", kind, value, extent, {sample});
    return builder;
}

property_node &x_of(archive_builder &builder) {
    return builder.top.properties.children.front();
}

std::int32_t read_status(const archive_builder &builder, std::uint64_t sample = 0) {
    const opened_archive opened(builder);
    EXPECT_EQ(opened.status, QEL_ARCHIVE_OK);
    return opened.read_status("/", "x", sample);
}

TEST(ArchiveSamples, AreReadWhicheverChangesAreStored) {
    const std::vector<byte_samples> all = {{{1}},
                                           {{1}, {1}, {1}},
                                           {{1}, {2}, {3}},
                                           {{1}, {1}, {2}, {2}},
                                           {{1}, {2}, {2}, {2}},
                                           {{1}, {1}, {1}, {2}},
                                           {{1}, {1}, {2}, {3}, {3}, {4}, {4}, {4}}};
    for (const byte_samples &samples : all)
        for (const changes changed : {changes::as_found, changes::written, changes::every_sample})
            for (const bool is_array : {false, true}) {
                archive_builder builder = array_or_scalar(is_array, samples);
                x_of(builder).changed = changed;
                const opened_archive opened(builder);
                ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
                for (std::size_t i = 0; i < samples.size(); ++i)
                    EXPECT_EQ(opened.values<std::uint8_t>("/", "x", i), samples[i]) << i;
                EXPECT_EQ(opened.read_status("/", "x", samples.size()), QEL_ARCHIVE_NOT_FOUND);
                EXPECT_EQ(opened.read_status("/", "x", ~std::uint64_t{0}), QEL_ARCHIVE_NOT_FOUND);
            }
}

TEST(ArchiveSamples, AreCopiedAsTheyAreStoredWithoutTheDigest) {
    const opened_archive scalar(one_scalar<double>({{1.5, -2, 1e300}}, 3));
    EXPECT_EQ(scalar.values<double>("/", "x"), (std::vector<double>{1.5, -2, 1e300}));
    const opened_archive array(one_array<std::int16_t>({{1, -2, 3, -4}}, 2));
    EXPECT_EQ(array.values<std::int16_t>("/", "x"), (std::vector<std::int16_t>{1, -2, 3, -4}));
}

TEST(ArchiveSamples, WriteNothingIfTheCapacityIsTooSmall) {
    const opened_archive opened(one_array<std::uint8_t>({{1, 2, 3, 4}}));
    for (const std::uint64_t capacity : {0u, 1u, 3u, 4u, 5u, 100u}) {
        bytes out(100, 0xAB);
        std::uint64_t size = 99;
        EXPECT_EQ(qel_archive_read_property(opened.get(), 0, 0, 0, out.data(), capacity, &size), QEL_ARCHIVE_OK);
        EXPECT_EQ(size, 4u) << capacity;
        const bytes expected = capacity < 4 ? bytes{0xAB, 0xAB, 0xAB, 0xAB, 0xAB} : bytes{1, 2, 3, 4, 0xAB};
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.begin())) << capacity;
    }
}

TEST(ArchiveSamples, ReportTheirSizeForANullBuffer) {
    const opened_archive opened(one_array<std::uint8_t>({{1, 2, 3, 4}}));
    std::uint64_t size = 99;
    EXPECT_EQ(qel_archive_read_property(opened.get(), 0, 0, 0, nullptr, 0, &size), QEL_ARCHIVE_OK);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(qel_archive_read_property(opened.get(), 0, 0, 0, nullptr, 1, &size), QEL_ARCHIVE_BAD_ARGUMENT);
}

TEST(ArchiveSamples, OfTextsEndWithAZeroByteEach) {
    archive_builder builder;
    builder.top.properties.text("one", "abc");
    builder.top.properties.texts("many", {"a", "", "bc"});
    builder.top.properties.texts("none", {});
    const opened_archive opened(builder);
    EXPECT_EQ(opened.values<char>("/", "one"), (std::vector<char>{'a', 'b', 'c', 0}));
    EXPECT_EQ(opened.values<char>("/", "many"), (std::vector<char>{'a', 0, 0, 'b', 'c', 0}));
    EXPECT_EQ(opened.values<char>("/", "none"), std::vector<char>());
}

/// Texts as one sample of a property, of the bytes given.
std::int32_t read_texts(const bytes &values, property_kind kind, std::uint32_t extent,
                        const std::vector<std::uint64_t> &dimensions = {}) {
    return read_status(one_sample(kind, value_kind::text, extent, {values, dimensions, true}));
}

TEST(ArchiveSamples, OfTextsRequireTheirExactCount) {
    EXPECT_EQ(read_texts({'a', 0}, property_kind::scalar, 1), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_texts({'a', 0, 0}, property_kind::scalar, 2), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_texts({'a', 0, 0}, property_kind::scalar, 1), QEL_ARCHIVE_DAMAGED) << "two, not one";
    EXPECT_EQ(read_texts({'a', 0}, property_kind::scalar, 2), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_texts({'a'}, property_kind::scalar, 1), QEL_ARCHIVE_DAMAGED) << "it does not end";
    EXPECT_EQ(read_texts({0, 'a'}, property_kind::scalar, 1), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_texts({}, property_kind::scalar, 1), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_texts({'a', 0, 'b', 0}, property_kind::array, 1, {2}), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_texts({'a', 0, 'b', 0}, property_kind::array, 1, {3}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_texts({'a', 0, 'b', 0}, property_kind::array, 2, {1}), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_texts({'a', 0, 'b', 0, 'c', 0}, property_kind::array, 2), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_texts({'a', 0, 'b'}, property_kind::array, 1), QEL_ARCHIVE_DAMAGED);
    bytes long_text(10'000, 'x'); // longer than one batch
    long_text.back() = 0;
    EXPECT_EQ(read_texts(long_text, property_kind::scalar, 1), QEL_ARCHIVE_OK);
    long_text[5000] = 0;
    EXPECT_EQ(read_texts(long_text, property_kind::scalar, 1), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveSamples, OfWideTextAreBytesOfAnyNumber) {
    for (const property_kind kind : {property_kind::scalar, property_kind::array}) {
        const sample_data sample = {{'a', 0, 0, 0, 7}, {}};
        const opened_archive opened(one_sample(kind, value_kind::wide_text, 1, sample));
        EXPECT_EQ(opened.values<std::uint8_t>("/", "x"), sample.values);
    }
}

TEST(ArchiveSamples, OfScalarsHaveTheSizeOfTheirExtent) {
    constexpr std::size_t sizes[] = {1, 1, 1, 2, 2, 4, 4, 8, 8, 2, 4, 8};
    for (std::uint32_t value = 0; value < 12; ++value)
        for (const std::uint32_t extent : {1u, 3u, 255u}) {
            const std::size_t size = sizes[value] * extent;
            for (const std::size_t stored : {std::size_t{0}, size - 1, size, size + 1, size + sizes[value]}) {
                const archive_builder builder =
                    one_sample(property_kind::scalar, static_cast<value_kind>(value), extent, {bytes(stored, 1), {}});
                EXPECT_EQ(read_status(builder), stored == size ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED)
                    << value << " " << extent << " " << stored;
            }
        }
}

TEST(ArchiveSamples, OfArraysAreWholeElements) {
    for (const std::size_t stored : {0u, 1u, 4u, 11u, 12u, 13u, 16u, 24u}) {
        const archive_builder builder = one_sample(property_kind::array, value_kind::f32, 3, {bytes(stored, 1), {}});
        EXPECT_EQ(read_status(builder), stored % 12 == 0 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << stored;
    }
}

TEST(ArchiveSamples, OfArraysMayBeEmptyWithADigestAndWithout) {
    for (const bool store_empty : {false, true}) {
        archive_builder builder = one_array<float>({{}});
        x_of(builder).samples[0].store_empty = store_empty;
        EXPECT_EQ(opened_archive(builder).values<float>("/", "x"), std::vector<float>());
    }
    archive_builder scalar = one_scalar<std::uint8_t>({{1}});
    x_of(scalar).samples[0].payload = bytes();
    EXPECT_EQ(read_status(scalar), QEL_ARCHIVE_DAMAGED) << "a scalar is not";
}

TEST(ArchiveSamples, BeginWithAWholeDigest) {
    for (const bool is_array : {false, true})
        for (const std::size_t size : {1u, 15u, 16u, 17u}) {
            archive_builder builder = array_or_scalar(is_array, {{1}});
            x_of(builder).samples[0].payload = bytes(size, 3);
            const bool sound = size == 17 || (is_array && size == 16); // without an element
            EXPECT_EQ(read_status(builder), sound ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << is_array << " " << size;
        }
}

std::int32_t read_with_dimensions(const std::vector<std::uint64_t> &dimensions, std::size_t elements) {
    sample_data sample = {bytes(elements * 2, 1), {}};
    sample.dimensions_payload = bytes_of(dimensions);
    return read_status(one_sample(property_kind::array, value_kind::u16, 1, sample));
}

TEST(ArchiveSamples, HaveAsManyElementsAsTheProductOfTheirDimensions) {
    const std::uint64_t half = std::uint64_t{1} << 32;
    EXPECT_EQ(read_with_dimensions({}, 6), QEL_ARCHIVE_OK) << "one dimension, as long as the data";
    EXPECT_EQ(read_with_dimensions({6}, 6), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_with_dimensions({5}, 6), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_with_dimensions({7}, 6), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_with_dimensions({2, 3}, 6), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_with_dimensions({2, 1, 3, 1}, 6), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_with_dimensions({2, 4}, 6), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_with_dimensions({0}, 0), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_with_dimensions({0}, 6), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_with_dimensions({6}, 0), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_with_dimensions({half, half}, 0), QEL_ARCHIVE_DAMAGED) << "0 in 64 bits";
    EXPECT_EQ(read_with_dimensions({6, ~std::uint64_t{0}}, 6), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_with_dimensions({half, half, 0}, 0), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_with_dimensions({0, half, half}, 0), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_with_dimensions({half, half, 0}, 6), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read_with_dimensions({3, ~std::uint64_t{0} / 3 + 3}, 6), QEL_ARCHIVE_DAMAGED) << "6 in 64 bits";
    std::vector<std::uint64_t> many(2000, 1); // more than one batch
    EXPECT_EQ(read_with_dimensions(many, 1), QEL_ARCHIVE_OK);
    many.back() = 6;
    EXPECT_EQ(read_with_dimensions(many, 6), QEL_ARCHIVE_OK);
    EXPECT_EQ(read_with_dimensions(many, 1), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveSamples, HaveWholeDimensions) {
    for (const std::size_t size : {1u, 7u, 8u, 9u, 15u}) {
        archive_builder builder = one_array<std::uint8_t>({{1}});
        bytes one(size, 0);
        one[0] = 1;
        x_of(builder).samples[0].dimensions_payload = one;
        EXPECT_EQ(read_status(builder), size == 8 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << size;
    }
}

TEST(ArchiveSamples, AreDamagedWhereFewerAreStoredThanNeeded) {
    for (const bool is_array : {false, true}) {
        const std::size_t each = is_array ? 2 : 1;
        const built_archive whole = array_or_scalar(is_array, {{1}, {2}, {3}}).build();
        for (std::size_t left = 0; left <= 3 * each; ++left) {
            archive_builder lacks = array_or_scalar(is_array, {{1}, {2}, {3}});
            x_of(lacks).edit_references = [left](std::vector<std::uint64_t> &references, std::uint64_t) {
                references.resize(left);
            };
            built_archive counts_fewer = whole; // the references themselves stay in the file
            counts_fewer.patch(whole.places.at("/:x").reference, std::uint64_t{left});
            for (const bytes &content : {lacks.build().content, counts_fewer.content}) {
                const opened_archive opened(content);
                ASSERT_EQ(opened.status, QEL_ARCHIVE_OK) << "samples are looked at when they are read";
                for (std::uint64_t i = 0; i < 3; ++i)
                    EXPECT_EQ(opened.read_status("/", "x", i),
                              (i + 1) * each <= left ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED)
                        << left << " " << i;
            }
        }
    }
    archive_builder none = one_scalar<std::uint8_t>({{1}});
    x_of(none).instead = 0;
    EXPECT_EQ(read_status(none), QEL_ARCHIVE_DAMAGED) << "a group at position 0 stores none";
}

TEST(ArchiveSamples, AreDamagedIfTheirReferenceIsInvalid) {
    const std::uint64_t far = std::uint64_t{1} << 40;
    for (const bool is_array : {false, true})
        for (const std::uint64_t reference :
             {std::uint64_t{0}, std::uint64_t{16}, data_bit | 8, data_bit | far, ~std::uint64_t{0}}) {
            archive_builder builder = array_or_scalar(is_array, {{1}});
            x_of(builder).samples[0].instead = reference;
            EXPECT_EQ(read_status(builder), QEL_ARCHIVE_DAMAGED) << is_array << " " << reference;
            if (!is_array) continue;
            builder = one_array<std::uint8_t>({{1}});
            x_of(builder).samples[0].dimensions_instead = reference;
            EXPECT_EQ(read_status(builder), QEL_ARCHIVE_DAMAGED) << reference;
        }
}

TEST(ArchiveSamples, AreDamagedIfTheirGroupIsLargerThanTheFile) {
    built_archive built = one_scalar<std::uint8_t>({{1}}).build();
    for (const std::uint64_t count : {std::uint64_t{1} << 61, ~std::uint64_t{0}}) { // eight times 2^61 is 0 in 64 bits
        built.patch(built.places.at("/:x").reference, count);
        EXPECT_EQ(opened_archive(built.content).read_status("/", "x"), QEL_ARCHIVE_DAMAGED) << count;
    }
}

TEST(ArchiveSamples, KeepTheSizeUnchangedOnFailure) {
    archive_builder builder = one_scalar<std::uint8_t>({{1}});
    builder.top.properties.compound("c");
    x_of(builder).samples[0].payload = bytes(3, 3);
    const opened_archive opened(builder);
    std::uint64_t size = 77;
    EXPECT_EQ(qel_archive_read_property(opened.get(), 0, 0, 0, nullptr, 0, &size), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(qel_archive_read_property(opened.get(), 0, 0, 1, nullptr, 0, &size), QEL_ARCHIVE_NOT_FOUND);
    EXPECT_EQ(qel_archive_read_property(opened.get(), 0, 1, 0, nullptr, 0, &size), QEL_ARCHIVE_WRONG_KIND);
    EXPECT_EQ(qel_archive_read_property(opened.get(), 0, 2, 0, nullptr, 0, &size), QEL_ARCHIVE_NOT_FOUND);
    EXPECT_EQ(qel_archive_read_property(opened.get(), 1, 0, 0, nullptr, 0, &size), QEL_ARCHIVE_NOT_FOUND);
    EXPECT_EQ(size, 77u);
}

} // namespace
} // namespace qel
