#!/usr/bin/env python3
"""Runs a command while web servers run on the loopback interface.

    with_http_servers.py [--hostile PROGRAM] COMMAND ARGUMENT...

The command finds the servers in its environment: QEL_TEST_HTTP is the address of a plain one, such as
"http://127.0.0.1:40321"; QEL_TEST_HTTPS_TRUSTED, _WRONG_NAME, _EXPIRED, _WRONG_USAGE (for clients alone) and
_UNKNOWN_CA have a certificate with that fault. QEL_TEST_CA is the path of the test authority's own (DER).
QEL_TEST_FILES is a directory whose files the servers hand out at their root; each request appends its method and path
to the file that QEL_TEST_REQUESTS names. With --hostile, PROGRAM runs the hostile servers, and
QEL_TEST_HOSTILE_SERVERS names the file with its list of them. The exit status is the command's.
"""

import contextlib
import email.utils
import http.server
import os
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

SILENCE_SECONDS = 60  # no client waits as long
LAST_MODIFIED = "Wed, 21 Oct 2015 07:28:00 GMT"
FIXED = {  # by the first part of the path
    "landscape": (200, {"Content-Type": "text/xml; charset=utf-8", "Last-Modified": LAST_MODIFIED},
                  b"first line\nsecond line\n\0behind a NUL\xff\xfe"),
    "empty": (200, {"Content-Type": "text/plain"}),
    "chunked": (200, {"Transfer-Encoding": "chunked"}, b"5\r\nhello\r\n6\r\n world\r\n0\r\n\r\n"),
    "short": (200, {"Content-Length": "100"}, b"ten bytes."),
    "silent-body": (200, {"Content-Length": "100"}, b"ten bytes."),
    "control-characters": (200, {"Last-Modified": "\x01a\x1a\x0bb\x7f"}, b"<file/>"),
    "long-header": (200, {"Last-Modified": "long " * 200 + "end"}),
}


class Responses(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True  # headers and body are two writes: the second would wait for the client
    requests_for_count = 0
    revocation_list = b""
    files = ""
    request_log = ""

    def log_message(self, *_):
        pass

    def respond(self, status, headers, body=b""):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, value)
        if "Content-Length" not in headers and "Transfer-Encoding" not in headers:
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def respond_with_file(self, name):
        path = os.path.join(Responses.files, name)
        try:
            with open(path, "rb") as file:
                content = file.read()
        except OSError:
            self.respond(404, {"Content-Type": "text/html"}, b"<html>not found</html>")
            return
        content_type = {".xml": "application/xml", ".txt": "text/plain"}.get(os.path.splitext(name)[1])
        headers = {"Content-Type": content_type} if content_type else {}
        headers["Last-Modified"] = email.utils.formatdate(os.stat(path).st_mtime, usegmt=True)
        self.respond(200, headers, content)

    def do_GET(self):
        with open(Responses.request_log, "a", encoding="ascii") as log:
            log.write(f"{self.command} {self.path}\n")
        url = urllib.parse.urlsplit(self.path)
        parts = url.path.strip("/").split("/")
        kind, number = parts[0], int(parts[1]) if len(parts) > 1 and parts[1].isdigit() else 0
        if kind in FIXED:
            self.respond(*FIXED[kind])
            if kind.startswith("silent"):
                self.wfile.flush()
                time.sleep(SILENCE_SECONDS)
            self.close_connection = kind in ("short", "silent-body")
        elif kind == "silent":
            time.sleep(SILENCE_SECONDS)
            self.close_connection = True
        elif kind == "garbage":
            self.wfile.write(b"This is no HTTP.")
            self.close_connection = True
        elif kind == "status":
            self.respond(number, {"Content-Type": "text/plain"}, b"" if number == 304 else b"no such thing")
        elif kind == "count":
            # A cache would be allowed to keep this response.
            Responses.requests_for_count += 1
            headers = {"Cache-Control": "max-age=3600", "Last-Modified": LAST_MODIFIED,
                       "Set-Cookie": "visited=yes; Path=/"}
            self.respond(200, headers, str(Responses.requests_for_count).encode())
        elif kind == "request-headers":
            self.respond(200, {}, str(self.headers).encode())
        elif kind == "method":
            self.respond(200, {"X-Method": self.command}, self.command.encode())
        elif kind == "revocation-list":
            self.respond(200, {"Content-Type": "application/pkix-crl"}, Responses.revocation_list)
        elif kind == "redirects":
            self.respond(*(302, {"Location": f"/redirects/{number - 1}"}) if number > 0 else (200, {}, b"arrived"))
        elif kind == "redirect-to":
            self.respond(number, {"Location": urllib.parse.unquote(url.query)})
        else:
            self.respond_with_file(parts[-1])

    do_HEAD = do_GET


