# SPDX-License-Identifier: MIT
"""Questions to many units: what a worker answers over some of them, and how answers are merged.

The order does not depend on who answers what: by hops where there are any, then by path, then by number.
"""

import heapq
import itertools
import os
from typing import Iterable, List, NamedTuple, Optional, Union

from ..unit import Unit
from .units import of_process, share_of_memory


class Hit(NamedTuple):
    """A token of one of many units."""

    hops: int  # 0 where nothing is said of distances
    path: str  # of the unit, within the folder of all
    number: int
    morton: int
    hex_id: str
    layer: int
    payload: int


class Nearest(NamedTuple):
    """The k tokens nearest to a key: of each unit its own answer, of all the nearest."""

    key: int
    k: int

    def ask(self, unit: Unit, path: str) -> List[Hit]:
        """What one unit answers."""
        numbers, hops = unit.query_nearest(self.key, self.k)
        found = sorted(zip(hops.tolist(), numbers.tolist()))
        return [_hit(unit, path, number, distance) for distance, number in found]

    @property
    def most(self) -> Optional[int]:
        """How many hits there can be."""
        return max(self.k, 0)


class Lookup(NamedTuple):
    """The token of each unit with a key, or with an identity."""

    wanted: Union[int, str, bytes]

    def ask(self, unit: Unit, path: str) -> List[Hit]:
        """What one unit answers."""
        wanted = self.wanted
        number = unit.lookup_morton(wanted) if isinstance(wanted, int) else unit.lookup_hex(wanted)
        return [] if number is None else [_hit(unit, path, number, 0)]

    @property
    def most(self) -> Optional[int]:
        """How many hits there can be."""
        return None


class Layer(NamedTuple):
    """The tokens of a layer, the first ones by path and number."""

    layer: int
    limit: Optional[int] = None

    def ask(self, unit: Unit, path: str) -> List[Hit]:
        """What one unit answers."""
        return [_hit(unit, path, number, 0) for number in unit.query_layer(self.layer, self.limit).tolist()]

    @property
    def most(self) -> Optional[int]:
        """How many hits there can be."""
        return self.limit


Question = Union[Nearest, Lookup, Layer]


def _hit(unit: Unit, path: str, number: int, hops: int) -> Hit:
    token = unit.token(number)
    return Hit(hops, path, number, token.morton, token.hex_id, token.layer, token.payload)


def merge(parts: Iterable[List[Hit]], most: Optional[int] = None) -> List[Hit]:
    """The hits of several answers in the order of all, at most so many; a part may be merged from others."""
    return list(itertools.islice(heapq.merge(*parts), most))


def answer(question: Question, out: str, paths: List[str], memory: Optional[int] = None) -> List[Hit]:
    """What some units of a folder answer, in the order of all answers."""
    held = of_process(share_of_memory() if memory is None else memory)
    hits: List[Hit] = []
    for path in paths:
        with held.open(os.path.join(out, path)) as unit:
            hits = merge((hits, question.ask(unit, path)), question.most)
    return hits

