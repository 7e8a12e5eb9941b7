"""Brings a session to the front in a real kitty, on an X server without a screen.

kitty.py TAVRIN TAVRIN-HOOK
"""
import json
import os
import subprocess
import sys
import tempfile
import time

tavrin, hook = sys.argv[1:]


def state(kitty_at):
    """The id of the window in the active tab, and all ids, in the order of their tabs."""
    tabs = [tab for system_window in json.loads(kitty_at("ls")) for tab in system_window["tabs"]]
    # Newer versions of kitty call it is_active.
    active = [tab["windows"][0]["id"] for tab in tabs if tab.get("is_active_tab", tab.get("is_active"))]
    return active[0], [tab["windows"][0]["id"] for tab in tabs]


def wait_until(condition, what):
    end = time.monotonic() + 60
    while not (found := condition()):
        if time.monotonic() > end:
            sys.exit(f"{what} did not come within 60 s")
        time.sleep(0.05)
    return found


with tempfile.TemporaryDirectory() as home:
    socket = f"unix:{home}/kitty"
    read_end, write_end = os.pipe()
    x_server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "800x600x24", "-nolisten", "tcp"],
                                pass_fds=[write_end], stderr=subprocess.DEVNULL)
    os.close(write_end)
    display = os.fdopen(read_end).readline().strip()
    environment = {"HOME": home, "PATH": "/usr/bin:/bin", "DISPLAY": f":{display}", "LIBGL_ALWAYS_SOFTWARE": "1",
                   "LANG": "C.UTF-8", "XDG_RUNTIME_DIR": home}

    def kitty_at(*words):
        return subprocess.run(["kitty", "@", "--to", socket, *words], env=environment, check=True,
                              capture_output=True, text=True, timeout=60).stdout

    def sessions():
        listed = subprocess.run([tavrin, "list", "--json"], env=environment, capture_output=True, text=True)
        return json.loads(listed.stdout)["sessions"]

    # The agent's process is the nearest that is not a shell, so it is python here.
    agent = f"""
import json, os, signal, subprocess
for event in ("UserPromptSubmit", "PermissionRequest"):
    payload = {{"session_id": "in-kitty", "hook_event_name": event, "cwd": {home!r}, "tool_name": "Bash"}}
    subprocess.run([{hook!r}], input=json.dumps(payload).encode(), check=True)
signal.pause()
"""
    kitty = subprocess.Popen(
        ["kitty", "--config", "NONE", "-o", "allow_remote_control=socket-only", "--listen-on", socket,
         "/usr/bin/python3", "-c", agent], env=environment, stderr=subprocess.PIPE, text=True)
    try:
        def waiting():
            if kitty.poll() is not None:
                sys.exit(f"kitty ended: {kitty.stderr.read()}")
            return [session for session in sessions() if session["state"] == "needsYou"]

        session = wait_until(waiting, "the session")[0]
        assert session["reachable"], session
        kitty_at("launch", "--type=tab", "sleep", "600")
        active, every = wait_until(lambda: len((found := state(kitty_at))[1]) == 2 and found, "the second tab")
        assert active == every[1], "the agent's tab is in front already"
        focus = subprocess.run([tavrin, "focus", "--next"], env=environment, capture_output=True, text=True)
        assert (focus.returncode, focus.stdout, focus.stderr) == (0, "", ""), focus
        assert state(kitty_at)[0] == every[0], "focus did not go to the agent's tab"
    finally:
        for process in (kitty, x_server):
            process.terminate()
            process.wait()
