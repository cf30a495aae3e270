// SPDX-License-Identifier: MIT
// All objects of an archive with their properties and the values of every sample, one sample in memory at a time.
#include "commands.h"
#include "dump/dump.h"
#include "examine/archive_scene.h"
#include "examine/archive_text.h"
#include "terminal/text.h"

#include <algorithm>
#include <cmath>

namespace tool {

namespace {

template <class T>
T value_at(const std::vector<unsigned char> &bytes, std::size_t number) {
    T value;
    std::memcpy(&value, bytes.data() + number * sizeof value, sizeof value);
    return value;
}

double half_value(std::uint16_t bits) {
    const int exponent = bits >> 10 & 31, fraction = bits & 1023;
    const double size = exponent == 31  ? (fraction == 0 ? INFINITY : NAN)
                        : exponent == 0 ? std::ldexp(fraction, -24)
                                        : std::ldexp(1024 + fraction, exponent - 25);
    return (bits & 0x8000u) != 0 ? -size : size;
}

void append_utf8(std::string &text, std::uint32_t character) {
    if (character < 0x80)
        text += static_cast<char>(character);
    else if (character < 0x800)
        text += {static_cast<char>(0xC0 | character >> 6), static_cast<char>(0x80 | (character & 63))};
    else if (character < 0x10000)
        text += {static_cast<char>(0xE0 | character >> 12), static_cast<char>(0x80 | (character >> 6 & 63)),
                 static_cast<char>(0x80 | (character & 63))};
    else
        text += {static_cast<char>(0xF0 | (character >> 18 & 7)), static_cast<char>(0x80 | (character >> 12 & 63)),
                 static_cast<char>(0x80 | (character >> 6 & 63)), static_cast<char>(0x80 | (character & 63))};
}

/// The texts of a sample. Each ends with a zero.
std::vector<std::string> texts_of(const std::vector<unsigned char> &bytes, bool wide) {
    std::vector<std::string> texts(1);
    const std::size_t count = bytes.size() / (wide ? 4 : 1);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t character = wide ? value_at<std::uint32_t>(bytes, i) : bytes[i];
        if (character == 0)
            texts.emplace_back();
        else if (wide)
            append_utf8(texts.back(), character);
        else
            texts.back() += static_cast<char>(character);
    }
    if (texts.back().empty()) texts.pop_back();
    return texts;
}

/// One number of a sample. Numbers of 64 bits are texts in JSON, because readers may keep only 53 bits.
void write_value(writer &out, std::uint32_t code, const std::vector<unsigned char> &bytes, std::size_t i) {
    switch (code) {
    case QEL_ARCHIVE_VALUE_BOOL:
        return out.boolean(nullptr, bytes[i] != 0);
    case QEL_ARCHIVE_VALUE_U8:
        return out.count(nullptr, bytes[i]);
    case QEL_ARCHIVE_VALUE_I8:
        return out.number(nullptr, value_at<std::int8_t>(bytes, i));
    case QEL_ARCHIVE_VALUE_U16:
        return out.count(nullptr, value_at<std::uint16_t>(bytes, i));
    case QEL_ARCHIVE_VALUE_I16:
        return out.number(nullptr, value_at<std::int16_t>(bytes, i));
    case QEL_ARCHIVE_VALUE_U32:
        return out.count(nullptr, value_at<std::uint32_t>(bytes, i));
    case QEL_ARCHIVE_VALUE_I32:
        return out.number(nullptr, value_at<std::int32_t>(bytes, i));
    case QEL_ARCHIVE_VALUE_U64:
        return out.wide(nullptr, value_at<std::uint64_t>(bytes, i));
    case QEL_ARCHIVE_VALUE_I64:
        return out.wide(nullptr, value_at<std::int64_t>(bytes, i));
    case QEL_ARCHIVE_VALUE_F16:
        return out.real(nullptr, half_value(value_at<std::uint16_t>(bytes, i)));
    case QEL_ARCHIVE_VALUE_F32:
        return out.real(nullptr, value_at<float>(bytes, i));
    default:
        return out.real(nullptr, value_at<double>(bytes, i));
    }
}

void write_values(writer &out, const qel_archive_property &property, const std::vector<unsigned char> &bytes) {
    const std::size_t bytes_each = type_of(property.value).bytes;
    out.open_list("values");
    if (property.value == QEL_ARCHIVE_VALUE_TEXT || property.value == QEL_ARCHIVE_VALUE_WIDE_TEXT) {
        for (const std::string &text : texts_of(bytes, property.value == QEL_ARCHIVE_VALUE_WIDE_TEXT))
            out.utf8(nullptr, text);
    } else if (bytes_each > 0) {
        const std::size_t count = bytes.size() / bytes_each, extent = std::max(property.extent, 1u);
        for (std::size_t i = 0; i < count; ++i) {
            if (extent > 1 && i % extent == 0) out.open_row();
            write_value(out, property.value, bytes, i);
            if (extent > 1 && i % extent == extent - 1) out.close();
        }
    }
    out.close();
}

class archive_dump {
  public:
    archive_dump(writer &out, const archive_scene &scene, const dump_options &options)
        : out_(out), archive_(scene.archive()), options_(options) {}

