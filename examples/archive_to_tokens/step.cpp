// SPDX-License-Identifier: MIT
#include "step.h"

#include <cstdarg>
#include <cstdio>

namespace example {

namespace fs = std::filesystem;

void check(const std::string &step, const std::string &subject, int code,
           std::initializer_list<const char *> meanings) {
    if (code == 0) return;
    const auto place = static_cast<std::size_t>(-(code + 1));
    throw step_failed(step, subject, code,
                      place < meanings.size() ? meanings.begin()[place] : "unexpected code");
}

namespace {

class printer : public listener {
  public:
    void begins(const std::string &) override {}
    void done(const std::string &step, double milliseconds, const std::string &outcome) override {
        std::printf("%-18s %9.2f ms  %s\n", step.c_str(), milliseconds, outcome.c_str());
    }
    void note(const std::string &text) override { std::printf("  %s\n", text.c_str()); }
};

listener *ear_of_all = nullptr;

listener &ear() {
    static printer printing;
    return ear_of_all != nullptr ? *ear_of_all : printing;
}

std::string formatted(const char *format, std::va_list arguments) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    return text;
}

} // namespace

void listen(listener *ear) {
    ear_of_all = ear;
}

void note(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    ear().note(formatted(format, arguments));
    va_end(arguments);
}

step::step(std::string name) : name_(std::move(name)), start_(std::chrono::steady_clock::now()) {
    ear().begins(name_);
}

void step::done(const char *format, ...) {
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start_;
    std::va_list arguments;
    va_start(arguments, format);
    ear().done(name_, time.count(), formatted(format, arguments));
    va_end(arguments);
}

output_folder::output_folder(const std::string &path) : path_(path) {
    std::error_code error;
    made_ = fs::create_directories(path_, error);
    if (error) throw step_failed("output folder", path, error.value(), error.message());
}

output_folder::~output_folder() {
    if (kept_) return;
    std::error_code ignored;
    for (const fs::path &file : files_)
        fs::remove(file, ignored);
    if (made_) fs::remove(path_, ignored); // only when empty
}

std::string output_folder::file(const std::string &name) {
    files_.push_back(path_ / name);
    return files_.back().string();
}

std::vector<std::string> output_folder::files() const {
    std::vector<std::string> paths;
    for (const fs::path &file : files_)
        paths.push_back(file.string());
    return paths;
}

std::uint64_t output_folder::written(const std::string &step, const std::string &path,
                                     std::uint64_t expected) const {
    std::error_code error;
    const std::uint64_t size = fs::file_size(path, error);
    if (error) throw step_failed(step, path, error.value(), error.message());
    if (size != expected) throw step_failed(step, path, 0, "the file was not written whole");
    return size;
}

} // namespace example
