// SPDX-License-Identifier: MIT
// The facts about a file and its problems.
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
        bool number; ///< written as a number in JSON
    };
    std::vector<entry> facts;          ///< in order
    std::vector<std::string> problems; ///< empty if the file is sound
    std::string lack;                  ///< a missing part that every command needs, of a file that is otherwise sound
    bool readable = true;              ///< the records can be read, though they may be wrong

    void fact(const std::string &name, const std::string &value) { facts.push_back({name, value, false}); }
    void fact(const std::string &name, std::uint64_t value) { facts.push_back({name, std::to_string(value), true}); }
    void number(const std::string &name, double value);
    /// The message of every command that cannot use the file; empty if it can be used.
    std::string verdict() const { return problems.empty() ? lack : "not sound: " + problems[0]; }
    void problem(const std::string &what) { problems.push_back(what); }
    /// A problem after which nothing can be read.
    void fatal(const std::string &what) {
        problem(what);
        readable = false;
    }
};

/// Counts the places of one kind of problem and reports it once, with the first place.
class tally {
  public:
    void found(std::uint64_t place) {
        if (count_++ == 0) first_ = place;
    }
    /// "3 tokens have …, the first is token 17".
    void add_problem(report &about, const char *noun, const std::string &what) const;

  private:
    std::uint64_t count_ = 0, first_ = 0;
};

/// Compares the size of a file with the size that its counts need.
void compare_sizes(report &about, std::uint64_t size, std::uint64_t expected);
/// Each of `count` triples has three finite numbers.
void check_finite(report &about, const std::string &what, const float *triples, std::uint64_t count);
/// A box is two finite corners in order.
void check_box(report &about, const std::string &what, const float *low, const float *high);
/// Each of `count` numbers is below `limit`.
void check_indices(report &about, const std::string &what, const std::uint32_t *numbers, std::uint64_t count,
                   std::uint64_t limit);
std::string box_text(const float *low, const float *high);

/// The version of a file must be the one that is written.
void check_version(report &about, std::uint32_t version, std::uint32_t written);
/// Checks a unit's header and size.
void check_unit(report &about, const input_file &file);

/// Fails with the meaning of `code` unless it is QEL_OK.
void must_be_ok(const input_file &file, int code, meanings known);
void load_unit(const input_file &file, qel_unit &unit);

} // namespace tool
