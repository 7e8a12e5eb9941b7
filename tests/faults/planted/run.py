#!/usr/bin/env python3
"""Plants faults in a copy of the sources, one at a time, and looks for a test that notices.

table.toml holds a row for each fault: what would be wrong, a text that occurs exactly once in a file, its replacement,
and the test programs that must notice, the best first, each with a filter for its tests after "=" or without one. If
none of them notices, all other test programs are tried. The copy, its build and the names of the tests that noticed stay
in build/planted. So the second run is faster: it tries the test that noticed before.

The exit status is 1 if a fault goes unnoticed, if a row's text is not found exactly once, if the sources do not build
with the replacement, or if one of the named tests fails without a fault.
"""
import argparse
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import tomllib

TABLE = pathlib.Path(__file__).resolve().with_name("table.toml")
SOURCES = TABLE.parents[3]
FEWEST_FAULTS = 100
LONGEST_RUN = 300  # seconds; a program that takes longer hangs


class Fault:
    def __init__(self, row):
        self.name = row["name"]
        self.description = row["wrong"]
        # Pairs of a program and a filter.
        self.tests = [tuple((entry + "=*").split("=")[:2]) for entry in row["tests"]]
        self.changes = [(change["file"], change["text"], change["replacement"]) for change in [row, *row.get("more", [])]]

    def complaints(self, sources):
        """Why the fault cannot be planted in `sources`; None if it can."""
        found = []
        for file, text, replacement in self.changes:
            path = sources / file
            count = path.read_text().count(text) if path.is_file() else 0
            if count != 1:
                found.append(f"{self.name}: the text occurs {count} times in {file}, and not once")
            if text == replacement:
                found.append(f"{self.name}: the replacement is the text itself")
        return found

    def plant(self, sources):
        """Makes the replacements in `sources`, and returns the original files."""
        before = {}
        for file, text, replacement in self.changes:
            content = (sources / file).read_text()
            before.setdefault(file, content)
            (sources / file).write_text(content.replace(text, replacement))
        return before


def read_table():
    faults = [Fault(row) for row in tomllib.loads(TABLE.read_text())["fault"]]
    names = [fault.name for fault in faults]
    twice = sorted({name for name in names if names.count(name) > 1})
    if twice:
        sys.exit("names that occur twice: " + " ".join(twice))
    if len(faults) < FEWEST_FAULTS:
        sys.exit(f"only {len(faults)} faults")
    return faults


def update(source, target):
    """Makes `target` a copy of `source`. Does not touch files that are the same already."""
    left_out = {".git", "build", "__pycache__"}
    wanted = set()
    for directory, directories, files in os.walk(source):
        directories[:] = [name for name in directories if name not in left_out]
        wanted |= {pathlib.Path(directory, name).relative_to(source) for name in files}
    for directory, directories, files in os.walk(target):
        directories[:] = [name for name in directories if name not in left_out]
        for path in (pathlib.Path(directory, name) for name in files):
            if path.relative_to(target) not in wanted:
                path.unlink()
    for path in wanted:
        if not (target / path).is_file() or (target / path).read_bytes() != (source / path).read_bytes():
            (target / path).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source / path, target / path)


