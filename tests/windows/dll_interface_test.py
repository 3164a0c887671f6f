#!/usr/bin/env python3
"""Checks what the DLL exports, and that it and the program need nothing that Windows does not have.

    dll_interface_test.py OBJDUMP DEMANGLER DLL PROGRAM
"""

import lzma
import os
import re
import subprocess
import sys
import unittest

INTERFACE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "platform", "interface")
sys.path.insert(0, INTERFACE)
from public_interface import C_FUNCTIONS, CLASSES, FUNCTIONS, owner

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
    return demangled(re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+[0-9a-f]+\s+)?(\S+)$", table, re.MULTILINE))


def demangled(names):
    found = subprocess.run([DEMANGLER, "--no-strip-underscore"], input="\n".join(names), check=True, capture_output=True, text=True)
    return found.stdout.splitlines()


def exports_of_1_0():
    """What version 1.0 exports on both platforms, as the description of its Linux library says. On Windows a size has another
    type, and the classes' tables are made where they are used."""
    with lzma.open(os.path.join(INTERFACE, "interface_1.0.abi.xz"), "rt", encoding="utf-8") as file:
        names = demangled(re.findall(r"<elf-symbol name='([^']*)'", file.read()))
    return {name.replace("unsigned long", "unsigned long long") for name in names if name.startswith(("QEL::", "qelfilecache_"))}


def needed_libraries(path):
    return {name.lower() for name in re.findall(r"DLL Name: (\S+)", headers(path))}


class Interface(unittest.TestCase):
    def test_exports_the_documented_classes_and_functions_alone(self):
        self.assertEqual({owner(export) for export in exports(DLL)}, CLASSES | FUNCTIONS)

    @unittest.skipIf("i686" in DEMANGLER, "1.0 had no library of 32 bit")
    def test_exports_what_version_1_0_did(self):
        self.assertGreaterEqual(len(exports_of_1_0()), 80)
        self.assertEqual(exports_of_1_0() - set(exports(DLL)), set())

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
        self.assertEqual(needed_libraries(PROGRAM) - SYSTEM_LIBRARIES, {"qelfilecache.dll"})

    def test_stack_and_jumps_are_guarded(self):
        for path in DLL, PROGRAM:
            code = subprocess.run([OBJDUMP, "-dC", path], check=True, capture_output=True, text=True).stdout
            own = [function for function in code.split("\n\n") if re.match(r"\w+ <QEL::", function)]
            for guard in r"\bendbr", "__stack_chk_fail":
                self.assertTrue(any(re.search(guard, function) for function in own), f"no {guard} in {path}")

    def test_the_program_has_a_version_and_a_manifest(self):
        with open(PROGRAM, "rb") as file:
            program = file.read()
        for text in ("OriginalFilename", "qelfilecache.exe"):
            self.assertTrue(f"{text}\0".encode("utf-16-le") in program, text)
        manifest = program[program.find(b"<assembly"):program.find(b"</assembly>")]
        self.assertIn(b"longPathAware", manifest)
        self.assertNotIn(b"activeCodePage", manifest)
        self.assertRegex(headers(PROGRAM), r"ID: 0x0*18\b")


unittest.main(argv=sys.argv[:1])
