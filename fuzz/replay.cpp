// SPDX-License-Identifier: MIT
// Runs a fuzz target's entry over existing inputs without the fuzzer, for sanitizers and machines without it.
// Usage: fuzz_TARGET [-random=COUNT] [FILE or FOLDER...]; random inputs are the same in every run.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <dirent.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

unsigned executions = 0;

void run(const std::vector<std::uint8_t> &input) {
    // An array of exactly the input's size, so that reads past its end are detected.
    auto *const exact = static_cast<std::uint8_t *>(std::malloc(input.size() + 1));
    if (exact == nullptr) std::abort();
    if (!input.empty()) std::memcpy(exact, input.data(), input.size());
    LLVMFuzzerTestOneInput(exact, input.size());
    std::free(exact);
    ++executions;
}

/// Runs one file; false if it cannot be read, for example a folder.
bool run_file(const char *path) {
    std::FILE *const file = std::fopen(path, "rb");
    if (file == nullptr) return false;
    std::vector<std::uint8_t> input;
    std::vector<std::uint8_t> piece(1 << 16);
    while (const std::size_t got = std::fread(piece.data(), 1, piece.size(), file))
        input.insert(input.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got));
    const bool whole = std::ferror(file) == 0;
    std::fclose(file);
    if (whole) run(input);
    return whole;
}

void run_folder(const char *path) {
    DIR *const folder = opendir(path);
    if (folder == nullptr) {
        std::fprintf(stderr, "cannot read %s\n", path);
        std::exit(2);
    }
    while (const dirent *const entry = readdir(folder)) {
        const std::string name = std::string(path) + "/" + entry->d_name;
        if (entry->d_name[0] != '.') run_file(name.c_str());
    }
    closedir(folder);
}

void run_random(unsigned count) {
    std::mt19937 random(1);
    for (unsigned i = 0; i < count; ++i) {
        std::vector<std::uint8_t> input(random() % 2000);
        for (std::uint8_t &byte : input)
            byte = static_cast<std::uint8_t>(random());
        run(input);
    }
}

} // namespace

int main(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {
        constexpr char option[] = "-random=";
        if (std::strncmp(argv[i], option, sizeof option - 1) == 0)
            run_random(static_cast<unsigned>(std::strtoul(argv[i] + sizeof option - 1, nullptr, 10)));
        else if (!run_file(argv[i]))
            run_folder(argv[i]);
    }
    std::printf("%u executions\n", executions);
    return 0;
}
