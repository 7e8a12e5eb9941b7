"""Stands in for `codex app-server`: codex-app-server.py MODE ANSWERS LOG app-server

Answers the request with the id N with ANSWERS/0N-response.json, as the real server of version 0.169.0 did, and appends
each request to LOG. MODE says how it misbehaves.
"""
import json
import pathlib
import sys

mode, answers, log = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])


def write(text):
    sys.stdout.write(text)
    sys.stdout.flush()


def notify():
    write(json.dumps({"method": "remoteControl/status/changed", "params": {"status": "disabled"}}) + "\n")
    # A request of the server's own, with an id that is also one of the client's.
    write(json.dumps({"id": 2, "method": "currentTime/read", "params": {}}) + "\n")


if mode == "dies at once":
    sys.exit("thread 'main' panicked\n\x1b[31mno config\x1b[0m")
for line in sys.stdin:
    request = json.loads(line)
    with log.open("a") as file:
        file.write(line)
    number = request["id"]
    answer = json.dumps(json.loads((answers / f"{number:02}-response.json").read_text()))
    if mode == "plays":
        write(answer + "\n")
    elif mode == "forgets":
        write(json.dumps(json.loads(answer, object_hook=lambda found: found | {"hooks": []} if "hooks" in found else found)) + "\n")
    elif mode == "notifies":
        notify()
        write(json.dumps({"id": 99, "result": {}}) + "\n\n")
        # In pieces, so that a line comes with several reads.
        for start in range(0, len(answer), 100):
            write(answer[start:start + 100])
        write("\n")
        notify()
    elif mode == "never answers":
        pass
    elif mode == "ignores the end":
        import signal
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        write(answer + "\n")
    elif mode.startswith("dies after "):
        write(answer + "\n")
        if number == int(mode.split()[-1]):
            sys.exit("killed by a test")
    elif mode == "dies within an answer":
        write(answer[:len(answer) // 2])
        sys.exit(0)
    elif mode == "garbles":
        write("Content-Length: 200\r\n\r\n")
    elif mode == "answers a list":
        write("[1, 2]\n")
    elif mode == "answers nothing":
        write(json.dumps({"id": number}) + "\n")
    elif mode == "floods":
        while True:
            write("x" * 1_000_000)
    elif mode.startswith("refuses "):
        if number < int(mode.split()[-1]):
            write(answer + "\n")
        else:
            write(json.dumps({"id": number, "error": {"code": -32600, "message": "Not \u202einitialized\x07"}}) + "\n")
    elif mode == "cannot read":
        write(json.dumps({"id": None, "error": {"code": -32700, "message": "parse error"}}) + "\n")
