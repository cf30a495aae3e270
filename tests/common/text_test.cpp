// SPDX-License-Identifier: MIT
#include "common/text.h"

#include <gtest/gtest.h>

#include <cstdio>
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

TEST(CopyText, OfNoLengthIsAFieldOfZeros) {
    const char text[4] = {'\0', 'a', 'b', '\0'};
    char field[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    copy_text(field, text);
    EXPECT_EQ(std::string(field, 6), std::string(6, '\0'));
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

TEST(WriteHex8, WritesEveryDigitInEveryPlaceAsPrintfDoes) {
    for (std::uint32_t digit = 0; digit < 16; ++digit) {
        for (int place = 0; place < 8; ++place) {
            for (const std::uint32_t others : {0u, 0x9A9A9A9Au, 0xFFFFFFFFu}) {
                const std::uint32_t value = (others & ~(15u << 4 * place)) | digit << 4 * place;
                char wanted[9], digits[9] = "........";
                std::snprintf(wanted, sizeof wanted, "%08X", value);
                write_hex8(value, digits);
                EXPECT_STREQ(digits, wanted);
            }
        }
    }
}

} // namespace
} // namespace qel
