#!/usr/bin/env python3
"""The files that Debian ships, loaded with 1, 2, 3 and 5 instances, against Python's csv module."""
import csv
import glob
import pathlib
import sqlite3
import subprocess
import sys
import tempfile


def reference(paths, delimiter, header):
    rows = []
    for path in paths:
        with open(path, newline="", encoding="utf-8") as file:
            lines = list(csv.reader(file, delimiter=delimiter, quoting=csv.QUOTE_MINIMAL if header else csv.QUOTE_NONE))
        rows += lines[1:] if header else lines
    return sorted(tuple(row) for row in rows)


def load(fenwire, example, folder, table, instances):
    job = folder / example.name
    job.write_text(example.read_text())
    run = subprocess.run([fenwire, "run", job, "--progress", "off", "--instances", str(instances)],
                         capture_output=True, text=True, check=False)
    if run.returncode != 0:
        sys.exit(f"{example.name} with {instances} instances: exit status {run.returncode}\n{run.stderr}")
    with sqlite3.connect(folder / "quickstart.db") as database:
        rows = database.execute(f"SELECT * FROM {table}").fetchall()
    return sorted(tuple("" if c is None else str(c) for c in row) for row in rows)


def main(root, build):
    examples = pathlib.Path(root) / "examples/quickstart"
    cases = [
        ("vendors.toml", "vendors", sorted(glob.glob("/usr/share/ieee-data/*.csv")), ",", True, (1, 2, 3, 5)),
        ("characters.toml", "characters", ["/usr/share/unicode/UnicodeData.txt"], ";", False, (1, 2, 3, 5)),
    ]
    for example, table, paths, delimiter, header, counts in cases:
        wanted = reference(paths, delimiter, header)
        for instances in counts:
            with tempfile.TemporaryDirectory() as folder:
                got = load(f"{build}/fenwire", examples / example, pathlib.Path(folder), table, instances)
            if got != wanted:
                extra = [row for row in got if row not in set(wanted)][:3]
                missing = [row for row in wanted if row not in set(got)][:3]
                sys.exit(f"{example}, {instances} instances: {len(got)} rows, wanted {len(wanted)}; "
                         f"extra {extra}, missing {missing}")
            print(f"{example}, {instances} instances: {len(got)} rows as csv reads them")


if __name__ == "__main__":
    main(*sys.argv[1:])
