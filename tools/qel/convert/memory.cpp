// SPDX-License-Identifier: MIT
#include "convert/memory.h"

#include <cstdio>
#include <sys/resource.h>

namespace tool {

namespace {

/// From /proc/self/status (VmHWM); 0 if that is missing. getrusage also counts the memory of the process before exec.
std::uint64_t peak_of_proc() {
    std::FILE *const status = std::fopen("/proc/self/status", "r");
    if (status == nullptr) return 0;
    char line[256];
    unsigned long long kibibytes = 0;
    while (std::fgets(line, sizeof line, status) != nullptr)
        if (std::sscanf(line, "VmHWM: %llu kB", &kibibytes) == 1) break;
    std::fclose(status);
    return std::uint64_t{kibibytes} << 10;
}

} // namespace

std::uint64_t peak_memory() {
    if (const std::uint64_t peak = peak_of_proc()) return peak;
    struct rusage used {};
    ::getrusage(RUSAGE_SELF, &used);
#if defined(__APPLE__)
    return static_cast<std::uint64_t>(used.ru_maxrss);
#else
    return static_cast<std::uint64_t>(used.ru_maxrss) << 10;
#endif
}

} // namespace tool
