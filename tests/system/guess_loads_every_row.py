#!/usr/bin/env python3
"""Files of many kinds, written by Python's csv module from the same rows: the job that `fenwire guess`
writes for each is run as it stands and must load every row, value for value."""
import csv
import io
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


def load(fenwire, folder, data, kind):
    (folder / "in").mkdir()
    (folder / "in" / "data.txt").write_bytes(data)
    job = folder / "job.toml"
    for arguments in (["guess", folder / "in" / "data.txt", "-o", job], ["run", job, "--progress", "off"]):
        run = subprocess.run([fenwire, *arguments], capture_output=True, text=True, check=False)
        if run.returncode != 0:
            words = job.read_text() if job.exists() else ""
            sys.exit(f"{kind}: {arguments[0]} ends with {run.returncode}\n{run.stderr}\n{words}")
    with sqlite3.connect(folder / "data.db") as database:
        return database.execute("SELECT * FROM data").fetchall(), job.read_text()


def main(fenwire):
    for count in (12, 30000):  # looked at as a whole, and in pieces
        rows = make_rows(count)
        for kind, settings, encoding, header, before in KINDS:
            text = io.StringIO()
            writer = csv.writer(text, **{"lineterminator": "\n", **settings})
            writer.writerows([NAMES] * header + rows)
            with tempfile.TemporaryDirectory() as folder:
                data = before + text.getvalue().encode(encoding)
                got, job = load(fenwire, pathlib.Path(folder), data, kind)
            got = sorted(["" if c is None else c for c in row] for row in got)
            if got != sorted(rows):
                odd = [row for row in got if row not in rows][:3]
                sys.exit(f"{kind}: {len(got)} rows of {len(rows)}, wrong ones {odd}\n{job}")
            if header and '"Last_name VARCHAR' not in job:
                sys.exit(f"{kind}: the column names are not those of the file\n{job}")


if __name__ == "__main__":
    main(sys.argv[1])
