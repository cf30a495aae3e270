// SPDX-License-Identifier: MIT
// Linked into a test program beside sources that hold many mutants. MUTATION_ACTIVE is the number of the one that is
// on; MUTATION_TRACE names a file that gets a line for each test: its milliseconds, its name, the mutants it reached.
#include "switch.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace mutation {

static unsigned char before_tests[max_mutants];
unsigned char *reached = before_tests;

int active = 0;

/// Before any other object is initialized, so that a mutant of a constant is on from the beginning.
struct choice {
    choice() {
        const char *number = std::getenv("MUTATION_ACTIVE");
        if (number != nullptr) active = std::atoi(number);
    }
};
__attribute__((init_priority(101))) static choice chosen;

namespace {

class tracer : public testing::EmptyTestEventListener {
  public:
    explicit tracer(const char *path) : file_(std::fopen(path, "w")) {
        // Shared with the processes that a test starts.
        void *const bytes = mmap(nullptr, max_mutants, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (file_ == nullptr || bytes == MAP_FAILED) std::abort();
        reached = static_cast<unsigned char *>(bytes);
    }
    ~tracer() override { std::fclose(file_); }

  private:
    void OnTestStart(const testing::TestInfo &) override { std::memcpy(reached, before_tests, max_mutants); }

    void OnTestEnd(const testing::TestInfo &test) override {
        const auto milliseconds = static_cast<long long>(test.result()->elapsed_time());
        std::fprintf(file_, "%lld %s.%s", milliseconds, test.test_suite_name(), test.name());
        for (int i = 1; i < max_mutants; ++i)
            if (reached[i] != 0) std::fprintf(file_, " %d", i);
        std::fprintf(file_, "\n");
    }

    std::FILE *file_;
};

const bool traced = [] {
    const char *path = std::getenv("MUTATION_TRACE");
    if (path != nullptr) testing::UnitTest::GetInstance()->listeners().Append(new tracer(path));
    return path != nullptr;
}();

} // namespace
} // namespace mutation
