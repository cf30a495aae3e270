// SPDX-License-Identifier: MIT
// archive_to_tokens [INPUT.abc] [OUTPUT_FOLDER]
//
// An Alembic file goes in. Its mesh is found and read, every vertex becomes a token, and the folder then holds a
// file of each of the library's formats: tokens.qel, scene.bqel, mesh.qelm and agents.qeag.
#include "job.h"

#include <cstdio>
#include <exception>

int main(int argc, char **argv) {
    if (argc > 3 || (argc > 1 && std::string(argv[1]) == "--help")) {
        std::printf("usage: archive_to_tokens [INPUT.abc] [OUTPUT_FOLDER]\n");
        return argc > 3 ? 2 : 0;
    }
    try {
        const std::string input = argc > 1 ? argv[1] : EXAMPLE_DATA "/torus.abc";
        const std::string output = argc > 2 ? argv[2] : "archive_to_tokens_output";
        example::archive_to_tokens(input, output);
        std::printf("\nEverything is in %s\n", output.c_str());
    } catch (const std::exception &failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "archive_to_tokens: %s\n", failure.what());
        return 1;
    }
    return 0;
}
