// SPDX-License-Identifier: MIT
// How one result of a library is compared with one of a model.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace qel::model {

/// Thrown where answers differ.
struct difference {
    std::string text;
};

template <class T>
std::string shown(const T &value) {
    std::ostringstream out;
    out.precision(17);
    out << value;
    return out.str();
}

inline std::string shown(const std::string &text) {
    return '"' + text + '"';
}

/// Equality; doubles and floats are compared by their bits, except the payload of a NaN.
template <class T>
bool same_bits(const T &a, const T &b) {
    if constexpr (std::is_floating_point_v<T>) {
        return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
    } else {
        return a == b;
    }
}

/// A record filled with a pattern, which shows what was written.
template <class T>
T patterned() {
    T record;
    std::memset(static_cast<void *>(&record), 0xA5, sizeof record);
    return record;
}

template <class T>
bool is_patterned(const T &record) {
    const T untouched = patterned<T>();
    return std::memcmp(&record, &untouched, sizeof record) == 0;
}

/// As many floats or words as the model has; a null pointer has none.
template <class T, class U>
bool same_array(const T *library, std::uint64_t count, const std::vector<U> &model) {
    static_assert(sizeof(T) == sizeof(U));
    if (count != model.size()) return false;
    return count == 0 || (library != nullptr && std::memcmp(library, model.data(), count * sizeof(T)) == 0);
}

/// The part of a text that a C caller reads.
inline std::string as_c_string(const std::string &text) {
    return text.c_str();
}

} // namespace qel::model
