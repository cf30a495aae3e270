// SPDX-License-Identifier: MIT
// The parts of the page that `qel view` writes. embed.cmake makes the source from the folder page.
#pragma once

#include <string_view>

namespace tool {

extern const std::string_view page_html, page_css, page_js;

} // namespace tool
