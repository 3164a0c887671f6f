#!/usr/bin/env python3
"""Runs the programs of both platforms side by side, against the same web server.

    both_platforms_test.py ISOLATED LINUX_PROGRAM WINDOWS_PROGRAM WINE_RUNNER

ISOLATED runs the Linux program apart from the trace lock of others.
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

from with_http_servers import web_servers

ISOLATED, LINUX_PROGRAM, WINDOWS_PROGRAM, WINE_RUNNER = sys.argv[1:5]
OPTIONS_KEY = r"Software\QEL\QELLogon\Options"
METADATA = "qelfilecache_Metadata.txt"


class Linux:
    """The Linux program with a configuration of its own."""

    separator = "/"

    def __init__(self, home):
        self.environment = dict(os.environ, XDG_CONFIG_HOME=home)
        self.command = [ISOLATED, "--memory", LINUX_PROGRAM]

    @staticmethod
    def path(path):
        """A path of this machine as the program takes it."""
        return path

    def source(self):
        """Where the expiry period is configured."""
        return os.path.join(self.environment["XDG_CONFIG_HOME"], "qel", "qel.ini")

    def set_expiry_minutes(self, minutes):
        directory = os.path.join(self.environment["XDG_CONFIG_HOME"], "qel")
        os.makedirs(directory, exist_ok=True)
        with open(os.path.join(directory, "qel.ini"), "w", encoding="ascii") as file:
            file.write(f"[{OPTIONS_KEY}]\nLandscapeCacheExpiryPeriod={minutes}\n")

    def close(self):
        pass


class Windows:
    """The Windows program under Wine."""

    separator = "\\"

    def __init__(self, _):
        self.environment = dict(os.environ)
        self.command = [WINE_RUNNER, WINDOWS_PROGRAM]

    @staticmethod
    def path(path):
        return "Z:" + path.replace("/", "\\")

    def registry(self, *arguments):
        subprocess.run([WINE_RUNNER, "reg", *arguments, "/f"], check=True, stdout=subprocess.DEVNULL)

    @staticmethod
    def source():
        return "HKEY_CURRENT_USER\\" + OPTIONS_KEY

    def set_expiry_minutes(self, minutes):
        self.registry("add", "HKCU\\" + OPTIONS_KEY, "/v", "LandscapeCacheExpiryPeriod", "/t", "REG_DWORD", "/d",
                      str(minutes))

    def close(self):
        self.set_expiry_minutes(0)
        self.registry("delete", "HKCU\\" + OPTIONS_KEY, "/v", "LandscapeCacheExpiryPeriod")


class BothPlatforms(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.home = directory.name
        self.platforms = {}
        for kind in (Linux, Windows):
            platform = kind(self.home)
            self.addCleanup(platform.close)
            platform.set_expiry_minutes(0)
            self.platforms[kind.__name__] = platform

    def directory(self, name):
        path = os.path.join(self.home, name)
        os.makedirs(path, exist_ok=True)
        return path

    def start(self, platform, cache, *arguments):
        command = [*platform.command, "--cache-dir", platform.path(cache), *arguments]
        process = subprocess.Popen(command, env=platform.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        """Ends a process that a failed test has left behind."""
        with process:
            process.kill()

    def run_program(self, platform, cache, *arguments):
        """Exit status, standard output and standard error."""
        process = self.start(platform, cache, *arguments)
        output, errors = process.communicate(timeout=600)
        return process.returncode, output, errors

    def succeed(self, platform, cache, *arguments):
        """Standard output of a program that has to end well."""
        status, output, errors = self.run_program(platform, cache, *arguments)
        self.assertEqual(status, 0, errors)
        return output

    def requests(self):
        """The requests that the server has had since the last call."""
        with open(SERVERS["QEL_TEST_REQUESTS"], "a+", encoding="ascii") as log:
            log.seek(0)
            lines = log.read().splitlines()
            log.truncate(0)
        return lines

    def publish(self, name, content):
        with open(os.path.join(SERVERS["QEL_TEST_FILES"], name), "w", encoding="ascii", newline="") as file:
            file.write(content)

    def test_results_are_alike(self):
        self.requests()
        self.publish("landscape.xml", "<landscape/>")
        urls = [SERVERS["QEL_TEST_HTTP"] + path
                for path in ("/landscape.xml", "/redirects/3", "/missing.xml", "/empty", "/status/500", "/chunked")]
        results = {}
        for name, platform in self.platforms.items():
            rounds = []
            for _ in range(2):
                status, output, _errors = self.run_program(platform, self.directory("results " + name), "get", "--json",
                                                           *urls)
                result = json.loads(output)
                for request in result:
                    request["path"] = os.path.splitext(request["path"])[1]
                rounds.append((status, result, self.requests()))
            results[name] = rounds
        self.assertEqual(results["Windows"], results["Linux"])
        self.assertEqual([request["path"] for request in results["Linux"][0][1]],
                         [".xml", ".txt", "", ".txt", "", ".txt"])

    def trace(self, platform, cache, traces, *requests):
        """What a run of the program traces, with words for what no other run and no other platform has:
        ids, addresses, times, paths and the system's error numbers."""
        self.run_program(platform, cache, "--trace-level", "4", "--trace-dir", platform.path(traces), "get", *requests)
        (name,) = os.listdir(traces)
        path = os.path.join(traces, name)
        with open(path, encoding="ascii") as file:
            text = file.read()
        os.remove(path)
        text = text.replace(platform.path(cache) + platform.separator, "CACHE/").replace(platform.path(cache), "CACHE")
        for pattern, word in ((r"(?<=TID: )[0-9]+", "ID"),
                              (r"(?<=\[)[0-9A-Fa-fx]+(?=\]/[0-9]+: )", "ADDRESS"),
                              (r"(?<=s_instance = )[0-9A-Fa-fx]+", "ADDRESS"),
                              (r"(?<=file_contents=)[0-9A-Fa-fx]+", "ADDRESS"),
                              (r"(?<=FindFirstFile returned )[0-9A-Fa-fx]+", "ADDRESS"),
                              (r"(?<=INVALID_HANDLE_VALUE=)[0-9A-Fa-fx]+", "ADDRESS"),
                              (r"[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}", "UUID"),
                              (r"[0-9]{18}", "TIME"),
                              (r"(?<=\*\* Program: \t).*", "PROGRAM"),
                              (r"(?<=error code )[0-9]+", "ERROR"),
                              (r"(?<=GetLastError returned )[0-9]+", "ERROR")):
            text = re.sub(pattern, word, text)
        return text

    def test_trace_alike(self):
        self.publish("landscape.xml", "<landscape/>")
        server = SERVERS["QEL_TEST_HTTP"]
        # One copy alone: systems list the files of a directory each in an order of its own.
        requests = [server + "/landscape.xml", server + "/missing.xml",
                    r"\\no-such-host.invalid\share\landscape.xml", "file://no-such-host.invalid/share/landscape.xml",
                    "file:/unusable", "ftp://server/landscape.xml", "missing.xml"]
        for _ in ("nothing is known", "everything is known"):
            traces = {name: self.trace(platform, self.directory("cache " + name), self.directory("traces " + name),
                                       *requests)
                      for name, platform in self.platforms.items()}
            self.assertEqual(len(re.findall(r"Get_Cached_File_and_Status\[ADDRESS\]/[0-9]+: CALL", traces["Linux"])),
                             len(requests))
            self.assertMultiLineEqual(traces["Windows"], traces["Linux"])

    def test_look_into_the_cache_alike(self):
        self.publish("landscape.xml", "<landscape/>")
        url = SERVERS["QEL_TEST_HTTP"] + "/landscape.xml"
        unknown_authority = SERVERS["QEL_TEST_HTTPS_UNKNOWN_CA"] + "/landscape.xml"
        looks = {}
        for name, platform in self.platforms.items():
            platform.set_expiry_minutes(60)
            cache = self.directory("look " + name)
            self.succeed(platform, cache, "get", url)
            self.requests()
            before = {file: os.stat(os.path.join(cache, file)).st_mtime_ns for file in os.listdir(cache)}

            status, output, _errors = self.run_program(platform, cache, "list", "--json")
            entries = json.loads(output)
            explained = self.run_program(platform, cache, "explain", "--json", "--check", url, unknown_authority,
                                         "file:/unusable")
            results = json.loads(explained[1])
            self.assertEqual(self.requests(), ["HEAD /landscape.xml"], name)
            after = {file: os.stat(os.path.join(cache, file)).st_mtime_ns for file in os.listdir(cache)}
            self.assertEqual(after, before, name)

            self.assertEqual(entries[0]["copy"], results[0]["entry"]["copy"])
            self.assertTrue(entries[0]["copy"].startswith(platform.path(cache) + platform.separator))
            # Wine looks for a revocation list before it looks at the authority.
            self.assertIn(results[1]["remote"]["error"], (12045, 12057))
            period = results[0]["settings"][0]
            self.assertEqual((period["name"], period["value"], period["written"]),
                             ("LandscapeCacheExpiryPeriod", "60", "60"))
            self.assertEqual(period["source"], platform.source())
            looks[name] = (status, [(entry["url"], entry["size"], entry["last_modified"], entry["fresh"])
                                    for entry in entries], explained[0],
                           [(result["kind"], result["served"], result["remote"]["status"], result["remote"]["unchanged"],
                             re.sub(r"[0-9]{4}-[0-9]{2}-.*|[^,]*the server's certificate.*", "", result["verdict"]))
                            for result in results])
        self.assertEqual(looks["Windows"], looks["Linux"])
        self.assertEqual([result[:4] for result in looks["Linux"][3]],
                         [("web", True, 200, True), ("web", False, None, False), ("unusable", False, None, False)])

    def move(self, cache, writer, reader):
        """What whoever moves a cache directory to the other platform does: the paths in it change."""
        metadata = os.path.join(cache, METADATA)
        with open(metadata, encoding="ascii", newline="") as file:
            text = file.read()
        old = writer.path(cache) + writer.separator
        self.assertIn(old, text)
        with open(metadata, "w", encoding="ascii", newline="") as file:
            file.write(text.replace(old, reader.path(cache) + reader.separator))
        return text

    def check_move(self, writer, reader, line_end):
        self.publish("landscape.xml", "<landscape/>")
        self.publish("lines.txt", "first\nsecond\n")
        urls = [SERVERS["QEL_TEST_HTTP"] + path for path in ("/landscape.xml", "/lines.txt")]
        cache = self.directory("moved")
        self.succeed(writer, cache, "get", *urls)
        self.assertEqual(self.requests(), ["GET /landscape.xml", "GET /lines.txt"])

        text = self.move(cache, writer, reader)
        self.assertEqual(set(re.findall("\r?\n", text)), {line_end})
        reader.set_expiry_minutes(60)
        output = self.succeed(reader, cache, "get", *urls)
        self.assertEqual(self.requests(), [])
        for path in output.splitlines():
            self.assertTrue(path.startswith(reader.path(cache) + reader.separator), path)

        # With a change the reader writes the file in its own way, and everything is still there.
        reader.set_expiry_minutes(0)
        self.assertEqual(self.run_program(reader, cache, "get", *urls), (0, output, ""))
        self.assertEqual(self.requests(), ["HEAD /landscape.xml", "HEAD /lines.txt"])
        self.move(cache, reader, writer)
        writer.set_expiry_minutes(60)
        self.succeed(writer, cache, "get", *urls)
        self.assertEqual(self.requests(), [])

    def test_cache_of_windows_goes_on_on_linux(self):
        self.check_move(self.platforms["Windows"], self.platforms["Linux"], "\r\n")

    def test_cache_of_linux_goes_on_on_windows(self):
        self.check_move(self.platforms["Linux"], self.platforms["Windows"], "\n")


if not os.path.exists(LINUX_PROGRAM):
    sys.exit(f"{LINUX_PROGRAM} is missing. Build it first: cmake --preset linux && cmake --build --preset linux")
if subprocess.run([ISOLATED, "--memory", "true"], check=False).returncode == 77:
    sys.exit(77)
with web_servers() as SERVERS:
    unittest.main(argv=sys.argv[:1])
