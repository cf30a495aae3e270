# SPDX-License-Identifier: MIT
"""How fast pages of `qel view` are made, open, turn and answer in headless Chromium. Called by scripts/bench-view.sh.

Each file is measured several times and told by the least and the middle time, because a busy machine only makes times
longer. The first picture, a frame and an answer are over when the graphics processor has drawn them, not when they were asked for."""

import glob
import os
import resource
import statistics
import subprocess
import sys
import tempfile
import time

import files
from browser import Browser

QEL = os.environ["QEL"]
HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, "../../examples/data")
SHEETS = (225, 708, 2775)  # vertices on a side: 100,352, 999,698 and 15,390,152 triangles

# Put before the page's own script: waits for the graphics processor, and turns and points as a hand would.
PROBE = """
const getContext = HTMLCanvasElement.prototype.getContext;
let gl = null;
HTMLCanvasElement.prototype.getContext = function (...how) {
  const made = getContext.apply(this, how);
  if (how[0] === 'webgl2') gl = made;
  return made;
};
HTMLCanvasElement.prototype.setPointerCapture = () => {};
const drawn = () => new Promise((done) => {
  const sync = gl.fenceSync(gl.SYNC_GPU_COMMANDS_COMPLETE, 0);
  gl.flush();
  const look = () => (gl.getSyncParameter(sync, gl.SYNC_STATUS) === gl.SIGNALED ? requestAnimationFrame(done) : setTimeout(look, 1));
  look();
});
const frame = () => new Promise(requestAnimationFrame);
const mark = performance.mark;
performance.mark = function (name) {
  mark.call(performance, name);
  if (name === 'first picture') drawn().then(() => { window.firstPicture = performance.now(); });
};
const send = (kind, x, y, buttons) => document.getElementById('canvas').dispatchEvent(new PointerEvent(kind, {
  clientX: x, clientY: y, buttons, button: kind === 'pointermove' ? -1 : 0, pointerId: 1, bubbles: true, pointerType: 'mouse' }));
const middle = (pane) => {
  const box = document.getElementById(pane).getBoundingClientRect();
  return [box.left + box.width / 2, box.top + box.height / 2];
};
window.turn = async (seconds) => {
  const times = [], [x, y] = middle('mesh-pane'), end = performance.now() + seconds * 1000;
  send('pointerdown', x, y, 1);
  for (let i = 1, last = await frame(); times.length < 4 || performance.now() < end; ++i) {
    send('pointermove', x + 60 * Math.sin(i / 20), y + 20 * Math.sin(i / 13), 1);
    const now = await frame();
    times.push(now - last);
    last = now;
  }
  await drawn();
  send('pointerup', x, y, 0);
  return times;
};
window.hover = async (pane, count, turned) => {
  const times = [], [x, y] = middle(pane), card = document.getElementById('card');
  await new Promise((done) => setTimeout(done, 500));
  await drawn();
  for (let i = 0; i < count; ++i) {
    if (turned) {
      send('pointerdown', x, y, 1);
      send('pointermove', x + 9 + i, y, 1);
      await frame();
      send('pointerup', x, y, 0);
      await drawn();
    } else await new Promise((done) => setTimeout(done, 60));
    await frame();
    const start = performance.now();
    send('pointermove', x - 60 + i * 9, y + 30 + i, 0);
    await frame(); // the page answers in this one, before
    times.push([performance.now() - start, !card.hidden]);
  }
  return times;
};
"""


def make(source, page):
    """Seconds of the processor. What holds no objects is searched by its bytes."""
    spent = lambda: sum(resource.getrusage(resource.RUSAGE_CHILDREN)[:2])
    for how in ([], ["--by-bytes"]):
        before = spent()
        done = subprocess.run([QEL, "view", source, *how, "-o", page], check=bool(how), stderr=None if how else subprocess.DEVNULL)
        if done.returncode == 0:
            return spent() - before
    return 0


def processor_time(process):
    """Milliseconds that a process and its descendants have used so far, all threads together."""
    children = {}
    for path in glob.glob("/proc/[0-9]*/stat"):
        try:
            with open(path, encoding="utf-8", errors="replace") as stat:
                fields = stat.read().rsplit(")", 1)[1].split()
        except OSError:
            continue
        used = (int(fields[11]) + int(fields[12])) * 1000 / os.sysconf("SC_CLK_TCK")
        children.setdefault(int(fields[1]), []).append((int(path.split("/")[2]), used))
    total, left = 0, [process]
    while left:
        for child, used in children.get(left.pop(), []):
            total += used
            left.append(child)
    return total


