#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the site's full-text search: writes every section's words into search_index.js, and adds docs/search.js and
that index to every page. It works without a server: nothing is fetched.

Usage: scripts/search_index.py FOLDER    (the site that Doxygen made)
"""
import html.parser
import json
import pathlib
import re
import shutil
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
LISTS = ("annotated", "classes", "dir_", "files", "functions", "globals", "modules", "topics")  # pages that only repeat names
HEADINGS = {"h1", "h2", "h3", "h4"}
LEFT_OUT = {"script", "style"}
REPEATED = {"toc", "ingroups", "directory", "ttc", "permalink", "mlabels", "summary"}  # classes whose text is also elsewhere
SAYS_NOTHING = re.compile(r"Detailed Description|[A-Z]\w+( \w+)? Documentation")  # headings that every page has
VOID = {"area", "br", "col", "embed", "hr", "img", "input", "link", "meta", "source", "wbr"}


class Page(html.parser.HTMLParser):
    """A page's title, and its sections: an anchor, a heading and the text below it."""

    def __init__(self, path):
        super().__init__()
        self.title, self.sections = "", [["", "", ""]]
        self.open, self.anchor = [], ""  # open elements: tag and purpose of the text
        # The list at the top repeats the texts of functions, but has the only texts of fields.
        self.repeated = REPEATED if path.name.startswith("struct") else REPEATED | {"memberdecls"}
        self.feed(path.read_text(encoding="utf-8"))

    def inside(self, *wanted):
        return any(place in wanted for _, place in self.open)

    def place(self, tag, values):
        """The purpose of an element's text; None if it is that of the enclosing element."""
        classes = set((values.get("class") or "").split())
        if tag in LEFT_OUT or classes & self.repeated or tag == "p" and "reference" in classes:
            return "nothing"
        if "title" in classes and tag in ("div", "h1"):
            return "title"
        if classes & {"contents", "PageDoc"}:
            return "text"
        if tag in HEADINGS and self.inside("text"):
            return "heading"
        return None

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchor = values.get("id") or self.anchor
        if tag in VOID:
            self.take(" ")
            return
        place = self.place(tag, values)
        if place == "heading" and not self.inside("nothing"):
            self.sections.append([self.anchor, "", ""])
        self.open.append((tag, place))

    def handle_endtag(self, tag):
        if tag in VOID or tag not in [name for name, _ in self.open]:
            return
        while self.open.pop()[0] != tag:
            pass
        if tag not in ("a", "code", "em", "span", "strong", "b", "tt"):
            self.take(" ")

    def handle_data(self, data):
        self.take(data)

    def take(self, data):
        if self.inside("nothing"):
            return
        if self.inside("title"):
            self.title += data
        elif self.inside("heading"):
            self.sections[-1][1] += data
        elif self.inside("text"):
            self.sections[-1][2] += data


def one_line(text):
    return " ".join(text.replace("◆", " ").split())


def index_of(folder):
    """[page, title, [[anchor, heading, text], ...]] of every page with text of its own."""
    pages = []
    for path in sorted(folder.glob("*.html")):
        if path.name.startswith(LISTS) or path.name.endswith(("_source.html", "-members.html")):
            continue
        page = Page(path)
        sections = [[anchor, SAYS_NOTHING.sub("", one_line(heading)), one_line(text)]
                    for anchor, heading, text in page.sections]
        pages.append([path.name, one_line(page.title), [section for section in sections if section[1] or section[2]]])
    return pages


def main():
    folder = pathlib.Path(sys.argv[1])
    pages = index_of(folder)
    text = json.dumps(pages, ensure_ascii=False, separators=(",", ":")).replace("</", "<\\/")
    (folder / "search_index.js").write_text(f"const searchIndex={text};\n", encoding="utf-8")
    shutil.copy(DOCS / "search.js", folder)
    scripts = '<script src="search_index.js" defer></script>\n<script src="search.js" defer></script>\n</head>'
    for path in folder.glob("*.html"):
        page = path.read_text(encoding="utf-8")
        path.write_text(re.sub(r"</head>", lambda _: scripts, page, count=1), encoding="utf-8")
    sections = sum(len(page[2]) for page in pages)
    print(f"search: {sections} sections of {len(pages)} pages, {(folder / 'search_index.js').stat().st_size // 1024} KiB")


if __name__ == "__main__":
    main()
