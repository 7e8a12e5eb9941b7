#!/usr/bin/env python3
"""Measures `tavrin status` beside a static C program, bash with jq, and Python, and counts system calls.

    measure.py TAVRIN PORTABLE FLOOR           prints the tables
    measure.py --docs TAVRIN PORTABLE FLOOR    puts them into docs/performance.md

TAVRIN is linked dynamically, as in the .deb. PORTABLE is that of the archives. FLOOR is the program of floor.c. There are 100 sessions, of which 10 are not idle. All contestants take turns. A ratio of
two medians is shown beside the same ratio at the 10th percentile, which a busy machine disturbs less.
"""

import argparse
import datetime
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).parent
sys.path.insert(0, str(HERE.parent))
import report  # noqa: E402

SESSIONS, NOT_IDLE = 100, 10
LINE = "10 burning · 90 idle"
# The most that a run may take over the floor, and the least factor by which it must beat the others.
FLOOR_GOAL = 10
PEER_GOALS = {"bash and jq": 20, "Python": 8}


def make_sessions(home):
    """Records of a process that runs, as tavrin-hook writes them."""
    folder = home / "Library/Application Support/Tavrin/sessions"
    folder.mkdir(parents=True)
    now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    for i in range(SESSIONS):
        record = {"agent": ("claude", "codex", "gemini", "copilot", "grok")[i % 5], "agentPid": os.getpid(),
                  "cwd": str(home), "inFlight": [], "repoRoot": f"{home}/src/project-{i}",
                  "sessionId": f"0198c2a4-7d31-7c60-9a1f-{i:012}", "state": "working" if i < NOT_IDLE else "idle",
                  "stateSince": now, "updatedAt": now, "waitingOn": []}
        text = json.dumps(record, indent=2, separators=(",", " : "))
        (folder / f"{record['sessionId']}.json").write_text(text)
    return folder


def timed(words, environment):
    """The microseconds of one run."""
    start = time.perf_counter()
    null = os.open(os.devnull, os.O_RDWR)
    pid = os.posix_spawn(words[0], words, environment,
                         file_actions=[(os.POSIX_SPAWN_DUP2, null, number) for number in (0, 1, 2)])
    status = os.waitpid(pid, 0)[1]
    end = time.perf_counter()
    os.close(null)
    if status != 0:
        sys.exit(f"{words} failed")
    return (end - start) * 1e6


def measured(contestants, environment, rounds):
    """The median and the 10th percentile of each, in microseconds."""
    times = {name: [] for name in contestants}
    for i in range(rounds + 3):
        for name, words in contestants.items():
            taken = timed(words, environment)
            if i >= 3:
                times[name].append(taken)
    return {name: (sorted(all_)[rounds // 2], sorted(all_)[rounds // 10]) for name, all_ in times.items()}


def system_calls(words, environment):
    """How many system calls a run makes, and in how many processes."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["strace", "-ff", "-o", f"{folder}/trace", *words], env=environment, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        traces = [path.read_text() for path in pathlib.Path(folder).iterdir()]
    calls = sum(len(re.findall(r"^\w+\(", trace, re.MULTILINE)) for trace in traces)
    return calls, len(traces)


def line_of(words, environment):
    return subprocess.run(words, env=environment, check=True, capture_output=True, text=True).stdout.strip()


def ratio(mine, theirs, goal, at_least=False):
    """Both ratios, and whether the one at the 10th percentile meets its goal."""
    both = [theirs[i] / mine[i] if at_least else mine[i] / theirs[i] for i in (0, 1)]
    return f"{both[0]:.1f} ({both[1]:.1f}): {report.verdict(both[1], goal, at_least)}"


def status_table(programs, floor, sessions, environment, rounds):
    # The interpreter itself, without a wrapper that picks one.
    peers = {"bash and jq": ["/bin/bash", str(HERE / "status.sh")],
             "Python": [os.path.realpath(sys.executable), str(HERE / "status.py")]}
    runs = {name: [program, "status"] for name, program in programs.items()}
    for name, words in (runs | peers).items():
        if line_of(words, environment) != LINE:
            sys.exit(f"{name} prints another line: {line_of(words, environment)}")
    times = measured(runs | peers | {"static C": [floor, str(sessions)]}, environment, rounds)
    rows = []
    for name, (median, tenth) in times.items():
        row = [name, report.duration(median), report.duration(tenth)]
        if name in programs:
            row.append(ratio(times[name], times["static C"], FLOOR_GOAL))
            row += [ratio(times[name], times[peer], goal, True) for peer, goal in PEER_GOALS.items()]
        rows.append(row + [""] * (6 - len(row)))
    return report.table(("", "Median", "10th percentile", "Over static C", "Faster than bash", "Faster than Python"), rows)


def starts_table(programs, environment, rounds):
    runs = {f"{name}: `{command}`": [program, *command.split()]
            for name, program in programs.items() for command in ("--version", "status", "list", "list --json")}
    times = measured(runs, environment, rounds)
    rows = []
    for name, words in runs.items():
        calls, processes = system_calls(words, environment)
        rows.append((name, *(report.duration(each) for each in times[name]), str(calls), str(processes)))
    return report.table(("", "Median", "10th percentile", "System calls", "Processes"), rows)


def tables(programs, floor, rounds):
    with tempfile.TemporaryDirectory() as folder:
        sessions = make_sessions(pathlib.Path(folder))
        environment = {"HOME": folder, "PATH": os.environ["PATH"], "LANG": "C.UTF-8"}
        return {"status": status_table(programs, floor, sessions, environment, rounds),
                "starts of tavrin": starts_table(programs, environment, rounds)}


def main():
    parser = argparse.ArgumentParser(description="Measures tavrin status.")
    parser.add_argument("--docs", action="store_true", help="put the tables into the documentation")
    parser.add_argument("--rounds", type=int, default=200)
    parser.add_argument("tavrin")
    parser.add_argument("portable")
    parser.add_argument("floor")
    options = parser.parse_args()
    blocks = tables({"tavrin": options.tavrin, "tavrin of the archives": options.portable}, options.floor, options.rounds)
    if options.docs:
        report.put(report.ROOT / "docs/performance.md", blocks)
    print("\nOne status line of 100 sessions\n\n" + blocks["status"])
    print("\nStarts of tavrin with 100 sessions\n\n" + blocks["starts of tavrin"])


if __name__ == "__main__":
    main()
