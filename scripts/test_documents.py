#!/usr/bin/env python3
"""Tests the documents: does what they show work, and does what they point at exist?

    test_documents.py              everything but what needs Windows
    test_documents.py --windows    what needs the Windows build and Wine
    test_documents.py --self-test  plants errors in documents of its own and expects each reported

In README.md, CONTRIBUTING.md, CHANGELOG.md and docs/:

  ```sh      commands. The blocks of a document run one after the other in one shell that stops at the first failure.
             A comment <!-- exit status N --> before a block announces that its last command ends so.
  ```bat     commands for Windows, run under Wine one by one.
  ```cpp ```c ```cmake ```ini    compiled, or compared with the example that they show.
  ```nginx ```apache ```ini      of docs/publishing.md: a server that is configured with them is asked for files.
  ```        anything but commands.

The program and the library are those of the preset "linux", installed into a directory of the test's own, with a home of
its own. Names of web servers that end in ".example" are answered by a server of the test: it has every file.
"""

import argparse
import contextlib
import functools
import getpass
import http.server
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Documents about the source tree itself: their commands run there. All others run in a directory of their own.
IN_SOURCE_TREE = {"README.md", "CONTRIBUTING.md", "docs/windows.md"}
# Their commands need the Windows build.
WINDOWS_DOCUMENTS = {"docs/windows.md"}

# Lines that are shown and not run, and why. One that no document shows any more is an error.
NOT_RUN = {
    "./test.sh": "it is what runs this test",
    "sudo apt-get install ./build/packages/": "it changes the machine; scripts/test_packages.sh unpacks the same files",
}

# A document's port, for which a free one is taken, and the place of an installed package.
PORT = "8008"
INSTALLED = "/usr/share/doc/"

# A reader's "sleep 1" behind a server that starts is too short on a busy machine: it lasts until the server answers.
SLEEP = f"""
sleep() {{
    local attempt
    for attempt in $(seq 200); do
        (exec 3<>/dev/tcp/127.0.0.1/{PORT}) 2>/dev/null && return
        command sleep 0.1
    done
}}
"""

FENCE = re.compile(r"^(?P<indent> *)```(?P<kind>\w*)\n(?P<text>.*?)^(?P=indent)```[ \t]*$", re.MULTILINE | re.DOTALL)
EXIT_STATUS = re.compile(r"<!-- exit status (\d+) -->\s*\Z")
LINK = re.compile(r"(?<!!)\[[^\]]*\]\(([^)\s]+)\)|!\[[^\]]*\]\(([^)\s]+)\)")
LOOKS_LIKE_COMMAND = re.compile(
    r"^(\$ |\./|sudo |apt(-get)? |cmake |ctest |cmake/|scripts/|build/|python3 |qelfilecache |reg add )", re.MULTILINE)


def documents(root):
    """Path below the root, and text."""
    for path in [root / name for name in ("README.md", "CONTRIBUTING.md", "CHANGELOG.md")] + sorted(root.glob("docs/*.md")):
        if path.exists():
            yield path.relative_to(root).as_posix(), path.read_text(encoding="utf-8")


def line_of(text, offset):
    return text.count("\n", 0, offset) + 1


# Links


def anchors(text):
    """The anchors of a document's headings, as web pages make them of headings."""
    headings = re.findall(r"^#+ (.*)$", FENCE.sub("", text), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in headings}


def check_links(root, name, text):
    for match in LINK.finditer(FENCE.sub(lambda fence: "\n" * fence.group(0).count("\n"), text)):
        target = match.group(1) or match.group(2)
        if re.match(r"[a-z]+:", target):
            continue
        path, _, anchor = target.partition("#")
        file = (root / name).parent / path if path else root / name
        if not file.exists():
            yield f"{name}: the link '{target}' leads nowhere"
        elif anchor and anchor not in anchors(file.read_text(encoding="utf-8")):
            yield f"{name}: '{target}' names a heading that is not there"


# Blocks


