#!/usr/bin/env python3
"""Runs the examples, and compares the rows that they moved with those that they came from.

    examples.py build/dev examples
"""
import csv
import glob
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile


def run(build, folder, job, *words):
    done = subprocess.run([os.path.join(build, "fenwire"), "run", job, *words], cwd=folder, capture_output=True, timeout=120,
                          check=False, text=True)
    assert done.returncode == 0, f"{job} {words}: exit status {done.returncode}\n{done.stderr}"


def quickstart(build, folder):
    """The files that Debian ships, with 1, 2, 3 and 5 instances, against Python's csv module."""
    for table, pattern, delimiter, header in [("vendors", "/usr/share/ieee-data/*.csv", ",", True),
                                              ("characters", "/usr/share/unicode/UnicodeData.txt", ";", False)]:
        wanted = []
        for path in glob.glob(pattern):
            with open(path, newline="", encoding="utf-8") as file:
                rows = csv.reader(file, delimiter=delimiter, quoting=csv.QUOTE_MINIMAL if header else csv.QUOTE_NONE)
                wanted += list(map(tuple, rows))[header:]
        assert wanted, f"there is no {pattern}"
        for instances in (1, 2, 3, 5):
            (folder / "quickstart.db").unlink(missing_ok=True)
            run(build, folder, f"{table}.toml", "--instances", str(instances))
            with sqlite3.connect(folder / "quickstart.db") as database:
                got = [tuple("" if c is None else str(c) for c in row) for row in database.execute(f"SELECT * FROM {table}")]
            odd = sorted(set(got) ^ set(wanted))[:3]
            assert sorted(got) == sorted(wanted), f"{table}, {instances} instances: {len(got)} rows of {len(wanted)}, odd {odd}"


def unload(build, folder):
    with sqlite3.connect(folder / "orders.db") as database:
        database.executescript((folder / "orders.sql").read_text())
        wanted = database.execute("SELECT id, customer, amount, ifnull(note, '') FROM orders ORDER BY id").fetchall()
    run(build, folder, "unload.toml")
    got = []
    for part in "123":
        with open(folder / f"orders.csv-{part}", newline="", encoding="utf-8") as file:
            got += [(int(n), customer, float(amount), note) for n, customer, amount, note in csv.reader(file)]
    assert sorted(got) == wanted, "the files hold other rows than the table"


def transcode(build, folder):
    run(build, folder, "to_records.toml")
    run(build, folder, "to_csv.toml")
    assert (folder / "again.csv").read_bytes() == (folder / "people.csv").read_bytes(), "people.csv came back changed"


def main(build, examples):
    for example in (quickstart, unload, transcode):
        with tempfile.TemporaryDirectory() as work:
            folder = pathlib.Path(shutil.copytree(pathlib.Path(examples) / example.__name__, work, dirs_exist_ok=True))
            example(build, folder)


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]), sys.argv[2])
