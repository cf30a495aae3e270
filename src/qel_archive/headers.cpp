// SPDX-License-Identifier: MIT
// Headers follow each other without alignment. Texts are terminated in place: the byte after a text, which is the first
// byte of the next number, is set to zero after that number was read.
#include "qel_archive/headers.h"

#include "common/bytes.h"

#include <algorithm>
#include <cstring>

namespace qel::archives {
namespace {

constexpr std::uint8_t inline_metadata = 0xFF; // instead of the number of a shared text
constexpr std::uint32_t max_shared = 254;      // numbers have 8 bits, of which 255 is inline_metadata
constexpr std::uint8_t max_value = QEL_ARCHIVE_VALUE_WIDE_TEXT;
constexpr char instance_source_name[] = ".instanceSource";

// The first word of a property's header.
constexpr std::uint32_t kind_bits = 3, width_shift = 2, width_bits = 3, value_shift = 4, value_bits = 15,
                        has_sampling = 1u << 8, has_changes = 1u << 9, never_changes = 1u << 11, extent_shift = 12,
                        metadata_shift = 20, byte_bits = 0xFF;
constexpr std::uint32_t undefined_width = 3;

/// Reads headers from their bytes.
class header_cursor {
  public:
    explicit header_cursor(header_bytes source) : next_(source.bytes), end_(source.bytes + source.size) {}

    /// Writes the zero byte after the last text.
    ~header_cursor() { end_text(); }
    header_cursor(const header_cursor &) = delete;
    header_cursor &operator=(const header_cursor &) = delete;

    bool at_end() const { return next_ == end_; }

    template <class T>
    bool read(std::uint32_t &number) {
        if (left() < sizeof(T)) return false;
        number = load<T>(next_);
        next_ += sizeof(T);
        end_text();
        return true;
    }

    /// Reads a number of 1, 2 or 4 bytes.
    bool read_number(std::uint32_t width, std::uint32_t &number) {
        if (width == 0) return read<std::uint8_t>(number);
        return width == 1 ? read<std::uint16_t>(number) : read<std::uint32_t>(number);
    }

    /// Takes a text of `length` bytes. A number or the end of the headers follows.
    bool take_text(std::uint32_t length, text &taken) {
        if (left() < length) return false;
        taken = {reinterpret_cast<const char *>(next_), length};
        next_ += length;
        text_end_ = next_;
        return true;
    }

  private:
    std::uint64_t left() const { return static_cast<std::uint64_t>(end_ - next_); }

    void end_text() {
        if (text_end_ != nullptr) *text_end_ = 0; // may be repeated
    }

