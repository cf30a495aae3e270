// SPDX-License-Identifier: MIT
#include "convert/step.h"

#include "terminal/text.h"

#include <qel_unit.h>

#include <cstdarg>

namespace tool::job {

namespace {

listener *ear_of_all = nullptr;

} // namespace

void listen(listener *ear) {
    ear_of_all = ear;
}

void note(const char *pattern, ...) {
    if (ear_of_all == nullptr) return;
    std::va_list arguments;
    va_start(arguments, pattern);
    ear_of_all->note(format_list(pattern, arguments));
    va_end(arguments);
}

void warn(const char *pattern, ...) {
    if (ear_of_all == nullptr) return;
    std::va_list arguments;
    va_start(arguments, pattern);
    ear_of_all->warns(format_list(pattern, arguments));
    va_end(arguments);
}

void advance(std::uint64_t done, std::uint64_t all) {
    if (ear_of_all != nullptr) ear_of_all->advances(done, all);
}

void check(const std::string &step, const std::string &subject, int code, meanings known) {
    if (code != QEL_OK) throw step_failed(step, subject, code, meaning_of(code, known));
}

step::step(std::string name) : name_(std::move(name)), start_(std::chrono::steady_clock::now()) {
    if (ear_of_all != nullptr) ear_of_all->begins(name_);
}

void step::done(const char *pattern, ...) {
    if (ear_of_all == nullptr) return;
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start_;
    std::va_list arguments;
    va_start(arguments, pattern);
    ear_of_all->done(name_, time.count(), format_list(pattern, arguments));
    va_end(arguments);
}

} // namespace tool::job
