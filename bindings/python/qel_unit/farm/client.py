# SPDX-License-Identifier: MIT
"""All units of a folder of results, asked by as many workers as there are."""

import hashlib
import os
from typing import Any, List, Optional, Union

from .manifest import Manifest
from .queries import Layer, Lookup, Nearest, Question, answer, merge
from .sources import OWN_FOLDER

#: Units a task, of which one costs tens of milliseconds to load.
_MOST_UNITS = 32
#: Answers that one task merges.
_MOST_PARTS = 64


class Farm:
    """The units of a folder, asked through a client of Dask's scheduler. Each answer is a future of a list of `Hit`.

    with Client("tcp://…") as client:
        farm = Farm("results", client)
        print(farm.nearest(0x2BE, 8).result())

    Each group of units has a worker of its own, which holds them open: the same units are asked there again. Should it
    go, others do its work. `memory` bounds what a worker's open units take, a quarter of its memory unless given.
    """

    def __init__(self, out: Union[str, "os.PathLike[str]"], client: Any, memory: Optional[int] = None) -> None:
        self.out = os.path.abspath(os.fspath(out))
        self._client, self._memory = client, memory
        self.units = units_in(self.out)

    def __repr__(self) -> str:
        return "<Farm of {} units in {!r}>".format(len(self.units), self.out)

    def nearest(self, key: int, k: int = 8) -> Any:
        """The `k` tokens nearest to a key, nearest first."""
        return self.ask(Nearest(key, k))

    def lookup(self, wanted: Union[int, str, bytes]) -> Any:
        """Each unit's token with a key (a number) or with an identity (a text)."""
        return self.ask(Lookup(wanted))

    def layer(self, layer: int, limit: Optional[int] = None) -> Any:
        """The tokens of a layer by path and number, at most `limit` of them."""
        return self.ask(Layer(layer, limit))

    def ask(self, question: Question) -> Any:
        """The answer to a question of any kind."""
        workers = sorted(self._client.scheduler_info()["workers"])
        most = max(1, min(_MOST_UNITS, -(-len(self.units) // max(2 * len(workers), 1))))
        parts = [
            self._client.submit(answer, question, self.out, group, self._memory, pure=False,
                                workers=[_home(group[0], workers)], allow_other_workers=True)
            for group in _groups(self.units, most)]
        while len(parts) > 1 or not parts:
            parts = [self._client.submit(merge, group, question.most, pure=False)
                     for group in _groups(parts, _MOST_PARTS) or [[]]]
        return parts[0]


def _groups(items: List[Any], most: int) -> List[List[Any]]:
    return [items[first : first + most] for first in range(0, len(items), most)]


def _home(unit: str, workers: List[str]) -> str:
    """The worker of a group: one that comes or goes moves only its share of them."""
    def weight(worker: str) -> bytes:
        return hashlib.blake2b((worker + "\n" + unit).encode("utf-8", "surrogateescape")).digest()

    return max(workers, key=weight)


def units_in(out: str) -> List[str]:
    """The unit files of a folder: those of its manifest, or all where it has none."""
    if os.path.exists(os.path.join(out, Manifest.NAME)):
        entries = Manifest(out).entries.values()
        return sorted(os.path.join(entry.result, "tokens.qel") for entry in entries if entry.done and entry.tokens > 0)
    found = []
    for folder, folders, names in os.walk(out):
        folders[:] = [name for name in folders if name != OWN_FOLDER]
        found += [os.path.relpath(os.path.join(folder, name), out) for name in names if name.endswith(".qel")]
    return sorted(found)
