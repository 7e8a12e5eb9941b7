#!/usr/bin/env python3
"""Makes tables and a plot of the results of `make bench`.

    report.py FOLDER           prints the tables
    report.py --docs FOLDER    puts them into docs/performance.md, and draws the plot

FOLDER holds process.csv, the results of process_bench. For the documentation it also holds steps.json, transcript.json,
panel.json, monitor.json and screen.json, the results of the other benchmarks, system-calls.md and parts.md.

Every ratio of two medians is shown beside the same ratio at the 10th percentile, the time that one run in ten
undercuts. A busy machine disturbs that less.
"""

import argparse
import csv
import json
import math
import os
import pathlib
import platform
import re
import subprocess
import textwrap
from dataclasses import dataclass

PEERS = ("bash and jq", "Python", "Node")
# The most that tavrin-hook may take over the floor, and over a program that makes the same system calls, by the case.
# The least factor by which it must beat a hook written by hand.
FLOOR_GOALS = {3_000: 1.5, 100_000: 2.0, 1_000_000: 3.0}
CALLS_GOALS = {3_000: 1.10, 100_000: 1.15, 1_000_000: 1.5, "100000 with escapes": 1.15, "1000000 with escapes": 1.5,
               "3000 without a host": 1.2}
PEER_GOAL = 20
PEER_GOAL_SIZE = 3_000


@dataclass
class Row:
    runs: int
    wall: tuple  # microseconds, the median and the 10th percentile
    processor: tuple


def read(path):
    """The rows of a file of results by experiment, case and contestant."""
    results = {}
    with open(path, newline="") as file:
        for line in csv.DictReader(file):
            row = Row(int(line["runs"]), (float(line["wall_median"]), float(line["wall_tenth"])),
                      (float(line["processor_median"]), float(line["processor_tenth"])))
            cases = results.setdefault(line["experiment"], {})
            case = int(line["case"]) if line["case"].isdigit() else line["case"]
            cases.setdefault(case, {})[line["contestant"]] = row
    return results


def size(case):
    """A case in readable form: a size in bytes, which words may follow."""
    number, _, words = str(case).partition(" ")
    return f"{size_in_bytes(int(number))} {words}".rstrip()


def size_in_bytes(number):
    for unit, factor in (("MB", 1_000_000), ("KB", 1_000)):
        if number >= factor:
            return f"{number / factor:g} {unit}"
    return f"{number} B"


def duration(microseconds):
    if microseconds < 9_995:
        return f"{microseconds / 1_000:.2f} ms"
    return f"{microseconds / 1_000:.1f} ms"


def verdict(value, goal, at_least=False):
    met = value >= goal if at_least else value <= goal
    return f"{'≥' if at_least else '≤'} {goal:g}, {'met' if met else 'missed'}"


def table(head, rows):
    """A table in Markdown, its columns aligned."""
    cells = [head, *rows]
    widths = [max(len(line[i]) for line in cells) for i in range(len(head))]
    lines = ["| " + " | ".join(text.ljust(width) for text, width in zip(line, widths)) + " |" for line in cells]
    lines.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return "\n".join(lines)


def ratios(row, other):
    return tuple(mine / its for mine, its in zip(row.wall, other.wall))


def starts_table(cases):
    others = [name for name in next(iter(cases.values())) if name not in ("floor", "floor-calls")]
    rows = []
    for case, contestants in cases.items():
        floor = contestants["floor"]
        for name in others if isinstance(case, int) else ():
            row = contestants[name]
            median, tenth = ratios(row, floor)
            rows.append([size(case), name, duration(floor.wall[0]), duration(row.wall[0]), f"{median:.2f}",
                         f"{tenth:.2f}", f"{row.processor[0] / floor.processor[0]:.2f}",
                         verdict(median, FLOOR_GOALS[case]) if case in FLOOR_GOALS else ""])
    return table(["Event", "Program", "Floor", "Takes", "Ratio", "10th percentile", "Processor time", "Goal"], rows)


def calls_table(results):
    """Over a program that makes the same system calls, in memory and on a disk."""
    rows = []
    for place, experiment in (("memory", "starts"), ("a disk", "starts on a disk")):
        for case, contestants in results.get(experiment, {}).items():
            calls, hook = contestants["floor-calls"], contestants["tavrin-hook"]
            median, tenth = ratios(hook, calls)
            # The larger value counts.
            goal = verdict(max(median, tenth), CALLS_GOALS[case]) if case in CALLS_GOALS else ""
            rows.append([size(case), place, duration(calls.wall[0]), duration(hook.wall[0]), f"{median:.2f}",
                         f"{tenth:.2f}", f"{hook.processor[0] / calls.processor[0]:.2f}", goal])
    return table(["Event", "Files in", "The calls alone", "tavrin-hook", "Ratio", "10th percentile", "Processor time",
                  "Goal"], rows)


