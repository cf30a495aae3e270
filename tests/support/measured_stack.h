// SPDX-License-Identifier: MIT
// How much stack a call takes: it runs on a thread whose stack was filled with a pattern before.
#pragma once

#include <cstddef>
#include <functional>

namespace qel::test {

/// Null if the stack can be measured, else why not: sanitizers use additional stack.
const char *unmeasurable_stack();

/// The bytes of stack that a call takes below its caller, on a separate thread; with more than 512 KiB the
/// process ends, because it reaches a guard page.
std::size_t stack_taken_by(const std::function<void()> &call);

} // namespace qel::test
