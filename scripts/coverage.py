#!/usr/bin/env python3
"""Lists the branches of the sources that the tests did not take: coverage.py BUILD

BUILD is a build directory with TAVRIN_COVERAGE whose tests have run. A condition has two branches, true and false. A
switch has one for each case. The status is 0 if the tests took enough branches: all of the disk layer, of locking and of
the state machine, 98 of 100 of the units that edit settings, find servers or judge sessions, 95 of 100 of the library and
the hook, and 90 of 100 of tavrin. scripts/coverage-exceptions.txt lists the branches that no test can take.
"""

import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ("TavrinCore/", "TavrinHook/", "TavrinTerminal/")
# The units that hold the records and decide their states. All branches of these units must be taken.
WHOLE = {"TavrinCore/Support/File", "TavrinCore/Support/Uninterrupted", "TavrinCore/Sessions/SessionFileStore",
         "TavrinCore/Hook/HookLog", "TavrinCore/Hook/HookTransitions"}
# The units that edit a person's settings, find servers and judge sessions. Nearly all of their branches must be taken.
NEARLY_WHOLE = {"TavrinCore/Agents/AgentHome", "TavrinCore/Agents/AgentVersion", "TavrinCore/Agents/CodexMessages",
                "TavrinCore/Agents/SettingsEdit", "TavrinCore/Agents/SettingsFile", "TavrinCore/Agents/SettingsText",
                "TavrinCore/Context/ListeningPorts", "TavrinCore/Context/ProcessFacts",
                "TavrinCore/Servers/PortScan", "TavrinCore/Servers/ServerScan",
                *(str(path.relative_to(ROOT).with_suffix("")) for path in ROOT.glob("TavrinCore/Monitor/*.cpp"))}
PROGRAMS = re.compile(r"(_tests|fuzz_[a-z]+|/(tavrin|tavrin-hook|tavrin_test_child|session-worker|play-recording))$")
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
                      if PROGRAMS.search(str(path)) and path.is_file() and os.access(path, os.X_OK))
    objects = [argument for program in programs[1:] for argument in ("-object", program)]
    exported = subprocess.run([tool("llvm-cov"), "export", f"-instr-profile={merged}", "-skip-expansions",
                               "-skip-functions", programs[0], *objects],
                              check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    files = {}
    for file in json.loads(exported)["data"][0]["files"]:
        path = os.path.relpath(os.path.realpath(file["filename"]), ROOT)
        if not path.startswith(FOLDERS):
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


def unit(path):
    """The file without its suffix and its system: those of one unit are counted as one."""
    return re.sub(r"_(linux|macos)$", "", os.path.splitext(path)[0])


# What must be taken: the name that is printed, which files it is about, and the least share of 100 branches.
LEAST = [("TavrinCore and TavrinHook", lambda path: not path.startswith("TavrinTerminal/"), 95),
         ("the disk layer, locking and the state machine", lambda path: unit(path) in WHOLE, 100),
         ("settings, servers and the monitor", lambda path: unit(path) in NEARLY_WHOLE, 98),
         ("TavrinTerminal", lambda path: path.startswith("TavrinTerminal/"), 90)]


def print_table(title, rows):
    """Prints the branches, those taken and their share. `rows` are (name, (branches, taken))."""
    print(f"{title:46}{'branches':>9}{'taken':>8}{'of 100':>9}")
    for name, (branches, taken) in rows:
        print(f"{name:46}{branches:9,}{taken:8,}{100 * taken / max(branches, 1):9.1f}")
    print()


def main():
    build = pathlib.Path(sys.argv[1])
    excepted = exceptions()
    unused = set(excepted)
    totals = {}  # of each file, [branches, taken]
    missing = []
    for path, branches in sorted(counted(build).items()):
        source = (ROOT / path).read_text().splitlines()
        total = totals.setdefault(path, [0, 0])
        for (line, column, last_line, last_column), times in sorted(branches.items()):
            text = source[line - 1]
            condition = text[column - 1:last_column - 1 if last_line == line else None]
            if SWITCH.match(text) and times[0] == 0:
                continue
            if (path, text.strip()) in excepted and 0 in times:
                unused.discard((path, text.strip()))
                continue
            total[0] += 2
            for count, name in zip(times, ["true", "false"]):
                total[1] += count > 0
                if count == 0:
                    missing.append(f"{path}:{line}: never {name}: {condition}")

    def sums(key):
        """The files' numbers added up for each value of `key`, in the order of the values."""
        added = {}
        for path, numbers in totals.items():
            added[key(path)] = [sum(pair) for pair in zip(added.get(key(path), [0, 0]), numbers)]
        return sorted(added.items())

    print_table("folder", sums(os.path.dirname) + sums(lambda path: "all"))
    print_table("unit", [row for row in sums(unit) if row[0] in NEARLY_WHOLE and row[1][0]])
    shares = [(name, dict(sums(of_these)).get(True, [0, 0]), least) for name, of_these, least in LEAST]
    print_table("what must be taken", [(f"{name}: {least}", numbers) for name, numbers, least in shares])
    if missing:
        print("Not taken:\n" + "\n".join(missing) + "\n")
    failures = [f"{name}: {100 * taken / max(branches, 1):.1f} of 100 branches are taken, and {least} must be."
                for name, (branches, taken), least in shares if 100 * taken < least * branches]
    failures += [f"scripts/coverage-exceptions.txt lists a branch that needs no exception: {path}: {text}"
                 for path, text in sorted(unused)]
    failures += [f"Nothing was counted in {name}." for name in sorted(
        (WHOLE | NEARLY_WHOLE) - {unit(path) for path in totals})]
    if failures:
        print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
