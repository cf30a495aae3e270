// SPDX-License-Identifier: MIT
// Removes unfinished files and folders when the program is interrupted.
#pragma once

#include <csignal>
#include <string>
#include <vector>

namespace tool {

/// During its lifetime, SIGHUP, SIGINT and SIGTERM remove these files, then the folders, before they end the program.
/// Folders that are not empty stay. At most one object exists at a time.
class interruption {
  public:
    explicit interruption(std::vector<std::string> files, std::vector<std::string> folders = {});
    ~interruption();
    interruption(const interruption &) = delete;
    interruption &operator=(const interruption &) = delete;

  private:
    static void clear_and_end(int signal);

    const std::vector<std::string> files_, folders_;
};

/// During its lifetime, these signals are blocked in this thread and in threads that it starts.
class blocked_signals {
  public:
    blocked_signals();
    ~blocked_signals();
    blocked_signals(const blocked_signals &) = delete;
    blocked_signals &operator=(const blocked_signals &) = delete;

  private:
    sigset_t before_;
};

} // namespace tool
