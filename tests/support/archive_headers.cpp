// SPDX-License-Identifier: MIT
#include "support/archive_headers.h"

#include "support/archive_writer.h"

namespace qel::test {

namespace {

void append_number(bytes &out, std::uint32_t width, std::uint32_t number) {
    const std::size_t size = width == 0 ? 1 : width == 1 ? 2 : 4;
    for (std::size_t i = 0; i < size; ++i)
        out.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

std::uint32_t length_of(const std::string &text, const std::optional<std::uint32_t> &claimed) {
    return claimed.value_or(static_cast<std::uint32_t>(text.size()));
}

} // namespace

std::size_t value_size(value_kind value) {
    constexpr std::uint8_t sizes[] = {1, 1, 1, 2, 2, 4, 4, 8, 8, 2, 4, 8, 0, 0};
    const auto number = static_cast<std::size_t>(value);
    return number < sizeof sizes ? sizes[number] : 0;
}

bytes bytes_of_header(const property_header &header) {
    bytes out;
    append(out, header.info);
    const std::uint32_t width = header.get(info_width);
    if (header.get(info_kind) != static_cast<std::uint32_t>(property_kind::compound)) {
        append_number(out, width, header.samples);
        if (header.get(info_has_changed) != 0) {
            append_number(out, width, header.first_changed);
            append_number(out, width, header.last_changed);
        }
        if (header.get(info_has_sampling) != 0) append_number(out, width, header.time_sampling);
    }
    append_number(out, width, length_of(header.name, header.name_length));
    append_bytes(out, bytes_of_text(header.name));
    if (header.get(info_metadata) == metadata_follows) {
        append_number(out, width, length_of(header.metadata, header.text_length));
        append_bytes(out, bytes_of_text(header.metadata));
    }
    return out;
}

bytes bytes_of_header(const object_header &header) {
    bytes out;
    append(out, length_of(header.name, header.name_length));
    append_bytes(out, bytes_of_text(header.name));
    append(out, header.metadata_number);
    if (header.metadata_number == metadata_follows) {
        append(out, length_of(header.metadata, header.text_length));
        append_bytes(out, bytes_of_text(header.metadata));
    }
    return out;
}

bytes bytes_of_sampling(const time_sampling &sampling, std::uint32_t highest_count) {
    bytes out;
    append(out, sampling.highest_count.value_or(highest_count));
    append(out, sampling.cycle);
    append(out, sampling.time_count.value_or(static_cast<std::uint32_t>(sampling.times.size())));
    append_bytes(out, bytes_of(sampling.times));
    return out;
}

bytes bytes_of_shared_text(const std::string &text) {
    bytes out = {static_cast<std::uint8_t>(text.size())};
    append_bytes(out, bytes_of_text(text));
    return out;
}

bytes digest_of(const bytes &content) {
    bytes digest = archive_writer::with_digest(content);
    digest.resize(16);
    return digest;
}

} // namespace qel::test
