#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that what the pages of this repository name is there: files, headings, scripts and their options, presets,
settings, tests, names of the interface; that every program on a page is one that a test builds and runs; and that the
page of the architecture names every room.

Usage: check_pages.py    (prints what is wrong; exit code 1 if there is something)
"""
import json
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(PROJECT / "scripts"))
sys.dont_write_bytecode = True
import interface  # noqa: E402

FOLDERS = ("bench", "bindings", "cmake", "docs", "examples", "fuzz", "include", "packaging", "scripts", "src", "tests", "tools", "web", ".ci")
SOURCES = (".c", ".cpp", ".h", ".py", ".sh", ".txt", ".cmake", ".in", ".json", ".js", ".mjs", "")
VERSION = interface.version().rpartition(".")[0]  # the requested version
# Which test builds and runs the fenced programs of a page.
TESTED = {("README.md", "c"): "interface.ReadmeProgram", ("docs/index.md", "cmake"): "docs.InstallsAsThePageSays",
          ("bindings/python/README.md", "python"): "scripts/test-python.sh",
          ("docs/python-notebook.md", "python"): "scripts/test-python.sh",
          ("docs/farm.md", "python"): "scripts/test-farm.sh",
          ("bindings/javascript/README.md", "js"): "scripts/test-web.sh", ("docs/web.md", "js"): "scripts/test-web.sh"}

def text_of(path):
    return path.read_text(encoding="utf-8", errors="replace")


def sources():
    """The text of everything that is neither a page nor a test of pages."""
    files = [PROJECT / "CMakeLists.txt", PROJECT / "CMakePresets.json"]
    for folder in FOLDERS:
        files += [path for path in (PROJECT / folder).rglob("*") if path.is_file() and path.suffix in SOURCES
                  and path.parent.name != "docs" and PROJECT / "packaging" / "interface" not in path.parents]
    return "\n".join(text_of(path) for path in files)


def slug(heading):
    return re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-")


def check_link(page, target):
    path, _, anchor = target.partition("#")
    full = (page.parent / path).resolve() if path else page
    if not full.exists():
        yield f"links to {target}, which is not there"
    elif anchor and full.suffix == ".md":
        if anchor not in {slug(heading) for heading in re.findall(r"^#+ (.+)$", text_of(full), re.M)}:
            yield f"links to {target}, which has no such heading"
    elif anchor and anchor not in {group.name for group in interface.Header(full.name).groups}:
        yield f"links to {target}, which has no such group"


def check_code(page, code, everything):
    """A piece of code in a sentence, or a line of a shell block."""
    for path in re.findall(r"(?<![\w/.])((?:%s)/[\w./-]*\w)" % "|".join(map(re.escape, FOLDERS)), code):
        roots = (PROJECT, page.parent)
        if path in everything:
            continue  # a script makes it when it is needed
        if not any((root / path).exists() or list((root / path).parent.glob((root / path).name + ".*")) for root in roots):
            yield f"names {path}, which is not there"
    for script, rest in re.findall(r"(scripts/[\w-]+\.(?:sh|py))((?: [^&|;`]+)?)", code):
        if not (PROJECT / script).exists():
            continue  # said above
        text = text_of(PROJECT / script)
        text += "".join(text_of(PROJECT / used) for used in re.findall(r"(?:tests|bench|scripts)/[\w/]+\.py", text))
        for option in re.findall(r" (--[\w-]+)", rest):
            if option not in text:
                yield f"gives {script} the option {option}, which it does not know"
    for name in re.findall(r"-D(\w+)", code):
        if name not in everything:
            yield f"sets {name}, which nothing reads"
    for name in re.findall(r"\b(?:qel|ogawa|ruv|QEL|OGAWA)_\w+", code):
        if name not in everything:
            yield f"names {name}, which is nowhere"
    for suite, name in re.findall(r"(?<![\w./])([A-Z]\w+)\.([A-Z]\w+)(?![\w.*…])", code):
        if f"({suite}, {name})" not in everything:
            yield f"names the test {suite}.{name}, which is not there"
    presets = {preset["name"] for preset in json.loads(text_of(PROJECT / "CMakePresets.json"))["configurePresets"]}
    for name in re.findall(r"(?:--preset|scripts/test\.sh) ([a-z][\w-]*)", code):
        if name not in presets:
            yield f"names the preset {name}, which is not there"
    for asked in re.findall(r"find_package\(qel_unit ([\d.]+)", code):
        if asked != VERSION:
            yield f"asks for version {asked} of {VERSION}"


def check_page(page, text, everything):
    name = page.relative_to(PROJECT).as_posix()
    prose = re.sub(r"^```[\s\S]*?^```$", "", text, flags=re.M)
    for target in re.findall(r"\]\(([^)\s]+)\)", prose):
        if not re.match(r"\w+:", target):
            yield from check_link(page, target)
    shell = re.findall(r"(?<=\n\n)(?:    .+\n)+", prose)
    for language, code in re.findall(r"^```(\w*)\n([\s\S]*?)^```$", text, re.M):
        if language == "sh":
            shell.append(code)
        elif language != "text" and (name, language) not in TESTED:
            yield f"has a block of {language or 'an unnamed language'} that no test runs: include it from docs/snippets"
        if language == "cmake":
            shell.append(code)
    for code in [*re.findall(r"`([^`]+)`", prose), *shell]:
        yield from check_code(page, code, everything)
    for included in re.findall(r"^@(?:verb)?include (\S+)$", text, re.M):
        if not (PROJECT / "docs" / "snippets" / included).exists():
            yield f"includes {included}, which is not in docs/snippets"


def check_snippets():
    snippets = PROJECT / "docs" / "snippets"
    built = re.search(r"set\(page_programs ([^)]*)\)", text_of(PROJECT / "tests" / "examples" / "CMakeLists.txt"))[1].split()
    shown = "\n".join(text_of(page) for page in (PROJECT / "docs").glob("*.md"))
    for program in sorted(snippets.glob("*.c")):
        if program.stem not in built:
            yield f"docs/snippets/{program.name}: no test builds it"
        if f"@include {program.name}\n" not in shown or f"@verbinclude {program.stem}.txt\n" not in shown:
            yield f"docs/snippets/{program.name}: no page shows it with what it prints"
        if len(text_of(program).splitlines()) >= 60:
            yield f"docs/snippets/{program.name}: too long to be read on a page"


def check_map(page, folders, files):
    """Every room, and every source of the libraries, is named on the page of the architecture."""
    named = {part for code in re.findall(r"`([^`\n]+)`", page) for part in re.split(r"[/, ]+", code)}
    named |= {name.rpartition(".")[0] for name in named}
    for name in sorted({*folders, *(pathlib.PurePath(path).stem for path in files)} - named):
        yield f"does not name {name}"


def rooms():
    """The folders of the project, those within them that are rooms of their own, and the sources of the libraries."""
    folders = [folder.name for name in ("bench", "bindings", "examples", "src", "tests", "tools/qel")
               for folder in (PROJECT / name).iterdir() if folder.is_dir() and folder.name != "__pycache__"]
    top = [folder.name for folder in PROJECT.iterdir()
           if folder.is_dir() and not folder.name.startswith(".") and folder.name not in ("build", "tools")]
    return folders + top, [path.name for path in (PROJECT / "src").rglob("*") if path.suffix in (".h", ".cpp")]


def main():
    everything = sources()
    pages = [*PROJECT.glob("*.md"), *(PROJECT / "docs").glob("*.md"), PROJECT / "bindings" / "python" / "README.md"]
    problems = [f"{page.relative_to(PROJECT).as_posix()} {problem}" for page in pages
                for problem in check_page(page, text_of(page), everything)]
    problems += check_snippets()
    problems += [f"docs/architecture.md {problem}" for problem in check_map(text_of(PROJECT / "docs/architecture.md"), *rooms())]
    print(*problems, sep="\n", end="\n" if problems else "")
    print(f"{len(pages)} pages, {len(problems)} problems")
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
