// SPDX-License-Identifier: MIT
// Writes the page as one text: HTML, style and script, the header as JSON, each array as base64 in pieces.
#pragma once

#include "view/page_pack.h"

#include <cstdio>

namespace tool {

/// The number of characters of a page without its arrays.
std::uint64_t bare_page_size();

void write_page(std::FILE *out, const std::string &title, const packed_page &page);

} // namespace tool
