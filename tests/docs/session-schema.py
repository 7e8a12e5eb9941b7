"""Compares docs/session.schema.json with the reader and the writer of session files:
session-schema.py RECORD-VERDICTS TAVRIN-HOOK"""
import base64
import copy
import json
import pathlib
import shutil
import subprocess
import sys
import unittest

from jsonschema import Draft202012Validator

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
import replay  # noqa: E402

VERDICTS, HOOK = sys.argv.pop(1), sys.argv.pop(1)
SCHEMA = json.loads((ROOT / "docs/session.schema.json").read_text())
READ = Draft202012Validator(SCHEMA)
WRITTEN = READ.evolve(schema=SCHEMA["$defs"]["written"])

# Records that are accepted or rejected because of their text, not because of the document that it spells, by name. The
# value says whether the reader accepts it.
DECIDED_BY_THE_TEXT = {
    "byte order mark": True,
    "trailing comma": True,
    "lone surrogate in title": False,
    "unknown too deep": False,
    "two states, a bad one last": True,
    "two states, a bad one first": False,
    "agentPid 5.00000000000000000001": False,
    "agentPid 1e-400": False,
}

DATE = "2025-01-31T09:15:02Z"
PLAIN = {"sessionId": "s", "state": "working", "updatedAt": DATE, "stateSince": DATE, "cwd": "/a", "agentPid": 5}
EARLIER = {key: value for key, value in PLAIN.items() if key != "agentPid"} | {"claudePid": 7}
FULL = PLAIN | {
    "agent": "codex", "attentionId": "6F1C0F0E-6A43-4E0B-9C59-0B1D7D7B2E11", "attentionTranscriptOffset": 10,
    "hostBundleId": "b", "hostPid": 6, "inFlight": ["c", "d"], "needsYouTool": "Bash", "repoRoot": "/a", "title": "t",
    "transcriptPath": "/t", "tty": "/dev/tty1", "waitingOn": ["c"], "worktreeName": "w",
}  # fmt: skip

# Values in JSON, to put in the place of any value.
VALUES = [
    "null", "true", "false", "0", "-1", "5", "5.0", "5e0", "50e-1", "5.5", "1e9", "1e10", "1e400", "-0", "-0.0",
    "2147483647", "2147483648", "-2147483648", "-2147483649", "9223372036854775808", "18446744073709551615",
    "18446744073709551616", "18446744073709551615.0", "1e19", '""', '"x"', '"5"', '"idle"', '"Idle"', '"needsYou"',
    '"codex"', "[]", '["a"]', '["a", ""]', '["a", 1]', '["a", null]', "[[]]", "[{}]", "{}", '{"sessionId": "x"}',
]  # fmt: skip
# Texts to put in the place of a date: good ones, and ones that differ a little from a good one.
DATES = [
    DATE, "2025-1-1T0:0:0z", "0-1-1T0:0:0Z", "32767-12-31T23:59:59Z", "32768-01-01T00:00:00Z", "40000-01-01T00:00:00Z",
    "31999-01-01T00:00:00Z", "32699-01-01T00:00:00Z", "02025-01-31T09:15:02Z", "002025-01-31T09:15:02Z",
    "-1-01-31T09:15:02Z", "-01-31T09:15:02Z", "2025-00-31T09:15:02Z", "2025-0-31T09:15:02Z", "2025-12-31T09:15:02Z",
    "2025-13-31T09:15:02Z", "2025-001-31T09:15:02Z", "2025-01-0T09:15:02Z", "2025-01-30T09:15:02Z",
    "2025-01-32T09:15:02Z", "2025-02-31T09:15:02Z", "2025-01-031T09:15:02Z", "2025-01-31t09:15:02Z",
    "2025-01-31 09:15:02Z", "2025-01-31T99:99:99Z", "2025-01-31T009:15:02Z", "2025-01-31T09:150:02Z",
    "2025-01-31T09:15:002Z", "2025-01-31T09:15:Z", "2025-01-31T09:15Z", "2025-01-31T:15:02Z", "2025-01-31T09:15:02.Z",
    "2025-01-31T09:15:02.0Z", "2025-01-31T09:15:02.123456789012345678901Z", "2025-01-31T09:15:02,5Z",
    "2025-01-31T09:15:02", "2025-01-31T09:15:02G", "2025-01-31T09:15:02GM", "2025-01-31T09:15:02GMT",
    "2025-01-31T09:15:02gmt", "2025-01-31T09:15:02UTC", "2025-01-31T09:15:02Zebra", "2025-01-31T09:15:02Z\n",
    "2025-01-31T09:15:02+", "2025-01-31T09:15:02-", "2025-01-31T09:15:02+0", "2025-01-31T09:15:02+9",
    "2025-01-31T09:15:02+23", "2025-01-31T09:15:02+24", "2025-01-31T09:15:02+2x", "2025-01-31T09:15:02-99",
    "2025-01-31T09:15:02+02:", "2025-01-31T09:15:02+02:5", "2025-01-31T09:15:02+02:59", "2025-01-31T09:15:02+02:60",
    "2025-01-31T09:15:02+02:6", "2025-01-31T09:15:02+02:99", "2025-01-31T09:15:02+02::99", "2025-01-31T09:15:02+0259",
    "2025-01-31T09:15:02+0260", "2025-01-31T09:15:02+026", "2025-01-31T09:15:02+02600", "2025-01-31T09:15:02+02599",
    "2025-01-31T09:15:02+2:60", "2025-01-31T09:15:02+2:59", "2025-01-31T09:15:02+ 2", "\u0662025-01-31T09:15:02Z",
    "2025-01-31T09:15:02\u2212100", " " + DATE, "\n" + DATE, DATE + " ", "x" + DATE,
]  # fmt: skip


