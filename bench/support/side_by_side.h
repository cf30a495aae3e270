// SPDX-License-Identifier: MIT
// One job by several contenders, in one process and in turn, so that other load slows all of them: the library, its
// plain model, a user's alternative, and the limit of the memory or the file. The figures are medians over the rounds,
// and each ratio is the median of the rounds' ratios, with their lowest and highest.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace qel::bench {

/// Whether only to check that every row runs: tiny inputs, one round.
bool quick();
void set_quick(bool on);

/// The size of an input: the row's own, or a tiny one.
inline std::size_t sized(std::size_t full, std::size_t tiny) {
    return quick() ? tiny : full;
}

/// One implementation of the job. Only `run` is timed; `before` and `after` make and release its data.
struct contender {
    std::function<void()> run;
    std::function<void()> after = {};
    std::function<void()> before = {};
};

/// Prevents the compiler from removing a result.
template <class T>
void keep(const T &value) {
    benchmark::DoNotOptimize(value);
}

/// No target: the ratio is only reported.
constexpr double no_target = 0;

class side_by_side {
  public:
    side_by_side(benchmark::State &state, contender ours);

    /// Adds the plain form if with_model(); it should take at least `at_least` times as long. Slow ones take part in
    /// few rounds.
    side_by_side &model(contender plain, double at_least = no_target);
    /// The same at a smaller size, for a plain form that would take minutes at the full size. If its time grows at
    /// least as fast as the library's, the ratio at the full size is no lower.
    side_by_side &model_at(const std::string &size, contender ours, contender plain, double at_least);
    /// Adds a user's alternative, which should take at least `at_least` times as long as the library.
    side_by_side &peer(const std::string &name, contender other, double at_least);
    /// Adds a limit; the library may take at most `at_most` times as long.
    side_by_side &limit(const std::string &name, contender best, double at_most = no_target);
    /// Sets the most milliseconds that the job may take.
    side_by_side &within(double milliseconds);

    /// Runs the rounds and reports; does nothing after a failed check.
    void measure();

  private:
    enum class sense { at_least, at_most };
    struct timed {
        contender way;
        std::vector<double> seconds = {}; // of each round that it took part in
        double total = 0;
    };
    struct rival {
        std::string kind, name;
        double target;
        sense wanted;
        std::size_t way, reference; // in ways_
        bool may_rest;              // a slow model does not take part in every round
    };

    std::size_t add(contender way);
    side_by_side &add_rival(const std::string &kind, const std::string &name, std::size_t way, std::size_t reference,
                            double target);
    double play_round(bool backwards);
    void report(const rival &r);

    benchmark::State &state_;
    std::vector<timed> ways_;
    std::vector<rival> rivals_;
    double max_milliseconds_ = no_target;
};

/// Checks a condition of a row, such as a call's success and result. Otherwise fails the row and returns false.
bool agree(benchmark::State &state, bool same, const char *what);
/// The same for the plain form's result; skipped if the plain form takes no part.
bool agree_with_model(benchmark::State &state, const char *what, const std::function<bool()> &same);

/// Adds a measurement that runs once and reports its own time.
void add_measurement(const std::string &name, const std::function<void(benchmark::State &)> &measure);

/// Adds a row to the table; does nothing if growth is measured.
void row(const std::string &job, const std::string &size, void (*measure)(benchmark::State &));

} // namespace qel::bench
