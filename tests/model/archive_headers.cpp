// SPDX-License-Identifier: MIT
#include "model/archive_headers.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <set>

namespace qel::model {
namespace {

constexpr std::size_t digests_size = 32;
constexpr std::uint32_t own_text = 0xFF; ///< in place of a text's number

const std::string &shared_text(const std::vector<std::string> &shared, std::uint32_t number) {
    require(number < shared.size());
    return shared[number];
}

/// A name is no path and is unique among its siblings.
void check_name(const std::string &name, std::set<std::string> &siblings) {
    require(!name.empty());
    require(name.find('/') == std::string::npos && name.find('\0') == std::string::npos);
    require(siblings.insert(name).second);
}

std::uint32_t number(archive_cursor &cursor, std::uint32_t width) {
    if (width == 0) return cursor.value<std::uint8_t>();
    if (width == 1) return cursor.value<std::uint16_t>();
    return cursor.value<std::uint32_t>();
}

void parse_changes(archive_cursor &cursor, std::uint32_t info, std::uint32_t width, archive_property_header &header) {
    if ((info >> 9 & 1) != 0) {
        header.first_changed = number(cursor, width);
        header.last_changed = number(cursor, width);
        require(header.first_changed <= header.last_changed);
        if (header.last_changed == 0) return;
        require(header.first_changed != 0);
        require(header.last_changed < header.samples);
    } else if ((info >> 11 & 1) != 0) {
        header.first_changed = header.last_changed = 0;
    } else {
        header.first_changed = 1;
        header.last_changed = header.samples - 1; // without samples it is never read
    }
}

archive_property_header parse_property_header(archive_cursor &cursor, const std::vector<std::string> &shared,
                                              std::size_t time_samplings) {
    archive_property_header header;
    const auto info = cursor.value<std::uint32_t>();
    const std::uint32_t kind = info & 3, width = info >> 2 & 3;
    require(width != 3);
    header.kind = kind == 3 ? 2 : kind;
    if (header.kind != 0) {
        header.value = info >> 4 & 0xF;
        header.extent = info >> 12 & 0xFF;
        require(header.value <= 13 && header.extent != 0);
        header.samples = number(cursor, width);
        parse_changes(cursor, info, width, header);
        if ((info >> 8 & 1) != 0) header.time_sampling = number(cursor, width);
        require(header.time_sampling < time_samplings);
    }
    header.name = cursor.text(number(cursor, width));
    const std::uint32_t text = info >> 20 & 0xFF;
    header.metadata = text == own_text ? cursor.text(number(cursor, width)) : shared_text(shared, text);
    return header;
}

} // namespace

bool archive_time_sampling::is_acyclic() const {
    return cycle == DBL_MAX / 32;
}

double archive_time_sampling::time(std::uint64_t i) const {
    const std::uint64_t n = times.size();
    if (is_acyclic()) return i < n ? times[i] : times[n - 1];
    return times[i % n] + static_cast<double>(i / n) * cycle;
}

std::uint64_t archive_time_sampling::sample_at(double seconds, std::uint64_t count) const {
    const double latest = is_acyclic() ? seconds : seconds + 1e-6 * std::fabs(cycle);
    const std::uint64_t n = times.size();
    std::uint64_t last = 0;
    // The samples of one place in the cycle follow each other in one direction.
    for (std::uint64_t place = 0; place < n && place < count; ++place) {
        std::uint64_t low = 0, high = (count - 1 - place) / n; // rounds of the cycle
        if (is_acyclic()) high = 0;
        if (time(place + high * n) <= latest) {
            low = high;
        } else if (!(time(place) <= latest)) {
            continue;
        }
        while (high - low > 1) {
            const std::uint64_t middle = low + (high - low) / 2;
            (time(place + middle * n) <= latest ? low : high) = middle;
        }
        last = std::max(last, place + low * n);
    }
    if (is_acyclic() && count > n && times[n - 1] <= latest) last = count - 1;
    return last;
}

std::vector<archive_time_sampling> parse_time_samplings(const archive_bytes &data) {
    std::vector<archive_time_sampling> samplings;
    archive_cursor cursor(data);
    while (!cursor.at_end()) {
        archive_time_sampling sampling;
        cursor.value<std::uint32_t>(); // the highest number of samples, which the properties have as well
        sampling.cycle = cursor.value<double>();
        const auto count = cursor.value<std::uint32_t>();
        require(count != 0);
        for (std::uint32_t i = 0; i < count; ++i)
            sampling.times.push_back(cursor.value<double>());
        samplings.push_back(sampling);
    }
    return samplings;
}

std::vector<std::string> parse_shared_metadata(const archive_bytes &data) {
    std::vector<std::string> texts(1);
    archive_cursor cursor(data);
    while (!cursor.at_end()) {
        const auto length = cursor.value<std::uint8_t>();
        texts.push_back(cursor.text(length));
    }
    return texts;
}

std::optional<std::string> metadata_value(const std::string &whole, const std::string &key) {
    const std::string metadata = whole.c_str(); // a text ends at a zero byte
    for (std::size_t at = 0; at < metadata.size();) {
        const std::size_t end = std::min(metadata.find(';', at), metadata.size());
        const std::string pair = metadata.substr(at, end - at);
        const std::size_t equals = pair.find('=');
        if (equals != std::string::npos && pair.substr(0, equals) == key) return pair.substr(equals + 1);
        at = end + 1;
    }
    return std::nullopt;
}

std::vector<archive_object_header> parse_object_headers(const archive_bytes &data,
                                                        const std::vector<std::string> &shared) {
    std::vector<archive_object_header> headers;
    std::set<std::string> names;
    archive_cursor cursor(data, data.size() > digests_size ? data.size() - digests_size : 0);
    while (!cursor.at_end()) {
        archive_object_header header;
        header.name = cursor.text(cursor.value<std::uint32_t>());
        check_name(header.name, names);
        const auto text = cursor.value<std::uint8_t>();
        header.metadata = text == own_text ? cursor.text(cursor.value<std::uint32_t>()) : shared_text(shared, text);
        headers.push_back(header);
    }
    return headers;
}

std::uint64_t archive_property_header::stored_sample(std::uint64_t i) const {
    if (all_equal() || i < first_changed) return 0;
    if (i >= last_changed) return last_changed - first_changed + 1;
    return i - first_changed + 1;
}

std::vector<archive_property_header>
parse_property_headers(const archive_bytes &data, const std::vector<std::string> &shared, std::size_t time_samplings) {
    std::vector<archive_property_header> headers;
    std::set<std::string> names;
    archive_cursor cursor(data);
    while (!cursor.at_end()) {
        headers.push_back(parse_property_header(cursor, shared, time_samplings));
        check_name(headers.back().name, names);
    }
    return headers;
}

} // namespace qel::model
