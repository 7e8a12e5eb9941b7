#!/usr/bin/env python3
"""Lists the branches of TavrinCore and TavrinHook that the tests did not take: coverage.py BUILD

BUILD is a build directory with TAVRIN_COVERAGE whose tests have run. A condition has two branches, true and false. A
switch has one for each case. The status is 0 if the tests took enough branches: all of the disk layer, of locking and of
the state machine, and 95 of 100 of the rest. scripts/coverage-exceptions.txt lists the branches that no test can take.
"""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LEAST = 95  # of 100 branches
# The units that hold the records and decide their states. All branches of these units must be taken.
WHOLE = {"TavrinCore/Support/File", "TavrinCore/Support/Uninterrupted", "TavrinCore/Sessions/SessionFileStore",
         "TavrinCore/Hook/HookLog", "TavrinCore/Hook/HookTransitions"}
PROGRAMS = re.compile(r"(_tests|tavrin-hook|fuzz_[a-z]+|session-worker)$")
# A value of an enumeration without a case. Compilers warn of a missing case, and that warning is an error here.
SWITCH = re.compile(r"\s*switch \(")


def tool(name):
    """llvm-cov beside the compiler, because it must have the same version."""
    folder = pathlib.Path(os.path.realpath(subprocess.run(["sh", "-c", "command -v clang++"], check=True, text=True,
                                                          stdout=subprocess.PIPE).stdout.strip())).parent
    return str(folder / name) if (folder / name).exists() else name


def counted(build):
    """The files' branches: {file: {(line, column, last line, last column): [times true, times false]}}."""
    profiles = sorted(build.glob("profiles/*.profraw"))
    merged = build / "all.profdata"
    subprocess.run([tool("llvm-profdata"), "merge", "--sparse", "-o", merged, *profiles], check=True)
    programs = sorted(path for path in build.rglob("*")
                      if PROGRAMS.search(path.name) and path.is_file() and os.access(path, os.X_OK))
    objects = [argument for program in programs[1:] for argument in ("-object", program)]
    exported = subprocess.run([tool("llvm-cov"), "export", f"-instr-profile={merged}", "-skip-expansions",
                               "-skip-functions", programs[0], *objects],
                              check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    files = {}
    for file in json.loads(exported)["data"][0]["files"]:
        path = os.path.relpath(os.path.realpath(file["filename"]), ROOT)
        if not path.startswith(("TavrinCore/", "TavrinHook/")):
            continue
        branches = files.setdefault(path, {})
        for branch in file["branches"]:  # once for each instance of a template
            times = branches.setdefault(tuple(branch[:4]), [0, 0])
            times[0] += branch[4]
            times[1] += branch[5]
    return files


def exceptions():
    """The branches that need not be taken, as {(file, source of the line)}."""
    lines = (ROOT / "scripts/coverage-exceptions.txt").read_text().splitlines()
    return {tuple(line.split(": ", 1)) for line in lines if line and not line.startswith("#")}


def main():
    build = pathlib.Path(sys.argv[1])
    excepted = exceptions()
    unused = set(excepted)
    totals = collections.defaultdict(lambda: [0, 0])
    missing = []
    too_few = False
    files = counted(build)
    for path, branches in sorted(files.items()):
        source = (ROOT / path).read_text().splitlines()
        for (line, column, last_line, last_column), times in sorted(branches.items()):
            text = source[line - 1]
            condition = text[column - 1:last_column - 1 if last_line == line else None]
            if SWITCH.match(text) and times[0] == 0:
                continue
            if (path, text.strip()) in excepted and 0 in times:
                unused.discard((path, text.strip()))
                continue
            total = totals[os.path.dirname(path)]
            total[0] += 2
            for count, name in zip(times, ["true", "false"]):
                total[1] += count > 0
                if count == 0:
                    missing.append(f"{path}:{line}: never {name}: {condition}")
                    too_few |= os.path.splitext(path)[0] in WHOLE
    totals["all"] = [sum(column) for column in zip(*totals.values())]
    print(f"{'folder':28}{'branches':>9}{'taken':>8}{'of 100':>9}")
    for folder, (branches, taken) in totals.items():
        print(f"{folder:28}{branches:9,}{taken:8,}{100 * taken / branches:9.1f}")
    if missing:
        print("\nNot taken:\n" + "\n".join(missing))
    for path, text in sorted(unused):
        print(f"\nscripts/coverage-exceptions.txt lists a branch that needs no exception: {path}: {text}")
    absent = WHOLE - {os.path.splitext(path)[0] for path in files}
    for path in sorted(absent):
        print(f"\nNothing was counted in {path}.")
    branches, taken = totals["all"]
    too_few |= 100 * taken < LEAST * branches or bool(unused or absent)
    if too_few:
        print("\nToo few: all branches of the disk layer, of locking and of the state machine must be taken, "
              f"and {LEAST} of 100 in all.")
    return 1 if too_few else 0


if __name__ == "__main__":
    sys.exit(main())
