#!/usr/bin/env python3
"""Holds the administrative templates against the program: each value, type and range as a group policy writes it.

    policy_test.py FOLDER PROGRAM WINE_RUNNER

FOLDER holds qel.admx and en-US/qel.adml.
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml

FOLDER, PROGRAM, WINE_RUNNER = sys.argv[1:4]
KEY = r"Software\QEL\QELLogon\Options"
ROOTS = {"user": "HKEY_CURRENT_USER", "machine": "HKEY_LOCAL_MACHINE"}
HIGHEST = 2**32 - 1
TEXTS = {"multiText": [["https://a/x"], ["https://a/x", "https://b/y"]], "text": [r"C:\one", r"%QEL_TEST_PLACE%\two"]}


def elements(path):
    """The elements of a template by their names without the namespace."""
    tree = xml.parse(os.path.join(FOLDER, path))
    found = {}
    for element in tree.iter():
        element.tag = element.tag.partition("}")[2]
        found.setdefault(element.tag, []).append(element)
    return found


def written(kind, number):
    """What a policy writes, in the language of .reg files."""
    if kind in ("decimal", "enum"):
        return f"dword:{number:08x}"
    code, text = ("7", "\0".join([*number, "", ""])) if kind == "multiText" else ("2", number + "\0")
    return f"hex({code}):" + ",".join(f"{byte:02x}" for byte in text.encode("ascii"))


def read(kind, value):
    """What the program makes of that."""
    if kind == "multiText":
        return "\n".join(value)
    return value.replace("%QEL_TEST_PLACE%", r"D:\place") if kind == "text" else str(value)


class Policies(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.admx, cls.adml = elements("qel.admx"), elements("en-US/qel.adml")
        cls.policies = {}  # the element of each policy by its value
        for policy in cls.admx["policy"]:
            (element,) = policy.find("elements")
            cls.policies[element.get("valueName")] = element

    @classmethod
    def tearDownClass(cls):
        cls.configure({})

    @classmethod
    def configure(cls, values):
        """Has these values of the roots and no other; what is not there is deleted, as by Disabled."""
        with tempfile.NamedTemporaryFile("w", suffix=".reg", encoding="ascii") as file:
            file.write("REGEDIT4\n")
            for root, key in ROOTS.items():
                file.write(f"\n[{key}\\{KEY}]\n")
                for name, element in cls.policies.items():
                    value = values.get(root, {}).get(name)
                    file.write(f'"{name}"={"-" if value is None else written(element.tag, value)}\n')
            file.flush()
            subprocess.run([WINE_RUNNER, "reg", "import", "Z:" + file.name.replace("/", "\\")], check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def settings(self):
        """Value and root of each setting as the program has them."""
        with tempfile.TemporaryDirectory() as cache:
            said = subprocess.run([WINE_RUNNER, PROGRAM, "--cache-dir", "Z:" + cache.replace("/", "\\"), "explain", "--json",
                                   "http://127.0.0.1:1/x"], check=False, capture_output=True, text=True,
                                  env=dict(os.environ, QEL_TEST_PLACE=r"D:\place"))
        self.warnings = said.stderr
        settings = json.loads(said.stdout)[0]["settings"]
        self.sources = {setting["name"]: setting["source"] or "" for setting in settings}
        return {setting["name"]: (setting["value"], self.sources[setting["name"]].partition("\\")[0]) for setting in settings}

    def samples(self):
        """For each value the lowest and the highest, or two texts."""
        for name, element in self.policies.items():
            if element.tag == "decimal":
                yield name, [int(element.get("minValue")), int(element.get("maxValue"))]
            elif element.tag == "enum":
                choices = [int(value.get("value")) for value in element.iter("decimal")]
                yield name, [choices[0], choices[-1]]
            else:
                yield name, TEXTS[element.tag]

    def test_have_the_programs_values_and_no_other(self):
        self.assertEqual(set(self.policies), set(self.settings()))
        self.assertEqual({policy.get("class") for policy in self.admx["policy"]}, {"Both"})
        self.assertEqual({policy.get("key") for policy in self.admx["policy"]}, {KEY})

    def test_reach_the_program_from_end_to_end_of_their_ranges_and_the_users_count_first(self):
        low = {name: values[0] for name, values in self.samples()}
        high = {name: values[1] for name, values in self.samples()}
        expect = lambda values, root: {name: (read(self.policies[name].tag, value), ROOTS[root])
                                       for name, value in values.items()}
        self.configure({"machine": low})
        self.assertEqual(self.settings(), expect(low, "machine"))
        self.configure({"machine": low, "user": high})
        self.assertEqual(self.settings(), expect(high, "user"))

    def test_have_the_ranges_of_the_program(self):
        defaults = self.defaults()
        beyond, below, expected = {}, {}, {}
        for name, element in self.policies.items():
            if element.tag == "decimal" and int(element.get("maxValue")) < HIGHEST:
                beyond[name] = int(element.get("maxValue")) + 1
                expected[name] = element.get("maxValue")
            if element.tag == "decimal" and int(element.get("minValue")) > 0:
                below[name] = int(element.get("minValue")) - 1
        self.assertTrue(beyond and below)
        for written_values, counting in ((beyond, expected), (below, {name: defaults[name] for name in below})):
            self.configure({"user": written_values})
            settings = self.settings()
            self.assertEqual({name: settings[name][0] for name in written_values}, counting)

    def test_programs_of_32_and_64_bit_read_the_same_machine_values(self):
        name, key = "LandscapeCacheExpiryPeriod", KEY.replace("Software", r"HKLM\Software\Wow6432Node")
        registry = lambda *arguments: subprocess.run([WINE_RUNNER, "reg", *arguments, "/f"], check=True, stdout=subprocess.DEVNULL)
        registry("add", key, "/v", name, "/t", "REG_DWORD", "/d", "7")
        self.addCleanup(registry, "delete", key)
        self.configure({})
        self.assertEqual(self.settings()[name], ("7", ROOTS["machine"]))
        self.assertIn("(32-bit view)", self.sources[name])
        self.configure({"machine": {name: 8}})
        self.assertEqual(self.settings()[name], ("8", ROOTS["machine"]))
        self.assertNotIn("view", self.sources[name])
        self.configure({})
        registry("add", rf"HKLM\{KEY}", "/v", name, "/t", "REG_SZ", "/d", "soon")
        self.settings()
        self.assertEqual(self.warnings.count(name), 1, self.warnings)  # that of 32 bit is well
        self.assertIn("soon", self.warnings)

    def test_offer_the_modes_of_the_program(self):
        with open(os.path.join(os.path.dirname(__file__), "..", "..", "util", "Cert_Error_Handling.h"), encoding="utf-8") as file:
            modes = re.findall(r"^    \w+ = (\d+),? ", file.read().partition("enum CertErrorHandlingMode")[2], re.M)
        offered = [value.get("value") for value in self.policies["CertErrorHandlingMode"].iter("decimal")]
        self.assertEqual(offered, modes)

    def defaults(self):
        """What the boxes show first, where there is nothing yet."""
        return {box.get("refId"): box.get("defaultValue") or box.get("defaultItem") or ""
                for kind in ("decimalTextBox", "dropdownList", "multiTextBox", "textBox") for box in self.adml[kind]}

    def test_disabled_deletes_the_value_and_the_default_counts(self):
        for values in ({name: values[1] for name, values in self.samples()}, {}):
            self.configure({"machine": values})
        self.assertEqual(self.settings(), {name: (default, "") for name, default in self.defaults().items()})

    def test_explain_themselves(self):
        texts = {text.get("id"): text.text for text in self.adml["string"]}
        boxes = {box.get("id") for box in self.adml["presentation"]}
        for policy in self.admx["policy"]:
            explanation = texts[policy.get("explainText")[len("$(string."):-1]]
            for said in ("user's own value overrides the machine's", "Disabled: the value is deleted", "stays where it is"):
                self.assertIn(said, explanation)
        used = [reference for found in self.admx.values() for element in found for reference in element.attrib.values()]
        self.assertLessEqual({reference[len("$(string."):-1] for reference in used if reference.startswith("$(string.")}, set(texts))
        self.assertEqual({reference[len("$(presentation."):-1] for reference in used if reference.startswith("$(presentation.")}, boxes)
        self.assertNotRegex(" ".join(texts.values()).lower(), "enforce")


unittest.main(argv=sys.argv[:1])
