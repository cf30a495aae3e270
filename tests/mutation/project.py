# SPDX-License-Identifier: MIT
"""Compiles changed sources and links the tests with them. Everything else is taken from the release build as it is."""

import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
FOLDERS = ("common", "qel_unit", "qel_alembic", "ogawa_reader", "qel_archive", "failure", "regression")
FLAGS = ["-O1", "-g0", "-w", "-Wno-narrowing", "-fmax-errors=0", "-fno-diagnostics-show-caret"]


class Failed(Exception):
    """The compiler's or linker's words."""


def program_of(path):
    """The test program of a source's folder."""
    return path.split("/")[1] + "_tests"


def programs_of(path):
    """The test programs that a source's mutants meet: that of its folder, those that look at all folders; and the
    others where all stand on it."""
    own = program_of(path)
    others = [folder for folder in FOLDERS if own == "common_tests" or folder in ("failure", "regression")]
    return [own, *(f"{folder}_tests" for folder in others if f"{folder}_tests" != own)]


class Project:
    """The release build, its tests included: some of a header's code is compiled in them alone."""

    def __init__(self, work):
        self.build = ROOT / "build" / "release"
        self.work = work
        if not (self.build / "build.ninja").is_file():
            subprocess.run(["cmake", "--preset", "release"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
        programs = [f"{folder}_tests" for folder in FOLDERS]
        subprocess.run(["cmake", "--build", self.build, "--target", *programs], check=True, stdout=subprocess.DEVNULL)
        self.compiled = {}  # objects, as the build calls them: the source and how it is compiled
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            words = words[1:] if words[0].endswith("ccache") else words
            self.compiled[words[words.index("-o") + 1]] = (entry["file"], words)
        self.includes = self._read_dependencies()
        self.links = {program: self._link_command(program) for program in programs}
        self.pool = concurrent.futures.ThreadPoolExecutor(os.cpu_count())

    def _ask_ninja(self, *question):
        return subprocess.run(["ninja", "-C", self.build, "-t", *question], check=True, capture_output=True,
                              text=True).stdout

    def _read_dependencies(self):
        """For each object the sources of the libraries that it is made of."""
        text = self._ask_ninja("deps")
        includes, current = {}, set()
        for line in text.splitlines():
            if line.startswith("    "):
                path = os.path.relpath(os.path.join(self.build, line.strip()), ROOT)
                if path.startswith("src/"):
                    current.add(path)
            elif ":" in line:
                current = includes.setdefault(line.split(":")[0], set())
        return includes

    def _link_command(self, program):
        lines = self._ask_ninja("commands", program).splitlines()
        return shlex.split(re.search(r": && (.*?) && ", lines[-1] + " && ")[1])

    def objects_of(self, paths):
        """The libraries' objects that some sources go into."""
        paths = set(paths)
        return [name for name, sources in self.includes.items() if sources & paths and name in self.compiled and
                name.startswith("src/")]

    def tests_of(self, path):
        """The objects of a folder's own tests that hold code of one of its headers: what is inline there is compiled
        once more with each test that calls it, and the libraries may have no instance of it."""
        return [name for name, sources in self.includes.items() if path.endswith(".h") and path in sources and
                name in self.compiled and f"/{program_of(path)}.dir/" in name]

    def compile(self, variant, name):
        """Compiles an object with the sources that a variant has instead of the project's."""
        file, words = self.compiled[name]
        changed = variant.folder / "src" / os.path.relpath(file, ROOT / "src")
        target = variant.folder / "objects" / name
        target.parent.mkdir(parents=True, exist_ok=True)
        words = [word for word in words if not re.fullmatch(r"-O\d|-g\d?", word)]
        words[words.index("-o") + 1] = str(target)
        words[words.index("-c") + 1] = str(changed if changed.is_file() else file)
        options = [*FLAGS, f"-I{variant.folder / 'src'}"]
        if variant.schema:
            options += ["-include", str(HERE / "switch.h")]
        command = [*_ccache(), words[0], *options, *words[1:]]
        done = subprocess.run(command, cwd=self.build, capture_output=True, text=True)
        if done.returncode:
            raise Failed(done.stderr)
        return target

    def compile_all(self, variant, names):
        """Compiles objects in parallel; returns the compiler's messages for those that fail."""
        jobs = [self.pool.submit(self.compile, variant, name) for name in names]
        errors = []
        for job in jobs:
            try:
                job.result()
            except Failed as error:
                errors.append(str(error))
        if errors:
            raise Failed("\n".join(errors))

    def link(self, variant, program):
        """The test program with what a variant has compiled."""
        words = []
        for word in self.links[program]:
            own = variant.folder / "objects" / word
            words.append(str(own) if word.endswith(".o") and own.is_file() else word)
        target = variant.folder / program
        words[words.index("-o") + 1] = str(target)
        linker = ["-fuse-ld=lld"] if shutil.which("ld.lld") else []
        switch = [str(self._switch())] if variant.schema else []
        done = subprocess.run([*words, *switch, *linker, "-Wl,-S"], cwd=self.build, capture_output=True, text=True)
        if done.returncode:
            raise Failed(done.stderr)
        return target

    def _switch(self):
        target = self.work / "switch.o"
        if not target.is_file() or target.stat().st_mtime < (HERE / "switch.cpp").stat().st_mtime:
            subprocess.run(["c++", "-std=c++17", "-O1", "-c", HERE / "switch.cpp", "-o", target], check=True)
        return target


class Variant:
    """A folder with changed sources and what is made of them."""

    def __init__(self, folder, texts, schema):
        self.folder = folder
        self.schema = schema
        shutil.rmtree(folder, ignore_errors=True)
        for path, text in texts.items():
            self.write(path, text)

    def write(self, path, text):
        target = self.folder / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text)


def _ccache():
    return ["ccache"] if shutil.which("ccache") else []
