// SPDX-License-Identifier: MIT
#include "support/random.h"

namespace qel::test {

double chance::number() {
    static const std::vector<double> special = {0.0, -0.0, 1.0, -1.0, 0.5, 1e-30, 1e30};
    if (one_in(5)) return of(special);
    return (static_cast<double>(below(2000001)) - 1000000) / 10000;
}

} // namespace qel::test
