#!/usr/bin/python3
"""Python's fsspec with its "filecache": a download, or fresh hits.

    fsspec_cache.py download URL DIRECTORY
    fsspec_cache.py dead SECONDS URL...   asks for files of a server that does not respond, each with that time-out
    fsspec_cache.py hits ENTRIES RESULT   times look-ups of fresh files; writes a result like Google Benchmark's
"""

import asyncio
import functools
import http.server
import json
import os
import sys
import tempfile
import threading
import time

import aiohttp
import fsspec
import fsspec.exceptions


def cache(directory):
    return fsspec.filesystem("filecache", target_protocol="http", cache_storage=directory, expiry_time=3600)


def download(url, directory):
    with cache(directory).open(url) as file:
        file.read(1)


def dead(timeout, urls):
    peer = fsspec.filesystem("filecache", target_protocol="http", cache_storage="TMP",
                             target_options={"client_kwargs": {"timeout": aiohttp.ClientTimeout(total=timeout)}})
    for url in urls:
        try:
            peer.open(url)
        except (OSError, asyncio.TimeoutError, fsspec.exceptions.FSTimeoutError):
            pass


class SilentHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def hits(entries, result):
    with tempfile.TemporaryDirectory() as files, tempfile.TemporaryDirectory() as copies:
        for number in range(entries):
            with open(os.path.join(files, f"landscape-{number:06}.xml"), "w", encoding="ascii") as file:
                file.write("<Landscape/>\n")
        handler = functools.partial(SilentHandler, directory=files)
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        urls = [f"http://127.0.0.1:{server.server_port}/landscape-{number:06}.xml" for number in range(entries)]
        peer = cache(copies)
        for url in urls:
            with peer.open(url):
                pass
        server.shutdown()

        # What the library asks before it opens a copy: the step that is nearest to returning a path.
        rounds = 20
        wall, cpu = time.perf_counter_ns(), time.process_time_ns()
        for _ in range(rounds):
            for url in urls:
                if not peer._check_file(url):
                    sys.exit("a copy is not fresh")
        looked_up = rounds * entries
        with open(result, "w", encoding="ascii") as file:
            json.dump({"benchmarks": [{
                "name": f"Fsspec_Fresh_Hit/{entries}", "run_type": "iteration", "time_unit": "ns",
                "real_time": (time.perf_counter_ns() - wall) / looked_up,
                "cpu_time": (time.process_time_ns() - cpu) / looked_up}]}, file)


if sys.argv[1] == "download":
    download(sys.argv[2], sys.argv[3])
elif sys.argv[1] == "dead":
    dead(float(sys.argv[2]), sys.argv[3:])
else:
    hits(int(sys.argv[2]), sys.argv[3])
