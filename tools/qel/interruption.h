// SPDX-License-Identifier: MIT
// What an interrupted program must not leave behind.
#pragma once

#include <string>
#include <vector>

namespace tool {

/// While it lives, SIGHUP, SIGINT and SIGTERM remove these files, then the folder, before they end the program.
/// At most one lives at a time.
class interruption {
  public:
    explicit interruption(std::vector<std::string> files, std::string folder = "");
    ~interruption();
    interruption(const interruption &) = delete;
    interruption &operator=(const interruption &) = delete;

  private:
    static void clear_and_end(int signal);

    const std::vector<std::string> files_;
    const std::string folder_;
};

} // namespace tool
