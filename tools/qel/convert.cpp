// SPDX-License-Identifier: MIT
#include "commands.h"
#include "convert/job.h"
#include "convert/step.h"
#include "input.h"
#include "interruption.h"
#include "messages.h"
#include "text.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace tool {

namespace {

/// Tells on a terminal which step has been running, once it has for a while. The library says nothing while it
/// works, so a second thread watches the clock.
class progress {
  public:
    progress() : shown_(isatty(STDERR_FILENO) != 0) {
        const signals_held_back for_the_main_thread; // whose handler they are meant for
        if (shown_) clock_ = std::thread([this] { watch(); });
    }
    ~progress() {
        if (!shown_) return;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ended_ = true;
        }
        changed_.notify_one();
        clock_.join();
        clear();
    }
    progress(const progress &) = delete;
    progress &operator=(const progress &) = delete;

    void begins(const std::string &step) {
        const std::lock_guard<std::mutex> lock(mutex_);
        clear();
        step_ = step;
        start_ = std::chrono::steady_clock::now();
    }
    void done() { begins(""); }

  private:
    void watch() {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!changed_.wait_for(lock, std::chrono::milliseconds(100), [this] { return ended_; })) {
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start_;
            if (step_.empty() || time.count() < 0.3) continue;
            show_for_now(format("%s … %.1f s", step_.c_str(), time.count()));
            written_ = true;
        }
    }
    void clear() {
        if (written_) show_for_now("");
        written_ = false;
    }

    const bool shown_;
    bool ended_ = false, written_ = false;
    std::string step_;
    std::chrono::steady_clock::time_point start_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread clock_;
};

class ear : public job::listener {
  public:
    explicit ear(bool verbose) : verbose_(verbose) { job::listen(this); }
    ~ear() override { job::listen(nullptr); }
    ear(const ear &) = delete;
    ear &operator=(const ear &) = delete;

    void begins(const std::string &step) override { progress_.begins(step); }
    void done(const std::string &step, double milliseconds, const std::string &outcome) override {
        progress_.done();
        if (verbose_) remark(format("%-18s %9.2f ms  %s", step.c_str(), milliseconds, outcome.c_str()));
    }
    void note(const std::string &text) override {
        if (verbose_) remark("  " + text);
    }

  private:
    const bool verbose_;
    progress progress_;
};

/// The step's own words, but in the form "FILE: what is wrong".
failure told(const job::step_failed &failed, const input_file &file) {
    if (failed.subject() == file.path()) return {file.name(), failed.step() + ": " + failed.meaning()};
    return {file.name(), failed.step() + ": " + failed.subject() + ": " + failed.meaning()};
}

} // namespace

int convert(const std::string &name, const std::string &folder, bool verbose) {
    const input_file file(name);
    file.must_be(file_kind::archive, "convert");
    for (const char *result : job::result_names)
        file.must_not_be_at((std::filesystem::path(folder) / result).string());
    std::vector<std::string> files;
    try {
        const ear hearing(verbose);
        files = job::convert_archive(file, folder);
    } catch (const job::step_failed &failed) {
        throw told(failed, file);
    }
    for (const std::string &path : files)
        say(path);
    return 0;
}

} // namespace tool
