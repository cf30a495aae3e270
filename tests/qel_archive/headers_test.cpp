// SPDX-License-Identifier: MIT
// Headers of objects and properties: every field, every width, every kind of damage.
#include "qel_archive/opened_archive.h"

namespace qel {
namespace {

using namespace test;

/// An archive with one property of the top object, whose header is edited.
template <class Edit>
archive_builder one_property(const Edit &edit) {
    archive_builder builder;
    builder.top.properties.scalar<std::uint8_t>("x", 1, {{1}, {2}, {3}}).edit_header = edit;
    return builder;
}

template <class Edit>
std::int32_t status_of_property(const Edit &edit) {
    return status_of(one_property(edit));
}

/// An archive with one object, whose header is edited.
template <class Edit>
std::int32_t status_of_object(const Edit &edit) {
    archive_builder builder;
    builder.top.add("a").edit_header = edit;
    return status_of(builder);
}

TEST(ArchiveHeaders, ReadNumbersOfAllWidths) {
    for (const number_width width : {number_width::u8, number_width::u16, number_width::u32}) {
        archive_builder builder;
        const std::uint32_t film = builder.add_sampling({0.25, {0}});
        property_node &node =
            builder.top.properties.scalar<std::int32_t>("number", 1, {{5}, {5}, {6}, {7}, {7}}, film, "key=value");
        node.width = width;
        node.inline_metadata = true;
        node.changed = changes::written;
        const opened_archive opened(builder);
        ASSERT_EQ(opened.status, QEL_ARCHIVE_OK) << static_cast<int>(width);
        const qel_archive_property found = opened.property("/", 0u);
        EXPECT_STREQ(found.name, "number");
        EXPECT_STREQ(found.metadata, "key=value");
        EXPECT_EQ(found.sample_count, 5u);
        EXPECT_EQ(found.time_sampling, 1u);
        for (const auto &[sample, value] : {std::pair{0u, 5}, {1u, 5}, {2u, 6}, {3u, 7}, {4u, 7}})
            EXPECT_EQ(opened.values<std::int32_t>("/", "number", sample), std::vector<std::int32_t>{value});
    }
}

TEST(ArchiveHeaders, RefuseAnUndefinedWidth) {
    EXPECT_EQ(status_of_property([](property_header &header) { header.set(info_width, 3); }), QEL_ARCHIVE_DAMAGED);
    archive_builder builder;
    builder.top.properties.compound("c").width = number_width::undefined;
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED) << "of a compound too";
}

TEST(ArchiveHeaders, ReadLongNumbers) {
    archive_builder builder;
    const std::string name(300, 'n'), text(70'000, 't');
    builder.top.properties.compound(name, text);
    const opened_archive opened(builder);
    EXPECT_EQ(opened.property("/", 0u).name, name);
    EXPECT_EQ(opened.property("/", 0u).metadata, text);
}

TEST(ArchiveHeaders, AcceptScalarAndArrayKinds) {
    for (const std::uint32_t stored : {1u, 2u, 3u}) {
        const opened_archive opened(one_property([stored](property_header &header) { header.set(info_kind, stored); }));
        EXPECT_EQ(opened.property("/", "x").kind, stored == 1 ? 1u : 2u) << "3 is an array of one element";
    }
}

TEST(ArchiveHeaders, AcceptThirteenKindsOfValuesAndWideText) {
    for (std::uint32_t value = 0; value < 16; ++value) {
        const archive_builder builder =
            one_property([value](property_header &header) { header.set(info_value, value); });
        EXPECT_EQ(status_of(builder), value <= 13 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << value;
        if (value > 13) continue;
        EXPECT_EQ(opened_archive(builder).property("/", "x").value, value);
    }
}

TEST(ArchiveHeaders, RefuseAnExtentOfZero) {
    for (const std::uint32_t extent : {0u, 1u, 255u}) {
        const archive_builder builder =
            one_property([extent](property_header &header) { header.set(info_extent, extent); });
        EXPECT_EQ(status_of(builder), extent == 0 ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_OK) << extent;
        if (extent == 0) continue;
        EXPECT_EQ(opened_archive(builder).property("/", "x").extent, extent);
    }
}

TEST(ArchiveHeaders, IgnoreAllFieldsOfACompoundExceptItsName) {
    archive_builder builder;
    builder.top.properties.compound("c", "k=v").edit_header = [](property_header &header) {
        header.info |= 15u << 4 | 1u << 8 | 1u << 9 | 1u << 10 | 1u << 11; // not of a compound
    };
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    const qel_archive_property found = opened.property("/", "c");
    EXPECT_EQ(found.kind, 0u);
    EXPECT_EQ(found.value, 0u);
    EXPECT_EQ(found.extent, 0u);
    EXPECT_EQ(found.sample_count, 0u);
    EXPECT_EQ(found.time_sampling, 0u);
    EXPECT_EQ(found.constant, 1u) << "at most one sample";
    EXPECT_STREQ(found.metadata, "k=v");
}

/// First and last changed sample, as they are stored of three samples.
std::int32_t status_of_changes(std::uint32_t first, std::uint32_t last, std::uint32_t samples = 3) {
    return status_of_property([=](property_header &header) {
        header.set(info_has_changed, 1);
        header.samples = samples;
        header.first_changed = first;
        header.last_changed = last;
    });
}

TEST(ArchiveHeaders, RefuseInvalidRangesOfChangedSamples) {
    EXPECT_EQ(status_of_changes(0, 0), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_changes(1, 1), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_changes(1, 2), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_changes(2, 2), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_changes(2, 1), QEL_ARCHIVE_DAMAGED) << "the first above the last";
    EXPECT_EQ(status_of_changes(1, 0), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_changes(0, 1), QEL_ARCHIVE_DAMAGED) << "0 beside another last";
    EXPECT_EQ(status_of_changes(1, 3), QEL_ARCHIVE_DAMAGED) << "beyond the samples";
    EXPECT_EQ(status_of_changes(3, 3), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_changes(0, 0, 0), QEL_ARCHIVE_OK) << "of no samples";
    EXPECT_EQ(status_of_changes(1, 1, 0), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_changes(1, 1, 1), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveHeaders, ReportWhetherAllSamplesAreEqual) {
    const auto constant = [](bool all_equal, bool has_changed, std::uint32_t first, std::uint32_t samples) {
        const opened_archive opened(one_property([=](property_header &header) {
            header.set(info_all_equal, all_equal);
            header.set(info_has_changed, has_changed);
            header.first_changed = header.last_changed = first;
            header.samples = samples;
        }));
        return opened.property("/", "x").constant;
    };
    EXPECT_EQ(constant(true, false, 0, 3), 1u);
    EXPECT_EQ(constant(false, true, 0, 3), 1u) << "0 and 0: all are equal";
    EXPECT_EQ(constant(false, true, 1, 3), 0u);
    EXPECT_EQ(constant(false, false, 0, 3), 0u);
    EXPECT_EQ(constant(false, false, 0, 2), 0u);
    EXPECT_EQ(constant(false, false, 0, 1), 1u) << "at most one";
    EXPECT_EQ(constant(false, false, 0, 0), 1u);
}

TEST(ArchiveHeaders, RefuseAMissingTimeSampling) {
    for (const std::uint32_t number : {0u, 1u, 2u, 255u}) {
        archive_builder builder = one_property([number](property_header &header) {
            header.set(info_has_sampling, 1);
            header.time_sampling = number;
        });
        builder.add_sampling({});
        EXPECT_EQ(status_of(builder), number < 2 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << number;
    }
    archive_builder builder = one_property([](property_header &) {});
    builder.samplings.clear(); // not even the static one, which a header need not name
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveHeaders, ReadTextsByNumberAndInTheHeader) {
    for (const bool in_header : {false, true}) {
        archive_builder builder;
        builder.top.properties.compound("c", "of=property").inline_metadata = in_header;
        builder.top.properties.compound("d", "of=property").inline_metadata = in_header;
        builder.top.add("a", "of=object").inline_metadata = in_header;
        const opened_archive opened(builder);
        EXPECT_STREQ(opened.property("/", "c").metadata, "of=property");
        EXPECT_STREQ(opened.property("/", "d").metadata, "of=property");
        EXPECT_STREQ(opened.object("/a").metadata, "of=object");
    }
}

TEST(ArchiveHeaders, RefuseAMetadataNumberWithoutAText) {
    for (const std::uint32_t number : {0u, 1u, 2u, 3u, 254u}) {
        archive_builder builder;
        builder.top.add("a", "first=1");
        builder.top.add("b", "second=2"); // two shared texts
        builder.top.properties.compound("c").edit_header = [number](property_header &header) {
            header.set(info_metadata, number);
        };
        EXPECT_EQ(status_of(builder), number <= 2 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << number;
        builder.top.properties.children.clear();
        builder.top.add("c").edit_header = [number](object_header &header) {
            header.metadata_number = static_cast<std::uint8_t>(number);
        };
        EXPECT_EQ(status_of(builder), number <= 2 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << number;
    }
}

TEST(ArchiveHeaders, ReadTheFirst254SharedTextsAndRefuseTruncatedFurtherOnes) {
    for (const std::size_t surplus : {0u, 1u, 2u, 3u}) {
        archive_builder builder;
        for (int i = 1; i <= 254; ++i)
            builder.top.properties.compound("p" + std::to_string(i), "number=" + std::to_string(i));
        builder.edit_shared_texts = [surplus](bytes &texts) {
            const bytes more = {2, 'k', '='};
            texts.insert(texts.end(), more.begin(), more.begin() + static_cast<std::ptrdiff_t>(surplus));
        };
        const opened_archive opened(builder);
        const bool whole = surplus == 0 || surplus == 3;
        EXPECT_EQ(opened.status, whole ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << surplus;
        if (!whole) continue;
        EXPECT_STREQ(opened.property("/", "p1").metadata, "number=1");
        EXPECT_STREQ(opened.property("/", "p254").metadata, "number=254");
    }
}

TEST(ArchiveHeaders, RefuseASharedTextThatIsCutShort) {
    for (const int change : {-1, 0, 1}) {
        archive_builder builder;
        builder.top.add("a", "k=v");
        builder.edit_shared_texts = [change](bytes &texts) { texts[0] = static_cast<std::uint8_t>(texts[0] + change); };
        EXPECT_EQ(status_of(builder), change == 0 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << change;
    }
}

TEST(ArchiveHeaders, OfObjectsAreRefusedWhereTheyAreCutShort) {
    archive_builder builder;
    builder.top.add("abc", "k=v").inline_metadata = true;
    builder.top.digest_bytes = 0;
    const std::size_t whole = 4 + 3 + 1 + 4 + 3;
    for (std::size_t length = 0; length <= whole + 1; ++length) {
        builder.top.edit_headers = [=](bytes &headers) {
            ASSERT_EQ(headers.size(), whole);
            headers.resize(length);
            headers.resize(length + 32); // the digests
        };
        EXPECT_EQ(status_of(builder), length == whole ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << length;
    }
}

TEST(ArchiveHeaders, OfPropertiesAreRefusedWhereTheyAreCutShort) {
    archive_builder builder;
    property_node &node = builder.top.properties.scalar<std::uint8_t>("abc", 1, {{1}, {2}}, 0, "k=v");
    node.inline_metadata = node.write_static_sampling = true;
    node.changed = changes::written;
    const std::size_t whole = 4 + 1 + 2 + 1 + 1 + 3 + 1 + 3;
    for (std::size_t length = 0; length <= whole + 1; ++length) {
        builder.top.properties.edit_headers = [=](bytes &headers) {
            ASSERT_EQ(headers.size(), whole);
            headers.resize(length);
        };
        EXPECT_EQ(status_of(builder), length == whole ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED) << length;
    }
}

TEST(ArchiveHeaders, RefuseLengthsPastTheirEnd) {
    const auto beyond = [](auto &header) { header.name_length = 0xFF; };
    EXPECT_EQ(status_of_object(beyond), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_property(beyond), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_object([](object_header &header) { header.name_length = 0xFFFFFFFF; }), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_object([](object_header &header) {
                  header.metadata_number = 0xFF;
                  header.metadata = "k=v";
                  header.text_length = 4; // one byte of the digests
              }),
              QEL_ARCHIVE_DAMAGED);
}

} // namespace
} // namespace qel
