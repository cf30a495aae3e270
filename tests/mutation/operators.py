# SPDX-License-Identifier: MIT
"""The ways in which a source is broken: where each of them applies, and what the code becomes.

A mutant is known by the function that it is in, what is done there, and the how-manieth place of that kind it is. It
can be written in two forms: alone, as the text that a compiler gets instead; or as a part of a schema, where many
mutants are compiled together and `mutation::on(number)` (switch.h) asks at run time which of them is active.
"""

import dataclasses
import re

from source import read_sources

RELATIONS = {"<": ("<=", ">"), "<=": ("<", ">="), ">": (">=", "<"), ">=": (">", "<="), "==": ("!=",), "!=": ("==",)}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "|"}
COMPOUND = {f"{sign}=": f"{other}=" for sign, other in ARITHMETIC.items()}
NAMES = {"<": "less", "<=": "less_equal", ">": "greater", ">=": "greater_equal", "==": "equal", "!=": "unequal",
         "+": "add", "-": "subtract", "*": "multiply", "/": "divide", "%": "modulo", "<<": "shift_left",
         ">>": "shift_right", "&": "bit_and", "|": "bit_or", "^": "bit_xor"}
NAMES.update({sign + "=": name + "_to" for sign, name in list(NAMES.items()) if sign in ARITHMETIC})
ASSIGNMENTS = {"=", *COMPOUND}
NEVER_BINARY_BEFORE = {"{", ")", ",", ">", ";"}  # what follows the star or ampersand of a type
# What binds less than && and ||, so that their operands end there.
LOOSER = {"||": {"?", ":", ",", ";", "return", "case"} | ASSIGNMENTS}
LOOSER["&&"] = LOOSER["||"] | {"||"}
NOT_A_STATEMENT = {"return", "continue", "break", "goto", "if", "for", "while", "switch", "do", "else", "case",
                   "default", "static_assert", "const", "constexpr", "auto", "static", "using", "typedef",
                   "struct", "unsigned", "static_cast", "try", "template", "thread_local", "enum", "union", "class",
                   "volatile", "{", "}"}
COMMUTATIVE = re.compile(r"_mm\d*_(maskz?_)?((and|or|xor|add|mul|cmpeq)_|(min|max)_ep)")
UNEVALUATED = {"static_assert", "sizeof", "alignof", "offsetof", "__attribute__", "decltype"}
HINTS = {"prefetch", "prefetch_element", "prefetch_ahead"}  # to the processor: no result depends on them
SYMMETRIC = {"min", "max", "swap", "static_assert", "offsetof", "alignas", "decltype", "alignof"}
# Of the sources' own: sums, sums of squares that single precision holds exactly, and the amount of a difference.
SYMMETRIC |= {"average", "midpoint", "project", "level_48", "phi_norm_48", "hop_distance", "difference"}


@dataclasses.dataclass(eq=False)
class Wrap:
    """Text around a range of tokens; `instead` replaces single ones of them."""
    first: int
    last: int
    before: str = ""
    after: str = ""
    instead: dict = dataclasses.field(default_factory=dict)


@dataclasses.dataclass(eq=False)
class Mutant:
    owner: object
    operator: str
    at: int  # the token that marks the place
    alone: list  # of Wraps
    schema: object  # a function of the mutant's number that gives Wraps; or, where several share a place, see Place
    place: object = None
    ordinal: int = 0
    source: object = None

    @property
    def identity(self):
        return f"{self.owner.label} | {self.operator} | {self.ordinal}"

    @property
    def path(self):
        return self.source.path

    def __str__(self):
        token = self.source.tokens[self.at]
        line = self.source.text.splitlines()[token.line - 1].strip()
        return f"{self.identity}\n    {self.path}:{token.line}: {line}"


@dataclasses.dataclass(eq=False)
class Place:
    """One place of the source that several mutants change; `render` gives the Wraps that hold all the wanted ones."""
    render: object
    alternatives: dict = dataclasses.field(default_factory=dict)  # the mutants, and how switch.h calls what they do


