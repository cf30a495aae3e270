// SPDX-License-Identifier: MIT
// Runs a program and keeps its output.
#pragma once

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

namespace qel::test {

struct program_result {
    int exit_code;
    std::string output, errors;
};

/// What a program wrote, with its lines ended by a newline alone.
inline std::string text_of(const std::string &path) {
    const bytes content = read_file(path);
    std::string text(content.begin(), content.end());
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

/// A program's path, quoted for the shell.
inline std::string shell_name(std::string program) {
#if defined(_WIN32)
    std::replace(program.begin(), program.end(), '/', '\\');
#endif
    return program;
}

/// Runs a shell command in a folder.
inline program_result run_program(const temp_folder &folder, const std::string &command) {
    const std::string out = folder.file("stdout.txt"), err = folder.file("stderr.txt");
#if defined(_WIN32)
    const std::string enter = "cd /d ";
#else
    const std::string enter = "cd ";
#endif
    const int status = std::system(
        (enter + '"' + folder.path().string() + "\" && " + command + " >\"" + out + "\" 2>\"" + err + '"').c_str());
#if defined(_WIN32)
    return {status, text_of(out), text_of(err)};
#else
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(out), text_of(err)};
#endif
}

/// The output of a program that must succeed and print no error.
inline std::string output_of(const temp_folder &folder, const std::string &command) {
    const program_result run = run_program(folder, command);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.errors, "");
    return run.output;
}

} // namespace qel::test
