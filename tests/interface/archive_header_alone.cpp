// SPDX-License-Identifier: MIT
#include <qel_archive.h>

#include "archive_layout.h"

bool archive_header_alone_cpp(qel_archive &archive);
bool archive_header_alone_cpp(qel_archive &archive) {
    qel_archive_info info{};
    return qel_archive_get_info(&archive, &info) == QEL_ARCHIVE_OK && info.object_count != 0;
}