class Generator:
    """Finds the mutants of one source."""

    def __init__(self, source):
        self.source = source
        self.tokens = source.tokens
        self.mutants = []
        for owner in source.owners:
            if owner.label in HINTS:
                continue
            for i in range(owner.first, owner.last):
                if self.tokens[i].owner is owner:
                    self._look_at(i, owner)

    def _look_at(self, i, owner):
        token = self.tokens[i]
        if self._unobserved(i):
            return
        if token.kind == "number":
            self._constant(i)
        elif token.text in ("true", "false"):
            self._flip(i)
        elif token.kind == "sign" and token.space_before and token.space_after:
            self._binary(i)
        elif token.text == "!" and self.tokens[i - 1].text != "operator":
            self._add("drop !", i, [Wrap(i, i, instead={i: ""})],
                      lambda n: [Wrap(i, i, instead={i: f"mutation::no<{n}>() ^ !"})])
        elif token.text == "(" and self.tokens[i - 1].text in ("if", "while") and self.tokens[i - 2].text != "#":
            self._condition(i)
        elif token.text == "(" and self.tokens[i - 1].text == "for":
            self._loop(i)
        elif token.text == "(" and self.tokens[i - 1].kind == "word":
            self._arguments(i)
        if owner.body >= 0 and i > owner.body and self._begins_statement(i):
            self._statement(i, owner)

    def _add(self, operator, at, alone, schema, place=None):
        mutant = Mutant(self.tokens[at].owner, operator, at, alone, schema, place, source=self.source)
        self.mutants.append(mutant)
        return mutant

    def _unobserved(self, i):
        """Whether nothing is computed there, or a hint alone."""
        if self.tokens[i].text in HINTS:
            return True
        inside = self.tokens[i].inside
        while inside >= 0:
            if self.tokens[inside - 1].text in UNEVALUATED | HINTS:
                return True
            inside = self.tokens[inside].inside
        return False

    # Constants.

    def _constant(self, i):
        text = self.tokens[i].text
        zero = not text.strip("0xXuUlLfF.'")
        place = Place(lambda chosen: [Wrap(i, i, f"mutation::constant<{chosen}>(", ")")])
        for operator, sign, name in (("constant + 1", "+", "one_more"), ("constant - 1", "-", "one_less")):
            if not (zero and sign == "-"):
                mutant = self._add(operator, i, [Wrap(i, i, "(", f" {sign} 1)")], None, place)
                place.alternatives[mutant] = name

    def _flip(self, i):
        self._add("flip constant", i, [Wrap(i, i, "!")], lambda n: [Wrap(i, i, f"mutation::negate<{n}>(", ")")])

    # Binary operators.

    def _binary(self, i):
        sign, after = self.tokens[i].text, self.tokens[i + 1].text
        if sign in ("*", "&", "&&") and after in NEVER_BINARY_BEFORE or self.tokens[i - 1].text == "operator":
            return
        if sign in ("&&", "||"):
            self._logic(i, sign)
        elif sign == "?":
            self._ternary(i)
        elif sign in RELATIONS or sign in ARITHMETIC or sign in COMPOUND:
            others = RELATIONS.get(sign) or (ARITHMETIC.get(sign) or COMPOUND[sign],)
            place = Place(lambda chosen: [Wrap(i, i, instead={
                i: f"{sign} mutation::place<mutation::{NAMES[sign]}, {chosen}>() {sign}"})])
            for other in others:
                mutant = self._add(f"{sign} to {other}", i, [Wrap(i, i, instead={i: other})], None, place)
                place.alternatives[mutant] = NAMES[other]
            if sign in ("<", "<=", ">", ">=") and self._bounds_a_loop(i):
                alone = Wrap(i, i, instead={i: f"+ 1 {sign}" if sign[0] == "<" else f"{sign} 1 +"})
                mutant = self._add("loop end - 1", i, [alone], None, place)
                place.alternatives[mutant] = NAMES[sign] + "_early"

    def _bounds_a_loop(self, i):
        inside = self.tokens[i].inside
        return inside > 0 and self.tokens[inside - 1].text in ("for", "while")

    def _operand(self, i, sign):
        """First and last token of the operands of && or ||."""
        bracket = self.tokens[i].inside
        first = i
        while first - 1 > bracket and self.tokens[first - 1].text not in LOOSER[sign]:
            first -= 1
            first = self.tokens[first].match if self.tokens[first].text in (")", "]", "}") else first
        stops = LOOSER[sign] | {sign}
        last = i
        end = self.tokens[bracket].match
        while last + 1 < end and self.tokens[last + 1].text not in stops:
            last += 1
            last = max(self.tokens[last].match, last)
        return first, last

    def _logic(self, i, sign):
        if self.tokens[i].inside < 0:
            return
        first, last = self._operand(i, sign)
        other = "||" if sign == "&&" else "&&"
        alone = [Wrap(first, last, "(", ")", {i: other})]
        if sign == "&&":  # active, a ? true : b
            ways = ("((bool(", lambda n: f") != mutation::on({n})) ? bool(", lambda n: f") : mutation::on({n}))")
        else:  # active, a ? b : false
            ways = ("((bool(", lambda n: f") == mutation::on({n})) ? bool(", lambda n: f") : !mutation::on({n}))")
        self._add(f"{sign} to {other}", i, alone, lambda n: [Wrap(first, last, ways[0], ways[2](n), {i: ways[1](n)})])

    def _ternary(self, i):
        bracket, first = self.tokens[i].inside, i
        while first - 1 > bracket and self.tokens[first - 1].text not in {"?", ":", ",", ";", "return"} | ASSIGNMENTS:
            first -= 1
            first = self.tokens[first].match if self.tokens[first].text in (")", "]", "}") else first
        self._negate(first, i - 1)

    def _negate(self, first, last):
        """A condition; one that is a single comparison for equality is negated by other means already."""
        top = [self.tokens[i].text for i in self.source.top(first, last + 1)]
        if ASSIGNMENTS & set(top) or ({"==", "!="} & set(top) or top[0] == "!") and not {"&&", "||"} & set(top):
            return
        self._add("negate condition", first, [Wrap(first, last, "!(", ")")],
                  lambda n: [Wrap(first, last, f"mutation::negate<{n}>(bool(", "))")])

    def _condition(self, i):
        close = self.tokens[i].match
        semicolons = [j for j in self.source.top(i + 1, close) if self.tokens[j].text == ";"]
        self._negate(semicolons[-1] + 1 if semicolons else i + 1, close - 1)

    # Loops, arguments.

    def _loop(self, i):
        close = self.tokens[i].match
        top = self.source.top(i + 1, close)
        end = next((j for j in top if self.tokens[j].text == ";"), None)
        if end is None:
            return
        starts = [j for j in top if j < end and self.tokens[j].text == "="]
        for start in starts[:1]:
            last = next(j for j in top if j > start and self.tokens[j].text in (",", ";")) - 1
            if last > start + 1:  # a constant is changed by itself
                first = start + 1
                self._add("loop start + 1", first, [Wrap(first, last, "", " + 1")],
                          lambda n: [Wrap(first, last, f"mutation::later<{n}>(", ")")])

    def _arguments(self, i):
        """Neighbours among a call's arguments; the compiler decides whether they have one type."""
        callee = self.tokens[i - 1].text
        if callee in NOT_A_STATEMENT | SYMMETRIC or COMMUTATIVE.match(callee) or self.tokens[i].inside < 0:
            return
        close = self.tokens[i].match
        if callee in ("memcmp", "strncmp", "compare") and self.tokens[close + 1].text in ("==", "!="):  # only whether, not which comes first
            return
        top = self.source.top(i + 1, close)
        commas = [j for j in top if self.tokens[j].text == ","]
        ends = [i, *commas, close]
        parts = [(begin + 1, end - 1) for begin, end in zip(ends, ends[1:])]
        for a, b in zip(parts, parts[1:]):
            if self._simple(*a) and self._simple(*b) and self.source.slice(*a) != self.source.slice(*b):
                texts = self.source.slice(*a), self.source.slice(*b)
                alone = [Wrap(*a, instead=replaced(a, texts[1])), Wrap(*b, instead=replaced(b, texts[0]))]
                self._add("swap arguments", a[0], alone, lambda n, a=a, b=b, texts=texts: [
                    Wrap(*a, f"mutation::pick<{n}>(", f", {texts[1]})"),
                    Wrap(*b, f"mutation::pick<{n}>(", f", {texts[0]})")])

    def _simple(self, first, last):
        """Whether an argument may be written twice, and is none of a declaration."""
        tokens = self.tokens[first:last + 1]
        if not tokens or any(token.text in ("(", "{", "++", "--", "nullptr", "const", "=") for token in tokens):
            return False
        return not any(a.kind == "word" and (b.kind == "word" or b.text in ("*", "&") and not b.space_after)
                       for a, b in zip(tokens, tokens[1:]))

    # Statements.

    def _begins_statement(self, i):
        bracket = self.tokens[i].inside
        before = self.tokens[i - 1]
        if bracket < 0 or self.tokens[bracket].text != "{":
            return False
        if before.text in ("{", "}", ";", "else", "do") or before.text == ":" and self._ends_label(i - 1):
            return True
        return before.text == ")" and self.tokens[before.match - 1].text in ("if", "for", "while")

    def _ends_label(self, i):
        while self.tokens[i - 1].text not in (";", "{", "}", "?"):
            i -= 1
        return self.tokens[i].text in ("case", "default")

    def _statement(self, i, owner):
        block_end = self.tokens[self.tokens[i].inside].match
        end = next((j for j in self.source.top(i, block_end) if self.tokens[j].text == ";"), None)
        kind = self._kind_of_statement(i, end, owner) if end is not None else None
        if kind:
            self._add(f"drop {kind}", i, [Wrap(i, end, instead=replaced((i, end), ";"))],
                      lambda n: [Wrap(i, end, f"{{ if (!mutation::on({n})) ", " }")])

    def _kind_of_statement(self, i, end, owner):
        word = self.tokens[i].text
        if word == "return":
            return "return" if self._may_go_on(i, end, owner) else None
        if word in ("break", "continue"):
            return word
        if word in NOT_A_STATEMENT or self.tokens[i].kind not in ("word", "sign"):
            return None
        top = self.source.top(i, end)
        texts = [self.tokens[j].text for j in top]
        signs = [j for j, text in enumerate(texts) if text in ASSIGNMENTS]
        if self._declares(top[:signs[0]] if signs else top):
            return None
        if signs:
            return "assignment"
        if "++" in texts or "--" in texts:
            return "step"
        return "call" if texts[-1:] == ["("] and self.tokens[i].kind == "word" else None

    def _declares(self, top):
        """Whether a statement names a type and what is of it."""
        for number, (a, b) in enumerate(zip(top, top[1:])):
            a, b = self.tokens[a], self.tokens[b]
            points = number > 0 and a.text in ("*", "&") and not a.space_after
            of_type = a.kind == "word" or a.text in (">", ">>") or points
            if b.kind == "word" and of_type:
                return True
        return False

    def _may_go_on(self, i, end, owner):
        """Whether the code after a return is reached without it, so that the function still returns."""
        before, after = self.tokens[i - 1], self.tokens[end + 1]
        if before.text == ")":
            return after.text != "else"
        if after.text != "}" or end + 1 == self.tokens[owner.body].match:
            return False
        opening = after.match
        behind = self.tokens[end + 2]
        return self.tokens[opening - 1].text == ")" and behind.text not in ("else", "}", ")", ",", ";")


