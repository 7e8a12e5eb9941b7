#!/usr/bin/env python3
"""Measures the panel on a pseudo-terminal: `screen.py HOOK TAVRIN` prints rows of JSON for bench/report.py.

Each row has what was measured, its value, its unit and the most that it should be. Sessions are written by the real hook or
copied from one that it wrote; servers are real processes that listen."""
import argparse
import contextlib
import fcntl
import json
import os
import pathlib
import pty
import re
import shutil
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time
from contextlib import closing

SEQUENCE = re.compile(r"\033\[([0-9;?]*)([A-Za-z])")


class Screen:
    """What the panel's bytes make of a screen: text, and sequences that place the cursor. The rest are looks."""

    def __init__(self, columns, rows):
        self.columns, self.rows = columns, rows
        self.lines = [[" "] * columns for _ in range(rows)]
        self.row = self.column = 0
        self.rest = ""

    def take(self, text):
        text = self.rest + text
        start = text.rfind("\033")
        self.rest = text[start:] if start >= 0 and not SEQUENCE.match(text, start) else ""
        if self.rest:
            text = text[:start]
        at = 0
        while at < len(text):
            if found := SEQUENCE.match(text, at):
                at = found.end()
                if found[2] == "H":
                    place = [int(number) for number in (found[1] or "1;1").split(";")]
                    self.row, self.column = place[0] - 1, place[1] - 1
                elif found[2] == "J":
                    self.lines = [[" "] * self.columns for _ in range(self.rows)]
                continue
            if self.row < self.rows and self.column < self.columns:
                self.lines[self.row][self.column] = text[at]
            self.column += 1
            at += 1

    def line(self, number):
        return "".join(self.lines[number]).rstrip()


class Panel:
    """A panel on a pseudo-terminal, read by a thread that notes when each byte came."""

    def __init__(self, tavrin, home, columns=100, rows=24):
        self.screen = Screen(columns, rows)
        self.changed = threading.Condition()
        ours, its = pty.openpty()
        fcntl.ioctl(its, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        environment = {"HOME": str(home), "PATH": "/usr/bin:/bin", "TERM": "xterm", "LC_ALL": "C.UTF-8"}
        self.started = time.monotonic()
        self.process = subprocess.Popen([tavrin, "panel"], stdin=its, stdout=its, stderr=its, env=environment,
                                        start_new_session=True)
        os.close(its)
        self.terminal = ours
        self.waits = []
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        decoder = __import__("codecs").getincrementaldecoder("utf-8")()
        while True:
            try:
                text = decoder.decode(os.read(self.terminal, 1 << 20))
            except OSError:
                return
            now = time.monotonic()
            with self.changed:
                self.screen.take(text)
                for wait in [wait for wait in self.waits if wait["holds"](self.screen)]:
                    wait["at"] = now
                    self.waits.remove(wait)
                self.changed.notify_all()

    def expect(self, holds):
        """Notes when something will be on the screen."""
        wait = {"holds": holds, "at": None}
        with self.changed:
            self.waits.append(wait)
        return wait

    def wait_for(self, wait, seconds=60):
        with self.changed:
            if not self.changed.wait_for(lambda: wait["at"] is not None, seconds):
                sys.exit("the panel never showed it:\n" + "\n".join(map(self.screen.line, range(self.screen.rows))))
        return wait["at"]

    def wake_ups(self):
        """How often its threads have gone to sleep so far, and the time that it has used, in seconds."""
        tasks = pathlib.Path(f"/proc/{self.process.pid}/task")
        count = sum(int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", (task / "status").read_text(), re.M)[1])
                    for task in tasks.iterdir())
        stat = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return count, (int(stat[11]) + int(stat[12])) / os.sysconf("SC_CLK_TCK")

    def memory(self):
        """Its resident memory in MB."""
        text = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"^VmRSS:\s*(\d+) kB", text, re.M)[1]) / 1_000

    def close(self):
        self.process.terminate()
        self.process.wait()
        os.close(self.terminal)


class Home:
    """A scratch home with sessions `p00000`, `p00001` and so on, all idle for hours, and one agent that lives."""

    def __init__(self, hook, sessions):
        self.hook = hook
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="tavrin-screen-"))
        self.play("p00000", "Stop")
        folder = self.path / "Library/Application Support/Tavrin/sessions"
        first = (folder / "p00000.json").read_text()
        first = re.sub(r'("stateSince" : ")[^"]*', r"\g<1>" + time.strftime("%Y-%m-%dT%H:%M:%SZ",
                       time.gmtime(time.time() - 7_500)), first)
        for number in range(sessions):
            name = f"p{number:05}"
            (self.path / name).mkdir(exist_ok=True)
            (folder / f"{name}.json").write_text(first.replace("p00000", name))

    def play(self, name, event, more=""):
        """Runs the hook, and returns when it has ended."""
        (self.path / name).mkdir(exist_ok=True)
        payload = f'{{"session_id":"{name}","hook_event_name":"{event}","cwd":"{self.path / name}"{more}}}'
        subprocess.run([self.hook], input=payload.encode(), env={"HOME": str(self.path)}, check=True)
        return time.monotonic()

    def close(self):
        shutil.rmtree(self.path)