def readers_verdicts(texts):
    """Whether the reader of session files accepts each of the texts."""
    records = b"".join(b"%d\n%s" % (len(text), text) for text in texts)
    run = subprocess.run([VERDICTS], input=records, stdout=subprocess.PIPE, check=True)
    words = run.stdout.decode().split()
    assert len(words) == len(texts) and set(words) <= {"accepted", "refused"}
    return [word == "accepted" for word in words]


def schemas_verdict(text):
    """Whether the schema accepts the document that a text spells. A text that spells none is rejected."""
    try:
        return READ.is_valid(json.loads(text.decode("utf-8")))
    except (ValueError, RecursionError):
        return False


def text_of(record, key, value):
    """A record as JSON with the text `value` under `key`, or without that key if `value` is None."""
    fields = {name: json.dumps(one) for name, one in record.items() if name != key}
    if value is not None:
        fields[key] = value
    return ("{" + ", ".join(f"{json.dumps(name)}: {one}" for name, one in fields.items()) + "}").encode()


class SessionSchema(unittest.TestCase):
    def expect_agreement(self, cases):
        """`cases` are names and texts. Both must agree, except on the named exceptions, on which they must differ."""
        exceptions = 0
        for (name, text), reader in zip(cases, readers_verdicts([text for _, text in cases])):
            schema = schemas_verdict(text)
            if name in DECIDED_BY_THE_TEXT:
                exceptions += 1
                self.assertEqual(reader, DECIDED_BY_THE_TEXT[name], name)
                self.assertNotEqual(schema, reader, f"{name} is no exception")
            else:
                self.assertEqual(schema, reader, f"{name}: the reader {'takes' if reader else 'refuses'} {text[:400]}")
        return exceptions

    def test_it_is_a_schema(self):
        Draft202012Validator.check_schema(SCHEMA)

    def test_it_judges_recorded_records_as_the_reader_does(self):
        lines = (ROOT / "tests/data/platform/records.jsonl").read_text().splitlines()
        cases = []
        for line in map(json.loads, lines):
            text = base64.b64decode(line["base64"]) if "base64" in line else line["text"].encode()
            cases.append((line["name"], text))
        self.assertEqual(len(cases), 485)
        self.assertEqual(self.expect_agreement(cases), 4)

    def test_it_judges_every_value_under_every_key_as_the_reader_does(self):
        cases = []
        for record in (PLAIN, EARLIER, FULL):
            for key in [*FULL, "claudePid", "unknown"]:
                cases.append((f"no {key}", text_of(record, key, None)))
                cases += [(f"{key} {value}", text_of(record, key, value)) for value in VALUES]
        self.assertEqual(len(cases), 3 * 21 * (1 + len(VALUES)))
        self.assertEqual(self.expect_agreement(cases), 0)

    def test_it_judges_dates_as_the_reader_does(self):
        cases = []
        for key in ("updatedAt", "stateSince"):
            cases += [(f"{key} {date!r}", text_of(PLAIN, key, json.dumps(date))) for date in DATES]
        self.assertEqual(self.expect_agreement(cases), 0)
        taken = sum(schemas_verdict(text) for _, text in cases)
        self.assertTrue(20 < taken < len(cases) - 20, f"{taken} dates are taken")

    def test_what_only_the_text_tells_is_for_the_reader_alone(self):
        numbers = ("5.00000000000000000001", "1e-400")
        cases = [(f"agentPid {number}", text_of(PLAIN, "agentPid", number)) for number in numbers]
        rest = text_of(PLAIN, "state", None)[1:]
        cases.append(("two states, a bad one last", b'{"state": "idle", "state": "x", ' + rest))
        cases.append(("two states, a bad one first", b'{"state": "x", "state": "idle", ' + rest))
        self.assertEqual(self.expect_agreement(cases), 4)

    def test_files_that_the_command_writes_have_the_written_form(self):
        home = replay.Home(pathlib.Path(HOOK))
        self.addCleanup(shutil.rmtree, home.path)
        seen = {}
        written = events = 0
        for agent in replay.PRODUCTS:
            for directory, rows in replay.scenarios(agent):
                for row in rows:
                    message = home.play(directory / row["file"], row["arguments"].split())
                    events += 1
                    fresh = []
                    for file in home.sessions.glob("*.json"):
                        status = file.stat()
                        mark = (status.st_ino, status.st_mtime_ns)
                        if seen.get(file) != mark:
                            seen[file] = mark
                            fresh.append(file)
                    state = message.rpartition("→ ")[2].split(" ")[0]
                    is_written = state in ("idle", "working", "needsYou")
                    self.assertEqual(len(fresh), 1 if is_written else 0, f"{row['file']}: {message}")
                    for file in fresh:
                        written += 1
                        record = json.loads(file.read_text())
                        errors = [error.message for error in WRITTEN.iter_errors(record)]
                        self.assertEqual(errors, [], file.read_text())
        self.assertEqual(events, 471)
        self.assertGreater(written, 300)

    def test_the_written_form_is_narrower(self):
        base = FULL
        self.assertTrue(WRITTEN.is_valid(base))
        changes = [("title", None), ("agent", "cursor"), ("agent", None), ("inFlight", None), ("claudePid", 5),
                   ("unknown", 1), ("updatedAt", "2025-1-31T09:15:02Z"), ("inFlight", ["x"] * 65)]  # fmt: skip
        for key, value in changes:
            record = copy.deepcopy(base) | {key: value}
            self.assertTrue(READ.is_valid(record), key)
            self.assertFalse(WRITTEN.is_valid(record), key)
        for key in ("agent", "agentPid", "inFlight", "waitingOn"):
            self.assertFalse(WRITTEN.is_valid({name: one for name, one in base.items() if name != key}), key)


if __name__ == "__main__":
    unittest.main()
