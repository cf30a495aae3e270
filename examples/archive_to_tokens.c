/* SPDX-License-Identifier: MIT */
/* archive_to_tokens INPUT.abc FOLDER: writes an archive's mesh as a file of each format into an existing folder.
 * Every vertex becomes a token; queries then run over the tokens. A failure ends the program, and the system frees its
 * memory. Files of these names are overwritten; `qel convert` replaces them only after the whole conversion. */
#include <qel_unit.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void check(int code, const char *step) {
    if (code == 0) return;
    fprintf(stderr, "archive_to_tokens: %s failed: code %d\n", step, code);
    exit(1);
}

/* The agent directory keeps 255 characters of a path and would write to the truncated one without an error. */
static const char *in_folder(const char *folder, const char *name, char path[256]) {
    const int length = snprintf(path, 256, "%s/%s", folder, name);
    check(length < 0 || length > 255, "keeping the path within 255 characters");
    return path;
}

/* Saving does not report a full disk, so a file's length is compared with what it must hold. */
static void must_hold(const char *path, uint64_t bytes) {
    FILE *file = fopen(path, "rb");
    const int whole = file != NULL && fseek(file, 0, SEEK_END) == 0 && (uint64_t)ftell(file) == bytes;
    check(!whole, "writing a file whole");
    fclose(file);
}

/* The reader recognizes faces by their bytes and does not check their counts and indices against this mesh. */
static int faces_fit(const ogawa_polymesh *mesh) {
    uint64_t corners = 0;
    uint32_t i;
    for (i = 0; i < mesh->face_count; ++i)
        corners += mesh->face_counts[i];
    for (i = 0; i < mesh->face_index_count; ++i)
        if (mesh->face_indices[i] >= mesh->vertex_count) return 0;
    return corners == mesh->face_index_count;
}

/* Splits the faces into triangles about their first corners. */
static uint32_t *fan_faces(const ogawa_polymesh *mesh, uint32_t *count) {
    const uint32_t *corner = mesh->face_indices;
    uint32_t *triangles = malloc(((size_t)mesh->face_index_count + 1) * 3 * sizeof *triangles), i;
    check(triangles == NULL, "finding memory");
    for (*count = i = 0; i < mesh->face_count; corner += mesh->face_counts[i++]) {
        uint32_t *fan, fan_count;
        if (mesh->face_counts[i] < 3) continue; /* a point or a line */
        check(ogawa_triangulate_face(corner, mesh->face_counts[i], &fan, &fan_count), "fanning a face");
        memcpy(triangles + (size_t)*count * 3, fan, (size_t)fan_count * 3 * sizeof *fan);
        *count += fan_count;
        free(fan);
    }
    return triangles;
}

static void query(const char *path) {
    uint32_t numbers[3], found, i;
    uint64_t hops[3];
    qel_unit unit;
    check(qel_unit_load(path, &unit), "loading the unit");
    found = qel_unit_query_nearest(&unit, qel_matrix_48_morton_encode(23, 23, 23), 3, numbers, hops);
    for (i = 0; i < found; ++i)
        printf("token %.8s, %u hops from the middle\n", unit.tokens[numbers[i]].hex_id, (unsigned)hops[i]);
    qel_unit_free(&unit);
    free(unit.order); /* qel_unit_free() does not free it */
}

static void record_run(const char *path, uint64_t tokens) {
    char reader[9], maker[9];
    check(qel_agent_dir_init(path), "making an agent directory");
    check(qel_agent_spawn(NULL, 0, 0, 0, reader), "adding an agent");
    check(qel_agent_spawn(reader, 1, 1, 0, maker), "adding an agent");
    check(qel_agent_delegate(reader, maker, tokens), "delegating");
    check(qel_agent_dir_sync(), "writing the agent directory");
    qel_agent_dir_free();
    must_hold(path, 24 + 2 * sizeof(qel_agent));
}

int main(int argc, char **argv) {
    ogawa_archive archive;
    ogawa_polymesh mesh;
    qel_alembic_file scene = {0};
    uint32_t *triangles, vertices, count;
    char path[256];
    check(argc != 3, "the call archive_to_tokens INPUT.abc FOLDER");
    in_folder(argv[2], "agents.qeag", path); /* the longest path is checked before anything is written */

    check(ogawa_open(argv[1], &archive), "opening the archive");
    check(ogawa_read_polymesh(&archive, NULL, 0, &mesh), "finding a mesh");
    if (mesh.face_counts == NULL || mesh.face_indices == NULL) mesh.face_count = mesh.face_index_count = 0;
    check(mesh.positions == NULL || !faces_fit(&mesh), "using the mesh");
    triangles = fan_faces(&mesh, &count);
    vertices = mesh.vertex_count;
    printf("%u vertices, %u faces, %u triangles\n", vertices, mesh.face_count, count);

    scene.meshes = calloc(1, sizeof *scene.meshes);
    check(scene.meshes == NULL, "finding memory");
    check(qel_alembic_load_raw(mesh.positions, vertices, triangles, count, "mesh", scene.meshes), "mesh to tokens");
    check(qel_alembic_export_qel(scene.meshes, in_folder(argv[2], "tokens.qel", path)), "writing the unit");
    must_hold(path, 24 + (uint64_t)vertices * sizeof(qel_token));
    query(path);
    scene.mesh_count = 1;
    scene.total_faces = count;
    check(qel_alembic_build_hash_table(&scene), "indexing the scene"); /* also counts its tokens */
    check(qel_alembic_save(in_folder(argv[2], "scene.bqel", path), &scene), "writing the scene");
    must_hold(path, 165 + (uint64_t)count * 12 + (uint64_t)vertices * 84);
    check(qel_mesh_save(&mesh, NULL, in_folder(argv[2], "mesh.qelm", path)), "writing the mesh cache");
    must_hold(path, 64 + (uint64_t)vertices * (mesh.normals != NULL ? 24 : 12) + (uint64_t)count * 12);
    record_run(in_folder(argv[2], "agents.qeag", path), vertices);

    qel_alembic_free(&scene);
    ogawa_free_polymesh(&mesh);
    ogawa_close(&archive);
    free(triangles);
    return 0;
}
