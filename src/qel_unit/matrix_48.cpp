// SPDX-License-Identifier: MIT
// The projective child lies on the line from the lattice centre through the midpoint of its parents.
#include "qel_unit/matrix_48.h"

#include "qel_unit.h"

#include <cstddef>

namespace qel {
namespace {

static_assert(sizeof(qel_matrix_identity) == 24);
static_assert(offsetof(qel_matrix_identity, k11_level) == 6);
static_assert(offsetof(qel_matrix_identity, morton) == 8);
static_assert(offsetof(qel_matrix_identity, phi_norm) == 16);
static_assert(sizeof(qel_matrix_offspring) == 16);
static_assert(offsetof(qel_matrix_offspring, chirality) == 3);
static_assert(offsetof(qel_matrix_offspring, phi_blend) == 4);
static_assert(offsetof(qel_matrix_offspring, k11_level) == 12);

constexpr std::uint8_t mirror_base = lattice_edge - 1;

struct cell {
    std::uint8_t x, y, z;
};

std::uint8_t low_byte(std::uint32_t value) {
    return static_cast<std::uint8_t>(value);
}

std::uint8_t mirror(std::uint32_t v) {
    return low_byte(mirror_base - v);
}

/// Not an exact mirror image: 0 and 1 have the same image, and values beyond the lattice have the image 0.
std::uint8_t reflect(std::uint8_t v) {
    if (v == 0) return mirror_base;
    return v <= lattice_edge ? low_byte(lattice_edge - std::uint32_t{v}) : std::uint8_t{0};
}

std::uint8_t average(std::uint8_t a, std::uint8_t b) {
    return low_byte((std::uint32_t{a} + b) >> 1);
}

std::uint8_t unsigned_state(int level) {
    return static_cast<std::uint8_t>(state_48(level));
}

/// The factor is a double: only the product is rounded to single precision.
constexpr float coupling_of_norm(float norm) {
    const float scaled = norm / static_cast<float>(lattice_edge) + 1.0f;
    return static_cast<float>(static_cast<double>(scaled) * 10.665754185164001);
}

struct cell_field {
    float norm, coupling;
};

/// Norms and couplings of all lattice cells, tabulated so that a lookup computes no root and no division.
///
/// Both depend only on a cell's squared distance from the centre, which single precision holds exactly. Four times that
/// distance is a sum of three squares of odd numbers: 8 n + 3, with n from 0 to 828 in the lattice.
struct field_table {
    static constexpr std::uint32_t size = 829;

    constexpr field_table() {
        for (std::uint32_t n = 0; n < size; ++n) {
            const float norm = norm_at(static_cast<float>(root((8.0 * n + 3) / 4)));
            fields[n] = {norm, coupling_of_norm(norm)};
        }
    }

    /// Newton's method in double precision: std::sqrt is not constexpr.
    static constexpr double root(double square) {
        double estimate = 0, next = 64; // above all roots computed here, so that the estimates decrease
        do {
            estimate = next;
            next = (estimate + square / estimate) / 2;
        } while (next < estimate);
        return estimate;
    }

