// SPDX-License-Identifier: MIT
#include "dumps.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <vector>

namespace qel::test {
namespace {

/// One byte of a dump; the bytes of a time stamp may have any value.
struct dumped_byte {
    bool any;
    std::uint8_t value;
};

/// Reads the dump after a heading of a page. A line is an offset, bytes ("..": any, "00 x 16": sixteen zeros) and,
/// two spaces on, what they are.
std::vector<dumped_byte> dump_of(const std::string &page_name, const std::string &heading) {
    const bytes content = read_file(QEL_UNIT_SOURCE "/docs/" + page_name);
    const std::string page(content.begin(), content.end());
    const std::size_t start = page.find("```", page.find("\n## " + heading));
    std::istringstream block(page.substr(start, page.find("```", start + 3) - start));
    const std::regex line_form("([0-9a-f]{4})  (00 x ([0-9]+)|[0-9a-f.]{2}(?: [0-9a-f.]{2})*)  .*");
    std::vector<dumped_byte> dump;
    std::smatch parts;
    for (std::string line; std::getline(block, line);) {
        if (!std::regex_match(line, parts, line_form)) continue;
        EXPECT_EQ(std::stoul(parts[1], nullptr, 16), dump.size()) << line;
        if (parts[3].matched) {
            dump.insert(dump.end(), std::stoul(parts[3]), {false, 0});
            continue;
        }
        std::istringstream words(parts[2]);
        for (std::string word; words >> word;)
            dump.push_back({word == "..",
                            word == ".." ? std::uint8_t{0} : static_cast<std::uint8_t>(std::stoul(word, nullptr, 16))});
    }
    return dump;
}

} // namespace

void expect_dump(const std::string &page, const std::string &heading, const bytes &file) {
    if (std::getenv("QEL_PRINT_DUMPS") != nullptr) {
        std::printf("== %s\n", heading.c_str());
        for (std::size_t i = 0; i < file.size(); ++i)
            std::printf("%02x%s", file[i], i % 16 == 15 ? "\n" : " ");
        std::printf("\n");
    }
    const std::vector<dumped_byte> dump = dump_of(page, heading);
    ASSERT_EQ(dump.size(), file.size()) << heading;
    for (std::size_t i = 0; i < file.size(); ++i)
        if (!dump[i].any) {
            ASSERT_EQ(int{dump[i].value}, int{file[i]}) << heading << ", byte " << i;
        }
}

} // namespace qel::test
