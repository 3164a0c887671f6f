#!/usr/bin/env python3
"""Runs the tool's trace command as its users do, on either platform.

    trace_command_test.py TOOL [RUNNER]     the runner runs a program of another platform
"""

import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from sample_traces import HOSTILE_URL, Trace

TOOL = sys.argv[1]
RUNNER = sys.argv[2:3]
IS_WINDOWS = bool(RUNNER)

FAILED_CHECK = ("HTTP HEAD request failed with status 500. try to download/read the file directly, therefore "
                "expired = true.")
MISSING_FILE = "Previously cached local file does not exist '/a'."


def native(path):
    """A path of this machine as the tool takes it."""
    return "Z:" + path.replace("/", "\\") if IS_WINDOWS else path


class ToolTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.folder = directory.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        if isinstance(content, Trace):
            content = content.text
        if isinstance(content, str):
            content = content.encode("utf-8")
        with open(self.path(name), "wb") as file:
            file.write(content)
        return native(self.path(name))

    def content(self, name):
        with open(self.path(name), "rb") as file:
            return file.read().decode("utf-8")

    def run_tool(self, *arguments, **environment):
        variables = dict(os.environ)
        variables.pop("COLUMNS", None)
        variables.update(environment)
        result = subprocess.run(RUNNER + [TOOL, "trace", *arguments], capture_output=True, env=variables, check=False)
        self.status = result.returncode
        self.err = result.stderr.decode("utf-8", "replace").replace("\r\n", "\n")
        return result.stdout.decode("utf-8", "replace").replace("\r\n", "\n")