def replaced(extent, text):
    """Replaces a whole range of tokens."""
    return {i: text if i == extent[0] else "" for i in range(extent[0], extent[1] + 1)}


def rendered(source, wraps):
    """The source's text with the wraps in it: those around much outside of those around little, and of two around the
    same the one that parts it inside. Lines stay lines."""
    before, after, instead = {}, {}, {}
    for wrap in sorted(wraps, key=lambda wrap: (wrap.first - wrap.last, bool(wrap.instead))):
        before.setdefault(wrap.first, []).append(wrap.before)
        after.setdefault(wrap.last, []).insert(0, wrap.after)
        instead.update(wrap.instead)
    parts, at = [], 0
    for i in sorted({*before, *after, *instead}):
        token = source.tokens[i]
        parts += [source.text[at:token.begin], *before.get(i, ()), instead.get(i, token.text), *after.get(i, ())]
        at = token.end
    return "".join([*parts, source.text[at:]])


def schema_wraps(numbers):
    """The wraps that hold many mutants of one source at once, by their numbers."""
    wraps, places = [], {}
    for mutant, number in numbers.items():
        if mutant.place is None:
            wraps += mutant.schema(number)
        else:
            places.setdefault(mutant.place, []).append(
                f"mutation::way<{number}, mutation::{mutant.place.alternatives[mutant]}>")
    for place, ways in places.items():
        wraps += place.render(", ".join(ways))
    return wraps


def generate(root):
    """All mutants of the libraries, each with its ordinal, and the sources."""
    sources = read_sources(root)
    mutants = [mutant for source in sources for mutant in Generator(source).mutants]
    counts = {}
    for mutant in mutants:
        key = mutant.owner.label, mutant.operator
        counts[key] = mutant.ordinal = counts.get(key, 0) + 1
    return mutants, sources
