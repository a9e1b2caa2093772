#!/usr/bin/env python3
"""Checks that the generated pages in docs/ are what the program prints now.

    tools/generated_pages.py build/dev/fenwire .            compares
    tools/generated_pages.py build/dev/fenwire . --write    writes them anew

docs/job-file.md is written by hand but for the lines between its markers.
"""
import pathlib
import subprocess
import sys

PAGES = {"attributes": "docs/attributes.md", "messages": "docs/messages.md",
         "job-file-sources": "docs/job-file.md", "job-file-targets": "docs/job-file.md"}
END = "<!-- end -->"


def with_part(text, page, made):
    begin = f"<!-- fenwire docs {page} -->\n"
    head, _, rest = text.partition(begin)
    _, _, tail = rest.partition(END)
    return head + begin + made + "\n" + END + tail


def main(program, root, write):
    bad = 0
    for page, path in PAGES.items():
        file = pathlib.Path(root) / path
        now = file.read_text() if file.exists() else ""
        made = subprocess.run([program, "docs", page], check=True, stdout=subprocess.PIPE, text=True).stdout
        if page.startswith("job-file-"):
            made = with_part(now, page, made)
        if write:
            file.write_text(made)
        elif made != now:
            print(f"{path} differs from what `fenwire docs {page}` prints; run {sys.argv[0]} {program} {root} --write")
            bad += 1
    return bad != 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], "--write" in sys.argv[3:]))
