#!/usr/bin/env python3
"""Proves that includes run downwards only:

    tools                           (the command-line host: the public interfaces, like any host)
    filecache  trace                (the product: standard C++ and the interfaces below)
    filecache/oswrap  util  mime    (interfaces to the services, and what is portable of them)
    platform/<one platform>         (implements those interfaces; alone in knowing the system)

    check_layers.py [ROOT]          checks the tree, by default the one this script lies in
    check_layers.py --self-test     plants violations in a tree of its own and expects each reported

Tests, benchmarks, fuzzers and examples stand outside: they may include whatever they need.
"""

import pathlib
import re
import sys
import tempfile

# A layer: the folder or file that it is (the longest match decides), the project headers that it may include
# besides its own, and whether it may include headers of the system and of other projects.
SERVICE_INTERFACES = ["filecache/oswrap/", "util/"]
PLATFORM_MAY = SERVICE_INTERFACES + ["mime/Magic.h", "platform/common/"]
LAYERS = {
    "tools/qelfilecache/": (["filecache/IFileCache.h", "filecache/inspection/Cache_Inspection.h",
                             "trace/Set_Trace_Level.h", "tools/trace_reader/trace_reader.h", "util/Error_Meaning.h",
                             "util/Http_Status.h", "util/Visible_Text.h"], True),
    "tools/trace_reader/": (["util/"], True),
    "filecache/": (["filecache/", "trace/", "util/", "mime/"], False),
    "trace/": (["trace/"] + SERVICE_INTERFACES, False),
    "filecache/oswrap/": (SERVICE_INTERFACES, False),
    "util/": (["util/"], False),
    "mime/": (["mime/", "util/"], False),
    "platform/common/": (SERVICE_INTERFACES, False),
    "platform/posix/": (PLATFORM_MAY, True),
    "platform/windows/": (PLATFORM_MAY, True),
}

# How the library marks its exports depends on the platform; nothing else outside platform/ may. One of these headers is
# for C as well.
C_HEADERS_ALLOWED = {"filecache/c/qelfilecache_c.h": {"stddef.h"}}
PLATFORM_MACROS_ALLOWED = {"util/Export.h", "filecache/c/qelfilecache_c.h"}
PLATFORM_MACRO = re.compile(
    r"\b(_WIN32|_WIN64|WIN32|_MSC_VER|__MINGW32__|__MINGW64__|__linux__|__unix__|__APPLE__|_POSIX_\w+)\b")

STANDARD_HEADERS = set("""
algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts condition_variable
coroutine deque exception execution filesystem format forward_list fstream functional future initializer_list iomanip
ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new numbers numeric
optional ostream queue random ranges ratio regex scoped_allocator semaphore set shared_mutex source_location span
sstream stack stdexcept stop_token streambuf string string_view strstream syncstream system_error thread tuple
type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector version
cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef cstdint cstdio
cstdlib cstring ctime cuchar cwchar cwctype
""".split())

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*([<"])([^>"\n]+)[>"]', re.MULTILINE)
CONDITION = re.compile(r"^[ \t]*#[ \t]*(?:if|ifdef|ifndef|elif|elifdef|elifndef)\b([^\n]*)", re.MULTILINE)
COMMENT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.DOTALL)


def without_comments(text):
    """Comments become blanks of as many lines; string literals stay, since one may hold "//"."""
    def blank(match):
        found = match.group(0)
        return found if found.startswith('"') else "\n" * found.count("\n")
    return COMMENT.sub(blank, text)


def layer_of(path):
    matches = [prefix for prefix in LAYERS if path == prefix or (prefix.endswith("/") and path.startswith(prefix))]
    return max(matches, key=len, default=None)


def is_within(path, allowed):
    return any(path == entry or (entry.endswith("/") and path.startswith(entry)) for entry in allowed)


def violations_in(root, path):
    layer = layer_of(path)
    may_include, may_use_system = LAYERS[layer]
    text = without_comments((root / path).read_text(encoding="utf-8", errors="replace"))

    def report(offset, message):
        return f"{path}:{text.count(chr(10), 0, offset) + 1}: {message}"

    for match in INCLUDE.finditer(text):
        header = match.group(2)
        if (root / header).is_file():
            own = layer.endswith("/") and header.startswith(layer) and layer_of(header) == layer
            if not own and not is_within(header, may_include):
                yield report(match.start(), f"'{layer}' must not include \"{header}\"")
        elif match.group(1) == '"':
            yield report(match.start(), f'"{header}" is no path from the root of the repository')
        elif not may_use_system and header not in STANDARD_HEADERS | C_HEADERS_ALLOWED.get(path, set()):
            yield report(match.start(), f"<{header}> is no standard C++ header; only platform/ may include it")

    if may_use_system or path in PLATFORM_MACROS_ALLOWED:
        return
    for match in CONDITION.finditer(text):
        if macro := PLATFORM_MACRO.search(match.group(1)):
            yield report(match.start(), f"'{macro.group(0)}' tells platforms apart; only platform/ may do that")


