/* SPDX-License-Identifier: MIT */
/* A pyramid becomes tokens; its scene goes through a file and answers questions. */
#include <qel_unit.h>

#include <stdio.h>
#include <stdlib.h>

static const float positions[5 * 3] = {0, 0, 0, 2, 0, 0, 2, 2, 0, 0, 2, 0, 1, 1, 3};
static const uint32_t triangles[4 * 3] = {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4};

static int save_pyramid(const char *path) {
    qel_alembic_mesh mesh = {0};
    qel_alembic_file scene = {0};
    int code = qel_alembic_load_raw(positions, 5, triangles, 4, "pyramid", &mesh);
    if (code != 0) return code;
    scene.meshes = &mesh;
    scene.mesh_count = 1;
    scene.fps = 24.0f;
    scene.total_vertices = scene.total_tokens = 5; /* what the header of the file says */
    scene.total_faces = 4;
    code = qel_alembic_save(path, &scene);
    qel_alembic_mesh_free(&mesh); /* the scene's record only pointed at it */
    return code;
}

static void ask(const qel_alembic_file *scene) {
    qel_alembic_hit hits[2];
    uint32_t found, i;
    uint64_t key;
    const qel_alembic_vertex *apex = &scene->meshes[0].vertices[4];
    printf("the apex stands in cell (%u, %u, %u), level %d\n", apex->matrix_x, apex->matrix_y, apex->matrix_z,
           apex->k11_level);
    key = qel_matrix_48_morton_encode(47, 47, 0);
    if (qel_alembic_lookup_morton(scene, key, hits) == 0)
        printf("cell (47, 47, 0) holds vertex %u, token %.8s\n", (unsigned)hits[0].vertex_index, hits[0].token->hex_id);
    found = qel_alembic_query_nearest(scene, apex->morton, 2, hits);
    for (i = 0; i < found; ++i)
        printf("distance %.0f: vertex %u\n", (double)hits[i].distance, (unsigned)hits[i].vertex_index);
}

int main(void) {
    qel_alembic_file scene = {0};
    int code = save_pyramid("pyramid.bqel");
    if (code == 0) code = qel_alembic_load("pyramid.bqel", &scene); /* builds the index */
    if (code == 0) code = qel_alembic_validate(&scene);
    if (code == 0) ask(&scene);
    if (code == 0) code = qel_alembic_export_file_qel(&scene, "pyramid.qel");
    qel_alembic_free(&scene);
    if (code != 0) fprintf(stderr, "code %d\n", code);
    return code == 0 ? 0 : 1;
}
