#!/usr/bin/env python3
"""Makes the reference of the public headers and checks that nothing is missing in it.

    check_reference.py

Fails when doxygen warns (its configuration makes each warning an error), when an installed header has no part in the
reference, and when something that the library exports is not described.
"""

import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "platform" / "interface"))
from public_interface import FUNCTIONS  # pylint: disable=wrong-import-position

# What a host calls or derives from.
METHODS = {"QEL::FrontEnd::" + name for name in (
    "FileCache::IFileCache::Instance", "FileCache::IFileCache::IFileCache", "FileCache::IFileCache::operator=",
    "FileCache::CFileCache::CFileCache", "FileCache::CFileCache::operator=",
    "FileCache::CFileCache::Set_Cache_Directory", "FileCache::CFileCache::Get_Cached_File",
    "FileCache::CFileCache::Get_Cached_File_and_Status", "FileCache::CFileCache::Clear",
    "FileCache::CFileCache::Purge_Cache_Folder", "FileCache::CFileCache::Get_Additional_Error_Info",
    "FileCache::CFileCache::Get_Msg_Separator", "FileCache::Cache_Inspection::Cache_Inspection",
    "FileCache::Cache_Inspection::Entries", "FileCache::Cache_Inspection::Explain",
    "FileCache::Cache_Inspection::Ask_Remote_Side",
    "OSWRAPI::IOSWrapper::Create")}


def installed_headers():
    text = (ROOT / "filecache" / "CMakeLists.txt").read_text(encoding="utf-8")
    file_set = re.search(r"FILE_SET HEADERS.*?FILES\n(.*?)\)", text, re.DOTALL).group(1)
    for line in file_set.split():
        yield line.replace("${PROJECT_SOURCE_DIR}/", "") if line.startswith("${") else "filecache/" + line


def main():
    (ROOT / "build" / "docs").mkdir(parents=True, exist_ok=True)
    if subprocess.run(["doxygen", "docs/Doxyfile"], cwd=ROOT, check=False).returncode != 0:
        print("The reference is not complete, see above.", file=sys.stderr)
        return 1

    described_files, described = set(), set()
    for compound in ElementTree.parse(ROOT / "build" / "docs" / "qelfilecache.tag").getroot().iter("compound"):
        name = compound.findtext("name")
        if compound.get("kind") == "file":
            described_files.add(str(pathlib.Path(compound.findtext("path"), name).relative_to(ROOT)))
        scope = "" if compound.get("kind") == "file" else name + "::"
        described.add(name)
        described.update(scope + member.findtext("name") for member in compound.findall("member"))

    headers = set(installed_headers())
    missing = sorted(headers - described_files) + sorted((FUNCTIONS | METHODS) - described)
    for name in missing:
        print(f"not in the reference: {name}", file=sys.stderr)
    print(f"reference: {len(headers)} headers, {len(described)} names, {len(missing)} missing")
    return 1 if missing or not headers else 0


if __name__ == "__main__":
    sys.exit(main())
