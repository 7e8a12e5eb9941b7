#!/usr/bin/env python3
"""Makes tables of what process_bench has measured.

    report.py RESULTS.csv    prints them

Every ratio stands beside the same ratio at the 10th percentile: half of all runs took longer than the median, one in
ten took less than the 10th percentile, which a busy machine disturbs less.
"""

import argparse
import csv
import pathlib
from dataclasses import dataclass

PEERS = ("bash and jq", "Python", "Node")
# The most that tavrin-hook may take over the floor, by the payload's size in bytes, and the least by which it is
# to beat a hook written by hand.
FLOOR_GOALS = {3_000: 1.5, 100_000: 2.0, 1_000_000: 3.0}
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
            cases.setdefault(int(line["case"]), {})[line["contestant"]] = row
    return results


def size(number):
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
    others = [name for name in next(iter(cases.values())) if name != "floor"]
    rows = []
    for case, contestants in cases.items():
        floor = contestants["floor"]
        for name in others:
            row = contestants[name]
            median, tenth = ratios(row, floor)
            rows.append([size(case), name, duration(floor.wall[0]), duration(row.wall[0]), f"{median:.2f}",
                         f"{tenth:.2f}", f"{row.processor[0] / floor.processor[0]:.2f}",
                         verdict(median, FLOOR_GOALS[case]) if case in FLOOR_GOALS else ""])
    return table(["Event", "Program", "Floor", "Takes", "Ratio", "10th percentile", "Processor time", "Goal"], rows)


def peers_table(cases):
    rows = []
    for case, contestants in cases.items():
        hook = contestants["tavrin-hook"]
        for name in PEERS:
            median, tenth = ratios(contestants[name], hook)
            rows.append([size(case), name, duration(contestants[name].wall[0]), duration(hook.wall[0]),
                         f"{median:.1f}", f"{tenth:.1f}",
                         f"{contestants[name].processor[0] / hook.processor[0]:.1f}",
                         verdict(median, PEER_GOAL, at_least=True) if case == PEER_GOAL_SIZE else ""])
    return table(["Event", "Hook in", "Takes", "tavrin-hook", "Ratio", "10th percentile", "Processor time", "Goal"], rows)


def pairs_table(results):
    """What makes a difference in other designs, each beside what it is compared with."""
    rows = []
    for experiment, goal in (("stored", 1.05), ("log", 1.05), ("parallel", 2.0)):
        for contestants in results.get(experiment, {}).values():
            (first, one), (second, two) = contestants.items()
            median, tenth = ratios(two, one)
            rows.append([first, duration(one.wall[0]), second, duration(two.wall[0]), f"{median:.2f}", f"{tenth:.2f}",
                         verdict(median, goal)])
    return table(["Against", "Takes", "Measured", "Takes", "Ratio", "10th percentile", "Goal"], rows)


def tables(results):
    """Every table by its name."""
    made = {}
    if "starts" in results:
        made["starts"] = starts_table(results["starts"])
    if "peers" in results:
        made["peers"] = peers_table(results["peers"])
    if results.keys() & {"stored", "log", "parallel"}:
        made["pairs"] = pairs_table(results)
    return made


TITLES = {
    "starts": "One event of a stored session, over a program that only reads its input",
    "peers": "The same event in hooks written by hand",
    "pairs": "3 KB events: sessions stored, the log's size, 40 events of one session",
}


def main():
    arguments = argparse.ArgumentParser(description="Makes tables of what process_bench has measured.")
    arguments.add_argument("results", type=pathlib.Path)
    options = arguments.parse_args()
    for name, text in tables(read(options.results)).items():
        print(f"\n{TITLES[name]}\n\n{text}")


if __name__ == "__main__":
    main()