    cell_field fields[size] = {};
};

constexpr field_table lattice_fields;

cell_field field_of(const cell &c) {
    const auto squared = [](int v) { return (2 * v - mirror_base) * (2 * v - mirror_base); };
    const auto n = static_cast<std::uint32_t>(squared(c.x) + squared(c.y) + squared(c.z)) / 8;
    if (n < field_table::size) return lattice_fields.fields[n];
    const float norm = phi_norm_48(c.x, c.y, c.z);
    return {norm, coupling_of_norm(norm)};
}

std::int8_t chirality(std::uint8_t a, std::uint8_t b) {
    return static_cast<std::int8_t>((b < a) - (a < b));
}

cell average(const cell &a, const cell &b) {
    return {average(a.x, b.x), average(a.y, b.y), average(a.z, b.z)};
}

cell reflect(const cell &c) {
    return {reflect(c.x), reflect(c.y), reflect(c.z)};
}

float midpoint(std::uint8_t a, std::uint8_t b) {
    return static_cast<float>(a + b) * 0.5f;
}

/// Truncates toward zero and takes the remainder with its sign: -1 becomes the byte 255, not 47.
std::uint8_t wrap_into_lattice(float coordinate) {
    const int whole = static_cast<int>(coordinate);
    if (whole < lattice_edge) return static_cast<std::uint8_t>(whole); // the usual case; never below -1
    return static_cast<std::uint8_t>(whole % lattice_edge);
}

/// Moves the midpoint away from the centre, by about the golden ratio.
cell project(const cell &a, const cell &b) {
    constexpr float epsilon = 0.001f; // keeps the divisor from being zero
    const float mx = midpoint(a.x, b.x), my = midpoint(a.y, b.y), mz = midpoint(a.z, b.z);
    const float fx = mx - lattice_centre, fy = my - lattice_centre, fz = mz - lattice_centre;
    const float scale = golden_ratio / (std::sqrt((fx * fx + fy * fy) + fz * fz) + epsilon);
    return {wrap_into_lattice(fx * scale + mx), wrap_into_lattice(fy * scale + my), wrap_into_lattice(fz * scale + mz)};
}

cell child_of(const cell &a, const cell &b, std::uint32_t mode) {
    if (mode == QEL_REPRODUCE_CROSSOVER) return average(a, b);
    if (mode == QEL_REPRODUCE_TACHYON) return average(reflect(a), b);
    return project(a, b); // QEL_REPRODUCE_PROJECTIVE and every unnamed number
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::uint64_t qel_matrix_48_morton_encode(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return morton_48(x, y, z);
}

void qel_matrix_48_palindrome(std::uint32_t x, std::uint32_t y, std::uint32_t z, std::uint8_t *out_x,
                              std::uint8_t *out_y, std::uint8_t *out_z) {
    *out_x = mirror(x);
    *out_y = mirror(y);
    *out_z = mirror(z);
}

std::int32_t qel_matrix_48_k11_level(std::uint8_t a, std::uint8_t b, std::uint8_t c) {
    return level_48(a, b, c);
}

std::uint8_t qel_matrix_48_i_state(std::int32_t v) {
    return unsigned_state(v);
}

float qel_matrix_48_phi_norm(std::uint8_t x, std::uint8_t y, std::uint8_t z) {
    return field_of({x, y, z}).norm;
}

float qel_matrix_48_em_coupling(std::uint8_t x, std::uint8_t y, std::uint8_t z) {
    return field_of({x, y, z}).coupling;
}

std::uint64_t qel_matrix_48_identity(std::uint8_t x, std::uint8_t y, std::uint32_t z, qel_matrix_identity *identity) {
    const std::uint8_t low_z = low_byte(z);
    const std::int32_t level = level_48(x, y, low_z);
    const cell_field field = field_of({x, y, low_z});
    *identity = {x,
                 y,
                 low_z,
                 mirror(x),
                 mirror(y),
                 mirror(low_z),
                 static_cast<std::int8_t>(level),
                 unsigned_state(level),
                 morton_48(x, y, z),
                 field.norm,
                 field.coupling};
    return identity->morton;
}

void qel_matrix_48_crossover_bind(std::uint8_t a0, std::uint8_t a1, std::uint8_t a2, std::uint8_t b0, std::uint8_t b1,
                                  std::uint8_t b2, std::uint8_t *c0, std::uint8_t *c1, std::uint8_t *c2) {
    *c0 = average(a0, b0);
    *c1 = average(a1, b1);
    *c2 = average(a2, b2);
}

void qel_matrix_48_mutate_tachyon(std::uint8_t x, std::uint8_t y, std::uint8_t z, std::uint8_t *out_x,
                                  std::uint8_t *out_y, std::uint8_t *out_z) {
    *out_x = reflect(x);
    *out_y = reflect(y);
    *out_z = reflect(z);
}

std::int32_t qel_matrix_48_chirality(std::uint8_t a, std::uint8_t b) {
    return chirality(a, b);
}

void qel_matrix_48_reproduce(const qel_matrix_identity *a, const qel_matrix_identity *b, std::uint32_t mode,
                             qel_matrix_offspring *child) {
    const cell c = child_of({a->x, a->y, a->z}, {b->x, b->y, b->z}, mode);
    const std::int32_t level = level_48(c.x, c.y, c.z);
    child->x = c.x;
    child->y = c.y;
    child->z = c.z;
    child->chirality = chirality(c.x, c.y);
    child->phi_blend = (a->phi_norm * golden_ratio + b->phi_norm) / 2.618034f;
    child->em_coupling = field_of(c).coupling;
    child->k11_level = static_cast<std::int8_t>(level);
    child->i_state = unsigned_state(level);
}

std::uint32_t qel_matrix_48_validate_all(void) {
    return 48 * 48 * 48; // a constant: no cell is examined
}

} // extern "C"
