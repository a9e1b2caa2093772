#!/usr/bin/env python3
"""Files of many kinds, written by Python's csv module from the same rows: the job that `fenwire guess`
writes for each is run as it stands and must load every row, value for value."""
import concurrent.futures
import csv
import io
import os
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile

NAMES = ["id", "Last name", "day", "amount", "note"]
# what it is, settings of the csv writer, encoding, header, bytes put before
KINDS = [
    ("comma", {"delimiter": ","}, "utf-8", True, b""),
    ("semicolon, CRLF, mark", {"delimiter": ";", "lineterminator": "\r\n"}, "utf-8", True, b"\xef\xbb\xbf"),
    ("tab, all quoted", {"delimiter": "\t", "quoting": csv.QUOTE_ALL}, "utf-8", False, b""),
    ("bar, backslash", {"delimiter": "|", "doublequote": False, "escapechar": "\\", "quoting": csv.QUOTE_ALL}, "utf-8", True, b""),
    ("caret, single quotes", {"delimiter": "^", "quotechar": "'"}, "utf-8", True, b""),
    ("unit separator", {"delimiter": "\x1f"}, "utf-8", False, b""),
    ("UTF-16", {"delimiter": ";"}, "utf-16-le", True, b"\xff\xfe"),
    ("UTF-16 without mark", {"delimiter": ",", "lineterminator": "\r\n"}, "utf-16-le", True, b""),
]


def make_rows(count):
    dice = random.Random(4711)
    notes = ["", "plain", "a, b; c", 'say "so"', "it's", "two\nlines", "Zoë ž", "x|y^z"]
    return [[str(i), dice.choice(["Müller", "O'Neil", "van Dyk", "Li"]),
             f"2024-{dice.randint(1, 12):02}-{dice.randint(1, 28):02}",
             f"{dice.randint(1, 10**6) / 100:.2f}", dice.choice(notes)] for i in range(count)]


def fault(fenwire, rows, kind, settings, encoding, header, before):
    """What is wrong with the job that is guessed for the rows in such a file."""
    text = io.StringIO()
    csv.writer(text, **{"lineterminator": "\n", **settings}).writerows([NAMES] * header + rows)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "in").mkdir()
        (folder / "in/data.txt").write_bytes(before + text.getvalue().encode(encoding))
        for arguments in (["guess", "in/data.txt", "-o", "job.toml"], ["run", "job.toml", "--progress", "off"]):
            run = subprocess.run([fenwire, *arguments], cwd=folder, capture_output=True, text=True, check=False)
            job = (folder / "job.toml").read_text() if (folder / "job.toml").exists() else ""
            if run.returncode != 0:
                return f"{kind}: {arguments[0]} ends with {run.returncode}\n{run.stderr}\n{job}"
        with sqlite3.connect(folder / "data.db") as database:
            got = sorted(["" if c is None else c for c in row] for row in database.execute("SELECT * FROM data"))
    if got != sorted(rows):
        return f"{kind}: {len(got)} rows of {len(rows)}, wrong ones {[row for row in got if row not in rows][:3]}\n{job}"
    if header and '"Last_name VARCHAR' not in job:
        return f"{kind}: the column names are not those of the file\n{job}"


def main(fenwire):
    cases = [(rows, *kind) for rows in (make_rows(12), make_rows(30000)) for kind in KINDS]  # looked at as a whole, and in pieces
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        faults = list(filter(None, pool.map(lambda case: fault(fenwire, *case), cases)))
    sys.exit("\n".join(faults) or None)


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]))
