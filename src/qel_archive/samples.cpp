// SPDX-License-Identifier: MIT
#include "qel_archive/samples.h"

#include "common/bytes.h"

#include <algorithm>
#include <limits>

namespace qel::archives {
namespace {

constexpr std::size_t piece_size = 4096;
constexpr std::uint64_t too_many = std::numeric_limits<std::uint64_t>::max();

/// The number of the stored sample: only samples that differ from the previous one are stored.
std::uint64_t stored_number(const property_header &header, std::uint64_t sample) {
    if (header.all_equal || sample < header.first_changed) return 0;
    return std::min<std::uint64_t>(sample, header.last_changed) - header.first_changed + 1;
}

/// Calls `visit` for the bytes of an extent, piece by piece.
template <class Visit>
status for_each_piece(const random_access_file &file, const extent &bytes, Visit visit) {
    std::uint8_t piece[piece_size];
    for (std::uint64_t done = 0; done < bytes.size;) {
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(piece_size, bytes.size - done));
        const status outcome = status_of(file.read(bytes.at + done, piece, size));
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        visit(piece, size);
        done += size;
    }
    return QEL_ARCHIVE_OK;
}

/// Counts texts, each ended by a zero byte; too_many if the last one is not.
status count_texts(const random_access_file &file, const extent &values, std::uint64_t &count) {
    std::uint8_t last = 0;
    count = 0;
    const status outcome = for_each_piece(file, values, [&count, &last](const std::uint8_t *piece, std::size_t size) {
        count += static_cast<std::uint64_t>(std::count(piece, piece + size, std::uint8_t{0}));
        last = piece[size - 1];
    });
    if (last != 0) count = too_many;
    return outcome;
}

/// Multiplies dimensions; too_many if the product has more than 64 bits.
class dimension_product {
  public:
    void take(std::uint64_t dimension) {
        if (dimension == 0) is_zero_ = true;
        if (dimension == 0 || overflows_) return;
        if (product_ > too_many / dimension)
            overflows_ = true;
        else
            product_ *= dimension;
    }
    std::uint64_t result() const {
        if (is_zero_) return 0;
        return overflows_ ? too_many : product_;
    }

  private:
    std::uint64_t product_ = 1;
    bool is_zero_ = false, overflows_ = false;
};

/// Whether an array's dimensions are those of `count` elements.
status check_dimensions(const random_access_file &file, const extent &dimensions, std::uint64_t count) {
    if (dimensions.size == 0) return QEL_ARCHIVE_OK;
    static_assert(piece_size % sizeof(std::uint64_t) == 0, "pieces hold whole dimensions");
    if (dimensions.size % sizeof(std::uint64_t) != 0) return QEL_ARCHIVE_DAMAGED;
    dimension_product product;
    const status outcome = for_each_piece(file, dimensions, [&product](const std::uint8_t *piece, std::size_t size) {
        for (std::size_t i = 0; i < size; i += sizeof(std::uint64_t))
            product.take(load<std::uint64_t>(piece + i));
    });
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    return product.result() == count ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

/// Finds data after its digest. Only the data of an array may be empty.
template <class Source>
status find_values(Source &source, std::uint64_t reference, bool may_be_empty, extent &values) {
    const status outcome = find_data(source, reference, values);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (values.size == 0) return may_be_empty ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
    if (values.size < ogawa::digest_size) return QEL_ARCHIVE_DAMAGED;
    values = {values.at + ogawa::digest_size, values.size - ogawa::digest_size};
    return QEL_ARCHIVE_OK;
}

/// Counts the values of a sample; too_many if the last one is incomplete.
status count_values(const random_access_file &file, const property_header &header, const extent &values,
                    std::uint64_t &count) {
    if (header.value == QEL_ARCHIVE_VALUE_TEXT) return count_texts(file, values, count);
    const std::uint32_t size = value_size(header.value);
    count = values.size % size == 0 ? values.size / size : too_many;
    return QEL_ARCHIVE_OK;
}

status check_values(const random_access_file &file, const property_header &header, const stored_sample &sample) {
    if (header.value == QEL_ARCHIVE_VALUE_WIDE_TEXT) return QEL_ARCHIVE_OK; // the width of its characters is unknown
    std::uint64_t count;
    const status outcome = count_values(file, header, sample.values, count);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    if (header.kind == property_kind::scalar) return count == header.extent ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
    if (count == too_many || count % header.extent != 0) return QEL_ARCHIVE_DAMAGED;
    return check_dimensions(file, sample.dimensions, count / header.extent);
}

} // namespace

template <class Source>
status locate_sample(Source &source, const property_header &header, std::uint64_t reference, std::uint64_t sample,
                     stored_sample &found) {
    reference_list group;
    status outcome = find_group(source, reference, group);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    const bool is_array = header.kind == property_kind::array;
    struct {
        std::uint64_t values, dimensions;
    } references;
    static_assert(sizeof references.values == ogawa::reference_size);
    const std::size_t size = is_array ? sizeof references : sizeof references.values;
    const std::uint64_t number = stored_number(header, sample);
    if (number >= group.count * ogawa::reference_size / size) return QEL_ARCHIVE_DAMAGED;
    outcome = status_of(source.read(group.at + number * size, &references, size));
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    outcome = find_values(source, references.values, is_array, found.values);
    if (outcome == QEL_ARCHIVE_OK && is_array) outcome = find_data(source, references.dimensions, found.dimensions);
    return outcome;
}

status find_sample(const random_access_file &file, const property_header &header, std::uint64_t reference,
                   std::uint64_t sample, stored_sample &found) {
    const status outcome = locate_sample(file, header, reference, sample, found);
    return outcome == QEL_ARCHIVE_OK ? check_values(file, header, found) : outcome;
}

template status locate_sample(const random_access_file &source, const property_header &header, std::uint64_t reference,
                              std::uint64_t sample, stored_sample &found);
template status locate_sample(read_ahead &source, const property_header &header, std::uint64_t reference,
                              std::uint64_t sample, stored_sample &found);

} // namespace qel::archives
