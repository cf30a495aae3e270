// SPDX-License-Identifier: MIT
#include "common/text.h"

#include <gtest/gtest.h>

#include <string>

namespace qel {
namespace {

TEST(CopyText, CutsAndTerminates) {
    char field[4] = {'x', 'x', 'x', 'x'};
    copy_text(field, "abcdef");
    EXPECT_STREQ(field, "abc");
}

TEST(CopyText, ClearsTheRestOfTheField) {
    char field[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    copy_text(field, "ab");
    EXPECT_EQ(std::string(field, 6), std::string("ab\0\0\0\0", 6));
}

TEST(CopyText, DoesNotReadBeyondWhatItCopies) {
    const char unterminated[3] = {'a', 'b', 'c'};
    char field[4];
    copy_text(field, unterminated);
    EXPECT_STREQ(field, "abc");
}

TEST(WriteHex8, WritesEightUpperCaseDigitsAndNoTerminator) {
    char digits[9] = "........";
    write_hex8(0xFF234567, digits);
    EXPECT_STREQ(digits, "FF234567");
    write_hex8(0, digits);
    EXPECT_STREQ(digits, "00000000");
    char nine[9] = {'.', '.', '.', '.', '.', '.', '.', '.', '!'};
    write_hex8(0x2A9E011B, nine);
    EXPECT_EQ(std::string(nine, 9), "2A9E011B!");
}

} // namespace
} // namespace qel
