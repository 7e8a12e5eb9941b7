#!/usr/bin/env python3
"""Runs tavrin-hook on each recorded event in tests/data/events, in a scratch home. Shows the log line of each event, and at
the end the session files and what `tavrin list` makes of them."""
import argparse
import csv
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

EVENTS = pathlib.Path(__file__).resolve().parent.parent / "tests/data/events"
PRODUCTS = {
    "claude": "Claude Code",
    "codex": "Codex",
    "gemini": "Gemini CLI",
    "copilot": "Copilot CLI",
    "grok": "Grok",
}
STAMP_LENGTH = len("2025-01-31T09:15:02Z ")
COLOURS = {"idle": "32", "working": "33", "needsYou": "1;35", "ended": "36", "ignored": "2", "error": "1;31"}


def coloured(text, code):
    return f"\033[{code}m{text}\033[0m" if sys.stdout.isatty() and code else text


def outcome_colour(message):
    """The colour for a log line, by the outcome of its event."""
    outcome = message.rpartition("→ ")[2] if "→" in message else "error"
    return COLOURS.get(outcome.split(" ")[0].rstrip(":"), "")


class Home:
    """A scratch home directory that tavrin-hook runs in."""

    def __init__(self, hook):
        self.hook = hook
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="tavrin-replay-"))
        self.log = self.path / "Library/Logs/Tavrin/hook.log"
        self.sessions = self.path / "Library/Application Support/Tavrin/sessions"

    def play(self, event, arguments):
        """Runs the hook on one event, and returns the log line that it wrote, without its time."""
        before = self.log.stat().st_size if self.log.exists() else 0
        environment = dict(os.environ, HOME=str(self.path))
        with event.open("rb") as payload:
            run = subprocess.run([self.hook, *arguments], stdin=payload, capture_output=True, env=environment)
        if run.returncode != 0 or run.stdout or run.stderr:
            sys.exit(f"{event}: status {run.returncode}, output {run.stdout + run.stderr!r}")
        if not self.log.exists():
            return ""
        with self.log.open("rb") as log:
            log.seek(before)
            return log.read().decode().rstrip("\n")[STAMP_LENGTH:]


def scenarios(agent):
    for directory in sorted((EVENTS / agent).iterdir()):
        with (directory / "events.tsv").open() as table:
            yield directory, list(csv.DictReader(table, delimiter="\t"))


def play_agent(home, agent):
    count = 0
    for directory, rows in scenarios(agent):
        print(coloured(f"\n{PRODUCTS[agent]}: {directory.name}", "1"))
        for row in rows:
            message = home.play(directory / row["file"], row["arguments"].split())
            name = row["file"].removesuffix(".json").partition("-")[2]
            seconds = f"{float(row['seconds']):7.2f} s" if row["seconds"] else " " * 9
            print(f"{seconds}  {name:<22}{coloured(message or '(no line)', outcome_colour(message))}")
            count += 1
    return count


def show_sessions(home):
    files = sorted(home.sessions.glob("*.json"))
    print(coloured(f"\nSession files at the end: {len(files)}", "1"))
    for file in files:
        print(f"\n{file.relative_to(home.path)}")
        print(file.read_text())


def show_list(home, tavrin):
    print(coloured("\n$ tavrin list", "1"), flush=True)
    environment = dict(os.environ, HOME=str(home.path))
    if subprocess.run([tavrin, "list"], env=environment).returncode != 0:
        sys.exit(f"{tavrin} list has failed")


def main():
    # Ends quietly if its reader stops early, as head(1) does.
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("hook", help="the tavrin-hook executable")
    parser.add_argument("tavrin", nargs="?", help="the tavrin executable, whose list is shown at the end")
    parser.add_argument("--agent", choices=PRODUCTS, help="play only this agent's sessions")
    parser.add_argument("--keep", action="store_true", help="keep the scratch home, and print its path")
    options = parser.parse_args()

    home = Home(pathlib.Path(options.hook).resolve())
    try:
        agents = [options.agent] if options.agent else list(PRODUCTS)
        count = sum(play_agent(home, agent) for agent in agents)
        show_sessions(home)
        print(coloured(f"\n{count} events of {len(agents)} agent(s), each handled in silence with status 0.", "1"))
        if options.tavrin:
            show_list(home, pathlib.Path(options.tavrin).resolve())
    finally:
        if options.keep:
            print(f"Kept: {home.path}")
        else:
            shutil.rmtree(home.path)


if __name__ == "__main__":
    main()
