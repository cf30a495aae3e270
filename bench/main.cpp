// SPDX-License-Identifier: MIT
// Google Benchmark's own options; --quick: tiny inputs, one round; --growth: jobs at seven sizes instead of the table's
// rows.
#include "support/growth.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <cstdio>
#include <cstring>

#include <malloc.h>

namespace {

/// Prints one line per row during the run: the table is made from the result file.
class progress : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.error_occurred) failed = true;
            std::fprintf(stderr, "%-72s %10.3f ms %s\n", run.run_name.function_name.c_str(), run.GetAdjustedRealTime(),
                         run.error_occurred ? run.error_message.c_str() : "");
        }
    }
    bool failed = false;
};

} // namespace

int main(int argc, char **argv) {
    // Otherwise some large freed blocks would stay in the heap, and the time of a row would depend on the rows before
    // it.
    mallopt(M_MMAP_THRESHOLD, 128 << 10);
    int kept = 0;
    for (int i = 0; i < argc; ++i)
        if (std::strcmp(argv[i], "--quick") == 0)
            qel::bench::set_quick(true);
        else if (std::strcmp(argv[i], "--growth") == 0)
            qel::bench::set_growing(true);
        else
            argv[kept++] = argv[i];
    benchmark::Initialize(&kept, argv);
    if (benchmark::ReportUnrecognizedArguments(kept, argv)) return 2;
    using namespace qel::bench;
    add_unit_rows();
    add_matrix_rows();
    add_mesh_token_rows();
    add_scene_rows();
    add_scan_rows();
    add_polymesh_rows();
    add_geometry_rows();
    add_verify_rows();
    add_mesh_cache_rows();
    add_skinning_rows();
    add_agent_rows();
    add_archive_rows();
    add_index_check_rows();
    progress display;
    const std::size_t rows = benchmark::RunSpecifiedBenchmarks(&display);
    return display.failed || rows == 0 ? 1 : 0;
}
