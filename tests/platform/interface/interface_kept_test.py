#!/usr/bin/env python3
"""Compares the shared library with the description of version 1.0: a host built with that must still run.

    interface_kept_test.py ABIDIFF LIBRARY PUBLIC_HEADER...

The description is what abidw says of the library of that version:
    abidw --exported-interfaces-only --drop-private-types --headers-dir INSTALLED_HEADERS --no-corpus-path
          --no-show-locs --no-comp-dir-path --no-elf-needed --no-write-default-sizes --no-parameter-names LIBRARY
"""

import lzma
import os
import subprocess
import sys
import tempfile
import unittest

ABIDIFF, LIBRARY, *HEADERS = sys.argv[1:]
DESCRIPTION = os.path.join(os.path.dirname(os.path.abspath(__file__)), "interface_1.0.abi.xz")


def changes(description):
    """What abidiff says of the way from a description to the library, additions left out."""
    with tempfile.NamedTemporaryFile("w", suffix=".abi", encoding="utf-8") as file:
        file.write(description)
        file.flush()
        headers = [word for header in HEADERS for word in ("--header-file2", header)]
        found = subprocess.run([ABIDIFF, "--exported-interfaces-only", "--drop-private-types", "--no-added-syms", *headers,
                                file.name, LIBRARY], capture_output=True, text=True)
    return found.returncode, found.stdout + found.stderr


class Interface(unittest.TestCase):
    def setUp(self):
        with lzma.open(DESCRIPTION, "rt", encoding="utf-8") as file:
            self.description = file.read()

    def test_is_the_one_of_version_1_0_or_more(self):
        self.assertEqual(changes(self.description)[0], 0, changes(self.description)[1])

    def test_misses_what_is_gone(self):
        gone = self.description.replace("qelfilecache_purge", "qelfilecache_gone")
        status, said = changes(gone)
        self.assertNotEqual(status, 0)
        self.assertIn("qelfilecache_gone", said)


unittest.main(argv=sys.argv[:1])
