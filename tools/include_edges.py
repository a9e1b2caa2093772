#!/usr/bin/env python3
"""Checks who includes whom: a folder of src/ sees the folders below it, and the runner sees the boundary.

The order, from the ground up, is LEVELS. A folder may include its own files and those of lower levels.
Folders of one level see each other only through their *_state.h headers and through the edges in
SIDEWAYS, each with its reason.
"""
import pathlib
import re
import sys

LEVELS = [
    ["infrastructure"],
    ["operator"],  # state, messages, clock: what everybody reports through
    ["convert", "attributes", "pm", "notify"],
    ["schema"],
    ["delimited"],
    ["fileset"],
    ["rows"],
    ["restart"],
]
LEVEL = {name: i for i, names in enumerate(LEVELS) for name in names}
# The methods are the top of the house, though they live beside the ground floor's headers.
GROUND = {"operator_state.h", "messages.h", "message_table.h", "clock.h", "clock.cpp", "messages.cpp", "not_available.cpp"}
SIDEWAYS = {
    ("attributes", "convert"),  # special characters become UTF-16
    ("attributes", "pm"),       # the parsing case asks for the character set
}
# What the runner may see of src/.
BOUNDARY = {"infrastructure/infrastructure.h", "operator/message_table.h"}
INCLUDE = re.compile(r'^#include "([^"]+)"')


def level(folder, file):
    if folder == "operator" and file not in GROUND:
        return len(LEVELS)
    return LEVEL.get(folder)


def complaint(source, target):
    folder, _, name = target.rpartition("/")
    folder = folder.split("/")[0]
    if folder not in LEVEL:
        return None
    here = source.parts[0]
    if here == folder:
        if here == "operator" and source.name in GROUND and name not in GROUND:
            return "the ground floor includes a method"
        return None
    mine, theirs = level(here, source.name), level(folder, name)
    if mine is None or theirs < mine:
        return None
    if theirs == mine and (name.endswith("_state.h") or (here, folder) in SIDEWAYS):
        return None
    return f"{here} may not include {folder}"


def main(root):
    root = pathlib.Path(root)
    bad = 0
    for base in ("src", "host", "cli"):
        for source in sorted((root / base).rglob("*")):
            if source.suffix not in (".cpp", ".h"):
                continue
            for number, line in enumerate(source.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                target = match.group(1)
                if base == "src":
                    why = complaint(source.relative_to(root / "src"), target)
                    if target.startswith(("host/", "cli/")):
                        why = "the operator knows nothing of the runner"
                else:
                    inside = (root / "src" / target).exists()
                    why = "the runner sees the boundary only" if inside and target not in BOUNDARY else None
                if why:
                    print(f"{source}:{number}: {target}: {why}")
                    bad += 1
    return bad != 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
