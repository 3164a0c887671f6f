#!/usr/bin/env python3
"""Checks what the shared library exports, under which name, and what it needs of others.

    shared_object_test.py NM READELF LIBRARY VERSION
"""

import os
import re
import subprocess
import sys
import unittest

from public_interface import CLASSES, FUNCTIONS, owner

NM, READELF, LIBRARY, VERSION = sys.argv[1:5]


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exports():
    """Demangled. What the standard library's templates leave in every library is no part of the interface."""
    names = []
    for line in output(NM, "--dynamic", "--defined-only", "--demangle", LIBRARY).splitlines():
        kind, name = line.split(maxsplit=2)[1:]
        if not (kind in "WVu" and re.match(r"((typeinfo|typeinfo name|vtable|guard variable) for )?.*\bstd::", name)
                and owner(name) not in CLASSES):
            names.append(name)
    return names


def dynamic(kind):
    return re.findall(rf"\({kind}\).*\[(.*)\]", output(READELF, "--dynamic", "--wide", LIBRARY))


class Interface(unittest.TestCase):
    def test_exports_the_documented_classes_and_functions_alone(self):
        self.assertEqual({owner(export) for export in exports()}, CLASSES | FUNCTIONS)

    def test_bears_the_version_of_its_interface(self):
        self.assertEqual(dynamic("SONAME"), [f"libqelfilecache.so.{VERSION.split('.')[0]}"])
        self.assertEqual(os.path.basename(os.path.realpath(LIBRARY)), f"libqelfilecache.so.{VERSION}")

    def test_loads_no_samba_into_the_host(self):
        needed = dynamic("NEEDED")
        self.assertIn("libcurl.so.4", needed)
        self.assertEqual([name for name in needed if "smb" in name], [])


unittest.main(argv=sys.argv[:1])
