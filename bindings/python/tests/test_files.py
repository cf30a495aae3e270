# SPDX-License-Identifier: MIT
"""What is saved is whole or raises and leaves the old file; what cannot be opened raises the system's own error."""

import errno
import os
import stat
import subprocess
import sys
import threading
import unittest
from pathlib import Path
from typing import Any, Callable, Dict, List, Type
from unittest import mock

from qel_unit import AgentDirectory, Archive, Mesh, MeshCache, Scene, SceneMesh, Unit, cache
from qel_unit._raw import SIGNATURES

from .support import FOLDER, TORUS, Case
from .test_unit import TOKENS

LINUX = sys.platform == "linux"
POSIX = os.name == "posix"
TRIANGLE = [(0, 0, 0), (1, 0, 0), (0, 2, 0)]
COUNT = 3000  # of vertices, so that files are longer than a stream's buffer

Saver = Callable[[Any], None]


def savers(case: Case) -> Dict[str, Saver]:
    """A call for every function that writes a file."""
    points = [(float(place), 0.0, 0.0) for place in range(COUNT)]
    mesh = SceneMesh.from_arrays(points, [0, 1, 2])
    scene = Scene([mesh, SceneMesh.from_arrays(TRIANGLE)])
    cached = Mesh.from_arrays(points, [0, 1, 2])
    directory = AgentDirectory()
    case.addCleanup(directory.close)
    for _ in range(300):
        directory.spawn()
    return {
        "qel_unit_save": Unit.from_tokens(TOKENS * 200).save,
        "qel_alembic_save": scene.save,
        "qel_alembic_export_qel": mesh.export,
        "qel_alembic_export_file_qel": scene.export,
        "qel_mesh_save": lambda path: cache.save(path, cached),
        "qel_agent_dir_save": directory.save,
    }


LOADERS: List[Callable[[Any], Any]] = [Unit.load, Scene.load, MeshCache.load, Archive, AgentDirectory.load]