def check_fences(name, text):
    for fence in FENCE.finditer(text):
        command = None if fence.group("kind") else LOOKS_LIKE_COMMAND.search(fence.group("text"))
        if command:
            line = line_of(text, fence.start("text") + command.start())
            yield f"{name}:{line}: a command outside of a sh or bat block is not tested"


def blocks(text, kind):
    for fence in FENCE.finditer(text):
        if fence.group("kind") == kind:
            yield line_of(text, fence.start()), fence


def shell_script(name, text, not_run):
    """One script of all sh blocks, which names each before it runs; empty when there is none."""
    lines = []
    for line, fence in blocks(text, "sh"):
        announced = EXIT_STATUS.search(text[:fence.start()])
        commands = []
        for command in fence.group("text").splitlines():
            excluded = [start for start in NOT_RUN if command.startswith(start)]
            not_run.update(excluded)
            commands.append("# not run" if excluded else command)
        lines.append(f"printf '%s\\n' '--- {name}:{line}'")
        if announced:
            lines += ["set +e", *commands, f"[ $? -eq {announced.group(1)} ] || exit 97", "set -e"]
        else:
            lines += commands
    return "\n".join(["set -euo pipefail", *lines, ""]) if lines else ""


def run_shell_blocks(sandbox, root, name, text, not_run):
    script = shell_script(name, text, not_run)
    if not script:
        return
    if PORT in script:
        script = SLEEP + script
    script = script.replace(PORT, str(free_port())).replace(INSTALLED, f"{sandbox.installation}/share/doc/")
    directory = root if name in IN_SOURCE_TREE else sandbox.directory_for(name)
    environment = dict(sandbox.environment, HOME=str(sandbox.directory_for("home of " + name)))
    process = subprocess.Popen(["bash", "-c", script], cwd=directory, env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True)
    try:
        output, _ = process.communicate(timeout=600)
    except subprocess.TimeoutExpired:
        output = "the commands do not end\n"
    finally:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()
    print(output, end="")
    if process.returncode != 0:
        shown = re.findall(r"^--- (.*)$", output, re.MULTILINE)
        yield f"{shown[-1] if shown else name}: a command of this block failed with status {process.returncode}"


def run_batch_blocks(root, name, text, environment):
    for line, fence in blocks(text, "bat"):
        for command in filter(None, fence.group("text").splitlines()):
            result = subprocess.run([root / "cmake" / "wine-runner.sh", "cmd", "/c", command], env=environment,
                                    stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace",
                                    timeout=300, check=False)
            print(f"--- {name}:{line}: {command}\n{result.stdout}{result.stderr}", end="")
            if result.returncode != 0:
                yield f"{name}:{line}: status {result.returncode}: {command}"


def compile_blocks(sandbox, name, text):
    for kind, compiler in (("cpp", ["c++", "-std=c++17", "-x", "c++"]), ("c", ["cc", "-std=c99", "-x", "c"])):
        for line, fence in blocks(text, kind):
            result = subprocess.run([*compiler, "-Wall", "-Wextra", "-Werror", "-fsyntax-only",
                                     "-I", str(sandbox.installation / "include" / "qelfilecache"), "-"],
                                    input=fence.group("text"), text=True, capture_output=True, check=False)
            if result.returncode != 0:
                yield f"{name}:{line}: does not compile:\n{result.stderr}"
    for line, fence in blocks(text, "cmake"):
        example = (ROOT / "examples" / "host" / "CMakeLists.txt").read_text(encoding="utf-8")
        for command in fence.group("text").splitlines():
            if command.replace("my_host", "example_host") not in example.splitlines():
                yield f"{name}:{line}: not as in examples/host/CMakeLists.txt: {command}"


# The configuration


