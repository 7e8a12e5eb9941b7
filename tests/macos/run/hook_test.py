#!/usr/bin/env python3
"""Tests a macOS build of tavrin-hook that machrun runs: hook_test.py HOOK IMPORTS NATIVE CHAIN-LINK.

HOOK runs it, IMPORTS prints what it imports and how that can fail, NATIVE is this system's build, and CHAIN-LINK makes
chains of processes with given names (tests/process/ChainLink.cpp)."""
import concurrent.futures
import csv
import dataclasses
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import typing
import unittest

HOOK, IMPORTS, NATIVE, CHAIN_LINK = sys.argv[1:5]
EVENTS = pathlib.Path(__file__).resolve().parents[2] / "data/events"
SESSIONS = "Library/Application Support/Tavrin/sessions"
LOG = "Library/Logs/Tavrin/hook.log"
CHANGING = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ|[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")


def event(name, **fields):
    return json.dumps({"session_id": "s", "hook_event_name": name, "cwd": "/", **fields}).encode()


PROMPT = event("UserPromptSubmit", prompt="Go on")
TOOL = event("PreToolUse", tool_name="Bash", tool_use_id="call-1")


def can_open_terminals():
    try:
        for descriptor in os.openpty():
            os.close(descriptor)
        return True
    except OSError:
        return False


class Home:
    def __init__(self, case):
        scratch = tempfile.TemporaryDirectory()
        case.addCleanup(scratch.cleanup)
        self.case = case
        self.path = pathlib.Path(scratch.name)

    def run(self, words, payload, **environment):
        """Runs a program, which must be silent and end with status 0."""
        variables = {**os.environ, "HOME": str(self.path), "MACHRUN_HOME": str(self.path), **environment}
        run = subprocess.run(words, input=payload, capture_output=True, env=variables, cwd=self.path, timeout=60)
        self.case.assertEqual((run.returncode, run.stdout, run.stderr), (0, b"", b""), (words, environment))

    def run_in_chain(self, links, payload=PROMPT, **environment):
        """Runs the hook in a chain of processes with these names. Returns their ids, the outermost first."""
        report = self.path / "links"
        report.unlink(missing_ok=True)
        self.run([CHAIN_LINK, str(report), *links, "--", HOOK], payload, **environment)
        return [int(line.split()[0]) for line in report.read_text().splitlines()]

    def record(self):
        return json.loads((self.path / SESSIONS / "s.json").read_text())

    def files(self):
        """The texts of the records and the log, without times and random numbers."""
        paths = [*(self.path / SESSIONS).glob("*.json"), self.path / LOG]
        return {path.name: CHANGING.sub("~", path.read_text()) for path in paths if path.exists()}


def below_32(*links):
    """These links below shells, so that nothing above them is looked at."""
    shells = ["sh", "bash", "zsh"]
    return ["sh+session", *(shells[i % 3] for i in range(31 - len(links))), *links]


class Replay(unittest.TestCase):
    def test_every_recorded_event_leaves_what_the_native_build_leaves(self):
        count = 0
        for scenario in sorted(EVENTS.glob("*/*/events.tsv")):
            mac, native = Home(self), Home(self)
            with scenario.open() as table:
                rows = list(csv.DictReader(table, delimiter="\t"))
            for row in rows:
                payload = (scenario.parent / row["file"]).read_bytes()
                mac.run([HOOK, *row["arguments"].split()], payload)
                native.run([NATIVE, *row["arguments"].split()], payload)
                self.assertEqual(mac.files(), native.files(), (scenario, row["file"]))
                count += 1
        self.assertEqual(count, 471)


class Desktop(unittest.TestCase):
    def setUp(self):
        self.home = Home(self)

    def host(self):
        return {key: value for key, value in self.home.record().items() if key.startswith("host")}

    def test_a_host_is_found_through_its_running_application(self):
        pids = self.home.run_in_chain(
            ["Terminal+session", "login", "zsh", "claude", "sh"], MACHRUN_APPS="Terminal=com.apple.Terminal"
        )
        self.assertEqual(self.home.record()["agentPid"], pids[3])
        self.assertEqual(self.host(), {"hostPid": pids[0], "hostBundleId": "com.apple.Terminal"})

    def test_a_regular_application_is_preferred_to_another(self):
        apps = "Code=com.microsoft.VSCode,Helper=?com.microsoft.VSCode.helper"
        pids = self.home.run_in_chain(["Code+session", "Helper", "claude", "sh"], MACHRUN_APPS=apps)
        self.assertEqual(self.host(), {"hostPid": pids[0], "hostBundleId": "com.microsoft.VSCode"})

    def test_without_applications_there_is_no_host(self):
        self.home.run_in_chain(["tmux+session", "zsh", "claude", "sh"])
        self.assertEqual(self.host(), {})

    def test_without_appkit_there_is_no_host_and_all_else_is_known(self):
        apps = "Terminal=com.apple.Terminal"
        pids = self.home.run_in_chain(["Terminal+session", "claude", "sh"], MACHRUN_APPS=apps, MACHRUN_APPKIT="missing")
        self.assertEqual(self.host(), {})
        self.assertEqual(self.home.record()["agentPid"], pids[1])
        self.assertEqual(self.home.record()["state"], "working")

    def test_appkit_is_loaded_only_while_a_host_is_looked_up(self):
        counts = self.home.path / "calls"

        def loads(payload, **apps):
            self.home.run_in_chain(["Terminal+session", "claude", "sh"], payload, MACHRUN_CALLS=str(counts), **apps)
            return next((int(line.split()[0]) for line in counts.read_text().splitlines() if line.endswith(" _dlopen")), 0)

        host = {"MACHRUN_APPS": "Terminal=com.apple.Terminal"}
        self.assertGreater(loads(PROMPT, **host), 0)
        self.assertEqual(loads(TOOL, **host), 0)
        self.assertGreater(loads(PROMPT), 0)
        self.assertGreater(loads(TOOL), 0)

    # Agents show what a hook prints, and some take it for an error.
    def test_what_appkit_prints_does_not_reach_the_agent(self):
        apps = "Terminal=com.apple.Terminal"
        pids = self.home.run_in_chain(["Terminal+session", "claude", "sh"], MACHRUN_APPS=apps, MACHRUN_APPKIT="loud")
        self.assertEqual(self.host(), {"hostPid": pids[0], "hostBundleId": "com.apple.Terminal"})

    def test_closed_streams_are_no_obstacle_to_a_host(self):
        apps = "Terminal=com.apple.Terminal"
        for closed in ("2>&-", ">&- 2>&-", ">&-"):
            report = self.home.path / "links"
            report.unlink(missing_ok=True)
            shell = ["/bin/sh", "-c", f'exec "$0" {closed}', HOOK]
            self.home.run(
                [CHAIN_LINK, str(report), "Terminal+session", "claude", "sh", "--", *shell],
                PROMPT,
                MACHRUN_APPS=apps,
                MACHRUN_APPKIT="loud",
            )
            self.assertEqual(self.host()["hostBundleId"], "com.apple.Terminal", closed)


class Processes(unittest.TestCase):
    def setUp(self):
        self.home = Home(self)

    def test_a_terminal_has_the_name_that_devname_returns(self):
        if not can_open_terminals():
            self.skipTest("No terminal can be opened.")
        self.home.run_in_chain(["Terminal+session", "claude+terminal", "sh"])
        self.assertRegex(self.home.record()["tty"], r"^/dev/ttys\d{3,}$")

    def test_without_devname_there_is_no_terminal_and_all_else_is_known(self):
        if not can_open_terminals():
            self.skipTest("No terminal can be opened.")
        pids = self.home.run_in_chain(["Terminal+session", "claude+terminal", "sh"], MACHRUN_FAIL="_devname@1")
        self.assertNotIn("tty", self.home.record())
        self.assertEqual(self.home.record()["agentPid"], pids[1])

    def test_a_name_has_up_to_16_bytes(self):
        for name in ("sixteen-letters.", "more-than-sixteen-letters"):
            pids = self.home.run_in_chain(["claude+session", "long", "sh"], MACHRUN_NAMES=f"long={name}")
            self.assertEqual(self.home.record()["agentPid"], pids[0], name)
            pids = self.home.run_in_chain(below_32("long", "sh"), MACHRUN_NAMES=f"long={name}")
            self.assertEqual(self.home.record()["agentPid"], pids[30], name)

    # The native build of Claude Code is a file that is named after its version, and pnpm's has a suffix.
    def test_an_agent_that_is_named_after_its_version_is_found(self):
        for name in ("2.1.112", "claude.exe"):
            pids = self.home.run_in_chain(below_32("Terminal", "zsh", name, "zsh"))
            self.assertEqual(self.home.record()["agentPid"], pids[30], name)

    def test_without_a_variable_the_home_directory_is_in_the_user_database(self):
        for variable in ("", "relative"):
            other = Home(self)
            other.run([HOOK], PROMPT, MACHRUN_HOME=str(self.home.path), HOME=variable)
            self.assertEqual(other.files(), {})
            self.assertEqual(self.home.record()["state"], "working")

    def test_root_does_not_write_into_the_home_that_sudo_keeps(self):
        if os.geteuid() != 0:
            self.skipTest("Only root can borrow a home directory.")
        other = Home(self)
        os.chown(other.path, 12345, 12345)
        other.run([HOOK], PROMPT, MACHRUN_HOME=str(self.home.path))
        self.assertEqual(other.files(), {})
        self.assertEqual(self.home.record()["state"], "working")


@dataclasses.dataclass
class Situation:
    """A run in which each call of an import fails once."""

    payload: bytes
    before: bytes | None = None  # an event that was handled before
    links: tuple[str, ...] = ("Terminal+session", f"claude{'+terminal' if can_open_terminals() else ''}", "sh")
    environment: dict[str, str] = dataclasses.field(default_factory=dict)
    prepare: typing.Callable[[Home], None] = lambda home: None  # before this run


def fill_the_log_and_add_a_title(home):
    (home.path / LOG).parent.mkdir(parents=True)
    (home.path / LOG).write_text("." * 1_000_001)
    titles = home.path / "Library/Application Support/Claude/claude-code-sessions/account/organisation"
    titles.mkdir(parents=True)
    (titles / "local_s.json").write_text('{"sessionId": "local_s", "title": "Mend the lock"}')


def damage_the_record_and_add_a_worktree(home):
    (home.path / SESSIONS / "s.json").write_text('{"sessionId": "s", "state": ')
    (home.path / "app").mkdir()
    (home.path / "app/.git").write_text(f"gitdir: {home.path}/main/.git/worktrees/app\n")


DESKTOP = {"MACHRUN_APPS": "Claude=com.anthropic.claudefordesktop"}
SITUATIONS = {
    "a first event, the home directory from the user database": Situation(PROMPT, environment={"HOME": ""}),
    "a known session": Situation(TOOL, PROMPT),
    "a session that begins to wait": Situation(
        event("PermissionRequest", tool_name="Bash", transcript_path="/etc/hosts"), TOOL
    ),
    "the end of a session": Situation(event("SessionEnd", reason="exit"), TOOL),
    "the Claude desktop app, a full log, a title, and input that comes late": Situation(
        PROMPT,
        links=("Claude+session", "claude", "sh"),
        environment={**DESKTOP, "MACHRUN_INPUT": "late"},
        prepare=fill_the_log_and_add_a_title,
    ),
    "a damaged record, no host, no name, and a relative path to a worktree": Situation(
        event("PreToolUse", tool_name="Bash", cwd="app"),
        TOOL,
        links=("tmux+session", "", "sh"),
        environment={"MACHRUN_APPS": ""},
        prepare=damage_the_record_and_add_a_worktree,
    ),
    "an id that is too long for the name of a file": Situation(event("PreToolUse", session_id="s" * 300)),
}

# The imports that no situation calls.
ON_ABORT = "says why the C++ library aborts, which only an error in the program makes it do"
NOT_CALLED = {
    "_dlsym": "called only if the process has loaded GCC's C++ library too",
    "_fputc": ON_ABORT,
    "_fwrite": ON_ABORT,
    "_realloc": ON_ABORT,
    "_snprintf": "called only after strerror_r has failed",
    "_vfprintf": ON_ABORT,
    "_vsnprintf": "writes the text of an error of Boost's, which the hook asks for nowhere",
}


class Faults(unittest.TestCase):
    def failures(self):
        """How each import can fail, by its name."""
        lines = subprocess.run([IMPORTS], capture_output=True, check=True, text=True).stdout.splitlines()
        return {name: kind for kind, name in (line.split() for line in lines)}

    def test_every_import_is_known(self):
        failures = self.failures()
        self.assertGreater(len(failures), 60)
        self.assertEqual([name for name, kind in failures.items() if kind == "unknown"], [])

    def test_each_call_that_fails_leaves_the_old_record_or_the_new_one(self):
        called = set()
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for name, situation in SITUATIONS.items():
                calls = self.calls(situation)
                points = [(function, i + 1) for function, count in calls.items() for i in range(count)]
                self.assertGreater(len(points), 30, name)
                called.update(function for function, _ in points)
                list(pool.map(lambda point: self.fail_at(name, situation, *point), points))
        failing = {name for name, kind in self.failures().items() if kind != "never"}
        self.assertEqual({name.removesuffix("$INODE64") for name in failing - called}, set(NOT_CALLED))
        self.assertLessEqual(called, failing)

    def run_in(self, home, situation, payload, **environment):
        variables = {"MACHRUN_APPS": "Terminal=com.apple.Terminal", **situation.environment, **environment}
        home.run_in_chain(situation.links, payload, **variables)

    def prepared(self, situation):
        home = Home(self)
        if situation.before:
            self.run_in(home, situation, situation.before)
        situation.prepare(home)
        return home

    def calls(self, situation):
        home = self.prepared(situation)
        counts = home.path / "calls"
        self.run_in(home, situation, situation.payload, MACHRUN_CALLS=str(counts))
        return {name: int(count) for count, name in map(str.split, counts.read_text().splitlines())}

    def fail_at(self, name, situation, function, call):
        where = (name, function, call)
        home = self.prepared(situation)
        old = home.files().get("s.json")
        self.run_in(home, situation, situation.payload, MACHRUN_FAIL=f"{function}@{call}")
        left = {path.name for path in (home.path / SESSIONS).glob("*") if path.name != ".s.lock"}
        if function != "_unlink":  # a record, or a temporary file after another failure
            self.assertLessEqual(left, {"s.json"}, where)
        if "s.json" in left and home.files()["s.json"] != old:
            self.assertEqual(home.record()["sessionId"], "s", where)
        # A further event is handled as if nothing had happened.
        self.run_in(home, situation, PROMPT)
        self.assertEqual(home.record()["state"], "working", where)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
