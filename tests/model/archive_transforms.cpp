// SPDX-License-Identifier: MIT
// Transforms and visibility of the archive model.
#include "model/archive_model.h"

#include <algorithm>
#include <cmath>

namespace qel::model {
namespace {

constexpr std::uint32_t bool_value = 0, u8_value = 1, i8_value = 2, f64_value = 11;
constexpr double pi = 3.14159265358979323846;
constexpr archive_matrix identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

archive_matrix product(const archive_matrix &a, const archive_matrix &b) {
    archive_matrix result;
    for (std::size_t row = 0; row < 4; ++row)
        for (std::size_t column = 0; column < 4; ++column) {
            const double *left = &a[4 * row], *right = &b[column];
            result[4 * row + column] =
                left[0] * right[0] + left[1] * right[4] + left[2] * right[8] + left[3] * right[12];
        }
    return result;
}

archive_matrix rotation(double x, double y, double z, double degrees) {
    const double square = x * x + y * y + z * z;
    const double largest = std::max({std::fabs(x), std::fabs(y), std::fabs(z)});
    if (largest != 0 && std::isfinite(largest) && !(square >= 0x1p-960 && square <= 0x1p1000)) {
        const double unit = std::ldexp(1.0, std::ilogb(largest)); // the square would not be exact
        x /= unit, y /= unit, z /= unit;
    }
    const double length = std::sqrt(x * x + y * y + z * z);
    if (length == 0) return identity;
    x /= length, y /= length, z /= length;
    const double angle = degrees * (pi / 180);
    const double c = std::cos(angle), s = std::sin(angle);
    return {x * x * (1 - c) + c,
            x * y * (1 - c) + z * s,
            x * z * (1 - c) - y * s,
            0,
            x * y * (1 - c) - z * s,
            y * y * (1 - c) + c,
            y * z * (1 - c) + x * s,
            0,
            x * z * (1 - c) + y * s,
            y * z * (1 - c) - x * s,
            z * z * (1 - c) + c,
            0,
            0,
            0,
            0,
            1};
}

/// The values of a property at the last sample at or before a time; nothing if it has no sample.
template <class T>
std::optional<std::vector<T>> values_at(const archive_file &file, const archive_tree_object &object, const char *name,
                                        std::uint32_t value, double seconds) {
    const archive_tree_property *property = object.property(name);
    if (property == nullptr) return std::nullopt;
    require(property->header.kind != 0 && property->header.value == value);
    if (property->header.samples == 0) return std::nullopt;
    const archive_bytes bytes = file.sample(*property, file.sample_at(property->header, seconds));
    std::vector<T> values(bytes.size() / sizeof(T));
    if (!values.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
}

/// Takes values for the operations, one after the other.
class value_list {
  public:
    explicit value_list(const std::vector<double> &values) : values_(values) {}

    const double *take(std::size_t count) {
        require(values_.size() - at_ >= count);
        at_ += count;
        return values_.data() + at_ - count;
    }

  private:
    const std::vector<double> &values_;
    std::size_t at_ = 0;
};

archive_matrix operation(std::uint8_t code, value_list &values) {
    const double *v;
    switch (code >> 4) {
    case 0:
        v = values.take(3);
        return {v[0], 0, 0, 0, 0, v[1], 0, 0, 0, 0, v[2], 0, 0, 0, 0, 1};
    case 1:
        v = values.take(3);
        return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, v[0], v[1], v[2], 1};
    case 2:
        v = values.take(4);
        return rotation(v[0], v[1], v[2], v[3]);
    case 3: {
        archive_matrix matrix;
        std::memcpy(matrix.data(), values.take(16), sizeof matrix);
        return matrix;
    }
    case 4:
        return rotation(1, 0, 0, *values.take(1));
    case 5:
        return rotation(0, 1, 0, *values.take(1));
    case 6:
        return rotation(0, 0, 1, *values.take(1));
    default:
        throw archive_failure{QEL_ARCHIVE_DAMAGED};
    }
}

bool inherits(const archive_file &file, const archive_tree_object &object, double seconds) {
    if (archive_schema(object.metadata) != OGAWA_SCHEMA_XFORM) return true;
    const auto values = values_at<std::uint8_t>(file, object, ".xform/.inherits", bool_value, seconds);
    if (!values) return true;
    require(!values->empty());
    return values->front() != 0;
}

} // namespace

archive_matrix archive_local_transform(const archive_file &file, const archive_tree_object &object, double seconds) {
    if (archive_schema(object.metadata) != OGAWA_SCHEMA_XFORM) return identity;
    const auto operations = values_at<std::uint8_t>(file, object, ".xform/.ops", u8_value, seconds);
    if (!operations) return identity;
    const auto values = values_at<double>(file, object, ".xform/.vals", f64_value, seconds);
    const std::vector<double> numbers = values.value_or(std::vector<double>());
    value_list remaining(numbers);
    archive_matrix matrix = identity;
    for (const std::uint8_t code : *operations)
        matrix = product(operation(code, remaining), matrix);
    return matrix;
}

archive_matrix archive_world_transform(const archive_file &file, const std::vector<archive_tree_object> &objects,
                                       std::uint32_t object, double seconds) {
    const archive_matrix own = archive_local_transform(file, objects[object], seconds);
    if (objects[object].parent == 0xFFFFFFFF || !inherits(file, objects[object], seconds)) return own;
    return product(own, archive_world_transform(file, objects, objects[object].parent, seconds));
}

bool archive_is_visible(const archive_file &file, const std::vector<archive_tree_object> &objects, std::uint32_t object,
                        double seconds) {
    const archive_tree_property *property = objects[object].property("visible");
    if (property != nullptr && property->header.kind == 1 && property->header.value == i8_value) {
        const auto values = values_at<std::uint8_t>(file, objects[object], "visible", i8_value, seconds);
        if (values && values->front() <= 1) return values->front() == 1;
    }
    const std::uint32_t parent = objects[object].parent;
    return parent == 0xFFFFFFFF || archive_is_visible(file, objects, parent, seconds);
}

} // namespace qel::model
