// SPDX-License-Identifier: MIT
#include "support/peak_memory.h"

#include <cstdio>
#include <cstring>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qel::bench {

namespace {

/// A figure of /proc/self/status in KiB.
double status_figure(const char *name) {
    std::FILE *const status = std::fopen("/proc/self/status", "r");
    char line[256];
    unsigned long kib = 0;
    while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr)
        if (std::strncmp(line, name, std::strlen(name)) == 0) std::sscanf(line + std::strlen(name), ": %lu", &kib);
    if (status != nullptr) std::fclose(status);
    return static_cast<double>(kib);
}

struct figures {
    double peak, kept;
};

figures measure_here(const std::function<void()> &job) {
    malloc_trim(0); // else the job would reuse memory that the parent freed
    reset_peak();
    const double before = status_figure("VmRSS");
    job();
    return {(status_figure("VmHWM") - before) / 1024, (status_figure("VmRSS") - before) / 1024};
}

} // namespace

void reset_peak() {
    std::FILE *const file = std::fopen("/proc/self/clear_refs", "w");
    if (file == nullptr) return;
    std::fputs("5", file);
    std::fclose(file);
}

double peak_mebibytes() {
    return status_figure("VmHWM") / 1024;
}

void report_peak(benchmark::State &state, const std::function<void()> &job) {
    for (auto _ : state) {
        int ends[2];
        figures result = {};
        if (pipe(ends) != 0) break;
        const pid_t child = fork();
        if (child == 0) {
            result = measure_here(job);
            _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
        }
        close(ends[1]);
        if (read(ends[0], &result, sizeof result) != sizeof result) state.SkipWithError("the child failed");
        close(ends[0]);
        waitpid(child, nullptr, 0);
        state.SetIterationTime(0);
        state.counters["peak"] = result.peak;
        state.counters["kept"] = result.kept;
    }
}

} // namespace qel::bench
