#!/usr/bin/env python3
"""Makes docs/run.svg, the picture of `make run` in the README, from what the run prints on a terminal. With --check it
writes nothing, and fails if the run now prints something else. Without a terminal it ends with status 77."""
import argparse
import os
import pathlib
import pty
import re
import subprocess
import sys
from xml.sax.saxutils import escape

ROOT = pathlib.Path(__file__).resolve().parent.parent
PICTURE = ROOT / "docs/run.svg"
# The run prints too much for a picture. These recordings are shown, with the line at the end.
SHOWN = ("Claude Code: t01-permission", "Codex: 25-tui-ask")
CHARACTER_WIDTH, LINE_HEIGHT, MARGIN = 8, 18, 16
# The terminal colours that the run uses, on a light and on a dark background.
COLOURS = {
    "31": ("red", "#cf222e", "#ff7b72"),
    "32": ("green", "#1a7f37", "#3fb950"),
    "33": ("yellow", "#9a6700", "#d29922"),
    "35": ("magenta", "#8250df", "#bc8cff"),
    "36": ("cyan", "#1b7c83", "#39c5cf"),
}
CLASSES = {"1": "bold", "2": "dim"} | {code: name for code, (name, _, _) in COLOURS.items()}


def printed_on_terminal(command):
    """What a command prints when its output is a terminal, line by line."""
    try:
        ours, its = pty.openpty()
    except OSError:
        print("Left out: no pseudo-terminal can be opened here. Is /dev/pts mounted?")
        sys.exit(77)
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=its)
    os.close(its)
    output = b""
    while True:
        try:
            piece = os.read(ours, 65536)
        except OSError:  # Linux's error when nobody holds the other side
            piece = b""
        if not piece:
            break
        output += piece
    os.close(ours)
    if process.wait() != 0:
        sys.exit(f"{command[0]} has failed")
    return output.decode().splitlines()


def without_colours(line):
    return re.sub(r"\033\[[\d;]*m", "", line)


def excerpt(lines):
    """The recordings shown, and the last line."""
    # A colour that begins at the end of a line applies to the next line.
    text = re.sub(r"(\033\[[1-9][\d;]*m)\n", r"\n\1", "\n".join(lines))
    paragraphs = text.strip().split("\n\n")
    by_title = {without_colours(paragraph).partition("\n")[0]: paragraph for paragraph in paragraphs}
    missing = [title for title in SHOWN if title not in by_title]
    if missing:
        sys.exit(f"The run shows no {missing}")
    shown = "\n\n…\n\n".join([*(by_title[title] for title in SHOWN), paragraphs[-1]])
    return ["$ make run", "", "…", "", *shown.split("\n")]


def drawn(line, number):
    """A line as an SVG element, with its colours as classes."""
    first, *coloured = re.split(r"\033\[([\d;]*)m", line)
    spans = [escape(first)]
    for codes, text in zip(coloured[::2], coloured[1::2]):
        classes = " ".join(CLASSES[code] for code in re.findall(r"[1-9]\d*", codes))
        spans.append(f'<tspan class="{classes}">{escape(text)}</tspan>' if classes else escape(text))
    return f'<text x="{MARGIN}" y="{MARGIN + LINE_HEIGHT * number}">{"".join(spans)}</text>'


def picture(lines):
    width = 2 * MARGIN + CHARACTER_WIDTH * max(len(without_colours(line)) for line in lines)
    height = 2 * MARGIN + LINE_HEIGHT * len(lines)
    light = "".join(f".{name}{{fill:{colour}}}" for name, colour, _ in COLOURS.values())
    dark = "".join(f".{name}{{fill:{colour}}}" for name, _, colour in COLOURS.values())
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" xml:space="preserve" '
        'font-size="13" font-family="ui-monospace,SFMono-Regular,Menlo,Consolas,\'DejaVu Sans Mono\',monospace">',
        "<title>What make run prints</title>",
        "<style>rect{fill:#f6f8fa;stroke:#d0d7de}text{fill:#1f2328;white-space:pre}.bold{font-weight:bold}"
        f".dim{{opacity:.6}}{light}@media(prefers-color-scheme:dark)"
        f"{{rect{{fill:#0d1117;stroke:#30363d}}text{{fill:#e6edf3}}{dark}}}</style>",
        f'<rect x=".5" y=".5" width="{width - 1}" height="{height - 1}" rx="8"/>',
        *(drawn(line, number) for number, line in enumerate(lines, 1) if line),
        "</svg>",
    ]) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("hook", help="the tavrin-hook executable")
    parser.add_argument("--check", action="store_true", help="compare, and write nothing")
    options = parser.parse_args()
    made = picture(excerpt(printed_on_terminal([ROOT / "scripts/replay.py", options.hook])))
    if not options.check:
        PICTURE.write_text(made)
    elif PICTURE.read_text() != made:
        sys.exit("docs/run.svg is not what make run prints: scripts/picture.py makes it anew.")


if __name__ == "__main__":
    main()
