// SPDX-License-Identifier: MIT
// Writes named values to standard output, as JSON or as lines "path.to[3].name = value".
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace tool {

class writer {
  public:
    enum class style { lines, json };
    explicit writer(style how) : style_(how) {}
    /// Ends the document's last line.
    ~writer();
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;

    // In an array, names are null.
    void open_object(const char *name = nullptr) { open(name, false, false); }
    /// The items stand on lines of their own.
    void open_list(const char *name) { open(name, true, false); }
    /// The items stand on one line.
    void open_row(const char *name = nullptr) { open(name, true, true); }
    void close();

    void text(const char *name, const std::string &value);
    /// A text in UTF-8; what is no UTF-8 or commands terminals is escaped as in messages.
    void words(const char *name, const std::string &value);
    /// Digits as a number.
    void whole(const char *name, const std::string &digits) { put(name, digits); }
    void truth(const char *name, bool value);
    /// Up to `size` bytes or the first zero; bytes that are no ASCII become the characters of Latin-1.
    void bytes(const char *name, const char *value, std::size_t size);
    /// Bytes without a meaning, two hexadecimal digits each.
    void opaque(const char *name, const std::uint8_t *bytes, std::size_t size);
    void number(const char *name, std::int32_t value);
    void count(const char *name, std::uint32_t value);
    void counts(std::initializer_list<std::pair<const char *, std::uint32_t>> named);
    /// A field of 64 bits: in JSON a text of decimal digits, whatever its value, because programs that read JSON
    /// may keep only 53 bits of a number.
    void wide(const char *name, std::int64_t value);
    void wide(const char *name, std::uint64_t value);
    /// A number that is not finite is null.
    void real(const char *name, float value);
    void real(const char *name, double value);
    void row(const char *name, const float *values, std::size_t size);
    void row(const char *name, const double *values, std::size_t size);
    void row(const char *name, const std::uint32_t *values, std::size_t size);
    void row(const char *name, const std::uint8_t *values, std::size_t size);

  private:
    struct level {
        bool list, row;
        std::uint64_t items;
        std::size_t path;
    };
    void open(const char *name, bool list, bool row);
    void begin(const char *name);
    void put(const char *name, const std::string &value);
    template <class Number>
    void put_row(const char *name, const Number *values, std::size_t size);
    void put_digits(const char *name, const std::string &digits);

    style style_;
    std::string path_; ///< of the open level, for lines
    std::vector<level> levels_;
};

} // namespace tool
