// SPDX-License-Identifier: MIT
// The small records of an archive as plain structures, and their bytes: headers of objects and properties, time
// samplings, shared metadata texts. Nothing is checked, so that any of them can be wrong.
#pragma once

#include "support/temp_folder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qel::test {

enum class property_kind : std::uint32_t { compound, scalar, array, array_of_one };

enum class value_kind : std::uint32_t { boolean, u8, i8, u16, i16, u32, i32, u64, i64, f16, f32, f64, text, wide_text };

/// Bytes of one value; 0 for texts, whose length differs.
std::size_t value_size(value_kind value);

/// How the numbers of a property header are stored.
enum class number_width : std::uint32_t { u8, u16, u32, undefined };

/// Some bits of a property header's first word.
struct info_field {
    std::uint32_t shift, bits;

    std::uint32_t mask() const { return ((std::uint32_t{1} << bits) - 1) << shift; }
    std::uint32_t of(std::uint32_t info) const { return (info & mask()) >> shift; }
    std::uint32_t put(std::uint32_t info, std::uint32_t value) const {
        return (info & ~mask()) | ((value << shift) & mask());
    }
};

constexpr info_field info_kind{0, 2}, info_width{2, 2}, info_value{4, 4}, info_has_sampling{8, 1},
    info_has_changed{9, 1}, info_same_size{10, 1}, info_all_equal{11, 1}, info_extent{12, 8}, info_metadata{20, 8};

/// The metadata number that means: the text follows in the header.
constexpr std::uint32_t metadata_follows = 0xFF;

struct property_header {
    std::uint32_t info = 0;
    std::uint32_t samples = 0;                         // written unless the kind is a compound
    std::uint32_t first_changed = 0, last_changed = 0; // written if the info has its bit
    std::uint32_t time_sampling = 0;                   // written if the info has its bit
    std::string name;
    std::string metadata;                                    // written where its number is `metadata_follows`
    std::optional<std::uint32_t> name_length = std::nullopt; // a length that need not be true
    std::optional<std::uint32_t> text_length = std::nullopt; // likewise, of the metadata

    std::uint32_t get(info_field field) const { return field.of(info); }
    void set(info_field field, std::uint32_t value) { info = field.put(info, value); }
};

/// The bytes that a reader expects by the header's own info. Numbers that do not fit the width lose their high bits;
/// the undefined width is written as the widest.
bytes bytes_of_header(const property_header &header);

struct object_header {
    std::string name;
    std::uint8_t metadata_number = 0;
    std::string metadata; // written where its number is `metadata_follows`
    std::optional<std::uint32_t> name_length = std::nullopt, text_length = std::nullopt;
};

bytes bytes_of_header(const object_header &header);

/// One time a cycle is uniform, several are cyclic, or acyclic with the cycle `acyclic`.
struct time_sampling {
    double cycle = 1;
    std::vector<double> times = {0};
    std::optional<std::uint32_t> highest_count = std::nullopt; // of samples; else that of the properties
    std::optional<std::uint32_t> time_count = std::nullopt;    // a count that need not be true
};

constexpr double acyclic = 1.7976931348623157e308 / 32; // the cycle of times that do not repeat

bytes bytes_of_sampling(const time_sampling &sampling, std::uint32_t highest_count);

/// A length of one byte and the text, which may have 255 bytes.
bytes bytes_of_shared_text(const std::string &text);

/// 16 bytes that differ where the content differs.
bytes digest_of(const bytes &content);

inline void append_bytes(bytes &out, const bytes &more) {
    out.insert(out.end(), more.begin(), more.end());
}

inline bytes bytes_of_text(const std::string &text) {
    return bytes(text.begin(), text.end());
}

} // namespace qel::test
