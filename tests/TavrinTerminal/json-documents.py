"""The JSON documents of tavrin, read by a second parser and held to their schemas and to fields named here by hand:
json-documents.py TAVRIN"""
import json
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import time
import unittest

from jsonschema import Draft202012Validator

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
TAVRIN = sys.argv.pop(1)

REQUIRED = {"id", "agent", "state", "since", "label", "project", "cwd", "pid", "reachable"}
OPTIONAL = {"reason", "repoRoot", "worktree", "tool", "attentionId", "tty", "terminal", "title"}
SUMMARY = {"needsYou", "working", "idle", "line"}
SERVER = {"pid", "ports", "host", "name", "url", "cwd", "repoRoot"}
SERVER_OPTIONAL = {"worktree", "since", "session"}
HOSTILE = "a\"\\\x1b[31m\u202e\u009b\U0001f600\n</é"


def strictly(pairs):
    """An object whose keys occur once each."""
    found = dict(pairs)
    assert len(found) == len(pairs), f"a key occurs twice in {[key for key, _ in pairs]}"
    return found


def parsed(text):
    return json.loads(text, object_pairs_hook=strictly, parse_constant=lambda word: exec(f"raise ValueError('{word}')"))


def valid(schema, document):
    schema = json.loads((ROOT / f"docs/{schema}.schema.json").read_text())
    Draft202012Validator.check_schema(schema)
    Draft202012Validator(schema).validate(document)
    return document


class Documents(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.addCleanup(self.scratch.cleanup)
        self.home = pathlib.Path(self.scratch.name)
        self.sessions = self.home / "Library/Application Support/Tavrin/sessions"
        self.sessions.mkdir(parents=True)

    def save(self, name, **fields):
        now = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
        record = {"sessionId": name, "agent": "claude", "state": "idle", "updatedAt": now, "stateSince": now,
                  "cwd": str(self.home), "agentPid": os.getpid(), "inFlight": [], "waitingOn": []} | fields
        path = self.sessions / f"{len(list(self.sessions.iterdir()))}.json"
        path.write_text(json.dumps(record))
        return path

    def tavrin(self, *words):
        run = subprocess.run([TAVRIN, *words], env={"HOME": str(self.home)}, stdout=subprocess.PIPE, check=True)
        text = run.stdout.decode("utf-8")
        for character in text[:-1]:
            self.assertFalse(ord(character) < 32 or 127 <= ord(character) < 160 or character == "\u202e", text)
        return text

    def test_list_without_sessions(self):
        self.assertEqual(valid("list", parsed(self.tavrin("list", "--json"))), {
            "version": 1, "summary": {"needsYou": 0, "working": 0, "idle": 0, "line": "No Claude Code sessions"},
            "sessions": []})

    def test_list_has_the_fields_that_are_promised(self):
        self.save("least", agent="grok")
        self.save(HOSTILE, agent="claude", state="needsYou", needsYouTool=HOSTILE, attentionId="A", tty="/dev/pts/9",
                  cwd="/not/on/this/machine", repoRoot=HOSTILE, worktreeName=HOSTILE, title=HOSTILE)
        document = valid("list", parsed(self.tavrin("list", "--json")))
        self.assertEqual(list(document), ["version", "summary", "sessions"])
        self.assertEqual(set(document["summary"]), SUMMARY)
        self.assertEqual(document["summary"]["idle"], 1)
        most, least = sorted(document["sessions"], key=len, reverse=True)
        self.assertEqual(set(least), REQUIRED)
        self.assertEqual(set(most) | {"reason"}, REQUIRED | OPTIONAL)
        self.assertEqual(most["id"], HOSTILE)
        self.assertEqual(most["title"], HOSTILE)
        self.assertEqual(most["state"], "needsYou")
        self.assertEqual(most["terminal"], "elsewhere")

    def test_status_is_the_summary_with_its_version(self):
        self.save("a", state="working")
        document = valid("status", parsed(self.tavrin("status", "--format", "json")))
        self.assertEqual(set(document), SUMMARY | {"version"})
        self.assertEqual(document, {"version": 1, "needsYou": 0, "working": 1, "idle": 0, "line": "1 burning"})

    def test_waybar_reads_text_tooltip_class_and_alt(self):
        self.save("a", state="working")
        document = parsed(self.tavrin("status", "--format", "waybar"))
        self.assertEqual(set(document), {"text", "tooltip", "class", "alt"})
        self.assertTrue(all(isinstance(value, str) for value in document.values()))

    def test_watch_prints_json_lines(self):
        path = self.save("a", state="working")
        watch = subprocess.Popen([TAVRIN, "watch", "--json"], env={"HOME": str(self.home)}, stdout=subprocess.PIPE)
        self.addCleanup(watch.stdout.close)
        self.addCleanup(watch.wait)
        self.addCleanup(watch.kill)
        seen = [valid("watch", parsed(watch.stdout.readline()))]
        path.unlink()
        seen.append(valid("watch", parsed(watch.stdout.readline())))
        self.assertEqual([change["change"] for change in seen], ["appeared", "gone"])
        for change in seen:
            self.assertEqual(set(change), {"version", "time", "change", "session"})
            self.assertEqual(REQUIRED - set(change["session"]), set())

    def test_servers_have_the_fields_that_are_promised(self):
        with socket.create_server(("127.0.0.1", 0)) as listening:
            port = listening.getsockname()[1]
            document = valid("servers", parsed(self.tavrin("servers", "--json")))
        self.assertEqual(list(document), ["version", "servers"])
        found = [server for server in document["servers"] if port in server["ports"]]
        self.assertEqual(len(found), 1)
        self.assertEqual(found[0]["pid"], os.getpid())
        self.assertEqual(SERVER - set(found[0]), set())
        self.assertEqual(set(found[0]) - SERVER - SERVER_OPTIONAL, set())


if __name__ == "__main__":
    unittest.main()
