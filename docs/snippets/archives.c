/* SPDX-License-Identifier: MIT */
/* A mesh out of an archive, and what the library computes on it. */
#include <qel_unit.h>

#include <stdio.h>
#include <stdlib.h>

static void print_around_vertex(ogawa_polymesh *mesh, uint32_t vertex) {
    const uint32_t *faces;
    uint32_t *neighbors, face_count, neighbor_count;
    if (ogawa_build_manifold(mesh) != 0) {
        mesh->manifold.vertex_face_offsets = NULL; /* without memory it may be left pointing at freed memory */
        return;
    }
    if (ogawa_get_vertex_faces(&mesh->manifold, vertex, &faces, &face_count) == 0)
        printf("vertex %u is a corner of %u faces\n", (unsigned)vertex, (unsigned)face_count);
    if (ogawa_get_vertex_neighbors(&mesh->manifold, &mesh->face_counts, vertex, &neighbors, &neighbor_count) == 0) {
        printf("and shares them with %u vertices\n", (unsigned)neighbor_count);
        free(neighbors); /* an array that was handed out */
    }
}

static void print_first_face(const ogawa_polymesh *mesh) {
    uint32_t *triangles, count;
    if (mesh->face_count == 0 || mesh->face_counts == NULL) return; /* their array found no memory */
    if (mesh->face_counts[0] > mesh->face_index_count) return;
    if (ogawa_triangulate_face(mesh->face_indices, mesh->face_counts[0], &triangles, &count) != 0) return;
    printf("face 0 has %u corners: %u triangles\n", (unsigned)mesh->face_counts[0], (unsigned)count);
    free(triangles);
}

int main(int argc, char **argv) {
    ogawa_archive archive;
    ogawa_polymesh mesh;
    const char *path = argc > 1 ? argv[1] : "torus.abc";
    int code = ogawa_open(path, &archive);
    if (code != 0) {
        fprintf(stderr, "%s is no archive: code %d\n", path, code);
        return 1;
    }
    code = ogawa_read_polymesh(&archive, NULL, 0, &mesh);
    if (code == 0) {
        printf("%u vertices, %u faces, %u normals\n", (unsigned)mesh.vertex_count, (unsigned)mesh.face_count,
               (unsigned)mesh.normal_count);
        printf("from (%g, %g, %g) to (%g, %g, %g)\n", (double)mesh.bounds_min[0], (double)mesh.bounds_min[1],
               (double)mesh.bounds_min[2], (double)mesh.bounds_max[0], (double)mesh.bounds_max[1],
               (double)mesh.bounds_max[2]);
        print_first_face(&mesh);
        print_around_vertex(&mesh, 0);
    } else {
        fprintf(stderr, "%s has no mesh: code %d\n", path, code);
    }
    ogawa_free_polymesh(&mesh); /* with everything that was hung on it; after a failure, too */
    ogawa_close(&archive);
    return code == 0 ? 0 : 1;
}
