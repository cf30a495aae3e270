/* SPDX-License-Identifier: MIT */
#include <qel_archive.h>

#if QEL_ARCHIVE_VERSION_MAJOR != QEL_UNIT_VERSION_MAJOR || QEL_ARCHIVE_VERSION_MINOR != QEL_UNIT_VERSION_MINOR ||      \
    QEL_ARCHIVE_VERSION_PATCH != QEL_UNIT_VERSION_PATCH
#error "the libraries are released together"
#endif

#include "archive_layout.h"

/* Both ways to name an archive, and a function that takes one. */
uint32_t archive_header_alone_c(const qel_archive *one, const struct qel_archive *other);
uint32_t archive_header_alone_c(const qel_archive *one, const struct qel_archive *other) {
    return qel_archive_find(one, "/") + qel_archive_find(other, "/");
}
