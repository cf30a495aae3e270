# SPDX-License-Identifier: MIT
"""What can go wrong, as exceptions."""

from . import _raw, _raw_archive

_CODES = {**_raw.CODES, **_raw_archive.CODES}
_NAMES = {**_raw.CODE_NAMES, **_raw_archive.CODE_NAMES}


class QelError(Exception):
    """A function of the library answered with a code that is not 0."""

    def __init__(self, function: str, code: int) -> None:
        super().__init__(function, code)
        #: The function of the C interface.
        self.function = function
        #: Its status, -1 and below.
        self.code = code

    @property
    def name(self) -> str:
        """The code's name in the header."""
        return _NAMES.get(self.function, {}).get(self.code, str(self.code))

    @property
    def meaning(self) -> str:
        """What the header says of this code."""
        return _CODES.get(self.function, {}).get(self.code, "a code without a description")

    def __str__(self) -> str:
        return "{} failed with code {}: {}".format(self.function, self.code, self.meaning)


class ArchiveError(QelError):
    """An archive that cannot be read, or an object of it that has not what was asked for."""

    def __init__(self, function: str, code: int, path: str) -> None:
        super().__init__(function, code)
        self.args = (function, code, path)  # what a pickle is made of
        #: The archive's file.
        self.path = path

    def __str__(self) -> str:
        return "{}: {}".format(self.path, super().__str__())


class ClosedError(ValueError):
    """Something was used after its `close`."""


class CorruptFileError(ValueError):
    """A file's counts lead beyond its end, so that its arrays cannot be handed out."""


def check(function: str, code: int) -> None:
    """Raises what a status means, unless it is 0."""
    if code != 0:
        raise QelError(function, code)
