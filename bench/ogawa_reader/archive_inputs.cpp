// SPDX-License-Identifier: MIT
#include "ogawa_reader/archive_inputs.h"

#include "support/random.h"

#include <algorithm>
#include <cmath>

namespace qel::bench {

namespace {

using namespace test;

/// The largest multiple of the record's size that is at most `bytes`.
constexpr std::size_t whole(std::size_t bytes, std::size_t record) {
    return bytes / record;
}

} // namespace

std::vector<float> make_positions(std::size_t triples) {
    noise random(1);
    std::vector<float> values(triples * 3);
    for (float &value : values) // never small, so that no word is taken for an index
        value = static_cast<float>(random.in(10, 100) * (random.in(0, 1) < 0.5 ? -1 : 1));
    return values;
}

std::vector<std::uint32_t> make_indices(std::size_t count) {
    std::vector<std::uint32_t> values(count);
    for (std::size_t i = 0; i < count; ++i)
        values[i] = static_cast<std::uint32_t>(1 + (i / 3 + i % 3 * 7) % 90000);
    return values;
}

std::vector<float> make_unit_vectors(std::size_t triples) {
    noise random(1);
    std::vector<float> values;
    values.reserve(triples * 3);
    for (std::size_t i = 0; i < triples; ++i) {
        const double u = random.in(0, 6.28), v = random.in(-1.5, 1.5);
        for (const double value : {std::cos(u) * std::cos(v), std::sin(u) * std::cos(v), std::sin(v)})
            values.push_back(static_cast<float>(value));
    }
    return values;
}

std::vector<float> make_uvs(std::size_t pairs) {
    noise random(1);
    std::vector<float> values(pairs * 2);
    for (float &value : values)
        value = static_cast<float>(random.in(0.1, 1));
    return values;
}

void append_filler(archive_writer &archive, std::size_t bytes) {
    const std::size_t end = archive.size() + bytes;
    const std::size_t most = std::min<std::size_t>(bytes / 6, 9000000);
    const auto positions = archive_writer::with_digest(bytes_of(make_positions(whole(most, 12))));
    const auto indices = archive_writer::with_digest(bytes_of(make_indices(whole(most, 4))));
    const auto counts = archive_writer::with_digest(bytes_of(std::vector<std::uint32_t>(whole(most, 16), 4)));
    while (archive.size() + 3 * most < end) {
        archive.data(positions);
        archive.data(indices);
        archive.data(counts);
    }
}

test::archive_writer archive_of_blocks(std::size_t bytes) {
    archive_writer archive;
    archive.set_root(16);
    const std::size_t unit = std::min<std::size_t>(bytes / 16, 4900000);
    append_filler(archive, bytes - 4 * unit);
    archive.data(bytes_of(make_uvs(whole(unit, 8) - 9)));
    archive.data(bytes_of(make_unit_vectors(whole(unit, 12) | 1))); // odd: such a block cannot hold pairs
    const auto tangents = bytes_of(make_unit_vectors(whole(unit, 12) / 2 | 1));
    archive.data(tangents);
    archive.data(tangents);
    return archive;
}

test::archive_writer archive_of_small_uvs(std::size_t bytes) {
    archive_writer archive;
    archive.set_root(16);
    append_filler(archive, bytes);
    archive.data(bytes_of(make_uvs(100)));
    archive.append_raw(test::bytes(64, 0x42)); // the scan stops 24 bytes before the end
    return archive;
}

test::archive_writer archive_without_tree(std::size_t bytes) {
    archive_writer archive; // its root reference stays 0
    archive.data(bytes_of(make_positions(whole(std::clamp<std::size_t>(bytes / 8, 15000, 9000000), 12))));
    append_filler(archive, bytes / 2);
    archive.array(make_unit_vectors(whole(std::clamp<std::size_t>(bytes / 32, 12000, 1900000), 12)));
    archive.data(bytes_of(make_indices(whole(bytes / 16, 4))));
    archive.data(bytes_of(make_positions(whole(bytes > archive.size() ? bytes - archive.size() : 120, 12))));
    return archive;
}

test::archive_writer archive_of_arrays(std::size_t bytes, std::vector<array_place> &winners) {
    constexpr std::size_t digest = 16, size_word = 8;
    archive_writer archive;
    const std::size_t most = std::min<std::size_t>(bytes / 6, 9990000);
    std::vector<std::uint64_t> nodes;
    const auto add = [&](const test::bytes &values, bool wins) {
        if (wins) winners.push_back({static_cast<long>(archive.size() + size_word + digest), values.size()});
        nodes.push_back(archive.data(archive_writer::with_digest(values)));
    };
    for (const bool wins : {true, false}) {
        const std::size_t size = wins ? most : most - 1200;
        add(bytes_of(make_positions(whole(size, 12))), wins);
        add(bytes_of(make_unit_vectors(whole(size, 12))), wins);
        add(bytes_of(make_indices(whole(size, 12) * 3 - 1)),
            wins); // not a whole number of triples, which might be normals
        add(bytes_of(std::vector<std::uint32_t>(whole(std::min<std::size_t>(size, 499000), 4), 4)), wins);
    }
    const std::uint64_t geometry = archive.group(nodes);
    archive.finish(archive.group({archive_writer::empty_data, geometry}));
    return archive;
}

} // namespace qel::bench
