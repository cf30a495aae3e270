/* SPDX-License-Identifier: MIT */
/* A consumer in C99: builds a unit, saves and loads it, and asks for the tokens nearest to a key. */
#include <qel_unit.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define CHECK(condition)                                                                                               \
    if (!(condition)) {                                                                                                \
        fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                                 \
        return 1;                                                                                                      \
    }

static int save_unit(const char *path) {
    const uint64_t keys[5] = {900, 4, 100, 25, 0}; /* not sorted: loading sorts */
    const uint64_t payloads[5] = {5, 4, 3, 2, 1};
    const uint8_t layers[5] = {1, 2, 1, 2, 1};
    qel_unit unit = {0};
    CHECK(qel_unit_create(&unit, 5, keys, "AAAAAAAABBBBBBBBCCCCCCCCDDDDDDDDEEEEEEEE", payloads, layers) == 0);
    CHECK(qel_unit_save(path, &unit) == 0);
    qel_unit_free(&unit);
    free(unit.order);
    return 0;
}

static int ask_unit(const char *path) {
    qel_unit unit = {0};
    uint32_t numbers[3] = {0};
    uint64_t distances[3] = {0}, key = 0;
    uint8_t layer = 0;
    char id[8];
    CHECK(qel_unit_load(path, &unit) == 0);
    CHECK(qel_unit_get_count(&unit) == 5);
    /* Around 30: 25 is 2 hops away, 4 is 5, 0 is 5; of the sorted keys 0, 4, 25, 100, 900. */
    CHECK(qel_unit_query_nearest(&unit, 30, 3, numbers, distances) == 3);
    CHECK(numbers[0] == 2 && numbers[1] == 1 && numbers[2] == 0);
    CHECK(distances[0] == 2 && distances[1] == 5 && distances[2] == 5);
    CHECK(qel_unit_get_token(&unit, numbers[0], &key, id, &layer) == 0);
    CHECK(key == 25 && memcmp(id, "DDDDDDDD", 8) == 0 && layer == 2);
    CHECK(qel_unit_lookup_hex(&unit, "AAAAAAAA") == 4);
    qel_unit_free(&unit);
    free(unit.order);
    return 0;
}

int main(int argc, char **argv) {
    CHECK(argc == 2);
    CHECK(save_unit(argv[1]) == 0);
    CHECK(ask_unit(argv[1]) == 0);
    remove(argv[1]);
    puts("C consumer: the unit came back and knows its nearest tokens");
    return 0;
}
