#!/usr/bin/env python3
"""Runs the examples that write files, and compares what they wrote with where it came from.

    examples.py build/dev examples
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile


def run(build, folder, job):
    done = subprocess.run([os.path.join(build, "fenwire"), "run", job], cwd=folder, capture_output=True, timeout=60,
                          check=False, text=True)
    assert done.returncode == 0, done.stderr


def transcode(build, folder):
    run(build, folder, "to_records.toml")
    run(build, folder, "to_csv.toml")
    assert (folder / "again.csv").read_bytes() == (folder / "people.csv").read_bytes(), "people.csv came back changed"


def main(build, examples):
    for example in (transcode,):
        with tempfile.TemporaryDirectory() as work:
            folder = pathlib.Path(shutil.copytree(pathlib.Path(examples) / example.__name__, work, dirs_exist_ok=True))
            example(build, folder)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
