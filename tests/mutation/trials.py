# SPDX-License-Identifier: MIT
"""Tries mutants: many of them compiled together and switched on one by one, or one compiled alone."""

import dataclasses
import hashlib
import json
import math
import os
import re
import resource
import select
import shutil
import signal
import subprocess
import threading
import time

from operators import rendered, schema_wraps
from project import ROOT, Failed, Variant, programs_of

MOST_MEMORY = 8 << 30  # a mutant must not take the machine with it
LEAST_DISK = 2 << 30
STAGES = (100, 1_000, 10_000, math.inf)  # milliseconds: what a mutant is likely to be caught by comes first
NAME_OF_TEST = re.compile(r"(?:\w+/)?(\w+\.\w+)")
NUMBERS = re.compile(r"\b(?:pick|later|negate|no)<(\d+)|\bway<(\d+),")


@dataclasses.dataclass
class Verdict:
    """`caught`, `survived`, `open` where tests were left out for the time they take, `same` where the compiler makes the
    same code of it, `invalid` where it makes none."""
    outcome: str
    by: str = ""


@dataclasses.dataclass
class Test:
    milliseconds: int
    name: str
    reached: frozenset = frozenset()


class Verdicts:
    """What is known of mutants from earlier runs, for as long as their function stays as it is; that one was caught, for
    as long as there is a test of the name that caught it; that one survived, for as long as the tests of its folder stay
    as they are."""

    def __init__(self, path, fresh):
        self.path = path
        self.known = {}
        self._folders = {}
        if path.is_file() and not fresh:
            tests = _names_of_tests()
            for line in path.read_text().splitlines():
                key, outcome, by = json.loads(line)
                named = NAME_OF_TEST.match(by)
                if not named or named[1] in tests:
                    self.known[key] = Verdict(outcome, by)

    def get(self, mutant):
        return self.known.get(self._key(mutant, "caught")) or self.known.get(self._key(mutant, "survived"))

    def put(self, mutant, verdict):
        kind = "survived" if verdict.outcome == "survived" else "caught"
        key = self._key(mutant, kind)
        self.known[key] = verdict
        with open(self.path, "a", encoding="utf-8") as file:
            file.write(json.dumps([key, verdict.outcome, verdict.by]) + "\n")

    def _key(self, mutant, kind):
        owner, source = mutant.owner, mutant.source
        parts = [mutant.identity, *(token.text for token in source.tokens[owner.first:owner.last])]
        if kind == "survived":
            parts.append(self._folder(mutant.path.split("/")[1]))
        return hashlib.sha256("\n".join(parts).encode()).hexdigest()[:24]

    def _folder(self, folder):
        if folder not in self._folders:
            digest = hashlib.sha256()
            for path in sorted((ROOT / "tests" / folder).rglob("*_test.cpp")):
                digest.update(path.read_bytes())
            self._folders[folder] = digest.hexdigest()
        return self._folders[folder]


