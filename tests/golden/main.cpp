// SPDX-License-Identifier: MIT
// golden_digests [--update | --locale NAME | --times]: runs the fixed workload, once with each set of kernels that the
// processor has, and compares the digest of each job with tests/golden/digests.txt. Every platform must give the same,
// in every locale. Where there is no such locale, the exit code is 77. --times writes how many milliseconds each job
// takes at best.
#include "golden/jobs.h"
#include "support/all_kernels.h"
#include "support/locales.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>

namespace {

using qel::instruction_set;
using digests = std::map<std::string, std::uint64_t>;

template <class Take>
void each_job(Take take) {
    namespace test = qel::test;
    for (const test::job *jobs : {test::token_jobs, test::archive_jobs, test::mesh_jobs, test::scene_jobs,
                                  test::agent_jobs, test::structure_jobs})
        for (; jobs->name != nullptr; ++jobs)
            take(*jobs);
}

digests run_all() {
    digests found;
    each_job([&](const qel::test::job &job) {
        qel::test::digest results;
        job.run(results);
        found[job.name] = results.value();
    });
    return found;
}

using milliseconds = std::chrono::duration<double, std::milli>;

milliseconds time_of(const qel::test::job &job, unsigned repetitions) {
    using clock = std::chrono::steady_clock;
    const clock::time_point start = clock::now();
    for (unsigned i = 0; i < repetitions; ++i) {
        qel::test::digest results;
        job.run(results);
    }
    return clock::now() - start;
}

/// The shortest of several measurements: what else the machine does lengthens the others. A measurement repeats a job
/// until a millisecond has passed, so that the clock resolves it.
milliseconds best_time(const qel::test::job &job) {
    unsigned repetitions = 1;
    while (time_of(job, repetitions) < milliseconds(1))
        repetitions *= 2;
    milliseconds best = std::chrono::hours(1);
    for (int i = 0; i < 15; ++i)
        best = std::min(best, time_of(job, repetitions) / repetitions);
    return best;
}

int write_times() {
    const qel::test::temp_folder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    each_job([](const qel::test::job &job) { std::printf("%s %.9f\n", job.name, best_time(job).count()); });
    std::filesystem::current_path(before);
    return 0;
}

digests read_table() {
    digests table;
    std::FILE *const file = std::fopen(GOLDEN_TABLE, "r");
    if (file == nullptr) return table;
    char name[64];
    unsigned long long value;
    while (std::fscanf(file, "%63s %16llx", name, &value) == 2)
        table[name] = value;
    std::fclose(file);
    return table;
}

bool write_table(const digests &table) {
    std::FILE *const file = std::fopen(GOLDEN_TABLE, "w");
    if (file == nullptr) return false;
    for (const auto &[name, value] : table)
        std::fprintf(file, "%s %016llx\n", name.c_str(), static_cast<unsigned long long>(value));
    return std::fclose(file) == 0;
}

/// Prints what differs; returns whether nothing does.
bool agree(const digests &found, const digests &expected, const char *kernels) {
    for (const auto &[name, value] : found) {
        const auto entry = expected.find(name);
        if (entry == expected.end() || entry->second != value)
            std::fprintf(stderr, "%s (%s kernels): %016llx is not in the table\n", name.c_str(), kernels,
                         static_cast<unsigned long long>(value));
    }
    if (found == expected) return true;
    std::fprintf(stderr,
                 "The results differ from tests/golden/digests.txt. Where that is meant: golden_digests --update\n");
    return false;
}

/// Runs the workload with every set of kernels. Returns the exit code.
int run(bool update) {
    const qel::test::temp_folder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path()); // names of files are part of some results
    constexpr const char *names[] = {"plain", "sse2", "avx2", "avx512"};
    const instruction_set machine = qel::detect_instruction_set();
    digests expected = update ? digests() : read_table();
    bool good = true;
    for (int set = 0; set <= static_cast<int>(machine); ++set) {
        qel::test::force_all(static_cast<instruction_set>(set));
        const digests found = run_all();
        if (update && expected.empty()) expected = found;
        good = agree(found, expected, names[set]) && good;
    }
    if (good && update) good = write_table(expected);
    if (good) std::printf("%zu digests, with kernels up to %s\n", expected.size(), names[static_cast<int>(machine)]);
    std::filesystem::current_path(before);
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    const std::string option = argc > 1 ? argv[1] : "";
    if (argc == 1) return run(false);
    if (argc == 2 && option == "--update") return run(true);
    if (argc == 2 && option == "--times") return write_times();
    if (argc == 3 && option == "--locale") {
        const qel::test::set_locale locale(argv[2]);
        if (locale) return run(false);
        std::fprintf(stderr, "There is no locale %s here\n", argv[2]);
        return 77;
    }
    std::fprintf(stderr, "usage: golden_digests [--update | --locale NAME | --times]\n");
    return 2;
}