def check(root):
    """All violations below `root`, and how many files were looked at."""
    violations = []
    file_count = 0
    for folder in sorted({prefix.split("/")[0] for prefix in LAYERS}):
        for file in sorted((root / folder).rglob("*")):
            path = file.relative_to(root).as_posix()
            if file.suffix not in {".h", ".cpp", ".inc", ".c", ".hpp"} or not file.is_file():
                continue
            file_count += 1
            if layer_of(path) is None:
                violations.append(f"{path}:1: belongs to no known layer")
                continue
            violations += violations_in(root, path)
    return violations, file_count


GOOD_TREE = {
    "util/Export.h": "#if defined(_WIN32)\n#endif\n",
    "filecache/c/qelfilecache_c.h": "#include <stddef.h>\n#if defined(_WIN32)\n#endif\n",
    "filecache/IFileCache.h": '#include "util/Export.h"\n#include <string>\n',
    "filecache/oswrap/IOSWrapper.h": '#include "util/Export.h"\n#ifdef FindFirstFile\n#endif\n',
    "util/IRequest_Object.h": "#include <memory>\n",
    "filecache/lookup.cpp": '#include "trace/Tracing.h"\n#include "util/Generate_Uuid.h"\n',
    "trace/Set_Trace_Level.h": '#include "util/Export.h"\n',
    "trace/Tracing.h": '#include "util/Generate_Uuid.h"\n',
    "util/Generate_Uuid.h": "#include <string>\n",
    "mime/Magic.h": '// #include <windows.h>\n/* #include <windows.h> */\n#include "util/Generate_Uuid.h"\n',
    "platform/posix/Uuid.cpp": '#include "util/Generate_Uuid.h"\n#include "platform/posix/Handle.h"\n'
                               "#include <uuid/uuid.h>\n",
    "platform/posix/Handle.h": "#include <unistd.h>\n",
    "platform/windows/Handle.h": "#include <windows.h>\n",
    "filecache/inspection/Cache_Inspection.h": '#include "util/Export.h"\n',
    "tools/qelfilecache/main.cpp": '#include "filecache/IFileCache.h"\n#include <CLI/CLI.hpp>\n'
                                   '#include "filecache/inspection/Cache_Inspection.h"\n',
}

# Each planted in the good tree by itself: the file, what it holds, and what the report must name.
PLANTED = [
    ("util/planted.cpp", '#include "filecache/IFileCache.h"\n', "filecache/IFileCache.h"),
    ("util/planted.cpp", '#include "mime/Magic.h"\n', "mime/Magic.h"),
    ("util/planted.cpp", "#include <unistd.h>\n", "unistd.h"),
    ("mime/planted.cpp", '#include "trace/Tracing.h"\n', "trace/Tracing.h"),
    ("trace/planted.cpp", '#include "filecache/IFileCache.h"\n', "filecache/IFileCache.h"),
    ("filecache/planted.cpp", '#include "platform/posix/Handle.h"\n', "platform/posix/Handle.h"),
    ("filecache/planted.cpp", '#include <platform/posix/Handle.h>\n', "platform/posix/Handle.h"),
    ("filecache/planted.cpp", "  #  include <curl/curl.h>\n", "curl/curl.h"),
    ("filecache/planted.cpp", '#include "lookup.h"\n', "lookup.h"),
    ("filecache/planted.cpp", "#include <stddef.h>\n", "stddef.h"),
    ("filecache/planted.cpp", "#ifdef _WIN32\n#endif\n", "_WIN32"),
    ("filecache/planted.cpp", "#if !defined(__linux__)\n#endif\n", "__linux__"),
    ("filecache/planted.cpp", 'const char* s = "//";\n#include <windows.h>\n', "windows.h"),
    ("filecache/oswrap/planted.h", '#include "mime/Magic.h"\n', "mime/Magic.h"),
    ("platform/posix/planted.cpp", '#include "trace/Tracing.h"\n', "trace/Tracing.h"),
    ("platform/posix/planted.cpp", '#include "filecache/IFileCache.h"\n', "filecache/IFileCache.h"),
    ("platform/posix/planted.cpp", '#include "platform/windows/Handle.h"\n', "platform/windows/Handle.h"),
    ("platform/other/planted.cpp", "", "no known layer"),
    ("tools/qelfilecache/planted.cpp", '#include "util/Generate_Uuid.h"\n', "util/Generate_Uuid.h"),
    ("tools/qelfilecache/planted.cpp", '#include "filecache/lookup.cpp"\n', "filecache/lookup.cpp"),
    ("tools/qelfilecache/planted.cpp", '#include "filecache/oswrap/IOSWrapper.h"\n', "filecache/oswrap/IOSWrapper.h"),
]


def self_test():
    failures = []
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for path, text in GOOD_TREE.items():
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_text(text, encoding="utf-8")
        for violation in check(root)[0]:
            failures.append(f"reported without cause: {violation}")
        for path, text, expected in PLANTED:
            planted = root / path
            planted.parent.mkdir(parents=True, exist_ok=True)
            planted.write_text(text, encoding="utf-8")
            reports = check(root)[0]
            planted.unlink()
            if len(reports) != 1 or not reports[0].startswith(path) or expected not in reports[0]:
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
