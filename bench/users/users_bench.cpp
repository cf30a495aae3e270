// SPDX-License-Identifier: MIT
// The part of bench/users.py that needs a compiled program: inputs, calls from C++ for comparison with Python, commands
// whose memory is measured.
//
//   users_bench inputs FOLDER MEGABYTES TOKENS    large.abc of 64 meshes, tokens.qel
//   users_bench calls UNIT LOOKUPS                nanoseconds of a lookup by key, by identity, of a nearest query
//   users_bench run COMMAND...                    milliseconds of the wall clock and of the processor, peak MiB
#include "qel_archive/archive_scenes.h"
#include "qel_unit/unit_inputs.h"
#include "support/units.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qel::bench {

namespace {

using clock = std::chrono::steady_clock;

double nanoseconds_since(clock::time_point start) {
    return std::chrono::duration<double, std::nano>(clock::now() - start).count();
}

std::size_t number(const char *text) {
    return std::strtoull(text, nullptr, 10);
}

int write_inputs(const std::string &folder, std::size_t megabytes, std::size_t tokens) {
    constexpr std::size_t meshes = 64;
    test::write_file(folder + "/large.abc", make_meshes(meshes, megabytes * 1000000 / meshes).built.content);
    test::owned_unit unit;
    token_arrays(tokens).create_with(qel_unit_create, unit);
    return qel_unit_save((folder + "/tokens.qel").c_str(), &unit) == QEL_OK ? 0 : 1;
}

constexpr std::size_t rounds = 3;

/// The minimum of three rounds, per call. No round repeats the calls of another.
template <class Call>
double nanoseconds_of(std::size_t count, Call call) {
    double least = 0;
    for (std::size_t round = 0; round < rounds; ++round) {
        const clock::time_point start = clock::now();
        for (std::size_t i = round * count; i < (round + 1) * count; ++i)
            call(i);
        const double now = nanoseconds_since(start) / static_cast<double>(count);
        least = round == 0 ? now : std::min(least, now);
    }
    return least;
}

int time_calls(const char *path, std::size_t lookups) {
    test::owned_unit unit;
    if (qel_unit_load(path, &unit) != QEL_OK || unit.count == 0) return 1;
    std::vector<std::uint64_t> keys(rounds * lookups);
    std::vector<char> ids(keys.size() * 8);
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const qel_token &token = unit.tokens[i * 7919 % unit.count];
        keys[i] = token.morton;
        std::memcpy(&ids[i * 8], token.hex_id, 8);
    }
    std::uint64_t sum = 0;
    std::uint32_t numbers[8];
    std::uint64_t distances[8];
    const double by_key =
        nanoseconds_of(lookups, [&](std::size_t i) { sum += qel_unit_lookup_morton(&unit, keys[i]); });
    const double by_identity =
        nanoseconds_of(lookups, [&](std::size_t i) { sum += qel_unit_lookup_hex(&unit, &ids[i * 8]); });
    const double nearest = nanoseconds_of(
        lookups / 10, [&](std::size_t i) { sum += qel_unit_query_nearest(&unit, keys[i], 8, numbers, distances); });
    std::printf("%.1f %.1f %.1f %llu %llu\n", by_key, by_identity, nearest,
                static_cast<unsigned long long>(keys.size()), static_cast<unsigned long long>(sum));
    return 0;
}

/// Runs a command and prints its times and peak memory. The peak of a process includes its parent's memory at the fork;
/// this parent holds little.
int run_command(char **command) {
    const clock::time_point start = clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        execvp(command[0], command);
        _exit(127);
    }
    int status = 0;
    struct rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) return 1;
    const auto milliseconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    std::printf("%.3f %.3f %.3f\n", nanoseconds_since(start) / 1e6,
                milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime),
                static_cast<double>(usage.ru_maxrss) / 1024);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

} // namespace qel::bench

int main(int argc, char **argv) {
    using namespace qel::bench;
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "inputs" && argc == 5) return write_inputs(argv[2], number(argv[3]), number(argv[4]));
    if (what == "calls" && argc == 4) return time_calls(argv[2], number(argv[3]));
    if (what == "run" && argc > 2) return run_command(argv + 2);
    std::fprintf(stderr, "usage: users_bench inputs FOLDER MEGABYTES TOKENS | calls UNIT LOOKUPS | run COMMAND...\n");
    return 2;
}
