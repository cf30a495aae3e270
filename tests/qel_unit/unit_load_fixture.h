// SPDX-License-Identifier: MIT
// What the tests of loading and sorting units share.
#pragma once

#include "support/units.h"

#include <gtest/gtest.h>

namespace qel::test {

class unit_load_test : public testing::Test {
  protected:
    std::int32_t load(const bytes &file, qel_unit &into) {
        write_file(path, file);
        return qel_unit_load(path.c_str(), &into);
    }
    std::int32_t load(const bytes &file) { return load(file, unit); }

    temp_folder folder;
    const std::string path = folder.file("unit.qel");
    owned_unit unit;
    const std::vector<qel_token> unsorted = {make_token(30, "00000003", 300, 3), make_token(10, "00000001", 100, 1),
                                             make_token(20, "00000002", 200, 2)};
    const std::vector<qel_token> sorted = {unsorted[1], unsorted[2], unsorted[0]};
};

} // namespace qel::test
