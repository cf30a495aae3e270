# SPDX-License-Identifier: MIT
"""The parts of Conan that the recipe uses, each doing what Conan's own does on this machine, without Conan."""
import hashlib
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import types
import urllib.request


class Settings:
    os, compiler, build_type, arch = "Linux", "gcc", "Release", "x86_64"


class Info:
    """The information of a package for its consumers; an unset attribute is an empty list."""

    def __init__(self):
        self.components = Components()
        self.properties = {}

    def set_property(self, name, value):
        self.properties[name] = value

    def __getattr__(self, name):
        return []


class Components(dict):
    def __missing__(self, name):
        return self.setdefault(name, Info())


class ConanFile:
    def __init__(self, recipe, scratch, shared):
        assert set(type(self).settings) == {"os", "compiler", "build_type", "arch"}
        self.settings = Settings
        text = (recipe / "conandata.yml").read_text(encoding="utf-8")
        version, url, digest = re.fullmatch(
            r'sources:\n  "([\d.]+)":\n    url: "([^"]+)"\n    sha256: "(\w{64})"\n', text).groups()
        self.conan_data = {"sources": {version: {"url": url, "sha256": digest}}}
        self.options = types.SimpleNamespace(**{**self.default_options, "shared": shared})
        assert all(vars(self.options)[name] in values for name, values in type(self).options.items())
        self.cpp_info = Info()
        self.scratch = scratch
        self.package_folder = str(scratch / "package")


def cmake_layout(recipe, src_folder):
    recipe.source_folder = str(recipe.scratch / src_folder)
    recipe.build_folder = str(recipe.scratch / "build")


def get(recipe, url, sha256, strip_root):
    data = urllib.request.urlopen(url).read()
    assert hashlib.sha256(data).hexdigest() == sha256, "another tarball"
    assert strip_root
    tarball = recipe.scratch / "tarball"
    tarball.write_bytes(data)
    with tarfile.open(tarball) as members:
        members.extractall(recipe.scratch / "unpacked")
    (top,) = (recipe.scratch / "unpacked").iterdir()
    top.rename(recipe.source_folder)


class CMakeToolchain:
    def __init__(self, recipe):
        self.recipe = recipe
        self.cache_variables = {"BUILD_SHARED_LIBS": recipe.options.shared, "CMAKE_BUILD_TYPE": recipe.settings.build_type,
                                "CMAKE_POSITION_INDEPENDENT_CODE": recipe.options.fPIC, "CMAKE_INSTALL_LIBDIR": "lib"}

    def generate(self):
        self.recipe.toolchain = [f"-D{name}={'ON' if value is True else 'OFF' if value is False else value}"
                                 for name, value in self.cache_variables.items()]


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def run(self, *arguments):
        subprocess.run(["cmake", *arguments], check=True, stdout=subprocess.DEVNULL)

    def configure(self):
        self.run("-S", self.recipe.source_folder, "-B", self.recipe.build_folder, "-G", "Ninja",
                 "-DCMAKE_INSTALL_PREFIX=" + self.recipe.package_folder, *self.recipe.toolchain)

    def build(self):
        self.run("--build", self.recipe.build_folder)

    def install(self):
        self.run("--install", self.recipe.build_folder)


def copy(recipe, pattern, src, dst):
    pathlib.Path(dst).mkdir(parents=True, exist_ok=True)
    for file in pathlib.Path(src).glob(pattern):
        shutil.copy(file, dst)


def rmdir(recipe, folder):
    shutil.rmtree(folder, ignore_errors=True)


def offer():
    """Puts these parts where the recipe imports them from."""
    parts = {"conan": {"ConanFile": ConanFile}, "conan.tools": {},
             "conan.tools.cmake": {"CMake": CMake, "CMakeToolchain": CMakeToolchain, "cmake_layout": cmake_layout},
             "conan.tools.files": {"copy": copy, "get": get, "rmdir": rmdir}}
    for name, members in parts.items():
        sys.modules[name] = types.ModuleType(name)
        vars(sys.modules[name]).update(members)
