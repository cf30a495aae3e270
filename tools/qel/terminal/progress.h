// SPDX-License-Identifier: MIT
// The progress line on a terminal.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

/// Shows the running step after a delay; with a known total also its share, rate and remaining time. The library calls
/// nothing back while it works, so that a second thread updates the line.
class progress {
  public:
    explicit progress(bool wanted);
    ~progress();
    progress(const progress &) = delete;
    progress &operator=(const progress &) = delete;

    void begins(const std::string &step);
    void advances(std::uint64_t done, std::uint64_t all);
    void done() { begins(""); }

  private:
    void watch();
    void clear();
    std::string line() const;

    const bool shown_;
    bool ended_ = false, written_ = false;
    std::string step_;
    std::uint64_t done_ = 0, all_ = 0;
    std::chrono::steady_clock::time_point start_, part_start_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread clock_;
};

} // namespace tool
