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

void warn(const std::string &text) {
    ear().warning(text);
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

namespace {

[[noreturn]] void folder_failed(const fs::path &subject, const std::error_code &error) {
    throw step_failed("output folder", subject.string(), error.value(), error.message());
}

/// A folder that nobody else has: those of interrupted jobs may still be there.
fs::path make_work_folder(const fs::path &parent) {
    for (unsigned number = 0;; ++number) {
        std::error_code error;
        const fs::path folder = parent / (".unfinished-" + std::to_string(number));
        if (fs::create_directory(folder, error)) return folder;
        std::error_code ignored;
        if (error && !fs::exists(folder, ignored)) folder_failed(parent, error);
    }
}

} // namespace

output_folder::output_folder(const std::string &path) : path_(path) {
    std::error_code error;
    made_ = fs::create_directories(path_, error);
    if (error) folder_failed(path_, error);
    work_ = make_work_folder(path_);
    ear().works_in(work_.string());
}

output_folder::~output_folder() {
    std::error_code ignored;
    fs::remove_all(work_, ignored);
    if (made_) fs::remove(path_, ignored); // only when empty
}

result output_folder::file(const std::string &name) {
    files_.push_back({(work_ / name).string(), (path_ / name).string()});
    return files_.back();
}

std::uint64_t output_folder::written(const std::string &step, const result &file,
                                     std::uint64_t expected) const {
    std::error_code error;
    const std::uint64_t size = fs::file_size(file.path, error);
    if (error) throw step_failed(step, file.place, error.value(), error.message());
    if (size != expected) throw step_failed(step, file.place, 0, "the file was not written whole");
    return size;
}

std::vector<std::string> output_folder::keep() {
    std::vector<std::string> places;
    for (const result &file : files_) {
        std::error_code error;
        fs::rename(file.path, file.place, error);
        if (error) folder_failed(file.place, error);
        places.push_back(file.place);
    }
    return places;
}

} // namespace example
