// SPDX-License-Identifier: MIT
#include "qel_archive/transforms.h"

#include "common/bytes.h"
#include "qel_archive/samples.h"

#include <algorithm>
#include <cmath>

namespace qel::archives {
namespace {

constexpr matrix identity = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
constexpr double radians_per_degree = 3.14159265358979323846 / 180.0;

matrix multiply(const matrix &a, const matrix &b) {
    matrix product;
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            const double *const left = a.values + row * 4, *const right = b.values + column;
            product.values[row * 4 + column] =
                left[0] * right[0] + left[1] * right[4] + left[2] * right[8] + left[3] * right[12];
        }
    }
    return product;
}

matrix scaling(const double *factors) {
    matrix scaled = identity;
    for (std::size_t axis = 0; axis < 3; ++axis)
        scaled.values[axis * 5] = factors[axis];
    return scaled;
}

matrix translation(const double *offset) {
    matrix moved = identity;
    std::copy_n(offset, 3, moved.values + 12);
    return moved;
}

/// The rotation about a unit axis.
matrix unit_rotation(double x, double y, double z, double angle) {
    const double c = std::cos(angle * radians_per_degree), s = std::sin(angle * radians_per_degree), t = 1 - c;
    return {{x * x * t + c, x * y * t + z * s, x * z * t - y * s, 0, //
             x * y * t - z * s, y * y * t + c, y * z * t + x * s, 0, //
             x * z * t + y * s, y * z * t - x * s, z * z * t + c, 0, //
             0, 0, 0, 1}};
}

/// Scales an axis whose squared length would overflow or lose bits to a length near 1, by a power of two, so that its
/// direction stays exact.
void scale_by_power_of_two(double *axis) {
    const double square = axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2];
    if (square >= 0x1p-960 && square <= 0x1p1000) return;
    const double largest = std::max({std::fabs(axis[0]), std::fabs(axis[1]), std::fabs(axis[2])});
    if (largest == 0 || !std::isfinite(largest)) return;
    const int exponent = std::ilogb(largest);
    for (int i = 0; i < 3; ++i)
        axis[i] = std::scalbn(axis[i], -exponent);
}

/// The rotation about an axis of any length; the identity for a zero axis.
matrix rotation(const double *axis_and_angle) {
    double axis[] = {axis_and_angle[0], axis_and_angle[1], axis_and_angle[2]};
    scale_by_power_of_two(axis);
    const double length = std::sqrt(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2]);
    if (length == 0) return identity;
    return unit_rotation(axis[0] / length, axis[1] / length, axis[2] / length, axis_and_angle[3]);
}

enum operation : std::uint8_t {
    op_scale,
    op_translate,
    op_rotate,
    op_matrix,
    op_rotate_x,
    op_rotate_y,
    op_rotate_z,
    op_count
};

constexpr std::uint8_t value_counts[op_count] = {3, 3, 4, 16, 1, 1, 1};

matrix operation_matrix(std::uint8_t operation, const double *values) {
    switch (operation) {
    case op_scale:
        return scaling(values);
    case op_translate:
        return translation(values);
    case op_rotate:
        return rotation(values);
    case op_rotate_x:
        return unit_rotation(1, 0, 0, values[0]);
    case op_rotate_y:
        return unit_rotation(0, 1, 0, values[0]);
    case op_rotate_z:
        return unit_rotation(0, 0, 1, values[0]);
    default:
        break;
    }
    matrix given;
    std::copy_n(values, 16, given.values);
    return given;
}

/// Reads the values of a sample in order, through a buffer of 64 values.
template <class T>
class value_stream {
  public:
    value_stream(const random_access_file &file, const extent &values) : file_(file), left_(values) {}

    bool at_end() const { return next_ == held_ && left_.size < sizeof(T); }

    /// Reads the next `count` values; DAMAGED if there are fewer.
    status read(T *values, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (at_end()) return QEL_ARCHIVE_DAMAGED;
            if (next_ == held_) {
                const status outcome = refill();
                if (outcome != QEL_ARCHIVE_OK) return outcome;
            }
            values[i] = window_[next_++];
        }
        return QEL_ARCHIVE_OK;
    }

  private:
    status refill() {
        held_ = static_cast<std::size_t>(std::min<std::uint64_t>(window_count, left_.size / sizeof(T)));
        next_ = 0;
        const std::size_t size = held_ * sizeof(T);
        const status outcome = status_of(file_.read(left_.at, window_, size));
        left_ = {left_.at + size, left_.size - size};
        return outcome;
    }

    static constexpr std::size_t window_count = 64;

    const random_access_file &file_;
    extent left_;
    T window_[window_count];
    std::size_t next_ = 0, held_ = 0;
};

