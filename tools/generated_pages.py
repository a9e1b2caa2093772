#!/usr/bin/env python3
"""Checks that the generated pages in docs/ are what the program prints now.

    tools/generated_pages.py build/dev/fenwire .            compares
    tools/generated_pages.py build/dev/fenwire . --write    writes them anew
"""
import pathlib
import subprocess
import sys

PAGES = {"attributes": "docs/attributes.md", "messages": "docs/messages.md"}


def main(program, root, write):
    bad = 0
    for page, path in PAGES.items():
        file = pathlib.Path(root) / path
        made = subprocess.run([program, "docs", page], check=True, stdout=subprocess.PIPE).stdout
        if write:
            file.write_bytes(made)
        elif not file.exists() or file.read_bytes() != made:
            print(f"{path} differs from what `fenwire docs {page}` prints; run {sys.argv[0]} {program} {root} --write")
            bad += 1
    return bad != 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], "--write" in sys.argv[3:]))
