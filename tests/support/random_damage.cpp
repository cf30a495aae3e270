// SPDX-License-Identifier: MIT
// Damage to the archives of random_archive.h.
#include "support/random_archive.h"

#include <algorithm>

namespace qel::test {
namespace {

void collect(property_node &property, std::vector<property_node *> &all) {
    all.push_back(&property);
    for (property_node &child : property.children)
        collect(child, all);
}

void collect(object_node &object, std::vector<object_node *> &objects, std::vector<property_node *> &properties) {
    objects.push_back(&object);
    collect(object.properties, properties);
    for (object_node &child : object.children)
        collect(child, objects, properties);
}

/// Numbers at the limits of what is stored, and around the present value.
std::uint64_t other_number(chance &random, std::uint64_t now) {
    static const std::vector<std::uint64_t> special = {
        0, 1, 2, 0x7F, 0xFF, 0x100, 0xFFFF, 0x7FFFFFFF, 0xFFFFFFFF, UINT64_MAX, archive_writer::data_bit};
    if (random.one_in(3)) return now + random.below(7) - 3;
    return random.of(special);
}

std::uint64_t other_reference(chance &random, std::uint64_t now, std::uint64_t own) {
    switch (random.below(8)) {
    case 0:
        return 0;
    case 1:
        return archive_writer::empty_data;
    case 2:
        return own;
    case 3:
        return now ^ archive_writer::data_bit;
    case 4:
        return random.below(own + 100) | (now & archive_writer::data_bit);
    case 5:
        return other_number(random, now);
    case 6:
        return 16 + random.below(200);
    default:
        return (now + 8) ^ (std::uint64_t{1} << random.below(64));
    }
}

void change_references(chance &random, std::vector<std::uint64_t> &references, std::uint64_t own) {
    if (references.empty() || random.one_in(5)) {
        references.push_back(other_reference(random, own, own));
        return;
    }
    std::uint64_t &one = references[random.below(references.size())];
    switch (random.below(5)) {
    case 0:
        references.pop_back();
        break;
    case 1:
        std::swap(one, references[random.below(references.size())]);
        break;
    case 2:
        one = references[random.below(references.size())];
        break;
    default:
        one = other_reference(random, one, own);
    }
}

references_edit changed_references(chance &random) {
    return [seed = random.word()](std::vector<std::uint64_t> &references, std::uint64_t own) {
        chance again(seed);
        change_references(again, references, own);
    };
}

/// Cuts, lengthens or changes bytes.
void change_bytes(chance &random, bytes &content) {
    if (content.empty() || random.one_in(4)) {
        for (std::uint32_t i = 1 + random.below(40); i > 0; --i)
            content.push_back(static_cast<std::uint8_t>(random.one_in(2) ? 0 : random.word()));
    } else if (random.one_in(2)) {
        content.resize(content.size() - 1 - random.below(std::min<std::size_t>(content.size(), 40)));
    } else {
        content[random.below(content.size())] = static_cast<std::uint8_t>(random.word());
    }
}

std::function<void(bytes &)> changed_bytes(chance &random) {
    return [seed = random.word()](bytes &content) {
        chance again(seed);
        change_bytes(again, content);
    };
}

void change_name(chance &random, std::string &name) {
    static const std::vector<std::string> names = {
        "", "/", "a/b", std::string("a\0b", 3), std::string(1, '\0'), "a", "visible", ".geom", ".instanceSource", "P"};
    name = random.of(names);
}

void change_metadata(chance &random, std::string &metadata) {
    static const std::vector<std::string> texts = {"",
                                                   "schema=AbcGeom_PolyMesh_v1",
                                                   "schema=AbcGeom_Xform_v3",
                                                   "schema=",
                                                   "=",
                                                   ";;",
                                                   "schema",
                                                   "geoScope=fvr",
                                                   "geoScope=",
                                                   "sourceName=",
                                                   "a=b;schema=AbcGeom_SubD_v1",
                                                   "schema=AbcGeom_PolyMesh_v12",
                                                   "schema=AbcGeom_PolyMesh_v",
                                                   "schema=AbcGeom_PolyMesh",
                                                   "schema=PolyMesh_v1",
                                                   "schema=AbcGeom_MyPolyMesh_v1",
                                                   "schema=AbcGeom_Curves_v2",
                                                   "schema=AbcGeom_Xform_v3;schema=AbcGeom_PolyMesh_v1",
                                                   "schema=a=b",
                                                   " schema=AbcGeom_Xform_v3",
                                                   "geoScope=fvr;geoScope=con",
                                                   "sourceName=a=b",
                                                   std::string("a\0;schema=AbcGeom_Xform_v3", 26),
                                                   std::string("schema=AbcGeom_Xform_v3\0;b=c", 28),
                                                   "schema=AbcGeom_Points_v1;schema=x"};
    metadata = random.of(texts);
}

void change_header(chance &random, property_header &header) {
    static const std::vector<info_field> fields = {info_kind,         info_width,       info_value,
                                                   info_has_sampling, info_has_changed, info_same_size,
                                                   info_all_equal,    info_extent,      info_metadata};
    const auto number = [&](std::uint32_t now) {
        return static_cast<std::uint32_t>(random.one_in(2) ? now + 1 - random.below(3) : other_number(random, now));
    };
    switch (random.below(8)) {
    case 0:
        header.samples = number(header.samples);
        break;
    case 1:
        header.set(info_has_changed, 1);
        header.first_changed = random.below(header.samples + 2);
        header.last_changed = random.below(header.samples + 2);
        break;
    case 2:
        header.set(info_has_sampling, 1);
        header.time_sampling = number(header.time_sampling);
        break;
    case 3:
        header.name_length = number(static_cast<std::uint32_t>(header.name.size()));
        break;
    case 4:
        header.text_length = number(static_cast<std::uint32_t>(header.metadata.size()));
        break;
    case 5:
        change_name(random, header.name);
        break;
    default: {
        const info_field field = random.of(fields);
        header.set(field, random.below(std::uint64_t{1} << field.bits));
    }
    }
}

void change_header(chance &random, object_header &header) {
    switch (random.below(4)) {
    case 0:
        change_name(random, header.name);
        break;
    case 1:
        header.metadata_number = static_cast<std::uint8_t>(random.one_in(3) ? 0xFF : random.below(12));
        break;
    case 2:
        header.name_length = static_cast<std::uint32_t>(other_number(random, header.name.size()));
        break;
    default:
        header.text_length = static_cast<std::uint32_t>(other_number(random, header.metadata.size()));
    }
}

template <class Header>
std::function<void(Header &)> changed_header(chance &random) {
    return [seed = random.word()](Header &header) {
        chance again(seed);
        change_header(again, header);
    };
}

void damage_sample(chance &random, property_node &property) {
    sample_data &sample = property.samples[random.below(property.samples.size())];
    switch (random.below(5)) {
    case 0:
        sample.instead = other_reference(random, archive_writer::data_bit | 16, 16 + random.below(5000));
        break;
    case 1:
        sample.dimensions_instead = other_reference(random, archive_writer::data_bit | 16, 16 + random.below(5000));
        break;
    case 2:
        sample.dimensions = {other_number(random, sample.values.size()), random.below(3)};
        break;
    case 3:
        sample.dimensions = {std::uint64_t{1} << 32, std::uint64_t{1} << 32, 1 + random.below(4)};
        break;
    default:
        change_bytes(random, sample.values);
    }
}

enum class shared_damage { reference, references, headers, metadata };

/// Damages what an object and a property have alike.
template <class Node>
void damage_node(chance &random, Node &node, shared_damage damage) {
    switch (damage) {
    case shared_damage::reference:
        node.instead = other_reference(random, 16, 16 + random.below(5000));
        break;
    case shared_damage::references:
        node.edit_references = changed_references(random);
        break;
    case shared_damage::headers:
        node.edit_headers = changed_bytes(random);
        break;
    case shared_damage::metadata:
        change_metadata(random, node.metadata);
    }
}

void damage_property(chance &random, property_node &property) {
    const std::uint64_t way = random.below(8);
    if (way < 4)
        damage_node(random, property, static_cast<shared_damage>(way));
    else if (way < 6 && !property.samples.empty())
        damage_sample(random, property);
    else if (way >= 6)
        property.edit_header = changed_header<property_header>(random);
}

void damage_object(chance &random, object_node &object) {
    const std::uint64_t way = random.below(6);
    if (way < 3)
        damage_node(random, object, static_cast<shared_damage>(way));
    else if (way == 3)
        object.digest_bytes = random.below(64);
    else if (way == 4)
        damage_node(random, object, shared_damage::metadata);
    else
        object.edit_header = changed_header<object_header>(random);
}

void damage_tables(chance &random, archive_builder &archive) {
    switch (random.below(3)) {
    case 0:
        archive.edit_samplings = changed_bytes(random);
        break;
    case 1:
        archive.edit_shared_texts = changed_bytes(random);
        break;
    default:
        archive.edit_root = changed_references(random);
    }
}

/// The positions of all references of the archive's groups.
std::vector<std::uint64_t> reference_places(const built_archive &archive) {
    std::vector<std::uint64_t> all;
    for (const auto &[name, place] : archive.places)
        for (std::size_t i = 0; i < place.references.size(); ++i)
            if (place.reference != 0 && place.reference < archive.content.size())
                all.push_back(built_archive::reference_at(place.reference, i));
    all.push_back(8);
    return all;
}

void swap_references(chance &random, built_archive &archive) {
    std::vector<std::uint64_t> all = reference_places(archive);
    all.erase(std::remove_if(all.begin(), all.end(), [&](std::uint64_t at) { return at + 8 > archive.content.size(); }),
              all.end());
    const std::uint64_t to = random.of(all), from = random.of(all);
    std::uint64_t one, other;
    std::memcpy(&one, archive.content.data() + from, 8);
    std::memcpy(&other, archive.content.data() + to, 8);
    archive.patch(to, one);
    if (random.one_in(2)) archive.patch(from, other);
}

} // namespace

void damage_fields(archive_builder &archive, chance &random) {
    std::vector<object_node *> objects;
    std::vector<property_node *> properties;
    collect(archive.top, objects, properties);
    for (std::uint32_t count = 1 + random.below(3); count > 0; --count) {
        const std::uint32_t where = random.below(10);
        if (where == 0) {
            damage_tables(random, archive);
        } else if (where < 3) {
            damage_object(random, *random.of(objects));
        } else {
            damage_property(random, *random.of(properties));
        }
    }
}

bytes damaged_bytes(const built_archive &archive, chance &random) {
    built_archive damaged = archive;
    bytes &content = damaged.content;
    switch (random.below(6)) {
    case 0:
        content.resize(random.below(content.size()));
        break;
    case 1:
    case 2:
        swap_references(random, damaged);
        break;
    default:
        for (std::uint32_t count = 1 + random.below(3); count > 0; --count)
            content[random.below(content.size())] = static_cast<std::uint8_t>(random.word());
    }
    return content;
}

} // namespace qel::test
