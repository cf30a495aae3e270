/* SPDX-License-Identifier: MIT */
/* A consumer that knows the library only as a file: resolves every name of a list, then uses a few of them. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

/* Usage: load_at_run_time LIBRARY NAMES, where NAMES is a file of one function name a line. */
int main(int argc, char **argv) {
    char name[128];
    int resolved = 0, missing = 0;
    uint64_t (*hop_distance)(uint64_t, uint64_t);
    uint32_t (*validate_all)(void);
    void *library = argc == 3 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    FILE *names = argc == 3 ? fopen(argv[2], "r") : NULL;
    if (library == NULL || names == NULL) {
        fprintf(stderr, "%s\n", library == NULL ? dlerror() : "no list of names");
        return 2;
    }
    while (fscanf(names, "%127s", name) == 1) {
        if (dlsym(library, name) != NULL) {
            ++resolved;
        } else {
            ++missing;
            fprintf(stderr, "missing: %s\n", name);
        }
    }
    fclose(names);
    /* Through memory: ISO C has no conversion between object and function pointers. */
    *(void **)&hop_distance = dlsym(library, "ruv_hop_distance");
    *(void **)&validate_all = dlsym(library, "qel_matrix_48_validate_all");
    if (missing != 0 || hop_distance(25, 9) != 4 || validate_all() != 110592) return 1;
    dlclose(library);
    printf("bare library: %d names resolved\n", resolved);
    return resolved == 101 ? 0 : 1;
}
