/* SPDX-License-Identifier: MIT */
#include <qel_archive.h>

#include "archive_layout.h"

/* Both ways to name an archive, and a function that takes one. */
uint32_t archive_header_alone_c(const qel_archive *one, const struct qel_archive *other);
uint32_t archive_header_alone_c(const qel_archive *one, const struct qel_archive *other) {
    return qel_archive_find(one, "/") + qel_archive_find(other, "/");
}
