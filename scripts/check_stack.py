#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Adds up the stack frames along every path of calls below each function of the interface.

Usage: scripts/check_stack.py BUILD [EXPORTS]...
    BUILD was built with gcc's -fcallgraph-info=su (see scripts/stack.sh). EXPORTS are linker lists of the functions to
    examine; by default those of the project's libraries.

Prints the ten functions that need most, with their deepest path, and fails if one needs more than the ceiling. Code
outside of the project is counted as a fixed allowance. Also fails if no sum is possible: a frame without a bound, a
recursion that RECURSIONS does not bound, an outside function that is not in OUTSIDE.
"""

import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
EXPORTS = [  # of each library
    ROOT / "src" / "exports.map",
    ROOT / "src" / "qel_archive" / "exports.map",
]
CEILING = 32 << 10
ALLOWANCE = 8 << 10  # for the deepest call of the C library, including the loader's binding of its name
# Outside functions; none of them calls back.
OUTSIDE = set("""
    __errno_location aligned_alloc calloc close fclose ferror fopen64 fread free fseeko64 fstat64 ftello64 fwrite
    lstat64 madvise malloc memchr memcmp memcpy memmove memset mmap64 munmap open64 pread64 realloc remove rename rewind
    ilogb rmdir scalbn setvbuf sincos snprintf strcmp strcspn strlen strncmp strspn strstr time unlink
""".split())
# The greatest depth of each recursive function, by a part of its name.
RECURSIONS = {
    "position_table4grow": 2,  # the larger table does not grow while it takes the entries
    "node_walk": 21,  # max_depth and the root of the walk
    "__introsort_loop": 64,  # twice log2 of fewer than 2^32 elements; then it uses a heap sort
}
NODE = re.compile(r'node: \{ title: "(.*?)" label: "(.*?)"( shape : ellipse)? \}')
EDGE = re.compile(r'edge: \{ sourcename: "(.*?)" targetname: "(.*?)"')
FRAME = re.compile(r"(\d+) bytes \((.*?)\)")


class Graph:
    """All functions of a build: their frames and the functions that they call."""

    def __init__(self, build):
        self.frames = {}
        self.texts = {}
        self.instantiated = {}
        self.calls = collections.defaultdict(set)
        self.files = collections.defaultdict(set)  # the functions of each translation unit
        self.problems = []
        self.depths = {}
        self.times = collections.Counter()  # how often a recursive function occurs in a path
        files = sorted(build.rglob("*.ci"))
        if not files:
            sys.exit(f"{build} holds no call graph")
        for file in files:
            self.read(file)
        self.own_calls = {name: set(calls) for name, calls in self.calls.items()}
        self.follow_pointers()

    def read(self, file):
        for line in file.read_text().splitlines():
            node, edge = NODE.match(line), EDGE.match(line)
            if node and (frame := FRAME.search(node[2])):
                name = node[1]
                self.files[file].add(name)
                self.instantiated[name.rpartition(":")[2]] = name
                self.texts[name] = node[2].split("\\n")[0]
                self.frames[name] = max(self.frames.get(name, 0), int(frame[1]))
                if frame[2] not in ("static", "dynamic,bounded"):
                    self.problems.append(f"{self.texts[name]}: its frame has no bound")
            elif edge:
                self.calls[edge[1]].add(edge[2].lstrip("*"))

    def reaches(self, start):
        """All functions below one; itself only if it is recursive."""
        below, rest = set(), [start]
        while rest:
            for name in self.own_calls.get(self.resolve(rest.pop()), ()):
                if name not in below:
                    below.add(name)
                    rest.append(name)
        return below

    def follow_pointers(self):
        """A call through a pointer may reach every function of the same file that does not reach the caller: kernels
        and comparisons are defined in the file that chooses them, and none of them calls its caller."""
        for names in self.files.values():
            callers = [name for name in names if "__indirect_call" in self.own_calls.get(name, ())]
            leading_back = {name for name in names for caller in callers if caller in self.reaches(name)}
            for caller in callers:
                self.calls[caller].discard("__indirect_call")
                self.calls[caller] |= {name for name in names if name not in leading_back and name not in callers
                                       and "::{anonymous}::" in self.texts[name]}

    def resolve(self, name):
        """A complete constructor or destructor is often another name of the base one; the name of a function that a
        file instantiates for others is preceded by the file's name there."""
        if name in self.frames:
            return name
        if name in self.instantiated:
            return self.instantiated[name]
        return re.sub(r"([CD])1E", r"\g<1>2E", name)

    def depth(self, name, above=()):
        """The size of the deepest path from a function on, and that path."""
        name = self.resolve(name)
        if name in self.depths:
            return self.depths[name]
        if name not in self.frames:
            if name not in OUTSIDE:
                self.problems.append(f"{name}: an unknown function; called by {self.texts[above[-1]]}")
            return 0, []
        deepest = (0, [])
        times, round_trips = 1, 0
        for callee in sorted(self.calls[name]):
            callee = self.resolve(callee)
            if callee == name or callee in above:
                times = next((bound for part, bound in RECURSIONS.items() if part in name), 0)
                if times > 0 and callee in above:  # through other functions, which are repeated as often
                    round_trips = (times - 1) * sum(self.frames[other] for other in above[above.index(callee):])
                if times == 0:
                    self.problems.append(f"{self.texts[name]}: calls itself")
                continue
            deepest = max(deepest, self.depth(callee, (*above, name)), key=lambda found: found[0])
        self.times[name] = times
        self.depths[name] = times * self.frames[name] + round_trips + deepest[0], [name, *deepest[1]]
        return self.depths[name]

    def print_path(self, function):
        total, path = self.depth(function)
        print(f"{total:7} {function}")
        for name in path[1:]:
            times = f"{self.times[name]} x " if self.times[name] > 1 else ""
            print(f"{times + str(self.frames[name]):>15} {self.texts[name][:96]}")


def exported(file):
    return re.findall(r"^ *(\w+);$", file.read_text(), re.M)


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    graph = Graph(pathlib.Path(sys.argv[1]))
    functions = [name for file in map(pathlib.Path, sys.argv[2:] or EXPORTS) for name in exported(file)]
    graph.problems += [f"{name}: exported, but not in the build" for name in functions if name not in graph.frames]
    functions = sorted((name for name in functions if name in graph.frames), key=lambda name: -graph.depth(name)[0])
    print(f"bytes of stack, without {ALLOWANCE} for the C library")
    for name in functions[:10]:
        graph.print_path(name)
    graph.problems += [f"{name}: needs {graph.depth(name)[0] + ALLOWANCE} bytes of stack, more than {CEILING}"
                       for name in functions if graph.depth(name)[0] + ALLOWANCE > CEILING]
    for problem in dict.fromkeys(graph.problems):
        print(problem, file=sys.stderr)
    if graph.problems:
        sys.exit(1)
    print(f"{len(functions)} functions stay within {CEILING} bytes of stack")


if __name__ == "__main__":
    main()
