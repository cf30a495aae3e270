/* SPDX-License-Identifier: MIT */
#include <qel_unit.h>

#if !QEL_UNIT_VERSION_AT_LEAST(QEL_UNIT_VERSION_MAJOR, QEL_UNIT_VERSION_MINOR, QEL_UNIT_VERSION_PATCH) ||              \
    !QEL_UNIT_VERSION_AT_LEAST(QEL_UNIT_VERSION_MAJOR - 1, 99, 99) || !QEL_UNIT_VERSION_AT_LEAST(0, 2, 0)
#error "an earlier version is not later"
#endif
#if QEL_UNIT_VERSION_AT_LEAST(QEL_UNIT_VERSION_MAJOR + 1, 0, 0) ||                                                     \
    QEL_UNIT_VERSION_AT_LEAST(QEL_UNIT_VERSION_MAJOR, QEL_UNIT_VERSION_MINOR + 1, 0) ||                                \
    QEL_UNIT_VERSION_AT_LEAST(QEL_UNIT_VERSION_MAJOR, QEL_UNIT_VERSION_MINOR, QEL_UNIT_VERSION_PATCH + 1)
#error "a later version is not earlier"
#endif

/* Both ways to name a record, and a function that takes one. */
int header_alone_c(qel_unit *one, struct qel_unit *other);
int header_alone_c(qel_unit *one, struct qel_unit *other) {
    return qel_unit_get_count(one) == qel_unit_get_count(other);
}
