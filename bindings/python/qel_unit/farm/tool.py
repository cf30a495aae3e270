# SPDX-License-Identifier: MIT
"""The tool as a process of its own, with limits: what it does to itself, no worker feels."""

import functools
import os
import shutil
import signal
import subprocess
import time
from typing import List, NamedTuple, Optional

#: How much of what the tool says on standard error is kept.
_KEPT = 500


class Limits(NamedTuple):
    """What one archive may take; None is no limit."""

    seconds: Optional[float] = 600.0
    memory: Optional[int] = 4 << 30


class Ended(NamedTuple):
    """How a process ended."""

    code: int
    output: str
    message: str


@functools.lru_cache(maxsize=None)
def _found(program: str) -> Optional[str]:
    return shutil.which(program)


def _limited(command: List[str], memory: Optional[int]) -> List[str]:
    """The call by way of programs that set its limits; a worker of many threads cannot do so between fork and exec."""
    if memory is not None:
        command = ["/bin/sh", "-c", 'ulimit -v "$0" && exec "$@"', str(max(memory >> 10, 1)), *command]
    setpriv = _found("setpriv")
    if setpriv:  # where the worker is killed, the tool ends, too
        command = [setpriv, "--pdeathsig", "KILL", "--", *command]
    return command


def run(command: List[str], limits: Limits, folder: str) -> Ended:
    """Runs a call to its end, or kills it with all that it has started when its time is over."""
    try:
        process = subprocess.Popen(
            _limited(command, limits.memory), cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, start_new_session=True)
    except OSError as error:
        return Ended(127, "", str(error))
    try:
        output, errors = process.communicate(timeout=limits.seconds)
    except subprocess.TimeoutExpired:
        _kill(process)
        return Ended(-signal.SIGKILL, "", "stopped: it took longer than {:g} s".format(limits.seconds or 0))
    except BaseException:
        _kill(process)
        raise
    message = errors.decode(errors="replace").strip()
    if process.returncode < 0:
        message = (message + "\n" if message else "") + "ended by signal {}".format(-process.returncode)
    return Ended(process.returncode, output.decode(errors="replace"), message[-_KEPT:])


def _kill(process: "subprocess.Popen[bytes]") -> None:
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.communicate()


class ToolError(RuntimeError):
    """The tool cannot be run here."""


@functools.lru_cache(maxsize=None)
def version(tool: str) -> str:
    """What the tool calls itself."""
    started = time.monotonic()
    ended = run([tool, "--version"], Limits(60.0, None), os.sep)
    if ended.code != 0 or not ended.output.strip():
        raise ToolError("{} cannot be asked for its version ({:.1f} s): {}".format(
            tool, time.monotonic() - started, ended.message or "code {}".format(ended.code)))
    return ended.output.strip()
