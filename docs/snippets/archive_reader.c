/* SPDX-License-Identifier: MIT */
/* What an archive says: its objects, and a mesh at a moment, placed in the world. */
#include <qel_archive.h>

#include <stdio.h>

static void print_children(const qel_archive *archive, uint32_t parent) {
    qel_archive_object object;
    uint32_t number;
    for (number = parent + 1; qel_archive_get_object(archive, number, &object) == 0; ++number)
        if (object.parent == parent) printf("%s: %s\n", object.path, ogawa_schema_to_string(object.kind));
}

static void print_positions(const qel_archive *archive, uint32_t object) {
    qel_archive_property property;
    uint64_t size;
    const uint32_t number = qel_archive_find_property(archive, object, ".geom/P");
    if (qel_archive_get_property(archive, object, number, &property) != 0) return;
    if (qel_archive_read_property(archive, object, number, 0, NULL, 0, &size) != 0) return; /* how long? */
    printf("%s: %u samples, the first of %u bytes, %s\n", property.name, (unsigned)property.sample_count,
           (unsigned)size, property.metadata);
}

static int print_mesh(const qel_archive *archive, uint32_t object, double seconds) {
    ogawa_polymesh mesh;
    uint64_t sample;
    int32_t status = qel_archive_sample_at(archive, object, seconds, &sample);
    if (status == 0) status = qel_archive_read_mesh(archive, object, sample, &mesh);
    if (status != 0) return status;
    printf("%s at %g s is sample %u: %u vertices, %u faces, %u UV sets\n", mesh.path, seconds, (unsigned)sample,
           (unsigned)mesh.vertex_count, (unsigned)mesh.face_count, (unsigned)mesh.uv_set_count);
    printf("its origin is at (%.3f, %.3f, %.3f) in the world\n", mesh.transform[12], mesh.transform[13],
           mesh.transform[14]);
    ogawa_free_polymesh(&mesh); /* of qel_unit: link both libraries */
    return 0;
}

int main(int argc, char **argv) {
    const char *path = argc > 1 ? argv[1] : "harbour.abc";
    qel_archive *archive;
    uint32_t boat, sail;
    int32_t status = qel_archive_open(path, &archive);
    if (status == 0) {
        boat = qel_archive_find(archive, "/harbour/boat");
        sail = qel_archive_find(archive, "/harbour/boat/sail");
        print_children(archive, boat);
        print_positions(archive, sail);
        status = print_mesh(archive, sail, 1.0);
        qel_archive_close(archive);
    }
    if (status != 0) fprintf(stderr, "%s: %s\n", path, qel_archive_message(status));
    return status == 0 ? 0 : 1;
}
