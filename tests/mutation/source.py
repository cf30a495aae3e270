# SPDX-License-Identifier: MIT
"""Reads a C++ source as tokens and finds the function or constant that each of them belongs to.

This is no compiler: it relies on how clang-format writes these sources. A binary operator has a space on both of its
sides, the angle of a template or the star of a pointer has not. What is compiled for other platforms alone is left out.
"""

import dataclasses
import re

TOKEN = re.compile(
    r"""(?P<space>\s+|//[^\n]*|/\*.*?\*/)
      | (?P<directive>^\#(?:[^\n]*\\\n)*[^\n]*)
      | (?P<string>(?:u8|[uUL])?R"(?P<mark>[^(]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:\\.|[^"\\])*")
      | (?P<character>'(?:\\.|[^'\\])+')
      | (?P<number>\.?\d(?:[eEpP][+-]\d|['\w.])*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|->|::|\+\+|--|&&|\|\||\.\.\.|[<>=!+\-*/%&|^]=|<<|>>|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)

CLOSING = {"(": ")", "[": "]", "{": "}"}
OTHER_PLATFORM = re.compile(r"(?<!!)defined\((?:_WIN32|_MSC_VER)\)")
NOT_A_NAME = {"alignas", "decltype", "noexcept", "__attribute__", "explicit", "if", "sizeof", "static_assert"}
AFTER_PARAMETERS = {"const", "noexcept", "override", "final"}


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    begin: int
    end: int
    line: int
    space_before: bool = False
    space_after: bool = False
    match: int = -1  # of a bracket: its other side
    inside: int = -1  # the bracket around it
    owner: "Owner | None" = None


@dataclasses.dataclass(eq=False)
class Owner:
    """A function, or a variable outside of functions: what mutants are named after."""
    name: str
    path: str
    first: int
    last: int
    parameters: str = ""
    body: int = -1  # the brace that opens a function's body
    label: str = ""  # the name, with as much more as makes it the only one


class Source:
    """The tokens of one file, their brackets and owners."""

    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.tokens = []
        self.owners = []
        self._read()
        self._match()
        self._walk(0, len(self.tokens), "")

    def _read(self):
        active, line, spaced = [True], 1, True
        for match in TOKEN.finditer(self.text):
            kind, text = match.lastgroup, match[0]
            kind = "string" if kind == "mark" else kind
            if kind == "directive":
                _follow_directive(text, active)
            if kind in ("space", "directive"):
                if self.tokens:
                    self.tokens[-1].space_after |= not spaced or self.tokens[-1].end == match.start()
                spaced = True
            elif all(active):
                self.tokens.append(Token(kind, text, match.start(), match.end(), line, spaced))
                spaced = False
            line += text.count("\n")

    def _match(self):
        open_brackets = []
        for i, token in enumerate(self.tokens):
            if token.kind == "sign" and token.text in CLOSING.values():
                opening = open_brackets.pop()
                assert CLOSING[self.tokens[opening].text] == token.text, f"{self.path}:{token.line}"
                token.match, self.tokens[opening].match = opening, i
            token.inside = open_brackets[-1] if open_brackets else -1
            if token.kind == "sign" and token.text in CLOSING:
                open_brackets.append(i)

    def _walk(self, begin, end, scope):
        """Finds the owners in the body of a namespace or class."""
        head = i = begin
        while i < end:
            token = self.tokens[i]
            if token.text == ";":
                self._own_variable(head, i + 1, scope)
                head = i = i + 1
            elif token.text == ":" and self.tokens[i - 1].text in ("public", "private", "protected"):
                head = i = i + 1
            elif token.text == "{" and token.kind == "sign":
                head = self._enter(head, i, scope)
                i = token.match + 1
            elif token.match > i:
                i = token.match + 1
            else:
                i += 1

    def _enter(self, head, brace, scope):
        """Looks at a brace outside of functions; returns where the next declaration begins."""
        close = self.tokens[brace].match
        shape = self.top(self._behind_template(head), brace)
        words = [self.tokens[i].text for i in shape]
        before = self.tokens[brace - 1]
        if "namespace" in words or words[:1] == ["extern"] and len(words) == 2:
            self._walk(brace + 1, close, scope)
        elif "=" in words and "operator" not in words or before.text in ("=", ","):
            return head
        elif "enum" in words:
            self._own(_last_name(words, stop=":"), head, close + 1, scope)
        elif {"class", "struct", "union"} & set(words) and "(" not in words:
            self._walk(brace + 1, close, scope + _last_name(words, stop=":") + "::")
            return close + 1
        elif "(" not in words:
            return head  # a variable and its braces
        elif ":" in words and before.kind == "word" and before.text not in AFTER_PARAMETERS:
            return head  # a member that a constructor initialises
        else:
            self._own_function(head, brace, scope)
        return close + 1

    def _own_function(self, head, brace, scope):
        shape = self.top(self._behind_template(head), brace)
        opening = next((i for i in shape if self.tokens[i].text == "(" and i > head and
                        (self.tokens[i - 1].kind == "word" and self.tokens[i - 1].text not in NOT_A_NAME or
                         "operator" in (self.tokens[i - 1].text, self.tokens[i - 2].text))), None)
        if opening is None:
            return
        first = opening - 1
        while self.tokens[first - 1].text in ("::", "~", "operator") or self.tokens[first].text == "::":
            first -= 1
        if self.tokens[first].text == "operator" and self.tokens[opening + 1].text == ")" == self.tokens[opening].text:
            opening += 2
        name = "".join(token.text for token in self.tokens[first:opening])
        close = self.tokens[opening].match
        owner = self._own(name, head, self.tokens[brace].match + 1, scope)
        owner.parameters = " ".join(self.slice(opening, close).split())
        owner.body = brace

    def _own_variable(self, head, end, scope):
        words = [self.tokens[i].text for i in self.top(self._behind_template(head), end)]
        values = [i for i, word in enumerate(words) if word in ("=", "{", "[")]
        if values and words[0] not in ("using", "friend", "static_assert") and words[values[0]:] != ["=", "default"]:
            self._own(_last_name(words[:values[0]]), head, end, scope)

    def _own(self, name, first, last, scope):
        owner = Owner(scope + name, self.path, first, last)
        self.owners.append(owner)
        for token in self.tokens[first:last]:
            token.owner = owner
        return owner

    def _behind_template(self, i):
        """The position of a declaration after its template parameters."""
        while i + 1 < len(self.tokens) and self.tokens[i].text == "template" and self.tokens[i + 1].text == "<":
            depth = 0
            while True:
                i += 1
                depth += {"<": 1, ">": -1, ">>": -2}.get(self.tokens[i].text, 0)
                if depth <= 0:
                    break
            i += 1
        return i

    def top(self, begin, end):
        """The tokens of a range outside its brackets; of each bracket, the opening one alone."""
        found, i = [], begin
        while i < end:
            found.append(i)
            i = max(self.tokens[i].match, i) + 1
        return found

    def slice(self, first, last):
        """The text from one token to another, both included."""
        return self.text[self.tokens[first].begin:self.tokens[last].end]


def _follow_directive(text, active):
    """Notes what a preprocessor line means to the lines after it."""
    words = re.sub(r"^#\s*", "", text)
    if words.startswith("if"):
        active.append(not OTHER_PLATFORM.search(words))
    elif words.startswith("elif"):
        active[-1] = not active[-1] and not OTHER_PLATFORM.search(words)
    elif words.startswith("else"):
        active[-1] = not active[-1]
    elif words.startswith("endif"):
        active.pop()


def _last_name(words, stop=None):
    words = words[:words.index(stop)] if stop in words else words
    names = [word for word in words if re.match(r"[A-Za-z_]", word) and word != "final"]
    return names[-1] if names else ""


def read_sources(root):
    """All sources of the libraries, with labels that are unique to every owner of the project."""
    sources = []
    for path in sorted((root / "src").rglob("*")):
        if path.suffix in (".h", ".cpp"):
            sources.append(Source(str(path.relative_to(root)), path.read_text()))
    _label([owner for source in sources for owner in source.owners])
    return sources


def _label(owners):
    """The name alone where there is only one such; else with its parameters; else with its file's as well. What is even
    then the same, as the forms for several platforms, counts as one."""
    ways = (lambda owner: owner.name,
            lambda owner: owner.name + owner.parameters,
            lambda owner: f"{owner.name}{owner.parameters} in {owner.path.split('/')[-1].split('.')[0]}")
    for way in ways:
        groups = {}
        for owner in owners:
            owner.label = way(owner)
            groups.setdefault(owner.label, []).append(owner)
        owners = [owner for group in groups.values() if len(group) > 1 for owner in group]