def check_configuration(root):
    """The example is what the page shows, and page, example and product know the same values."""
    page = (root / "docs" / "configuration.md").read_text(encoding="utf-8")
    example = (root / "docs" / "examples" / "qel.ini").read_text(encoding="utf-8")
    if [fence.group("text") for _, fence in blocks(page, "ini")] != [example]:
        yield "docs/configuration.md does not show docs/examples/qel.ini as it is"
    in_tables = set(re.findall(r"^\| `(\w+)` \|", page, re.MULTILINE))
    in_example = set(re.findall(r"^(?:; )?(\w+) *=", example, re.MULTILINE))
    for value in sorted(in_tables ^ in_example):
        yield f"'{value}' is in one of docs/configuration.md and docs/examples/qel.ini only"
    sources = "".join(path.read_text(encoding="utf-8") for folder in ("filecache", "platform", "util", "trace")
                      for path in sorted((root / folder).rglob("*")) if path.suffix in {".cpp", ".h"})
    for value in sorted(in_tables):
        if f'"{value}"' not in sources:
            yield f"the product knows no value '{value}'"


def check_example_is_read(sandbox):
    """With the example, a copy is served unasked for an hour, and nothing is wrong with it."""
    environment = dict(sandbox.environment, XDG_CONFIG_HOME=str(sandbox.directory / "example"))
    (sandbox.directory / "example" / "qel").mkdir(parents=True)
    configured = sandbox.directory / "example" / "qel" / "qel.ini"
    cache = sandbox.directory_for("example-cache")
    command = ["qelfilecache", "--cache-dir", str(cache), "get", "http://server.example/asked-once.xml"]
    counts = []
    for configuration in ("", (ROOT / "docs" / "examples" / "qel.ini").read_text(encoding="utf-8")):
        configured.write_text(configuration, encoding="utf-8")
        Every_File.asked.clear()
        for _ in range(2):
            result = subprocess.run(command, env=environment, check=True, capture_output=True, text=True)
            if result.stderr:
                yield f"docs/examples/qel.ini: the program says: {result.stderr}"
        counts.append(len(Every_File.asked))
    if counts != [2, 0]:
        yield f"docs/examples/qel.ini: servers were asked {counts[0]} times without it and {counts[1]} times with it"


def check_known_values(sandbox):
    """The program shows each value of the page's tables, and warns of names and numbers beside them."""
    page = (ROOT / "docs" / "configuration.md").read_text(encoding="utf-8")
    tables = {section: "".join(re.findall(rf"^\| value \| {column} \|.*\n\|[-|]*\n((?:\|.*\n)+)", page, re.MULTILINE))
              for section, column in ((r"Software\QEL\QELLogon\Options", "written as"), ("Shares", "meaning"))}
    names = {section: re.findall(r"^\| `(\w+)` \|", rows, re.MULTILINE) for section, rows in tables.items()}
    numbers = re.findall(r"^\| `(\w+)` \|.*?\b(\d+) to (\d+)\b", "".join(tables.values()), re.MULTILINE)
    environment = dict(sandbox.environment, XDG_CONFIG_HOME=str(sandbox.directory / "known"))
    configured = sandbox.directory / "known" / "qel" / "qel.ini"
    configured.parent.mkdir(parents=True)

    def said(change):
        """What the program warns of, with these lines for each name."""
        configured.write_text("".join(f"[{section}]\n" + "".join(map(change, all_names)) for section, all_names in names.items()))
        result = subprocess.run(["qelfilecache", "explain", "--json", "/"], env=environment, check=False, capture_output=True, text=True)
        shown = {setting["name"] for setting in json.loads(result.stdout)[0]["settings"]}
        return shown, re.findall(r"warning: .*", result.stderr)

    shown, warnings = said(lambda name: f"{name}e = 1\n")
    for name in sorted(shown ^ set(names[r"Software\QEL\QELLogon\Options"])):
        yield f"'{name}' is in one of docs/configuration.md and the settings of explain only"
    for name in sum(names.values(), []):
        if not any(f"{name}e is unknown; did you mean {name}?" in warning for warning in warnings):
            yield f"the program does not warn of {name}e: {warnings}"
    if len(numbers) < 5:
        yield f"docs/configuration.md has ranges of these numbers only: {numbers}"
    for name, least, most in numbers:
        for number, is_good in ((least, True), (most, True), (str(int(most) + 1), False), (str(int(least) - 2), False)):
            found = said(lambda each: f"{name} = {number}\n" if each == name else "")[1]
            if is_good != (not found) or found and f"not a number from {least} to {most}" not in found[0]:
                yield f"docs/configuration.md: {name} = {number}: the program says {found}"


