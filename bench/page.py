# SPDX-License-Identifier: MIT
"""Shared by the tables of measured figures: numbers as text, the machine of a measurement, the markers in a page."""
import os
import platform
import re
import subprocess
import tempfile


def number(value):
    """Three significant digits, or all digits of a larger number."""
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def duration(milliseconds):
    if milliseconds >= 1000:
        return f"{milliseconds / 1000:.2f} s"
    return f"{milliseconds:.3g} ms" if milliseconds >= 0.1 else f"{milliseconds * 1000:.3g} µs"


def markdown(headings, rows):
    lines = [headings, ["---"] * len(headings)] + rows
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def first(pattern, path):
    try:
        with open(path, encoding="utf-8") as file:
            found = re.search(pattern, file.read(), re.MULTILINE)
        return found.group(1).strip() if found else "unknown"
    except OSError:
        return "unknown"


def output(*command, line=0):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[line]
    except (OSError, subprocess.CalledProcessError, IndexError):
        return "unknown"


def caches():
    """The values of the first processor in the kernel's list."""
    folder = "/sys/devices/system/cpu/cpu0/cache"
    found = []
    for index in sorted(os.listdir(folder)) if os.path.isdir(folder) else []:
        level, kind, size = (first("(.*)", f"{folder}/{index}/{name}") for name in ("level", "type", "size"))
        if level != "unknown":
            found.append(f"L{level} {kind.lower()} {size.replace('K', ' KiB')}")
    return ", ".join(found) or "caches unknown"


def machine(build="build/bench"):
    """Lines with the machine and the day. QEL_BENCH_MACHINE is the state that scripts/lib.sh measured."""
    compiler = first(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", f"{build}/CMakeCache.txt")
    huge_pages = first(r"\[(.*)\]", "/sys/kernel/mm/transparent_hugepage/enabled")
    processor = first(r"^model name.*: (.*)$", "/proc/cpuinfo")
    megahertz = first(r"^cpu MHz.*: ([0-9]+)", "/proc/cpuinfo")
    memory = first(r"^MemTotal: *([0-9]+) kB", "/proc/meminfo")
    folder = os.environ.get("TMPDIR", tempfile.gettempdir())
    state = os.environ.get("QEL_BENCH_MACHINE", "not looked at")
    if "busy" in state:
        state += ": other programs took the processors, figures are worth no more than their spread"
    return "\n".join(
        [
            f"- {processor}, {os.cpu_count()} × {megahertz} MHz; {caches()}; {memory} KiB of memory",
            f"- {platform.system()} {platform.release()}; huge pages: {huge_pages}; "
            f"files on {output('df', '--output=fstype', folder, line=1)}, in the system's cache",
            f"- {output(compiler, '--version')}; machine: {state}",
            f"- {output('date', '+%Y-%m-%d')}, commit {output('git', 'rev-parse', '--short', 'HEAD')}",
        ]
    )


def put(page, name, text):
    """Between the page's markers of that name."""
    begin, end = f"<!-- {name}: begin -->", f"<!-- {name}: end -->"
    with open(page, encoding="utf-8") as file:
        before, rest = file.read().split(begin)
    after = rest.split(end)[1]
    with open(page, "w", encoding="utf-8") as file:
        file.write(f"{before}{begin}\n\n{text}\n\n{end}{after}")