    /// Writes the object with this number and all below it. Returns the first damage, or an empty text.
    std::string write(std::uint32_t first) {
        out_.open_list("objects");
        qel_archive_object object;
        for (std::uint32_t i = first; qel_archive_get_object(archive_, i, &object) == QEL_ARCHIVE_OK; ++i) {
            if (i > first && object.parent < first) break; // children follow their parents
            write_object(i, object);
        }
        out_.close();
        return damage_;
    }

  private:
    void write_object(std::uint32_t number, const qel_archive_object &object) {
        out_.open_object();
        out_.utf8("path", object.path);
        out_.utf8("kind", kind_of_object(object));
        out_.utf8("metadata", object.metadata);
        out_.open_list("properties");
        for (std::uint32_t i = 0; i < object.property_count; ++i) {
            qel_archive_property property;
            if (qel_archive_get_property(archive_, number, i, &property) == QEL_ARCHIVE_OK)
                write_property(number, i, object, property);
        }
        out_.close();
        out_.close();
    }

    void write_property(std::uint32_t object, std::uint32_t number, const qel_archive_object &owner,
                        const qel_archive_property &property) {
        out_.open_object();
        out_.utf8("name", property.name);
        out_.utf8("type", property.kind == QEL_ARCHIVE_PROPERTY_COMPOUND ? "compound" : kind_of_values(property));
        out_.boolean("array", property.kind == QEL_ARCHIVE_PROPERTY_ARRAY);
        out_.utf8("metadata", property.metadata);
        out_.count("time_sampling", property.time_sampling);
        out_.count("sample_count", property.sample_count);
        out_.open_list("samples");
        const std::uint32_t last = property.sample_count - 1;
        if (property.sample_count > 0 && options_.sample)
            write_sample(object, number, owner, property, std::min(*options_.sample, last));
        for (std::uint32_t i = 0; !options_.sample && i < property.sample_count; ++i)
            write_sample(object, number, owner, property, i);
        out_.close();
        out_.close();
    }

    void write_sample(std::uint32_t object, std::uint32_t number, const qel_archive_object &owner,
                      const qel_archive_property &property, std::uint32_t sample) {
        double time = 0;
        std::uint64_t size = 0;
        out_.open_object();
        out_.count("sample", sample);
        if (qel_archive_property_time(archive_, object, number, sample, &time) == QEL_ARCHIVE_OK)
            out_.real("time", time);
        std::int32_t status = qel_archive_read_property(archive_, object, number, sample, nullptr, 0, &size);
        if (status == QEL_ARCHIVE_OK) {
            bytes_.resize(size);
            status = qel_archive_read_property(archive_, object, number, sample, bytes_.data(), size, &size);
        }
        if (status == QEL_ARCHIVE_OK)
            write_values(out_, property, bytes_);
        else
            out_.utf8("problem", archive_message(status));
        if (status != QEL_ARCHIVE_OK && damage_.empty())
            damage_ = std::string(owner.path) + ": " + property.name + ": " + archive_message(status);
        out_.close();
    }

    writer &out_;
    const qel_archive *archive_;
    const dump_options &options_;
    std::vector<unsigned char> bytes_;
    std::string damage_;
};

} // namespace

void dump_archive(const input_file &file, const dump_options &options) {
    const archive_scene scene(file);
    const std::string path = options.path.empty() ? "/" : options.path;
    const std::uint32_t first = qel_archive_find(scene.archive(), path.c_str());
    if (first == QEL_NOT_FOUND) throw failure(file.name(), "has no object " + path);
    std::string damage;
    {
        writer out(options.json ? writer::style::json : writer::style::lines);
        out.open_object();
        out.text("format", name_of(file.kind()));
        out.number("library_version", scene.info().library_version);
        out.utf8("metadata", scene.info().metadata);
        damage = archive_dump(out, scene, options).write(first);
        out.close();
    }
    if (!damage.empty()) throw failure(file.name(), "not sound: " + damage);
}

} // namespace tool
