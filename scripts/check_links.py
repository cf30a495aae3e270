#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the target of every local link, picture, script and style sheet of a folder of HTML pages exists.

Usage: scripts/check_links.py FOLDER    (prints each broken link; exit code 1 if there is one)
"""
import html.parser
import pathlib
import re
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    """The links of a page and its anchors."""

    def __init__(self, path):
        super().__init__()
        self.links, self.anchors, self.without_text = set(), set(), 0
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors.update(values[name] for name in ("id", "name") if values.get(name))
        self.links.update(values[name] for name in ("href", "src", "data") if values.get(name))
        self.without_text += tag == "img" and "alt" not in values


def tree_links(folder):
    """The links of the navigation tree, whose data are JavaScript arrays."""
    text = "".join(path.read_text(encoding="utf-8") for path in [*folder.glob("navtreedata.js"), *folder.glob("menudata.js")])
    return set(re.findall(r"[\"']([^\"'\s]+\.html(?:#[^\"'\s]*)?)[\"']", text))


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    pages = {path: Page(path) for path in sorted(folder.rglob("*.html"))}
    if not pages:
        sys.exit(f"{folder} holds no pages")
    links = [(path, link) for path, page in pages.items() for link in sorted(page.links)]
    links += [(folder / "index.html", link) for link in sorted(tree_links(folder))]
    broken = [f"{path.name}: a picture without words" for path, page in pages.items() if page.without_text]
    local = 0
    for path, link in links:
        parts = urllib.parse.urlsplit(link)
        if parts.scheme or parts.netloc:
            continue
        local += 1
        target = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
        anchor = urllib.parse.unquote(parts.fragment)
        if not target.exists():
            broken.append(f"{path.name}: {link}: there is no such file")
        elif anchor and target in pages and anchor not in pages[target].anchors:
            broken.append(f"{path.name}: {link}: there is no such place")
    print(*broken, sep="\n", end="\n" if broken else "")
    print(f"links: {local} local ones on {len(pages)} pages, {len(broken)} broken")
    sys.exit(1 if broken else 0)


if __name__ == "__main__":
    main()
