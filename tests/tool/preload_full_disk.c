// SPDX-License-Identifier: MIT
// Preloaded before the library: while the function FULL_IN writes, no file grows beyond FULL_AT bytes, as on a disk
// that becomes full.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <qel_unit.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>

static void limit_from(const char *function) {
    const char *const wanted = getenv("FULL_IN"), *const at = getenv("FULL_AT");
    if (wanted == NULL || at == NULL || strcmp(wanted, function) != 0) return;
    const struct rlimit limit = {strtoul(at, NULL, 10), RLIM_INFINITY};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
}

static void lift(void) {
    const struct rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &none);
}

#define WRITES(name, parameters, arguments)                                                                            \
    int32_t name parameters {                                                                                          \
        int32_t(*whole) parameters;                                                                                    \
        *(void **)&whole = dlsym(RTLD_NEXT, #name);                                                                    \
        limit_from(#name);                                                                                             \
        const int32_t code = whole arguments;                                                                          \
        lift();                                                                                                        \
        return code;                                                                                                   \
    }

WRITES(qel_alembic_export_file_qel, (const qel_alembic_file *scene, const char *path), (scene, path))
WRITES(qel_alembic_save, (const char *path, const qel_alembic_file *scene), (path, scene))
WRITES(qel_mesh_save, (const ogawa_polymesh *mesh, const qel_skin *skin, const char *path), (mesh, skin, path))
