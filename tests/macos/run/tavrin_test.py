#!/usr/bin/env python3
"""Tests a macOS build of tavrin that machrun runs: tavrin_test.py MACOS TAVRIN HOOK WORD...

MACOS is the folder of both programs for macOS, TAVRIN and HOOK are this system's, and the words run a file for macOS.
Whatever both builds print must be the same."""
import csv
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

MACOS, TAVRIN, HOOK, *MACHRUN = sys.argv[1:]
EVENTS = pathlib.Path(__file__).resolve().parents[2] / "data/events"
AGE = re.compile(r"\b\d+[smhd]\b")


class Tavrin(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.root = pathlib.Path(scratch.name)
        cls.home = cls.root / "home"
        for name, tavrin, hook in (("mac", f"{MACOS}/tavrin", f"{MACOS}/tavrin-hook"), ("linux", TAVRIN, HOOK)):
            folder = cls.root / name / "Tavrin/bin"
            folder.mkdir(parents=True)
            shutil.copy(tavrin, folder / "tavrin")
            shutil.copy(hook, folder / "tavrin-hook")
        for agent in ("claude", "gemini"):
            (cls.home / f".{agent}").mkdir(parents=True)
            (cls.home / f".{agent}/settings.json").write_text('{"theme": "dark"}\n')
        # This process stands for the agents, so none of them has ended.
        for scenario in sorted(EVENTS.glob("*/*/events.tsv"))[:12]:
            with scenario.open() as table:
                for row in list(csv.DictReader(table, delimiter="\t"))[:3]:
                    with (scenario.parent / row["file"]).open("rb") as payload:
                        subprocess.run([HOOK, *row["arguments"].split()], stdin=payload, env=cls.environment(), check=True)

    @classmethod
    def environment(cls):
        return {**os.environ, "HOME": str(cls.home), "MACHRUN_HOME": str(cls.home), "LC_ALL": "C.UTF-8"}

    def run_words(self, name, runner, words):
        folder = self.root / name
        run = subprocess.run(
            [*runner, folder / "Tavrin/bin/tavrin", *words], capture_output=True, text=True, env=self.environment(), timeout=60
        )
        return tuple(AGE.sub("~", text.replace(str(folder), "FOLDER")) for text in (str(run.returncode), run.stdout, run.stderr))

    def compare(self, *words):
        native = self.run_words("linux", [], words)
        self.assertEqual(self.run_words("mac", MACHRUN, words), native, words)
        return native

    def test_the_version_and_the_help_are_the_same(self):
        self.assertRegex(self.compare("--version")[1], r"^tavrin \d+\.\d+\.\d+\n$")
        for command in ("connect", "list", "status", "watch", "focus", "servers", "completions"):
            self.assertIn(f"tavrin {command}", self.compare("help", command)[1])
        self.assertIn("complete", self.compare("completions", "bash")[1])

    def test_wrong_usage_is_reported_alike(self):
        self.assertEqual(self.compare("lost")[0], "64")
        self.assertEqual(self.compare("list", "--lost")[0], "64")

    def test_sessions_are_listed_alike(self):
        self.assertGreater(len(self.compare("list")[1].splitlines()), 5)
        self.assertIn('"sessions":[{', self.compare("list", "--json")[1])
        self.assertRegex(self.compare("status")[1], r"\d")
        self.compare("status", "--format", "waybar")

    def test_what_connecting_would_change_is_the_same(self):
        for agent in ("claude", "gemini"):
            status, output, _ = self.compare("connect", agent, "--dry-run")
            self.assertEqual(status, "0")
            self.assertIn("FOLDER/Tavrin/bin/tavrin-hook", output)
        self.assertEqual(self.compare("disconnect", "claude", "--dry-run")[0], "0")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
