// SPDX-License-Identifier: MIT
// What runs at the moment, for people who wait at a terminal.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

/// Tells on a terminal which step has been running, once it has for a while, and where it is known how much of it is
/// done, how fast it goes and how long it will take. The library says nothing while it works, so a second thread
/// watches the clock.
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
