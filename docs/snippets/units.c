/* SPDX-License-Identifier: MIT */
/* A unit from arrays, through its file, and asked in every way. */
#include <qel_unit.h>

#include <stdio.h>
#include <stdlib.h>

static const uint64_t keys[5] = {9, 100, 16, 25, 64};
static const char identities[5 * 8 + 1] = "0000AAAA0000BBBB0000CCCC0000DDDD0000EEEE";
static const uint64_t states[5] = {1, 2, 3, 4, 5};
static const uint8_t layers[5] = {0, 1, 0, 1, 0};

static void release(qel_unit *unit) {
    qel_unit_free(unit);
    free(unit->order); /* a release leaves it to its owner */
    unit->order = NULL;
}

static void ask(const qel_unit *unit) {
    uint32_t numbers[3], found, i;
    uint64_t hops[3];
    const uint32_t by_key = qel_unit_lookup_morton(unit, 25);
    const uint32_t by_identity = qel_unit_lookup_hex(unit, "0000CCCC");
    printf("key 25 is token %u, identity 0000CCCC is token %u\n", (unsigned)by_key, (unsigned)by_identity);
    if (qel_unit_lookup_morton(unit, 26) == QEL_NOT_FOUND) printf("key 26 is nobody's\n");
    printf("layer 1 has %u tokens\n", (unsigned)qel_unit_query_layer(unit, 1, numbers, 3));
    found = qel_unit_query_nearest(unit, 20, 3, numbers, hops);
    for (i = 0; i < found; ++i)
        printf("%llu hops from key 20: key %llu\n", (unsigned long long)hops[i],
               (unsigned long long)unit->tokens[numbers[i]].morton);
}

int main(void) {
    qel_unit unit = {0};
    int code = qel_unit_create(&unit, 5, keys, identities, states, layers);
    if (code == 0) code = qel_unit_save("five.qel", &unit); /* in the caller's order */
    release(&unit);
    if (code == 0) code = qel_unit_load("five.qel", &unit); /* sorted by key */
    if (code == 0) {
        printf("%u tokens\n", (unsigned)qel_unit_get_count(&unit));
        ask(&unit);
        release(&unit);
    } else {
        fprintf(stderr, "code %d\n", code);
    }
    return code == 0 ? 0 : 1;
}
