#!/usr/bin/env python3
"""Writes the inputs that fuzzing starts from: fuzz-seeds.py FOLDER

FOLDER gets a folder for each target with a file for each input, made of what tests/data holds: events, records,
settings and answers as agents and systems really sent them, and odd cases that were written by hand.
"""

import base64
import json
import pathlib
import random
import shutil
import sys

DATA = pathlib.Path(__file__).resolve().parent.parent / "tests/data"
FUZZ = DATA.parent.parent / "fuzz"
AGENTS = ["claude", "codex", "gemini", "copilot", "grok"]
SEPARATOR = b"\x1e"
# libFuzzer counts how often a branch is taken in steps of about these sizes.
COUNTS = [2, 3, 5, 9, 20, 50, 150]
ZERO = b"\0"


def json_lines(file):
    return [json.loads(line) for line in (DATA / file).read_text().splitlines()]


def text_of(line):
    return base64.b64decode(line["base64"]) if "base64" in line else line["text"].encode("utf-8", "surrogatepass")


def shortened(value):
    """A document with its long texts cut, because only its form matters."""
    if isinstance(value, str):
        return value[:60]
    if isinstance(value, list):
        return [shortened(each) for each in value[:3]]
    if isinstance(value, dict):
        return {key: shortened(each) for key, each in value.items()}
    return value


def dictionary(name):
    """The words that a target's dictionary holds (libFuzzer's format: one word in quotes a line)."""
    words = (line.split('"')[1] for line in (FUZZ / f"dictionaries/{name}.dict").read_text().splitlines() if '"' in line)
    return [word.encode("latin-1").decode("unicode_escape").encode("latin-1") for word in words]


def compact(document):
    return json.dumps(document, separators=(",", ":"), ensure_ascii=False).encode("utf-8", "backslashreplace")


def scenarios():
    for table in sorted(DATA.glob("events/*/*/events.tsv")):
        rows = [row.split("\t") for row in table.read_text().splitlines()[1:]]
        yield [(row[2].encode(), (table.parent / row[0]).read_bytes()) for row in rows]


def event():
    """Whole sessions with short texts, and events one by one."""
    for events in scenarios():
        by_arguments = {}
        for arguments, payload in events:
            yield arguments + SEPARATOR + compact(shortened(json.loads(payload)))
            fields = {key: value for key, value in shortened(json.loads(payload)).items() if isinstance(value, str)}
            by_arguments.setdefault(arguments, []).append(compact(fields))
        for arguments, payloads in by_arguments.items():
            for start in range(0, len(payloads), 12):
                yield SEPARATOR.join([arguments] + payloads[start:start + 12])
    for line in json_lines("platform/json.jsonl"):
        yield SEPARATOR + text_of(line)


def record():
    for line in json_lines("platform/records.jsonl"):
        yield text_of(line)
    for file in (DATA / "panel/sessions").iterdir():
        yield file.read_bytes()
    for line in json_lines("platform/dates.jsonl"):
        if "text" in line:
            yield compact({"sessionId": "s", "state": "idle", "updatedAt": line["text"], "stateSince": line["text"],
                           "cwd": "/", "agentPid": 1})


def settings():
    """The first byte chooses the agent."""
    for index in range(len(AGENTS)):
        for file in (DATA / "settings").iterdir():
            yield bytes([ord("A") + index]) + file.read_bytes()
    for line in json_lines("platform/json.jsonl"):
        yield b"A" + text_of(line)
    for value in [[], {}, [{}], [{"hooks": []}], [{"hooks": {}}], [{"matcher": 1, "hooks": [{}]}], "x", 1.5e-7]:
        yield b"A" + compact({"hooks": {"Stop": value, "Other": value}, "model": value})