class Run:
    """One opening of a page in its own window."""

    def __init__(self, page, seconds):
        with Browser(1280, 800) as browser:
            browser.devtools("Page.addScriptToEvaluateOnNewDocument", source="{" + PROBE + "}")
            browser.call("POST", browser.session + "/timeouts", {"script": 600000, "pageLoad": 600000})
            used = lambda: processor_time(browser.driver.pid)
            start = used()
            browser.open(page)
            while not browser.run("return window.firstPicture || document.getElementById('message').innerText"):
                time.sleep(0.02)
            self.first_work = used() - start
            self.first = browser.run("return window.firstPicture || 0")
            self.marks = browser.run("return performance.getEntriesByType('mark').map((m) => [m.name, m.startTime])")
            self.frames, self.hovers, self.after, self.frame_work, self.hover_work = [], [], [], 0, 0
            if self.first:
                time.sleep(1.5)
                start = used()
                self.frames = self.ask(browser, "turn", seconds)
                self.frame_work = (used() - start) / len(self.frames)
                time.sleep(1.5)
                start, answers = used(), [answer for pane in ("mesh-pane", "token-pane") for answer in self.ask(browser, "hover", pane, 10, False)]
                self.hover_work = (used() - start) / len(answers)
                self.hovers = [t for t, shown in answers if shown]
                self.after = [t for t, shown in self.ask(browser, "hover", "mesh-pane", 5, True) if shown]
            self.complaints = browser.complaints()

    @staticmethod
    def ask(browser, name, *arguments):
        return browser.call("POST", browser.session + "/execute/async", {
            "script": "const done = [...arguments].pop(); window[arguments[0]](...[...arguments].slice(1, -1)).then(done)",
            "args": [name, *arguments]})


def told(times, unit=1.0, digits=0):
    return f"{min(times) / unit:.{digits}f} / {statistics.median(times) / unit:.{digits}f}" if times else "–"


def measure(name, source, folder, rounds):
    page = os.path.join(folder, "page.html")
    made = [make(source, page) for _ in range(rounds)]
    runs = [Run(page, 3) for _ in range(rounds)]
    for complaint in sorted({text for run in runs for text in run.complaints}):
        print(f"{name}: console: {complaint}", file=sys.stderr)
    if os.environ.get("MARKS"):
        print(name, [(mark, round(at)) for mark, at in runs[-1].marks], file=sys.stderr)
    drawn = [run for run in runs if run.first]
    middle = lambda name: told([statistics.median(getattr(run, name)) for run in drawn if getattr(run, name)])
    least = lambda name: f"{min(getattr(run, name) for run in drawn):,.0f}" if drawn else "–"
    cells = [name, f"{os.path.getsize(page) / 1000:,.0f} KB", f"{min(made):.2f}",
             told([run.first for run in drawn], 1000, 1), least("first_work"), middle("frames"), least("frame_work"),
             middle("hovers"), least("hover_work"), middle("after")]
    print("| " + " | ".join(cells) + " |", flush=True)


def main():
    rounds = int(os.environ.get("ROUNDS", 3))
    print(f"load {os.getloadavg()[0]:.1f}; {rounds} rounds: the least and the middle, of the processor the least")
    print("| page | size | made, processor s | first picture, s | processor ms | frame, ms | processor ms | hover, ms | processor ms | hover after a turn, ms |")
    print("|" + " --- |" * 10)
    wanted = sys.argv[1:] or ["sheets", *sorted(glob.glob(os.path.join(DATA, "*.abc")))]
    with tempfile.TemporaryDirectory() as folder:
        for source in wanted:
            if source != "sheets":
                measure(os.path.basename(source), source, folder, rounds)
                continue
            for side in map(int, os.environ.get("SHEETS", " ".join(map(str, SHEETS))).split()):
                path = os.path.join(folder, f"sheet of {2 * (side - 1) ** 2:,} triangles")
                with open(path + ".qelm", "wb") as out:
                    out.write(files.sheet(side))
                measure(os.path.basename(path), path + ".qelm", folder, rounds)
                os.remove(path + ".qelm")
    print(f"load {os.getloadavg()[0]:.1f}")


if __name__ == "__main__":
    main()
