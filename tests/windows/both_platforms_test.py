#!/usr/bin/env python3
"""Runs the programs of both platforms side by side, against the same web server.

    both_platforms_test.py LINUX_PROGRAM WINDOWS_PROGRAM WINE_RUNNER
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

from with_http_servers import web_servers

LINUX_PROGRAM, WINDOWS_PROGRAM, WINE_RUNNER = sys.argv[1:4]
OPTIONS_KEY = r"Software\QEL\QELLogon\Options"
METADATA = "qelfilecache_Metadata.txt"


class Linux:
    """The Linux program with a configuration of its own."""

    command = [LINUX_PROGRAM]
    separator = "/"

    def __init__(self, home):
        self.environment = dict(os.environ, XDG_CONFIG_HOME=home)
        self.source = os.path.join(home, "qel", "qel.ini")  # where the expiry period is configured

    @staticmethod
    def path(path):
        """A path of this machine as the program takes it."""
        return path

    def set_expiry_minutes(self, minutes):
        os.makedirs(os.path.dirname(self.source), exist_ok=True)
        with open(self.source, "w", encoding="ascii") as file:
            file.write(f"[{OPTIONS_KEY}]\nLandscapeCacheExpiryPeriod={minutes}\n")


class Windows:
    """The Windows program under Wine."""

    command = [WINE_RUNNER, WINDOWS_PROGRAM]
    separator = "\\"
    source = "HKEY_CURRENT_USER\\" + OPTIONS_KEY
    environment = None

    def __init__(self, _):
        pass

    @staticmethod
    def path(path):
        return "Z:" + path.replace("/", "\\")

    @classmethod
    def registry(cls, verb, *arguments):
        subprocess.run([WINE_RUNNER, "reg", verb, cls.source, "/v", "LandscapeCacheExpiryPeriod", *arguments, "/f"],
                       check=True, stdout=subprocess.DEVNULL)

    def set_expiry_minutes(self, minutes):
        self.registry("add", "/t", "REG_DWORD", "/d", str(minutes))


class BothPlatforms(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.home = directory.name
        self.platforms = {kind.__name__: kind(self.home) for kind in (Linux, Windows)}
        for platform in self.platforms.values():
            platform.set_expiry_minutes(0)
        self.addCleanup(Windows.registry, "delete")

    def directory(self, name):
        path = os.path.join(self.home, name)
        os.makedirs(path, exist_ok=True)
        return path

    def run_program(self, platform, cache, *arguments):
        """Exit status, standard output and standard error."""
        ended = subprocess.run([*platform.command, "--cache-dir", platform.path(cache), *arguments],
                               env=platform.environment, capture_output=True, text=True, timeout=600, check=False)
        return ended.returncode, ended.stdout, ended.stderr

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
            (entry,) = json.loads(output)
            explained = self.run_program(platform, cache, "explain", "--json", "--check", url, unknown_authority,
                                         "file:/unusable")
            results = json.loads(explained[1])
            self.assertEqual(self.requests(), ["HEAD /landscape.xml"] * 3, name)
            self.assertEqual([asked["last_modified"] for asked in results[0]["remote"]["asked"]],
                             [entry["last_modified"]] * 3)
            after = {file: os.stat(os.path.join(cache, file)).st_mtime_ns for file in os.listdir(cache)}
            self.assertEqual(after, before, name)

            self.assertEqual(entry["copy"], results[0]["entry"]["copy"])
            self.assertTrue(entry["copy"].startswith(platform.path(cache) + platform.separator))
            # Wine looks for a revocation list before it looks at the authority.
            self.assertIn(results[1]["remote"]["error"], (12045, 12057))
            period = results[0]["settings"][0]
            self.assertEqual((period["name"], period["value"], period["written"], period["source"]),
                             ("LandscapeCacheExpiryPeriod", "60", "60", platform.source))
            looks[name] = (status, [entry[key] for key in ("url", "size", "last_modified", "fresh")], explained[0],
                           [(result["kind"], result["served"], result["remote"]["status"], result["remote"]["unchanged"],
                             re.sub(r"[0-9]{4}-[0-9]{2}-.*|[^,]*certificate.*", "", result["verdict"]))
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
        writer, reader = self.platforms[writer], self.platforms[reader]
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
        self.check_move("Windows", "Linux", "\r\n")

    def test_cache_of_linux_goes_on_on_windows(self):
        self.check_move("Linux", "Windows", "\n")


if not os.path.exists(LINUX_PROGRAM):
    sys.exit(f"{LINUX_PROGRAM} is missing. Build it first: cmake --preset linux && cmake --build --preset linux")
with web_servers() as SERVERS:
    unittest.main(argv=sys.argv[:1])
