#!/usr/bin/env python3
"""Made rows into files of every format, and back: what comes back are the same rows.

    tests/system/round_trip.py FENWIRE [COUNT [SEED]]

COUNT random jobs: schema, format, quoting, character set, NULLs, instances on both sides. Whether rows are
the same is told by the null target's checksum. Then typed values, which are written as text, are held
against the same rows in a binary file, read here; and delimited files against Python's csv module and the
importer of the sqlite3 shell.
"""
import csv
import decimal
import os
import pathlib
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile

from random_jobs import BINARY, binary_job, delimited_job, job_text, sized, text_job

# Types that go out as text of their own in delimited data.
TEXTED = ["INTEGER", "SMALLINT", "BYTEINT", "BIGINT", "FLOAT", "DECIMAL", "INTDATE", "PERIOD(INTDATE)", "NUMBER",
          "PERIOD(TIME{})", "PERIOD(TIME{} WITH TIME ZONE)", "PERIOD(TIMESTAMP{})", "PERIOD(TIMESTAMP{} WITH TIME ZONE)"]


class Failed(Exception):
    pass


class Told(Exception):
    """The writer says that values are not read back as they were."""


class Jobs:
    """Runs jobs in a folder, one after the other."""

    def __init__(self, fenwire, folder):
        self.fenwire, self.folder, self.count = fenwire, folder, 0

    def run(self, charset, columns, *sections, stdin=None):
        self.count += 1
        job = self.folder / f"job{self.count}.toml"
        job.write_text(job_text(charset, columns, *sections), encoding="utf-8")
        done = subprocess.run([self.fenwire, "run", job, "--progress", "off"], capture_output=True, check=False, input=stdin,
                              timeout=120)
        text = (done.stdout + done.stderr).decode(errors="replace")
        if done.returncode == 4 and "QLX19988" in text:
            raise Told
        if done.returncode != 0:
            raise Failed(f"exit status {done.returncode} of {job}\n{job.read_text(encoding='utf-8')}\n{text}")
        return text

    def checksum(self, charset, columns, *sections):
        text = self.run(charset, columns, *sections, ("target", {"type": "null", "checksum": True}))
        return re.search(r"checksum ([0-9a-f]{16})", text).group(1)


# ---- Random jobs ------------------------------------------------------------------------------------


def random_job(rng, jobs):
    charset, columns, made, attributes, writing, reading = rng.choice([binary_job, binary_job, text_job, delimited_job,
                                                                       delimited_job])(rng)
    rows = rng.choice([0, 1, 2, 50, 150]) if len(columns) < 100 else rng.choice([1, 20])
    source = {"type": "generator", "rows": rows, "seed": rng.randrange(1 << 40), **made}
    files = f"{jobs.count}.rows"
    out = {"instances": rng.choice([1, 1, 2, 4]), "DirectoryPath": "files", "FileName": files, **attributes, **writing}
    back = {"instances": rng.choice([1, 1, 3]), "DirectoryPath": "files", "FileName": files + "*", **attributes, **reading}
    from_source = ("source", {"instances": rng.choice([1, 2, 3]), **source})
    wanted = jobs.checksum(charset, columns, ("source", source))
    kind = f"{attributes['Format']}, {len(columns)} columns"
    try:
        jobs.run(charset, columns, from_source, ("consumer", out))
    except Told:
        if not may_collide(attributes):
            raise Failed(f"no reason not to read this back: {attributes}") from None
        return kind + ", told that it is not read back"
    if attributes["Format"] in BINARY and rng.random() < 0.5:
        other = {**out, "instances": rng.choice([1, 3]), "FileName": "other" + files, "Format": rng.choice(BINARY)}
        jobs.run(charset, columns, ("producer", back), ("consumer", other))
        back = {**back, "FileName": "other" + files + "*", "Format": other["Format"]}
        kind += f", by way of {other['Format']}"
    got = jobs.checksum(charset, columns, ("producer", back))
    if got != wanted:
        raise Failed(f"{rows} rows came back otherwise: checksum {got}, wanted {wanted}: see job{jobs.count - 2}.toml to "
                     f"job{jobs.count}.toml\n" + (jobs.folder / f"job{jobs.count - 1}.toml").read_text(encoding="utf-8"))
    return kind


def may_collide(attributes):
    """Whether a value's end and the mark behind it can be a mark too early: no quoting helps."""
    quoted = "QuotedData" in attributes
    return len(attributes.get("CloseQuoteMark", "")) > 1 or (not quoted and len(attributes.get("TextDelimiter", "")) > 1)


# ---- Values as text, against a binary file read here ----------------------------------------------------

TWO_BYTES = ("VARCHAR", "PERIOD(TIMESTAMP")
INTEGERS = {"INTEGER": "<i", "SMALLINT": "<h", "BYTEINT": "<b", "BIGINT": "<q"}


