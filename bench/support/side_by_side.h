// SPDX-License-Identifier: MIT
// One job done in several ways, in one process and in turn, so that whatever slows the machine slows all of them:
// the library, its plain model, what a user would take instead, and what the memory or the file allows at best. The
// figures are medians over the rounds, and each ratio is the median of the rounds' ratios, with their lowest and
// highest.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace qel::bench {

/// Whether only to see that every row runs: tiny inputs, one round.
bool quick();
void set_quick(bool on);

/// The size of an input: the row's own, or a tiny one.
inline std::size_t sized(std::size_t full, std::size_t tiny) {
    return quick() ? tiny : full;
}

/// A way to do the job. Only `run` is timed; `before` and `after` make and release what it needs.
struct contender {
    std::function<void()> run;
    std::function<void()> after = {};
    std::function<void()> before = {};
};

/// Keeps a result from being optimised away.
template <class T>
void keep(const T &value) {
    benchmark::DoNotOptimize(value);
}

/// The ratio is only reported.
constexpr double no_target = 0;

class side_by_side {
  public:
    side_by_side(benchmark::State &state, contender ours);

    /// The plain form, where with_model(); it should take at least so many times as long. Slow ones take part in few
    /// rounds.
    side_by_side &model(contender plain, double at_least = no_target);
    /// The same at a smaller size, for a plain form that would take minutes at the full one. Where its effort grows
    /// at least as the library's, the ratio at the full size is no lower.
    side_by_side &model_at(const std::string &size, contender ours, contender plain, double at_least);
    /// What a user would take instead, and how many times as long as the library it should take at least.
    side_by_side &peer(const std::string &name, contender other, double at_least);
    /// What cannot be beaten, and how many times as long as that the library may take.
    side_by_side &limit(const std::string &name, contender best, double at_most = no_target);
    /// The most milliseconds that the job may take.
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
    side_by_side &add_rival(const std::string &kind, const std::string &name, std::size_t way,
                            std::size_t reference, double target);
    double play_round(bool backwards);
    void report(const rival &r);

    benchmark::State &state_;
    std::vector<timed> ways_;
    std::vector<rival> rivals_;
    double max_milliseconds_ = no_target;
};

/// Checks what a row takes for granted: that a call succeeded and gave what it should. False and a failed row
/// otherwise.
bool agree(benchmark::State &state, bool same, const char *what);
/// The same of what the plain form gives; not looked at where that takes no part.
bool agree_with_model(benchmark::State &state, const char *what, const std::function<bool()> &same);

/// Adds what is measured once, by the time that it says itself.
void add_measurement(const std::string &name, const std::function<void(benchmark::State &)> &measure);

/// Adds a row to the table; nothing where growth is measured.
void row(const std::string &job, const std::string &size, void (*measure)(benchmark::State &));

} // namespace qel::bench
