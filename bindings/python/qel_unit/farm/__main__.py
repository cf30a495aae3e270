# SPDX-License-Identifier: MIT
"""python3 -m qel_unit.farm: convert archives on many machines, and ask all that came of them."""

import argparse
import contextlib
import json
import os
import shutil
import signal
import sys
from typing import Any, Iterator, List, NoReturn

from .. import matrix
from . import cluster
from .client import Farm
from .manifest import Busy
from .progress import printable, tables, time_text
from .queries import Hit
from .run import Lost, Options, convert
from .sources import SourceError, find_sources
from .tool import Limits, ToolError

_PARTS = ("tokens", "scene", "cache", "agents")


def main() -> int:
    """The exit status: 0 done, 1 something failed, 2 a wrong call, 130 interrupted."""
    signal.signal(signal.SIGTERM, _interrupted)
    options = _parser().parse_args()
    try:
        return int(options.act(options))
    except SourceError as error:
        return _complain(str(error), 2)
    except (Busy, Lost, ToolError, OSError, TimeoutError) as error:
        return _complain(str(error) or type(error).__name__, 1)
    except KeyboardInterrupt:
        return _complain("interrupted; what is done stays done, and the same call goes on", 130)


def _interrupted(*_: Any) -> NoReturn:
    raise KeyboardInterrupt


def _complain(what: str, status: int) -> int:
    sys.stderr.write("qel_unit.farm: {}\n".format(printable(what)))
    return status


def _convert(options: argparse.Namespace) -> int:
    out = os.path.abspath(options.output)
    sources = find_sources(options.sources, sys.stdin, out)
    chosen = Options(
        ",".join(part for part in _PARTS if part in options.only), _tool(options), options.retries,
        Limits(options.time_limit or None, options.memory_limit or None), options.again, options.verify, options.quiet)
    made = convert(lambda: _connected(options), sources, out, chosen)
    if not options.quiet:
        print("\n".join(tables(made.entries)))
        done_before = len(sources) - made.converted - made.failed
        print("{} archives: {} converted, {} done before, {} failed, in {}".format(
            len(sources), made.converted, done_before, made.failed, time_text(made.seconds)))
    return 1 if made.failed else 0


@contextlib.contextmanager
def _connected(options: argparse.Namespace) -> Iterator[Any]:
    with cluster.connected(options.scheduler, options.workers) as client:
        link = cluster.dashboard(client)
        if link and not options.quiet:
            sys.stderr.write("dashboard: {}\n".format(link))
        yield client


def _tool(options: argparse.Namespace) -> str:
    """The tool's full path where it is found here; workers on other machines look for it by its name."""
    return os.path.abspath(shutil.which(options.tool) or "") if shutil.which(options.tool) else options.tool


def _ask(options: argparse.Namespace) -> int:
    with cluster.connected(options.scheduler, options.workers) as client:
        farm = Farm(options.out, client)
        if not farm.units:
            return _complain("{}: has no units in it".format(options.out), 1)
        if options.command == "nearest":
            hits = farm.nearest(options.place, options.count).result()
        elif options.command == "lookup":
            hits = farm.lookup(options.id if options.id is not None else options.place).result()
        else:
            hits = farm.layer(options.layer, options.limit).result()
    _print(hits, options.json, options.command == "nearest")
    return 0


def _print(hits: List[Hit], as_json: bool, with_hops: bool) -> None:
    """A table, or a JSON object a line; fields of 64 bits are texts there."""
    if not as_json:
        print("{:>10}  {:<8}  {:>20}  {:>5}  {:>10}  {}".format("TOKEN", "ID", "KEY", "LAYER", "HOPS", "FILE"))
    for hit in hits:
        if as_json:
            print(json.dumps({
                "file": hit.path, "token": hit.number, "hex_id": hit.hex_id, "morton": str(hit.morton),
                "layer": hit.layer, **({"hops": str(hit.hops)} if with_hops else {})}))
        else:
            print("{:10}  {:<8}  {:20}  {:5}  {:>10}  {}".format(
                hit.number, printable(hit.hex_id), hit.morton, hit.layer, hit.hops if with_hops else "",
                printable(hit.path)))


def _place(text: str) -> int:
    """A key, or the Morton code of a cell X,Y,Z of the lattice."""
    try:
        numbers = [int(part, 0) for part in text.split(",")]
    except ValueError:
        numbers = []
    if len(numbers) == 1 and 0 <= numbers[0] < 1 << 64:
        return numbers[0]
    if len(numbers) == 3 and all(0 <= number < 48 for number in numbers):
        return matrix.morton_encode(*numbers)
    raise argparse.ArgumentTypeError("{!r} is neither a key nor X,Y,Z with coordinates of 0 to 47".format(text))


