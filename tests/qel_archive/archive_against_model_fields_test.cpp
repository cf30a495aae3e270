// SPDX-License-Identifier: MIT
// Every field of every property of small archives takes every value that matters, one at a time; the archive reader
// answers as the model does.
#include "model/archive_comparison.h"
#include "qel_archive.h"
#include "qel_archive/small_archives.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace qel {
namespace {

using namespace test;

/// One change to a property, and its description for the message.
struct property_change {
    std::string what;
    std::function<void(property_node &)> apply;
};

struct property_changes : std::vector<property_change> {
    void add_to_header(const std::string &what, const std::function<void(property_header &)> &edit) {
        push_back({what, [edit](property_node &property) { property.edit_header = edit; }});
    }

    /// To the first sample; properties without samples stay as they are.
    void add_to_sample(const std::string &what, const std::function<void(sample_data &)> &edit) {
        push_back({what, [edit](property_node &property) {
                       if (!property.samples.empty()) edit(property.samples.front());
                   }});
    }
};

void collect(property_node &property, std::vector<property_node *> &all) {
    all.push_back(&property);
    for (property_node &child : property.children)
        collect(child, all);
}

std::vector<property_node *> all_properties(object_node &object) {
    std::vector<property_node *> all;
    collect(object.properties, all);
    for (object_node &child : object.children) {
        const std::vector<property_node *> below = all_properties(child);
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

class ArchiveFields : public testing::Test {
  protected:
    void compare(const archive_builder &archive, const std::string &what) {
        std::filesystem::remove(path_); // a new file waits for no disk, unlike one that is written over
        archive.save(path_);
        EXPECT_EQ(model::first_difference(path_), "") << what;
        ++(model::model_status(path_) == QEL_ARCHIVE_OK ? opened_ : refused_);
    }

    /// Makes each change to each property of each small archive, some of which are refused then.
    void compare_each(const property_changes &changes, std::uint32_t min_refused = 100) {
        for (const archive_builder &archive : small_archives()) {
            archive_builder counted = archive;
            const std::size_t count = all_properties(counted.top).size();
            for (std::size_t i = 0; i < count; ++i)
                for (const property_change &change : changes) {
                    archive_builder changed = archive;
                    property_node &property = *all_properties(changed.top)[i];
                    change.apply(property);
                    compare(changed, property.name + ": " + change.what);
                }
        }
        EXPECT_GT(opened_, 100u);
        EXPECT_GT(refused_, min_refused);
    }

    temp_folder folder_;
    std::string path_ = folder_.file("archive.abc");
    std::uint32_t opened_ = 0, refused_ = 0;
};

TEST_F(ArchiveFields, OfTheInfoWordAreReadAlike) {
    property_changes changes;
    for (const info_field &field : {info_kind, info_width, info_value, info_has_sampling, info_has_changed,
                                    info_same_size, info_all_equal, info_extent, info_metadata})
        for (std::uint32_t value = 0; value < std::uint32_t{1} << field.bits; ++value) {
            if (value > 16 && value < 250) continue;
            changes.add_to_header(std::to_string(field.shift) + " = " + std::to_string(value),
                                  [field, value](property_header &header) { header.set(field, value); });
        }
    compare_each(changes);
}

TEST_F(ArchiveFields, OfSamplesAndTheirChangesAreReadAlike) {
    property_changes changes;
    for (std::uint32_t samples = 0; samples <= 4; ++samples) {
        const std::string so_many = std::to_string(samples) + " samples";
        changes.add_to_header(so_many, [=](property_header &header) { header.samples = samples; });
        for (std::uint32_t first = 0; first <= 4; ++first)
            for (std::uint32_t last = 0; last <= 4; ++last) {
                const std::string range = std::to_string(first) + " to " + std::to_string(last);
                changes.add_to_header(so_many + ", " + range, [=](property_header &header) {
                    header.set(info_has_changed, 1);
                    header.samples = samples;
                    header.first_changed = first;
                    header.last_changed = last;
                });
            }
    }
    for (std::uint32_t sampling = 0; sampling <= 3; ++sampling)
        changes.add_to_header("sampling " + std::to_string(sampling), [=](property_header &header) {
            header.set(info_has_sampling, 1);
            header.time_sampling = sampling;
        });
    compare_each(changes);
}

TEST_F(ArchiveFields, OfTextsAreReadAlike) {
    property_changes changes;
    const std::vector<std::string> names = {
        "",  "/", "a/b",     "a/",    "/a",     std::string("a\0b", 3), std::string(1, '\0'), ".",
        "P", "N", "visible", ".geom", ".xform", ".instanceSource"};
    for (const std::string &name : names)
        changes.add_to_header("name " + name, [=](property_header &header) { header.name = name; });
    for (const std::uint32_t more : {0xFFFFFFFFu, 1u, 2u, 100u}) {
        changes.add_to_header("name length + " + std::to_string(more), [=](property_header &header) {
            header.name_length = static_cast<std::uint32_t>(header.name.size()) + more;
        });
        changes.add_to_header("text length + " + std::to_string(more), [=](property_header &header) {
            header.set(info_metadata, metadata_follows);
            header.text_length = static_cast<std::uint32_t>(header.metadata.size()) + more;
        });
    }
    const std::vector<std::string> texts = {"geoScope=con",
                                            "geoScope=uni",
                                            "geoScope=var",
                                            "geoScope=vtx",
                                            "geoScope=fvr",
                                            "geoScope=",
                                            "geoScope",
                                            "geoScope=x",
                                            "sourceName=a",
                                            "sourceName=",
                                            "sourceName=" + std::string(70, 'n')};
    for (const std::string &text : texts)
        changes.push_back({"metadata " + text, [=](property_node &property) { property.metadata = text; }});
    compare_each(changes);
}

TEST_F(ArchiveFields, OfSampleDataAreReadAlike) {
    property_changes changes;
    for (std::size_t size = 0; size <= 20; ++size)
        changes.add_to_sample("size " + std::to_string(size), [=](sample_data &sample) { sample.values.resize(size); });
    for (const std::size_t more : {1u, 4u, 8u, 12u, 16u})
        changes.add_to_sample("size + " + std::to_string(more),
                              [=](sample_data &sample) { sample.values.resize(sample.values.size() + more); });
    changes.add_to_sample("another last byte", [](sample_data &sample) {
        if (!sample.values.empty()) sample.values.back() = 'z';
    });
    const std::uint64_t half = std::uint64_t{1} << 32;
    const std::vector<std::vector<std::uint64_t>> products = {{0},
                                                              {1},
                                                              {2},
                                                              {3},
                                                              {1, 1},
                                                              {1, 2},
                                                              {2, 1},
                                                              {3, 1, 1},
                                                              {0, half},
                                                              {half, half},
                                                              {half * half - 1, 0},
                                                              {half, half, 3},
                                                              {std::uint64_t{1} << 63, 2},
                                                              {half + 1, half - 1},
                                                              {0, 1},
                                                              {~std::uint64_t{0}}};
    for (const std::vector<std::uint64_t> &dimensions : products)
        for (const bool empty : {false, true})
            changes.add_to_sample("dimensions " + std::to_string(dimensions[0]), [=](sample_data &sample) {
                sample.dimensions = dimensions;
                if (empty) sample.values.clear();
            });
    compare_each(changes, 40); // opening reads the source of an instance only
}

TEST_F(ArchiveFields, OfReferencesAreReadAlike) {
    constexpr std::uint64_t data = archive_writer::data_bit;
    property_changes changes;
    for (const std::uint64_t at : {0u, 1u, 8u, 15u, 16u, 17u, 24u, 32u, 100u, 1000u, 100000u})
        for (const std::uint64_t reference : {std::uint64_t{at}, at | data}) {
            const std::string what = std::to_string(at) + (reference == at ? "" : " as data");
            changes.push_back({"group " + what, [=](property_node &property) { property.instead = reference; }});
            changes.add_to_sample("sample " + what, [=](sample_data &sample) { sample.instead = reference; });
            changes.add_to_sample("dimensions " + what,
                                  [=](sample_data &sample) { sample.dimensions_instead = reference; });
        }
    compare_each(changes);
}

} // namespace
} // namespace qel
