// SPDX-License-Identifier: MIT
// The steps of a conversion: a report of each with its time, and failures with a message.
#pragma once

#include "examine/status.h"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace tool::job {

/// Ends the conversion: the step, the file or object that it worked on, and what is wrong with that.
class step_failed : public std::runtime_error {
  public:
    step_failed(const std::string &step, const std::string &subject, const std::string &meaning)
        : std::runtime_error(step + ": " + subject + ": " + meaning), step_(step), subject_(subject),
          meaning_(meaning) {}
    const std::string &step() const { return step_; }
    const std::string &subject() const { return subject_; }
    const std::string &meaning() const { return meaning_; }

  private:
    std::string step_, subject_, meaning_;
};

/// Receives the progress, notes, warnings and results of the steps. Without an observer they are discarded.
class step_observer {
  public:
    virtual ~step_observer() = default;
    virtual void begins(const std::string &step) = 0;
    virtual void done(const std::string &step, double milliseconds, const std::string &outcome) = 0;
    virtual void advances(std::uint64_t done, std::uint64_t all) = 0;
    virtual void note(const std::string &text) = 0;
    virtual void warns(const std::string &text) = 0;
};
/// Sets the observer of the steps; null removes it.
void set_observer(step_observer *observer);

/// A note between two steps, formatted as by printf, without the line's end.
void note(const char *format, ...) __attribute__((format(printf, 1, 2)));

/// A warning, printed before the step.
void warn(const char *format, ...) __attribute__((format(printf, 1, 2)));

/// Reports how much of the running step is done.
void advance(std::uint64_t done, std::uint64_t all);

/// Throws unless `code` is QEL_OK.
void check(const std::string &step, const std::string &subject, int code, meanings known);

/// Measures a step from its construction and reports it when it is done.
class step {
  public:
    explicit step(std::string name);
    /// Reports the step's name, its time and its result, formatted as by printf.
    void done(const char *format, ...) __attribute__((format(printf, 2, 3)));

  private:
    std::string name_;
    std::chrono::steady_clock::time_point start_;
};

} // namespace tool::job
