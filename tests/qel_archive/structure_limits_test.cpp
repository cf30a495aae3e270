// SPDX-License-Identifier: MIT
// The limits on the contents of a file, in both ways of reading it: an archive that shares
// its groups so often that more bytes are read than the file has is read again with a table of positions.
#include "qel_archive/opened_archive.h"
#include "qel_archive/written_trees.h"
#include "support/failing_heap.h"

#include <fstream>

namespace qel {
namespace {

using namespace test;

constexpr std::uint32_t max_objects = 1u << 20, max_properties = 1u << 24;

/// Adds objects that share one object of 20 KB often enough for the archive to be read with a table of positions.
void add_shared_objects(archive_builder &builder) {
    builder.top.add("shared").properties.compound("c", std::string(20'000, 'm')).inline_metadata = true;
    const std::uint64_t shared = builder.build().places.at("/shared").reference;
    for (int i = 0; i < 40; ++i)
        builder.top.add("copy" + std::to_string(i)).instead = shared;
}

/// An archive of one group of objects: its headers, and references to empty objects.
bytes flat_objects(std::uint32_t count) {
    archive_writer out;
    std::vector<std::uint64_t> references(count + 1, archive_writer::empty_group); // a compound, the objects
    references.push_back(object_headers(out, count, max_objects));
    set_top_object(out, out.group(references));
    return out.content();
}

TEST(ArchiveLimits, OfObjectsApplyWithoutSharedGroups) {
    const opened_archive opened(flat_objects(max_objects - 1));
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.info().object_count, max_objects) << "with the top object";
    EXPECT_EQ(status_of(flat_objects(max_objects)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(flat_objects(max_objects + 1)), QEL_ARCHIVE_DAMAGED) << "more than a group may refer to";
}

/// Objects of 2 and of `count` children, whose headers are the first one's.
archive_builder shared_object_headers(std::size_t count) {
    archive_builder builder;
    add_shared_objects(builder);
    object_node &first = builder.top.add("first");
    first.add("a");
    first.add("b");
    const std::uint64_t headers = builder.build().places.at("/first").references.back();
    object_node &second = builder.top.add("second");
    second.edit_references = [=](std::vector<std::uint64_t> &references, std::uint64_t) {
        references.assign(count + 1, archive_writer::empty_group);
        references.push_back(headers);
    };
    return builder;
}

TEST(ArchiveLimits, OfObjectsRequireAsManyHeadersAsReferences) {
    EXPECT_EQ(opened_archive(shared_object_headers(2)).object("/second").child_count, 2u);
    EXPECT_EQ(status_of(shared_object_headers(1)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(shared_object_headers(3)), QEL_ARCHIVE_DAMAGED);
}

/// Compounds of 2 and of `count` properties, whose headers are the first one's.
archive_builder shared_property_headers(std::size_t count) {
    archive_builder builder;
    add_shared_objects(builder);
    property_node &first = builder.top.add("first").properties;
    first.compound("a");
    first.compound("b");
    const std::uint64_t headers = builder.build().places.at("/first:").references.back();
    property_node &second = builder.top.add("second").properties;
    second.compound("any");
    second.edit_references = [=](std::vector<std::uint64_t> &references, std::uint64_t) {
        references.assign(count, archive_writer::empty_group);
        references.push_back(headers);
    };
    return builder;
}

TEST(ArchiveLimits, OfPropertiesRequireAsManyHeadersAsReferences) {
    EXPECT_EQ(opened_archive(shared_property_headers(2)).object("/second").property_count, 2u);
    EXPECT_EQ(status_of(shared_property_headers(1)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(shared_property_headers(3)), QEL_ARCHIVE_DAMAGED);
}

/// Puts compounds, each inside the one before, into one; returns the last.
property_node &nest(property_node &outer, std::uint32_t count) {
    property_node *last = &outer;
    for (std::uint32_t i = 0; i < count; ++i)
        last = &last->compound("c");
    return *last;
}

/// A compound of 600 levels that is also inside another one, below `above` levels.
archive_builder shared_levels(std::uint32_t above) {
    archive_builder builder;
    add_shared_objects(builder);
    nest(builder.top.add("first").properties, 599).scalar<std::uint8_t>("x", 1, {{1}});
    const std::uint64_t levels = builder.build().places.at("/first:").reference;
    nest(builder.top.add("second").properties, above).instead = levels;
    return builder;
}

TEST(ArchiveLimits, OfLevelsIncludeTheLevelsAboveSharedCompounds) {
    const opened_archive opened(shared_levels(400));
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.object("/second").property_count, 1000u);
    EXPECT_EQ(status_of(shared_levels(401)), QEL_ARCHIVE_DAMAGED);
}

bytes headers_of_compounds(std::uint32_t count, const std::string &metadata = "") {
    bytes headers;
    for (std::uint32_t i = 0; i < count; ++i) {
        property_header header;
        header.name = std::to_string((1u << 17) + i);
        if (!metadata.empty()) {
            header.set(info_width, static_cast<std::uint32_t>(number_width::u32));
            header.set(info_metadata, metadata_follows);
            header.metadata = metadata;
        }
        append_bytes(headers, bytes_of_header(header));
    }
    return headers;
}

/// An archive of 2^24 + `more` properties, all in objects below an instance: they are read, but not shown.
/// Nearly all of its bytes are references to empty compounds, which are zero, so that the file is sparse.
class many_properties {
  public:
    explicit many_properties(std::uint32_t more) {
        add_instance_property();
        // Read 150 times, 150 MB are more than the file has.
        const std::uint64_t weight = out_.data(headers_of_compounds(1, std::string(1'000'000, 'm')));
        const std::uint64_t shared = out_.group({out_.group({0, weight})});
        children_.assign(150, shared);
        const std::uint64_t headers = out_.data(headers_of_compounds(each));
        for (std::uint32_t i = 0; i < max_properties / each - 1; ++i)
            add_compound(each, headers);
        const std::uint32_t rest = each - 2 + more; // two are the instance's and the shared one
        add_compound(rest, out_.data(headers_of_compounds(rest)));
        finish();
    }

    /// The status of opening it.
    std::int32_t status() const {
        qel_archive *archive = nullptr;
        const std::int32_t opened = qel_archive_open(folder_.file("archive.abc").c_str(), &archive);
        qel_archive_close(archive);
        return opened;
    }

  private:
    static constexpr std::uint32_t each = 1u << 16;
    static constexpr std::uint64_t groups_at = std::uint64_t{8} << 20; // after everything else

    struct large_group {
        std::uint64_t at, count, headers;
    };

    void add_instance_property() {
        property_header header;
        header.set(info_kind, static_cast<std::uint32_t>(property_kind::scalar));
        header.set(info_value, static_cast<std::uint32_t>(value_kind::text));
        header.set(info_extent, 1);
        header.samples = 1;
        header.name = ".instanceSource";
        bytes source = bytes_of_text("/source");
        source.push_back(0);
        const std::uint64_t sample = out_.group({out_.data(archive_writer::with_digest(source))});
        instance_properties_ = out_.group({sample, out_.data(bytes_of_header(header))});
    }

    void add_compound(std::uint64_t count, std::uint64_t headers) {
        groups_.push_back({next_group_, count, headers});
        children_.push_back(out_.group({next_group_}));
        next_group_ += 8 + 8 * (count + 1);
    }

    void finish() {
        const std::uint64_t instance = object_group(out_, instance_properties_, children_);
        bytes headers = bytes_of_header(object_header{"instance", 0, ""});
        append_bytes(headers, bytes_of_header(object_header{"source", 0, ""}));
        headers.resize(headers.size() + 32);
        set_top_object(out_, out_.group({0, instance, 0, out_.data(headers)}));
        ASSERT_LE(out_.size(), groups_at);
        out_.save(folder_.file("archive.abc"));
        std::filesystem::resize_file(folder_.file("archive.abc"), next_group_);
        std::fstream file(folder_.file("archive.abc"), std::ios::in | std::ios::out | std::ios::binary);
        const auto put = [&file](std::uint64_t at, std::uint64_t word) {
            file.seekp(static_cast<std::streamoff>(at));
            file.write(reinterpret_cast<const char *>(&word), sizeof word);
        };
        for (const large_group &group : groups_) {
            put(group.at, group.count + 1);
            put(group.at + 8 + 8 * group.count, group.headers);
        }
    }

    archive_writer out_;
    temp_folder folder_;
    std::uint64_t instance_properties_ = 0;
    std::vector<std::uint64_t> children_; // of the instance
    std::vector<large_group> groups_;
    std::uint64_t next_group_ = groups_at;
};

/// How many blocks of memory it takes to see the damage of an archive whose first compound is a group of `count`
/// references, all zero. The file is a hole but for its beginning.
std::uint64_t blocks_for_compound_of(std::uint64_t count) {
    constexpr std::uint64_t group_at = 4096;
    archive_writer out;
    set_top_object(out, object_group(out, group_at, {}));
    out.pad_to(group_at);
    out.append_raw(bytes_of(std::vector<std::uint64_t>{count}));
    const temp_folder folder;
    const std::string path = folder.file("archive.abc");
    out.save(path);
    std::filesystem::resize_file(path, group_at + 8 + 8 * count);
    const failing_heap heap = failing_heap::nth(0);
    qel_archive *archive = nullptr;
    EXPECT_EQ(qel_archive_open(path.c_str(), &archive), QEL_ARCHIVE_DAMAGED) << count;
    return heap.count();
}

TEST(ArchiveLimits, OfACompoundsReferencesApplyBeforeTheyAreRead) {
    const std::uint64_t refused = blocks_for_compound_of(2 * max_properties);
    EXPECT_GT(blocks_for_compound_of(max_properties + 1), refused) << "a reference for each, and one to their headers";
    EXPECT_EQ(blocks_for_compound_of(max_properties + 2), refused);
}

TEST(ArchiveLimits, OfPropertiesIncludeThoseOfInstances) {
    EXPECT_EQ(many_properties(0).status(), QEL_ARCHIVE_OK);
    EXPECT_EQ(many_properties(1).status(), QEL_ARCHIVE_DAMAGED);
}

} // namespace
} // namespace qel
