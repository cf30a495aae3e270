// SPDX-License-Identifier: MIT
#include "archive_recipe.h"

#include "support/archive_writer.h"
#include "support/random.h"

#include <algorithm>
#include <limits>

namespace qel::fuzz {

namespace {

constexpr std::uint64_t usual_size = 64 << 10;

/// Sizes at the thresholds of the readers.
constexpr std::uint64_t sizes[] = {
    0,      12,     16,     24,     36,      48,      72,      96,      100,     101,     104,     120,     1000,
    1001,   1004,   1008,   1200,   2016,    4096,    9996,    10000,   10001,   10004,   10008,   10016,   10017,
    10020,  10024,  10032,  10040,  12000,   12012,   12016,   12024,   12028,   12040,   20016,   24024,   499996,
    500000, 500004, 999996, 999999, 1000000, 1999999, 2000000, 4999992, 5000000, 5000004, 9999996, 9999999, 10000000};
constexpr std::size_t small_sizes = 39; // those that fit a usual archive

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float reals[] = {0.0f,    -0.0f,    1.0f,      -1.0f,      0.5f,     0.6f, 0.8f,  0.0001f,  0.00009f, 0.01f,
                           0.011f,  1.1f,     -1.1f,     1.1000001f, 1.2f,     1.5f, 1.51f, 2.0f,     10.0f,    10.001f,
                           9999.0f, 10000.0f, 10000.01f, 50000.0f,   50001.0f, nan,  -nan,  infinity, 1e-40f,   1e30f};
constexpr std::uint32_t words[] = {0, 1, 2, 3, 4, 5, 8, 9, 99, 100, 101, 1000, 99999, 100000, 0xFFFFFFFF};

class recipe {
  public:
    explicit recipe(FuzzedDataProvider &fuzz) : fuzz_(fuzz) {}

    bytes make() {
        const int ending = fuzz_.ConsumeIntegralInRange(0, 7);
        const std::size_t cut = fuzz_.ConsumeBool() ? fuzz_.ConsumeIntegral<std::uint16_t>() : 0;
        huge_ = fuzz_.ConsumeIntegral<std::uint8_t>() == 0;
        if (ending == root_first) archive_.set_root(archive_.group({0, 0, 0}));
        for (int steps = 0; steps < 300 && fuzz_.remaining_bytes() > 0; ++steps)
            step();
        end(ending);
        bytes content = archive_.content();
        if (cut != 0) content.resize(std::max<std::size_t>(16, content.size() - cut % content.size()));
        return content;
    }

  private:
    static constexpr int root_first = 7; // the end can then be removed without it
    static constexpr std::uint64_t third_child = 16 + 24;

    void step();
    void end(int ending);
    void add_array();
    void add_group();
    void add_run();
    bytes payload(std::uint64_t size);
    void fill_reals(std::vector<std::uint32_t> &values);
    void fill_words(std::vector<std::uint32_t> &values);
    std::uint64_t any_size();
    std::uint64_t any_reference();

