// SPDX-License-Identifier: MIT
// What is known about a file, and what is wrong with it.
#pragma once

#include "examine/status.h"
#include "files/input.h"

#include <qel_unit.h>

#include <string>
#include <vector>

namespace tool {

struct report {
    struct entry {
        std::string name, value;
        bool number; ///< in JSON too
    };
    std::vector<entry> facts;          ///< in order
    std::vector<std::string> problems; ///< none in a sound file
    std::string lack;                  ///< what a sound file does not have that every use of it needs
    bool readable = true;              ///< the records may be followed, though they may be wrong

    void fact(const std::string &name, const std::string &value) { facts.push_back({name, value, false}); }
    void fact(const std::string &name, std::uint64_t value) {
        facts.push_back({name, std::to_string(value), true});
    }
    void number(const std::string &name, double value);
    /// What keeps the file from being used, in the words of all commands; empty where nothing does.
    std::string verdict() const { return problems.empty() ? lack : "not sound: " + problems[0]; }
    void problem(const std::string &what) { problems.push_back(what); }
    /// A problem that leaves nothing to read.
    void fatal(const std::string &what) {
        problem(what);
        readable = false;
    }
};

/// Counts what is wrong in the same way, and tells it once with the first place.
class tally {
  public:
    void found(std::uint64_t place) {
        if (count_++ == 0) first_ = place;
    }
    /// "3 tokens have …, the first is token 17".
    void tell(report &about, const char *noun, const std::string &what) const;

  private:
    std::uint64_t count_ = 0, first_ = 0;
};

/// How many bytes there are against how many the counts say.
void compare_sizes(report &about, std::uint64_t size, std::uint64_t expected);
/// Each of `count` triples has three finite numbers.
void check_finite(report &about, const std::string &what, const float *triples, std::uint64_t count);
/// A box is two finite corners in order.
void check_box(report &about, const std::string &what, const float *low, const float *high);
/// Each of `count` numbers is below `limit`.
void check_indices(report &about, const std::string &what, const std::uint32_t *numbers, std::uint64_t count,
                   std::uint64_t limit);
std::string box_text(const float *low, const float *high);

/// What is wrong with a unit's header and size.
void check_unit(report &about, const input_file &file);

/// Fails unless `code` is 0.
void must_be_zero(const input_file &file, int code, meanings known);
void load_unit(const input_file &file, qel_unit &unit);

} // namespace tool
