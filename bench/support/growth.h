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

/// Adds a job, what its elements are called, and how many of them there are at most. Its sizes lie at equal ratios;
/// with quick() there is the smallest one only.
void growth(const std::string &job, const std::string &element, std::size_t largest,
            void (*measure)(benchmark::State &, std::size_t));

/// What a point has in truth: its elements, and the operations of one round where these are others. The time of an
/// operation is what the chart shows.
void report_size(benchmark::State &state, std::size_t elements, std::size_t operations = 0);

/// Whether the plain form takes part. It always does in the table; in growth where it should end within ten seconds,
/// by how its time has grown so far.
bool with_model();
void note_model(double seconds);

} // namespace qel::bench
