/* SPDX-License-Identifier: MIT */
/* A square with a skin of one joint goes into a cache file, is mapped, and moved. */
#include <qel_unit.h>

#include <stdio.h>
#include <string.h>

#define UNIT_MATRIX                                                                                                    \
    { 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1 }

static float positions[4 * 3] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
static uint32_t corners[4] = {0, 1, 2, 3}, corner_counts[1] = {4};
static qel_skin_joint joint = {{0}, UNIT_MATRIX};
static qel_skin_weight weights[4] = {
    {{0}, {1.0f}}, {{0}, {1.0f}}, {{0}, {1.0f}}, {{0}, {1.0f}}}; /* all follow joint 0 */

static int save_square(const char *path) {
    ogawa_polymesh mesh = {0}; /* only the fields that the header names are read */
    qel_skin skin = {0};
    float box[6];
    mesh.positions = positions;
    mesh.vertex_count = 4;
    mesh.face_counts = corner_counts;
    mesh.face_count = 1;
    mesh.face_indices = corners;
    mesh.face_index_count = 4;
    ogawa_compute_bounds(positions, 4, box);
    memcpy(mesh.bounds_min, box, sizeof mesh.bounds_min);
    memcpy(mesh.bounds_max, box + 3, sizeof mesh.bounds_max);
    skin.joints = &joint;
    skin.joint_count = 1;
    skin.weights = weights;
    skin.weight_count = 4;
    return qel_mesh_save(&mesh, &skin, path);
}

int main(void) {
    qel_mesh cache;
    float moved[4 * 3];
    double pose[16] = UNIT_MATRIX;
    int code = save_square("square.qelm");
    if (code == 0) code = qel_mesh_load("square.qelm", &cache);
    if (code != 0) {
        fprintf(stderr, "code %d\n", code);
        return 1;
    }
    printf("%u vertices, %u triangles, %u bytes\n", (unsigned)cache.header.vertex_count,
           (unsigned)cache.header.triangle_count, (unsigned)cache.file_size);
    printf("vertex 2 lies at (%g, %g, %g) of the mapped file\n", (double)cache.positions[6], (double)cache.positions[7],
           (double)cache.positions[8]);
    if (cache.skin != NULL && cache.skin->weight_count == 4) {
        pose[14] = 5.0; /* row vectors: the last row moves */
        qel_skin_apply(cache.skin, pose, cache.positions, moved);
        printf("and moves to (%g, %g, %g)\n", (double)moved[6], (double)moved[7], (double)moved[8]);
    }
    qel_mesh_free(&cache); /* positions and indices are gone with the mapping */
    return 0;
}
