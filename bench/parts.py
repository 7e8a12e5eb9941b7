#!/usr/bin/env python3
"""Prints what one run of tavrin-hook consists of, beside a program that makes the same system calls, as a table.

    parts.py path/to/tavrin-hook path/to/floor-calls [STARTS]

Both programs pass the same functions on their way. Of each program there is one copy that ends where such a function
starts. All copies run in turn, in rounds of another order, each a few times in a row. The table shows the differences
between the 10th percentiles of their times, which add up to the time of the whole program.

The event has 3 KB, its session is stored, and its host is known. Only for x86-64.
"""

import json
import os
import pathlib
import platform
import random
import re
import subprocess
import sys
import tempfile
import time

from system_calls import RECORDED, rename_process, stored_session

# The functions at which a part ends, and what a run has done by then. The last part ends with the program.
PARTS = [
    ("_start", "the kernel makes the process"),
    ("_dl_relocate_static_pie", "the C library asks the processor about itself"),
    ("__libc_setup_tls", "pointers are relocated"),
    ("main", "the C library starts"),
    ("getppid", "signals, and whose home it is"),
    ("flock", "the event is read and understood"),
    ("__close", "the session is locked, its record is read"),
    ("rename", "the record is understood, the agent found, the new record written"),
    (None, "it takes the old one's place, and the log a line; the kernel removes the process"),
]

# exit_group(0): mov eax, 231; xor edi, edi; syscall
END = bytes.fromhex("b8e7000000" "31ff" "0f05")

IN_A_ROW = 5


def output(*words):
    return subprocess.run(words, capture_output=True, text=True, check=True).stdout


def place_in_file(program, function):
    """Where the code of a function begins in an executable."""
    symbol = re.search(rf"^([0-9a-f]+) \w {re.escape(function)}$", output("nm", program), re.MULTILINE)
    if symbol is None:
        sys.exit(f"parts.py: {program} has no function {function}")
    address = int(symbol[1], 16)
    for words in (line.split() for line in output("readelf", "-lW", program).splitlines()):
        if words[:1] == ["LOAD"]:
            offset, start, size = (int(words[i], 16) for i in (1, 2, 4))
            if start <= address < start + size:
                return offset + address - start
    sys.exit(f"parts.py: {function} is in no segment of {program}")


def copy_that_ends_at(program, function, path):
    code = bytearray(pathlib.Path(program).read_bytes())
    if function is not None:
        place = place_in_file(program, function)
        code[place:place + len(END)] = END
    path.write_bytes(code)
    path.chmod(0o755)


def make_home(home, event):
    sessions = home / "Library/Application Support/Tavrin/sessions"
    log = home / "Library/Logs/Tavrin/hook.log"
    sessions.mkdir(parents=True)
    log.parent.mkdir(parents=True)
    log.touch()
    (sessions / f".{event['session_id']}.lock").touch()
    (sessions / f"{event['session_id']}.json").write_text(json.dumps(stored_session(event)))


def run(words, environment, payload):
    """The microseconds of one run, and its page faults."""
    start = time.perf_counter()
    reader, writer = os.pipe()
    os.write(writer, payload)
    os.close(writer)
    child = os.posix_spawn(words[0], words, environment, file_actions=[(os.POSIX_SPAWN_DUP2, reader, 0)])
    os.close(reader)
    _, status, usage = os.wait4(child, 0)
    if status != 0:
        sys.exit(f"parts.py: {words[0]} failed")
    return (time.perf_counter() - start) * 1e6, usage.ru_minflt


def measure(contestants, environment, payload, starts):
    """The 10th percentiles of the times of all contestants, and the page faults of their last runs."""
    times = {name: [] for name in contestants}
    faults = {}
    order = list(contestants)
    for _ in range(max(1, starts // IN_A_ROW)):
        random.shuffle(order)
        for name in order:
            for _ in range(IN_A_ROW):
                taken, faults[name] = run(contestants[name], environment, payload)
                times[name].append(taken)
    return {name: sorted(each)[len(each) // 10] for name, each in times.items()}, faults


def table(times, faults):
    lines = ["| Part | The calls alone | tavrin-hook | More |", "|---|--:|--:|--:|"]
    before = {"calls": 0, "hook": 0}
    for function, what in PARTS:
        now = {program: times[program, function] for program in before}
        calls, hook = (now[program] - before[program] for program in before)
        lines.append(f"| {what} | {round(calls)} µs | {round(hook)} µs | {round(hook - calls)} µs |")
        before = now
    calls, hook = before.values()
    lines.append(f"| together | {round(calls)} µs | {round(hook)} µs | {round(hook - calls)} µs |")
    calls, hook = (faults[program, None] for program in before)
    lines.append(f"| page faults | {calls} | {hook} | {hook - calls} |")
    return "\n".join(lines)


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__.strip())
    if platform.machine() != "x86_64":
        print("Measured on x86-64 only.")
        return
    programs = {"hook": sys.argv[1], "calls": sys.argv[2]}
    starts = int(sys.argv[3]) if len(sys.argv) == 4 else 1_000
    event = json.loads(RECORDED.read_text())
    event["tool_input"]["content"] = "0123456789abcdef\n" * 140
    # The copies lie beside the program, because a program in memory starts in another time than one on a disk.
    beside = os.path.dirname(os.path.abspath(programs["hook"]))
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory(dir=beside) as copies:
        make_home(pathlib.Path(folder), event)
        contestants = {}
        for program, path in programs.items():
            for function, _ in PARTS:
                copy = pathlib.Path(copies, f"{program}-until-{function}")
                copy_that_ends_at(path, function, copy)
                contestants[program, function] = [str(copy), event["session_id"]] if program == "calls" else [str(copy)]
        environment = {"HOME": folder, "PATH": "/usr/local/bin:/usr/bin:/bin"}
        agent = os.fork()
        if agent != 0:
            sys.exit(os.waitstatus_to_exitcode(os.waitpid(agent, 0)[1]))
        # Here is the shell that the agent starts hooks with.
        rename_process("claude")
        shell = os.fork()
        if shell != 0:
            os._exit(os.waitstatus_to_exitcode(os.waitpid(shell, 0)[1]))
        rename_process("sh")
        print(table(*measure(contestants, environment, json.dumps(event).encode(), starts)), flush=True)
        os._exit(0)


if __name__ == "__main__":
    main()
