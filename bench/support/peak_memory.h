// SPDX-License-Identifier: MIT
// How much memory a job takes at its highest, measured in a child process by the system's own high-water mark.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>

namespace qel::bench {

/// Runs the job once in a child and reports, in MiB above what the child held before, the most that it held and
/// what it held at the end.
void report_peak(benchmark::State &state, const std::function<void()> &job);

/// The most that the process has held since the last reset, in MiB.
void reset_peak();
double peak_mebibytes();

} // namespace qel::bench
