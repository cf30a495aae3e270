/* SPDX-License-Identifier: MIT */
/* A C99 caller: a unit from arrays, its file, lookups and queries. */
#include <qel_unit.h>

#include <stdio.h>
#include <stdlib.h>

enum { side = 4, token_count = side * side * side };

/* Tokens of a small cube of lattice vertices; the keys ascend, as the nearest query requires. */
static int build(qel_unit *unit) {
    static uint64_t keys[token_count], payloads[token_count];
    static char identities[token_count * 8 + 1];
    static uint8_t layers[token_count];
    uint32_t i;
    for (i = 0; i < token_count; ++i) {
        const uint64_t x = i / (side * side), y = i / side % side, z = i % side;
        keys[i] = x << 32 | y << 16 | z;
        sprintf(identities + i * 8, "%08X", (unsigned)i);
        payloads[i] = i;
        layers[i] = (uint8_t)x;
    }
    return qel_unit_create(unit, token_count, keys, identities, payloads, layers);
}

static void print_token(const qel_unit *unit, uint32_t number) {
    uint64_t key;
    char identity[9] = {0};
    uint8_t layer;
    if (qel_unit_get_token(unit, number, &key, identity, &layer) == 0)
        printf("token %u: id %s, layer %u, vertex (%u, %u, %u)\n", (unsigned)number, identity, (unsigned)layer,
               (unsigned)(key >> 32), (unsigned)(key >> 16 & 0xFFFF), (unsigned)(key & 0xFFFF));
}

int main(void) {
    qel_unit unit = {0};
    uint32_t numbers[3], found, i;
    uint64_t distances[3];
    int code = build(&unit);
    if (code != 0) {
        fprintf(stderr, "the unit could not be built: code %d\n", code);
        return 1;
    }
    printf("%u tokens\n", (unsigned)qel_unit_get_count(&unit));
    /* A lookup finds the newest token of its bucket: (1, 2, 3) is in the bucket of (3, 2, 1) and is not found. */
    print_token(&unit, qel_unit_query_lattice_vertex(&unit, 3, 2, 1));
    if (qel_unit_query_lattice_vertex(&unit, 1, 2, 3) == QEL_NOT_FOUND) printf("vertex (1, 2, 3) is hidden\n");
    print_token(&unit, qel_unit_lookup_hex(&unit, "0000003F"));
    printf("layer 2: %u tokens, at most 3 asked for\n", (unsigned)qel_unit_query_layer(&unit, 2, numbers, 3));
    found = qel_unit_query_nearest(&unit, unit.tokens[21].morton, 3, numbers, distances);
    for (i = 0; i < found; ++i) {
        printf("%llu hops: ", (unsigned long long)distances[i]);
        print_token(&unit, numbers[i]);
    }
    qel_unit_free(&unit);
    free(unit.order); /* qel_unit_free() does not free it */
    return 0;
}
