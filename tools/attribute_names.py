#!/usr/bin/env python3
"""Checks that every attribute that the operator asks for stands in the runner's catalogue.

Looks through src/ for the rows of attribute tables and for calls that fetch an attribute by name, and
compares the names with the rows of host/job/attribute_catalogue.cpp. A name that only the catalogue
has is right: it belongs to a feature that is still to come.
"""
import pathlib
import re
import sys

# Names of rows that settle something between attributes begin with a small letter or hold blanks.
ROW = re.compile(r'\.name = "([A-Z]\w+)"')
CALL = re.compile(r"\b(?:FetchAttribute|IsGiven|IsAttributeGiven|FW_GetYN|GetSpecialChars|ReadMark|ReadEscape|"
                  r"ReadOneAttribute|PX_GetAttribute)\s*\(([^;]*?);", re.S)
LOOP = re.compile(r"for \(const char \*name : \{([^}]*)\}")
NAME = re.compile(r'"([A-Z][A-Za-z0-9_]+)"')
SYSTEM = re.compile(r'"(SYSTEM_\w+)"')


def asked_for(text):
    text = re.sub(r"//[^\n]*", "", text)
    names = set(ROW.findall(text)) | set(SYSTEM.findall(text))
    for call in CALL.findall(text) + LOOP.findall(text):
        names.update(NAME.findall(call))
    return names


def main(root):
    root = pathlib.Path(root)
    catalogue = set(ROW.findall((root / "host/job/attribute_catalogue.cpp").read_text()))
    bad = found = 0
    for source in sorted((root / "src").rglob("*.cpp")):
        names = asked_for(source.read_text())
        found += len(names)
        for name in sorted(names - catalogue):
            print(f"{source}: {name} is not in host/job/attribute_catalogue.cpp")
            bad += 1
    if found < 50:
        print(f"only {found} attributes found in src/: this script no longer knows how they are asked for")
        bad += 1
    return bad != 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
