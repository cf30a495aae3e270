/* SPDX-License-Identifier: MIT */
/* Positions are checked before anything else is done with them. */
#include <qel_unit.h>

#include <math.h>
#include <stdio.h>

static void check(const char *name, const float *positions, uint32_t count) {
    float box[6];
    qel_mesh_verify_report report;
    ogawa_compute_bounds(positions, count, box);
    qel_mesh_verify_identity(positions, count, box[0], box[1], box[2], box[3], box[4], box[5], &report);
    printf("%s: %s, p - p %s, p / p %s, coherence %.3f\n", name, report.valid ? "valid" : "not valid",
           report.p_minus_p_ok ? "holds" : "fails", report.p_div_p_ok ? "holds" : "fails", (double)report.coherence);
}

int main(void) {
    const float cube[2 * 3] = {0, 0, 0, 1, 1, 1};
    const float plank[2 * 3] = {0, 0, 0, 4, 1, 1};
    const float broken[2 * 3] = {0, 0, 0, 1, NAN, 1};
    check("cube", cube, 2);
    check("plank", plank, 2);
    check("broken", broken, 2);
    if (!qel_mesh_is_static_valid(broken, 2)) printf("one number that is not finite is enough\n");
    return 0;
}
