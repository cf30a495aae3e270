/* SPDX-License-Identifier: MIT */
/* A consumer that knows qel_archive only as a file and has no other library: resolves every name of a list, then reads
   a mesh and frees its arrays by itself. */
#include <qel_archive.h>

#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>

static void *library;

/* Through memory: ISO C has no conversion between object and function pointers. */
static void find(const char *name, void *function) {
    void *const found = dlsym(library, name);
    memcpy(function, &found, sizeof found);
}

static int resolve_all(const char *list) {
    char name[128];
    int resolved = 0;
    FILE *names = fopen(list, "r");
    while (names != NULL && fscanf(names, "%127s", name) == 1)
        resolved += dlsym(library, name) != NULL;
    if (names != NULL) fclose(names);
    return resolved;
}

static int read_sea(const char *path) {
    int32_t (*open)(const char *, qel_archive **);
    uint32_t (*find_object)(const qel_archive *, const char *);
    int32_t (*read_mesh)(const qel_archive *, uint32_t, uint64_t, ogawa_polymesh *);
    void (*close)(qel_archive *);
    qel_archive *archive;
    ogawa_polymesh mesh;
    uint32_t i;
    find("qel_archive_open", &open);
    find("qel_archive_find", &find_object);
    find("qel_archive_read_mesh", &read_mesh);
    find("qel_archive_close", &close);
    if (open(path, &archive) != 0) return 0;
    if (read_mesh(archive, find_object(archive, "/harbour/sea"), 47, &mesh) != 0) return 0;
    close(archive); /* the mesh stays */
    free(mesh.positions);
    free(mesh.face_counts);
    free(mesh.face_indices);
    free(mesh.normals);
    free(mesh.normal_indices);
    for (i = 0; i < mesh.uv_set_count; ++i) {
        free(mesh.uv_sets[i].values);
        free(mesh.uv_sets[i].indices);
    }
    free(mesh.uv_sets);
    return mesh.vertex_count == 441 && strcmp(mesh.path, "/harbour/sea") == 0;
}

/* Usage: load_archive_at_run_time LIBRARY NAMES ARCHIVE, where NAMES is a file of one function name a line. */
int main(int argc, char **argv) {
    library = argc == 4 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (library == NULL) {
        fprintf(stderr, "%s\n", argc == 4 ? dlerror() : "three arguments are needed");
        return 2;
    }
    if (resolve_all(argv[2]) != 16) return 1;
    if (!read_sea(argv[3])) return 1;
    dlclose(library);
    return 0;
}
