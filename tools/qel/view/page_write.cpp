// SPDX-License-Identifier: MIT
#include "view/page_write.h"

#include "terminal/text.h"
#include "view/page.h"

#include <algorithm>

namespace tool {

namespace {

constexpr std::size_t piece_bytes = 6u << 20; // 8 MiB of text: browsers limit the length of a text

std::string escaped(const std::string &text) {
    std::string html;
    for (const char c : printable(text))
        html += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    return html;
}

void put(std::FILE *out, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), out);
}

/// Writes the arrays in the order of the header, each in one or more HTML blocks.
void write_pieces(std::FILE *out, const packed_page &page) {
    for (const page_block &block : page.blocks)
        for (std::size_t at = 0; at < block.bytes.size(); at += piece_bytes) {
            put(out, "<script type=\"text/plain\" class=\"piece\" data-name=\"" + block.name + "\">");
            put(out, base64(block.bytes.data() + at, std::min(piece_bytes, block.bytes.size() - at)));
            put(out, "</script>\n");
        }
}

} // namespace

std::uint64_t bare_page_size() {
    return page_html.size() + page_css.size() + page_js.size() + 4096;
}

/// Writes the page's HTML, replacing each @NAME@.
void write_page(std::FILE *out, const std::string &title, const packed_page &page) {
    std::string_view rest = page_html;
    for (;;) {
        const std::size_t start = rest.find('@');
        const std::size_t end = start == std::string_view::npos ? start : rest.find('@', start + 1);
        if (end == std::string_view::npos) break;
        const std::string_view name = rest.substr(start + 1, end - start - 1);
        put(out, rest.substr(0, start));
        if (name == "PIECES")
            write_pieces(out, page);
        else
            put(out, name == "STYLE"    ? page_css
                     : name == "SCRIPT" ? page_js
                     : name == "HEADER" ? std::string_view(page.header)
                                        : std::string_view(escaped(title)));
        rest = rest.substr(end + 1);
    }
    put(out, rest);
}

} // namespace tool
