/* SPDX-License-Identifier: MIT */
/* Two cells of the 48-cube: what they are, what mirrors them, and their children. */
#include <qel_unit.h>

#include <stdio.h>

static void print_cell(const qel_matrix_identity *cell) {
    printf("cell (%u, %u, %u): key %llu, level %d, state %u, norm %.4f, coupling %.4f\n", cell->x, cell->y, cell->z,
           (unsigned long long)cell->morton, cell->k11_level, cell->i_state, (double)cell->phi_norm,
           (double)cell->em_coupling);
}

static void print_child(const char *how, const qel_matrix_identity *a, const qel_matrix_identity *b, uint32_t mode) {
    qel_matrix_offspring child;
    qel_matrix_48_reproduce(a, b, mode, &child);
    printf("%s: (%u, %u, %u), chirality %d, blend %.4f\n", how, child.x, child.y, child.z, child.chirality,
           (double)child.phi_blend);
}

int main(void) {
    qel_matrix_identity a, b;
    uint8_t x, y, z;
    qel_matrix_48_identity(40, 30, 20, &a);
    qel_matrix_48_identity(20, 10, 36, &b);
    print_cell(&a);
    print_cell(&b);

    qel_matrix_48_palindrome(40, 30, 20, &x, &y, &z);
    printf("mirrored: (%u, %u, %u)\n", x, y, z);
    qel_matrix_48_mutate_tachyon(40, 30, 20, &x, &y, &z);
    printf("reflected: (%u, %u, %u)\n", x, y, z);

    print_child("crossover", &a, &b, QEL_REPRODUCE_CROSSOVER);
    print_child("tachyon", &a, &b, QEL_REPRODUCE_TACHYON);
    print_child("projective", &a, &b, QEL_REPRODUCE_PROJECTIVE);
    printf("%u cells in all\n", (unsigned)qel_matrix_48_validate_all());
    return 0;
}
