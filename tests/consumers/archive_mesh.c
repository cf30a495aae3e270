/* SPDX-License-Identifier: MIT */
/* A consumer of both libraries in C99: reads a deforming mesh by its path, and releases it. */
#include <qel_archive.h>

#include <stdio.h>
#include <string.h>

#define CHECK(condition)                                                                                               \
    if (!(condition)) {                                                                                                \
        fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                                 \
        return 1;                                                                                                      \
    }

static int check_corners(const ogawa_polymesh *mesh) {
    uint32_t i, corners = 0;
    for (i = 0; i < mesh->face_count; ++i)
        corners += mesh->face_counts[i];
    CHECK(corners == mesh->face_index_count);
    for (i = 0; i < corners; ++i)
        CHECK(mesh->face_indices[i] < mesh->vertex_count);
    return 0;
}

static int check_mesh(const qel_archive *archive, uint32_t object) {
    qel_archive_mesh_info info;
    ogawa_polymesh first, last;
    CHECK(qel_archive_get_mesh_info(archive, object, &info) == QEL_ARCHIVE_OK);
    CHECK(info.sample_count == 48 && info.topology == 1);
    CHECK(info.vertex_count == 441 && info.face_count == 400 && info.corner_count == 1600);
    CHECK(qel_archive_read_mesh(archive, object, 0, &first) == QEL_ARCHIVE_OK);
    CHECK(qel_archive_read_mesh(archive, object, 20, &last) == QEL_ARCHIVE_OK);
    CHECK(first.vertex_count == info.vertex_count && last.vertex_count == info.vertex_count);
    CHECK(memcmp(first.positions, last.positions, sizeof(float) * 3 * info.vertex_count) != 0);
    CHECK(check_corners(&first) == 0 && check_corners(&last) == 0);
    ogawa_free_polymesh(&first); /* a function of qel_unit */
    ogawa_free_polymesh(&last);
    return 0;
}

int main(int argc, char **argv) {
    qel_archive *archive;
    CHECK(argc == 2);
    CHECK(qel_archive_open(argv[1], &archive) == QEL_ARCHIVE_OK);
    CHECK(check_mesh(archive, qel_archive_find(archive, "/harbour/sea")) == 0);
    CHECK(qel_archive_find(archive, "/nowhere") == QEL_NOT_FOUND);
    qel_archive_close(archive);
    puts("C consumer: the sea has waves");
    return 0;
}