class TraceCommand(ToolTest):
    def test_errors_come_first_and_the_others_in_order(self):
        trace = Trace().fresh("http://s/one.xml").failed("http://s/two.xml").downloaded("http://s/three.xml")
        file = self.write("qelfilecache_0815.trc", trace)
        self.assertEqual(self.run_tool(file), f"""\
3 requests in 1 file of 1 process
  1 failed, 1 downloaded, 1 fresh copy
  The trace has no time stamps; one of level 5 has.

Errors

#2  failed      http://s/two.xml
    the server responded to the download with status 404: not found
    error in Download_Inet_URL: HTTP GET request failed with status 404. On HTTP error we cannot download the file.
    {file}, lines 10 to 17, thread 4711

Other requests

#1  fresh copy  http://s/one.xml
    copy: /cache/1.xml
    the copy is younger than the expiry period: no server was asked
#3  downloaded  http://s/three.xml
    copy: /cache/2.xml
    not cached before: downloaded
""")
        self.assertEqual(self.status, 0)
        self.assertEqual(self.err, "")

    def test_processes_are_merged_by_their_times(self):
        first = Trace(11, seconds=0).fresh("http://s/1").wait(20).fresh("http://s/3")
        second = Trace(22, seconds=10).downloaded("http://s/2", seconds=7)
        out = self.run_tool(self.write("qelfilecache_0011.trc", first), self.write("qelfilecache_0022.trc", second))
        self.assertIn("3 requests in 2 files of 2 processes, 2026-11-21 10:00:00 to 10:00:20\n", out)
        self.assertEqual(re.findall(r"^#.*$", out, re.MULTILINE), [
            "#1  10:00:00  <1 s  0011  fresh copy  http://s/1",
            "#2  10:00:10  7 s   0022  downloaded  http://s/2",
            "#3  10:00:20  <1 s  0011  fresh copy  http://s/3",
        ])

    def test_one_process_id_in_several_files_is_several_processes(self):
        for names, labels in ((("pc1/pad/a_0011.trc", "pc2/pad/a_0011.trc"), ("pc1/0011", "pc2/0011")),
                              (("a_0012.trc", "pc3/a_0012.trc", "pc3/a_0013.trc"), ("0012", "pc3/0012", "pc3/0013")),
                              (("a_0014.trc", "b_0014.trc"), ("a_0014.trc", "b_0014.trc"))):
            files = []
            for name in names:
                os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
                files.append(self.write(name, Trace(11, seconds=0).fresh("http://s/" + name)))
            out = self.run_tool(*files)
            self.assertIn(f" files of {len(files)} processes", out)
            for name, label in zip(names, labels):
                self.assertRegex(out, rf"<1 s  {label} *  fresh copy  http://s/{name}\n")

    def test_lines_keep_to_the_width(self):
        url = "http://server/" + "a/" * 100 + "last.xml"
        lines = self.run_tool(self.write("a.trc", Trace().failed(url)), COLUMNS="70").splitlines()
        self.assertEqual([line for line in lines if len(line) > 70 and "a.trc" not in line], [])
        self.assertTrue(any(re.fullmatch(r"#1  failed  http://server/.*\.\.\..*last\.xml", line) for line in lines))

    def test_json_holds_every_call(self):
        trace = Trace(7, seconds=0).failed(HOSTILE_URL).wait(2).downloaded("http://s/b", seconds=3)
        file = self.write("qelfilecache_0042.trc", trace.call("Clear", "").text)
        text = self.run_tool(file)
        self.assertNotIn("\x1b", text, "no request steers the terminal")
        self.assertIn("\\x1B[31m", text)
        report = json.loads(self.run_tool("--json", file))
        self.assertEqual([(call["outcome"], call["operation"]) for call in report["calls"]],
                         [("failed", "get"), ("downloaded", "get"), ("cut_off", "clear")])
        failed, downloaded, _ = report["calls"]
        self.assertEqual(failed["request"], HOSTILE_URL)
        self.assertEqual(failed["explanation"], "the server responded to the download with status 404: not found")
        self.assertEqual([problem["severity"] for problem in failed["problems"]], ["error"])
        expected = {"path": "/cache/2.xml", "started": "2026-11-21T10:00:02", "seconds": 3, "process": "0042", "thread": 7,
                    "file": file}
        self.assertEqual({name: downloaded[name] for name in expected}, expected)
        self.assertEqual(report["runs"][0]["level"], "Error, Warning, Developer Notes and additional data")
        self.assertTrue(report["runs"][0]["has_times"])

    def test_a_trace_of_level_1_has_messages_by_thread_and_no_calls(self):
        trace = Trace(level="Error ").error("Is_Inet_URL_Expired", FAILED_CHECK)
        trace.thread = 4712
        trace.error("Process_Inet_URL_By_WinInet", "CertErrorHandlingMode: 'Default'.")
        trace.thread = 4711
        file = self.write("qelfilecache_0042.trc", trace.error("Get_Cached_File_and_Status", MISSING_FILE))
        out = self.run_tool(file)
        self.assertEqual(out, f"""\
3 messages outside of calls in 1 file of 1 process
  A trace of level 1 to 3 does not record where calls begin and end, so there are no calls to show for it, only its \
messages by thread. Trace with level 4 or 5 to see each call.

Messages outside of calls

{file}, thread 4711
  line 7: error in Is_Inet_URL_Expired: {FAILED_CHECK}
    the server responded to the check with status 500: internal error of the server
  line 9: error in Get_Cached_File_and_Status: {MISSING_FILE}
    the local file '/a' does not exist
{file}, thread 4712
  line 8: note in Process_Inet_URL_By_WinInet: CertErrorHandlingMode: 'Default'.
    the second attempt accepts no certificate error
""")
        for option in (["--failed"], ["--summary"], ["--url", "a"], ["--since", "10:00"]):
            self.run_tool(*option, file)
            self.assertIn("note: a trace of level 1 to 3 has no requests to select or count; without", self.err, option)
        report = json.loads(self.run_tool("--json", file))
        self.assertEqual(self.err, "")
        self.assertEqual([message["line"] for message in report["messages"]], [7, 9, 8])
        self.assertEqual(report["messages"][1], {
            "severity": "error", "method": "Get_Cached_File_and_Status", "message": MISSING_FILE, "line": 9,
            "meaning": "the local file '/a' does not exist", "time": None, "process": "0042", "thread": 4711,
            "file": file})

    def test_json_holds_what_the_trace_writer_complained_of(self):
        complaint = "ERROR: QELPCTRC, cannot open the file"
        file = self.write("stderr.txt", f"Welcome\n{complaint}\n".encode())
        report = json.loads(self.run_tool("--json", file))
        self.assertEqual(report["complaints"], [{"file": file, "line": 2, "message": complaint}])
        self.assertIn(f"The trace writer complained: {complaint}\n", self.run_tool(file))

    def test_a_file_that_cannot_be_used_is_named_and_the_others_are_read(self):
        good = self.write("good.trc", Trace().fresh("http://s/a"))
        bad = self.write("bad.trc", b"\x00\x01 no trace \xff" * 100)
        missing = native(self.path("missing.trc"))
        self.assertEqual(self.run_tool(missing, self.write("empty.trc", b"")), "", "of none nothing is printed")
        self.assertEqual(self.status, 2)
        self.assertIn("the file is empty", self.err)
        out = self.run_tool(missing, bad, native(self.folder), good)
        self.assertEqual(self.status, 2)
        self.assertIn("#1  fresh copy  http://s/a\n", out)
        self.assertIn(f"qelfilecache: '{bad}': this is not a trace: it holds neither the heading of one nor a record\n"
                      "  Next: give files that the cache wrote", self.err)
        self.assertIn(f"qelfilecache: '{missing}': cannot be read: No such file or directory\n  Next: ", self.err)
        self.assertIn(f"qelfilecache: '{native(self.folder)}': cannot be read: ", self.err)

    def test_the_page_is_written_and_named(self):
        page = native(self.path("page.html"))
        self.assertEqual(self.run_tool("--html", page, self.write("a.trc", Trace().failed("http://s/a"))), page + "\n")
        html = self.content("page.html")
        self.assertIn("<title>Trace: 1 request, 1 failed</title>", html)
        self.assertTrue(html.endswith("</html>\n"))
        self.assertNotIn("\r", html)

    def test_a_record_without_time_behind_one_with_a_time_came_no_later(self):
        trace = Trace(7, seconds=0).request("http://s/a")
        trace.seconds = None
        self.run_tool("--html", native(self.path("page.html")), self.write("a.trc", trace.served("/cache/1.xml")))
        self.assertNotIn('class="wait"', self.content("page.html"))

    def test_a_page_that_cannot_be_written_or_would_overwrite_a_trace_is_named(self):
        file = self.write("a.trc", Trace().fresh("http://s/a"))
        content = self.content("a.trc")
        missing = native(self.path("no-such-folder/page.html"))
        for page, message in ((file, "would overwrite the trace file"), ("-", "name a file after --html"),
                              (missing, f"cannot write the page '{missing}': No such file or directory\n  Next: ")):
            self.assertEqual(self.run_tool("--html", page, file), "")
            self.assertEqual(self.status, 2)
            self.assertIn(message, self.err)
        self.assertEqual(self.content("a.trc"), content)

    def test_what_is_wanted_is_selected_and_summed(self):
        trace = Trace(seconds=0).fresh("http://s/a.xml").failed("http://s/b.xml").wait(60).failed("http://s/c.xml")
        file = self.write("a.trc", trace.call("Clear", "").returned("Clear", "true"))
        for arguments, wanted in (([], [1, 2, 3, 4]), (["--failed"], [2, 3]), (["--url", "b.xml"], [2]),
                                  (["--failed", "--url", "a.xml"], []), (["--since", "10:01"], [3, 4]),
                                  (["--since", "2026-11-21T10:00:59"], [3, 4]), (["--since", "2001-01-01"], [1, 2, 3, 4]),
                                  (["--since", "2026-11-21 10:02"], []), (["--since", "2026-11-21 10"], [1, 2, 3, 4]),
                                  (["--since", "11"], [])):
            calls = json.loads(self.run_tool("--json", *arguments, file))["calls"]
            self.assertEqual([call["number"] for call in calls], wanted, arguments)
        out = self.run_tool("--summary", "--failed", file)
        self.assertTrue(out.startswith("2       http://s  failed: the server responded to the download with status 404"), out)
        self.assertEqual(self.err, "")

    def test_a_request_whose_beginning_is_missing_is_unknown(self):
        for trace, title in ((Trace(), "(unknown request)"), (Trace().request(""), "(empty request)")):
            self.assertIn(title, self.run_tool(self.write("a.trc", trace.served("''"))))

    def test_a_selection_says_what_it_cannot_do(self):
        file = self.write("a.trc", Trace().failed("http://s/last"))
        self.assertIn("0 requests", self.run_tool("--since", "10:00", file))
        self.assertIn("note: the trace has no times, so --since leaves nothing; a trace of level 5 has", self.err)
        page = native(self.path("page.html"))
        for arguments, message in ([(["--since", wrong], f"--since: needs a time such as '2026-11-21 10:20' or '10:20', "
                                                         f"not '{wrong}'")
                                    for wrong in ("noon", "25:99", "2026-02-31", "2001-1-1", "10:20:16:17", "2001-01-01 1")] +
                                   [(["--json", "--html", page], "leave out one of them"),
                                    (["--summary", "--json"], "leave out --json"),
                                    (["--summary", "--html", page], "leave out --html")]):
            self.assertEqual(self.run_tool(*arguments, file), "")
            self.assertEqual(self.status, 2)
            self.assertIn(message, self.err)

    def test_old_text_of_windows_is_shown(self):
        out = self.run_tool("--json", self.write("a.trc", Trace().fresh("/M\u00e4rz").text.encode("cp1252")))
        shown = json.loads(out)["calls"][0]["request"]
        self.assertEqual(shown, "/M\u00e4rz" if IS_WINDOWS else "/M\ufffdrz")


