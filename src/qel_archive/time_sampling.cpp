// SPDX-License-Identifier: MIT
#include "qel_archive/time_sampling.h"

#include "common/bytes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace qel::archives {
namespace {

// A stored sampling: u32 maximum number of samples, f64 cycle, u32 number of times, then the times.
constexpr std::uint64_t cycle_at = 4, count_at = 12, times_at = 16;
constexpr double acyclic_cycle = std::numeric_limits<double>::max() / 32;
constexpr double tolerance = 1e-6; // of a cycle

/// The size of the sampling at the start of `size` bytes; 0 if it is incomplete or has no times.
std::uint64_t stored_size(const std::uint8_t *bytes, std::uint64_t size) {
    if (size < times_at) return 0;
    const auto count = load<std::uint32_t>(bytes + count_at);
    const std::uint64_t whole = times_at + count * std::uint64_t{sizeof(double)};
    return count == 0 || whole > size ? 0 : whole;
}

/// The number of samplings; invalid_count if one is incomplete or has no times.
constexpr std::uint32_t invalid_count = 0xFFFFFFFF;
std::uint32_t count_samplings(const std::uint8_t *bytes, std::uint64_t size) {
    std::uint32_t count = 0;
    while (size > 0) {
        const std::uint64_t taken = stored_size(bytes, size);
        if (taken == 0) return invalid_count;
        bytes += taken;
        size -= taken;
        ++count;
    }
    return count;
}

/// Finds the last of the samples `first`, `first` + `step`, … at or before a limit; false if there is none. Their times
/// ascend, descend or are NaN: if the last one is after the limit, those at or before it come first.
bool last_of_one_phase(const time_sampling &sampling, std::uint64_t first, std::uint64_t step, std::uint64_t count,
                       double limit, std::uint64_t &found) {
    if (first >= count) return false;
    const auto reaches = [&](std::uint64_t turn) { return sample_time(sampling, first + turn * step) <= limit; };
    const std::uint64_t last = (count - 1 - first) / step;
    if (reaches(last)) {
        found = first + last * step;
        return true;
    }
    if (!reaches(0)) return false;
    std::uint64_t low = 0, high = last;
    while (high - low > 1) {
        const std::uint64_t middle = low + (high - low) / 2;
        (reaches(middle) ? low : high) = middle;
    }
    found = first + low * step;
    return true;
}

} // namespace

status read_time_samplings(const std::uint8_t *bytes, std::uint64_t size, arena &memory, time_sampling_table &table) {
    table = {nullptr, count_samplings(bytes, size)};
    if (table.count == invalid_count) return QEL_ARCHIVE_DAMAGED;
    auto *const samplings = memory.array<time_sampling>(table.count);
    if (samplings == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    for (std::uint32_t i = 0; i < table.count; ++i) {
        const auto cycle = load<double>(bytes + cycle_at);
        const auto count = load<std::uint32_t>(bytes + count_at);
        auto *const times = memory.array<double>(count);
        if (times == nullptr) return QEL_ARCHIVE_NO_MEMORY;
        std::memcpy(times, bytes + times_at, count * sizeof(double));
        samplings[i] = {cycle, times, count, cycle == acyclic_cycle};
        bytes += times_at + count * std::uint64_t{sizeof(double)};
    }
    table.samplings = samplings;
    return QEL_ARCHIVE_OK;
}

double sample_time(const time_sampling &sampling, std::uint64_t sample) {
    if (sampling.acyclic) return sampling.times[std::min<std::uint64_t>(sample, sampling.count - 1)];
    const std::uint64_t cycles = sample / sampling.count; // whole cycles before the sample
    return sampling.times[sample % sampling.count] + static_cast<double>(cycles) * sampling.cycle;
}

std::uint64_t last_sample_at(const time_sampling &sampling, std::uint64_t count, double seconds) {
    std::uint64_t found = 0;
    if (sampling.acyclic) {
        if (sample_time(sampling, count - 1) <= seconds) return count - 1;
        // The times need not ascend. If none is at or before the limit, the first one is taken.
        std::uint64_t i = std::min<std::uint64_t>(count, sampling.count) - 1;
        while (i > 0 && !(sampling.times[i] <= seconds))
            --i;
        return i;
    }
    const double limit = seconds + tolerance * std::fabs(sampling.cycle);
    for (std::uint32_t phase = 0; phase < sampling.count; ++phase) {
        std::uint64_t last = 0;
        if (last_of_one_phase(sampling, phase, sampling.count, count, limit, last)) found = std::max(found, last);
    }
    return found;
}

} // namespace qel::archives
