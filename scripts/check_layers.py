#!/usr/bin/env python3
"""Proves that includes run downwards only, from layer to layer and between all folders:

    tools                           (the command-line host: the public interfaces, like any host, and util)
    filecache                       (the product)
    trace                           (the writer of the trace)
    filecache/oswrap  mime  util    (interfaces to the services, and what is portable of them)
    platform/<one platform>         (implements those interfaces; alone in knowing the system)
    platform/common                 (what all platforms do alike)

    check_layers.py [ROOT]          checks the tree, by default the one this script lies in
    check_layers.py --self-test     plants violations in a tree of its own and expects each reported

A folder and what lies below it count as one. Tests, benchmarks, fuzzers and examples may include whatever they need.
"""

import pathlib
import re
import sys
import tempfile

# What the files of a layer may include of the project (the first match decides), besides headers of their own platform.
LAYERS = {
    "tools/trace_reader/": ["tools/trace_reader/", "trace/record_marks.h", "util/"],
    "tools/": ["tools/qelfilecache/", "tools/trace_reader/trace_reader.h", "filecache/IFileCache.h",
               "filecache/inspection/Cache_Inspection.h", "trace/Set_Trace_Level.h", "util/"],
    "filecache/oswrap/": ["filecache/oswrap/", "util/"],
    "filecache/": ["filecache/", "trace/", "util/", "mime/"],
    "trace/": ["trace/", "util/"],
    "mime/": ["mime/", "util/"],
    "util/": ["util/"],
    "platform/": ["platform/common/", "filecache/oswrap/", "util/"],
}
MAY_USE_SYSTEM = re.compile(r"tools/|platform/(?!common/)")

# How the library marks its exports depends on the platform. The C header is for C as well.
C_HEADER = "filecache/c/qelfilecache_c.h"
PLATFORM_MACROS_ALLOWED = {"util/Export.h", C_HEADER}
PLATFORM_MACRO = re.compile(r"^[ \t]*#[ \t]*(?:el)?if[^\n]*\b(_WIN32|_WIN64|WIN32|_MSC_VER|__MINGW32__|__MINGW64__|__linux__"
                            r"|__unix__|__APPLE__|_POSIX_\w+)\b", re.MULTILINE)
STANDARD_HEADER = re.compile(r"[a-z_]+")  # no other header comes without an extension
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"\n]+)[>"]', re.MULTILINE)
COMMENT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.DOTALL)


def without_comments(text):
    """Comments become blanks of as many lines; string literals stay, since one may hold "//"."""
    def blank(match):
        found = match.group(0)
        return found if found.startswith('"') else "\n" * found.count("\n")
    return COMMENT.sub(blank, text)


def violations_in(root, path, includes):
    """What is wrong with the file itself. Its includes of project headers are added to `includes`."""
    layer = next(prefix for prefix in LAYERS if path.startswith(prefix))
    allowed = LAYERS[layer] + (["/".join(path.split("/")[:2]) + "/"] if layer == "platform/" else [])
    may_use_system = MAY_USE_SYSTEM.match(path)
    text = without_comments((root / path).read_text(encoding="utf-8", errors="replace"))

    def report(match, message):
        return f"{path}:{text.count(chr(10), 0, match.start(match.lastindex)) + 1}: {message}"

    for match in INCLUDE.finditer(text):
        header = match.group(2)
        if (root / header).is_file():
            includes.append((path, header))
            if not any(header == entry or (entry.endswith("/") and header.startswith(entry)) for entry in allowed):
                yield report(match, f"must not include \"{header}\"")
        elif match.group(1) == '"':
            yield report(match, f'"{header}" is no path from the root of the repository')
        elif not may_use_system and not STANDARD_HEADER.fullmatch(header) and (path, header) != (C_HEADER, "stddef.h"):
            yield report(match, f"<{header}> is no standard C++ header; only platform/ may include it")
    if not may_use_system and path not in PLATFORM_MACROS_ALLOWED:
        for match in PLATFORM_MACRO.finditer(text):
            yield report(match, f"'{match.group(1)}' differs from platform to platform; only platform/ may ask for it")


def circles(includes):
    """One line for each include that leads back to the folder it stands in."""
    leads_to = {}
    for path, header in includes:
        above, below = (name.rpartition("/")[0] for name in (path, header))
        if not (above + "/").startswith(below + "/") and not (below + "/").startswith(above + "/"):
            leads_to.setdefault(above, {}).setdefault(below, f"{path} includes {header}")

    def reached_from(folder, seen):
        for below in leads_to.get(folder, {}):
            if below not in seen:
                seen.add(below)
                reached_from(below, seen)
        return seen

    for above in sorted(leads_to):
        for below, include in sorted(leads_to[above].items()):
            if above in reached_from(below, set()):
                yield f"{include}, and {below} leads back to {above}"


def check(root):
    """All violations below `root`, and how many files were looked at."""
    files = [file.relative_to(root).as_posix() for top in sorted({prefix.split("/")[0] for prefix in LAYERS})
             for file in sorted((root / top).rglob("*")) if file.suffix in {".h", ".cpp", ".inc", ".c", ".hpp"}]
    includes = []
    violations = [violation for path in files for violation in violations_in(root, path, includes)]
    return violations + list(circles(includes)), len(files)


