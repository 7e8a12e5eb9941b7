#!/usr/bin/env python3
"""Prints the system calls of one run of tavrin-hook, one per line, each with its reason.

    system_calls.py path/to/tavrin-hook

The run is like that of nearly every event: its session is stored, its host and its repository are known, and a shell of
the agent has started the hook. A call without a reason in the table below is an error, because nobody has thought about
it.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

RECORDED = pathlib.Path(__file__).parent.parent / "tests/data/events/claude/p01-plain/007-PreToolUse.json"

STARTUP = "the C library starting up: "

# The reason for each call whose text matches. The first match counts. Texts are as strace prints them, with the paths
# of descriptors in angle brackets and the home directory as "~".
REASONS = [
    (r"execve\(", "the agent's shell starts the command"),
    # What a static executable does before main, on the known processors and with the known C libraries.
    (r"arch_prctl\((ARCH_SET_FS|0x3001)", STARTUP + "thread-local storage"),
    (r"set_tid_address\(", STARTUP + "the thread's identity"),
    (r"set_robust_list\(", STARTUP + "locks that outlive a thread"),
    (r"rseq\(", STARTUP + "restartable sequences"),
    (r"prlimit64\(0, RLIMIT_STACK", STARTUP + "the size of stacks"),
    (r'readlink(at)?\((AT_FDCWD[^,]*, )?"/proc/self/exe"', STARTUP + "where the executable lies"),
    (r"getrandom\(.*GRND_NONBLOCK", STARTUP + "a random seed of malloc(3)"),
    (r"mprotect\(.*PROT_READ\)", STARTUP + "relocated constants become read-only"),
    (r"brk\(", "memory for malloc(3) and the C library"),
    (r"mmap\(NULL, \d+, PROT_READ\|PROT_WRITE, MAP_PRIVATE\|MAP_ANONYMOUS", "memory for a large payload"),
    (r"munmap\(", "a large block of memory is given back"),
    (r"rt_sigaction\(SIGXFSZ, ", "a file over the limit is a failed write and no end"),
    (r"rt_sigaction\(SIGPIPE, ", "so is a pipe in a file's place"),
    (r"getppid\(", "from where the agent's process is looked for"),
    (r"read\(0<pipe:\[\d+\]>, \"\"", "the payload's end"),
    (r"read\(0<pipe:\[\d+\]>, ", "the payload"),
    (r"openat\(.*/sessions/\.[\w-]+\.lock\", O_RDWR\|O_CREAT", "the session's lock"),
    (r"flock\(\d+<.*\.lock>, LOCK_EX", "nobody else updates this session now"),
    (r"flock\(\d+<.*\.lock>, LOCK_UN", "the next event of the session may go on"),
    (r"openat\(.*/sessions/[\w-]+\.json\", O_RDONLY", "the stored record"),
    (r"read\(\d+<.*/sessions/[\w-]+\.json>, \"\"", "the record's end"),
    (r"read\(\d+<.*/sessions/[\w-]+\.json>, ", "its text"),
    (r"newfstatat\(\d+<.*/sessions/[\w-]+\.json>, ", "its size"),
    (r"close\(\d+<.*/sessions/[\w-]+\.json>", "the record is read"),
    (r"openat\(.*\"/proc/\d+/stat\", O_RDONLY", "a process above this one, until the agent is found"),
    (r"read\(\d+<.*/proc/\d+/stat>, ", "its name, parent and terminal"),
    (r"getrandom\(.*, 16, 0\)", "a name for the temporary file that nobody else has"),
    (r"openat\(.*/sessions/\.[\w-]+\.tmp\", O_WRONLY\|O_CREAT\|O_EXCL", "the temporary file"),
    (r"write\(\d+<.*\.tmp>, ", "the new record"),
    (r"close\(\d+<.*\.tmp>", "a file system may report only now that it could not be written"),
    (r"rename\(\".*\.tmp\", \".*\.json\"", "the new record takes the old one's place in one step"),
    (r"openat\(.*/hook\.log\", O_WRONLY\|O_CREAT", "the log"),
    (r"flock\(\d+<.*/hook\.log>, LOCK_EX", "no other line meanwhile, and no rotation"),
    (r"(newfstatat|fstat)\(\d+<.*/hook\.log>", "is the log full?"),
    (r"write\(\d+<.*/hook\.log>, ", "the line"),
    (r"flock\(\d+<.*/hook\.log>, LOCK_UN", "the next line may be written"),
    (r"exit_group\(0\)", "the end, with status 0 whatever happened"),
]


def stored_session(event):
    return {"agent": "claude", "agentPid": 4711, "cwd": event["cwd"], "hostBundleId": "org.example.Terminal",
            "hostPid": 612, "inFlight": [], "repoRoot": event["cwd"], "sessionId": event["session_id"],
            "state": "working", "stateSince": "2026-07-11T08:03:12Z", "updatedAt": "2026-07-11T08:03:12Z",
            "waitingOn": []}


def rename_process(name):
    pathlib.Path("/proc/self/comm").write_text(name)


def trace(hook, home, payload):
    """What strace prints about one run, as a list of lines. The hook's parent is "sh", whose parent is "claude"."""
    reader, writer = os.pipe()
    agent = os.fork()
    if agent == 0:
        rename_process("claude")
        shell = os.fork()
        if shell == 0:
            rename_process("sh")
            # With -D the tracer does not stand between shell and hook. It keeps standard error open until it has
            # printed everything.
            run = subprocess.run(["strace", "-D", "-y", "-s", "32", hook], input=payload, stderr=writer,
                                 env={"HOME": home, "PATH": "/usr/local/bin:/usr/bin:/bin"}, check=False)
            os._exit(run.returncode)
        os._exit(os.waitstatus_to_exitcode(os.waitpid(shell, 0)[1]))
    os.close(writer)
    with open(reader, errors="replace") as file:
        text = file.read()
    if os.waitstatus_to_exitcode(os.waitpid(agent, 0)[1]) != 0:
        sys.exit("system_calls.py: the run failed:\n" + text)
    lines = [line for line in text.splitlines() if re.match(r"\w+\(", line)]
    if not lines or not lines[0].startswith("execve("):
        sys.exit("system_calls.py: the run was not traced:\n" + text)
    return [line.replace(home, "~") for line in lines]


