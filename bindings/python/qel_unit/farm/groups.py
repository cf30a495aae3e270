# SPDX-License-Identifier: MIT
"""How many archives go into a task: as many as take it seconds, by their bytes."""

from typing import Iterable, List

from .sources import Source

#: What an archive is thought to take before any has been measured.
_SECONDS_EACH, _BYTES_A_SECOND = 0.01, 50e6
#: A task's seconds at most, at least, and what bounds it where archives are very small.
_TASK_SECONDS, _LEAST_SECONDS, _MOST = 2.0, 0.1, 1000
#: A task is such a part of a worker's share in what is left, so that none is idle long while the last ones run.
_PARTS = 8


class Grouping:
    """Groups archives, the largest first, and learns from the seconds that groups took."""

    def __init__(self, sources: Iterable[Source], workers: int) -> None:
        self._left: List[Source] = sorted(sources, key=lambda source: (source.size, source.result))
        self._workers = max(workers, 1)
        self._factor = 1.0  # of the measured seconds to the estimated ones
        self._seconds_left = sum(map(_estimate, self._left))

    def __len__(self) -> int:
        return len(self._left)

    def next(self) -> List[Source]:
        """The next group; an empty one at the end."""
        share = self._seconds_left / (self._workers * _PARTS)
        most = max(min(share, _TASK_SECONDS / self._factor), _LEAST_SECONDS / self._factor)
        group: List[Source] = []
        seconds = 0.0
        while self._left and len(group) < _MOST and (not group or seconds + _estimate(self._left[-1]) <= most):
            group.append(self._left.pop())
            seconds += _estimate(group[-1])
        self._seconds_left = max(self._seconds_left - seconds, 0.0)
        return group

    def learn(self, group: Iterable[Source], seconds: float) -> None:
        """Tells what a group has taken."""
        estimated = sum(map(_estimate, group))
        if estimated > 0 and seconds > 0:
            self._factor = min(max(0.7 * self._factor + 0.3 * seconds / estimated, 0.01), 100.0)


def _estimate(source: Source) -> float:
    return _SECONDS_EACH + source.size / _BYTES_A_SECOND