def _size(text: str) -> int:
    """Bytes: 4GiB, 512MiB, 0 for no limit."""
    for unit, shift in (("KiB", 10), ("MiB", 20), ("GiB", 30), ("TiB", 40)):
        if text.endswith(unit) and text[:-3].isdigit():
            return int(text[:-3]) << shift
    if text.isdigit():
        return int(text)
    raise argparse.ArgumentTypeError("{!r} is no size like 4GiB".format(text))


def _parts(text: str) -> List[str]:
    parts = text.split(",")
    if not set(parts) <= set(_PARTS):
        raise argparse.ArgumentTypeError("{!r} is not some of {}".format(text, ",".join(_PARTS)))
    return parts


def _number(low: int, high: int = (1 << 31) - 1) -> Any:
    def parse(text: str) -> int:
        number = int(text) if text.isdigit() else -1
        if not low <= number <= high:
            raise argparse.ArgumentTypeError("{!r} is no number from {} to {}".format(text, low, high))
        return number

    return parse


def _identity(text: str) -> str:
    if not 0 < len(text.encode("utf-8", "replace")) <= 8:
        raise argparse.ArgumentTypeError("{!r} is no identity of up to eight characters".format(text))
    return text


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python3 -m qel_unit.farm", description=__doc__)
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    _add_convert(_command(commands, "convert", _convert, "make units, scenes and caches of archives"))
    for name, about in (("nearest", "the tokens of all units that are nearest to a place"),
                        ("lookup", "each unit's token with a key or an identity"), ("layer", "the tokens of a layer")):
        sub = _command(commands, name, _ask, about)
        sub.add_argument("out", metavar="OUT", help="folder that convert has filled")
        if name == "nearest":
            sub.add_argument("place", metavar="PLACE", type=_place, help="a key, or X,Y,Z: a cell of the lattice")
            sub.add_argument("-k", "--count", type=_number(1), default=8, metavar="N", help="number of tokens (8)")
        elif name == "lookup":
            wanted = sub.add_mutually_exclusive_group(required=True)
            wanted.add_argument("place", metavar="PLACE", nargs="?", type=_place, help="a key, or X,Y,Z")
            wanted.add_argument("--id", type=_identity, help="an identity instead")
        else:
            sub.add_argument("layer", metavar="LAYER", type=_number(0, 255), help="0 to 255")
            sub.add_argument("--limit", type=_number(1), default=1000, metavar="N", help="at most so many (1000)")
        sub.add_argument("--json", action="store_true", help="write a JSON object a line")
    return parser


def _command(commands: Any, name: str, act: Any, about: str) -> Any:
    sub = commands.add_parser(name, help=about, description=about)
    sub.set_defaults(act=act)
    sub.add_argument("--scheduler", metavar="ADDRESS",
                     help="join the cluster of this scheduler (tcp://…); "
                          "else one is started here and ends with the run")
    sub.add_argument("--workers", type=_number(1, 4096), metavar="N",
                     help="processes of a cluster that is started here")
    return sub


def _add_convert(sub: Any) -> None:
    sub.add_argument("sources", metavar="SOURCE", nargs="+",
                     help="archives, folders of them, globs; - reads names, one a line, from standard input")
    sub.add_argument("-o", "--output", metavar="OUT", required=True,
                     help="folder of the results, which mirrors the sources")
    sub.add_argument("--only", type=_parts, default=list(_PARTS), metavar="PART,...",
                     help="only these of " + ", ".join(_PARTS))
    sub.add_argument("--tool", default=os.environ.get("QEL_TOOL") or "qel", metavar="PATH",
                     help="the tool (QEL_TOOL, or qel)")
    sub.add_argument("--retries", type=_number(0, 1000), default=1, metavar="N",
                     help="how often a failure is tried again (1)")
    sub.add_argument("--time-limit", type=_number(0), default=600, metavar="SECONDS",
                     help="of an archive; 0 is none (600)")
    sub.add_argument("--memory-limit", type=_size, default=4 << 30, metavar="SIZE",
                     help="of an archive; 0 is none (4GiB)")
    sub.add_argument("--again", action="store_true", help="convert what is done, too")
    sub.add_argument("--verify", action="store_true", help="look at every result, not only whether its folder is there")
    sub.add_argument("-q", "--quiet", action="store_true", help="say nothing but what goes wrong")


if __name__ == "__main__":
    sys.exit(main())
