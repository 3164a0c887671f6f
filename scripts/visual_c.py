#!/usr/bin/env python3
"""Compiles the product, the program and the examples as Visual C++ would refuse them: with no extension of GNU's, and
with the macros min and max of its <windows.h>. The headers are those of the cross compiler for Windows.

    scripts/visual_c.py [FILE...]    everything, or those of the sources whose paths end so

The build folder of the preset windows has to be configured. Exit status 0: nothing found.
"""
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
CLANG = ["--target=x86_64-w64-mingw32", "-fsyntax-only", "-pedantic-errors", "-Werror=gnu", "-Wno-unknown-pragmas"]

MACROS = "#define min(a, b) (((a) < (b)) ? (a) : (b))\n#define max(a, b) (((a) > (b)) ? (a) : (b))\n"
# As Visual C++ has it. Here the standard library defines NOMINMAX, whatever the compiler is told.
WINDOWS_H = f"#include_next <windows.h>\n#ifndef QEL_NOMINMAX\n{MACROS}#endif\n"
MISUSE = "#include <algorithm>\n#include <windows.h>\nint Larger() { return std::max(1, 2); }\n"
EXTENSION = "int Twice(int number) { return ({ number * 2; }); }\n"


def include_folders():
    """Where the cross compiler looks, which Clang does not know, but for the compiler's own."""
    found = subprocess.run(["x86_64-w64-mingw32-g++-posix", "-x", "c++", "-E", "-v", os.devnull],
                           capture_output=True, text=True, check=True).stderr
    folders = re.search(r"#include <\.\.\.>.*?\n(.*?)End of search", found, re.S)[1].split()
    return [f"-isystem{folder}" for folder in folders if not re.search(r"gcc/.*/include(-fixed)?$", folder)]


def product_sources():
    """Each source of the product and the program, with the options of its build."""
    for entry in json.loads((ROOT / "build/windows/compile_commands.json").read_text()):
        source = pathlib.Path(entry["directory"], entry["file"])
        if source.is_relative_to(ROOT) and source.suffix in (".cpp", ".cxx") and "/tests/" not in str(source):
            options = shlex.split(entry["command"].replace("-isystem ", "-isystem"))
            yield source, [option for option in options if re.match("-[DI]|-isystem|-std=", option)]


def check(scratch, source, options):
    """What Clang says of the source."""
    without_macros = {"-DNOMINMAX", "-DWIN32_LEAN_AND_MEAN"} <= set(options)
    return subprocess.run(["clang", *CLANG, f"-isystem{scratch}", *(["-DQEL_NOMINMAX"] if without_macros else []), *options,
                           *include_folders(), str(source)], stderr=subprocess.PIPE, text=True, check=False).stderr


def main(endings):
    with tempfile.TemporaryDirectory() as scratch:
        write = lambda name, text: (path := pathlib.Path(scratch, name)).write_text(text) and path
        write("windows.h", WINDOWS_H)
        planted = [write("misuse.cpp", MISUSE), write("extension.cpp", EXTENSION)]
        for source in planted:
            if not check(scratch, source, ["-std=c++20"]):
                sys.exit(f"visual_c.py: does not find what is wrong in {source.name}")

        # A host may have the macros before it includes the library's headers.
        examples = sorted((ROOT / "examples").glob("host*/main.c*"))
        headers = {line for path in [*(ROOT / "filecache").rglob("*.h"), *(ROOT / "util").glob("*.h"), *examples]
                   for line in re.findall(r"^#include <[a-z_.]+>$", path.read_text(), re.M)}
        write("host.h", "#ifdef __cplusplus\n" + "\n".join(sorted(headers)) + "\n#endif\n#include <windows.h>\n" + MACROS)
        sources = list(product_sources()) + [
            (source, ["-std=c++17" if source.suffix == ".cpp" else "-std=c99", "-include", f"{scratch}/host.h",
                      "-DQEL_NOMINMAX", f"-I{ROOT}"]) for source in examples]
        wanted = [entry for entry in sources if not endings or str(entry[0]).endswith(tuple(endings))]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            findings = list(pool.map(lambda entry: check(scratch, *entry), wanted))
        for finding in findings:
            sys.stderr.write(finding)
        print(f"{len(wanted)} sources, {sum(map(bool, findings))} with something that Visual C++ refuses")
        return 1 if any(findings) or not wanted else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
