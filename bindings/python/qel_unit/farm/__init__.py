# SPDX-License-Identifier: MIT
"""Archives and units on many machines, by Dask's distributed scheduler: `python3 -m qel_unit.farm --help`.

An optional part of the package: it wants `distributed` (Debian: python3-distributed; pip: qel-unit[farm]). `convert`
makes units, scenes and caches of any number of archives, and a `Farm` asks all units of them.
"""

try:
    import distributed as _distributed  # noqa: F401
except ImportError as _missing:
    raise ImportError(
        "qel_unit.farm wants Dask's distributed scheduler (Debian: python3-distributed; pip: qel-unit[farm])"
    ) from _missing

from .client import Farm
from .manifest import Entry, Manifest
from .queries import Hit
from .run import Options, Summary, convert

__all__ = ["Entry", "Farm", "Hit", "Manifest", "Options", "Summary", "convert"]
