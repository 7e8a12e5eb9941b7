#!/usr/bin/env python3
"""tavrin-hook for Claude Code as a developer would write it by hand: the same record, lock and log.

It knows Claude Code's events. It keeps the stored host, and does not rotate the log.
"""
import fcntl
import json
import os
import re
import sys
import time

CLOSES = {"PostToolUse", "PostToolUseFailure", "PermissionDenied"}
FORGETS = {"UserPromptSubmit", "Stop", "SessionStart"}
QUESTIONS = {"AskUserQuestion", "request_user_input"}
ACTIONS = {
    "UserPromptSubmit": "working", "PreToolUse": "working", "PostToolUse": "working",
    "PostToolUseFailure": "working", "PermissionDenied": "working", "PermissionRequest": "needsYou",
    "Elicitation": "needsYou", "SessionStart": "idle", "Stop": "idle", "SessionEnd": "delete",
}


def action(event, old):
    name = event["hook_event_name"]
    if name == "Notification":
        kinds = ("permission_prompt", "ToolPermission", "elicitation_dialog")
        return "needsYou" if event.get("notification_type") in kinds else "ignore"
    if name == "SessionStart" and event.get("source") == "compact":
        return "ignore"
    if name == "PreToolUse" and event.get("tool_name") in QUESTIONS:
        return "needsYou"
    result = ACTIONS.get(name, "ignore")
    if old and old["state"] == "needsYou" and result == "working":
        if name == "PreToolUse" and event.get("agent_id"):
            return "needsYou"
        if name in CLOSES and name != "PermissionDenied" and set(old["waitingOn"]) - {call_key(event)}:
            return "needsYou"
    return result


def call_key(event):
    if event.get("tool_use_id"):
        return event["tool_use_id"]
    return "name:" + event["tool_name"] if event.get("tool_name") else None


def agent_pid():
    pid = os.getppid()
    for _ in range(20):
        try:
            with open(f"/proc/{pid}/stat") as file:
                head, tail = file.read().rsplit(")", 1)
        except OSError:
            break
        if head.split("(", 1)[1] == "claude":
            return pid
        pid = int(tail.split()[1])
    return os.getppid()


def repository(folder):
    while folder != "/" and not os.path.exists(folder + "/.git"):
        folder = os.path.dirname(folder)
    return folder if folder != "/" else None


def advance(old, state, event, now):
    name, key = event["hook_event_name"], call_key(event)
    record = dict(old) if old else {"sessionId": event["session_id"], "inFlight": [], "waitingOn": [],
                                    "cwd": event.get("cwd", ""), "state": None}
    was_needed = record["state"] == "needsYou"
    if record["state"] != state:
        record["stateSince"] = now
    record.update(agent="claude", state=state, updatedAt=now, agentPid=agent_pid())
    if event.get("transcript_path"):
        record["transcriptPath"] = event["transcript_path"]

    if name in FORGETS:
        record["inFlight"] = []
    if name == "PreToolUse" and key and key not in record["inFlight"]:
        record["inFlight"] = (record["inFlight"] + [key])[-64:]
    if name in CLOSES:
        record["inFlight"] = [call for call in record["inFlight"] if call != key]
        record["waitingOn"] = [call for call in record["waitingOn"] if call != key]

    if state != "needsYou":
        record["waitingOn"] = []
        for field in ("needsYouTool", "attentionId", "attentionTranscriptOffset"):
            record.pop(field, None)
    else:
        if name == "PermissionRequest" or event.get("tool_name") in QUESTIONS and name == "PreToolUse":
            record["needsYouTool"] = event.get("tool_name")
        if not was_needed:
            with open("/proc/sys/kernel/random/uuid") as file:
                record["attentionId"] = file.read().strip().upper()
            record["waitingOn"] = [key] if name == "PreToolUse" and key else list(record["inFlight"])
            try:
                record["attentionTranscriptOffset"] = os.path.getsize(record["transcriptPath"])
            except (KeyError, OSError):
                pass

    if event.get("cwd"):
        if event["cwd"] != record["cwd"] or "repoRoot" not in record:
            record["repoRoot"] = repository(event["cwd"]) or record.get("repoRoot")
        record["cwd"] = event["cwd"]
    return {field: value for field, value in record.items() if value is not None}


def main():
    event = json.loads(sys.stdin.buffer.read())
    home = os.environ["HOME"]
    folder = home + "/Library/Application Support/Tavrin/sessions"
    os.makedirs(folder, exist_ok=True)
    name = re.sub(r"[^\w-]", "", event["session_id"])
    now = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
    path = f"{folder}/{name}.json"

    with open(f"{folder}/.{name}.lock", "a") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        try:
            with open(path) as file:
                old = json.load(file)
        except (OSError, ValueError):
            old = None
        outcome = action(event, old)
        if outcome == "delete":
            outcome = "ended"
            if old:
                os.unlink(path)
        elif outcome == "ignore":
            outcome = "ignored"
        else:
            record = advance(old, outcome, event, now)
            temporary = f"{folder}/.{os.getpid()}.tmp"
            with open(temporary, "w") as file:
                json.dump(record, file, indent=2, sort_keys=True, ensure_ascii=False)
            os.rename(temporary, path)
            if outcome == "needsYou":
                outcome += f" holding {len(record['waitingOn'])}"

        line = f"{now} claude {event['session_id'][:8]} {event['hook_event_name']}"
        if "notification_type" in event:
            line += f"({event['notification_type']})"
        line += " " + event.get("tool_name", "")
        if event.get("tool_use_id"):
            line += "#" + event["tool_use_id"][-6:]
        if "agent_id" in event:
            line += " agent:" + event["agent_id"][:6]
        os.makedirs(home + "/Library/Logs/Tavrin", exist_ok=True)
        with open(home + "/Library/Logs/Tavrin/hook.log", "a") as log:
            fcntl.flock(log, fcntl.LOCK_EX)
            log.write(f"{line} → {outcome}\n")


try:
    main()
except Exception:
    pass