    float any_real() { return fuzz_.PickValueInArray(reals); }
    bool room_for(std::uint64_t size) { return archive_.size() + size <= usual_size + (huge_ ? 600'000 : 0); }
    void refer(std::uint64_t reference) { references_.push_back(reference); }

    FuzzedDataProvider &fuzz_;
    test::archive_writer archive_;
    std::vector<std::uint64_t> references_;
    bool huge_ = false;
};

std::uint64_t recipe::any_size() {
    const std::size_t count = huge_ ? std::size(sizes) : small_sizes;
    const std::uint64_t size = sizes[fuzz_.ConsumeIntegralInRange<std::size_t>(0, count - 1)];
    if (fuzz_.ConsumeIntegralInRange(0, 3) != 0) return size;
    return size + fuzz_.ConsumeIntegral<std::uint8_t>();
}

std::uint64_t recipe::any_reference() {
    constexpr std::uint64_t data_bit = test::archive_writer::data_bit;
    switch (fuzz_.ConsumeIntegralInRange(0, 9)) {
    case 0: // forward, or the node being written
        return archive_.size() + fuzz_.ConsumeIntegral<std::uint8_t>() * 8u;
    case 1: // anywhere
        return fuzz_.ConsumeIntegral<std::uint16_t>() | (fuzz_.ConsumeBool() ? data_bit : 0);
    case 2:
        return fuzz_.ConsumeBool() ? 0 : data_bit;
    case 3: // with the bit of the other kind
        return references_.empty() ? 16 : references_.back() ^ data_bit;
    case 4:
        return fuzz_.ConsumeIntegral<std::uint64_t>();
    case 5:
    case 6:
        return references_.empty() ? data_bit : references_.back();
    default:
        if (references_.empty()) return data_bit | 16;
        return references_[fuzz_.ConsumeIntegralInRange<std::size_t>(0, references_.size() - 1)];
    }
}

void recipe::fill_reals(std::vector<std::uint32_t> &values) {
    const int kind = fuzz_.ConsumeIntegralInRange(0, 4);
    test::noise random(fuzz_.ConsumeIntegral<std::uint8_t>());
    const float scale = kind == 4 ? any_real() : 20.0f;
    for (std::size_t i = 0; i < values.size(); ++i) {
        float value = 0;
        if (kind == 0) // unit vectors, none of them exact
            value = i % 3 == 0 ? 0.6f : i % 3 == 1 ? -0.8f : static_cast<float>(random.below(100)) * 0.001f;
        else if (kind == 1) // within the unit square
            value = static_cast<float>(random.below(1000)) * 0.001f;
        else
            value = (static_cast<float>(random.below(2000)) * 0.001f - 1.0f) * scale;
        std::memcpy(&values[i], &value, sizeof value);
    }
}

void recipe::fill_words(std::vector<std::uint32_t> &values) {
    const std::uint32_t low = fuzz_.PickValueInArray(words);
    const std::uint32_t span = fuzz_.ConsumeBool() ? 6 : 4000;
    test::noise random(fuzz_.ConsumeIntegral<std::uint8_t>());
    for (std::uint32_t &value : values)
        value = low + random.below(span);
}

/// A payload of `size` bytes, its values from a few bytes of input; some of the first words are chosen singly.
bytes recipe::payload(std::uint64_t size) {
    std::vector<std::uint32_t> values(static_cast<std::size_t>(size / 4 + 1));
    if (fuzz_.ConsumeIntegralInRange(0, 2) == 0)
        fill_words(values);
    else
        fill_reals(values);
    for (int chosen = fuzz_.ConsumeIntegralInRange(0, 7); chosen > 4; --chosen) {
        const std::size_t at = fuzz_.ConsumeIntegralInRange<std::size_t>(0, 19);
        if (at >= values.size()) continue;
        const float real = any_real();
        const std::uint32_t word = fuzz_.PickValueInArray(words);
        if (fuzz_.ConsumeBool())
            values[at] = word;
        else
            std::memcpy(&values[at], &real, sizeof real);
    }
    bytes result = test::bytes_of(values);
    result.resize(static_cast<std::size_t>(size));
    return result;
}

void recipe::add_array() {
    const std::uint64_t size = any_size();
    if (!room_for(size + 24)) return;
    bytes content = payload(size);
    switch (fuzz_.ConsumeIntegralInRange(0, 3)) {
    case 0:
        content = test::archive_writer::with_digest(content);
        break;
    case 1: {
        bytes digest = fuzz_.ConsumeBytes<std::uint8_t>(16);
        digest.resize(16);
        content.insert(content.begin(), digest.begin(), digest.end());
        break;
    }
    default:
        break;
    }
    if (fuzz_.ConsumeIntegralInRange(0, 7) != 0) {
        refer(archive_.data(content));
    } else {
        const bool any = fuzz_.ConsumeBool();
        const std::uint64_t lie = any ? fuzz_.ConsumeIntegral<std::uint64_t>()
                                      : sizes[fuzz_.ConsumeIntegralInRange<std::size_t>(0, std::size(sizes) - 1)];
        refer(archive_.data_claiming(lie, content));
    }
}

void recipe::add_group() {
    std::vector<std::uint64_t> children;
    const std::size_t count = fuzz_.ConsumeIntegralInRange<std::size_t>(0, 8);
    for (std::size_t i = 0; i < count; ++i)
        children.push_back(any_reference());
    constexpr std::size_t many[] = {20, 100, 499, 500, 501, 999, 1000, 1001};
    if (!children.empty() && fuzz_.ConsumeIntegralInRange(0, 7) == 0) // repeats the last one
        children.resize(fuzz_.PickValueInArray(many), children.back());
    if (!room_for(children.size() * 8 + 8)) return;
    if (fuzz_.ConsumeIntegralInRange(0, 7) != 0) {
        refer(archive_.group(children));
    } else {
        const std::uint64_t lie = fuzz_.ConsumeBool() ? fuzz_.ConsumeIntegralInRange<std::uint64_t>(0, 1100)
                                                      : fuzz_.ConsumeIntegral<std::uint64_t>();
        refer(archive_.group_claiming(lie, children));
    }
}

/// Words below some number, which the search for triangles finds.
void recipe::add_run() {
    const std::size_t count = fuzz_.ConsumeIntegralInRange<std::size_t>(0, 40);
    const std::uint32_t span = 1 + fuzz_.PickValueInArray(words) % 2000;
    test::noise random(fuzz_.ConsumeIntegral<std::uint8_t>());
    std::vector<std::uint32_t> values(count);
    for (std::uint32_t &value : values)
        value = random.below(span);
    if (room_for(count * 4)) archive_.append_raw(test::bytes_of(values));
}

void recipe::step() {
    switch (fuzz_.ConsumeIntegralInRange(0, 11)) {
    case 0:
    case 1:
    case 2:
    case 3:
        return add_array();
    case 4:
    case 5:
    case 6:
        return add_group();
    case 7:
        return archive_.append_raw(fuzz_.ConsumeBytes<std::uint8_t>(fuzz_.ConsumeIntegralInRange<std::size_t>(0, 48)));
    case 8:
        return archive_.pad_to(archive_.size() + fuzz_.ConsumeIntegralInRange<std::uint64_t>(0, 64),
                               fuzz_.ConsumeIntegral<std::uint8_t>());
    case 9: {
        const std::uint64_t at = fuzz_.ConsumeIntegral<std::uint16_t>() % archive_.size();
        const std::uint64_t word = fuzz_.ConsumeBool() ? any_reference() : any_size();
        if (at >= 8 && at + 8 <= archive_.size()) archive_.patch(at, word);
        return;
    }
    case 10:
        return add_run();
    default: { // a size word alone, which the byte searches find
        const std::uint64_t size = any_size();
        archive_.append_raw(payload(std::min<std::uint64_t>(size, 80)));
        bytes word;
        append(word, size);
        archive_.append_raw(word);
        return archive_.append_raw(payload(std::min<std::uint64_t>(size, 80)));
    }
    }
}

void recipe::end(int ending) {
    const std::uint64_t top = references_.empty() ? 0 : references_.back();
    switch (ending) {
    case 0:
        return; // no root
    case 1:
        return archive_.set_root(any_reference());
    case 2:
        return archive_.set_root(archive_.group(references_));
    case 3:
        return archive_.set_root(archive_.group_claiming(fuzz_.ConsumeIntegral<std::uint64_t>(), {top, top, top}));
    case root_first:
        return archive_.patch(third_child, any_reference());
    default:
        return archive_.finish(archive_.group(references_));
    }
}

} // namespace

bytes make_archive(FuzzedDataProvider &fuzz) {
    return recipe(fuzz).make();
}

bytes archive_of_raw_bytes(FuzzedDataProvider &fuzz) {
    bytes content = test::archive_writer().content();
    content.resize(8);
    const bytes rest = fuzz.ConsumeRemainingBytes<std::uint8_t>();
    content.insert(content.end(), rest.begin(), rest.end());
    return content;
}

} // namespace qel::fuzz
