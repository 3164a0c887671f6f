#!/usr/bin/env python3
"""Writes the administrative templates of the group policy: a policy for each value in the table of docs/configuration.md,
with the page's words.

    policy.py CONFIGURATION_MD FOLDER    writes FOLDER/qel.admx and FOLDER/en-US/qel.adml
"""

import pathlib
import re
import sys
from xml.sax.saxutils import escape

KEY = r"Software\QEL\QELLogon\Options"
NAMESPACE = "http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions"
CATEGORY = "QEL File Cache"
ALL_VALUES = f"""A change takes effect with the next request, unless the text above says otherwise.

The value is written to {KEY}, where users and programs write it, too. A user's own value overrides the machine's, also \
where this policy has set the machine's, and users can change theirs at any time.

Disabled: the value is deleted. Not configured: nothing is written, and a value that this policy has written before stays \
where it is. So set the policy to Disabled before you withdraw it."""


def rows(page, first_column):
    """The rows of the table whose first column has that heading, as lists of plain texts."""
    table = re.search(rf"^\| {first_column} \|.*\n\|[-|]*\n((?:\|.*\n)+)", page, re.M)[1]
    plain = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", table).replace("`", "")
    return [[cell.strip() for cell in line.strip("|").split("|")] for line in plain.splitlines()]


def sentence(text):
    return text[0].upper() + text[1:] + "."


def policies(page):
    """Each value's element, box, explanation and texts of its choices."""
    modes = rows(page, "mode")
    for value, written, meaning, missing in rows(page, "value"):
        absent = "Missing or not a number: " if written.startswith("number") else "Missing: "
        explanation = [sentence(meaning), absent + missing + "."]
        head, label, choices = f'id="{value}" valueName="{value}"', escape(written), {}
        if numbers := re.fullmatch(r"number, (\d+) to (\d+)", written):
            element = f'<decimal {head} required="true" minValue="{numbers[1]}" maxValue="{numbers[2]}"/>'
            default = re.match(r"\d+", missing)[0]
            box = f'<decimalTextBox refId="{value}" defaultValue="{default}">{label}</decimalTextBox>'
        elif written == "number of the mode":
            known = [mode for mode in modes if mode[0].isdigit()]
            choices = {f"{value}_{mode[0]}": f"{mode[0]}: {mode[1]}" for mode in known}
            items = "".join(f'<item displayName="$(string.{value}_{mode[0]})"><value><decimal value="{mode[0]}"/></value></item>'
                            for mode in known)
            element = f'<enum {head} required="true">{items}</enum>'
            box = f'<dropdownList refId="{value}" noSort="true" defaultItem="0">{label}</dropdownList>'
            explanation += [f"{mode[0]} ({mode[1]}): {mode[2]}. What it risks: {mode[3]}." for mode in known]
        elif written == "list":
            element = f'<multiText {head} required="true"/>'
            box = f'<multiTextBox refId="{value}">{label}</multiTextBox>'
        elif written == "text":
            element = f'<text {head} required="true" expandable="true"/>'
            box = f'<textBox refId="{value}"><label>{label}</label></textBox>'
        else:
            sys.exit(f"policy.py: what is '{written}', which {value} is written as?")
        yield value, element, box, "\n\n".join([*explanation, ALL_VALUES]), choices


def main(page, folder):
    definitions, texts, boxes = [], {"Category": CATEGORY, "Supported": CATEGORY}, []
    for value, element, box, explanation, choices in policies(pathlib.Path(page).read_text(encoding="utf-8")):
        definitions.append(
            f'<policy name="{value}" class="Both" displayName="$(string.{value})" explainText="$(string.{value}_Explained)"'
            f' presentation="$(presentation.{value})" key="{KEY}"><parentCategory ref="Category"/>'
            f'<supportedOn ref="Supported"/><elements>{element}</elements></policy>')
        texts |= {value: value, f"{value}_Explained": explanation} | choices
        boxes.append(f'<presentation id="{value}">{box}</presentation>')
    strings = [f'<string id="{name}">{escape(text)}</string>' for name, text in texts.items()]

    def write(path, root, *lines):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("\n".join(['<?xml version="1.0" encoding="utf-8"?>',
                                   f'<{root} xmlns="{NAMESPACE}" revision="1.0" schemaVersion="1.0">', *lines,
                                   f"</{root}>", ""]), encoding="utf-8")

    write(pathlib.Path(folder, "qel.admx"), "policyDefinitions",
          '<policyNamespaces><target prefix="qel" namespace="QEL.Policies.FileCache"/></policyNamespaces>',
          '<resources minRequiredRevision="1.0"/>',
          '<supportedOn><definitions><definition name="Supported" displayName="$(string.Supported)"/></definitions></supportedOn>',
          '<categories><category name="Category" displayName="$(string.Category)"/></categories>',
          "<policies>", *definitions, "</policies>")
    write(pathlib.Path(folder, "en-US", "qel.adml"), "policyDefinitionResources",
          f"<displayName>{CATEGORY}</displayName>", f"<description>{CATEGORY}</description>",
          "<resources>", "<stringTable>", *strings, "</stringTable>",
          "<presentationTable>", *boxes, "</presentationTable>", "</resources>")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
