// SPDX-License-Identifier: MIT
// What an interrupted program must not leave behind.
#pragma once

#include <csignal>
#include <string>
#include <vector>

namespace tool {

/// While it lives, SIGHUP, SIGINT and SIGTERM remove these files, then the folders, before they end the program.
/// Folders that are not empty stay. At most one lives at a time.
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

/// While it lives, these signals wait: for this thread, and for those that it starts.
class signals_held_back {
  public:
    signals_held_back();
    ~signals_held_back();
    signals_held_back(const signals_held_back &) = delete;
    signals_held_back &operator=(const signals_held_back &) = delete;

  private:
    sigset_t before_;
};

} // namespace tool
