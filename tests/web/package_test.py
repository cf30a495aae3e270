# SPDX-License-Identifier: MIT
"""The npm package as its users have it: packed, installed in a project of their own, compiled, bundled and run.

PACKAGE names its folder, NPM the one with esbuild and TypeScript, SOURCE the project."""

import functools
import http.server
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest

SOURCE, PACKAGE, NPM = (pathlib.Path(os.environ[name]) for name in ("SOURCE", "PACKAGE", "NPM"))
sys.path[:0] = [str(SOURCE / "tests" / "tool"), str(SOURCE / "scripts")]

import interface  # noqa: E402
from browser import Browser, until  # noqa: E402

HARBOUR = SOURCE / "examples" / "data" / "harbour.abc"
MOST_BYTES = {"qel.wasm": 180_000, "qel-simd.wasm": 210_000, "qel.js": 120_000}  # more is an accident
MOST_PACKED = 220_000


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    extensions_map = {**http.server.SimpleHTTPRequestHandler.extensions_map, ".mjs": "text/javascript"}

    def log_message(self, format, *args):  # pylint: disable=redefined-builtin
        pass


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.project = pathlib.Path(scratch.name) / "project"
        shutil.copytree(SOURCE / "tests" / "web" / "consumer", cls.project)
        shutil.copy(HARBOUR, cls.project)
        (cls.project / "package.json").write_text('{ "name": "consumer", "private": true, "type": "module" }')
        cls.packed = json.loads(cls.run_in(scratch.name, "npm", "pack", str(PACKAGE), "--json"))[0]
        archive = pathlib.Path(scratch.name) / cls.packed["filename"]
        cls.run_in(cls.project, "npm", "install", "--offline", "--no-audit", "--no-fund", str(archive))
        types = cls.project / "node_modules" / "@types"
        types.mkdir(exist_ok=True)
        for name in ("@types/node", "undici-types"):
            shutil.copytree(NPM / "node_modules" / name, cls.project / "node_modules" / name)
        cls.run_in(cls.project, "node", str(NPM / "node_modules" / "typescript" / "bin" / "tsc"), "--noEmit")

    @staticmethod
    def run_in(folder, *command):
        run = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)
        if run.returncode != 0:
            raise AssertionError(f"{command}: {run.stdout}{run.stderr}")
        return run.stdout

    def bundle(self, entry, *options):
        out = self.project / (entry + ".mjs")
        self.run_in(self.project, str(NPM / "node_modules" / ".bin" / "esbuild"), entry + ".ts", "--bundle", "--target=es2022",
                    "--loader:.wasm=binary", "--loader:.abc=binary", f"--outfile={out}", "--log-level=warning", *options)
        return out

    def test_the_raw_layer_is_what_the_headers_declare(self):
        self.run_in(SOURCE, sys.executable, "-B", "scripts/generate_javascript.py", "--check")

    def test_it_runs_under_node_installed_and_from_a_bundle(self):
        lines = ["well, without SIMD"] * 2 + ["well, with SIMD"] * 2
        tsc = NPM / "node_modules" / "typescript" / "bin" / "tsc"
        self.run_in(self.project, "node", str(tsc))
        self.assertEqual(self.run_in(self.project, "node", "made/under_node.js", str(HARBOUR)).splitlines(), lines)
        # The module's files are beside the bundle, as they are beside the package.
        made = self.bundle("under_node", "--platform=node", "--format=esm")
        for name in ("qel.wasm", "qel-simd.wasm"):
            shutil.copy(PACKAGE / name, self.project)
        self.assertEqual(self.run_in(self.project, "node", str(made), str(HARBOUR)).splitlines(), lines)

    def test_it_runs_in_a_page_and_in_a_worker_of_chromium(self):
        script = self.bundle("in_browser", "--format=iife", "--define:import.meta.url='file:///'").read_text().replace("</script", "<\\/script")
        page = self.project / "page.html"
        page.write_text(f"""<!DOCTYPE html><link rel="icon" href="data:,"><script>
            window.answers = {{}};
            onmessage = (event) => {{ answers.page = event.data; }};
            </script><script id="own">{script}</script><script>
            const worker = new Worker(URL.createObjectURL(new Blob([document.getElementById('own').textContent])));
            worker.onmessage = (event) => {{ answers.worker = event.data; }};</script>""")
        with Browser(640, 480) as browser:
            browser.open(str(page))
            until(lambda: len(browser.run("return answers")) == 2, "an answer is missing", 120)
            both = "well, without SIMD; well, with SIMD"
            self.assertEqual(browser.run("return answers"), {"page": both + "; refused", "worker": both})
            self.assertEqual(browser.complaints(), [])

    def program(self, page, name):
        """The program that a page shows, as a source in the project."""
        text = re.search(r"```js\n(.*?)```", (SOURCE / page).read_text(encoding="utf-8"), re.S)[1]
        (self.project / f"{name}.ts").write_text(text, encoding="utf-8")
        for file in ("qel.wasm", "qel-simd.wasm"):
            shutil.copy(PACKAGE / file, self.project)

    def test_the_program_of_its_readme_runs_under_node(self):
        self.program("bindings/javascript/README.md", "readme")
        made = self.bundle("readme", "--platform=node", "--format=esm")
        self.assertRegex(self.run_in(self.project, "node", str(made)), r"\A63 Float32Array\(6\) \[(.|\n)*\]\n\{\n  numbers: Uint32Array\(5\)")

    def test_the_program_of_the_web_page_runs_in_a_worker_that_finds_the_module_on_a_server(self):
        self.program("docs/web.md", "dropped")
        made = self.bundle("dropped", "--format=esm")
        (self.project / "dropped.html").write_text(f"""<!DOCTYPE html><link rel="icon" href="data:,"><script type="module">
            const worker = new Worker('{made.name}', {{ type: 'module' }});
            worker.onmessage = (event) => {{ window.answer = event.data; }};
            worker.postMessage(new File([await (await fetch('harbour.abc')).blob()], 'harbour.abc'));</script>""")
        handler = functools.partial(QuietHandler, directory=str(self.project))
        with http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server, Browser(640, 480) as browser:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            browser.call("POST", browser.session + "/url", {"url": f"http://127.0.0.1:{server.server_port}/dropped.html"})
            until(lambda: browser.run("return window.answer || null"), "no answer")
            paths = browser.run("return window.answer")
            server.shutdown()
        self.assertEqual((len(paths), paths[:3]), (42, ["/", "/harbour", "/harbour/sea"]))

    def test_its_version_is_that_of_the_headers(self):
        self.assertEqual(self.packed["version"], interface.version())

    def test_it_is_small_and_holds_what_it_should(self):
        sizes = {entry["path"]: entry["size"] for entry in self.packed["files"]}
        for name in ("LICENSE", "README.md", "index.d.ts", "raw.d.ts", "node.js", "browser.js", *MOST_BYTES):
            self.assertIn(name, sizes)
        for name, most in MOST_BYTES.items():
            self.assertLess(sizes[name], most, name)
        self.assertLess(self.packed["size"], MOST_PACKED)
