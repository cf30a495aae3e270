// SPDX-License-Identifier: MIT
#include <qel_unit.h>

bool header_alone_cpp(qel_unit &one, struct qel_unit &other);
bool header_alone_cpp(qel_unit &one, struct qel_unit &other) {
    qel_unit u{};
    return qel_unit_get_count(&one) == qel_unit_get_count(&other) && u.count == 0;
}
