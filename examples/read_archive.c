/* SPDX-License-Identifier: MIT */
/* read_archive ARCHIVE.abc: lists the meshes of an archive with their sizes, and the bounds of the visible meshes
 * at five times. A failure ends the program, and the system frees its memory. */
#include <qel_archive.h>

#include <float.h>
#include <stdio.h>
#include <stdlib.h>

typedef struct box {
    double lower[3], upper[3];
} box;

static void check(int32_t status, const char *where) {
    if (status == QEL_ARCHIVE_OK) return;
    fprintf(stderr, "%s: %s\n", where, qel_archive_message(status));
    exit(1);
}

/* Gets an object; 0 if it is not a mesh. */
static int get_mesh(const qel_archive *archive, uint32_t number, qel_archive_object *object) {
    check(qel_archive_get_object(archive, number, object), "object");
    return object->kind == OGAWA_SCHEMA_POLYMESH || object->kind == OGAWA_SCHEMA_SUBD;
}

static void print_mesh(const qel_archive *archive, uint32_t number, const char *path) {
    static const char *const changes[] = {"still", "deforms", "changes faces"};
    qel_archive_mesh_info info;
    const int32_t status = qel_archive_get_mesh_info(archive, number, &info);
    if (status != QEL_ARCHIVE_OK) {
        printf("%s: %s\n", path, qel_archive_message(status));
    } else {
        printf("%s: %u vertices, %u faces, %u corners, %s", path, (unsigned)info.vertex_count,
               (unsigned)info.face_count, (unsigned)info.corner_count, changes[info.topology]);
        if (info.sample_count > 1) printf(" in %u samples", (unsigned)info.sample_count);
        putchar('\n');
    }
}

/* Widens the box by a mesh in world space at a time. Points are rows: p' = p * matrix. */
static void add_mesh(const qel_archive *archive, uint32_t number, const char *path, double seconds, box *world) {
    ogawa_polymesh mesh;
    double matrix[16];
    uint64_t sample;
    int32_t visible;
    uint32_t i;
    int axis;
    check(qel_archive_is_visible(archive, number, seconds, &visible), path);
    if (!visible) return;
    if (qel_archive_sample_at(archive, number, seconds, &sample) != QEL_ARCHIVE_OK) return; /* no positions */
    check(qel_archive_world_transform(archive, number, seconds, matrix), path);
    check(qel_archive_read_mesh(archive, number, sample, &mesh), path);
    for (i = 0; i < mesh.vertex_count; ++i)
        for (axis = 0; axis < 3; ++axis) {
            const float *p = mesh.positions + 3 * (size_t)i;
            const double at =
                p[0] * matrix[axis] + p[1] * matrix[4 + axis] + p[2] * matrix[8 + axis] + matrix[12 + axis];
            if (at < world->lower[axis]) world->lower[axis] = at;
            if (at > world->upper[axis]) world->upper[axis] = at;
        }
    ogawa_free_polymesh(&mesh);
}

int main(int argc, char **argv) {
    qel_archive *archive;
    qel_archive_info info;
    qel_archive_object object;
    uint32_t i, step, steps;
    if (argc != 2) {
        fprintf(stderr, "usage: read_archive ARCHIVE.abc\n");
        return 2;
    }
    check(qel_archive_open(argv[1], &archive), argv[1]);
    check(qel_archive_get_info(archive, &info), argv[1]);
    printf("%u objects, %u meshes\n", (unsigned)info.object_count, (unsigned)info.mesh_count);
    for (i = 0; i < info.object_count; ++i)
        if (get_mesh(archive, i, &object)) print_mesh(archive, i, object.path);
    steps = info.end > info.start ? 4 : 0; /* without movement one time is enough */
    for (step = 0; step <= steps; ++step) {
        const double seconds = info.start + (steps == 0 ? 0 : (info.end - info.start) * step / steps);
        box world = {{DBL_MAX, DBL_MAX, DBL_MAX}, {-DBL_MAX, -DBL_MAX, -DBL_MAX}};
        for (i = 0; i < info.object_count; ++i)
            if (get_mesh(archive, i, &object)) add_mesh(archive, i, object.path, seconds, &world);
        if (world.lower[0] > world.upper[0]) continue; /* no mesh is visible */
        printf("%.3f s: (%.2f, %.2f, %.2f) to (%.2f, %.2f, %.2f)\n", seconds, world.lower[0], world.lower[1],
               world.lower[2], world.upper[0], world.upper[1], world.upper[2]);
    }
    qel_archive_close(archive);
    return 0;
}