# Answers for programs


def names_within(answer):
    """The names of all fields below the objects of an answer."""
    if isinstance(answer, list):
        return {name for element in answer for name in names_within(element)}
    if isinstance(answer, dict):
        return set(answer) | names_within(list(answer.values()))
    return set()


def check_json_fields(sandbox):
    """Each table of docs/administration.md has a row for every field, and names the fields within it; all have a schema."""
    page = (ROOT / "docs" / "administration.md").read_text(encoding="utf-8")
    cache = str(sandbox.directory_for("json-cache"))
    url = "http://server.example/fields.xml"
    for command in (["get", url], ["list"], ["explain", "--check", url]):
        table = re.search(rf"^\| `{command[0]}` \| \|\n\|---\|---\|\n((?:\|.*\n)+)", page, re.MULTILINE)
        rows = table.group(1) if table else ""
        result = subprocess.run(["qelfilecache", "--cache-dir", cache, command[0], "--json", *command[1:]], check=True,
                                env=sandbox.environment, stdout=subprocess.PIPE)
        answer, = json.loads(result.stdout)
        schema = answer.pop("schema")
        if not re.search(rf"`schema`,\s+now {schema}\.", page):
            yield f"docs/administration.md does not say that the schema of {command[0]} is now {schema}"
        named = re.findall(r"`(\w+)`", "".join(re.findall(r"^\|[^|]*\|", rows, re.MULTILINE)))
        for name in sorted(set(named) ^ set(answer)):
            yield f"docs/administration.md: '{name}' is in one of the table of {command[0]} and its JSON only"
        own = {name: value for name, value in answer.items() if name != "entry"} # its fields are those of list
        for name in sorted(names_within(own) - set(re.findall(r"`(\w+)`", rows))):
            yield f"docs/administration.md: the table of {command[0]} does not name '{name}'"


# Publishing


def ask(environment, command, request):
    """Exit status and JSON of the program, whose cache is its home."""
    result = subprocess.run(["qelfilecache", "--cache-dir", environment["HOME"], *command, "--json", request], env=environment,
                            stdout=subprocess.PIPE, check=False)
    return result.returncode, json.loads(result.stdout)[0]


def check_published(environment, server, request, file):
    """A server as the page shows it: a check finds a copy unchanged, and what is new or missing is seen."""
    for content, stamp in ((b"<first/>", 1000000000), (b"<second/>", 1000000060)):
        file.write_bytes(content)
        os.utime(file, (stamp, stamp))
        _, answer = ask(environment, ["get"], request)
        if answer["download_error"] or pathlib.Path(answer["path"]).read_bytes() != content:
            yield f"docs/publishing.md: a pad does not get {content} from {server}"
        _, answer = ask(environment, ["explain", "--check"], request)
        if answer["expected"] != "unchanged" or answer["remote"]["status"] not in (None, 200):
            yield f"docs/publishing.md: {server}: a check says {answer['expected']}, {answer['remote']}"
    if ask(environment, ["get"], request + "-missing")[0] != 1:
        yield f"docs/publishing.md: {server} has a page in place of a missing file"


@contextlib.contextmanager
def running(command, port, directory):
    process = subprocess.Popen(command, cwd=directory, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               start_new_session=True)
    try:
        for _ in range(200):
            with socket.socket() as probe:
                if process.poll() is not None or probe.connect_ex(("127.0.0.1", port)) == 0:
                    break
            time.sleep(0.1)
        yield
    finally:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()