class Copy:
    """The copied sources and what is built of them."""

    def __init__(self, directory):
        # The build has the same place in the copy as in the sources, so ccache can see the same commands.
        self.sources = directory / "sources"
        self.build = self.sources / "build" / "release"
        self.memory = directory / "noticed.json"
        self.noticed_before = json.loads(self.memory.read_text()) if self.memory.exists() else {}
        self.environment = dict(os.environ)
        options = []
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
            self.environment |= {"CCACHE_BASEDIR": str(self.sources), "CCACHE_NOHASHDIR": "1"}
        update(SOURCES, self.sources)
        # A fault may leave a parameter or a function without use.
        options.append("-DTAVRIN_WARNINGS_AS_ERRORS=OFF")
        self._call(["cmake", "--preset", "release", *options], self.sources)
        # The test programs by name, each with its place.
        targets = self._call(["ninja", "-C", self.build, "-t", "targets", "all"])
        self.programs = {
            name: place for place, name in re.findall(r"^(\S+/(\w+_tests)): CXX_EXECUTABLE", targets, re.MULTILINE)
        }

    def _call(self, words, directory=None):
        result = subprocess.run(words, cwd=directory, env=self.environment, capture_output=True, text=True)
        if result.returncode != 0:
            raise RuntimeError(result.stdout + result.stderr)
        return result.stdout

    def make(self, programs):
        self._call(["cmake", "--build", self.build, "--target", *programs])

    def red_test(self, program, tests):
        """The first of the tests that fails; None if all succeed."""
        words = [self.build / self.programs[program], "--gtest_fail_fast", "--gtest_filter=" + tests]
        try:
            result = subprocess.run(words, capture_output=True, text=True, errors="replace", timeout=LONGEST_RUN)
            output, status = result.stdout, result.returncode
        except subprocess.TimeoutExpired as hang:
            output, status = (hang.stdout or b"").decode(errors="replace"), "no end"
        if status == 0:
            return None
        failed = re.findall(r"^\[  FAILED  \] (\S+)", output, re.MULTILINE)
        begun = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
        return failed[0] if failed else f"{begun[-1] if begun else program} ({status})"

    def has_tests(self, program, tests):
        """Whether the filter fits any test of the program."""
        words = [self.build / self.programs[program], "--gtest_list_tests", "--gtest_filter=" + tests]
        return "\n  " in self._call(words)

    def noticed_by(self, fault):
        """The test that notices the fault, with its program; None if no test does."""
        before = self.noticed_before.get(fault.name)
        if before and before[0] in self.programs:
            self.make([before[0]])
            if self.red_test(*before):
                return " ".join(before)
        named = [program for program, _ in fault.tests]
        others = [(program, "*") for program in self.programs if program not in named]
        whole = [(program, "*") for program, tests in fault.tests if tests != "*"]
        for program, tests in fault.tests + whole + others:
            self.make([program])
            red = self.red_test(program, tests)
            if red:
                self.noticed_before[fault.name] = [program, red]
                self.memory.write_text(json.dumps(self.noticed_before))
                return f"{program} {red}"
        return None


def check_tests_without_fault(copy, faults):
    """Builds all named programs and checks that their tests pass: only then does a failure mean anything."""
    named = sorted({entry for fault in faults for entry in fault.tests})
    unknown = {program for program, _ in named} - copy.programs.keys()
    if unknown:
        sys.exit("no such test programs: " + " ".join(sorted(unknown)))
    copy.make(sorted({program for program, _ in named}))
    for program, tests in named:
        # Some tests are for Linux alone.
        if not copy.has_tests(program, tests) and sys.platform == "linux":
            sys.exit(f"{program} has no tests {tests}")
        red = copy.red_test(program, tests)
        if red:
            sys.exit(f"{program} {red} fails without a fault")


def plant(copy, fault):
    """Plants one fault, looks for a test that notices, and takes the fault out again. Returns whether one did."""
    begin = time.monotonic()
    before = fault.plant(copy.sources)
    try:
        noticed = copy.noticed_by(fault)
    except RuntimeError as error:
        print(f"{fault.name}: does not build\n{error}", file=sys.stderr)
        return False
    finally:
        for file, content in before.items():
            (copy.sources / file).write_text(content)
    seconds = time.monotonic() - begin
    print(f"{'noticed' if noticed else 'UNNOTICED'}  {fault.name}  ({fault.description})", flush=True)
    print(f"         by {noticed or 'no test'}, {seconds:.0f} s", flush=True)
    return noticed is not None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true", help="check only that each row's text occurs exactly once")
    parser.add_argument("names", nargs="*", help="the faults to plant (default: all)")
    arguments = parser.parse_args()
    faults = read_table()
    complaints = [complaint for fault in faults for complaint in fault.complaints(SOURCES)]
    if complaints:
        sys.exit("\n".join(complaints))
    if arguments.check:
        print(f"{len(faults)} faults can be planted")
        return

    unknown = set(arguments.names) - {fault.name for fault in faults}
    if unknown:
        sys.exit("no such faults: " + " ".join(sorted(unknown)))
    wanted = [fault for fault in faults if not arguments.names or fault.name in arguments.names]
    begin = time.monotonic()
    copy = Copy((SOURCES / "build" / "planted").resolve())
    check_tests_without_fault(copy, wanted)
    print(f"Everything is built and green without a fault, {time.monotonic() - begin:.0f} s", flush=True)
    noticed = sum(plant(copy, fault) for fault in wanted)
    print(f"{noticed} of {len(wanted)} faults noticed, {time.monotonic() - begin:.0f} s")
    sys.exit(noticed != len(wanted))


if __name__ == "__main__":
    main()
