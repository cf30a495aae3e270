// SPDX-License-Identifier: MIT
#include "support/growth.h"

#include "support/peak_memory.h"
#include "support/side_by_side.h"

#include <algorithm>
#include <cmath>

namespace qel::bench {

namespace {

constexpr std::size_t first_size = 1000, size_count = 7;
constexpr double model_seconds = 10;
constexpr double steep = 2; // the assumed exponent of the plain form before two sizes are measured

bool growth_mode = false;

/// The times of the plain form of the present job so far.
struct model_history {
    double size = 0, seconds = 0, exponent = steep;
    double next_size = 0;
    bool given_up = false;

    /// The expected time of the next size, from the last one.
    double expected() const { return seconds * std::pow(next_size / size, exponent); }

    void note(double now) {
        if (size > 0 && seconds > 0) exponent = std::max(1.0, std::log(now / seconds) / std::log(next_size / size));
        size = next_size;
        seconds = now;
    }
};

model_history history;

/// Rounded to two digits.
std::size_t size_at(std::size_t number, std::size_t largest) {
    const double ratio = static_cast<double>(largest) / first_size;
    const double size = first_size * std::pow(ratio, static_cast<double>(number) / (size_count - 1));
    const double unit = std::pow(10, std::floor(std::log10(size)) - 1);
    return static_cast<std::size_t>(std::round(size / unit) * unit);
}

void measure_point(benchmark::State &state, std::size_t number, std::size_t size,
                   void (*measure)(benchmark::State &, std::size_t)) {
    if (number == 0) history = {};
    history.next_size = static_cast<double>(size);
    history.given_up = history.given_up || (history.size > 0 && history.expected() > model_seconds);
    report_size(state, size);
    reset_peak();
    measure(state, size);
    state.counters["peak_mib"] = peak_mebibytes();
}

} // namespace

bool growing() {
    return growth_mode;
}

void set_growing(bool on) {
    growth_mode = on;
}

void growth(const std::string &job, const std::string &element, std::size_t largest,
            void (*measure)(benchmark::State &, std::size_t)) {
    if (!growing()) return;
    for (std::size_t number = 0; number < (quick() ? 1 : size_count); ++number) {
        const std::size_t size = size_at(number, largest);
        const auto point = [=](benchmark::State &state) { measure_point(state, number, size, measure); };
        add_measurement(job + " | " + element + " | " + std::to_string(size), point);
    }
}

void report_size(benchmark::State &state, std::size_t elements, std::size_t operations) {
    if (!growing()) return;
    state.counters["elements"] = static_cast<double>(elements);
    state.counters["operations"] = static_cast<double>(operations == 0 ? elements : operations);
}

bool with_model() {
    return !growing() || !history.given_up;
}

void note_model(double seconds) {
    if (growing()) history.note(seconds);
}

} // namespace qel::bench
