// SPDX-License-Identifier: MIT
// The times of samples.
#pragma once

#include "common/arena.h"
#include "qel_archive/container.h"

#include <cstdint>

namespace qel::archives {

/// One time sampling.
struct time_sampling {
    double cycle;        // seconds
    const double *times; // of the samples of one cycle, or of all samples if acyclic
    std::uint32_t count; // at least 1
    bool acyclic;

    bool is_uniform() const { return count == 1 && !acyclic; }
};

struct time_sampling_table {
    const time_sampling *samplings;
    std::uint32_t count;
};

/// Reads all time samplings from the `size` bytes that hold them.
status read_time_samplings(const std::uint8_t *bytes, std::uint64_t size, arena &memory, time_sampling_table &table);

/// The time of a sample, in seconds.
double sample_time(const time_sampling &sampling, std::uint64_t sample);

/// The last of `count` samples, at least 1, at or before a time; 0 if all are later. A sample that is later by at
/// most a millionth of a cycle counts as at the time, unless the sampling is acyclic.
std::uint64_t last_sample_at(const time_sampling &sampling, std::uint64_t count, double seconds);

} // namespace qel::archives