def _names_of_tests():
    """Suite.Name of each test in the sources of the tests."""
    return {f"{suite}.{name}" for path in (ROOT / "tests").rglob("*.cpp")
            for suite, name in re.findall(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", path.read_text(), re.MULTILINE)}


class OutOfTime(Exception):
    """No test noticed a mutant, but not all of them met it."""


class Bench:
    """Where programs run: limits, a folder for their files, how long tests take."""

    def __init__(self, project, seconds, budget=math.inf):
        self.project = project
        self.longest = seconds * 1000  # of the tests that mutants meet
        self.budget = budget * 1000  # of all tests of a program that a mutant meets
        self.times = {}  # of the tests of each program

    def run(self, program, tests, number=0, trace=None):
        """Runs some tests of a program; none: all. What fails first, or nothing."""
        temporary = program.parent / f"tmp-{number}"  # unique among the mutants that run in parallel
        temporary.mkdir(exist_ok=True)
        environment = dict(os.environ, TMPDIR=str(temporary), MUTATION_ACTIVE=str(number))
        command = [str(program)]
        wall, seconds = 1200.0, 600
        if trace:
            environment["MUTATION_TRACE"] = str(trace)
        else:
            command.append("--gtest_fail_fast")
            expected = sum(test.milliseconds for test in tests) / 1000
            wall, seconds = 60 + 20 * expected, 2 + math.ceil(5 * expected)
        if tests:
            environment["GTEST_FILTER"] = ":".join(test.name for test in tests)

        with open(temporary.with_suffix(".log"), "w+b") as log:
            process = subprocess.Popen(command, cwd=self.project.build / "tests", env=environment, stdout=log,
                                       stderr=subprocess.STDOUT, start_new_session=True)
            _restrain(process.pid, seconds)
            stopped = self._wait(process, wall)
            log.seek(0)
            text = log.read().decode(errors="replace")
        shutil.rmtree(temporary, ignore_errors=True)
        temporary.with_suffix(".log").unlink()
        return stopped or _failure(process.returncode, text)

    def _wait(self, process, wall):
        end = time.monotonic() + wall
        stopped = ""
        descriptor = os.pidfd_open(process.pid)
        ended = select.poll()
        ended.register(descriptor, select.POLLIN)
        while not ended.poll(500) and not stopped:
            if shutil.disk_usage(self.project.work).free < LEAST_DISK:
                stopped = "the disk, which it fills"
            elif time.monotonic() > end:
                stopped = "the time limit"
        os.close(descriptor)
        try:
            os.killpg(process.pid, signal.SIGKILL)  # with whatever the tests started
        except ProcessLookupError:
            pass
        process.wait()
        return stopped

    def first_failure(self, program, tests, number=0, likely=()):
        """Runs tests until one fails: first those of likely names, then the others, short ones first. Raises OutOfTime
        where none does and the budget left some out."""
        tests = [test for test in tests if test.milliseconds <= self.longest]
        first = [test for test in tests if test.name in likely]
        failure = self.run(program, first, number) if first else ""
        if failure:
            return failure
        spent, stage, limits, cut = 0, [], list(STAGES), False
        for test in sorted(tests, key=lambda test: test.milliseconds):
            if test in first:
                continue
            if spent + test.milliseconds > self.budget:
                cut = True
                break
            if spent + test.milliseconds > limits[0]:
                failure = self.run(program, stage, number) if stage else ""
                if failure:
                    return failure
                stage = []
                while spent + test.milliseconds > limits[0]:
                    limits.pop(0)
            spent += test.milliseconds
            stage.append(test)
        failure = self.run(program, stage, number) if stage else ""
        if cut and not failure:
            raise OutOfTime
        return failure

    def trace(self, program):
        """The tests of a program with the mutants whose places they reach; none of those known to take too long."""
        path = program.with_suffix(".trace")
        known = self._known_times(program) or []
        affordable = [test for test in known if test.milliseconds <= self.longest]
        failure = self.run(program, affordable if len(affordable) < len(known) else [], trace=path)
        tests = []
        for line in path.read_text().splitlines():
            words = line.split()
            tests.append(Test(int(words[0]) + 1, words[1], frozenset(map(int, words[2:]))))
        if failure:
            raise Failed(f"without any mutant, {program.name} fails: {failure}")
        if not known:
            self._keep_times(program, {test.name: test.milliseconds for test in tests})
        return tests

    def _known_times(self, program):
        """The program's tests and how long each took when that was measured, if it was."""
        path = self.project.work / f"{program.name}.times"
        if program.name not in self.times and path.is_file() and path.stat().st_mtime > \
                (self.project.build / "tests" / program.name).stat().st_mtime:
            self.times[program.name] = [Test(time, name) for name, time in json.loads(path.read_text()).items()]
        return self.times.get(program.name)

    def _keep_times(self, program, times):
        (self.project.work / f"{program.name}.times").write_text(json.dumps(times))

    def all_tests(self, program):
        """The tests of a program without a trace."""
        if not self._known_times(program):
            report = self.project.work / f"{program.name}.json"
            subprocess.run([self.project.build / "tests" / program.name, f"--gtest_output=json:{report}"], check=True,
                           cwd=self.project.build / "tests", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            self._keep_times(program, {
                f"{suite['name']}.{test['name']}": int(float(test["time"].rstrip("s")) * 1000) + 1
                for suite in json.loads(report.read_text())["testsuites"] for test in suite["testsuite"]})
        return self._known_times(program)


def _restrain(process, seconds):
    """Limits a process. Not its address space, nor the size of files: some tests make files of 8 TiB, all hole, and map
    them. The processor's time, because the machine may be busy with other things."""
    try:
        resource.prlimit(process, resource.RLIMIT_DATA, (MOST_MEMORY, MOST_MEMORY))
        resource.prlimit(process, resource.RLIMIT_CORE, (0, 0))
        resource.prlimit(process, resource.RLIMIT_CPU, (seconds, seconds))
    except ProcessLookupError:
        pass  # it has ended


def _failure(code, text):
    if code == 0:
        return ""
    failed = re.search(r"\[  FAILED  \] (\S+)", text)
    began = re.findall(r"\[ RUN      \] (\S+)", text)
    if failed:
        return failed[1].rstrip(",")
    how = "takes too long" if code in (-signal.SIGKILL, -signal.SIGXCPU) else "crashes"
    return f"{began[-1]}, which {how}" if began else how


class Batch:
    """Mutants compiled together."""

    def __init__(self, project, bench, mutants):
        self.project, self.bench = project, bench
        self.numbers = {mutant: number for number, mutant in enumerate(mutants, 1) if mutant.place or mutant.schema}
        self.left_out = [mutant for mutant in mutants if mutant not in self.numbers]
        self.invalid = []
        self.variant = Variant(project.work / "batch", {}, schema=True)
        self.programs, self.traces = {}, {}
        self.caught_by = {}  # for each function, the names of the tests that caught its last mutants
        self._tracing = threading.Lock()

    def build(self):
        """Compiles the mutants; those that cannot be part of a schema are left out."""
        sources = {mutant.source for mutant in self.numbers}
        names = set(self.project.objects_of(source.path for source in sources))
        for source in sources:
            names |= set(self.project.tests_of(source.path))
        stale = sources
        while names:
            for source in stale:
                numbers = {mutant: number for mutant, number in self.numbers.items() if mutant.source is source}
                self.variant.write(source.path, rendered(source, schema_wraps(numbers)))
            try:
                self.project.compile_all(self.variant, names)
                return
            except Failed as error:
                stale = self._leave_out(str(error), sources)
                paths = {source.path for source in stale}
                names = {name for name in names if self.project.includes[name] & paths}

    def _leave_out(self, errors, sources):
        """Takes out the mutants that errors name, else those of the lines that they name."""
        named = {int(a or b) for a, b in NUMBERS.findall(errors)}
        guilty = [mutant for mutant, number in self.numbers.items() if number in named]
        if not guilty:
            lines = {(path, int(line)) for path, line in re.findall(r"/batch/(src/[\w/.]+):(\d+)", errors)}
            guilty = [mutant for mutant in self.numbers if (mutant.path, mutant.source.tokens[mutant.at].line) in lines]
        if not guilty:
            paths = {path for path, _ in re.findall(r"/batch/(src/[\w/.]+):(\d+)", errors)}
            guilty = [mutant for mutant in self.numbers if mutant.path in paths]
        if not guilty:
            raise Failed(errors)
        swaps = [mutant for mutant in guilty if mutant.operator == "swap arguments"]
        for mutant in swaps or guilty:  # a swap of what is not of one type spoils others in its line
            del self.numbers[mutant]
            (self.invalid if mutant.operator == "swap arguments" else self.left_out).append(mutant)
        return {mutant.source for mutant in guilty} & sources

    def trace(self, name):
        with self._tracing:
            if name not in self.traces:
                self.programs[name] = self.project.link(self.variant, name)
                self.traces[name] = self.bench.trace(self.programs[name])
        return self.traces[name]

    def try_mutant(self, mutant):
        """Runs the tests that reach it. None if it is not reached: then it may be in a constant."""
        number, reached, outcome = self.numbers[mutant], False, "survived"
        for name in programs_of(mutant.path):
            tests = [test for test in self.trace(name) if number in test.reached]
            reached |= bool(tests)
            if not reached:
                return None
            likely = self.caught_by.setdefault(mutant.owner, [])
            try:
                failure = self.bench.first_failure(self.programs[name], tests, number, likely[-3:])
            except OutOfTime:
                failure, outcome = "", "open"
            if failure:
                by = failure.split(",")[0]
                if by not in likely[-3:]:
                    likely.append(by)
                return Verdict("caught", failure)
        return Verdict(outcome)


class Alone:
    """Mutants compiled one at a time."""

    def __init__(self, project, bench, name="alone"):
        self.project, self.bench = project, bench
        self.folder = project.work / name
        self.plain = Variant(project.work / f"plain-{name}", {}, schema=False)

    def build(self, source, wraps, all_objects=True):
        """The variant, with all that it takes to link it; or why there is none: `invalid`, or `same`."""
        variant = Variant(self.folder, {source.path: rendered(source, wraps)}, schema=False)
        names = [*self.project.objects_of([source.path]), *self.project.tests_of(source.path)]
        try:
            if all_objects:
                self.project.compile_all(variant, names)
            differs = any(self._differs(variant, name) for name in names)
        except Failed:
            return "invalid"
        return variant if differs else "same"

    def verdict_of_compiler(self, source, wraps):
        """`invalid` or `same`, or nothing where it compiles to other code."""
        built = self.build(source, wraps, all_objects=False)
        return built if isinstance(built, str) else ""

    def _differs(self, variant, name):
        """Whether an object is another than without the mutant; compiles what of both is missing."""
        plain, changed = (each.folder / "objects" / name for each in (self.plain, variant))
        for each, compiled in ((self.plain, plain), (variant, changed)):
            if not compiled.is_file():
                self.project.compile(each, name)
        return plain.read_bytes() != changed.read_bytes()

    def try_wraps(self, source, wraps):
        variant = self.build(source, wraps)
        if isinstance(variant, str):
            return Verdict(variant)
        outcome = "survived"
        for name in programs_of(source.path):
            program = self.project.link(variant, name)
            try:
                failure = self.bench.first_failure(program, self.bench.all_tests(program))
            except OutOfTime:
                failure, outcome = "", "open"
            if failure:
                return Verdict("caught", failure)
        return Verdict(outcome)