def codex():
    for file in sorted((DATA / "rpc").glob("*-response.json")):
        document = json.loads(file.read_text())
        yield compact(document)
        yield compact(shortened(document))
    hook = {"key": "k", "command": "\"/x/Tavrin/bin/tavrin-hook\" --agent codex", "currentHash": "sha256:1"}
    for status in ["trusted", "managed", "untrusted", 1]:
        yield compact({"id": 2, "result": {"data": [{"hooks": [hook | {"trustStatus": status}, hook, {}]}]}})
    for thread in [{"id": "t", "name": "a"}, {"id": "t", "title": "b"}, {"id": "t", "name": " \t", "title": "c"}]:
        yield compact({"id": 5, "result": {"data": [thread, {"id": 1}]}})


def transcript():
    def codex_line(kind, **payload):
        return compact({"timestamp": "2025-01-31T09:15:02.5Z", "type": kind, "payload": payload})

    for content in [[{"type": "tool_result", "tool_use_id": "toolu_1", "content": "ok"}],
                    [{"type": "tool_result", "tool_use_id": ""}, {"type": "tool_result", "tool_use_id": "b"}],
                    [{"type": "text", "text": "[Request interrupted by user for tool use]"}], "text", [1], []]:
        line = compact({"type": "user", "message": {"role": "user", "content": content}, "uuid": "u"})
        yield line
        yield line.replace(b"tool_result", b"tool\\u005fresult").replace(b"[Req", b"\\u005bReq") + b"\n"
    for kind in ["function_call_output", "custom_tool_call_output", "function_call"]:
        yield codex_line("response_item", type=kind, call_id="call_1", output="ok")
    for kind in ["token_count", "task_complete", "turn_aborted", "agent_message"]:
        yield codex_line("event_msg", type=kind, info=None)
    for kind in ["CommandExecution", "McpToolCall", "Extension", "FileChange", "DynamicToolCall", "Message"]:
        yield codex_line("event_msg", type="item_completed", item={"type": kind, "id": "item_1"})


def titles():
    for title in ["a title", " \n two\t words ", "", None, 1, ["a"], "\u3000x\u0301 \u0301", "x" * 1025, "\ud800"]:
        for session in ["local_s1", "s1", None]:
            yield json.dumps({"sessionId": session, "title": title, "cwd": "/"}).encode()
    yield b'{"sessionId":"local_s1","sessionId":"x","title":"first","title":"second",}'


def listeners():
    text = (DATA / "servers/lsof.txt").read_bytes()
    yield text
    for process in text.split(b"\np"):
        yield b"p" + process.removeprefix(b"p")
    for host in [b"*", b"[::]", b"[::1]", b"0.0.0.0", b"127.0.0.1", b"[fe80::1%lo0]", b"[]", b"localhost"]:
        for port in [b"0", b"1", b"65535", b"65536", b"+80", b"-1", b"x", b""]:
            yield b"p1\ncnode\nf7\nn" + host + b":" + port + b"\nn127.0.0.1:" + port + b"\n"
    for line in json_lines("platform/numbers.jsonl"):
        yield b"p" + line["text"].encode() + b"\nn*:" + line["text"].encode() + b"\n"


PIECES = [b"", b"/", b".", b"=", b"-", b"9229", b":", b"a", b"app.js", b".mts", b"\xc3\x9f", b"\xe2\x84\xaa", b"\xff", b" ", b"-r", b"-e"]


def spliced(seeds, count, longest):
    """`count` mixtures of the seeds, of at most `longest` bytes: a part of one, once or repeated, in the place of some bytes
    of another."""
    chance = random.Random(1)
    seeds = sorted(set(seeds))
    for _ in range(count):
        text = chance.choice(seeds)
        for _ in range(chance.choice([1, 1, 2, 4])):
            other = chance.choice(seeds)
            start = chance.randrange(len(other) + 1)
            part = other[start : start + chance.choice([1, 2, 4, 8, 16, 64])] * chance.choice([1, 1, 1, 2, 4, 12])
            at = chance.randrange(len(text) + 1)
            text = text[:at] + part + text[at + chance.choice([0, 0, 1, 3, 9]) :]
        yield text[:longest]


