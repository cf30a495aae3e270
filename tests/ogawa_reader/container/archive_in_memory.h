// SPDX-License-Identifier: MIT
// An archive record over bytes in memory, with the stream put in by hand, and bytes to fill it with.
#pragma once

#include "qel_unit.h"

#include "support/temp_folder.h"

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace qel::test {

class archive_in_memory {
  public:
    explicit archive_in_memory(bytes content) : content_(std::move(content)) {
#if defined(_WIN32) // which has streams on files only
        write_file(folder_.file("archive.abc"), content_);
        record.file = std::fopen(folder_.file("archive.abc").c_str(), "rb");
#else
        // The C library's stream over no bytes at all writes one.
        record.file =
            content_.empty() ? std::fopen("/dev/null", "rb") : fmemopen(content_.data(), content_.size(), "rb");
#endif
    }
    ~archive_in_memory() {
        if (record.file != nullptr) std::fclose(record.file);
    }
    archive_in_memory(const archive_in_memory &) = delete;
    archive_in_memory &operator=(const archive_in_memory &) = delete;

    std::FILE *file() const {
        return record.file;
    }

    ogawa_archive record{};

  private:
#if defined(_WIN32)
    temp_folder folder_;
#endif
    bytes content_;
};

/// Sixteen bytes that no search tests.
inline bytes archive_header() {
    return {'O', 'g', 'a', 'w', 'a', 0xFF, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
}

/// Appends a block: its size word, then values, which need not be as many.
inline void append_block(bytes &out, std::uint64_t size, const std::vector<float> &values) {
    append(out, size);
    const bytes raw = bytes_of(values);
    out.insert(out.end(), raw.begin(), raw.end());
}

/// Bytes of 0xFF: neither a size nor a number.
inline void append_filler(bytes &out, std::size_t count) {
    out.insert(out.end(), count, 0xFF);
}

/// An archive of blocks, filler between them and after the last.
inline bytes archive_of_blocks(const std::vector<std::pair<std::uint64_t, std::vector<float>>> &blocks) {
    bytes content = archive_header();
    for (const auto &[size, values] : blocks) {
        append_block(content, size, values);
        append_filler(content, 16);
    }
    append_filler(content, 64);
    return content;
}

/// Words near the limits of sizes and values, and up to three bytes more.
inline bytes random_archive(std::mt19937 &random, std::size_t words) {
    static constexpr std::uint32_t sizes[] = {12,   16,      24,      32,      36,      40,     48,   60,
                                              72,   96,      120,     1000,    1008,    1016,   1020, 2000,
                                              2016, 4999992, 5000000, 5000004, 5000008, 9999992};
    constexpr std::size_t short_sizes = 17;
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    static constexpr float values[] = {0.5f,        -0.25f, 1.0f,  -1.0f, 1.1f,   -1.1f,    1.1000001f,
                                       -1.1000001f, 1.2f,   10.0f, -9.5f, -10.0f, 10.01f,   1e-40f,
                                       -0.0f,       0.125f, -0.7f, nan,   -nan,   infinity, 60000.0f};
    bytes out = archive_header();
    const auto below = [&random](std::size_t bound) { return random() % bound; };
    for (std::size_t i = 0; i < words; ++i) {
        const std::size_t kind = below(16);
        if (kind < 4) {
            append(out, std::uint64_t{sizes[below(below(400) == 0 ? std::size(sizes) : short_sizes)]});
        } else if (kind < 5) {
            append(out, std::uint32_t{0});
        } else {
            append(out, values[below(kind < 12 ? 6 : std::size(values))]);
        }
    }
    append_filler(out, below(4));
    return out;
}

} // namespace qel::test
