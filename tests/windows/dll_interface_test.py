#!/usr/bin/env python3
"""Checks what the DLL exports, and that it and the program need nothing that Windows does not have.

    dll_interface_test.py OBJDUMP DEMANGLER DLL PROGRAM
"""

import os
import re
import subprocess
import sys
import unittest

OBJDUMP, DEMANGLER, DLL, PROGRAM = sys.argv[1:5]

FILE_CACHE = "QEL::FrontEnd::FileCache::"
CLASSES = {FILE_CACHE + "CFileCache", FILE_CACHE + "IFileCache", FILE_CACHE + "Cache_Inspection",
           "QEL::FrontEnd::OSWRAPI::IOSWrapper"}
FUNCTIONS = {FILE_CACHE + "Set_Trace_Level"}

# What a host calls or derives from.
NEEDED = {
    FILE_CACHE + "IFileCache::Instance",
    FILE_CACHE + "IFileCache::IFileCache",
    FILE_CACHE + "IFileCache::~IFileCache",
    FILE_CACHE + "IFileCache::operator=",
    FILE_CACHE + "CFileCache::CFileCache",
    FILE_CACHE + "CFileCache::~CFileCache",
    FILE_CACHE + "CFileCache::operator=",
    FILE_CACHE + "CFileCache::Set_Cache_Directory",
    FILE_CACHE + "CFileCache::Get_Cached_File",
    FILE_CACHE + "CFileCache::Get_Cached_File_and_Status",
    FILE_CACHE + "CFileCache::Clear",
    FILE_CACHE + "CFileCache::Purge_Cache_Folder",
    FILE_CACHE + "CFileCache::Get_Additional_Error_Info",
    FILE_CACHE + "CFileCache::Get_Msg_Separator",
    FILE_CACHE + "Cache_Inspection::Cache_Inspection",
    FILE_CACHE + "Cache_Inspection::~Cache_Inspection",
    FILE_CACHE + "Cache_Inspection::Entries",
    FILE_CACHE + "Cache_Inspection::Explain",
    FILE_CACHE + "Cache_Inspection::Ask_Remote_Side",
    FILE_CACHE + "Set_Trace_Level",
    "QEL::FrontEnd::OSWRAPI::IOSWrapper::Create",
}

SYSTEM_LIBRARIES = {
    "advapi32.dll", "crypt32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "rpcrt4.dll",
    "shlwapi.dll", "wininet.dll",
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


def owner(export):
    """The class, or the function outside of any, that an exported name belongs to."""
    name = re.sub(r"^(vtable|VTT|typeinfo|typeinfo name|virtual thunk|non-virtual thunk) (for|to) ", "", export)
    name = re.sub(r"\[abi:\w+\]", "", name).split("(")[0]
    if name in CLASSES:
        return name
    scope = name.rpartition("::")[0]
    return scope if scope in CLASSES else name


class Interface(unittest.TestCase):
    def test_exports_the_documented_classes_and_functions_alone(self):
        self.assertEqual({owner(export) for export in exports(DLL)}, CLASSES | FUNCTIONS)

    def test_exports_what_a_host_needs(self):
        callable_names = {re.sub(r"\[abi:\w+\]", "", export).split("(")[0] for export in exports(DLL)}
        self.assertEqual(NEEDED - callable_names, set())

    def test_needs_no_library_that_windows_lacks(self):
        self.assertLessEqual(needed_libraries(DLL), SYSTEM_LIBRARIES)
        self.assertLessEqual(needed_libraries(PROGRAM), SYSTEM_LIBRARIES | {os.path.basename(DLL)})

    def test_bears_its_name(self):
        self.assertEqual(os.path.basename(DLL), "qelfilecache.dll")
        self.assertIn("qelfilecache.dll", needed_libraries(PROGRAM))


unittest.main(argv=sys.argv[:1])
