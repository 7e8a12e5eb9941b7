#!/usr/bin/env python3
"""Makes a table of the cases that `make faults` ran.

    table.py BUILD           prints it
    table.py --docs BUILD    prints it, and puts it into docs/reliability.md

BUILD is the build directory in which ctest(1) has run the tests. It keeps their output.
"""

import argparse
import os
import pathlib
import platform
import re
import subprocess
from dataclasses import dataclass, field

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/reliability.md"

# The lines of a test program: the counts of a test, and its end.
COUNT = re.compile(r"\[   RUNS   \] (.+)")
END = re.compile(r"\[ +(OK|FAILED) +\] (\S+?)(?:, where .*)? \((\d+) ms\)")


@dataclass
class Test:
    name: str
    counts: list = field(default_factory=list)
    milliseconds: int = 0
    passed: bool = True


def programs(log):
    """The output of each program that ran in full, from the log of ctest."""
    parts = re.split(r"^\d+/\d+ Testing: (\S+)$", log, flags=re.MULTILINE)[1:]
    return {name: text for name, text in zip(parts[::2], parts[1::2]) if name.endswith("_in_full")}


def tests(text):
    counts = []
    for line in text.splitlines():
        if count := COUNT.match(line):
            counts.append(count[1])
        elif end := END.match(line):
            yield Test(end[2], counts, int(end[3]), end[1] == "OK")
            counts = []


def table(log):
    rows = [("Test", "Went through", "Time")]
    total = 0
    for text in programs(log).values():
        for test in tests(text):
            first, *more = [*([] if test.passed else ["FAILED"]), *test.counts] or [""]
            rows.append((test.name, first, f"{test.milliseconds / 1000:.1f} s"))
            rows += [("", count, "") for count in more]
            total += test.milliseconds
    if total == 0:
        raise SystemExit("No test has run in full: call make faults.")
    rows.append(("All", "", f"{total / 1000:.0f} s"))
    widths = [max(map(len, column)) for column in zip(*rows)]
    lines = ["| " + " | ".join(map(str.ljust, row, widths)) + " |" for row in rows]
    return "\n".join([lines[0], "|" + "|".join("-" * (width + 2) for width in widths) + "|", *lines[1:]])


def machine():
    name = platform.freedesktop_os_release()["PRETTY_NAME"]
    strace = subprocess.run(["strace", "-V"], capture_output=True, text=True, check=True).stdout
    version = re.search(r"version (\S+)", strace)[1]
    return f"Run with {os.cpu_count()} processors ({platform.machine()}), {name}, strace {version}."


def put(blocks):
    """Replaces the text between the marks of each block."""
    text = DOCUMENT.read_text()
    for name, content in blocks.items():
        marks = re.compile(rf"(<!-- {name} -->\n).*?(<!-- end of {name} -->)", re.DOTALL)
        text, count = marks.subn(lambda match, content=content: match[1] + content + "\n" + match[2], text)
        if count != 1:
            raise ValueError(f"{DOCUMENT.name} has no place for {name}")
    DOCUMENT.write_text(text)


def main():
    parser = argparse.ArgumentParser(description="Makes a table of the cases that `make faults` ran.")
    parser.add_argument("--docs", action="store_true", help="put it into the documentation")
    parser.add_argument("build", type=pathlib.Path)
    options = parser.parse_args()
    result = table((options.build / "Testing/Temporary/LastTest.log").read_text(errors="replace"))
    print(f"\n{result}")
    if options.docs:
        put({"machine": machine(), "runs": result})


if __name__ == "__main__":
    main()