class FollowedTrace(ToolTest):
    name = "qelfilecache_0042.trc"

    def follow(self, *arguments):
        """Begins to follow the file; self.lines are those that it has printed."""
        files = [native(self.path(name)) for name in (self.name, "never.trc")]
        with open(self.path("out"), "wb") as out, open(self.path("err"), "wb") as err:
            tool = subprocess.Popen(RUNNER + [TOOL, "trace", "--follow", *arguments, *files], stdout=out, stderr=err)
        self.addCleanup(tool.wait)
        self.addCleanup(tool.kill)
        self.wait_until(lambda: "never.trc" in self.content("err"))  # it has read what is in the other file
        self.assertIn("never.trc", self.content("err"))
        return tool

    @staticmethod
    def wait_until(is_so):
        deadline = time.monotonic() + 30
        while not is_so() and time.monotonic() < deadline:
            time.sleep(0.05)

    @property
    def lines(self):
        return self.content("out").splitlines()

    @property
    def messages(self):
        return self.content("err").splitlines()

    def append(self, text, mode="a"):
        with open(self.path(self.name), mode, encoding="utf-8", newline="\n") as file:
            file.write(text)

    def expect(self, *wanted, within="#"):
        """Waits for these ends of the lines that hold a text."""
        def shown():
            return [line for line in self.lines if within in line]
        self.wait_until(lambda: len(shown()) >= len(wanted))
        time.sleep(0.6)  # for what should not come
        self.assertEqual(len(shown()), len(wanted), (self.lines, self.messages))
        for line, end in zip(shown(), wanted):
            self.assertTrue(line.endswith(end), (line, end))

    def test_requests_are_shown_once_when_they_end(self):
        under_way = Trace().fresh("http://s/old").request("http://s/slow")
        self.write(self.name, under_way)
        self.follow()
        other = Trace(4712).request("http://s/other")
        whole = Trace().served("/cache/1.xml").records + other.records + Trace().failed("http://s/next").records
        self.append(whole[:-20])
        self.expect("#2    0042  fresh copy     http://s/slow")
        self.append(whole[-20:])
        self.expect("http://s/slow", "#3    0042  failed         http://s/next")
        self.append(Trace(4712).served("/cache/2.xml").records.removesuffix("\n"))
        self.expect("http://s/slow", "http://s/next")
        self.append("\n")
        self.expect("http://s/slow", "http://s/next", "#4    0042  fresh copy     http://s/other")
        self.assertIn(f"{native(self.path(self.name))}, lines 15 to 22, thread 4711", "\n".join(self.lines))

    def test_filters_and_since(self):
        trace = Trace(7, seconds=0).failed("http://s/a").wait(60).failed("http://s/b").fresh("http://s/c")
        self.write(self.name, trace)
        self.follow("--since", "10:01", "--failed", "--url", "http", "--json")
        later = Trace(7, seconds=70).fresh("http://s/d").failed("/x").failed("http://s/e")
        self.append(later.text)
        self.expect(*["}"] * 2, within="{")
        calls = [json.loads(line) for line in self.lines]
        self.assertEqual([(call["request"], call["number"], call["schema"]) for call in calls],
                         [("http://s/b", 2, 1), ("http://s/e", 6, 1)])

    def test_a_file_may_come_later_be_renamed_replaced_and_cut(self):
        self.follow()
        self.assertEqual(self.messages[0], f"qelfilecache: note: '{native(self.path(self.name))}' cannot be read yet: "
                                           "No such file or directory; waiting for it")
        self.append(Trace().fresh("http://s/one").request("http://s/lost").text)
        self.expect("http://s/one")
        os.rename(self.path(self.name), self.path("old.trc"))
        with open(self.path("old.trc"), "a", encoding="utf-8") as file:
            file.write(Trace(4712).fresh("http://s/two").records)
        self.expect("http://s/one", "http://s/two")
        self.append(Trace().fresh("http://s/three").text)
        self.expect("http://s/one", "http://s/two", "cut off        http://s/lost", "http://s/three")
        self.append(Trace().fresh("/4").text, mode="w")
        self.expect("http://s/one", "http://s/two", "cut off        http://s/lost", "http://s/three", "/4")
        os.remove(self.path(self.name))
        self.append(Trace().failed("/5").text)
        self.expect("http://s/one", "http://s/two", "cut off        http://s/lost", "http://s/three", "/4", "/5")
        self.assertIn(", lines 7 to 14, thread 4711", self.lines[-1])

    def test_messages_of_lower_levels_are_shown_whole(self):
        self.write(self.name, Trace(level="Error "))
        self.follow()
        self.append("***ERROR***: TID: 7, QEL::FrontEnd::FileCache::CFileCache::Clear[0x1]/8: one\n")
        self.append("two\n")
        self.expect("line 7: error in Clear: one two", within="line")
        self.append(Trace(7).error("Clear", "three").records)
        self.expect("line 7: error in Clear: one two", "line 9: error in Clear: three", within="line")

    def test_what_cannot_be_followed(self):
        file = self.write("a.trc", Trace())
        page = native(self.path("page.html"))
        for arguments, message in ((["-"], "--follow needs the names of trace files, not '-'"),
                                   ([native(self.folder)], f"not '{native(self.folder)}'"),
                                   (["--summary", file], "leave out --summary"),
                                   (["--html", page, file], "leave out --html"),
                                   (["--since", "x", file], "--since: needs a time")):
            self.assertEqual(self.run_tool("--follow", *arguments), "")
            self.assertEqual(self.status, 2)
            self.assertIn(message, self.err)
        self.write(self.name, b"no trace\n")
        self.follow()
        self.assertIn("this is not a trace", self.messages[0])

    def test_it_rests_and_ends_well(self):
        self.write(self.name, Trace().request("/x"))
        for end in (signal.SIGINT,) if IS_WINDOWS else (signal.SIGINT, signal.SIGTERM):
            tool = self.follow()

            def seconds_of_work(process=tool.pid):
                with open(f"/proc/{process}/stat", encoding="utf-8") as file:
                    return sum(map(int, file.read().rsplit(")", 1)[1].split()[11:13])) / os.sysconf("SC_CLK_TCK")
            before = seconds_of_work()
            time.sleep(2)
            self.assertLess(seconds_of_work() - before, 0.5, "it waits without work")
            tool.send_signal(end)
            self.assertEqual(tool.wait(10), 0, end)
        if IS_WINDOWS:
            return  # which says only with the next line that nobody reads any more
        reading, writing = os.pipe()
        tool = subprocess.Popen([TOOL, "trace", "--follow", self.path(self.name)], stdout=writing)
        os.close(writing)
        time.sleep(0.7)
        os.close(reading)
        self.assertEqual(tool.wait(10), 0)


unittest.main(argv=sys.argv[:1], verbosity=2)
