// SPDX-License-Identifier: MIT
// What every step of the job shares: a line of report with its time, failures that say what went wrong, records
// that release themselves, and an output folder that never keeps half a job.
#pragma once

#include <qel_unit.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace example {

/// Ends the job: names the step, the file or thing it worked on, the code and what the code means.
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

/// Hears what the steps say. Where nobody else listens, it is printed.
class listener {
  public:
    virtual ~listener() = default;
    virtual void begins(const std::string &step) = 0;
    virtual void done(const std::string &step, double milliseconds, const std::string &outcome) = 0;
    virtual void note(const std::string &text) = 0;
    /// What the results lack. It is a note where nobody makes more of it.
    virtual void warning(const std::string &text) { note(text); }
    /// The results are made in this folder, which is gone when the job ends.
    virtual void works_in(const std::string &) {}
};
/// From now on `ear` hears the steps; null prints them again.
void listen(listener *ear);

#if defined(__MINGW32__) // the C standard's formats, not those of Windows
#define EXAMPLE_PRINTF(pattern, first) __attribute__((format(gnu_printf, pattern, first)))
#elif defined(__GNUC__)
#define EXAMPLE_PRINTF(pattern, first) __attribute__((format(printf, pattern, first)))
#else
#define EXAMPLE_PRINTF(pattern, first)
#endif

/// A remark between two steps, formatted as by printf, without the line's end.
void note(const char *format, ...) EXAMPLE_PRINTF(1, 2);
void warn(const std::string &text);

/// Throws unless `code` is 0. The meanings are those of -1, -2, -3, … in order.
void check(const std::string &step, const std::string &subject, int code,
           std::initializer_list<const char *> meanings);

/// Measures a step from its construction and reports one line when it is done.
class step {
  public:
    explicit step(std::string name);
    /// Reports the step's name, its time and what came of it, formatted as by printf.
    void done(const char *format, ...) EXAMPLE_PRINTF(2, 3);

  private:
    std::string name_;
    std::chrono::steady_clock::time_point start_;
};

/// A record of the library that is released at the end of its scope.
template <class Record, void (*Release)(Record *)>
class owned {
  public:
    owned() = default;
    ~owned() { Release(&record_); }
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    Record *get() { return &record_; }
    Record *operator->() { return &record_; }

  private:
    Record record_{};
};

/// A unit's release leaves `order` to its owner.
inline void free_unit_and_order(qel_unit *unit) {
    qel_unit_free(unit);
    std::free(unit->order);
}

using archive = owned<ogawa_archive, ogawa_close>;
using polymesh = owned<ogawa_polymesh, ogawa_free_polymesh>;
using unit = owned<qel_unit, free_unit_and_order>;
using scene = owned<qel_alembic_file, qel_alembic_free>;
using mapped_mesh = owned<qel_mesh, qel_mesh_free>;

struct free_array {
    void operator()(void *array) const { std::free(array); }
};
/// An array that a function handed out.
template <class T>
using array = std::unique_ptr<T[], free_array>;

/// A file that the job makes.
struct result {
    std::string path;  ///< where it is written
    std::string place; ///< where it will be, once the job is done
};

/// The folder of the results. They are written in a folder of this job's own inside it and moved to their places
/// at the end: a job that fails or is interrupted leaves every file there as it was.
class output_folder {
  public:
    explicit output_folder(const std::string &path);
    ~output_folder();
    output_folder(const output_folder &) = delete;
    output_folder &operator=(const output_folder &) = delete;

    /// A result about to be written.
    result file(const std::string &name);
    /// Bytes of a result, or a failure when it is shorter than it must be (a disk may be full).
    std::uint64_t written(const std::string &step, const result &file, std::uint64_t expected) const;
    /// Moves the results to their places and returns these. Should one not go there, those before it have.
    std::vector<std::string> keep();

  private:
    std::filesystem::path path_, work_;
    std::vector<result> files_;
    bool made_ = false;
};

} // namespace example
