// SPDX-License-Identifier: MIT
#include "commands.h"
#include "input.h"
#include "report.h"
#include "text.h"

#include <cstdio>

namespace tool {

int info(const std::vector<std::string> &names) {
    int status = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::string complaint;
        try {
            const input_file file(names[i]);
            const report about = examine(file);
            if (i > 0) std::printf("\n");
            for (const auto &[name, value] : about.facts)
                std::printf("%s: %s\n", name.c_str(), value.c_str());
            std::printf("sound: %s\n", about.problems.empty() ? "yes" : "no");
            for (const std::string &problem : about.problems)
                std::printf("problem: %s\n", problem.c_str());
            if (!about.problems.empty())
                complaint = printable(file.name()) + ": not sound: " + about.problems[0];
        } catch (const failure &failed) {
            complaint = failed.what();
        }
        if (complaint.empty()) continue;
        std::fflush(stdout);
        std::fprintf(stderr, "qel: %s\n", complaint.c_str());
        status = 1;
    }
    return status;
}

} // namespace tool