def peers_table(cases):
    rows = []
    for case, contestants in cases.items():
        hook = contestants["tavrin-hook"]
        for name in PEERS:
            median, tenth = ratios(contestants[name], hook)
            processor = contestants[name].processor[0] / hook.processor[0]
            # The least value counts, because a long run is interrupted by other work more often than a short one.
            goal = verdict(min(median, tenth, processor), PEER_GOAL, at_least=True)
            rows.append([size(case), name, duration(contestants[name].wall[0]), duration(hook.wall[0]),
                         f"{median:.1f}", f"{tenth:.1f}", f"{processor:.1f}",
                         goal if case == PEER_GOAL_SIZE else ""])
    return table(["Event", "Hook in", "Takes", "tavrin-hook", "Ratio", "10th percentile", "Processor time", "Goal"], rows)


def pairs_table(results):
    """Cases that matter in other designs, each beside the case that it is compared with."""
    rows = []
    for experiment, goal in (("stored", 1.05), ("log", 1.05), ("parallel", 2.0), ("titles", 1.3), ("disk", None)):
        for contestants in results.get(experiment, {}).values():
            (first, one), (second, two) = contestants.items()
            median, tenth = ratios(two, one)
            rows.append([first, duration(one.wall[0]), second, duration(two.wall[0]), f"{median:.2f}", f"{tenth:.2f}",
                         verdict(median, goal) if goal else ""])
    return table(["Against", "Takes", "Measured", "Takes", "Ratio", "10th percentile", "Goal"], rows)


def tables(results):
    """Every table by its name."""
    made = {}
    if "starts" in results:
        made["starts"] = starts_table(results["starts"])
        made["calls-floor"] = calls_table(results)
    if "peers" in results:
        made["peers"] = peers_table(results["peers"])
    if results.keys() & {"stored", "log", "parallel", "titles", "disk"}:
        made["pairs"] = pairs_table(results)
    return made


TITLES = {
    "starts": "One event of a stored session, over a program that only reads its input",
    "calls-floor": "The same over a program that makes the same system calls",
    "peers": "The same event in hooks written by hand",
    "pairs": "3 KB events: sessions stored, the log's size, 40 events of one session, titles, a disk",
}

ROOT = pathlib.Path(__file__).resolve().parent.parent
PLOT = ROOT / "bench/plots/event-times.svg"


def first_line(*words):
    environment = {"PATH": "/usr/local/bin:/usr/bin:/bin"}  # the same name as in process_bench
    run = subprocess.run(words, env=environment, capture_output=True, text=True, check=True)
    return run.stdout.splitlines()[0]


def wrapped(text):
    """Prose at the width of the documents."""
    return "\n".join(textwrap.wrap(text, 100))


def machine():
    """The machine and the tools that were used."""
    system = platform.freedesktop_os_release()["PRETTY_NAME"]
    compiler = "clang++" if "clang" in first_line("c++", "--version") else "g++"
    versions = [f"{compiler} {first_line('c++', '-dumpfullversion', '-dumpversion')}", first_line("jq", "--version").replace("-", " "),
                first_line("python3", "--version"), "Node " + first_line("node", "--version")[1:]]
    text = (f"Measured with {os.cpu_count()} processors ({platform.machine()}), a load of {os.getloadavg()[2]:.0f} by "
            f"all that went on, {system}; {', '.join(versions)}.")
    return wrapped(text)


def steps_table(files):
    """Google Benchmark's results, by processor time."""
    rows = []
    for file in files:
        for result in json.loads(file.read_text())["benchmarks"]:
            if result.get("run_type") == "aggregate":
                continue
            factor = {"ns": 1e-3, "us": 1, "ms": 1e3, "s": 1e6}[result["time_unit"]]
            takes = result["cpu_time"] * factor
            shown = f"{takes:.2f} µs" if takes < 99.95 else duration(takes)
            rate = f"{result['bytes_per_second'] / 1e6:,.0f} MB/s" if "bytes_per_second" in result else ""
            rows.append([f"`{result['name']}`", shown, rate])
    return table(["Step", "Takes", "Rate"], rows)


def screen_table(file):
    """The results of screen.py."""
    rows = [[row["what"], f"{row['value']:,.{0 if row['value'] >= 100 else 2}f} {row['unit']}".strip(), verdict(row["value"], row["most"])]
            for row in json.loads(file.read_text())]
    return table(["On a pseudo-terminal", "Measured", "Goal"], rows)


def instructions_table():
    rows = [line.split() for line in (ROOT / "bench/instructions.txt").read_text().splitlines() if line[0] != "#"]
    return table(["Processor", "Compiler", "Instructions"], [[a, b.replace("-", " "), f"{int(n):,}"] for a, b, n in rows])


