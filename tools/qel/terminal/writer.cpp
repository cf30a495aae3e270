// SPDX-License-Identifier: MIT
#include "terminal/writer.h"

#include "terminal/text.h"

#include <cmath>
#include <cstdio>

namespace tool {

namespace {

std::string quoted(const char *value, std::size_t size) {
    std::string text = "\"";
    for (std::size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(value[i]);
        if (byte == '"' || byte == '\\')
            text += std::string("\\") + value[i];
        else if (byte < 0x20 || byte > 0x7E)
            text += format("\\u%04x", byte);
        else
            text += value[i];
    }
    return text + "\"";
}

std::string real_text(double value, int digits) {
    return std::isfinite(value) ? format("%.*g", digits, value) : "null";
}

/// With enough digits to restore the number.
std::string digits_of(float value) {
    return real_text(double{value}, 9);
}
std::string digits_of(double value) {
    return real_text(value, 17);
}
std::string digits_of(std::uint32_t value) {
    return std::to_string(value);
}

} // namespace

writer::~writer() {
    if (style_ == style::json && line_ == nullptr) emit("\n");
}

void writer::emit(std::string_view text) {
    if (line_ != nullptr)
        line_->append(text);
    else
        std::fwrite(text.data(), 1, text.size(), stdout);
}

void writer::open(const char *name, bool list, bool row) {
    const bool inside_row = !levels_.empty() && levels_.back().row;
    const std::size_t path = path_.size();
    begin(name);
    if (style_ == style::json) emit(list ? "[" : "{");
    levels_.push_back({list, row || inside_row, 0, path});
}

void writer::close() {
    const level ended = levels_.back();
    levels_.pop_back();
    path_.resize(ended.path);
    if (style_ != style::json) return;
    if (ended.list && !ended.row && ended.items > 0) emit("\n");
    emit(ended.list ? "]" : "}");
}

/// Writes what precedes a value in JSON: the comma, the line break and the name. For lines, extends the path.
void writer::begin(const char *name) {
    const std::uint64_t number = levels_.empty() ? 0 : levels_.back().items++;
    const bool list = !levels_.empty() && levels_.back().list;
    if (style_ == style::json) {
        if (number > 0) emit(levels_.back().row || list ? "," : ", ");
        if (list && !levels_.back().row) emit("\n");
        if (name != nullptr) emit("\"" + std::string(name) + "\": ");
    } else if (list) {
        path_ += "[" + std::to_string(number) + "]";
    } else if (name != nullptr) {
        path_ += (path_.empty() ? "" : ".") + std::string(name);
    }
}

void writer::put(const char *name, const std::string &value) {
    const std::size_t path = path_.size();
    begin(name);
    if (style_ == style::json)
        emit(value);
    else
        emit(path_ + " = " + value + "\n");
    path_.resize(path);
}

void writer::put_digits(const char *name, const std::string &digits) {
    put(name, style_ == style::json ? '"' + digits + '"' : digits);
}

void writer::text(const char *name, const std::string &value) {
    put(name, quoted(value.data(), value.size()));
}

void writer::utf8(const char *name, const std::string &value) {
    put(name, quoted_text(value));
}

void writer::boolean(const char *name, bool value) {
    put(name, value ? "true" : "false");
}

void writer::bytes(const char *name, const char *value, std::size_t size) {
    std::size_t length = 0;
    while (length < size && value[length] != '\0')
        ++length;
    put(name, quoted(value, length));
}

void writer::opaque(const char *name, const std::uint8_t *bytes, std::size_t size) {
    std::string digits;
    for (std::size_t i = 0; i < size; ++i)
        digits += format("%02X", bytes[i]);
    text(name, digits);
}

void writer::number(const char *name, std::int32_t value) {
    put(name, std::to_string(value));
}
void writer::count(const char *name, std::uint32_t value) {
    put(name, std::to_string(value));
}
void writer::counts(std::initializer_list<std::pair<const char *, std::uint32_t>> named) {
    for (const auto &[name, value] : named)
        count(name, value);
}
void writer::wide(const char *name, std::int64_t value) {
    put_digits(name, std::to_string(value));
}
void writer::wide(const char *name, std::uint64_t value) {
    put_digits(name, std::to_string(value));
}
void writer::real(const char *name, float value) {
    put(name, digits_of(value));
}
void writer::real(const char *name, double value) {
    put(name, digits_of(value));
}

template <class Number>
void writer::put_row(const char *name, const Number *values, std::size_t size) {
    if (style_ == style::lines) { // one line for a vector
        std::string line;
        for (std::size_t i = 0; i < size; ++i)
            line += (i > 0 ? " " : "") + digits_of(values[i]);
        put(name, line);
        return;
    }
    open_row(name);
    for (std::size_t i = 0; i < size; ++i)
        put(nullptr, digits_of(values[i]));
    close();
}

void writer::row(const char *name, const float *values, std::size_t size) {
    put_row(name, values, size);
}
void writer::row(const char *name, const double *values, std::size_t size) {
    put_row(name, values, size);
}
void writer::row(const char *name, const std::uint32_t *values, std::size_t size) {
    put_row(name, values, size);
}
void writer::row(const char *name, const std::uint8_t *values, std::size_t size) {
    const std::vector<std::uint32_t> wide(values, values + size);
    put_row(name, wide.data(), size);
}

} // namespace tool
