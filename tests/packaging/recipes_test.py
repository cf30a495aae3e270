#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A release's tarball and the recipes of vcpkg and Conan: each recipe is parsed, its steps are run on the tarball, and a
program is built with what they leave. Neither vcpkg nor Conan has to be there.

Usage: recipes_test.py FOLDER NAME    (where scripts/release.sh made the release; the tarball's name without its ending)
"""
import ast
import hashlib
import importlib
import json
import pathlib
import subprocess
import sys
import tarfile
import tempfile
import unittest

import conan_steps

HERE = pathlib.Path(__file__).resolve().parent
CONSUMERS = HERE.parent / "consumers"
HARBOUR = HERE.parent.parent / "examples" / "data" / "harbour.abc"
FOLDER, NAME = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]


def run(*command, **settings):
    ended = subprocess.run([str(part) for part in command], capture_output=True, text=True, **settings)
    if ended.returncode != 0:
        raise AssertionError(f"{command} failed:\n{ended.stdout}{ended.stderr}")
    return ended.stdout


class Recipes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.scratch = pathlib.Path(folder.name)

    def test_the_tarball_holds_only_the_sources(self):
        tarball = FOLDER / (NAME + ".tar.gz")
        for digest in ("sha256", "sha512"):
            self.assertEqual((FOLDER / f"{NAME}.tar.gz.{digest}").read_text(),
                             f"{hashlib.new(digest, tarball.read_bytes()).hexdigest()}  {NAME}.tar.gz\n")
        with tarfile.open(tarball) as members:
            files = members.getmembers()
        names = [file.name for file in files]
        self.assertEqual(names, sorted(names, key=lambda name: name.split("/")))
        self.assertEqual({(file.uid, file.gid, file.uname, file.gname) for file in files}, {(0, 0, "", "")})
        self.assertEqual(len({file.mtime for file in files}), 1)
        for wanted in ("CMakeLists.txt", "LICENSE", "include/qel_unit.h", "scripts/package.sh", "packaging/debian/control"):
            self.assertIn(f"{NAME}/{wanted}", names)
        self.assertEqual([name for name in names if not name.startswith(NAME) or "/build/" in name or "/.git/" in name], [])

    def test_every_placeholder_is_filled(self):
        for recipe in ("vcpkg", "conan"):
            for file in (FOLDER / recipe).iterdir():
                self.assertNotIn("@VERSION@", file.read_text())
                self.assertNotRegex(file.read_text(), r"@(URL|SHA\d+)@")

    def test_vcpkg_builds_what_find_package_finds(self):
        described = json.loads((FOLDER / "vcpkg" / "vcpkg.json").read_text())
        self.assertEqual((described["name"], described["version"]), ("qel-unit", NAME.partition("-")[2]))
        prefix = self.scratch / "prefix"
        run("cmake", f"-DPORT={FOLDER}/vcpkg/portfile.cmake", f"-DCURRENT_PACKAGES_DIR={prefix}",
            f"-DSCRATCH={self.scratch}", "-P", HERE / "vcpkg_steps.cmake")
        self.assertEqual(sorted(path.name for path in prefix.iterdir()), ["include", "lib", "share"])
        self.assertTrue((prefix / "share" / "qel-unit" / "copyright").read_text().startswith("MIT License"))
        run("cmake", "-S", CONSUMERS / "find_package", "-B", self.scratch / "program", "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={prefix}")
        run("cmake", "--build", self.scratch / "program")
        run(self.scratch / "program" / "archive_mesh", HARBOUR)

    def test_conan_builds_what_its_package_info_declares(self):
        path = FOLDER / "conan" / "conanfile.py"
        ast.parse(path.read_text(encoding="utf-8"))
        conan_steps.offer()
        sys.path.insert(0, str(path.parent))
        self.addCleanup(sys.path.remove, str(path.parent))
        module = importlib.import_module("conanfile")
        recipe = module.QelUnit(path.parent, self.scratch, shared=False)
        for step in ("layout", "source", "generate", "build", "package", "package_info"):
            getattr(recipe, step)()
        package = pathlib.Path(recipe.package_folder)
        self.assertEqual(sorted(path.name for path in package.iterdir()), ["include", "lib", "licenses"])
        self.assertEqual([path.name for path in (package / "licenses").iterdir()], ["LICENSE"])
        shared = module.QelUnit(path.parent, self.scratch, shared=True)
        shared.package_info()
        self.assertEqual([*shared.cpp_info.components["qel_unit"].defines], [])
        words = ["-I", package / "include", "-L", package / "lib"]
        for name in ("qel_archive", "qel_unit"):
            library = recipe.cpp_info.components[name]
            words += [f"-D{name}" for name in library.defines]
            words += [f"-l{name}" for name in [*library.libs, *library.system_libs]]
        run("gcc", "-std=c99", "-Werror", CONSUMERS / "archive_mesh.c", *words, "-o", self.scratch / "program")
        run(self.scratch / "program", HARBOUR)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
