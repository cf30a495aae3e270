// SPDX-License-Identifier: MIT
#include "terminal/progress.h"

#include "files/interruption.h"
#include "terminal/messages.h"
#include "terminal/text.h"

#include <unistd.h>

namespace tool {

progress::progress(bool wanted) : shown_(wanted && supports_escape_codes(STDERR_FILENO)) {
    const blocked_signals for_the_main_thread; // only that one handles them
    if (shown_) clock_ = std::thread([this] { watch(); });
}

progress::~progress() {
    if (!shown_) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ended_ = true;
    }
    changed_.notify_one();
    clock_.join();
    clear();
}

void progress::begins(const std::string &step) {
    const std::lock_guard<std::mutex> lock(mutex_);
    clear();
    step_ = step;
    done_ = all_ = 0;
    start_ = part_start_ = std::chrono::steady_clock::now();
}

void progress::advances(std::uint64_t done, std::uint64_t all) {
    if (!shown_) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (done < done_ || all != all_) part_start_ = std::chrono::steady_clock::now();
    done_ = done;
    all_ = all;
}

std::string progress::line() const {
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::duration<double> time = now - start_, part = now - part_start_;
    if (all_ == 0 || done_ == 0 || done_ >= all_ || part.count() <= 0)
        return format("%s … %.1f s", step_.c_str(), time.count());
    const double rate = static_cast<double>(done_) / part.count();
    return format("%s … %.1f s, %llu of %llu, %.1f/s, %.0f s left", step_.c_str(), time.count(),
                  static_cast<unsigned long long>(done_), static_cast<unsigned long long>(all_), rate,
                  static_cast<double>(all_ - done_) / rate);
}

void progress::watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!changed_.wait_for(lock, std::chrono::milliseconds(100), [this] { return ended_; })) {
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start_;
        if (step_.empty() || time.count() < 0.3) continue;
        show_progress_line(line());
        written_ = true;
    }
}

void progress::clear() {
    if (written_) show_progress_line("");
    written_ = false;
}

} // namespace tool
