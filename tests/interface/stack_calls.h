// SPDX-License-Identifier: MIT
// A call, or several, of every function of the interface, on inputs that lead it to its deepest paths.
#pragma once

#include <functional>

namespace qel::test {

class stack_calls {
  public:
    using runner = std::function<void(const char *name, const std::function<void()> &call)>;

    /// Has every call run by `run`, with the name of the function, and expects the answers that deep paths give.
    void each(const runner &run);
};

} // namespace qel::test
