// SPDX-License-Identifier: MIT
#include "commands.h"
#include "owned.h"
#include "report.h"
#include "text.h"
#include "writer.h"

namespace tool {

namespace {

/// "X,Y,Z" or a key; anything else is a mistake in the call.
std::uint64_t key_of(const nearest_options &options) {
    std::uint64_t parts[3];
    const std::string &text = options.around;
    if (parse_number(text, parts[0])) return parts[0];
    const std::size_t first = text.find(','),
                      second = first == std::string::npos ? first : text.find(',', first + 1);
    const std::uint64_t limit = options.packed ? 65535 : 47;
    if (second == std::string::npos || !parse_number(text.substr(0, first), parts[0]) ||
        !parse_number(text.substr(first + 1, second - first - 1), parts[1]) ||
        !parse_number(text.substr(second + 1), parts[2]) || std::max({parts[0], parts[1], parts[2]}) > limit)
        throw usage_error("\"" + text + "\" is neither a key nor X,Y,Z with coordinates of 0 to " +
                          std::to_string(limit));
    if (options.packed) return parts[0] << 32 | parts[1] << 16 | parts[2];
    return qel_matrix_48_morton_encode(static_cast<std::uint32_t>(parts[0]),
                                       static_cast<std::uint32_t>(parts[1]),
                                       static_cast<std::uint32_t>(parts[2]));
}

void print_json(const qel_unit &unit, std::uint64_t key, std::uint32_t found, const std::uint32_t *numbers,
                const std::uint64_t *distances) {
    writer out(writer::style::json);
    out.open_object();
    out.wide("key", key);
    out.open_list("nearest");
    for (std::uint32_t i = 0; i < found; ++i) {
        const qel_token token = unit.tokens[numbers[i]];
        out.open_object();
        out.count("token", numbers[i]);
        out.bytes("hex_id", token.hex_id, sizeof token.hex_id);
        out.wide("morton", token.morton);
        out.count("layer", token.layer);
        out.wide("hops", distances[i]);
        out.close();
    }
    out.close();
    out.close();
}

void print_table(const qel_unit &unit, std::uint32_t found, const std::uint32_t *numbers,
                 const std::uint64_t *distances) {
    std::printf("%10s  %-8s  %20s  %5s  %10s\n", "TOKEN", "ID", "KEY", "LAYER", "HOPS");
    for (std::uint32_t i = 0; i < found; ++i) {
        const qel_token token = unit.tokens[numbers[i]];
        std::printf("%10u  %-8s  %20llu  %5u  %10llu\n", numbers[i],
                    printable(token.hex_id, sizeof token.hex_id).c_str(),
                    static_cast<unsigned long long>(token.morton), unsigned{token.layer},
                    static_cast<unsigned long long>(distances[i]));
    }
}

} // namespace

int nearest(const nearest_options &options) {
    const std::uint64_t key = key_of(options);
    const input_file file(options.unit);
    file.must_be(file_kind::unit, "nearest");
    report about;
    check_unit(about, file);
    if (!about.verdict().empty()) throw failure(file.name(), about.verdict());
    unit_record unit;
    load_unit(file, *unit.get());
    const std::uint32_t count = qel_unit_get_count(unit.get());
    const std::uint32_t wanted = std::min(count, static_cast<std::uint32_t>(options.count));
    std::vector<std::uint32_t> numbers(wanted);
    std::vector<std::uint64_t> distances(wanted);
    const std::uint32_t found = qel_unit_query_nearest(unit.get(), key, static_cast<std::int32_t>(wanted),
                                                       numbers.data(), distances.data());
    if (found < wanted) throw failure(file.name(), "not enough memory for the search");
    if (options.json)
        print_json(*unit.get(), key, found, numbers.data(), distances.data());
    else
        print_table(*unit.get(), found, numbers.data(), distances.data());
    return 0;
}

} // namespace tool
