#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Follows the front page: installs the library, then builds and runs its first program with the CMake lines and the
compiler command on it. If the tool was built, installs it as its page says and starts it.

Usage: install_test.py PROJECT BUILD_FOLDER C_COMPILER GENERATOR
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

project, build = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
compiler, generator = sys.argv[3:5]  # cmake's own choice, make, may be missing where the project was built
page = (project / "docs" / "index.md").read_text(encoding="utf-8")
shown = (project / "docs" / "snippets" / "first_program.txt").read_text(encoding="utf-8")
torus = str(project / "examples" / "data" / "torus.abc")
harbour = str(project / "examples" / "data" / "harbour.abc")


def block(language, word):
    """The page's block of that language that has the word in it."""
    return next(code for code in re.findall(rf"^```{language}\n([\s\S]*?)^```$", page, re.M) if word in code)


def run(*command, **settings):
    ended = subprocess.run([str(part) for part in command], capture_output=True, text=True, **settings)
    if ended.returncode != 0:
        sys.exit(f"{command} failed:\n{ended.stdout}{ended.stderr}")
    return ended.stdout


def expect(printed, how):
    if printed != shown:
        sys.exit(f"the program built {how} prints\n{printed}instead of\n{shown}")
    print(f"{how}: as the page says")


with tempfile.TemporaryDirectory() as scratch:
    if (build / "tools" / "qel" / "qel").exists():
        tool = pathlib.Path(scratch, "tool")
        lines = re.findall(r"^    (cmake --install .+?) *(?:#.*)?$", (project / "docs" / "tool.md").read_text("utf-8"), re.M)
        for line in lines:
            run(*line.replace("build/release", str(build)).replace("PREFIX", str(tool)).split(" "))
        without_paths = {name: value for name, value in os.environ.items() if name != "LD_LIBRARY_PATH"}
        if "sound: yes" not in run(tool / "bin" / "qel", "info", harbour, env=without_paths):
            sys.exit("the installed tool does not know a sound archive")
        print(f"{len(lines)} lines of the tool's page: an installed qel that starts")
    folder, prefix = pathlib.Path(scratch), pathlib.Path(scratch, "prefix")
    run("cmake", "--install", build, "--prefix", prefix)
    shutil.copy(project / "docs" / "snippets" / "first_program.c", folder / "program.c")
    (folder / "CMakeLists.txt").write_text("cmake_minimum_required(VERSION 3.21)\nproject(reader LANGUAGES C)\n"
                                           + block("cmake", "find_package").replace(
                                               "target_link", "add_executable(program program.c)\ntarget_link"))
    run("cmake", "-G", generator, "-S", folder, "-B", folder / "out", f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DCMAKE_C_COMPILER={compiler}")
    run("cmake", "--build", folder / "out")
    expect(run(folder / "out" / "program", torus, cwd=scratch), "with find_package")
    if not shutil.which("pkg-config"):
        print("with pkg-config: not tried, it is not installed")
    else:
        libraries = next(prefix.rglob("qel_unit.pc")).parent
        command = re.sub(r"^cc ", f"{compiler} -o program ", block("sh", "pkg-config").strip())
        run("sh", "-c", command, cwd=scratch, env={**os.environ, "PKG_CONFIG_PATH": str(libraries)})
        expect(run("./program", torus, cwd=scratch,
                   env={**os.environ, "LD_LIBRARY_PATH": str(libraries.parent)}), "with pkg-config")
