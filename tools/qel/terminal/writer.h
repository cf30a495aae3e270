// SPDX-License-Identifier: MIT
// Writes named values as JSON or as lines "path.to[3].name = value".
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

class writer {
  public:
    enum class style { lines, json };
    /// Writes to standard output.
    explicit writer(style how) : style_(how) {}
    /// Appends a line without its end to `line`.
    explicit writer(std::string &line) : style_(style::json), line_(&line) {}
    /// Ends the last line on standard output.
    ~writer();
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;

    // In an array, names are null.
    void open_object(const char *name = nullptr) { open(name, false, false); }
    /// Each item is on its own line.
    void open_list(const char *name) { open(name, true, false); }
    /// All items are on one line.
    void open_row(const char *name = nullptr) { open(name, true, true); }
    void close();

    void text(const char *name, const std::string &value);
    /// A text in UTF-8; invalid UTF-8 and control characters are escaped as in messages.
    void utf8(const char *name, const std::string &value);
    /// A number by its digits.
    void digits(const char *name, const std::string &digits) { put(name, digits); }
    void boolean(const char *name, bool value);
    /// Up to `size` bytes or the first zero; bytes beyond ASCII become characters of Latin-1.
    void bytes(const char *name, const char *value, std::size_t size);
    /// Opaque bytes, two hexadecimal digits each.
    void opaque(const char *name, const std::uint8_t *bytes, std::size_t size);
    void number(const char *name, std::int32_t value);
    void count(const char *name, std::uint32_t value);
    void counts(std::initializer_list<std::pair<const char *, std::uint32_t>> named);
    /// A field of 64 bits: in JSON always a text of decimal digits, because programs that read JSON may keep only 53
    /// bits of a number.
    void wide(const char *name, std::int64_t value);
    void wide(const char *name, std::uint64_t value);
    /// An infinite number or a NaN is null.
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
    void emit(std::string_view text);
    void put(const char *name, const std::string &value);
    template <class Number>
    void put_row(const char *name, const Number *values, std::size_t size);
    void put_digits(const char *name, const std::string &digits);

    style style_;
    std::string *line_ = nullptr;
    std::string path_; ///< of the open level, for lines
    std::vector<level> levels_;
};

} // namespace tool
