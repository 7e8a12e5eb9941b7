"""Watches a session that waits, with the real notify-send and a notification service on a private D-Bus.

notifications.py TAVRIN TAVRIN-HOOK
"""
import json
import os
import re
import subprocess
import sys
import tempfile

tavrin, hook = sys.argv[1:]


def wait_for(stream, pattern):
    """The first line of `stream` that matches."""
    for line in stream:
        if re.search(pattern, line):
            return line
    sys.exit(f"the stream ended without a line that matches {pattern}")


def report(home, event, **fields):
    payload = {"session_id": "5e55-0001", "hook_event_name": event, "cwd": str(home), "tool_name": "Bash",
               "tool_use_id": "call-1", **fields}
    subprocess.run([hook], input=json.dumps(payload), text=True, env={"HOME": home}, check=True)


with tempfile.TemporaryDirectory() as home:
    bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"], stdout=subprocess.PIPE,
                           text=True)
    environment = {"HOME": home, "PATH": "/usr/bin:/bin",
                   "DBUS_SESSION_BUS_ADDRESS": bus.stdout.readline().strip()}
    service = subprocess.Popen(
        ["/usr/bin/python3", "-u", "-m", "dbusmock", "--template", "notification_daemon", "--parameters",
         json.dumps({"capabilities": "body actions"})],
        stdout=subprocess.PIPE, text=True, env=environment)
    try:
        subprocess.run(["gdbus", "wait", "--session", "--timeout", "60", "org.freedesktop.Notifications"],
                       env=environment, check=True)
        for event in ("SessionStart", "UserPromptSubmit", "PreToolUse"):
            report(home, event)
        watch = subprocess.Popen([tavrin, "watch", "--notify"], stdout=subprocess.PIPE, text=True, env=environment)
        wait_for(watch.stdout, "burning|working")
        report(home, "PermissionRequest")
        notified = wait_for(service.stdout, " Notify ")
        assert '"Tavrin"' in notified and '"Claude needs you"' in notified and ": Bash" in notified, notified
        asking = wait_for(service.stdout, " Notify ")
        assert ' 1 "" ' in asking and '"focus", "Go there"' in asking, asking
        report(home, "Stop")
        closed = wait_for(service.stdout, " CloseNotification ")
        assert closed.strip().endswith("CloseNotification 1"), closed
        watch.terminate()
        watch.wait()
    finally:
        for process in (service, bus):
            process.terminate()
            process.wait()
