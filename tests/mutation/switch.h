// SPDX-License-Identifier: MIT
// Included before each source of which many mutants are compiled at once: every expression that one of them changes
// tests whether that mutant is active. In a constant expression no mutant is, so that its value is the original one.
#pragma once

namespace mutation {

constexpr int max_mutants = 1 << 16;
extern int active;
extern unsigned char *reached; // a byte for each mutant: whether its place has run

constexpr bool on(int number) {
    if (__builtin_is_constant_evaluated()) return false;
    reached[number] = 1;
    return active == number;
}

template <int number>
constexpr bool negate(bool condition) {
    return condition != on(number);
}

template <int number>
constexpr bool no() {
    return on(number);
}

template <int number, class T>
constexpr T later(T value) {
    return on(number) ? value + 1 : value;
}

/// The first of two arguments, or the other one that it is swapped with: of one type, or this does not compile.
template <int number, class T>
constexpr const T &pick(const T &self, const T &other) {
    return on(number) ? other : self;
}

/// What mutant `number` does at its place.
template <int number, class Operation>
struct way {
    static constexpr bool taken() { return on(number); }
    static constexpr Operation operation{};
};

struct one_more {
    template <class T>
    constexpr auto operator()(T value) const {
        return value + 1;
    }
};
struct one_less {
    template <class T>
    constexpr auto operator()(T value) const {
        return value - 1;
    }
};

template <class... Ways, class T>
constexpr T constant(T value) {
    T result = value;
    static_cast<void>(((Ways::taken() ? (result = static_cast<T>(Ways::operation(value)), true) : false) || ...));
    return result;
}

// `a + b` becomes `a + place<...>() + b`: of the same precedence in any context.
template <class Operation, class... Ways>
struct place {};
template <class L, class Operation, class... Ways>
struct left_half {
    L left;
};
template <class R, class Operation, class... Ways>
struct right_half {
    R right;
};

template <class Operation, class... Ways, class L, class R>
constexpr auto apply(L left, R right) {
    auto result = Operation()(left, right);
    static_cast<void>((
        (Ways::taken() ? (result = static_cast<decltype(result)>(Ways::operation(left, right)), true) : false) || ...));
    return result;
}

#define MUTATION_OPERATION(name, ...)                                                                                  \
    struct name {                                                                                                      \
        template <class L, class R>                                                                                    \
        constexpr auto operator()(L left, R right) const {                                                             \
            return __VA_ARGS__;                                                                                        \
        }                                                                                                              \
    };

#define MUTATION_BINARY(name, sign)                                                                                    \
    MUTATION_OPERATION(name, left sign right)                                                                          \
    template <class L, class... Ways>                                                                                  \
    constexpr left_half<L, name, Ways...> operator sign(L left, place<name, Ways...>) {                                \
        return {left};                                                                                                 \
    }                                                                                                                  \
    template <class L, class... Ways, class R>                                                                         \
    constexpr auto operator sign(left_half<L, name, Ways...> half, R right) {                                          \
        return apply<name, Ways...>(half.left, right);                                                                 \
    }

#define MUTATION_COMPOUND(name, sign)                                                                                  \
    struct name {                                                                                                      \
        template <class L, class R>                                                                                    \
        constexpr void operator()(L &left, R right) const {                                                            \
            left sign right;                                                                                           \
        }                                                                                                              \
    };                                                                                                                 \
    template <class... Ways, class R>                                                                                  \
    constexpr right_half<R, name, Ways...> operator sign(place<name, Ways...>, R right) {                              \
        return {right};                                                                                                \
    }                                                                                                                  \
    template <class L, class... Ways, class R>                                                                         \
    constexpr L &operator sign(L &left, right_half<R, name, Ways...> half) {                                           \
        if (!((Ways::taken() ? (Ways::operation(left, half.right), true) : false) || ...)) left sign half.right;       \
        return left;                                                                                                   \
    }

MUTATION_BINARY(less, <)
MUTATION_BINARY(less_equal, <=)
MUTATION_BINARY(greater, >)
MUTATION_BINARY(greater_equal, >=)
MUTATION_BINARY(equal, ==)
MUTATION_BINARY(unequal, !=)
MUTATION_OPERATION(less_early, left + 1 < right)
MUTATION_OPERATION(less_equal_early, left + 1 <= right)
MUTATION_OPERATION(greater_early, left > right + 1)
MUTATION_OPERATION(greater_equal_early, left >= right + 1)
MUTATION_BINARY(add, +)
MUTATION_BINARY(subtract, -)
MUTATION_BINARY(multiply, *)
MUTATION_BINARY(divide, /)
MUTATION_BINARY(modulo, %)
MUTATION_BINARY(shift_left, <<)
MUTATION_BINARY(shift_right, >>)
MUTATION_BINARY(bit_and, &)
MUTATION_BINARY(bit_or, |)
MUTATION_BINARY(bit_xor, ^)
MUTATION_COMPOUND(add_to, +=)
MUTATION_COMPOUND(subtract_to, -=)
MUTATION_COMPOUND(multiply_to, *=)
MUTATION_COMPOUND(divide_to, /=)
MUTATION_COMPOUND(modulo_to, %=)
MUTATION_COMPOUND(shift_left_to, <<=)
MUTATION_COMPOUND(shift_right_to, >>=)
MUTATION_COMPOUND(bit_and_to, &=)
MUTATION_COMPOUND(bit_or_to, |=)
MUTATION_COMPOUND(bit_xor_to, ^=)

} // namespace mutation
