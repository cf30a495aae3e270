/* SPDX-License-Identifier: MIT */
#include <qel_unit.h>

/* Both ways to name a record, and a function that takes one. */
int header_alone_c(qel_unit *one, struct qel_unit *other);
int header_alone_c(qel_unit *one, struct qel_unit *other) {
    return qel_unit_get_count(one) == qel_unit_get_count(other);
}
