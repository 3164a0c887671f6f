#!/usr/bin/python3
"""Times requests for five files of a server that does not respond: ours with its copies, and other programs.

    dead_servers.py TOOL FSSPEC_PEER RESULT   writes a result like Google Benchmark's

Time-outs are counted: the server counts connections, or the time is compared with that of one attempt. Servers beyond the
loopback interface exist in a network of the program's own (unshare); without it they are left out.
"""

import contextlib
import json
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading
import time

FILES = 5
TIMEOUT = 2  # seconds, for everybody; for a silent server ours takes its own 30


def run(command, **environment):
    """Seconds that the command takes, and what it prints. It may fail: that is the point."""
    start = time.perf_counter()
    output = subprocess.run(command, env={**os.environ, **environment}, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            text=True, check=False).stdout
    return time.perf_counter() - start, output


def ours(tool, urls, timeout=TIMEOUT):
    with tempfile.TemporaryDirectory() as folder:
        home = pathlib.Path(folder)
        (home / "qel").mkdir()
        (home / "qel" / "qel.ini").write_text("[Software\\QEL\\QELLogon\\Options]\n"
                                              f"LandscapeServerFileConnectTimeout = {timeout}\n", encoding="ascii")
        cache = home / "cache"
        cache.mkdir()
        entries = []
        for number, url in enumerate(urls):
            copy = cache / f"12345678-1234-1234-1234-12345678901{number}.xml"
            copy.write_text("<a/>", encoding="ascii")
            entries += ["stamp", "131900000000000000", str(copy), url]
        (cache / "qelfilecache_Metadata.txt").write_text("\n".join(
            ["QEL Logon Landscape Cache Metadata", "version", "2", "entries", str(len(urls)), *entries, ""]), encoding="ascii")
        seconds, output = run([tool, "--cache-dir", str(cache), "get", *urls], XDG_CONFIG_HOME=folder)
        if len(output.split()) != len(urls):
            sys.exit(f"the copies were not served: {output}")
        return seconds


def peers(fsspec, urls, timeout=TIMEOUT):
    limit = str(timeout)
    yield "curl", ["curl", "-s", "-m", limit, *urls]
    yield "wget", ["wget", "-q", "-T", limit, "-t", "1", "-O", "/dev/null", *urls]
    yield "fsspec", [fsspec, "dead", limit, *urls]


@contextlib.contextmanager
def full_queue():
    """A port whose connections are neither accepted nor refused."""
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        listener.listen(0)
        clients = [socket.socket() for _ in range(4)]
        for client in clients:
            client.setblocking(False)
            client.connect_ex(listener.getsockname())
        yield listener.getsockname()[1]
        for client in clients:
            client.close()


class Silent:
    """A server that accepts and says nothing."""

    def __init__(self):
        self.connections = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            self.connections.append(self.listener.accept()[0])

    def taken(self):
        """Connections since the last call."""
        count = len(self.connections)
        self.connections.clear()
        return count


def urls_of(host):
    return [f"http://{host}/{number}.xml" for number in range(FILES)]


def timed(name, tool, fsspec, urls, one_attempt, timeout=TIMEOUT):
    """Results where the time shows how many attempts were made. What a program takes without any URL counts for none."""
    results = [("ours", ours(tool, urls, timeout), 0)]
    for (peer, command), (_, idle) in zip(peers(fsspec, urls, timeout), peers(fsspec, [], timeout)):
        results.append((peer, run(command)[0], run(idle)[0]))
    return [(f"{name}/{who}", seconds, round((seconds - start) / one_attempt)) for who, seconds, start in results]


def silent(tool, fsspec):
    server = Silent()
    urls = urls_of(f"127.0.0.1:{server.port}")
    results = [("Dead_Silent/ours", ours(tool, urls), server.taken())]
    for peer, command in peers(fsspec, urls):
        results.append((f"Dead_Silent/{peer}", run(command)[0], server.taken()))
    return results


def one_attempt_of(host):
    """Seconds that a single attempt takes."""
    return run(["curl", "-s", "-m", "30", urls_of(host)[0]])[0]


def in_own_network(tool, fsspec):
    def call(*command):
        subprocess.run(command, check=True)

    call("ip", "link", "set", "lo", "up")
    call("ip", "link", "add", "qel0", "type", "veth", "peer", "name", "qel1")
    call("ip", "address", "add", "198.51.100.1/24", "dev", "qel0")
    call("ip", "link", "set", "qel0", "up")
    call("ip", "link", "set", "qel1", "up")
    name_server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    name_server.bind(("127.0.0.1", 53))  # and says nothing
    with tempfile.NamedTemporaryFile("w", encoding="ascii") as resolver:
        resolver.write(f"nameserver 127.0.0.1\noptions timeout:{TIMEOUT} attempts:1\n")
        resolver.flush()
        call("mount", "--bind", resolver.name, "/etc/resolv.conf")
        results = timed("Dead_Name", tool, fsspec, urls_of("server.example"), one_attempt_of("server.example"))
    absent = "198.51.100.2"  # the system finds out after three seconds
    return results + timed("Dead_Host", tool, fsspec, urls_of(absent), one_attempt_of(absent), 5 * TIMEOUT)


def main():
    if sys.argv[1] == "--in-own-network":
        print(json.dumps(in_own_network(*sys.argv[2:])))
        return
    tool, fsspec, result = sys.argv[1:]
    with full_queue() as port:
        results = timed("Dead_Server", tool, fsspec, urls_of(f"127.0.0.1:{port}"), TIMEOUT)
    results += silent(tool, fsspec)
    own = subprocess.run(["unshare", "-rnm", sys.executable, __file__, "--in-own-network", tool, fsspec], stdout=subprocess.PIPE,
                         text=True, check=False)
    if own.returncode == 0:
        results += json.loads(own.stdout)
    else:
        print("dead_servers.py: no network of its own here; a silent name server and an absent host are left out",
              file=sys.stderr)
    pathlib.Path(result).write_text(json.dumps({"benchmarks": [
        {"name": name, "run_type": "iteration", "time_unit": "s", "real_time": seconds, "cpu_time": 0, "timeouts": timeouts}
        for name, seconds, timeouts in results]}), encoding="ascii")


if __name__ == "__main__":
    main()
