// SPDX-License-Identifier: MIT
#include "examine/examined.h"

#include "terminal/text.h"

#include <cmath>

namespace tool {

void report::number(const std::string &name, double value) {
    facts.push_back({name, format("%.9g", value), std::isfinite(value)});
}

void must_be_ok(const input_file &file, int code, meanings known) {
    if (code != QEL_OK) throw failure(file.name(), meaning_of(code, known));
}

void tally::add_problem(report &about, const char *noun, const std::string &what) const {
    if (count_ == 0) return;
    about.problem(format("%s %s %s, the first is %s %llu", counted(count_, noun).c_str(), count_ == 1 ? "has" : "have",
                         what.c_str(), noun, static_cast<unsigned long long>(first_)));
}

void compare_sizes(report &about, std::uint64_t size, std::uint64_t expected) {
    if (size < expected)
        about.problem("cut short: its counts need " + std::to_string(expected) + " bytes, it has " +
                      std::to_string(size));
    if (size > expected)
        about.problem(counted(size - expected, "byte") + " beyond the " + std::to_string(expected) +
                      " that its counts need");
}

void check_version(report &about, std::uint32_t version, std::uint32_t written) {
    if (version != written)
        about.problem("its version is " + std::to_string(version) + ", not " + std::to_string(written));
}

void check_finite(report &about, const std::string &what, const float *triples, std::uint64_t count) {
    tally bad;
    for (std::uint64_t i = 0; i < count; ++i)
        if (!std::isfinite(triples[i * 3]) || !std::isfinite(triples[i * 3 + 1]) || !std::isfinite(triples[i * 3 + 2]))
            bad.found(i);
    bad.add_problem(about, what.c_str(), "a component that is not finite");
}

void check_box(report &about, const std::string &what, const float *low, const float *high) {
    for (int axis = 0; axis < 3; ++axis)
        if (!std::isfinite(low[axis]) || !std::isfinite(high[axis]) || low[axis] > high[axis]) {
            about.problem(what + " is no box: " + box_text(low, high));
            return;
        }
}

void check_indices(report &about, const std::string &what, const std::uint32_t *numbers, std::uint64_t count,
                   std::uint64_t limit) {
    tally bad;
    for (std::uint64_t i = 0; i < count; ++i)
        if (numbers[i] >= limit) bad.found(i / 3);
    bad.add_problem(about, what.c_str(), "a corner that is not below the vertex count " + std::to_string(limit));
}

std::string box_text(const float *low, const float *high) {
    return format("(%g, %g, %g) to (%g, %g, %g)", double{low[0]}, double{low[1]}, double{low[2]}, double{high[0]},
                  double{high[1]}, double{high[2]});
}

examined::examined(const input_file &from) : file(from) {
    about.fact("file", file.name());
    about.fact("kind", name_of(file.kind()));
    about.fact("bytes", file.size());
    switch (file.kind()) {
    case file_kind::unit:
        examine_unit(*this);
        break;
    case file_kind::agents:
        examine_agents(*this);
        break;
    case file_kind::scene:
        examine_scene(*this);
        break;
    case file_kind::mesh_cache:
        examine_cache(*this);
        break;
    default:
        examine_archive(*this);
        break;
    }
}

void examined::must_be_usable() const {
    if (!about.verdict().empty()) throw failure(file.name(), about.verdict());
}

void load_unit(const input_file &file, qel_unit &unit) {
    must_be_ok(file, qel_unit_load(file.path(), &unit), unit_load_meanings);
}

} // namespace tool
