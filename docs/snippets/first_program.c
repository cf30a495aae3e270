/* SPDX-License-Identifier: MIT */
/* The vertices of an archive become tokens; then the tokens nearest to one of them are asked for. */
#include <qel_unit.h>

#include <stdio.h>
#include <stdlib.h>

/* Archive to unit file. Answers the first code that is not 0. */
static int make_tokens(const char *archive_path, const char *unit_path) {
    ogawa_archive archive;
    ogawa_polymesh mesh;
    qel_alembic_mesh tokens = {0};
    int code = ogawa_open(archive_path, &archive);
    if (code != 0) return code;
    code = ogawa_read_polymesh(&archive, NULL, 0, &mesh);
    ogawa_close(&archive); /* the mesh has arrays of its own */
    if (code == 0) {
        printf("%u vertices, %u faces\n", (unsigned)mesh.vertex_count, (unsigned)mesh.face_count);
        code = qel_alembic_load_raw(mesh.positions, mesh.vertex_count, NULL, 0, "mesh", &tokens);
    }
    if (code == 0) code = qel_alembic_export_qel(&tokens, unit_path);
    qel_alembic_mesh_free(&tokens);
    ogawa_free_polymesh(&mesh); /* after a failed read, too */
    return code;
}

static void ask(const qel_unit *unit) {
    uint32_t numbers[4], found, i;
    uint64_t hops[4];
    const uint64_t key = unit->tokens[unit->count / 2].morton;
    found = qel_unit_query_nearest(unit, key, 4, numbers, hops);
    printf("around key %llu:\n", (unsigned long long)key);
    for (i = 0; i < found; ++i)
        printf("  %llu hops: token %.8s\n", (unsigned long long)hops[i], unit->tokens[numbers[i]].hex_id);
}

int main(int argc, char **argv) {
    const char *archive_path = argc > 1 ? argv[1] : "torus.abc";
    const char *unit_path = "tokens.qel";
    qel_unit unit = {0};
    int code = make_tokens(archive_path, unit_path);
    if (code != 0) {
        fprintf(stderr, "%s gives no tokens: code %d\n", archive_path, code);
        return 1;
    }
    code = qel_unit_load(unit_path, &unit); /* sorted and indexed */
    if (code != 0) {
        fprintf(stderr, "%s cannot be loaded: code %d\n", unit_path, code);
        return 1;
    }
    ask(&unit);
    qel_unit_free(&unit);
    free(unit.order); /* the one array that is yours to free */
    return 0;
}
