#!/usr/bin/env python3
"""The C interface from another language, with a web server that counts what it is asked.

    ctypes_test.py LIBRARY
"""

import concurrent.futures
import ctypes
import http.server
import os
import sys
import tempfile
import threading
import unittest

LIBRARY = ctypes.CDLL(sys.argv[1])
Size = ctypes.c_size_t
Int_Pointer = ctypes.POINTER(ctypes.c_int)

LIBRARY.qelfilecache_open.argtypes = [ctypes.POINTER(ctypes.c_void_p)]
LIBRARY.qelfilecache_close.argtypes = [ctypes.c_void_p]
LIBRARY.qelfilecache_close.restype = None
LIBRARY.qelfilecache_set_directory.argtypes = [ctypes.c_void_p, ctypes.c_char_p]
LIBRARY.qelfilecache_get.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p, Size,
                                     ctypes.POINTER(Size), Int_Pointer, Int_Pointer, Int_Pointer]
LIBRARY.qelfilecache_clear.argtypes = [ctypes.c_void_p]
LIBRARY.qelfilecache_purge.argtypes = [ctypes.c_void_p]
LIBRARY.qelfilecache_set_trace_level.argtypes = [ctypes.c_int]
for name in ("last_path", "error_info", "message_separator"):
    function = getattr(LIBRARY, "qelfilecache_" + name)
    function.argtypes = [ctypes.c_void_p, ctypes.c_char_p, Size, ctypes.POINTER(Size)]

OK, REFUSED, NO_FILE, TOO_SMALL, BAD_ARGUMENT, NOT_ASKED = 0, 1, 2, 3, -1, -1
CONTENT = b"<landscape/>"


class Server(http.server.BaseHTTPRequestHandler):
    asked = []

    def do_GET(self):
        self.asked.append(self.command)
        self.send_response(200)
        self.send_header("Content-Type", "text/xml")
        self.send_header("Content-Length", str(len(CONTENT)))
        self.send_header("Last-Modified", "Wed, 21 Oct 2015 07:28:00 GMT")
        self.end_headers()
        if self.command == "GET":
            self.wfile.write(CONTENT)

    do_HEAD = do_GET

    def log_message(self, *_):
        pass


class From_Another_Language(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Server)
        cls.server.daemon_threads = True
        threading.Thread(target=cls.server.serve_forever, daemon=True).start()
        cls.url = f"http://127.0.0.1:{cls.server.server_address[1]}/landscape.xml".encode()

    @classmethod
    def tearDownClass(cls):
        cls.server.shutdown()
        cls.server.server_close()

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name.encode()
        self.cache = ctypes.c_void_p()
        self.assertEqual(LIBRARY.qelfilecache_open(ctypes.byref(self.cache)), OK)
        self.addCleanup(LIBRARY.qelfilecache_close, self.cache)
        self.assertEqual(LIBRARY.qelfilecache_set_directory(self.cache, self.directory), OK)
        Server.asked.clear()

    def get(self, request, size=512):
        """Code, path, needed size and the three outcomes."""
        path = ctypes.create_string_buffer(b"#" * (size + 8), size + 8)
        needed = Size()
        outcomes = [ctypes.c_int(99) for _ in range(3)]
        code = LIBRARY.qelfilecache_get(self.cache, request, 213, path, size, ctypes.byref(needed),
                                        *(ctypes.byref(outcome) for outcome in outcomes))
        self.assertEqual(path.raw[size:], b"#" * 8, "the buffer was overrun")
        return code, path.value if size else b"", needed.value, [outcome.value for outcome in outcomes]

    def text(self, function):
        needed = Size()
        self.assertIn(function(self.cache, None, 0, ctypes.byref(needed)), (NO_FILE, TOO_SMALL))
        text = ctypes.create_string_buffer(needed.value)
        return function(self.cache, text, needed.value, None), text.value

    def test_fetches_a_file(self):
        code, path, needed, outcomes = self.get(self.url)
        self.assertEqual(code, OK)
        self.assertEqual(os.path.dirname(path), self.directory)
        self.assertEqual(needed, len(path) + 1)
        self.assertEqual(outcomes, [0, 0, NOT_ASKED])
        with open(path, "rb") as copy:
            self.assertEqual(copy.read(), CONTENT)

    def test_says_why_there_is_no_file(self):
        code, path, needed, outcomes = self.get(b"http://127.0.0.1:1/landscape.xml")
        self.assertEqual((code, path, needed, outcomes), (NO_FILE, b"", 1, [1, 2, NOT_ASKED]))
        code, text = self.text(LIBRARY.qelfilecache_error_info)
        self.assertEqual(code, OK)
        self.assertIn(b"http://127.0.0.1:1/landscape.xml", text)
        self.assertTrue(text.startswith(self.text(LIBRARY.qelfilecache_message_separator)[1]))

    def test_traces_on_demand(self):
        os.environ["QEL_TRACE_DIR"] = self.directory.decode()
        self.assertEqual(LIBRARY.qelfilecache_set_trace_level(4), OK)
        self.get(self.url)
        self.assertEqual(LIBRARY.qelfilecache_set_trace_level(0), OK)
        trace = os.path.join(self.directory.decode(), f"qelfilecache_{os.getpid():04}.trc")
        with open(trace, "rb") as file:
            self.assertIn(self.url, file.read())

    def test_serves_threads_with_handles_of_their_own(self):
        def request(_):
            handle = ctypes.c_void_p()
            LIBRARY.qelfilecache_open(ctypes.byref(handle))
            path = ctypes.create_string_buffer(512)
            paths = [path.value for _ in range(5)
                     if LIBRARY.qelfilecache_get(handle, self.url, 213, path, 512, None, None, None, None) == OK]
            LIBRARY.qelfilecache_close(handle)
            return paths

        with concurrent.futures.ThreadPoolExecutor(4) as threads:
            paths = sum(threads.map(request, range(4)), [])
        self.assertEqual(len(paths), 20)
        self.assertEqual(len(set(paths)), 1)


unittest.main(argv=sys.argv[:1])