    std::uint8_t *next_, *end_;
    std::uint8_t *text_end_ = nullptr; // position of the last text's zero byte, not written yet
};

/// The length of a text up to its first zero byte.
std::size_t visible_length(const text &metadata) {
    const void *const zero = std::memchr(metadata.bytes, '\0', metadata.length);
    return zero == nullptr ? metadata.length
                           : static_cast<std::size_t>(static_cast<const char *>(zero) - metadata.bytes);
}

/// Reads one header of an object: u32 length, the name, u8 number of a shared text, or 255, u32 length, the text.
status read_object_header(header_cursor &cursor, const header_context &context, arena &memory, text &name,
                          const object_metadata *&metadata) {
    std::uint32_t length, number;
    if (!cursor.read<std::uint32_t>(length) || !cursor.take_text(length, name) || !is_valid_name(name))
        return QEL_ARCHIVE_DAMAGED;
    if (!cursor.read<std::uint8_t>(number)) return QEL_ARCHIVE_DAMAGED;
    if (number != inline_metadata) {
        if (number >= context.shared.count) return QEL_ARCHIVE_DAMAGED;
        metadata = context.shared.texts + number;
        return QEL_ARCHIVE_OK;
    }
    text own;
    if (!cursor.read<std::uint32_t>(length) || !cursor.take_text(length, own)) return QEL_ARCHIVE_DAMAGED;
    auto *const described = memory.array<object_metadata>(1);
    if (described == nullptr || !describe_object(own.bytes, visible_length(own), memory, *described))
        return QEL_ARCHIVE_NO_MEMORY;
    metadata = described;
    return QEL_ARCHIVE_OK;
}

/// Whether the stored numbers of the first and last changed sample are possible; 0 and 0 mean that all samples are
/// equal.
bool are_valid_changes(const property_header &header) {
    if (header.first_changed == 0 || header.last_changed == 0) return header.first_changed == header.last_changed;
    return header.first_changed <= header.last_changed && header.last_changed < header.samples;
}

/// Reads the fields of scalars and arrays: number of samples, changes, time sampling.
status read_samples(header_cursor &cursor, std::uint32_t info, std::uint32_t width, const header_context &context,
                    property_header &header) {
    header.value = static_cast<std::uint8_t>(info >> value_shift & value_bits);
    header.extent = static_cast<std::uint8_t>(info >> extent_shift & byte_bits);
    if (header.value > max_value || header.extent == 0) return QEL_ARCHIVE_DAMAGED;
    if (!cursor.read_number(width, header.samples)) return QEL_ARCHIVE_DAMAGED;
    if ((info & has_changes) != 0) {
        if (!cursor.read_number(width, header.first_changed) || !cursor.read_number(width, header.last_changed) ||
            !are_valid_changes(header))
            return QEL_ARCHIVE_DAMAGED;
        header.all_equal = header.first_changed == 0;
    } else if ((info & never_changes) != 0) {
        header.all_equal = true;
    } else {
        header.first_changed = 1;
        header.last_changed = header.samples - 1; // not read without samples
    }
    if ((info & has_sampling) != 0 && !cursor.read_number(width, header.time_sampling)) return QEL_ARCHIVE_DAMAGED;
    return header.time_sampling < context.samplings.count ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

status read_property_header(header_cursor &cursor, const header_context &context, text &name, property_header &header) {
    header = {};
    std::uint32_t info, length;
    if (!cursor.read<std::uint32_t>(info)) return QEL_ARCHIVE_DAMAGED;
    const std::uint32_t width = info >> width_shift & width_bits, kind = info & kind_bits;
    if (width == undefined_width) return QEL_ARCHIVE_DAMAGED;
    if (kind != 0) {
        header.kind = kind == 1 ? property_kind::scalar : property_kind::array;
        const status outcome = read_samples(cursor, info, width, context, header);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
    }
    if (!cursor.read_number(width, length) || !cursor.take_text(length, name) || !is_valid_name(name))
        return QEL_ARCHIVE_DAMAGED;
    const std::uint32_t number = info >> metadata_shift & byte_bits;
    if (number == inline_metadata) {
        text own;
        if (!cursor.read_number(width, length) || !cursor.take_text(length, own)) return QEL_ARCHIVE_DAMAGED;
        header.metadata = own.bytes;
        return QEL_ARCHIVE_OK;
    }
    if (number >= context.shared.count) return QEL_ARCHIVE_DAMAGED;
    header.metadata = context.shared.texts[number].text;
    return QEL_ARCHIVE_OK;
}

bool is_instance_source(const text &name, const property_header &header) {
    return name.length == sizeof instance_source_name - 1 && header.kind == property_kind::scalar &&
           header.value == QEL_ARCHIVE_VALUE_TEXT && std::memcmp(name.bytes, instance_source_name, name.length) == 0;
}

} // namespace

status read_shared_metadata(header_bytes source, arena &memory, metadata_table &table) {
    const std::uint64_t max_count = std::min<std::uint64_t>(source.size, max_shared); // a text takes at least one byte
    auto *const texts = memory.array<object_metadata>(max_count + 1);
    if (texts == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    texts[0] = {"", "", OGAWA_SCHEMA_UNKNOWN};
    std::uint32_t count = 1;
    header_cursor cursor(source);
    for (std::uint32_t length; cursor.read<std::uint8_t>(length);) {
        text shared;
        if (!cursor.take_text(length, shared)) return QEL_ARCHIVE_DAMAGED;
        if (count > max_shared) continue; // no header can refer to it; only its length is checked
        if (!describe_object(shared.bytes, visible_length(shared), memory, texts[count++]))
            return QEL_ARCHIVE_NO_MEMORY;
    }
    table = {texts, count};
    return QEL_ARCHIVE_OK;
}

status read_object_headers(header_bytes source, std::uint64_t count, const header_context &context, arena &memory,
                           object_headers &headers) {
    auto *const names = memory.array<text>(count);
    auto *const metadata = memory.array<const object_metadata *>(count);
    if (names == nullptr || metadata == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    header_cursor cursor(source);
    for (std::uint64_t i = 0; i < count; ++i) {
        const status outcome = read_object_header(cursor, context, memory, names[i], metadata[i]);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
    }
    if (!cursor.at_end()) return QEL_ARCHIVE_DAMAGED;
    headers = {{names, static_cast<std::uint32_t>(count), nullptr}, metadata};
    return order_names(headers.names, memory);
}

status read_property_headers(header_bytes source, std::uint64_t count, const header_context &context, arena &memory,
                             property_headers &headers) {
    auto *const names = memory.array<text>(count);
    auto *const properties = memory.array<property_header>(count);
    if (names == nullptr || properties == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    headers.instance_source = none;
    header_cursor cursor(source);
    for (std::uint64_t i = 0; i < count; ++i) {
        const status outcome = read_property_header(cursor, context, names[i], properties[i]);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        if (is_instance_source(names[i], properties[i])) headers.instance_source = static_cast<std::uint32_t>(i);
    }
    if (!cursor.at_end()) return QEL_ARCHIVE_DAMAGED;
    headers.names = {names, static_cast<std::uint32_t>(count), nullptr};
    headers.headers = properties;
    return order_names(headers.names, memory);
}

std::uint32_t value_size(std::uint32_t value) {
    constexpr std::uint8_t sizes[] = {1, 1, 1, 2, 2, 4, 4, 8, 8, 2, 4, 8};
    static_assert(sizeof sizes == QEL_ARCHIVE_VALUE_TEXT);
    return sizes[value];
}

} // namespace qel::archives
