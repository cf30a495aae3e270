// SPDX-License-Identifier: MIT
// Runs a program and keeps what it said.
#pragma once

#include "support/temp_folder.h"

#include <cstdlib>
#include <string>
#include <sys/wait.h>

namespace qel::test {

struct program_result {
    int exit_code;
    std::string output, errors;
};

inline std::string text_of(const std::string &path) {
    const bytes content = read_file(path);
    return std::string(content.begin(), content.end());
}

/// Runs a shell command in a folder.
inline program_result run_program(const temp_folder &folder, const std::string &command) {
    const std::string out = folder.file("stdout.txt"), err = folder.file("stderr.txt");
    const int status = std::system(
        ("cd '" + folder.path().string() + "' && " + command + " >'" + out + "' 2>'" + err + "'").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(out), text_of(err)};
}

} // namespace qel::test