@contextlib.contextmanager
def servers(home, count):
    """Runs processes that listen on a port each."""
    program = home.path / "node"
    shutil.copy("/bin/sleep", program)
    processes = []
    try:
        for _ in range(count):
            with socket.create_server(("127.0.0.1", 0)) as listener:
                processes.append(subprocess.Popen([program, "1000"], pass_fds=[listener.fileno()], cwd=home.path))
        yield
    finally:
        for process in processes:
            process.kill()
            process.wait()


def has_row(name, state):
    def holds(screen):
        return any(name in line and state in line for line in map(screen.line, range(2, screen.rows - 2)))
    return holds


def starts(screen):
    return "idle" in screen.line(0)


def changes(hook, tavrin, count=500, rate=50, sessions=100):
    """Seconds from the end of each hook to its row on the screen."""
    with closing(Home(hook, sessions)) as home, closing(Panel(tavrin, home.path, rows=sessions + 5)) as panel:
        panel.wait_for(panel.expect(has_row("p00099", "idle")))
        waits = []
        begin = time.monotonic()
        for number in range(count):
            time.sleep(max(0, begin + number / rate - time.monotonic()))
            name, is_asking = f"p{number % sessions:05}", number // sessions % 2 == 0
            # The row is awaited before the hook runs, because it may be there first.
            wait = panel.expect(has_row(name, "needs you" if is_asking else "burning"))
            event = ("PermissionRequest", ',"tool_name":"Bash"') if is_asking else ("UserPromptSubmit", "")
            waits.append((wait, home.play(name, *event)))
        return sorted(max(0.0, panel.wait_for(wait) - ended) for wait, ended in waits)


def rest(hook, tavrin, seconds=60):
    """Wake-ups and processor time of an idle panel, without and with an age in seconds."""
    with closing(Home(hook, 20)) as home, closing(Panel(tavrin, home.path)) as panel:
        panel.wait_for(panel.expect(starts))
        time.sleep(3)
        before = panel.wake_ups()
        time.sleep(seconds)
        after = panel.wake_ups()
        home.play("p00001", "UserPromptSubmit")
        panel.wait_for(panel.expect(has_row("p00001", "burning")))
        time.sleep(1)
        busy = panel.wake_ups()
        time.sleep(10)
        busy_after = panel.wake_ups()
    return after[0] - before[0], (after[1] - before[1]) / seconds * 100, (busy_after[0] - busy[0]) / 10


def memory(hook, tavrin):
    with closing(Home(hook, 1_000)) as home, servers(home, 200), closing(Panel(tavrin, home.path)) as panel:
        panel.wait_for(panel.expect(starts))
        wait = panel.expect(lambda screen: any(line.startswith("   sleep") or line.startswith("   node")
                                               for line in map(screen.line, range(screen.rows))))
        # The servers are at the end; they come after the sessions.
        while wait["at"] is None:
            os.write(panel.terminal, b"G")
            time.sleep(0.1)
        return panel.memory()


def large(hook, tavrin, runs=7):
    """Seconds to the first screen of 10,000 sessions and 2,000 servers, and to the row of a changed record."""
    first, changed = [], []
    with closing(Home(hook, 10_000)) as home, servers(home, 2_000):
        for run in range(runs):
            with closing(Panel(tavrin, home.path)) as panel:
                first.append(panel.wait_for(panel.expect(starts)) - panel.started)
                time.sleep(2)
                name = f"p{run:05}"
                wait = panel.expect(has_row(name, "burning"))
                ended = home.play(name, "UserPromptSubmit")
                changed.append(max(0.0, panel.wait_for(wait) - ended))
            home.play(name, "Stop")
    return statistics.median(first), statistics.median(changed)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("hook", type=os.path.abspath)
    parser.add_argument("tavrin", type=os.path.abspath)
    options = parser.parse_args()
    rows = []

    def row(what, value, unit, most):
        rows.append({"what": what, "value": value, "unit": unit, "most": most})
        print(f"{what}: {value:.3g} {unit} (at most {most:g})", file=sys.stderr)

    times = changes(options.hook, options.tavrin)
    row("From the hook's end to the row, 100 sessions, 50 events a second: median", times[len(times) // 2] * 1e3, "ms", 60)
    row("The same at the 99th percentile", times[len(times) * 99 // 100] * 1e3, "ms", 150)
    wakes, share, seconds = rest(options.hook, options.tavrin)
    row("Wake-ups of an idle panel in a minute, servers listed twice", wakes, "", 20)
    row("Its share of a core", share, "%", 0.1)
    row("Wake-ups a second while an age is in seconds", seconds, "", 2)
    row("Memory with 1,000 sessions and 200 servers", memory(options.hook, options.tavrin), "MB", 20)
    first, changed = large(options.hook, options.tavrin)
    row("First screen of 10,000 sessions, with 2,000 servers", first * 1e3, "ms", 150)
    row("A changed record among them", changed * 1e3, "ms", 20)
    json.dump(rows, sys.stdout, indent=1)


if __name__ == "__main__":
    main()
