#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Types the shell sessions of the pages ("    $ command") and compares the output with the lines below each command.

Usage: sessions_test.py PROJECT FOLDER_OF_QEL
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

project, tool_folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
environment = {**os.environ, "PATH": f"{tool_folder}{os.pathsep}{os.environ['PATH']}"}
commands = 0
for page in [project / "README.md", *sorted((project / "docs").glob("*.md"))]:
    with tempfile.TemporaryDirectory() as folder:
        for name in ("torus.abc", "harbour.abc"):
            shutil.copy(project / "examples" / "data" / name, folder)
        for command, shown in re.findall(r"^    \$ (.+)\n((?:    (?!\$ ).*\n)*)", page.read_text(encoding="utf-8"), re.M):
            ended = subprocess.run(["sh", "-c", command], capture_output=True, text=True, cwd=folder, env=environment)
            shown = re.sub(r"^    ", "", shown, flags=re.M)
            if ended.stdout + ended.stderr != shown:  # the messages are last
                sys.exit(f"{page.name}: {command} prints\n{ended.stdout}{ended.stderr}instead of\n{shown}")
            commands += 1
print(f"{commands} commands, as the pages say")
sys.exit(commands == 0)
