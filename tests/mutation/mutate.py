#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Breaks the library on purpose, one small change at a time, and reports which changes no test notices.

The changes are the tables beside this file. A block of a table is one mutation:

    - the line, exactly as it stands in the source but for its indentation
    + what stands there instead; nothing after the sign deletes it
    = why no test can notice (only for a mutation that changes nothing that can be observed)

Several of - and + in a block belong together, the first to the first. Where a line stands several times in a file, "-2" means the
second one. "file PATH" says which source the blocks after it are about, and # begins a comment.

Every mutation is built in a copy of the project. First the tests that mirror the file run, then those of its
folder, then all others: what passes all of them has survived. A mutation that is said to change nothing only meets the
tests of its folder. The tests are not compiled anew, but for a header whose mutation they have not noticed: some of them
hold instances of its templates that the library does not.
"""

import argparse
import dataclasses
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
TABLES = pathlib.Path(__file__).resolve().parent
FOLDERS = ("common", "qel_unit", "qel_alembic", "ogawa_reader", "qel_archive")
MOST_MEMORY = 8 << 30  # a mutant must not take the machine with it
LEAST_DISK = 2 << 30


@dataclasses.dataclass
class Edit:
    line: str
    occurrence: int  # counted from 1; 0: the line stands only once
    replacement: str = ""


@dataclasses.dataclass
class Mutation:
    source: str
    place: str  # where the table has it
    edits: list
    equivalent: str = ""
    replaced: int = 0  # edits that have got their replacement

    def __str__(self):
        edits = "; ".join(f"{edit.line}  ->  {edit.replacement or '(nothing)'}" for edit in self.edits)
        return f"{self.source}: {edits}"


def read_table(path):
    """The mutations of a table, in order."""
    mutations = []
    source = None
    current = None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        place = f"{path.name}:{number}"
        match = re.match(r"-(\d*) (.*)$", line)
        if not line.strip():
            current = None
        elif line.startswith("#"):
            continue
        elif line.startswith("file "):
            source, current = line[5:].strip(), None
        elif match and source:
            if current is None:
                current = Mutation(source, place, [])
                mutations.append(current)
            current.edits.append(Edit(match[2].strip(), int(match[1] or 0)))
        elif line.startswith("+") and current and current.replaced < len(current.edits):
            current.edits[current.replaced].replacement = line[1:].strip()
            current.replaced += 1
        elif line.startswith("= ") and current:
            current.equivalent = line[2:].strip()
        else:
            sys.exit(f"{place}: not understood: {line}")
    return mutations


def mutated(text, mutation):
    """The source with the mutation in it; a message instead where a line is not there any more."""
    lines = text.split("\n")
    changed = list(lines)
    for edit in mutation.edits:
        places = [i for i, line in enumerate(lines) if line.strip() == edit.line]
        if not places or len(places) < edit.occurrence:
            return None, f"stale, the line is not there: {edit.line}"
        if len(places) > 1 and edit.occurrence == 0:
            return None, f"the line stands there {len(places)} times: {edit.line}"
        changed[places[max(edit.occurrence, 1) - 1]] = edit.replacement
    return "\n".join(changed), None


class Tree:
    """A copy of the project, built beside it, that is brought up to date and mutated."""

    def __init__(self, path):
        self.path = path
        self.build = path / "build"
        self.temporary = path / "tmp"
        self.environment = dict(os.environ, CCACHE_BASEDIR=str(path), CCACHE_NOHASHDIR="1")
        self.limits = {}

    def update(self):
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True,
                                capture_output=True, text=True).stdout.splitlines()
        wanted = {name for name in listed if (ROOT / name).is_file()}
        for name in wanted:
            target, content = self.path / name, (ROOT / name).read_bytes()
            if not target.is_file() or target.read_bytes() != content:
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
                shutil.copymode(ROOT / name, target)
        for folder in ("src", "tests", "include"):
            for file in (self.path / folder).rglob("*"):
                if file.is_file() and str(file.relative_to(self.path)) not in wanted:
                    file.unlink()
        options = ["-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_FLAGS=-O1", "-DCMAKE_C_FLAGS=-O1",
                   "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
        if shutil.which("mold"):
            options += ["-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=mold", "-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=mold"]
        if shutil.which("ccache"):  # a mutant that was built before is built at once
            options += ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache",
                        "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON"]
        for built in self.objects():  # of a run that was interrupted
            built.unlink()
        subprocess.run(["cmake", "-S", self.path, "-B", self.build, "-G", "Ninja", *options], check=True,
                       env=self.environment, stdout=subprocess.DEVNULL)

    def make(self, *targets):
        """Empty when the targets were built, else the compiler's first error."""
        done = subprocess.run(["cmake", "--build", self.build, "--target", *targets,
                               "--parallel", str(os.cpu_count())], env=self.environment,
                              capture_output=True, text=True)
        if done.returncode == 0:
            return ""
        errors = re.findall(r".*error:.*", done.stdout)
        return errors[0] if errors else done.stdout[-500:]

    def run(self, command, limit):
        """Whether a test program passes within the limit of seconds, and what it says first of a failure."""
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir()

        def restrain():
            os.setsid()
            # Not the address space, nor the size of files: some tests make files of 8 TiB, all hole, and map them.
            resource.setrlimit(resource.RLIMIT_DATA, (MOST_MEMORY, MOST_MEMORY))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        with open(self.path / "log", "w+b") as log:
            environment = dict(self.environment, TMPDIR=str(self.temporary))
            process = subprocess.Popen(command, cwd=self.build, env=environment, stdout=log, stderr=subprocess.STDOUT, preexec_fn=restrain)
            end = time.monotonic() + limit
            code = None
            while code is None:
                try:
                    code = process.wait(1)
                except subprocess.TimeoutExpired:
                    full = shutil.disk_usage(self.path).free < LEAST_DISK
                    if full or time.monotonic() > end:
                        os.killpg(process.pid, signal.SIGKILL)  # with whatever the tests started
                        process.wait()
                        return False, "for it fills the disk" if full else "by the time limit"
            log.seek(0)
            text = log.read().decode(errors="replace")
        if code == 0:
            return True, ""
        failed = re.search(r"\[  FAILED  \] (\S+)", text) or re.search(r"- (\S+) \(.*\)$", text, re.M)
        began = re.findall(r"\[ RUN      \] (\S+)", text)
        if failed:
            return False, "by " + failed[1].rstrip(",")
        return False, f"by {began[-1]}, which crashes" if began else f"with code {code}"

    def program(self, folder):
        return self.build / "tests" / f"{folder}_tests"

    def measure(self, name, target, command):
        """Builds and runs a folder's tests unchanged: they must pass, and mutants get a multiple of their time."""
        error = self.make(target)
        if error:
            sys.exit(f"the unchanged project does not build: {error}")
        begin = time.monotonic()
        passed, why = self.run(command, 1200)
        if not passed:
            sys.exit(f"the unchanged project fails {why}, see {self.path / 'log'}")
        self.limits[name] = 30 + 8 * (time.monotonic() - begin)

    def steps(self, first):
        """Names, targets and commands of the test programs, that of a folder first, and of what only ctest runs."""
        for folder in sorted(FOLDERS, key=lambda folder: folder != first):
            yield folder, f"{folder}_tests", [self.program(folder), "--gtest_fail_fast"]
        yield "rest", "all", ["ctest", "--test-dir", self.build, "-R", r"^(interface|examples)\.", "--stop-on-failure"]

    def mirror(self, source):
        """The test suites of the files that mirror a source, as a filter; empty where there are none."""
        folder, room = source.split("/")[1], pathlib.Path(source).stem
        suites = set()
        for file in (self.path / "tests" / folder).glob(f"{room}*_test.cpp"):
            suites |= set(re.findall(r"^TEST(?:_F|_P)?\((\w+)", file.read_text(), re.M))
        return ":".join(f"{suite}.*:*/{suite}.*" for suite in sorted(suites))

    def write(self, source, text, modified=None):
        (self.path / source).write_text(text)
        if modified is not None:
            os.utime(self.path / source, (modified, modified))

    def objects(self):
        folders = (self.build / "src" / "CMakeFiles").glob("*_objects.dir")
        return [built for folder in folders for built in folder.rglob("*.o")]

    def verdict(self, source, original, text, folder_alone):
        """Whether a test notices the changed text of a source, or one of its folder: how it was killed, or that it
        survived."""
        folder = source.split("/")[1]
        name, target, command = next(self.steps(folder))
        if name not in self.limits:
            self.measure(name, target, command)
        # The library's objects alone are built with the change; then the source looks as old as it was.
        modified = (self.path / source).stat().st_mtime
        begin = time.time()
        self.write(source, text)
        try:
            error = self.make("qel_common_objects", "qel_unit_objects", "qel_archive_objects")
            self.write(source, original, modified)
            if error:
                return "unbuilt", error
            outcome, why, last = self.test(source, folder, folder_alone)
        finally:
            self.write(source, original, modified)
            for built in self.objects():
                if built.stat().st_mtime >= begin:
                    built.unlink()
        if outcome == "survived" and source.endswith(".h"):
            self.write(source, text)
            outcome, why, last = self.test(source, folder, folder_alone)
            self.write(source, original)
        for step in self.steps(folder):
            if outcome == "killed" and step[0] == last and last not in self.limits:
                self.measure(*step)  # so that it was the change that failed there
        return outcome, why

    def test(self, source, folder, folder_alone):
        """Links and runs the tests with the library's objects as they are; the outcome and the step that gave it."""
        for name, target, command in self.steps(folder):
            error = self.make(target)
            if error:
                return "unbuilt", error, name
            suites = self.mirror(source) if name == folder else ""
            if suites:
                passed, why = self.run([*command, f"--gtest_filter={suites}"], self.limits[name])
                if not passed:
                    return "killed", why, name
            passed, why = self.run(command, self.limits.get(name, 600))
            if not passed:
                return "killed", why, name
            if folder_alone:
                break
        return "survived", "", name


