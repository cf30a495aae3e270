// SPDX-License-Identifier: MIT
// The page as one text: its frame, style and script, the header as JSON, each array as base64 in pieces.
#pragma once

#include "view/page_pack.h"

#include <cstdio>

namespace tool {

/// How many characters a page has without its arrays, at least.
std::uint64_t bare_page_size();

void write_page(std::FILE *out, const std::string &title, const packed_page &page);

} // namespace tool
