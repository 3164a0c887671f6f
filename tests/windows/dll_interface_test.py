#!/usr/bin/env python3
"""Checks what the DLL exports, and that it and the program need nothing that Windows does not have.

    dll_interface_test.py OBJDUMP DEMANGLER DLL PROGRAM
"""

import os
import re
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "platform", "interface"))
from public_interface import C_FUNCTIONS, CLASSES, FUNCTIONS, NEEDED, owner, plain_name

OBJDUMP, DEMANGLER, DLL, PROGRAM = sys.argv[1:5]

SYSTEM_LIBRARIES = {
    "advapi32.dll", "crypt32.dll", "iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll",
    "rpcrt4.dll", "shlwapi.dll", "user32.dll", "winhttp.dll", "wininet.dll",
}


def headers(path):
    return subprocess.run([OBJDUMP, "-p", path], check=True, capture_output=True, text=True).stdout


def exports(path):
    """The demangled names of the export table."""
    table = headers(path).split("[Ordinal/Name Pointer] Table")[1].split("\n\n")[0]
    names = re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+[0-9a-f]+\s+)?(\S+)$", table, re.MULTILINE)
    demangled = subprocess.run([DEMANGLER], input="\n".join(names), check=True, capture_output=True, text=True)
    return demangled.stdout.splitlines()


def needed_libraries(path):
    return {name.lower() for name in re.findall(r"DLL Name: (\S+)", headers(path))}


class Interface(unittest.TestCase):
    def test_exports_the_documented_classes_and_functions_alone(self):
        self.assertEqual({owner(export) for export in exports(DLL)}, CLASSES | FUNCTIONS)

    def test_exports_what_a_host_needs(self):
        self.assertEqual(NEEDED - {plain_name(export) for export in exports(DLL)}, set())

    def test_exports_the_c_functions_undecorated(self):
        self.assertLessEqual(C_FUNCTIONS, set(exports(DLL)))

    def test_lists_the_c_functions_for_other_linkers(self):
        here = os.path.dirname(os.path.abspath(__file__))
        with open(os.path.join(here, "..", "..", "filecache", "c", "qelfilecache_c.def"), encoding="ascii") as file:
            library, listed = file.read().split("EXPORTS")
        self.assertIn("LIBRARY " + os.path.basename(DLL), library)
        self.assertEqual(set(listed.split()), C_FUNCTIONS)

    def test_needs_no_library_that_windows_lacks(self):
        self.assertLessEqual(needed_libraries(DLL), SYSTEM_LIBRARIES)
        self.assertLessEqual(needed_libraries(PROGRAM), SYSTEM_LIBRARIES | {os.path.basename(DLL)})

    def test_bears_its_name(self):
        self.assertEqual(os.path.basename(DLL), "qelfilecache.dll")
        self.assertIn("qelfilecache.dll", needed_libraries(PROGRAM))


unittest.main(argv=sys.argv[:1])