def gitfile():
    """A path, a checkout, and the text of its .git file."""
    seeds = list(gitfiles())
    yield from seeds
    yield from spliced(seeds, 3000, 1500)


def gitfiles():
    texts = [b"gitdir: /home/dev/app/.git/worktrees/feature-x\n", b"gitdir: ../.git/modules/sub\n", b"", b"gitdir:",
             b" gitdir:\t/.git/worktrees/x", b"gitdir: a/.git/worktrees/x", b"gitdir: /a/.git/worktrees///", b"x"]
    for text in texts:
        yield SEPARATOR.join([b"home/dev/app/src", b"home/dev/app", text])
    spaces = [space.encode() for space in "\t \n \r\n \u00a0 \u202f \u3000 \u0085 \x0b".split(" ")] + [b" ", b""]
    for before in spaces:
        for after in spaces:
            yield SEPARATOR.join([b"a/b/c", b"a", before + b"gitdir:" + after + b"/r/.git/worktrees/w" + before])
    for line in json_lines("platform/paths.jsonl"):
        yield SEPARATOR.join([line["path"].encode(), b"", texts[0]])
        yield SEPARATOR.join([line["path"].encode(), line["path"].encode(), texts[1]])
    chance = random.Random(1)
    parts = [b"\xe2\x80\xa8", b"\xe2\x80\xa9", b"\xe2\x80", b"\xe6", b"\xcb", b"\r\n", b"\0", b"gitdir", b".git/worktrees/",
             b"/", b"//", b".", b"..", b"a", b".git", b"worktrees", b"gitdir:", b" ", b"\t", b"\n", b"\xff", b"\xe2\x80\xaf", b"\xc3\x9f"]
    for count in range(400):
        yield SEPARATOR.join(b"".join(chance.choices(parts, k=1 + chance.randrange(1 + count // 2))) for _ in range(3))
    for depth in [62, 63, 64, 65]:
        yield SEPARATOR.join([b"/".join([b"a"] * depth), b"", b""])
    for count in COUNTS:
        for part in [b"/", b"a/", b"./", b"../", b"a/../", b"..", b"\xff", b"\xe2\x80\xaf", b"\xe2\x80", b" ", b"\t", b"\r",
                     b"\xe2\x80\xa9", b"\xe2\x80\xa8/", b"\xe2\x80\x8a", b"\xe6", b"\xe6\xe2\x80\xa8", b"\xcc\x81", b"\xd0\x9e", b"\xe3\x80\x80", b"\xe3\x80", b"\x9e", b"\0", b"\r-\x12", b"\xc2\xa0tdir:/"]:
            yield part * count
            yield SEPARATOR.join([b"a/b", b"", part * count])
            yield SEPARATOR.join([b"a/a/" + part * count, b"a/a", part * count + b"gitdir: /r/.git/worktrees/w"])
            yield SEPARATOR.join([b"a", b"", b"gitdir:" + part * count + b"/r/.git/worktrees/w" + part * count])
            yield SEPARATOR.join([b"a", b"", b"gitdir: /r/.git/worktrees/" + part * count + b"w/" + part * count])
            yield SEPARATOR.join([b"a", b"", b"gitdir: /" + part * count + b"/.git/" + part * count])
            yield SEPARATOR.join([b"a", b"", b"gitdir: /r/.git/worktrees/" + b"/" * count + part])
            yield SEPARATOR.join([b"a", b"", b"gitdir:" + b"/" * count + b".git/worktrees/" + part])
        for _ in range(60):
            text = b"".join(chance.choices(parts, k=count)) + chance.choice(texts) + b"".join(chance.choices(parts, k=count))
            path = b"".join(chance.choices([b"a/", b"a/", b"a/", b"/", b".", b"\xff", b"..", b"\0"], k=count))
            yield SEPARATOR.join([path, path[:chance.randrange(len(path))], text])


def log():
    """The size and the time at the start, and messages."""
    messages = [b"claude s1 PreToolUse Bash#a1b2c3 \xe2\x86\x92 working", b"error: notAnObject (2 bytes)", b"", b"a\0b"]
    for size in [b"", b"0", b"1", b"999999", b"1000000", b"1000001", b"1000050"]:
        for seconds in [b"1738314902", b"-62167219201", b"971890963200"]:
            yield SEPARATOR.join([size + b" " + seconds] + messages)


def arguments():
    """Words with a zero byte between them, the first of them the process's name."""
    seeds = list(command_lines())
    yield from seeds
    yield from spliced([seed for seed in seeds if len(seed) < 100], 4000, 400)


def command_lines():
    for line in json_lines("servers/processes.jsonl"):
        yield ZERO.join(word.encode() for word in [line["command"]] + line["arguments"])
    for words in dictionary("arguments"):
        yield ZERO.join([b"node", b"node", words, b"4000"])
        yield ZERO.join([b"node", b"/usr/bin/node", b"/app/node_modules/.bin/" + words, b"--port", b"4000"])
        yield ZERO.join([words, words, b"-x"])
    chance = random.Random(1)
    for count in range(1, 600):
        line = [chance.choice([b"node", b"workerd", b"php", b"ruby", b"", b"\xff"])]
        words = chance.choices(PIECES + dictionary("arguments"), k=chance.choice([2, 4, 90]))
        for _ in range(1 + count % 100):
            line.append(b"".join(chance.choices(words, k=chance.choice([1, 1, 2, 3, 9]))))
        yield ZERO.join(line)
    words = dictionary("arguments")
    options = [word for word in words if word.startswith(b"-")]
    values = [b"", b"x", b"-", b"\xff", b"0", b":0", b"9230", b":9230", b"localhost:9229", b"22222222222", b"[[::1]:8787", b"/a.js",
              b"loopback=[::1]:8787"]
    for word in words:
        for bent in [word[:-1], word[1:], word.upper(), word + b"\xff", b"/a/" + word + b"/b.js", word * 2, word + b"/bin/" + word]:
            yield ZERO.join([b"node", b"/usr/bin/node", bent, bent])
            yield ZERO.join([bent, b"/usr/bin/" + bent])
        for count in COUNTS[:-1]:
            yield ZERO.join([chance.choice([b"node", b"workerd", b"x"]), b"x"] + [word, chance.choice(values)] * count)
    for option in options:
        for value in values + [b"+8", b"-8", b"\xc4\xb0:9", b"9" * 70, b"0" * 12 + b"9"]:
            for program in [b"node", b"workerd"]:
                yield ZERO.join([program, program, option, value, option + b"=" + value])
                yield ZERO.join([program, chance.choice([b"workerd", b"node9", b"-", b"", b"x/node"]), option, value + b"\xff"])
                yield ZERO.join([program, b"workerd", option[:-2], value, option, value[:-1] + b"x", b"-e", value])
    for count in COUNTS:
        for piece in [b"\0", b"\xff", b"\xf8\xf8\xff", b"\xc4\xb0", b"a", b"2", b"/", b".js", b"--"]:
            for before in [b"", b"node\0node\0", b"workerd\0workerd\0--inspector-addr=", b"node\0node\0--debug-port\0" + b"9"]:
                yield before + piece * count
        for _ in range(60):
            yield ZERO.join(chance.choices(words + values, k=count))
            yield b"".join(chance.choices(words + values + [ZERO] * 20, k=count))
            yield chance.choice(words) + ZERO * count + chance.choice(words) + ZERO * chance.choice(COUNTS) + chance.choice(words)
    for words in ["node node --inspect=0 app.js", "node node -r x --inspect-brk --inspect-port 9500", "node /x/node --inspect",
                  "workerd workerd --inspector-addr=localhost:9229 --debug-port 9230 --external-addr=loopback=[::1]:8787",
                  "ruby puma 6.4", "php php artisan serve -S", "python3 python3 manage.py runserver",
                  "x --agent codex --event Stop", "x --agent=grok --event=", "com.docker.backend /usr/sbin/x"]:
        yield words.replace(" ", "\0").encode()


def terminal():
    """Command lines, and what tmux, kitty, WezTerm, Codex's app server and kernels answer."""
    commands = ["list", "status", "watch", "wait", "servers", "open", "stop", "focus", "connect", "disconnect", "doctor",
                "completions", "help", "panel", "lisst", ""]
    options = ["", "--json", "--all", "--format tmux", "--format=waybar --follow", "--format x", "--notify", "--notify bell",
               "--notify=desktop --json", "--exec true", "--for idle --timeout 5m", "--yes --dry-run", "--help", "--version",
               "--color never", "-- --json", "codex grok", "4000:1", "bash"]
    for command in commands:
        for option in options:
            yield b"c" + ZERO.join(word.encode() for word in [command, *option.split()])
    for version in "012":
        answers = sorted(DATA.glob(f"rpc/{version}?-response.json"))
        yield b"s" + b"\n".join(compact(shortened(json.loads(answer.read_text()))) for answer in answers) + b"\n"
    first = [compact(json.loads((DATA / f"rpc/0{number}-response.json").read_text())) for number in range(1, 5)]
    for count in range(1, 5):
        for mode in [b"s", b"S"]:
            yield mode + b"\n".join(first[:count]) + b"\n"
    yield b"s" + b"\n".join([b'{"method":"status","params":{}}', b'{"id":2,"method":"time/read"}', first[0], b""])
    yield b's{"id":1,"error":{"code":-32600,"message":"no"}}\n'
    for pane in [b"%0 /dev/pts/1 $0 0.0 1 1 work", b"%1 /dev/pts/2 $1 3.1 0 0 a name", b"%2 /dev/pts/3", b""]:
        yield b"t" + pane + b"\n" + pane
    for flags in [b"attached,focused,UTF-8", b"attached,control-mode", b""]:
        yield b"t12 /dev/pts/5 $1 %7 1700000000 " + flags + b"\n13  $1 %7 x " + flags + b"\n"
    kitty = [{"id": 1, "tabs": [{"id": 2, "windows": [
        {"id": 7, "pid": 100, "foreground_processes": [{"pid": 101, "cmdline": ["claude"]}]}]}]}]
    yield b"k" + compact(kitty)
    kitty[0]["tabs"][0]["windows"][0]["id"] = "7"
    yield b"k" + compact(kitty)
    yield b"w" + compact([{"pane_id": 3, "tty_name": "/dev/pts/9"}, {"pane_id": 4, "tty_name": "/dev/pts/1"}])
    yield b"w" + compact([{"pane_id": 1.5, "tty_name": "/dev/pts/1"}])
    yield b"e\2\0\0\0/bin/sh\0\0\0sh\0-c\0HOME=/h\0TMUX=/t,1,0\0\0ptr=1\0"
    yield b"e\377\377\377\177/bin/sh\0\0sh\0"


def keys():
    """What a terminal sends: each word, pairs of them, and long runs."""
    words = dictionary("keys") + [b"j", b"q", b"\r", b"\x7f"]
    for first in words:
        for second in words:
            yield first + second
    chance = random.Random(1)
    for count in range(1, 100):
        yield b"".join(chance.choices(words, k=count))


def settingstext():
    """A byte of options, and the text of a settings file."""
    for number, text in enumerate(sorted(set(settings()))):
        yield bytes([number % 256]) + text


TARGETS = [arguments, codex, event, gitfile, keys, listeners, log, record, settings, settingstext, terminal, titles,
           transcript]


def main():
    folder = pathlib.Path(sys.argv[1])
    for target in TARGETS:
        place = folder / target.__name__
        shutil.rmtree(place, ignore_errors=True)
        place.mkdir(parents=True)
        for number, seed in enumerate(sorted(set(target()))):
            (place / f"{number:04}").write_bytes(seed)


if __name__ == "__main__":
    main()
