#!/usr/bin/env python3
"""Starts real servers on this machine, records lsof's output about them and how they were started, and stops them.

Writes lsof.txt (lsof's output about only these servers) and processes.jsonl (one listening process per line) into
tests/data/servers. A server whose program is missing is left out, with a message on standard error. Needs Linux,
because it reads /proc. Vite, http-server and workerd come from a folder in which they were installed:

    npm install vite http-server workerd
    scripts/record-servers.py --node-modules FOLDER/node_modules

Next.js is left out: its process is called "next-server (v1", and lsof on Linux skips a process with a single
parenthesis in its name.
"""
import argparse
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

DATA = pathlib.Path(__file__).parent.parent / "tests/data/servers"
LSOF = ["lsof", "-nP", "-iTCP", "-sTCP:LISTEN", "-F", "pcn"]
SITE = "/home/dev/site"  # replaces, in the records, the folder that the servers ran in

FILES = {
    "package.json": '{"name": "site", "private": true}\n',
    "index.html": "<!doctype html><title>Site</title>\n",
    "server.js": "require('http').createServer((q, r) => r.end('ok')).listen(+process.argv[2], '127.0.0.1');\n",
    "three.js": "for (const port of process.argv.slice(2))\n"
                "  require('http').createServer((q, r) => r.end('ok')).listen(+port, '127.0.0.1');\n",
    "manage.py": "import http.server, sys\n"
                 "http.server.test(port=int(sys.argv[2]), bind='127.0.0.1')\n",
    "server.rb": "require 'socket'\nserver = TCPServer.new('127.0.0.1', ARGV[0])\n"
                 "loop { server.accept.close }\n",
    "config.ru": "run ->(env) { [200, {}, ['ok']] }\n",
    "worker.js": "export default { fetch() { return new Response('ok') } }\n",
    "workerd.capnp": 'using Workerd = import "/workerd/workerd.capnp";\n'
                     "const config :Workerd.Config = (\n"
                     '  services = [(name = "main", worker = (modules = [(name = "worker", esModule = embed "worker.js")],\n'
                     '                                         compatibilityDate = "2024-01-01")),\n'
                     '              (name = "loopback", external = (http = ()))],\n'
                     '  sockets = [(name = "entry", service = "main", http = ())]);\n',
    "nginx.conf": "daemon off; pid nginx.pid; error_log stderr; events {}\n"
                  "http { access_log off; server { listen 127.0.0.1:NGINX_PORT; } }\n",
}


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


def servers(folder):
    """Name, endpoints to wait for, and command line of each."""
    port = [free_port() for _ in range(21)]
    conf = folder / "nginx.conf"
    conf.write_text(conf.read_text().replace("NGINX_PORT", port[0]))
    binaries = "node_modules/.bin/"
    yield "python", 1, ["python3", "-m", "http.server", port[1], "--bind", "127.0.0.1"]
    yield "python on all addresses", 1, ["python3", "-m", "http.server", port[2]]
    yield "python on ::1", 1, ["python3", "-m", "http.server", port[3], "--bind", "::1"]
    yield "django", 1, ["python3", "manage.py", "runserver", port[4]]
    yield "node", 1, ["node", "server.js", port[5]]
    yield "node with an inspector", 2, ["node", "--inspect=127.0.0.1:" + port[6], "server.js", port[7]]
    yield "node with an inspector somewhere", 2, ["node", "--inspect=0", "server.js", port[8]]
    yield "node with three ports", 3, ["node", "three.js", port[9], port[10], port[11]]
    yield "php", 1, ["php", "-S", "127.0.0.1:" + port[12]]
    yield "nginx", 1, ["nginx", "-p", str(folder), "-c", str(conf)]
    yield "caddy", 1, ["caddy", "file-server", "--listen", "127.0.0.1:" + port[13]]
    yield "ruby", 1, ["ruby", "server.rb", port[14]]
    yield "puma", 1, ["puma", "-b", "tcp://127.0.0.1:" + port[15], "config.ru"]
    yield "vite", 1, [binaries + "vite", "--host", "127.0.0.1", "--port", port[16]]
    yield "http-server", 1, [binaries + "http-server", "-a", "127.0.0.1", "-p", port[17]]
    yield "workerd", 2, [binaries + "workerd", "serve", "workerd.capnp", "--socket-addr=entry=127.0.0.1:" + port[18],
                         "--external-addr=loopback=127.0.0.1:" + port[19], "--inspector-addr=localhost:" + port[20]]


