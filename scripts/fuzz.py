#!/usr/bin/env python3
"""Runs the fuzz targets of a build, by default as many at once as there are processors, and prints what each did.

fuzz.py BUILD [--seconds N] [--runs N] [--seed N] [--jobs N] [TARGET...]

Each target starts from the inputs in fuzz/corpus/TARGET, which were written by hand, and from those in
BUILD/seeds/TARGET, which fuzz-seeds.py makes of recorded data. It keeps what it finds in BUILD/found/TARGET, and puts
an input that breaks it into BUILD/artifacts. The status is 0 if there was none. Without a seed each run takes another
path.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
# What goes into a target's dictionary, and how long its inputs may be.
TARGETS = {
    "arguments": (["arguments"], 1024),
    "codex": (["json", "codex"], 4096),
    "event": (["json", "event"], 4096),
    "gitfile": (["gitfile"], 2048),
    "keys": (["keys"], 1024),
    "listeners": (["listeners"], 4096),
    "log": (["log"], 1024),
    "record": (["json", "record"], 4096),
    "settings": (["json", "settings"], 4096),
    "settingstext": (["json", "settings"], 4096),
    "terminal": (["json", "codex", "terminal"], 4096),
    "titles": (["json", "titles"], 2048),
    "transcript": (["json", "transcript"], 4096),
}
PATIENCE = 10  # seconds for one input, after which it counts as a hang
# Some targets write a file for each input. In memory that takes a hundredth of the time.
ENVIRONMENT = os.environ | ({"TMPDIR": "/dev/shm"} if os.path.isdir("/dev/shm") else {})


def corpus(target):
    return ROOT / "fuzz/corpus" / target


def folder(*parts):
    path = pathlib.Path(*parts)
    path.mkdir(parents=True, exist_ok=True)
    return path


def command(build, target, *options):
    dictionaries, longest = TARGETS[target]
    dictionary = folder(build, "dictionaries") / f"{target}.dict"
    dictionary.write_text("".join((ROOT / f"fuzz/dictionaries/{name}.dict").read_text() for name in dictionaries))
    return [build / f"fuzz/fuzz_{target}", f"-dict={dictionary}", f"-max_len={longest}", f"-timeout={PATIENCE}",
            f"-artifact_prefix={folder(build, 'artifacts')}/{target}-", *options]


def run(build, target, options):
    start = time.monotonic()
    done = subprocess.run(command(build, target, *options, "-print_final_stats=1", folder(build, "found", target),
                                  corpus(target), folder(build, "seeds", target)),
                          env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          check=False)
    log = done.stdout.decode(errors="replace")
    (folder(build, "logs") / f"{target}.log").write_text(log)
    return target, done.returncode, log, time.monotonic() - start


def last_number(pattern, log):
    return int(([0] + re.findall(pattern, log))[-1])


def report(build, target, status, log, took):
    executions = last_number(r"stat::number_of_executed_units: (\d+)", log)
    features = last_number(r" ft: (\d+)", log)
    print(f"{target:12}{executions:12,}{executions / took:10,.0f}{len(list(corpus(target).iterdir())):9,}"
          f"{features:10,}   {'broken' if status else 'ok'}", flush=True)
    if status:
        print(log[-6000:])
        for artifact in re.findall(r"written to (\S+)", log):
            print(f"To see it again: {build}/fuzz/fuzz_{target} {artifact}")


def fuzz(build, targets, options, jobs):
    print(f"{'target':12}{'executions':>12}{'a second':>10}{'corpus':>9}{'features':>10}", flush=True)
    broken = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for done in concurrent.futures.as_completed(pool.submit(run, build, each, options) for each in targets):
            report(build, *done.result())
            broken += done.result()[1] != 0
    return 1 if broken else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("targets", nargs="*", metavar="TARGET")
    parser.add_argument("--seconds", type=int, default=0)
    parser.add_argument("--runs", type=int, default=0)
    parser.add_argument("--seed", type=int, default=0)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    given = parser.parse_intermixed_args()
    unknown = set(given.targets) - set(TARGETS)
    if unknown:
        parser.error(f"no such target: {' '.join(sorted(unknown))}")
    if not given.seconds and not given.runs:
        parser.error("--seconds or --runs says when to stop")
    targets = given.targets or list(TARGETS)
    limits = {"max_total_time": given.seconds, "runs": given.runs, "seed": given.seed}
    return fuzz(given.build, targets, [f"-{name}={value}" for name, value in limits.items() if value], given.jobs)


if __name__ == "__main__":
    sys.exit(main())
