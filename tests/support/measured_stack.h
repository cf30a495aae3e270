// SPDX-License-Identifier: MIT
// How much stack a call takes: it runs on a thread whose stack was filled with a pattern before.
#pragma once

#include <cstddef>
#include <functional>

namespace qel::test {

/// Null where the stack can be measured, else why not: sanitizers take stack of their own.
const char *unmeasurable_stack();

/// The bytes of stack that a call takes below its caller, on a thread of its own; the process ends where it takes more
/// than 512 KiB, for then it meets a guard page.
std::size_t stack_taken_by(const std::function<void()> &call);

} // namespace qel::test
