#!/usr/bin/env python3
"""Makes docs/panel.svg, the picture of the panel in the README, from what tmux shows of a real panel with recorded sessions.
With --check it writes nothing, and fails if the panel now looks different. Without tmux it ends with status 77."""
import argparse
import pathlib
import re
import shutil
import socket
import sys
import time
from xml.sax.saxutils import escape

import demo

ROOT = pathlib.Path(__file__).resolve().parent.parent
PICTURE = ROOT / "docs/panel.svg"
COLUMNS, ROWS = 78, 13
# What is played of each agent, and for how many minutes it has been so.
PLAYED = {
    "claude": ("t01-permission", 4, 2),
    "codex": ("10-exec-tools", 3, 4),
    "gemini": ("interactive-permission", 8, 9),
    "copilot": ("interactive-permission", 4, 1),
    "grok": ("headless", 9, 65),
}
SHOWN_PORT = "5173"
CHARACTER_WIDTH, LINE_HEIGHT, MARGIN = 8, 18, 16
# The terminal colours that the panel uses, on a light and on a dark background.
COLOURS = {
    "31": ("red", "#cf222e", "#ff7b72"),
    "32": ("green", "#1a7f37", "#3fb950"),
    "33": ("yellow", "#9a6700", "#d29922"),
}
CLASSES = {"1": "bold", "2": "dim"} | {code: name for code, (name, _, _) in COLOURS.items()}


def free_port():
    """A port of four digits, which are what the picture has room for."""
    for port in range(int(SHOWN_PORT), 9999):
        with socket.socket() as attempt:
            try:
                attempt.bind(("127.0.0.1", port))
                return port
            except OSError:
                continue
    sys.exit("no port is free")


def backdate(stage, minutes):
    """Moves the time since when each session has been in its state, so that its age is the same in every picture."""
    for file in stage.sessions():
        text = file.read_text()
        agent = re.search(r'"agent" : "(\w+)"', text)[1]
        since = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() - minutes[agent] * 60 - 5))
        new = file.with_name(file.name + ".new")
        new.write_text(re.sub(r'("stateSince" : ")[^"]*', rf"\g<1>{since}", text))
        new.replace(file)


def captured(hook, tavrin):
    """The lines of the panel, with their colours. What differs from run to run and machine to machine is replaced: the
    server's port and age; servers of others are left out."""
    stage = demo.Stage(hook, tavrin, COLUMNS, ROWS)
    try:
        for window, (agent, (scenario, count, _)) in enumerate(PLAYED.items(), 1):
            stage.start_agent(window, agent, "--scenario", scenario, "--count", str(count))
            stage.wait_for(lambda: len(stage.sessions()) == window, f"a session of {agent}")
            stage.wait_for(lambda: stage.tmux("capture-pane", "-p", "-t", f":{window}").count(": ") == count, agent)
        port = free_port()
        server = stage.home / "src/shop/node_modules/vite/bin/vite.js"
        server.parent.mkdir(parents=True)
        server.write_text("import http.server as h, sys\nh.HTTPServer(('127.0.0.1', int(sys.argv[1])), "
                          "h.SimpleHTTPRequestHandler).serve_forever()\n")
        stage.tmux("new-window", "-d", "-t", ":7", "-c", str(stage.home / "src/shop"), sys.executable, str(server),
                   str(port))
        backdate(stage, {agent: minutes for agent, (_, _, minutes) in PLAYED.items()})
        # The server is listed when the panel opens, so it has to be there first.
        stage.wait_for(lambda: socket.socket().connect_ex(("127.0.0.1", port)) == 0, "the server")
        stage.open_panel()
        stage.wait_for(lambda: f" {port} " in stage.screen() and stage.screen().count("tmux:") == len(PLAYED),
                       "the rows")
        lines = stage.screen("-e").replace(str(port), SHOWN_PORT).split("\n")
    finally:
        stage.close()
    plain = [without_colours(line) for line in lines]
    if " Other servers" in [line.rstrip() for line in plain]:
        start = [line.rstrip() for line in plain].index(" Other servers")
        end = max(number for number, line in enumerate(plain) if line.startswith("─"))
        lines[start:end] = [""] * (end - start)
    # A busy machine answers late.
    lines = [line.replace("no answer", "") if SHOWN_PORT in line else line for line in lines]
    return [re.sub(r"(?<!\d)\d+s\b", lambda age: "2m".rjust(len(age[0])), line) if SHOWN_PORT in line else line
            for line in lines]


