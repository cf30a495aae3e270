// SPDX-License-Identifier: MIT
// The samples of properties in their plainest form.
#include "model/archive_tree.h"

#include <algorithm>

namespace qel::model {
namespace {

constexpr std::size_t digest_size = 16;
constexpr std::uint32_t text_value = 12, wide_text_value = 13;

/// Bytes of one value by its kind; 0 for texts, whose values have no common size.
std::uint64_t value_size(std::uint32_t value) {
    constexpr std::uint64_t sizes[14] = {1, 1, 1, 2, 2, 4, 4, 8, 8, 2, 4, 8, 0, 0};
    return sizes[value];
}

archive_bytes without_digest(const archive_bytes &data) {
    require(data.size() >= digest_size);
    return archive_bytes(data.begin() + digest_size, data.end());
}

/// The number of values in a sample's bytes: texts by their ends, the others by their size.
std::uint64_t value_count(const archive_property_header &header, const archive_bytes &values) {
    if (header.value == text_value) {
        require(values.empty() || values.back() == 0);
        return static_cast<std::uint64_t>(std::count(values.begin(), values.end(), 0));
    }
    const std::uint64_t size = value_size(header.value);
    require(values.size() % size == 0);
    return values.size() / size;
}

std::uint64_t element_count(const archive_property_header &header, const archive_bytes &values) {
    const std::uint64_t count = value_count(header, values);
    require(count % header.extent == 0);
    return count / header.extent;
}

/// Whether the product of the dimensions is a number; compared without ever being larger than it.
bool is_product(const archive_bytes &dimensions, std::uint64_t number) {
    require(dimensions.size() % 8 == 0);
    std::vector<std::uint64_t> factors;
    archive_cursor cursor(dimensions);
    while (!cursor.at_end())
        factors.push_back(cursor.value<std::uint64_t>());
    if (std::count(factors.begin(), factors.end(), 0u) != 0) return number == 0;
    std::uint64_t product = 1;
    for (const std::uint64_t factor : factors) {
        if (factor > number / product) return false;
        product *= factor;
    }
    return product == number;
}

archive_bytes scalar_sample(const archive_property_header &header, const archive_bytes &data) {
    archive_bytes values = without_digest(data);
    if (header.value != wide_text_value) require(value_count(header, values) == header.extent);
    return values;
}

archive_bytes array_sample(const archive_property_header &header, const archive_bytes &data,
                           const archive_bytes &dimensions) {
    const archive_bytes values = data.empty() ? data : without_digest(data);
    if (header.value == wide_text_value) return values;
    const std::uint64_t elements = element_count(header, values);
    if (!dimensions.empty()) require(is_product(dimensions, elements));
    return values;
}

} // namespace

archive_bytes archive_file::sample(const archive_tree_property &property, std::uint64_t i) const {
    const std::uint64_t stored = property.header.stored_sample(i);
    const std::vector<std::uint64_t> group = container.group(property.reference);
    if (property.header.kind == 1) {
        require(stored < group.size());
        return scalar_sample(property.header, container.data(group[stored]));
    }
    require(2 * stored + 1 < group.size());
    const archive_bytes data = container.data(group[2 * stored]);
    return array_sample(property.header, data, container.data(group[2 * stored + 1]));
}

} // namespace qel::model
