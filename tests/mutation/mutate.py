#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Breaks the libraries on purpose, in one small way after the other, and reports what no test notices.

The mutants are made of the sources as they stand: operators.py says how. One is called by its function, by what is
done there, and by its ordinal among the places of that kind in the function:

    position_table::grow | * to / | 1

equivalent.txt lists, below the reason, those that change nothing that can be observed. plausible.txt holds mistakes
that someone might really make.
"""

import argparse
import concurrent.futures
import hashlib
import math
import os
import pathlib
import sys
import threading

from lists import check_plausible, read_equivalent, read_plausible
from operators import generate
from project import ROOT, Failed, Project
from trials import Alone, Batch, Bench, Verdict, Verdicts

MIN_MUTANTS = 3000
BATCH = 400  # more of them in one build make it slow


class Tally:
    """What came out."""

    def __init__(self, equivalent):
        self.equivalent = equivalent
        self.counts = {}
        self.unnoticed = []

    def add(self, mutant, verdict, quiet=False):
        self.counts[verdict.outcome] = self.counts.get(verdict.outcome, 0) + 1
        if verdict.outcome == "survived" and mutant.identity not in self.equivalent:
            self.unnoticed.append(mutant)
        if not quiet:
            print(f"{verdict.outcome:<9}{mutant.identity}  {verdict.by}", flush=True)

    def report(self):
        for mutant in self.unnoticed:
            print(f"\nunnoticed: {mutant}")
        counts = ", ".join(f"{count} {outcome}" for outcome, count in sorted(self.counts.items()))
        print(f"\n{counts or 'nothing tried'}; {len(self.unnoticed)} unnoticed")
        return 1 if self.unnoticed else 0


def by_hash(mutant):
    return hashlib.sha256(mutant.identity.encode()).digest()


def try_all(project, mutants, tally, verdicts, bench, jobs):
    """Tries mutants batch by batch, several at once, and those that cannot be compiled together alone."""
    alone = Alone(project, bench)
    compiling = threading.Lock()
    unknown = []
    for mutant in mutants:
        known = verdicts.get(mutant)
        if known:
            tally.add(mutant, known, quiet=True)
        else:
            unknown.append(mutant)

    def settle(mutant, verdict):
        if verdict.outcome != "open":
            verdicts.put(mutant, verdict)
        tally.add(mutant, verdict)

    for begin in range(0, len(unknown), BATCH):
        batch = Batch(project, bench, unknown[begin:begin + BATCH])
        batch.build()
        for mutant in batch.invalid:
            settle(mutant, Verdict("invalid"))

        def look_at(mutant):
            verdict = batch.try_mutant(mutant)
            with compiling:
                if verdict is None or verdict.outcome in ("survived", "open"):
                    compiled = alone.verdict_of_compiler(mutant.source, mutant.alone)
                    verdict = Verdict(compiled) if compiled else verdict
                if verdict is None:
                    batch.left_out.append(mutant)
                else:
                    settle(mutant, verdict)

        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            list(pool.map(look_at, list(batch.numbers)))
        for mutant in batch.left_out:
            settle(mutant, alone.try_wraps(mutant.source, mutant.alone))


def try_plausible(project, mistakes, bench):
    """Every mistake has to be noticed."""
    alone = Alone(project, bench)
    wrong = 0
    for mistake in mistakes:
        verdict = alone.try_wraps(mistake.source, mistake.wraps)
        print(f"{verdict.outcome:<9}{mistake.name}  {verdict.by}", flush=True)
        wrong += verdict.outcome != "caught"
    print(f"{len(mistakes)} plausible mistakes, {wrong} not caught")
    return 1 if wrong else 0


def check(project, mutants, equivalent, mistakes):
    """Whether the lists fit the sources."""
    identities = {mutant.identity for mutant in mutants}
    listed = sum(identity in equivalent for identity in identities)
    problems = [f"no such mutant is left: {entry}" for entry in equivalent.without_mutants(identities)]
    if len(mutants) < MIN_MUTANTS:
        problems.append(f"only {len(mutants)} mutants are made")
    bench = Bench(project, 0)
    problems += check_plausible([Alone(project, bench, f"check-{i}") for i in range(os.cpu_count() or 1)], mistakes)
    for problem in problems:
        print(problem)
    print(f"{len(mutants)} mutants, {listed} of them listed as equivalent, {len(mistakes)} plausible mistakes")
    return 1 if problems else 0


def wanted(mutant, words):
    return not words or any(word in mutant.path or word in mutant.owner.label for word in words)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("filter", nargs="*", help="only mutants of sources or functions named like one of these")
    parser.add_argument("--check", action="store_true", help="only look whether the lists fit the sources")
    parser.add_argument("--sample", type=int, metavar="N", help="only N mutants, always the same ones")
    parser.add_argument("--part", default="1/1", metavar="I/N", help="only each N-th mutant, beginning with the I-th")
    parser.add_argument("--plausible", action="store_true", help="try the plausible mistakes instead")
    parser.add_argument("--equivalent", action="store_true", help="try those that are listed as equivalent as well")
    parser.add_argument("--list", action="store_true", help="only name the mutants")
    parser.add_argument("--fresh", action="store_true", help="forget what earlier runs have found")
    parser.add_argument("--seconds", type=float, default=600, help="leave out tests that take longer, each by itself")
    parser.add_argument("--budget", type=float, default=math.inf,
                        help="how many seconds of tests a mutant meets; what none of them notices is open")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many mutants meet the tests at once")
    parser.add_argument("--work", type=pathlib.Path, default=ROOT / "build/mutation", help="where mutants are built")
    arguments = parser.parse_args()

    mutants, sources = generate(ROOT)
    equivalent = read_equivalent()
    mistakes = read_plausible(sources)
    if arguments.list:
        for mutant in mutants:
            if wanted(mutant, arguments.filter):
                print(mutant)
        return 0
    work = arguments.work.resolve()
    work.mkdir(parents=True, exist_ok=True)
    project = Project(work)
    if arguments.check:
        return check(project, mutants, equivalent, mistakes)
    bench = Bench(project, arguments.seconds, arguments.budget)
    if arguments.plausible:
        return try_plausible(project, [one for one in mistakes if wanted(one, arguments.filter)], bench)

    if arguments.sample:
        mutants = sorted(mutants, key=by_hash)[:arguments.sample]
    chosen = [mutant for mutant in mutants if wanted(mutant, arguments.filter) and
              (arguments.equivalent or mutant.identity not in equivalent)]
    part, parts = map(int, arguments.part.split("/"))
    tally = Tally(equivalent)
    try_all(project, chosen[part - 1::parts], tally, Verdicts(work / "verdicts", arguments.fresh), bench,
            arguments.jobs)
    return tally.report()


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Failed as failed:
        sys.exit(str(failed))