GOOD_TREE = {
    "util/Export.h": "#if defined(_WIN32)\n#endif\n",
    "mime/Magic.h": '// #include <windows.h>\n/* #include <windows.h> */\n#include "util/Export.h"\n',
    "trace/Tracing.h": '#include "util/Export.h"\n',
    "filecache/c/qelfilecache_c.h": "#include <stddef.h>\n#if defined(_WIN32)\n#endif\n",
    "filecache/IFileCache.h": '#include "util/Export.h"\n#include <string>\n#ifdef FindFirstFile\n#endif\n',
    "filecache/oswrap/IOSWrapper.h": '#include "util/Export.h"\n',
    "filecache/lookup.h": '#include "filecache/url/kinds.h"\n#include "trace/Tracing.h"\n',
    "filecache/metadata/file.h": '#include "filecache/url/kinds.h"\n',
    "filecache/url/kinds.h": '#include "filecache/IFileCache.h"\n',
    "platform/common/Wildcard.h": '#include "util/Export.h"\n#include <string_view>\n',
    "platform/posix/files/Files.h": '#include "platform/posix/share/Share.h"\n#include "util/Export.h"\n',
    "platform/posix/share/Share.h": '#include "platform/posix/system/Handle.h"\n#include <curl/curl.h>\n',
    "platform/posix/system/Handle.h": '#include "platform/common/Wildcard.h"\n#include <unistd.h>\n',
    "platform/windows/Handle.h": "#include <windows.h>\n",
    "tools/trace_reader/lines.h": "#include <string>\n",
    "tools/qelfilecache/main.cpp": '#include "filecache/IFileCache.h"\n#include <CLI/CLI.hpp>\n',
}

# Each planted in the good tree by itself: the file, what it includes or says, and what a report of it must name.
PLANTED = [
    ("util/planted.cpp", '"filecache/IFileCache.h"', "filecache/IFileCache.h"),
    ("util/planted.cpp", '"mime/Magic.h"', "mime/Magic.h"),
    ("util/planted.cpp", "<unistd.h>", "unistd.h"),
    ("mime/planted.cpp", '"trace/Tracing.h"', "trace/Tracing.h"),
    ("trace/planted.cpp", '"filecache/oswrap/IOSWrapper.h"', "filecache/oswrap/IOSWrapper.h"),
    ("filecache/planted.cpp", '"platform/posix/system/Handle.h"', "platform/posix/system/Handle.h"),
    ("filecache/planted.cpp", "<platform/posix/system/Handle.h>", "platform/posix/system/Handle.h"),
    ("filecache/planted.cpp", "<curl/curl.h>", "curl/curl.h"),
    ("filecache/planted.cpp", '"lookup.h"', "lookup.h"),
    ("filecache/planted.cpp", "<stddef.h>", "stddef.h"),
    ("filecache/planted.cpp", "<string>\n#ifdef _WIN32\n#endif", ":2: '_WIN32'"),
    ("filecache/planted.cpp", "<string>\n#if !defined(__linux__)\n#endif", ":2: '__linux__'"),
    ("filecache/planted.cpp", '<string>\nconst char* s = "//";\n  #  include <windows.h>', ":3: <windows.h>"),
    ("filecache/oswrap/planted.h", '"mime/Magic.h"', "mime/Magic.h"),
    ("filecache/url/planted.cpp", '"filecache/metadata/file.h"', "metadata leads back to filecache/url"),
    ("platform/common/planted.h", '"platform/posix/system/Handle.h"', "platform/posix/system/Handle.h"),
    ("platform/common/planted.h", "<unistd.h>", "unistd.h"),
    ("platform/posix/planted.cpp", '"trace/Tracing.h"', "trace/Tracing.h"),
    ("platform/posix/planted.cpp", '"platform/windows/Handle.h"', "platform/windows/Handle.h"),
    ("platform/posix/share/planted.cpp", '"platform/posix/files/Files.h"', "files leads back to platform/posix/share"),
    ("platform/posix/system/planted.cpp", '"platform/posix/files/Files.h"', "files leads back to platform/posix/system"),
    ("tools/qelfilecache/planted.cpp", '"tools/trace_reader/lines.h"', "tools/trace_reader/lines.h"),
    ("tools/qelfilecache/planted.cpp", '"filecache/lookup.h"', "filecache/lookup.h"),
    ("tools/qelfilecache/planted.cpp", '"filecache/oswrap/IOSWrapper.h"', "filecache/oswrap/IOSWrapper.h"),
]


def self_test():
    failures = []
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for path, text in GOOD_TREE.items():
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_text(text, encoding="utf-8")
        failures += [f"reported without cause: {violation}" for violation in check(root)[0]]
        for path, text, expected in PLANTED:
            (root / path).write_text(f"#include {text}\n", encoding="utf-8")
            reports = check(root)[0]
            (root / path).unlink()
            if not any(report.startswith(path) and expected in report for report in reports):
                failures.append(f"planted {text!r} in {path}, reported: {reports}")
    for failure in failures:
        print(failure, file=sys.stderr)
    print(f"layer check, self-test: {len(PLANTED)} planted violations, {len(failures)} unexpected answers")
    return 1 if failures else 0


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    root = pathlib.Path(arguments[0] if arguments else pathlib.Path(__file__).parent.parent).resolve()
    violations, file_count = check(root)
    for violation in violations:
        print(violation, file=sys.stderr)
    if file_count == 0:
        print(f"layer check: no source file found below {root}", file=sys.stderr)
        return 1
    print(f"layer check: {file_count} files, {len(violations)} violations")
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