class Saving(Case):
    def setUp(self) -> None:
        super().setUp()
        self.savers = savers(self)

    def names(self) -> List[str]:
        return sorted(path.name for path in self.folder.iterdir())

    def refuses(self, kind: Type[OSError], path: Any, save: Saver) -> None:
        """The path that the error names is the one that was given."""
        with self.assertRaises(kind) as caught:
            save(path)
        self.assertEqual(caught.exception.filename, os.fspath(path))

    def test_every_function_that_saves_is_tried_here(self) -> None:
        writing = [name for name in SIGNATURES if "save" in name or "export" in name]
        self.assertEqual(sorted(self.savers), sorted(writing))

    @unittest.skipUnless(POSIX, "needs permissions and links")
    def test_modes_and_links_of_what_is_replaced_stay(self) -> None:
        for name, save in self.savers.items():
            with self.subTest(name):
                target, link, dangling = self.file(name), self.file(name + ".link"), self.file(name + ".dangling")
                target.write_bytes(b"old")
                target.chmod(0o604)
                link.symlink_to(target.name)
                dangling.symlink_to(name + ".new")
                save(link)
                save(dangling)
                self.assertTrue(link.is_symlink() and dangling.is_symlink())
                self.assertEqual(stat.S_IMODE(target.stat().st_mode), 0o604)
                self.assertEqual(target.stat().st_size, self.file(name + ".new").stat().st_size)
                self.assertGreater(target.stat().st_size, 4096)

    @unittest.skipUnless(POSIX and hasattr(os, "geteuid") and os.geteuid() == 0, "needs the right to change owners")
    def test_owners_of_what_is_replaced_stay(self) -> None:
        for name, save in self.savers.items():
            with self.subTest(name):
                self.file(name).write_bytes(b"old")
                os.chown(self.file(name), 65534, 65533)
                save(self.file(name))
                self.assertEqual((self.file(name).stat().st_uid, self.file(name).stat().st_gid), (65534, 65533))

    @unittest.skipUnless(POSIX, "needs a mask of permissions")
    def test_a_new_file_has_the_permissions_of_any_new_file(self) -> None:
        before = os.umask(0o027)
        self.addCleanup(os.umask, before)
        for name, save in self.savers.items():
            save(self.file(name))
            self.assertEqual(stat.S_IMODE(self.file(name).stat().st_mode), 0o640, name)

    def test_other_files_are_left_alone(self) -> None:
        for name, save in self.savers.items():
            with self.subTest(name):
                for other in (name + ".tmp", name + "~", "." + name):
                    self.file(other).write_bytes(b"mine")
                before = self.names()
                save(self.file(name))
                save(os.fsencode(self.file(name)))
                self.assertEqual(self.names(), sorted([*before, name]))
                self.assertEqual(self.file(name + ".tmp").read_bytes(), b"mine")

    def test_what_cannot_be_written_names_its_reason_and_path(self) -> None:
        for name, save in self.savers.items():
            with self.subTest(name):
                self.refuses(FileNotFoundError, self.folder / "none" / "x", save)
                self.refuses(FileNotFoundError, str(self.folder / "none" / ".." / "x"), save)
                self.refuses(FileNotFoundError, "", save)
                self.refuses(IsADirectoryError, self.folder, save)
                self.refuses(IsADirectoryError, str(self.file("x")) + "/", save)
                self.assertRaises(ValueError, save, "a\0b")
        self.assertEqual(self.names(), [])

    def test_a_failing_disk_raises_and_the_old_file_stays(self) -> None:
        for name, save in self.savers.items():
            with self.subTest(name), mock.patch("os.fsync", side_effect=OSError(errno.EIO, "late")):
                self.refuses(OSError, self.file(name), save)
                self.file(name).write_bytes(b"old")
                self.refuses(OSError, self.file(name), save)
            self.assertEqual(self.file(name).read_bytes(), b"old")
        self.assertEqual(self.names(), sorted(self.savers))

    @unittest.skipUnless(LINUX, "needs a device that is always full")
    def test_a_full_device_raises(self) -> None:
        full, null = self.file("full"), self.file("null")  # links: should they be replaced, the devices are not
        full.symlink_to("/dev/full")
        null.symlink_to("/dev/null")
        for name, save in self.savers.items():
            with self.subTest(name), self.assertRaises(OSError) as caught:
                save(full)
            self.assertEqual((caught.exception.errno, caught.exception.filename), (errno.ENOSPC, str(full)))
            save(null)
        self.assertTrue(full.is_char_device() and full.is_symlink() and null.is_char_device() and null.is_symlink())

    @unittest.skipUnless(LINUX, "looks into /proc")
    def test_a_file_without_a_name_gets_none(self) -> None:
        with open(self.file("gone"), "wb") as gone:
            self.file("gone").unlink()
            for save in self.savers.values():
                self.refuses(FileNotFoundError, "/proc/self/fd/{}".format(gone.fileno()), save)
        self.assertEqual(self.names(), [])

    @unittest.skipUnless(POSIX, "needs named pipes")
    def test_a_pipe_gets_the_whole_file(self) -> None:
        pipe = self.file("pipe")
        os.mkfifo(pipe)
        for name, save in self.savers.items():
            if name == "qel_unit_save" or name == "qel_agent_dir_save":
                continue  # they hold the time
            got: List[bytes] = []
            reader = threading.Thread(target=lambda got=got: got.append(pipe.read_bytes())) 
            reader.start()
            save(pipe)
            reader.join()
            save(self.file(name))
            self.assertEqual(got, [self.file(name).read_bytes()])
        self.assertTrue(pipe.is_fifo())

    @unittest.skipUnless(LINUX, "needs a limit on file sizes")
    def test_a_full_disk_raises_and_the_old_file_stays(self) -> None:
        program = """
import errno, resource
from tests.support import Case
from tests.test_files import savers
case = Case()
case.setUp()
for name, save in savers(case).items():
    path = case.file(name)
    save(path)
    whole = path.stat().st_size
    for present in True, False:
        path.write_bytes(b"old") if present else path.unlink()
        for limit in 0, 10, 4096, whole - 1, whole:
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, resource.RLIM_INFINITY))
            try:
                save(path)
            except OSError as error:
                assert error.filename == path or error.filename == str(path), error.filename
                assert limit < whole and error.errno == errno.EFBIG, error
                assert path.read_bytes() == b"old" if present else not path.exists(), (name, limit)
            else:
                assert limit == whole, (name, limit, "nothing raised")
                assert path.stat().st_size == whole, name
            assert [other.name for other in case.folder.iterdir()] == [name] * path.exists()
            resource.setrlimit(resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
    path.unlink()
case.doCleanups()
print("whole")
"""
        self.assertEqual(self.run_program(program), "whole\n")

    def run_program(self, program: str, *paths: Path) -> str:
        ended = subprocess.run(
            [sys.executable, "-W", "error", "-c", program, *without_numpy(), *map(str, paths)], capture_output=True,
            text=True, cwd=str(FOLDER.parent))
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        return ended.stdout

    @unittest.skipUnless(POSIX, "needs permissions")
    def test_permissions_are_respected(self) -> None:
        program = """
import os, sys
from pathlib import Path
from tests.support import Case
from tests.test_files import LOADERS, savers
if os.geteuid() == 0:
    os.seteuid(65534)  # nobody
protected, hidden, new = map(Path, sys.argv[-3:])
case = Case()
calls = [(save, path) for save in savers(case).values() for path in (protected, new)]
calls += [(load, hidden) for load in LOADERS]
for call, path in calls:
    try:
        call(path)
    except PermissionError as error:
        assert error.filename == str(path), error.filename
    except RuntimeError:
        case.doCleanups()  # there is one agent directory at a time
    else:
        raise AssertionError(call, path)
print("respected")
"""
        self.folder.chmod(0o777)
        protected, hidden, new = self.file("protected"), self.file("hidden"), self.file("full") / "new"
        for path, mode in ((protected, 0o444), (hidden, 0)):
            path.write_bytes(b"old")
            path.chmod(mode)
        new.parent.mkdir()
        new.parent.chmod(0o555)
        self.assertEqual(self.run_program(program, protected, hidden, new), "respected\n")
        self.assertEqual(protected.read_bytes(), b"old")


