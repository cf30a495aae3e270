// SPDX-License-Identifier: MIT
// The growth of a job: the code of its rows at seven sizes, from a thousand elements on.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

namespace qel::bench {

/// Whether the growth of jobs is measured, and not the rows of the table.
bool growing();
void set_growing(bool on);

/// Adds a job, the name of its elements, and their greatest number. Its sizes have equal ratios; with quick() only the
/// smallest one is measured.
void growth(const std::string &job, const std::string &element, std::size_t largest,
            void (*measure)(benchmark::State &, std::size_t));

/// Reports the true size of a point: its elements, and the operations of one round if their number differs. The chart
/// shows the time per operation.
void report_size(benchmark::State &state, std::size_t elements, std::size_t operations = 0);

/// Whether the plain form takes part. It always does in the table; in growth only if its expected time is below ten
/// seconds.
bool with_model();
void note_model(double seconds);

} // namespace qel::bench
