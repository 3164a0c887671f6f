#!/usr/bin/env python3
"""Tests of mime/generate_extension_table.py, on small packages made here."""

import contextlib
import io
import json
import pathlib
import re
import sys
import tarfile
import tempfile
import unittest
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).parents[3] / "mime"))
import generate_extension_table as generator

MIME_DB = {
    "text/plain": {"extensions": ["text", "txt"]},
    "application/octet-stream": {"extensions": ["bin", "exe"]},
    "application/without": {"compressible": True},
    "application/xml": {"extensions": ["xml", "xsl"]},
}


class GeneratorTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.table = self.folder / "extension_table.inc"
        for name, value in {
            "TABLE": self.table,
            "PREFERRED": {"text/plain": "txt"},
            "ADDED": {"text/x-ini": "ini"},
        }.items():
            patch = mock.patch.object(generator, name, value)
            patch.start()
            self.addCleanup(patch.stop)

    def package(self, mime_db=None, version=generator.MIME_DB_VERSION):
        package = self.folder / "package"
        package.mkdir(exist_ok=True)
        (package / "db.json").write_text(json.dumps(MIME_DB if mime_db is None else mime_db))
        (package / "package.json").write_text(json.dumps({"version": version}))
        return package

    def run_script(self, *arguments):
        """The complaint that the script ends with; None when it ends well."""
        with mock.patch.object(sys, "argv", ["script", *map(str, arguments)]):
            with contextlib.redirect_stderr(io.StringIO()):
                try:
                    generator.main()
                except SystemExit as ending:
                    return ending.code
        return None

    def rows(self):
        return [line for line in self.table.read_text().splitlines() if not line.startswith("//")]

    def test_writes_the_preferred_extension_of_each_type_in_order_and_the_version(self):
        self.assertIsNone(self.run_script("--package", self.package()))
        self.assertEqual(
            self.rows(),
            ['{"application/xml", ".xml"},', '{"text/plain", ".txt"},', '{"text/x-ini", ".ini"},'],
        )
        self.assertIn(f"mime-db {generator.MIME_DB_VERSION};", self.table.read_text())

    def test_leaves_out_what_windows_runs(self):
        self.run_script("--package", self.package({**MIME_DB, "a/shortcut": {"extensions": ["lnk"]}}))
        self.assertEqual(len(self.rows()), 3)

    def test_reads_an_archive_as_well(self):
        archive = self.folder / "mime-db.tgz"
        with tarfile.open(archive, "w:gz") as tar:
            tar.add(self.package(), arcname="package")
        self.assertIsNone(self.run_script("--package", archive))
        self.assertEqual(len(self.rows()), 3)

    def test_check_passes_what_was_written_and_nothing_else(self):
        package = self.package()
        self.assertIn("run it again", self.run_script("--check", "--package", package))
        self.assertFalse(self.table.exists())
        self.run_script("--package", package)
        self.assertIsNone(self.run_script("--check", "--package", package))
        self.package({**MIME_DB, "a/b": {"extensions": ["c"]}})
        self.assertIn("run it again", self.run_script("--check", "--package", package))

    def test_check_unedited_finds_every_edit_of_a_row(self):
        self.run_script("--package", self.package())
        self.assertIsNone(self.run_script("--check-unedited"))
        table = self.table.read_text()
        for edited in (
            table.replace(".txt", ".text"),
            table.replace('{"text/plain", ".txt"},\n', ""),
            table + '{"x/y", ".z"},\n',
            table.replace("SHA-256", "SHA"),
            "",
        ):
            self.table.write_text(edited)
            self.assertIn("edited by hand", self.run_script("--check-unedited"))

    def test_refuses_what_does_not_fit(self):
        self.assertIn("0.0.1", self.run_script("--package", self.package(version="0.0.1")))
        self.assertIn("cannot be made", self.run_script("--package", self.folder / "missing"))
        for mime_type, extensions, complaint in (
            ("text/plain", ["text"], "text/plain"),  # without the preferred extension
            ("text/x-ini", ["cfg"], "text/x-ini"),  # which is to be added
            *(("a/b", [unusable], "unusable extension")
              for unusable in ("", "a.exe", "../a", "a/b", "a\\b", "a b", "A", "a:b", 'a"')),
            *((unusable, ["a"], "unusable type") for unusable in ("text", "Text/plain2", "a/b c", 'a/"b')),
        ):
            package = self.package({**MIME_DB, mime_type: {"extensions": extensions}})
            self.assertIn(complaint, self.run_script("--package", package))


class DocumentationTest(unittest.TestCase):
    def test_lists_the_rules(self):
        documentation = (pathlib.Path(__file__).parents[3] / "docs" / "mime-types.md").read_text(encoding="utf-8")
        listed = re.findall(r"^\| `(\S+/\S+)` \| `\.(\S+)` \|$", documentation, re.MULTILINE)
        self.assertEqual(listed, [*generator.PREFERRED.items(), *generator.ADDED.items()])


if __name__ == "__main__":
    unittest.main()
