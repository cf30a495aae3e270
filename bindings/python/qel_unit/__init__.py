# SPDX-License-Identifier: MIT
"""Geometry out of Alembic files as meshes, tokens and mapped caches: `qel_unit` and `qel_archive` from Python.

Each module is a room of the libraries: `archive_tree`, `archive_property`, `archive`, `mesh`, `skin`, `cache`,
`scene`, `tokens`, `unit`, `matrix`, `verify`, `agents`. What has memory of its own can be closed and is a context
manager. Arrays come out as read-only views, NumPy arrays where NumPy is installed and memory views where it is not; a
view keeps alive what it looks at.
"""

from . import agents, archive, archive_property, archive_tree, cache, matrix, mesh, scene, skin, tokens, unit, verify
from ._raw import VERSION as __version__
from .agents import AgentDirectory
from .archive import Archive
from .archive_tree import ArchiveObject, ArchiveTree, open_archive
from .cache import MeshCache
from .errors import ArchiveError, ClosedError, CorruptFileError, QelError
from .mesh import Mesh
from .scene import Scene, SceneMesh
from .skin import Skin
from .tokens import Token
from .unit import Unit

__all__ = [
    "AgentDirectory", "Archive", "ArchiveError", "ArchiveObject", "ArchiveTree", "ClosedError", "CorruptFileError",
    "Mesh", "MeshCache", "QelError", "Scene", "SceneMesh", "Skin", "Token", "Unit", "__version__",
    "open_archive",
    "agents", "archive", "archive_property", "archive_tree", "cache", "matrix", "mesh", "scene", "skin", "tokens",
    "unit", "verify",
]
