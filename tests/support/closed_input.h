// SPDX-License-Identifier: MIT
// A process whose standard input is closed, as some services are started: the next file gets the descriptor 0.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace qel::test {

/// During its lifetime, the standard input is closed.
class closed_input {
  public:
    closed_input() : kept_(dup(0)) { close(0); }
    ~closed_input() {
        if (kept_ < 0) return;
        dup2(kept_, 0);
        close(kept_);
    }
    closed_input(const closed_input &) = delete;
    closed_input &operator=(const closed_input &) = delete;

  private:
    int kept_;
};

} // namespace qel::test
