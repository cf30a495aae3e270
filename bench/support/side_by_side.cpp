// SPDX-License-Identifier: MIT
#include "support/side_by_side.h"

#include "support/growth.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include <malloc.h>

namespace qel::bench {

namespace {

bool quick_mode = false;

/// After this time, without the models', no further round begins; but a least number of rounds is played.
double row_seconds() {
    return growing() ? 0.5 : 2;
}
std::size_t min_rounds() {
    return quick() ? 1 : growing() ? 3 : 5;
}
constexpr std::size_t max_rounds = 41;

constexpr double model_seconds = 1;     // a model that has taken this long rests ...
constexpr std::size_t model_rounds = 3; // ... after this many rounds,
constexpr double slow_model = 3;        // or at once if a round takes this long

double seconds_of(const std::function<void()> &run) {
    using clock = std::chrono::steady_clock;
    const clock::time_point start = clock::now();
    run();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

/// First returns the heap's free memory to the system, except a little for small blocks: a large array is then fresh
/// memory for every contender.
double play(const contender &way) {
    if (way.before) way.before();
    malloc_trim(std::size_t{1} << 20);
    const double seconds = seconds_of(way.run);
    if (way.after) way.after();
    return seconds;
}

} // namespace

bool quick() {
    return quick_mode;
}

void set_quick(bool on) {
    quick_mode = on;
}

side_by_side::side_by_side(benchmark::State &state, contender ours) : state_(state) {
    add(std::move(ours));
}

std::size_t side_by_side::add(contender way) {
    ways_.push_back({std::move(way)});
    return ways_.size() - 1;
}

side_by_side &side_by_side::add_rival(const std::string &kind, const std::string &name, std::size_t way,
                                      std::size_t reference, double target) {
    const sense wanted = kind == "limit" ? sense::at_most : sense::at_least;
    rivals_.push_back({kind, name, target, wanted, way, reference, kind == "model"});
    return *this;
}

side_by_side &side_by_side::model(contender plain, double at_least) {
    if (!with_model()) return *this;
    return add_rival("model", "", add(std::move(plain)), 0, at_least);
}

side_by_side &side_by_side::model_at(const std::string &size, contender ours, contender plain, double at_least) {
    const std::size_t reference = add(std::move(ours));
    return add_rival("model", size, add(std::move(plain)), reference, at_least);
}

side_by_side &side_by_side::peer(const std::string &name, contender other, double at_least) {
    return add_rival("peer", name, add(std::move(other)), 0, at_least);
}

side_by_side &side_by_side::limit(const std::string &name, contender best, double at_most) {
    return add_rival("limit", name, add(std::move(best)), 0, at_most);
}

side_by_side &side_by_side::within(double milliseconds) {
    max_milliseconds_ = milliseconds;
    return *this;
}

/// Every second round is played in reverse order, so that no contender always follows the same one. Returns the time
/// without the models'.
double side_by_side::play_round(bool backwards) {
    double seconds = 0;
    for (std::size_t i = 0; i < ways_.size(); ++i) {
        const std::size_t turn = backwards ? ways_.size() - 1 - i : i;
        timed &way = ways_[turn];
        const bool may_rest =
            std::any_of(rivals_.begin(), rivals_.end(), [turn](const rival &r) { return r.way == turn && r.may_rest; });
        const bool tired = way.seconds.size() >= model_rounds ? way.total > model_seconds : way.total > slow_model;
        if (may_rest && tired) continue;
        way.seconds.push_back(play(way.way));
        way.total += way.seconds.back();
        if (!may_rest) seconds += way.seconds.back();
    }
    return seconds;
}

/// Contender over reference for those that should be slower, reference over contender for the limit: the median, lowest
/// and highest of the rounds' ratios.
void side_by_side::report(const rival &r) {
    const std::vector<double> &way = ways_[r.way].seconds, &reference = ways_[r.reference].seconds;
    std::vector<double> ratios;
    for (std::size_t round = 0; round < std::min(way.size(), reference.size()); ++round)
        ratios.push_back(r.wanted == sense::at_least ? way[round] / reference[round] : reference[round] / way[round]);
    char target[32] = "";
    if (r.target != no_target) std::snprintf(target, sizeof target, "%g", r.target);
    const std::string key = r.kind + "|" + r.name + "|" + target + "|";
    state_.counters[key + "middle"] = median(ratios);
    state_.counters[key + "lowest"] = *std::min_element(ratios.begin(), ratios.end());
    state_.counters[key + "highest"] = *std::max_element(ratios.begin(), ratios.end());
    if (r.kind == "model") note_model(median(way));
}

void side_by_side::measure() {
    if (state_.error_occurred()) return;
    for (auto _ : state_) {
        if (!quick()) play(ways_[0].way); // first calls bind symbols and warm caches
        double played = 0;
        for (std::size_t round = 0; round < max_rounds; ++round) {
            if (round >= min_rounds() && (quick() || played > row_seconds())) break;
            played += play_round(round % 2 == 1);
        }
        state_.SetIterationTime(median(ways_[0].seconds));
    }
    for (const rival &r : rivals_)
        report(r);
    if (max_milliseconds_ != no_target) state_.counters["milliseconds"] = max_milliseconds_;
    state_.counters["rounds"] = static_cast<double>(ways_[0].seconds.size());
}

bool agree(benchmark::State &state, bool same, const char *what) {
    if (!same) state.SkipWithError(what);
    return same;
}

bool agree_with_model(benchmark::State &state, const char *what, const std::function<bool()> &same) {
    return !with_model() || agree(state, same(), what);
}

void add_measurement(const std::string &name, const std::function<void(benchmark::State &)> &measure) {
    benchmark::RegisterBenchmark(name.c_str(), measure)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
}

void row(const std::string &job, const std::string &size, void (*measure)(benchmark::State &)) {
    if (!growing()) add_measurement(job + " | " + size, measure);
}

} // namespace qel::bench