/// Finds the values of a property at a time. Without the property or its samples `values` is empty; DAMAGED if the
/// property has another kind of value.
status find_at(const qel_archive &archive, std::uint32_t object, const char *name, qel_archive_value_type value,
               double seconds, extent &values) {
    values = {};
    property_entry entry;
    if (!find_property(archive, object, name, entry)) return QEL_ARCHIVE_OK;
    const property_header &header = entry.header();
    if (header.kind == property_kind::compound || header.value != value) return QEL_ARCHIVE_DAMAGED;
    if (header.samples == 0) return QEL_ARCHIVE_OK;
    const std::uint64_t sample = last_sample_at(sampling_of(archive, header), header.samples, seconds);
    stored_sample found;
    const status outcome = find_sample(archive.file, header, entry.reference(), sample, found);
    values = found.values;
    return outcome;
}

/// Multiplies `product` from the left by all operations; the last operation is applied to a point first.
status multiply_operations(const random_access_file &file, const extent &operations, const extent &values,
                           matrix &product) {
    value_stream<std::uint8_t> operation_stream(file, operations);
    value_stream<double> numbers(file, values);
    while (!operation_stream.at_end()) {
        std::uint8_t operation;
        status outcome = operation_stream.read(&operation, 1);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        operation >>= 4; // the low bits are hints
        if (operation >= op_count) return QEL_ARCHIVE_DAMAGED;
        double taken[16];
        outcome = numbers.read(taken, value_counts[operation]);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        product = multiply(operation_matrix(operation, taken), product);
    }
    return QEL_ARCHIVE_OK;
}

bool is_xform(const qel_archive &archive, std::uint32_t object) {
    return archive.tree.objects[object].metadata->kind == OGAWA_SCHEMA_XFORM;
}

/// Whether an object inherits its parent's transform.
status inherits(const qel_archive &archive, std::uint32_t object, double seconds, bool &answer) {
    answer = true;
    if (!is_xform(archive, object)) return QEL_ARCHIVE_OK;
    extent values;
    const status outcome = find_at(archive, object, ".xform/.inherits", QEL_ARCHIVE_VALUE_BOOL, seconds, values);
    if (outcome != QEL_ARCHIVE_OK || values.size == 0) return outcome;
    std::uint8_t stored = 0;
    const status read = status_of(archive.file.read(values.at, &stored, sizeof stored));
    answer = stored != 0;
    return read;
}

/// Lists an object and the ancestors whose transforms it inherits, itself first; at most max_levels.
status list_spaces(const qel_archive &archive, std::uint32_t object, double seconds, std::uint32_t *spaces,
                   std::uint32_t &count) {
    count = 0;
    for (;;) {
        spaces[count++] = object;
        bool inherited;
        const status outcome = inherits(archive, object, seconds, inherited);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        object = archive.tree.objects[object].parent;
        if (!inherited || object == none) return QEL_ARCHIVE_OK;
    }
}

} // namespace

status local_transform(const qel_archive &archive, std::uint32_t object, double seconds, matrix &local) {
    local = identity;
    if (!is_xform(archive, object)) return QEL_ARCHIVE_OK;
    extent operations, values;
    status outcome = find_at(archive, object, ".xform/.ops", QEL_ARCHIVE_VALUE_U8, seconds, operations);
    if (outcome != QEL_ARCHIVE_OK || operations.size == 0) return outcome;
    outcome = find_at(archive, object, ".xform/.vals", QEL_ARCHIVE_VALUE_F64, seconds, values);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    return multiply_operations(archive.file, operations, values, local);
}

status world_transform(const qel_archive &archive, std::uint32_t object, double seconds, matrix &world) {
    std::uint32_t spaces[max_levels], count;
    status outcome = list_spaces(archive, object, seconds, spaces, count);
    if (outcome != QEL_ARCHIVE_OK) return outcome;
    outcome = local_transform(archive, spaces[--count], seconds, world);
    while (outcome == QEL_ARCHIVE_OK && count > 0) {
        matrix local;
        outcome = local_transform(archive, spaces[--count], seconds, local);
        world = multiply(local, world);
    }
    return outcome;
}

status is_visible(const qel_archive &archive, std::uint32_t object, double seconds, bool &visible) {
    visible = true;
    for (; object != none; object = archive.tree.objects[object].parent) {
        property_entry entry;
        if (!find_property(archive, object, "visible", entry)) continue;
        const property_header &header = entry.header();
        if (header.kind != property_kind::scalar || header.value != QEL_ARCHIVE_VALUE_I8) continue;
        extent values;
        status outcome = find_at(archive, object, "visible", QEL_ARCHIVE_VALUE_I8, seconds, values);
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        if (values.size == 0) continue;
        std::int8_t stored = -1;
        outcome = status_of(archive.file.read(values.at, &stored, sizeof stored));
        if (outcome != QEL_ARCHIVE_OK) return outcome;
        if (stored != 0 && stored != 1) continue; // inherited from its parent
        visible = stored == 1;
        return QEL_ARCHIVE_OK;
    }
    return QEL_ARCHIVE_OK;
}

} // namespace qel::archives
