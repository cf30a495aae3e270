// SPDX-License-Identifier: MIT
// What every step of a conversion shares: a report with its time, and failures that say what went wrong.
#pragma once

#include "examine/status.h"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace tool::job {

/// Ends the conversion: names the step, the file or thing it worked on, the code and what the code means.
class step_failed : public std::runtime_error {
  public:
    step_failed(const std::string &step, const std::string &subject, int code, const std::string &meaning)
        : std::runtime_error(step + " failed on " + subject + ": code " + std::to_string(code) + ", " +
                             meaning),
          step_(step), subject_(subject), meaning_(meaning) {}
    const std::string &step() const { return step_; }
    const std::string &subject() const { return subject_; }
    const std::string &meaning() const { return meaning_; }

  private:
    std::string step_, subject_, meaning_;
};

/// Hears what the steps say. Where nobody listens, it is lost.
class listener {
  public:
    virtual ~listener() = default;
    virtual void begins(const std::string &step) = 0;
    virtual void done(const std::string &step, double milliseconds, const std::string &outcome) = 0;
    virtual void advances(std::uint64_t done, std::uint64_t all) = 0;
    virtual void note(const std::string &text) = 0;
    virtual void warns(const std::string &text) = 0;
};
/// From now on `ear` hears the steps; null hears nothing.
void listen(listener *ear);

/// A remark between two steps, formatted as by printf, without the line's end.
void note(const char *format, ...) __attribute__((format(printf, 1, 2)));

/// Something that people should know before it happens.
void warn(const char *format, ...) __attribute__((format(printf, 1, 2)));

/// How much of the running step is done.
void advance(std::uint64_t done, std::uint64_t all);

/// Throws unless `code` is 0.
void check(const std::string &step, const std::string &subject, int code, meanings known);

/// Measures a step from its construction and reports one line when it is done.
class step {
  public:
    explicit step(std::string name);
    /// Reports the step's name, its time and what came of it, formatted as by printf.
    void done(const char *format, ...) __attribute__((format(printf, 2, 3)));

  private:
    std::string name_;
    std::chrono::steady_clock::time_point start_;
};

} // namespace tool::job
