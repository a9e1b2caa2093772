#!/usr/bin/env python3
"""Runs the examples that write files, and compares what they wrote with where it came from.

    examples.py build/dev examples
"""
import csv
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile


def run(build, folder, job):
    done = subprocess.run([os.path.join(build, "fenwire"), "run", job], cwd=folder, capture_output=True, timeout=60,
                          check=False, text=True)
    assert done.returncode == 0, done.stderr


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
    for example in (unload, transcode):
        with tempfile.TemporaryDirectory() as work:
            folder = pathlib.Path(shutil.copytree(pathlib.Path(examples) / example.__name__, work, dirs_exist_ok=True))
            example(build, folder)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
