// SPDX-License-Identifier: MIT
// The peak memory of a job, measured in a child process by the system's high-water mark.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>

namespace qel::bench {

/// Runs the job once in a child and reports its peak memory and its memory at the end, in MiB above that at its start.
void report_peak(benchmark::State &state, const std::function<void()> &job);

/// peak_mebibytes() is the process's greatest memory since the last reset_peak(), in MiB.
void reset_peak();
double peak_mebibytes();

} // namespace qel::bench
