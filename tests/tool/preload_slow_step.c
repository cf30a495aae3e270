// SPDX-License-Identifier: MIT
// Preloaded before the library, it makes two steps of `qel convert` take long enough to be observed or interrupted.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <qel_unit.h>
#include <time.h>

int32_t ogawa_build_manifold(ogawa_polymesh *mesh) {
    int32_t (*whole)(ogawa_polymesh *);
    const struct timespec pause = {1, 500000000};
    *(void **)&whole = dlsym(RTLD_NEXT, "ogawa_build_manifold");
    nanosleep(&pause, NULL);
    return whole(mesh);
}

int32_t qel_mesh_save(const ogawa_polymesh *mesh, const qel_skin *skin, const char *path) {
    int32_t (*whole)(const ogawa_polymesh *, const qel_skin *, const char *);
    const struct timespec pause = {0, 50000000};
    *(void **)&whole = dlsym(RTLD_NEXT, "qel_mesh_save");
    nanosleep(&pause, NULL);
    return whole(mesh, skin, path);
}
