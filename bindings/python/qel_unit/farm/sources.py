# SPDX-License-Identifier: MIT
"""Which archives are meant, and where the results of each go."""

import glob
import os
from typing import Dict, Iterable, Iterator, List, NamedTuple, TextIO

#: What begins a part of a path only in the folder of the results.
OWN_FOLDER = ".farm"


class SourceError(ValueError):
    """What is named is not there, or two sources would have one place."""


class Source(NamedTuple):
    """An archive, and the folder of its results within that of all."""

    path: str  # absolute
    result: str
    size: int
    attempts: int = 0  # made already, of this content


def find_sources(names: Iterable[str], listed: TextIO, out: str) -> List[Source]:
    """Every archive of files, folders, globs, and of the lines of `listed` where a name is "-".

    A folder's archives lie in the results as they do in the folder, files below their own path without its root.
    """
    places: Dict[str, Source] = {}
    for name in _all_names(names, listed):
        for path, result in _archives(name):
            full = os.path.abspath(path)
            if _is_inside(full, out):
                continue
            size = os.path.getsize(full) if os.path.exists(full) else 0
            known = places.setdefault(result, Source(full, result, size))
            if known.path != full:
                raise SourceError("{} and {} would have one place: {}".format(known.path, full, result))
    return sorted(places.values(), key=lambda source: source.result)


def _all_names(names: Iterable[str], listed: TextIO) -> Iterator[str]:
    for name in names:
        if name == "-":
            yield from (line.rstrip("\n") for line in listed if line.strip("\n"))
        elif not os.path.lexists(name) and glob.has_magic(name):
            found = sorted(glob.glob(name, recursive=True))
            if not found:
                raise SourceError("{}: nothing is called so".format(name))
            yield from found
        else:
            yield name


def _archives(name: str) -> Iterator["tuple[str, str]"]:
    """Path and place of a file, or of each archive in a folder."""
    if os.path.isdir(name):
        for folder, folders, files in os.walk(name, onerror=_unreadable):
            folders.sort()
            for file in files:
                path = os.path.join(folder, file)
                if file.endswith(".abc") and os.path.isfile(path):
                    yield path, os.path.relpath(path, name)
    elif os.path.lexists(name):
        yield name, os.path.normpath(name).lstrip(os.sep).replace(os.pardir + os.sep, "")
    else:
        raise SourceError("{}: no such file or folder".format(name))


def _unreadable(error: OSError) -> None:
    raise SourceError("{}: {}".format(error.filename, error.strerror))


def _is_inside(path: str, folder: str) -> bool:
    """Results are no sources, should they lie in the same folder."""
    return os.path.commonpath([path, folder]) == folder