def without_numpy() -> List[str]:
    return ["--without-numpy"] if "--without-numpy" in sys.argv else []


class Opening(Case):
    def test_a_missing_file_raises_with_its_path(self) -> None:
        missing = self.file("missing")
        paths: List[Any] = [missing, str(missing), os.fsencode(missing), ""]
        for load in LOADERS:
            for path in paths:
                with self.subTest(load=load, path=path), self.assertRaises(FileNotFoundError) as caught:
                    load(path)
                self.assertEqual(caught.exception.filename, os.fspath(path))

    def test_a_folder_raises_with_its_path(self) -> None:
        for load in LOADERS:
            with self.subTest(load), self.assertRaises(IsADirectoryError) as caught:
                load(self.folder)
            self.assertEqual(caught.exception.filename, str(self.folder))
            self.assertRaises(NotADirectoryError, load, TORUS / "x")

    @unittest.skipUnless(LINUX, "needs a path of more than 1,023 bytes")
    def test_a_path_comes_back_as_it_was_given(self) -> None:
        folder = self.folder
        while len(os.fsencode(folder)) < 1100:
            folder = folder / ("d" * 200)
        folder.mkdir(parents=True)
        path = folder / "torus.abc"
        path.write_bytes(TORUS.read_bytes())
        with Archive(path) as archive:
            self.assertEqual(archive.path, str(path))
            self.assertEqual(archive.read_polymesh().vertex_count, 1152)
        Scene([SceneMesh.from_arrays(TRIANGLE)]).save(folder / "scene")
        with Scene.load(os.fsencode(folder / "scene")) as scene:
            self.assertEqual(scene.source, str(folder / "scene"))
        self.assertEqual(Scene().source, "")

    @unittest.skipUnless(POSIX, "needs named pipes")
    def test_a_pipe_of_other_bytes_is_not_waited_for(self) -> None:
        pipe = self.file("pipe")
        os.mkfifo(pipe)
        writer = threading.Thread(target=lambda: pipe.write_bytes(bytes(64)))
        writer.start()
        self.fails("qel_unit_load", -3, Unit.load, pipe)
        writer.join()


def path_of(folder: Path, length: int) -> Path:
    """A path of so many bytes in a folder that exists."""
    while length - len(os.fsencode(folder)) > 100:
        folder = folder / ("d" * 50)
    folder.mkdir(parents=True, exist_ok=True)
    return folder / ("n" * (length - len(os.fsencode(folder)) - 1))


class LongAgentPaths(Case):
    def test_are_refused_before_anything_is_touched(self) -> None:
        whole, cut = path_of(self.folder, 256), path_of(self.folder, 255)
        cut.write_bytes(b"another file")
        before = sorted(self.folder.rglob("*"))
        with AgentDirectory() as directory:
            directory.spawn()
            self.refused(directory.save, whole)
            self.refused(directory.merge, whole)
            directory.save(self.folder / "short")
        self.refused(AgentDirectory, whole)
        self.refused(AgentDirectory.load, whole)
        self.refused(AgentDirectory, str(whole) * 20)
        with AgentDirectory():
            pass  # a refused one is not in the way
        self.assertEqual(cut.read_bytes(), b"another file")
        self.assertEqual(sorted(self.folder.rglob("*")), sorted([*before, self.folder / "short"]))

    def refused(self, call: Callable[[Any], Any], path: Any) -> None:
        with self.assertRaises(OSError) as caught:
            call(path)
        self.assertEqual(caught.exception.errno, errno.ENAMETOOLONG)
        self.assertEqual(caught.exception.filename, os.fspath(path))

    def test_that_just_fit_are_used_in_full(self) -> None:
        for length in (235, 250, 251, 254, 255):
            path = path_of(self.folder, length)
            with AgentDirectory(path) as directory:
                directory.spawn()
                directory.sync()
                self.assertEqual(path.stat().st_size, 64)
                directory.spawn()
            self.assertEqual(path.stat().st_size, 104)
            with AgentDirectory.load(path) as directory:
                directory.spawn()
            self.assertEqual(path.stat().st_size, 144)
            self.assertEqual([other for other in self.folder.rglob("*") if other.is_file()], [path])
            path.unlink()