def serve(certificate=None):
    """Starts a server on a free port; returns its port."""
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Responses)
    server.daemon_threads = True
    if certificate:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate + ".pem", certificate + ".key")
        # The handshake belongs to the connection's own thread.
        server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    server.handle_error = lambda *_: None
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server.server_address[1]


def openssl(*arguments):
    subprocess.run(["openssl", *arguments], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def make_authority(path):
    openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN=QEL test authority {os.getpid()}",
            "-days", "30", "-keyout", path + ".key", "-out", path + ".pem")
    openssl("x509", "-in", path + ".pem", "-outform", "DER", "-out", path + ".der")

    # Windows asks for the authority's list of revoked certificates; this one is empty.
    with open(path + ".index", "w", encoding="ascii"):
        pass
    with open(path + ".cnf", "w", encoding="ascii") as configuration:
        configuration.write(f"[ca]\ndefault_ca=test\n[test]\ndatabase={path}.index\ndefault_md=sha256\n"
                            "default_crl_days=30\n")
    openssl("ca", "-gencrl", "-config", path + ".cnf", "-cert", path + ".pem", "-keyfile", path + ".key",
            "-out", path + ".crl.pem")
    openssl("crl", "-in", path + ".crl.pem", "-outform", "DER", "-out", path + ".crl")


def make_certificate(path, authority, host, days, usage, revocation_list_url):
    """Makes a certificate; one of negative days has expired."""
    with open(path + ".ext", "w", encoding="ascii") as extensions:
        extensions.write(f"subjectAltName=DNS:{host}\nextendedKeyUsage={usage}\n"
                         f"crlDistributionPoints=URI:{revocation_list_url}\n")
    openssl("req", "-new", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={host}", "-keyout", path + ".key",
            "-out", path + ".csr")
    openssl("x509", "-req", "-in", path + ".csr", "-CA", authority + ".pem", "-CAkey", authority + ".key",
            "-CAcreateserial", "-days", str(days), "-extfile", path + ".ext", "-out", path + ".pem")


@contextlib.contextmanager
def web_servers():
    """Runs the servers; gives the variables by which a process finds them."""
    http_server = f"http://127.0.0.1:{serve()}"
    environment = {"QEL_TEST_HTTP": http_server}
    with tempfile.TemporaryDirectory() as directory:
        Responses.files = os.path.join(directory, "files")
        os.mkdir(Responses.files)
        Responses.request_log = os.path.join(directory, "requests")
        environment["QEL_TEST_FILES"] = Responses.files
        environment["QEL_TEST_REQUESTS"] = Responses.request_log
        authority = os.path.join(directory, "authority")
        unknown_authority = os.path.join(directory, "unknown")
        make_authority(authority)
        make_authority(unknown_authority)
        with open(authority + ".crl", "rb") as revocation_list:
            Responses.revocation_list = revocation_list.read()
        environment["QEL_TEST_CA"] = authority + ".der"
        for kind, signer, host, days, usage in (("TRUSTED", authority, "localhost", 30, "serverAuth"),
                                                ("WRONG_NAME", authority, "elsewhere.example", 30, "serverAuth"),
                                                ("EXPIRED", authority, "localhost", -1, "serverAuth"),
                                                ("WRONG_USAGE", authority, "localhost", 30, "clientAuth"),
                                                ("UNKNOWN_CA", unknown_authority, "localhost", 30, "serverAuth")):
            certificate = os.path.join(directory, kind)
            make_certificate(certificate, signer, host, days, usage, http_server + "/revocation-list")
            environment["QEL_TEST_HTTPS_" + kind] = f"https://localhost:{serve(certificate)}"
        yield environment


@contextlib.contextmanager
def hostile_servers(program):
    """Runs the servers that another program is; gives the variable that names their list."""
    with tempfile.NamedTemporaryFile() as sites, \
            subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as servers:
        for line in iter(servers.stdout.readline, b"\n"):
            if not line:
                raise RuntimeError(f"{program} has ended")
            sites.write(line)
        sites.flush()
        yield {"QEL_TEST_HOSTILE_SERVERS": sites.name}
        servers.stdin.close()  # they serve until their input ends


def main():
    arguments = sys.argv[1:]
    with web_servers() as environment, contextlib.ExitStack() as stack:
        if arguments[0] == "--hostile":
            environment.update(stack.enter_context(hostile_servers(arguments[1])))
            arguments = arguments[2:]
        return subprocess.run(arguments, env=dict(os.environ, **environment), check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
