#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Doxygen's input filter for the pages: they are written to be read in the repository, and are linked for the site.

- A page's first heading gets the page's name as its label, the others page-heading; links to pages become references.
- A name of the interface in backticks becomes a link to its documentation.
- A link to a file that is no page of the site becomes plain text.

Usage: page_filter.py PAGE.md    (writes the filtered page)
"""
import os
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(PROJECT / "scripts"))
sys.dont_write_bytecode = True
import interface  # noqa: E402

HEADERS = [interface.FOLDER / name for name in interface.MARKS]
PAGES = {path: path.stem.lower() for path in
         [*(PROJECT / "docs").glob("*.md"), PROJECT / "CONTRIBUTING.md", PROJECT / "CHANGELOG.md"]}
PAGES[PROJECT / "bindings" / "python" / "README.md"] = "python"

LONG = 4  # a page of so many sections gets a table of contents


def interface_names():
    """Everything in the headers that a page may name."""
    return set().union(*(header.names() for header in interface.headers()))


def slug(heading):
    """As GitHub makes the anchor of a heading."""
    return re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-")


def reference(page, target):
    """What a relative link of the page leads to on the site: a label, or nothing."""
    path, _, anchor = target.partition("#")
    full = pathlib.Path(os.path.normpath(page.parent / path)) if path else page
    if full in HEADERS:
        return anchor or full.name  # the anchor names a group of functions
    if full not in PAGES:
        return None
    return f"{PAGES[full]}-{anchor}" if anchor else PAGES[full]


def link(page, match):
    text, target = match[1].replace("%qel_", "qel_"), match[2]
    if re.match(r"\w+:", target):
        return match[0]
    label = reference(page, target)
    return f'@ref {label} "{" ".join(text.strip("`").split())}"' if label else text


def sentences(page, names, text):
    """The text between headings and code blocks."""
    commands = re.compile(r"^(    .*|@(?:verb)?include .*)$", re.M)  # left as they are, as is indented code
    parts = commands.split(text)
    for i in range(0, len(parts), 2):
        part = parts[i].replace("@", "@@")
        part = re.sub(r"(?<![\w`%/])(qel_(?:unit|archive))(?![\w`./:])", r"%\1", part)  # the library, not the record
        part = re.sub(r"!\[([^\]]+)\]\(images/(?:\S*/)?([^\s/]+)\)",
                      lambda match: f'<img src="{match[2]}" alt="{match[1].replace("%qel_", "qel_")}"/>', part)
        part = re.sub(r"\[([^\]]+)\]\(([^)\s]+)\)", lambda match: link(page, match), part)
        parts[i] = re.sub(r"`(\w+)`", lambda m: f"<code>@ref {m[1]}</code>" if m[1] in names else m[0], part)
    return "".join(parts)


def filtered(page, text):
    names, label = interface_names(), PAGES[page]
    contents = label != "index" and len(re.findall(r"^## ", text, re.M)) >= LONG
    parts = re.split(r"^(#+ .+\n|```[\s\S]*?^```\n)", text, flags=re.M)
    title = False
    for i, part in enumerate(parts):
        if part.startswith("#"):
            heading = part.strip().replace("`", "")
            heading = heading if title else re.sub("qel_(?=unit|archive)", "%qel_", heading) # sections link nothing
            own = label if label != "index" else "mainpage"
            anchor = f"{label}-{slug(part.strip().lstrip('# '))}" if title else own
            parts[i] = f"{heading} {{#{anchor}}}\n"
            parts[i] += "[TOC]\n" if contents and not title else ""
            title = True
        elif not part.startswith("```"):
            parts[i] = sentences(page, names, part)
    return "".join(parts)


if __name__ == "__main__":
    source = pathlib.Path(sys.argv[1]).resolve()
    sys.stdout.reconfigure(encoding="utf-8")
    sys.stdout.write(filtered(source, source.read_text(encoding="utf-8")))