def without_colours(line):
    return re.sub(r"\033\[[\d;]*m", "", line)


class Looks:
    """What Select Graphic Rendition has set, as far as the panel uses it."""

    def __init__(self):
        self.classes, self.is_reversed = set(), False

    def take(self, codes):
        for code in codes.split(";"):
            if code in ("", "0"):
                self.__init__()
            elif code in ("7", "27"):
                self.is_reversed = code == "7"
            elif code == "22":
                self.classes -= {"bold", "dim"}
            elif code == "39":
                self.classes -= {name for name, _, _ in COLOURS.values()}
            elif code in CLASSES:
                self.classes.add(CLASSES[code])


def drawn(line, number):
    """A line as SVG elements, its colours as classes, with a bar behind what is reversed."""
    looks, spans, column, bar = Looks(), [], 0, 0
    y = MARGIN + LINE_HEIGHT * number
    for part in re.split(r"(\033\[[\d;]*m)", line):
        if codes := re.fullmatch(r"\033\[([\d;]*)m", part):
            looks.take(codes[1])
            continue
        # Each text is put where the terminal has it, and made as wide, whatever the font.
        for text in re.finditer(r"\S+(?: \S+)*", part):
            attributes = f' class="{" ".join(sorted(looks.classes))}"' if looks.classes else ""
            x = MARGIN + (column + text.start()) * CHARACTER_WIDTH
            spans.append(f'<text{attributes} x="{x}" y="{y}" textLength="{len(text[0]) * CHARACTER_WIDTH}" '
                         f'lengthAdjust="spacingAndGlyphs">{escape(text[0])}</text>')
        column += len(part)
        bar = column if looks.is_reversed else bar
    if bar:
        # tmux leaves out the spaces at the end of a line.
        spans.insert(0, f'<rect class="bar" x="{MARGIN}" y="{y - 13}" width="{COLUMNS * CHARACTER_WIDTH}" '
                        f'height="{LINE_HEIGHT}"/>')
    return "\n".join(spans)


def picture(lines):
    width = 2 * MARGIN + CHARACTER_WIDTH * COLUMNS
    height = 2 * MARGIN + LINE_HEIGHT * len(lines)
    light = "".join(f".{name}{{fill:{colour}}}" for name, colour, _ in COLOURS.values())
    dark = "".join(f".{name}{{fill:{colour}}}" for name, _, colour in COLOURS.values())
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" xml:space="preserve" '
        'font-size="13" font-family="ui-monospace,SFMono-Regular,Menlo,Consolas,\'DejaVu Sans Mono\',monospace">',
        "<title>The panel: five sessions, two of them waiting, and a local server</title>",
        "<style>.frame{fill:#f6f8fa;stroke:#d0d7de}.bar{fill:#d8e6f5}text{fill:#1f2328;white-space:pre}"
        f".bold{{font-weight:bold}}.dim{{opacity:.65}}{light}@media(prefers-color-scheme:dark)"
        f"{{.frame{{fill:#0d1117;stroke:#30363d}}.bar{{fill:#1f3a5a}}text{{fill:#e6edf3}}{dark}}}</style>",
        f'<rect class="frame" x=".5" y=".5" width="{width - 1}" height="{height - 1}" rx="8"/>',
        *(drawn(line, number) for number, line in enumerate(lines, 1) if line),
        "</svg>",
    ]) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("hook", help="the tavrin-hook executable")
    parser.add_argument("tavrin", help="the tavrin executable")
    parser.add_argument("--check", action="store_true", help="compare, and write nothing")
    options = parser.parse_args()
    if shutil.which("tmux") is None:
        print("Left out: tmux is not installed.")
        sys.exit(77)
    lines = captured(options.hook, options.tavrin)
    made = picture(lines[:ROWS])
    if not options.check:
        PICTURE.write_text(made)
    elif PICTURE.read_text() != made:
        print("\n".join(without_colours(line) for line in lines))
        sys.exit("docs/panel.svg is not what the panel looks like: scripts/picture.py makes it anew.")


if __name__ == "__main__":
    main()
