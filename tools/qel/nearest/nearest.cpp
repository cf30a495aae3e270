// SPDX-License-Identifier: MIT
#include "commands.h"
#include "examine/examined.h"
#include "examine/lattice.h"
#include "examine/owned.h"
#include "examine/report.h"
#include "terminal/messages.h"
#include "terminal/text.h"
#include "terminal/writer.h"

#include <algorithm>
#include <cmath>

namespace tool {

namespace {

/// Parses "X,Y,Z" or a key; anything else is a usage error.
std::uint64_t key_of(const nearest_options &options) {
    std::uint64_t parts[3];
    const std::string &text = options.place;
    if (parse_number(text, parts[0])) return parts[0];
    const std::size_t first = text.find(','), second = first == std::string::npos ? first : text.find(',', first + 1);
    const std::uint64_t limit = options.packed ? max_packed : lattice_edge - 1;
    if (second == std::string::npos || !parse_number(text.substr(0, first), parts[0]) ||
        !parse_number(text.substr(first + 1, second - first - 1), parts[1]) ||
        !parse_number(text.substr(second + 1), parts[2]) || std::max({parts[0], parts[1], parts[2]}) > limit)
        throw usage_error("\"" + text + "\" is neither a key nor X,Y,Z with coordinates of 0 to " +
                          std::to_string(limit));
    if (options.packed) return parts[0] << 32 | parts[1] << 16 | parts[2];
    return qel_matrix_48_morton_encode(static_cast<std::uint32_t>(parts[0]), static_cast<std::uint32_t>(parts[1]),
                                       static_cast<std::uint32_t>(parts[2]));
}

/// A found token, and the number of its unit among the inputs.
struct hit {
    std::size_t file;
    std::uint32_t number;
    qel_token token;
    std::uint64_t distance;
};

void add_hits(std::vector<hit> &all, std::size_t number, const std::string &name, std::uint64_t key,
              std::size_t max_count) {
    const input_file file(name);
    file.must_be(file_kind::unit, "nearest");
    report about;
    check_unit(about, file);
    if (!about.verdict().empty()) throw failure(file.name(), about.verdict());
    unit_record unit;
    load_unit(file, *unit.get());
    const auto wanted = static_cast<std::uint32_t>(std::min<std::size_t>(qel_unit_get_count(unit.get()), max_count));
    std::vector<std::uint32_t> numbers(wanted);
    std::vector<std::uint64_t> distances(wanted);
    const std::uint32_t found =
        qel_unit_query_nearest(unit.get(), key, static_cast<std::int32_t>(wanted), numbers.data(), distances.data());
    if (found < wanted) throw failure(file.name(), no_memory);
    for (std::uint32_t i = 0; i < found; ++i)
        all.push_back({number, numbers[i], unit->tokens[numbers[i]], distances[i]});
}

/// The key of a position in the lattice of the scene's mesh whose box is nearest to it.
std::uint64_t key_in_scene(const nearest_options &options) {
    float position[3];
    int end = 0;
    if (std::sscanf(options.position.c_str(), "%f,%f,%f%n", position, position + 1, position + 2, &end) != 3 ||
        options.position.size() != static_cast<std::size_t>(end) || !std::isfinite(position[0]) ||
        !std::isfinite(position[1]) || !std::isfinite(position[2]))
        throw usage_error("\"" + options.position + "\" is no position X,Y,Z");
    const input_file file(options.scene);
    file.must_be(file_kind::scene, "--scene");
    const examined from(file);
    from.must_be_usable();
    const float *best = nullptr;
    double min_distance = 0;
    for (std::uint32_t i = 0; i < from.scene->mesh_count; ++i) {
        const float *box = from.scene->meshes[i].bounds;
        double distance = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const double beyond = std::max(
                {double{box[axis]} - double{position[axis]}, double{position[axis]} - double{box[axis + 3]}, 0.0});
            distance += beyond * beyond;
        }
        if (best == nullptr || distance < min_distance) {
            best = box;
            min_distance = distance;
        }
    }
    if (best == nullptr) throw failure(file.name(), "has no mesh");
    std::uint8_t x = 0, y = 0, z = 0;
    qel_alembic_world_to_matrix(position[0], position[1], position[2], best, &x, &y, &z);
    return qel_matrix_48_morton_encode(x, y, z);
}

void print_json(const nearest_options &options, std::uint64_t key, const std::vector<hit> &hits) {
    writer out(writer::style::json);
    out.open_object();
    out.wide("key", key);
    out.open_list("nearest");
    for (const hit &found : hits) {
        out.open_object();
        if (options.units.size() > 1) out.utf8("file", options.units[found.file]);
        out.count("token", found.number);
        out.bytes("hex_id", found.token.hex_id, sizeof found.token.hex_id);
        out.wide("morton", found.token.morton);
        out.count("layer", found.token.layer);
        out.wide("hops", found.distance);
        out.close();
    }
    out.close();
    out.close();
}

void print_table(const nearest_options &options, const std::vector<hit> &hits) {
    const bool several = options.units.size() > 1;
    print_line(colour::heading,
               format("%10s  %-8s  %20s  %5s  %10s%s", "TOKEN", "ID", "KEY", "LAYER", "HOPS", several ? "  FILE" : ""));
    for (const hit &found : hits)
        std::printf("%10u  %-8s  %20llu  %5u  %10llu%s\n", found.number,
                    printable(found.token.hex_id, sizeof found.token.hex_id).c_str(),
                    static_cast<unsigned long long>(found.token.morton), unsigned{found.token.layer},
                    static_cast<unsigned long long>(found.distance),
                    several ? ("  " + printable(options.units[found.file])).c_str() : "");
}

} // namespace

int nearest(nearest_options options) {
    const bool in_space = !options.position.empty();
    if (!in_space) { // the last argument is the place
        options.place = options.units.back();
        options.units.pop_back();
    }
    const std::uint64_t key = in_space ? key_in_scene(options) : key_of(options);
    std::vector<hit> hits;
    for (std::size_t i = 0; i < options.units.size(); ++i)
        add_hits(hits, i, options.units[i], key, static_cast<std::size_t>(options.count));
    // Ties keep the order of the units, and within a unit the order of its query's result.
    std::stable_sort(hits.begin(), hits.end(), [](const hit &a, const hit &b) { return a.distance < b.distance; });
    if (hits.size() > static_cast<std::size_t>(options.count)) hits.resize(static_cast<std::size_t>(options.count));
    if (options.json)
        print_json(options, key, hits);
    else
        print_table(options, hits);
    return 0;
}

} // namespace tool