def binary_rows(path, columns):
    """Rows of a Binary4 file with indicator bytes; a value is its bytes, or None."""
    data, at, rows = path.read_bytes(), 0, []
    types = [column.split(" ", 1)[1] for column in columns]
    while at < len(data):
        end = at + 4 + struct.unpack_from("<I", data, at)[0]
        flags = data[at + 4:at + 4 + (len(types) + 7) // 8]
        at += 4 + len(flags)
        row = []
        for i, name in enumerate(types):
            width = 2 if name.startswith(TWO_BYTES) else 1 if name.startswith("NUMBER") else 0
            length = int.from_bytes(data[at:at + width], "little") if width else fixed_bytes(name)
            at += width
            row.append(None if flags[i // 8] & 0x80 >> i % 8 else data[at:at + length])
            at += length
        if at != end:
            raise Failed(f"{path}: row {len(rows) + 1} ends at {at} instead of {end}")
        rows.append(row)
    return rows


def fixed_bytes(name):
    if name.startswith("DECIMAL"):
        precision = int(re.search(r"\d+", name).group())
        return next(size for digits, size in ((2, 1), (4, 2), (9, 4), (18, 8), (38, 16)) if precision <= digits)
    if name.startswith("PERIOD(TIME"):
        return 16 if "ZONE" in name else 12
    return {"INTEGER": 4, "SMALLINT": 2, "BYTEINT": 1, "BIGINT": 8, "FLOAT": 8, "INTDATE": 4, "PERIOD(INTDATE)": 8}[name]


def moment_text(name, value):
    digits = int(re.search(r"\d", name).group())
    micro = struct.unpack_from("<I", value)[0]
    at, text = 4, ""
    if "STAMP" in name:
        year, month, day = struct.unpack_from("<HBB", value, at)
        at, text = 8, f"{year:04}-{month:02}-{day:02} "
    hour, minute = value[at], value[at + 1]
    seconds = f"{micro // 1000000:02}" + (f".{micro % 1000000:06}"[:1 + digits] if digits else "")
    text += f"{hour:02}:{minute:02}:{seconds}"
    if "ZONE" in name:
        zone = value[at + 2] - 16
        text += f"{'-' if zone < 0 else '+'}{abs(zone):02}:{value[at + 3]:02}"
    return text


def day_text(value):
    day = struct.unpack("<i", value)[0] + 19000000
    return f"{day // 10000:04}/{day // 100 % 100:02}/{day % 100:02}"


def text_agrees(name, value, text, encoding):
    if name in INTEGERS:
        return text == str(struct.unpack(INTEGERS[name], value)[0])
    if name == "FLOAT":
        number = struct.unpack("<d", value)[0]
        return decimal.Decimal(text) == decimal.Decimal(f"{number:.14e}") and ("." not in text or "0" != text.split("e")[0][-1])
    if name.startswith("DECIMAL"):
        scale = int(re.search(r",(\d+)", name).group(1))
        number = decimal.Decimal(int.from_bytes(value, "little", signed=True)).scaleb(-scale)
        plain = f"{number:f}"
        plain = plain.rstrip("0").rstrip(".") if "." in plain else plain
        return text == ("0" if number == 0 else plain)
    if name.startswith("NUMBER"):
        scale = int.from_bytes(value[:2], "little", signed=True)
        return decimal.Decimal(text) == decimal.Decimal(int.from_bytes(value[2:], "little", signed=True)).scaleb(-scale)
    if name == "INTDATE":
        return text == day_text(value)
    if name.startswith("PERIOD"):
        half = len(value) // 2
        one = day_text if "INTDATE" in name else lambda part: moment_text(name, part)
        return text == f"('{one(value[:half])}', '{one(value[half:])}')"
    return text.encode(encoding) == value


def value_texts(rng, jobs):
    """Every type that has a text: the delimited file against the binary one."""
    charset, encoding = rng.choice([("UTF8", "utf-8"), ("UTF16", "utf-16-le")])
    columns = [f"c{i} {sized(rng, name)}" for i, name in enumerate(TEXTED * 2 + ["DECIMAL"] * 6)] + ["v VARCHAR(9)"]
    source = ("source", {"type": "generator", "rows": 400, "seed": rng.randrange(1 << 40), "edges": True, "nulls": 5})
    for name, keys in (("v.bin", {"Format": "Binary4", "IndicatorMode": "Yes"}),
                       ("v.csv", {"Format": "Delimited", "TextDelimiter": ";", "QuotedData": "Optional"})):
        jobs.run(charset, columns, source, ("consumer", {"DirectoryPath": "files", "FileName": name, **keys}))
    rows = binary_rows(jobs.folder / "files/v.bin", columns)
    lines = (jobs.folder / "files/v.csv").read_text(encoding=encoding).splitlines()
    if len(lines) != len(rows) or len(rows) != 400:
        raise Failed(f"{len(rows)} rows and {len(lines)} lines instead of 400")
    for number, (row, line) in enumerate(zip(rows, lines), 1):
        for column, value, text in zip(columns, row, line.split(";")):
            name = column.split(" ", 1)[1]
            text = "" if text == '""' else text
            if (text != "") if value is None else not text_agrees(name, value, text, encoding):
                raise Failed(f"row {number}, {column}: {None if value is None else value.hex()} is written {text!r}")
    return f"{len(columns)} columns as text in {charset}"


# ---- Values that end with half a delimiter -----------------------------------------------------------------


def half_delimiters(_, jobs):
    columns, rows = ["a VARCHAR(9)", "b VARCHAR(9)"], b"x:|y\n:|\n"
    source = ("source", {"type": "stdin"})
    for name, keys in (("No", {}), ("Optional", {"QuotedData": "Optional"}), ("Yes", {"QuotedData": "Yes"})):
        files = {"DirectoryPath": "files", "FileName": f"half{jobs.count}", "Format": "Delimited", "TextDelimiter": "::", **keys}
        told = False
        try:
            jobs.run("UTF8", columns, source, ("consumer", files), stdin=rows)
        except Told:
            told = True
        if told != (name == "No"):
            raise Failed(f"QuotedData {name}: told that values are not read back: {told}")
        if not told:
            jobs.run("UTF8", columns, ("producer", files), ("target", {"type": "print", "file": "half.txt"}))
            compare("producer", (jobs.folder / "half.txt").read_bytes(), rows)
    return "half delimiters"


# ---- Delimited files, read by others --------------------------------------------------------------------


def other_readers(rng, jobs):
    columns = [f"c{i} VARCHAR({rng.choice([1, 5, 40])})" for i in range(6)]
    source = ("source", {"type": "generator", "rows": 500, "seed": rng.randrange(1 << 40), "edges": True, "nulls": 10,
                         "text": "all"})
    quoted = rng.choice(["Yes", "Optional"])
    for name, keys in (("o.bin", {"Format": "Binary4", "IndicatorMode": "Yes"}),
                       ("o.csv", {"Format": "Delimited", "TextDelimiter": ",", "QuotedData": quoted})):
        jobs.run("UTF8", columns, source, ("consumer", {"DirectoryPath": "files", "FileName": name, **keys}))
    wanted = [["" if v is None else v.decode() for v in row] for row in binary_rows(jobs.folder / "files/o.bin", columns)]
    path = jobs.folder / "files/o.csv"
    with open(path, newline="", encoding="utf-8") as file:
        compare("csv", list(csv.reader(file, strict=True)), wanted)
    if shutil.which("sqlite3") is None:
        return "csv module only; there is no sqlite3 shell here"
    database = jobs.folder / f"o{jobs.count}.db"
    names = ", ".join(f"c{i} TEXT" for i in range(6))
    hexed = ", ".join(f"hex(c{i})" for i in range(6))
    shell = subprocess.run(["sqlite3", "-bail", database], capture_output=True, check=False, text=True,
                           input=f"CREATE TABLE t({names});\n.import --csv '{path}' t\n.mode list\nSELECT {hexed} FROM t "
                                 "ORDER BY rowid;\n")
    if shell.returncode != 0 or shell.stderr:
        raise Failed(f"sqlite3 could not import {path}: {shell.stderr}")
    compare("sqlite3", [[bytes.fromhex(v).decode() for v in line.split("|")] for line in shell.stdout.splitlines()], wanted)
    return f"csv module and sqlite3 shell, QuotedData {quoted}"


def compare(who, got, wanted):
    if len(got) != len(wanted):
        raise Failed(f"{who} reads {len(got)} rows instead of {len(wanted)}")
    for number, (a, b) in enumerate(zip(got, wanted), 1):
        if a != b:
            raise Failed(f"{who} reads row {number} as {a} instead of {b}")


def main(fenwire, count=12, seed=None):
    seed = int(seed) if seed is not None else random.randrange(1 << 32)
    print(f"seed {seed}")
    decimal.getcontext().prec = 400
    folder = pathlib.Path(tempfile.mkdtemp(prefix="round-trip-"))
    (folder / "files").mkdir()
    jobs = Jobs(os.path.abspath(fenwire), folder)
    failures = 0
    for number in range(int(count)):
        rng = random.Random(f"{seed} {number}")
        trip = {0: value_texts, 1: other_readers, 2: half_delimiters}.get(number % 12, random_job)
        try:
            print(f"{number}: {trip(rng, jobs)}")
        except Failed as failed:
            failures += 1
            print(f"{number}: FAILED: {failed}")
    if failures == 0:
        shutil.rmtree(folder)
    else:
        print(f"{failures} failed; again with: {sys.argv[0]} {fenwire} {count} {seed}; the jobs are in {folder}")
    return failures != 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