def try_mutation(tree, mutation):
    original = (tree.path / mutation.source).read_text()
    text, problem = mutated(original, mutation)
    if problem:
        return "stale", problem
    if text == original:
        return "stale", "it changes nothing"
    return tree.verdict(mutation.source, original, text, folder_alone=bool(mutation.equivalent))


def wrong(mutation, outcome):
    return outcome != ("survived" if mutation.equivalent else "killed")


def summary(results):
    """A row per source, and what is wrong."""
    rows = {}
    for mutation, outcome, _ in results:
        row = rows.setdefault(mutation.source, [0, 0, 0, 0])
        row[0] += 1
        row[1] += outcome == "killed" and not mutation.equivalent
        row[2] += outcome == "survived" and bool(mutation.equivalent)
        row[3] += wrong(mutation, outcome)
    total = [sum(column) for column in zip(*rows.values())]
    print(f"\n{'source':<42}{'mutants':>8}{'killed':>8}{'equivalent':>12}{'wrong':>7}")
    for source, row in [*sorted(rows.items()), ("all", total)]:
        print(f"{source:<42}{row[0]:>8}{row[1]:>8}{row[2]:>12}{row[3]:>7}")
    for mutation, outcome, why in results:
        if wrong(mutation, outcome):
            expected = " though it is marked as equivalent" if mutation.equivalent else ""
            print(f"\n{outcome}{expected} {why}\n  {mutation.place} {mutation}")
    return total[3]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("filter", nargs="*", help="only sources whose path contains one of these")
    parser.add_argument("--part", default="1/1", metavar="I/N", help="only each N-th mutation, beginning with the I-th")
    parser.add_argument("--check", action="store_true", help="only look whether all lines are there; build nothing")
    parser.add_argument("--work", default=str(ROOT / "build" / "mutation"), help="where the copies are built")
    arguments = parser.parse_args()

    mutations = [m for table in sorted(TABLES.glob("*.txt")) for m in read_table(table)]
    if arguments.filter:
        mutations = [m for m in mutations if any(part in m.source for part in arguments.filter)]
    stale = [(m, mutated((ROOT / m.source).read_text(), m)[1]) for m in mutations]
    stale = [(m, problem) for m, problem in stale if problem]
    for mutation, problem in stale:
        print(f"{mutation.place} {mutation.source}: {problem}")
    if arguments.check or stale or not mutations:
        print(f"{len(mutations)} mutations, {len(stale)} stale")
        return 1 if stale or not mutations else 0

    part, parts = map(int, arguments.part.split("/"))
    tree = Tree(pathlib.Path(arguments.work).resolve() / f"{part}of{parts}")
    tree.update()
    results = []
    for mutation in mutations[part - 1::parts]:
        outcome, why = try_mutation(tree, mutation)
        results.append((mutation, outcome, why))
        mark = "WRONG " if wrong(mutation, outcome) else ""
        print(f"{mark}{outcome:<9}{mutation}  {why}", flush=True)
    return 1 if summary(results) else 0


if __name__ == "__main__":
    sys.exit(main())