def reason(line):
    for pattern, text in REASONS:
        if re.match(pattern, line):
            return text
    return None


def shown(line):
    """A call in a readable form: its name, and the file that it is about."""
    name = line[:line.index("(")]
    paths = re.findall(r'<([^<>]*)>|"([~/][^"]*)"', line.split(" = ")[0])
    files = [path for pair in paths for path in pair if path and not path.startswith("pipe:")]
    files = [re.sub(r"^(/proc/)\d+", r"\1PID", file) for file in files if file != os.getcwd()]
    if name == "execve":
        files = ["tavrin-hook"]
    elif name.startswith("readlink"):
        files = files[:1]
    files = [re.sub(r"^~/.*/", "", file) for file in files]
    return " ".join([name, *(re.sub(r"^\.[0-9A-F-]{36}\.tmp$", ".UUID.tmp", file) for file in files)])


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__.strip())
    event = json.loads(RECORDED.read_text())
    event["tool_input"]["content"] = "0123456789abcdef\n" * 140
    with tempfile.TemporaryDirectory() as home:
        home = os.path.realpath(home)
        sessions = pathlib.Path(home, "Library/Application Support/Tavrin/sessions")
        log = pathlib.Path(home, "Library/Logs/Tavrin/hook.log")
        sessions.mkdir(parents=True)
        log.parent.mkdir(parents=True)
        log.touch()
        (sessions / f".{event['session_id']}.lock").touch()
        (sessions / f"{event['session_id']}.json").write_text(json.dumps(stored_session(event)))
        calls = trace(os.path.abspath(sys.argv[1]), home, json.dumps(event).encode())
    unknown = [line for line in calls if reason(line) is None]
    if unknown:
        sys.exit("system_calls.py: calls without a reason in the table:\n" + "\n".join(unknown))
    print("| | Call | Why |\n|---|---|---|")
    for number, line in enumerate(calls, 1):
        print(f"| {number} | `{shown(line).replace(event['session_id'], 'ID')}` | {reason(line)} |")


if __name__ == "__main__":
    main()
