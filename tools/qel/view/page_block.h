// SPDX-License-Identifier: MIT
// Arrays of a page as packed text. docs/tool.md describes the coding, page/read.js decodes it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// An array of a page, packed.
struct page_block {
    std::string name;
    unsigned width = 1;  ///< bytes of a number
    unsigned stride = 1; ///< numbers of an element; each is stored as its difference from that of the element before
    std::uint64_t count = 0; ///< of numbers
    bool deflated = false;
    std::string bytes;
};

/// Packs whole numbers of 1, 2 or 4 bytes: differences between elements, the sign in the lowest bit, all lowest bytes
/// first, then all second ones; compressed if the tool is built with zlib.
template <class Number>
page_block packed(std::string name, unsigned stride, const std::vector<Number> &numbers);

/// Packs bytes without a coding, compressed in the same way.
page_block packed_bytes(std::string name, unsigned width, const void *bytes, std::size_t size);

/// The number of base64 characters for so many bytes.
constexpr std::uint64_t base64_size(std::uint64_t bytes) {
    return (bytes + 2) / 3 * 4;
}

std::string base64(const char *bytes, std::size_t size);

} // namespace tool
