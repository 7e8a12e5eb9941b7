#!/usr/bin/env python3
"""Checks that tavrin loads ICU's libraries only to order names, and runs without them. The argument is tavrin."""
import datetime
import json
import os
import pathlib
import subprocess
import sys
import tempfile

TAVRIN = sys.argv[1]
# All have worked for as long, so their names decide. Without ICU, letters with accents come last.
BY_LANGUAGE = ["alpha", "Ärger", "Beta", "zeta"]
WITHOUT_ICU = ["alpha", "Beta", "zeta", "Ärger"]


def write_sessions(home):
    folder = home / "Library/Application Support/Tavrin/sessions"
    folder.mkdir(parents=True)
    now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    for i, name in enumerate(BY_LANGUAGE):
        record = {"agent": "gemini", "agentPid": os.getpid(), "cwd": str(home), "inFlight": [], "repoRoot": f"/src/{name}",
                  "sessionId": f"session-{i}", "state": "working", "stateSince": now, "updatedAt": now, "waitingOn": []}
        (folder / f"session-{i}.json").write_text(json.dumps(record))


def run(home, *words, **variables):
    """What a command prints, and whether the loader opened ICU for it."""
    environment = {"HOME": str(home), "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8", "LD_DEBUG": "files",
                   "LD_DEBUG_OUTPUT": str(home / "loaded"), **variables}
    output = subprocess.run([TAVRIN, *words], env=environment, check=True, capture_output=True, text=True).stdout
    traces = list(home.glob("loaded.*"))
    loaded = "".join(trace.read_text() for trace in traces)
    assert "libc.so" in loaded, f"the loader of this machine does not say what it loads: {loaded}"
    for trace in traces:
        trace.unlink()
    return output, "libicui18n" in loaded


def names(output):
    return [session["project"] for session in json.loads(output)["sessions"]]


with tempfile.TemporaryDirectory() as folder:
    home = pathlib.Path(folder)
    write_sessions(home)
    for words in (["--version"], ["status"], ["help"]):
        assert not run(home, *words)[1], f"tavrin {words[0]} loads ICU"
    listed, loads = run(home, "list", "--json")
    assert loads and names(listed) == BY_LANGUAGE, listed
    # A file that is not a library stands for one that is missing.
    broken = home / "broken"
    broken.mkdir()
    for version in range(60, 100):
        (broken / f"libicui18n.so.{version}").touch()
    listed, _ = run(home, "list", "--json", LD_LIBRARY_PATH=str(broken))
    assert names(listed) == WITHOUT_ICU, listed
