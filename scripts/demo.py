#!/usr/bin/env python3
"""Plays recorded sessions of all five agents, each in a window of a tmux server of its own, and shows them in `tavrin panel`.
Everything happens in a scratch home that is removed at the end. --speed 2 plays twice as fast."""
import argparse
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

import replay

# The projects that the agents work in, in the order of the windows.
PROJECTS = {"claude": "shop", "codex": "api", "gemini": "docs", "copilot": "website", "grok": "infra"}
RECORDED_FOLDER = b"/Users/dev/src/app"
SHORTEST, LONGEST = 0.4, 6  # seconds between two events
BETWEEN_SESSIONS = 3


class Stage:
    """A scratch home with projects, and a tmux server in it."""

    def __init__(self, hook, tavrin, columns=100, rows=20):
        self.hook, self.tavrin = pathlib.Path(hook).resolve(), pathlib.Path(tavrin).resolve()
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="tavrin-demo-"))
        self.socket = self.home / "tmux"
        for project in PROJECTS.values():
            (self.home / "src" / project / ".git").mkdir(parents=True)
        self.tmux("new-session", "-d", "-x", str(columns), "-y", str(rows), "exec cat", ";", "set", "-g", "status", "off",
                  ";", "set", "-g", "mouse", "on")

    def environment(self):
        return {"HOME": str(self.home), "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "SHELL": "/bin/sh",
                "TERM": os.environ.get("TERM", "xterm")}

    def tmux(self, *words):
        """Runs a tmux command and returns what it prints."""
        run = subprocess.run(["tmux", "-S", self.socket, "-f", "/dev/null", *words], env=self.environment(),
                             capture_output=True, text=True)
        if run.returncode != 0:
            raise RuntimeError(f"tmux {words[0]}: {run.stderr.strip()}")
        return run.stdout

    def start_agent(self, window, agent, *player):
        """Plays the recordings of an agent in a window. `player` are further options of this script."""
        words = [sys.executable, __file__, str(self.hook), str(self.tavrin), "--play", agent, *player]
        self.tmux("new-window", "-d", "-t", f":{window}", "-n", PROJECTS[agent], *words)

    def wait_for(self, holds, what):
        deadline = time.monotonic() + 30
        while not holds():
            if time.monotonic() > deadline:
                raise RuntimeError(f"waited in vain for {what}:\n{self.screen()}")
            time.sleep(0.05)

    def sessions(self):
        return sorted((self.home / "Library/Application Support/Tavrin/sessions").glob("*.json"))

    def open_panel(self, *words):
        self.tmux("respawn-pane", "-k", "-t", ":0", "env", "TERM=tmux-256color", *words, str(self.tavrin), "panel")

    def screen(self, *options):
        return self.tmux("capture-pane", "-p", *options, "-t", ":0")

    def close(self):
        subprocess.run(["tmux", "-S", self.socket, "kill-server"], capture_output=True)
        shutil.rmtree(self.home, ignore_errors=True)


class Player:
    """Plays recordings of one agent with the home directory that it runs in."""

    def __init__(self, hook, agent):
        self.agent, self.hook = agent, hook
        self.folder = pathlib.Path.home() / "src" / PROJECTS[agent]
        os.chdir(self.folder)

    def play(self, event, arguments):
        payload = event.read_bytes().replace(RECORDED_FOLDER, str(self.folder).encode())
        subprocess.run([self.hook, *arguments], input=payload, check=True)
        print(f"{self.agent}: {event.stem.partition('-')[2]}", flush=True)

    def play_part(self, scenario, count):
        """Plays the first events of one recording, at once. Then waits to be killed."""
        for directory, rows in replay.scenarios(self.agent):
            if directory.name == scenario:
                for row in rows[:count]:
                    self.play(directory / row["file"], row["arguments"].split())
        sys.stdin.read()

    def play_all(self, speed):
        """Plays every recording again and again, at the recorded speed, but with no very short or long pauses."""
        while True:
            for directory, rows in replay.scenarios(self.agent):
                before = 0.0
                for row in rows:
                    at = float(row["seconds"] or before + 2)
                    time.sleep(min(max(at - before, SHORTEST), LONGEST) / speed)
                    before = at
                    self.play(directory / row["file"], row["arguments"].split())
                time.sleep(BETWEEN_SESSIONS / speed)


def show(options):
    size = shutil.get_terminal_size()
    stage = Stage(options.hook, options.tavrin, size.columns, size.lines)
    try:
        for window, agent in enumerate(PROJECTS, 1):
            stage.start_agent(window, agent, "--speed", str(options.speed))
        stage.wait_for(stage.sessions, "the first session")
        # The tmux server ends when the panel is quit.
        stage.open_panel()
        stage.tmux("set", "-g", "status", "on", ";", "set", "-g", "status-left", "", ";", "set", "-g", "status-right-length",
                   "60", ";", "set", "-g", "status-right", "Ctrl-B 0: back to the panel   q: quit it", ";",
                   "rename-window", "-t", ":0", "panel")
        stage.tmux("set-hook", "-g", "pane-exited", "kill-server")
        subprocess.run(["tmux", "-S", stage.socket, "attach"], env=stage.environment())
    finally:
        stage.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("hook", help="the tavrin-hook executable")
    parser.add_argument("tavrin", help="the tavrin executable")
    parser.add_argument("--speed", type=float, default=1)
    parser.add_argument("--play", choices=PROJECTS, help=argparse.SUPPRESS)
    parser.add_argument("--scenario", help=argparse.SUPPRESS)
    parser.add_argument("--count", type=int, help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.play:
        player = Player(options.hook, options.play)
        player.play_part(options.scenario, options.count) if options.scenario else player.play_all(options.speed)
    elif sys.stdin.isatty() and sys.stdout.isatty():
        show(options)
    else:
        sys.exit("There is no terminal to show the panel on.")


if __name__ == "__main__":
    main()