def check_publishing(sandbox):
    """The servers of docs/publishing.md, its way to equal times, and the figures of bench/fleet.py."""
    page = (ROOT / "docs" / "publishing.md").read_text(encoding="utf-8")
    root = os.geteuid() == 0
    scratch = sandbox.directory_for("publishing")
    for folder in (sandbox.directory, scratch):
        folder.chmod(0o755)  # workers and guests have other users
    files = scratch / "files"
    files.mkdir()
    port, front = free_port(), free_port()
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
                    scratch / "landscape.key", "-out", scratch / "landscape.pem", "-days", "2", "-subj", "/CN=localhost",
                    "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1"], check=True, stderr=subprocess.DEVNULL)

    def adapted(kind, number=0, at=port):
        text = list(blocks(page, kind))[number][1].group("text")
        for old, new in (("/etc/ssl/certs/ca-certificates.crt", f"{scratch}/landscape.pem"), ("/etc/ssl", str(scratch)),
                         ("443", str(at)), ("/srv/landscape", str(files)), ("/var/cache/nginx", str(scratch)),
                         ("origin.example", f"localhost:{port}")):
            text = text.replace(old, new)
        return text

    home = sandbox.directory_for("home of pads")
    environment = dict(sandbox.environment, HOME=str(home), SSL_CERT_FILE=str(scratch / "landscape.pem"))
    log = scratch / "requests.log"
    (scratch / "nginx.conf").write_text(
        ("user root;\n" if root else "") + f"daemon off; pid {scratch}/pid; events {{}}\nhttp {{\naccess_log {log};\n" +
        "".join(f"{area}_temp_path {scratch}/{area};\n" for area in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi")) +
        adapted("nginx") + adapted("nginx", 1, front).replace("server {", "server { access_log off;") + "}\n")
    with running(["nginx", "-p", scratch, "-e", scratch / "error.log", "-c", scratch / "nginx.conf"], port, scratch):
        yield from check_published(environment, "nginx", f"https://127.0.0.1:{port}/a.xml", files / "a.xml")
        known = len(log.read_text().splitlines())
        for _ in range(3):
            answer = ask(environment, ["get"], f"https://127.0.0.1:{front}/a.xml")[1]
            if answer["download_error"]:
                yield f"docs/publishing.md: the cache in front: {answer}"
        if (asked := len(log.read_text().splitlines()) - known) != 1:
            yield f"docs/publishing.md: the cache in front asked {asked} times"

    modules = "/usr/lib/apache2/modules/mod_"
    (scratch / "apache.conf").write_text(
        "".join(f"LoadModule {name}_module {modules}{name}.so\n" for name in ("mpm_event", "authz_core", "mime", "ssl")) +
        ("User www-data\nGroup www-data\n" if root else "") +
        f"TypesConfig /etc/mime.types\nServerName localhost\nListen 127.0.0.1:{port}\nPidFile {scratch}/apache.pid\n"
        f"ErrorLog {scratch}/apache.log\nDefaultRuntimeDir {scratch}\nMutex sem\n" + adapted("apache"))
    with running(["apache2", "-X", "-d", scratch, "-f", scratch / "apache.conf"], port, scratch):
        yield from check_published(environment, "Apache", f"https://127.0.0.1:{port}/b.xml", files / "b.xml")

    folders = "".join(f"{name} = {scratch}\n" for name in ("private dir", "lock directory", "state directory", "cache directory",
                                                           "pid directory", "ncalrpc dir"))
    (scratch / "smb.conf").write_text(
        f"[global]\nsmb ports = {port}\ninterfaces = 127.0.0.1/8\nbind interfaces only = yes\ndisable netbios = yes\n"
        f"disable spoolss = yes\nload printers = no\nrpc start on demand helpers = no\nmap to guest = Bad User\n"
        f"guest account = {'nobody' if root else getpass.getuser()}\nlog file = {scratch}/log.smbd\n" + folders + adapted("ini"))
    (home / ".config" / "qel").mkdir(parents=True)
    (home / ".config" / "qel" / "qel.ini").write_text(f"[Shares]\nPort = {port}\n")
    smbd = ["smbd", "--foreground", "--no-process-group", "-s", scratch / "smb.conf", "-l", scratch]
    with running(smbd, port, scratch):
        yield from check_published(environment, "Samba", r"\\127.0.0.1\landscape\c.xml", files / "c.xml")

    publish = next(blocks(page, "sh"))[1].group("text")
    times = []
    for content in ("<new/>", "<newer/>"):
        script = publish.replace("rsync", f"echo '{content}' >build/new.xml; rsync", 1)
        subprocess.run(["bash", "-ec", script], cwd=scratch, check=True)
        times.append([[(scratch / node / name).stat().st_mtime_ns for node in ("web1", "web2")]
                      for name in ("landscape.xml", "new.xml")])
        time.sleep(0.1)
    (same, new), (same_later, newer) = times
    if same != same_later or new == newer or any(len(set(stamps)) != 1 for stamps in (same, new, newer)):
        yield f"docs/publishing.md: times of an unchanged and a changed file on two nodes: {times}"

    figures = subprocess.run([sys.executable, ROOT / "bench" / "fleet.py"], stdout=subprocess.PIPE, text=True, check=True).stdout
    if f"```\n{figures}```\n" not in page:
        yield f"docs/publishing.md does not quote bench/fleet.py:\n{figures}"


# The sandbox


class Every_File(http.server.BaseHTTPRequestHandler):
    """A proxy for http that has every file of every server."""

    asked = []
    content = b'<?xml version="1.0"?>\n<landscape/>\n'

    def do_GET(self):
        self.asked.append(self.path)
        self.send_response(200)
        self.send_header("Content-Type", "application/xml")
        self.send_header("Content-Length", str(len(self.content)))
        self.send_header("Last-Modified", "Wed, 21 Oct 2015 07:28:00 GMT")
        self.end_headers()
        if self.command == "GET":
            self.wfile.write(self.content)

    do_HEAD = do_GET

    def log_message(self, *_):
        pass


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def configure():
    """What is installed is what the build files of this moment say."""
    subprocess.run(["cmake", "--preset", "linux"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)


class Sandbox:
    """Installation, home, and a directory for each document."""

    def __init__(self, directory):
        self.directory = directory
        self.installation = directory / "installed"
        configure()
        subprocess.run(["cmake", "--install", ROOT / "build" / "linux", "--prefix", self.installation], check=True,
                       stdout=subprocess.DEVNULL)
        library = next(self.installation.rglob("libqelfilecache.so")).parent
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Every_File)
        server.daemon_threads = True
        threading.Thread(target=server.serve_forever, daemon=True).start()
        kept = {name: value for name, value in os.environ.items()
                if name in ("PATH", "LANG", "TERM", "TMPDIR", "CCACHE_DIR", "CCACHE_CONFIGPATH", "QEL_WARNING_AS_ERROR")}
        ccache = pathlib.Path(os.environ.get("HOME", "/"), ".cache", "ccache")
        self.environment = {
            "CCACHE_DIR": str(ccache),
            **kept,
            "HOME": str(directory),
            "PATH": f"{self.installation / 'bin'}:{kept['PATH']}:/usr/sbin:/sbin",
            "CMAKE_PREFIX_PATH": str(self.installation),
            "PKG_CONFIG_PATH": str(library / "pkgconfig"),
            "LD_LIBRARY_PATH": str(library),
            "http_proxy": f"http://127.0.0.1:{server.server_address[1]}",
            "no_proxy": "127.0.0.1,localhost",
        }

    def directory_for(self, name):
        """An empty directory, with the parts of the source tree that documents use."""
        directory = pathlib.Path(tempfile.mkdtemp(prefix=name.replace("/", "-").replace(" ", "-") + ".", dir=self.directory))
        for folder in ("docs", "examples"):
            (directory / folder).symlink_to(ROOT / folder)
        return directory


# The whole


def test_linux(problems):
    not_run = set()
    with tempfile.TemporaryDirectory() as directory:
        sandbox = Sandbox(pathlib.Path(directory))
        problems += check_configuration(ROOT)
        problems += check_example_is_read(sandbox)
        problems += check_known_values(sandbox)
        problems += check_json_fields(sandbox)
        problems += check_publishing(sandbox)
        installed = sandbox.installation / "share" / "doc" / "qelfilecache"
        for name, text in documents(installed):
            problems += [f"as installed, {problem}" for problem in check_links(installed, name, text)]
        for name, text in documents(ROOT):
            problems += check_links(ROOT, name, text)
            problems += check_fences(name, text)
            problems += compile_blocks(sandbox, name, text)
            if name not in WINDOWS_DOCUMENTS:
                problems += run_shell_blocks(sandbox, ROOT, name, text, not_run)
    # run.sh has configured the build without tests; the README traces into the build folder.
    configure()
    for trace in (ROOT / "build").glob("qelfilecache_*.trc"):
        trace.unlink()
    for line, reason in NOT_RUN.items():
        print(f"not run: {line}: {reason}")
        if line not in not_run:
            problems.append(f"no document shows '{line}' any more; drop it from NOT_RUN")


def test_windows(problems):
    with tempfile.TemporaryDirectory() as directory:
        sandbox = Sandbox(pathlib.Path(directory))
        try:
            for name, text in documents(ROOT):
                if name in WINDOWS_DOCUMENTS:
                    problems += run_shell_blocks(sandbox, ROOT, name, text, set())
                problems += run_batch_blocks(ROOT, name, text, sandbox.environment)
        finally:
            # The registry of the prefix is that of other tests, too.
            subprocess.run([ROOT / "cmake" / "wine-runner.sh", "reg", "delete", r"HKCU\Software\QEL", "/f"],
                           env=sandbox.environment, stdin=subprocess.DEVNULL, capture_output=True, check=False)


def self_test(problems):
    good = "# A\n\n## Some heading\n\n[here](#some-heading) [there](docs/b.md#b)\n\n```sh\ntrue\n```\n"
    planted = [
        ("[x](docs/missing.md)\n", "leads nowhere"),
        ("[x](#no-such-heading)\n", "a heading that is not there"),
        ("![x](missing.png)\n", "leads nowhere"),
        ("```\ncmake --preset linux\n```\n", "outside of a sh or bat block"),
        ("```sh\nfalse\ntrue\n```\n", "status 1"),
        ("<!-- exit status 3 -->\n```sh\n(exit 4)\n```\n", "status 97"),
        ("```sh\nno-such-program | cat\n```\n", "status 127"),
    ]

    def problems_of(root, run):
        name, text = next(documents(root))
        found = [*check_links(root, name, text), *check_fences(name, text)]
        return found + list(run(root, name, text, set()))

    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        (root / "docs").mkdir()
        (root / "docs" / "b.md").write_text("# B\n", encoding="utf-8")
        sandbox = Sandbox.__new__(Sandbox)
        sandbox.directory, sandbox.installation = root, root
        sandbox.environment = {"PATH": os.environ["PATH"]}
        run = functools.partial(run_shell_blocks, sandbox)
        (root / "README.md").write_text(good + "<!-- exit status 3 -->\n```sh\n(exit 3)\n```\n", encoding="utf-8")
        problems += [f"reported without cause: {found}" for found in problems_of(root, run)]
        for text, expected in planted:
            (root / "README.md").write_text(good + text, encoding="utf-8")
            found = problems_of(root, run)
            if len(found) != 1 or expected not in found[0]:
                problems.append(f"planted {text!r}, reported: {found}")
    print(f"{len(planted)} planted errors")


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--windows", action="store_true")
    parser.add_argument("--self-test", action="store_true")
    arguments = parser.parse_args()
    problems = []
    if arguments.self_test:
        self_test(problems)
    elif arguments.windows:
        # Whoever ends this test early shall find the registry as it was.
        signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
        test_windows(problems)
    else:
        test_linux(problems)
    for problem in problems:
        print(f"PROBLEM {problem}", file=sys.stderr)
    print(f"documents: {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
