# SPDX-License-Identifier: MIT
"""Reads equivalent.txt and plausible.txt."""

import concurrent.futures
import dataclasses
import sys

from operators import Wrap, replaced
from project import HERE
from source import TOKEN

KEYWORDS = {"if", "else", "for", "while", "do", "return", "break", "continue", "const", "constexpr", "true", "false",
            "nullptr", "sizeof", "static_cast", "void", "float", "double", "int", "bool", "char", "unsigned", "std"}


@dataclasses.dataclass
class Mistake:
    """A plausible mistake: in a function, some tokens instead of others."""
    name: str
    owner: object
    source: object
    wraps: list

    @property
    def path(self):
        return self.source.path


class Equivalent:
    """The entries of equivalent.txt, in their order: names of mutants, and beginnings of names, each before a `*`."""

    def __init__(self, entries):
        self.entries = entries
        self._names = {entry for entry in entries if not entry.endswith("*")}
        self._beginnings = tuple(entry[:-1] for entry in entries if entry.endswith("*"))

    def __contains__(self, identity):
        return identity in self._names or identity.startswith(self._beginnings)

    def without_mutants(self, identities):
        """The entries that match no mutant."""
        return [entry for entry in self.entries if not any(
            identity.startswith(entry[:-1]) if entry.endswith("*") else identity == entry for identity in identities)]


def read_equivalent():
    """The equivalent mutants; each must follow a reason."""
    entries, reason = [], ""
    for number, line in enumerate((HERE / "equivalent.txt").read_text().splitlines(), 1):
        if line.startswith("    "):
            kind, _, ordinals = line.strip().rpartition(" | ")
            for entry in [f"{kind} | {ordinal}" for ordinal in ordinals.split(", ")] if kind else [ordinals]:
                if not reason or entry in Equivalent(entries):
                    sys.exit(f"equivalent.txt:{number}: {'twice' if reason else 'without a reason'}: {entry}")
                entries.append(entry)
        elif line and not line.startswith("#"):
            reason = line
    return Equivalent(entries)


def read_plausible(sources):
    """The mistakes, each at its place in the sources."""
    mistakes, name, function, removed = [], "", "", ""
    for number, line in enumerate((HERE / "plausible.txt").read_text().splitlines(), 1):
        where, word, rest = f"plausible.txt:{number}", line.strip()[:2].strip(), line.strip()[2:].strip()
        if line and not line.startswith((" ", "#")):
            name, function, removed = line, "", ""
        elif word == "in":
            function = rest
        elif word == "-":
            removed = rest
        elif word == "+" and name and function and removed:
            mistake = _mistake(name, function, removed, rest, sources)
            mistakes.append(mistake or sys.exit(f"{where}: no place fits: {name}"))
        elif line.strip() and not line.startswith("#"):
            sys.exit(f"{where}: not understood: {line}")
    return mistakes


def _mistake(name, function, removed, instead, sources):
    """Finds the one place of what a mistake removes, however it is set in lines: in the function of that name; else,
    where names have changed, what differs from it in names alone, in that function or anywhere; else, where the code
    around it has changed, what really differs and the tokens beside it."""
    owners = [(source, owner) for source in sources for owner in source.owners]
    named = [pair for pair in owners if pair[1].label == function]
    whole, narrow = (_tokens(removed), _tokens(instead)), _narrowed(_tokens(removed), _tokens(instead))
    ways = ((whole, named, False), (whole, named, True), (whole, owners, True), (narrow, named, False),
            (narrow, named, True))
    for (wanted, given), places, renamed in ways:
        found = [(source, owner, first, names) for source, owner in places
                 for first, names in _matches(source, owner, wanted, renamed)]
        if len(found) == 1:
            source, owner, first, names = found[0]
            last = first + len(wanted) - 1
            text = " ".join(names.get(token[0], token[0]) for token in given)
            return Mistake(name, owner, source, [Wrap(first, last, instead=replaced((first, last), text))])
    return None


def _narrowed(wanted, given):
    """What differs between two rows of tokens, with two of their own on either side."""
    shorter = min(len(wanted), len(given))
    before = next((i for i in range(shorter) if wanted[i] != given[i]), shorter)
    after = next((i for i in range(shorter - before) if wanted[-1 - i] != given[-1 - i]), shorter - before)
    first, cut = max(before - 2, 0), max(after - 2, 0)
    return wanted[first:len(wanted) - cut], given[first:len(given) - cut]


def _matches(source, owner, wanted, renamed):
    """The position of tokens in a function, and the names there that replace theirs."""
    tokens = source.tokens[owner.first:owner.last]
    for i in range(len(tokens) - len(wanted) + 1):
        names = {}
        for token, (text, kind) in zip(tokens[i:], wanted):
            same = token.text == text
            if not same and renamed and kind == token.kind == "word" and not {token.text, text} & KEYWORDS:
                same = names.get(text, token.text) == token.text
            if not same:
                break
            names[text] = token.text
        else:
            if len(set(names.values())) == len(names):
                yield owner.first + i, names


def _tokens(text):
    return [(match[0], match.lastgroup) for match in TOKEN.finditer(text) if match.lastgroup != "space"]


def check_plausible(benches, mistakes):
    """What is wrong with mistakes that do not compile, or to the same as what is right. Each of the benches has a
    share, by sources, so that no unchanged source is compiled twice."""
    paths = sorted({mistake.path for mistake in mistakes})
    shares = [[mistake for mistake in mistakes if paths.index(mistake.path) % len(benches) == number]
              for number in range(len(benches))]
    with concurrent.futures.ThreadPoolExecutor(len(benches)) as pool:
        return [problem for problems in pool.map(_check_share, benches, shares) for problem in problems]


def _check_share(alone, mistakes):
    problems = []
    for mistake in mistakes:
        verdict = alone.verdict_of_compiler(mistake.source, mistake.wraps)
        if verdict:
            problems.append(f"{verdict} code: {mistake.name} ({mistake.owner.label})")
    return problems