def session_of(pid):
    try:
        return os.getsid(pid)
    except ProcessLookupError:
        return None


def sections():
    """lsof's output, cut into one list of lines per process."""
    cut = []
    for line in subprocess.run(LSOF, capture_output=True, text=True).stdout.splitlines():
        if line.startswith("p"):
            cut.append([])
        cut[-1].append(line)
    return cut


def endpoints_of(session):
    names = [line for section in sections() if session_of(int(section[0][1:])) == session
             for line in section if line.startswith("n")]
    return len(set(names))


def start(command, folder):
    environment = {"PATH": "/usr/bin:/bin:/usr/sbin:/sbin", "HOME": str(folder), "NEXT_TELEMETRY_DISABLED": "1"}
    return subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)


def wait_for(process, count):
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline and process.poll() is None:
        if endpoints_of(process.pid) >= count:
            return True
        time.sleep(0.1)
    return False


def stop(process):
    members = [int(name) for name in os.listdir("/proc") if name.isdigit() and session_of(int(name)) == process.pid]
    for pid in members:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    process.wait()


def described(section, name, folder):
    pid = int(section[0][1:])
    proc = pathlib.Path("/proc") / str(pid)
    arguments = (proc / "cmdline").read_bytes().rstrip(b"\0").split(b"\0")
    return {
        "server": name,
        "pid": pid,
        "command": next((line[1:] for line in section if line.startswith("c")), ""),
        "executable": os.readlink(proc / "exe").replace(str(folder), SITE),
        "cwd": os.readlink(proc / "cwd").replace(str(folder), SITE),
        "arguments": [argument.decode().replace(str(folder), SITE) for argument in arguments],
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--node-modules", type=pathlib.Path, help="where Vite and so on are installed")
    parser.add_argument("--output", type=pathlib.Path, default=DATA, help="folder to write to")
    options = parser.parse_args()

    scratch = pathlib.Path(tempfile.mkdtemp(prefix="tavrin-servers-")).resolve()
    folder = scratch / "site"
    running = {}
    try:
        folder.mkdir()
        for name, text in FILES.items():
            (folder / name).parent.mkdir(exist_ok=True)
            (folder / name).write_text(text)
        if options.node_modules:
            shutil.copytree(options.node_modules, folder / "node_modules", symlinks=True)
        for name, count, command in servers(folder):
            program = shutil.which(command[0], path="/usr/bin:/bin:/usr/sbin:/sbin") or folder / command[0]
            if not os.path.exists(program):
                print(f"{name}: {command[0]} is not installed", file=sys.stderr)
                continue
            process = start(command, folder)
            running[process.pid] = (name, process)
            if not wait_for(process, count):
                print(f"{name}: does not listen", file=sys.stderr)
        ours = [section for section in sections() if session_of(int(section[0][1:])) in running]
        records = [described(section, running[session_of(int(section[0][1:]))][0], folder) for section in ours]
    finally:
        for _, process in running.values():
            stop(process)
        shutil.rmtree(scratch, ignore_errors=True)

    options.output.mkdir(parents=True, exist_ok=True)
    (options.output / "lsof.txt").write_text("".join(line + "\n" for section in ours for line in section))
    (options.output / "processes.jsonl").write_text(
        "".join(json.dumps(record, ensure_ascii=False) + "\n" for record in records))
    print(f"{len(records)} processes of {len(running)} servers")


if __name__ == "__main__":
    main()
