// SPDX-License-Identifier: MIT
#include "convert/step.h"

#include "terminal/text.h"

#include <qel_unit.h>

#include <cstdarg>

namespace tool::job {

namespace {

step_observer *observer = nullptr;

} // namespace

void set_observer(step_observer *next) {
    observer = next;
}

void note(const char *pattern, ...) {
    if (observer == nullptr) return;
    std::va_list arguments;
    va_start(arguments, pattern);
    observer->note(format_list(pattern, arguments));
    va_end(arguments);
}

void warn(const char *pattern, ...) {
    if (observer == nullptr) return;
    std::va_list arguments;
    va_start(arguments, pattern);
    observer->warns(format_list(pattern, arguments));
    va_end(arguments);
}

void advance(std::uint64_t done, std::uint64_t all) {
    if (observer != nullptr) observer->advances(done, all);
}

void check(const std::string &step, const std::string &subject, int code, meanings known) {
    if (code != QEL_OK) throw step_failed(step, subject, meaning_of(code, known));
}

step::step(std::string name) : name_(std::move(name)), start_(std::chrono::steady_clock::now()) {
    if (observer != nullptr) observer->begins(name_);
}

void step::done(const char *pattern, ...) {
    if (observer == nullptr) return;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start_;
    std::va_list arguments;
    va_start(arguments, pattern);
    observer->done(name_, time.count(), format_list(pattern, arguments));
    va_end(arguments);
}

} // namespace tool::job
