#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the table of the golden jobs' times natively and in WebAssembly. Usage: web.py NATIVE WASM WASM_SIMD [PAGE.md]

The first three are what `golden_digests --times` wrote: a job and its milliseconds on each line. Prints the table, and puts
it between the markers of the page where one is given."""
import sys

from page import duration, machine, markdown, output, put

HEADINGS = ["job", "native", "WebAssembly", "with SIMD128"]


def times(path):
    with open(path, encoding="utf-8") as file:
        return {job: float(milliseconds) for job, milliseconds in map(str.split, file)}


def versions():
    return f"- Node {output('node', '--version')}; emscripten {output('emcc', '-dumpversion')}"


def table(native, *others):
    for other in others:
        if other.keys() != native.keys():
            sys.exit(f"jobs that not all have: {sorted(other.keys() ^ native.keys())}")
    return markdown(HEADINGS, [
        [f"`{job}`", duration(native[job])] + [f"{duration(other[job])}, {other[job] / native[job]:.1f} ×" for other in others]
        for job in sorted(native)])


def main():
    paths, page = sys.argv[1:4], sys.argv[4:]
    text = "\n\n".join([f"{machine('build/release')}\n{versions()}", table(*map(times, paths))])
    print(text)
    if page:
        put(page[0], "web", text)


if __name__ == "__main__":
    main()