def summary(results):
    """The first sentence of the document, in processor time, which is the same on a busy machine."""
    times = {name: duration(row.processor[0]) for name, row in results["peers"][PEER_GOAL_SIZE].items()}
    jq, python, node = (f"{times[name]} {'with' if ' ' in name else 'in'} {name}" for name in PEERS)
    text = (f"An event of 3 KB takes {times['tavrin-hook']} of a processor, the start of the process included. A program "
            f"that does nothing but read it takes {times['floor']}; the same hook written by hand {python}, {node}, "
            f"and {jq}.")
    return wrapped(text)


def plot(cases):
    """A drawing of the times by the event's size, both axes logarithmic."""
    width, height, left, right, top, bottom = 720, 380, 64, 130, 44, 48
    names = ["bash and jq", "Node", "Python", "tavrin-hook", "floor"]
    labels = {"floor": "only reads it"}
    times = [contestants[name].processor[0] / 1_000 for contestants in cases.values() for name in names]
    low, high = 10 ** math.floor(math.log10(min(times))), 10 ** math.ceil(math.log10(max(times)))
    sizes = list(cases)

    def x(number):
        share = math.log(number / sizes[0]) / math.log(sizes[-1] / sizes[0])
        return left + share * (width - left - right)

    def y(milliseconds):
        return top + math.log(high / milliseconds) / math.log(high / low) * (height - top - bottom)

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" font-family="sans-serif" '
        'font-size="13">',
        "<style>text{fill:#24292f}.axis{stroke:#8c959f;stroke-opacity:.35}.line{fill:none;stroke-width:2}"
        "@media (prefers-color-scheme:dark){text{fill:#d0d7de}}</style>",
        f'<text x="{left}" y="22" font-size="15">Milliseconds of processor time for one event, start of the process included</text>',
    ]
    for exponent in range(round(math.log10(low)), round(math.log10(high)) + 1):
        at = y(10 ** exponent)
        parts.append(f'<path class="axis" d="M{left} {at:.1f}H{width - right}"/>')
        parts.append(f'<text x="{left - 8}" y="{at + 4:.1f}" text-anchor="end">{10 ** exponent:g}</text>')
    for number in sizes:
        parts.append(f'<text x="{x(number):.1f}" y="{height - 22}" text-anchor="middle">{size(number)}</text>')
    colours = {"bash and jq": "#8250df", "Node": "#1a7f37", "Python": "#0969da", "tavrin-hook": "#cf222e",
               "floor": "#6e7781"}
    ends = []
    for name in names:
        points = [(x(number), y(cases[number][name].processor[0] / 1_000)) for number in sizes]
        path = "L".join(f"{a:.1f} {b:.1f}" for a, b in points)
        parts.append(f'<path class="line" stroke="{colours[name]}" d="M{path}"/>')
        parts += [f'<circle cx="{a:.1f}" cy="{b:.1f}" r="3.5" fill="{colours[name]}"/>' for a, b in points]
        # A label beside the line's end, below the label before it.
        ends.append(max(points[-1][1] + 4, ends[-1] + 16) if ends else points[-1][1] + 4)
        parts.append(f'<text x="{width - right + 12}" y="{ends[-1]:.1f}" style="fill:{colours[name]}">'
                     f"{labels.get(name, name)}</text>")
    parts.append("</svg>")
    return "\n".join(parts) + "\n"


def put(document, blocks):
    """Replaces the text between the marks of each block."""
    text = document.read_text()
    for name, content in blocks.items():
        marks = re.compile(rf"(<!-- {name} -->\n).*?(<!-- end of {name} -->)", re.DOTALL)
        text, count = marks.subn(lambda match, content=content: match[1] + content + "\n" + match[2], text)
        if count != 1:
            raise ValueError(f"{document.name} has no place for {name}")
    document.write_text(text)


def write_documentation(folder, results):
    blocks = tables(results)
    blocks["machine"] = machine()
    blocks["steps"] = steps_table([folder / "steps.json"])
    blocks["panel"] = steps_table([folder / name for name in ("transcript.json", "panel.json", "monitor.json")])
    blocks["screen"] = screen_table(folder / "screen.json")
    blocks["calls"] = (folder / "system-calls.md").read_text().rstrip()
    blocks["parts"] = (folder / "parts.md").read_text().rstrip()
    blocks["instructions"] = instructions_table()
    blocks["speed"] = summary(results)
    put(ROOT / "docs/performance.md", blocks)
    PLOT.write_text(plot(results["peers"]))


def main():
    parser = argparse.ArgumentParser(description="Makes tables and a plot of the results of `make bench`.")
    parser.add_argument("--docs", action="store_true", help="put them into the documentation")
    parser.add_argument("folder", type=pathlib.Path)
    options = parser.parse_args()
    results = read(options.folder / "process.csv")
    if options.docs:
        write_documentation(options.folder, results)
        return
    for name, text in tables(results).items():
        print(f"\n{TITLES[name]}\n\n{text}")


if __name__ == "__main__":
    main()
