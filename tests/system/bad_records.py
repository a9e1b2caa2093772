#!/usr/bin/env python3
"""Good rows mixed with bad ones at random: every good one arrives, every bad one is kept once, as read.

Each round makes its own settings and files from a seed, works out what must come of every record, and
runs the job. What fails prints its seed; run it again with that as second argument.
"""
import collections
import json
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile

COLUMNS, MAXIMUM = 4, 12
NO, YES, WITHOUT_LOG = "No", "Yes", "YesWithoutLog"


class Data:
    def __init__(self, rng, settings):
        self.rng, self.settings = rng, settings
        self.next_id = 0

    def text(self, low, high):
        return "".join(self.rng.choice('abcxyz0189 éß€",\n') for _ in range(self.rng.randint(low, high)))

    def field(self, value, end):
        """As it stands in the file, and as it arrives."""
        value = value.replace("\n", end)
        if any(mark in value for mark in '",\n') or (value and self.rng.random() < 0.2):
            return '"' + value.replace('"', '""') + '"', value
        return value, value or None

    def value(self):
        while len((value := self.text(0, MAXIMUM // 3)).encode()) > MAXIMUM - 4:
            pass
        return value

    def record(self, end):
        """Raw bytes, the kind of fault, the row if there is one."""
        kind = self.rng.choices(["good", "few", "many", "long", "quote"],
                                [70, 10, 10, 10, self.settings["badly_quoted"]])[0]
        count = {"few": self.rng.randint(0, COLUMNS - 2), "many": COLUMNS + self.rng.randint(1, 3)}.get(kind, COLUMNS)
        self.next_id += 1
        values = [str(self.next_id)] + [self.value() for _ in range(count - 1)] if count else []
        if kind in ("many", "good", "quote"):
            values[-1] = values[-1] or "end"
        if kind == "long":
            values[self.rng.randint(1, COLUMNS - 1)] = "l" * self.rng.randint(MAXIMUM + 1, 40)
        if kind == "few" and count > 1:
            values[-1] = values[-1] or "end"
        both = [self.field(value, end) for value in values]
        raw = [file for file, _ in both]
        if kind == "quote":
            raw[self.rng.randint(1, COLUMNS - 1)] = '"quoted"x'
        row = [arrived if arrived is None else arrived[:MAXIMUM] if kind == "long" else arrived
               for _, arrived in both][:COLUMNS]
        return ",".join(raw).encode(), kind, tuple(row + [None] * (COLUMNS - len(row)))


def outcome(files, settings):
    """Rows, kept records and exit status of one instance that reads the files in turn."""
    accept = {"few": settings["AcceptMissingColumns"], "many": settings["AcceptExcessColumns"],
              "long": settings["TruncateColumnData"]}
    rows, kept, status = [], [], 0
    for records in files:
        for raw, kind, row in records:
            setting = accept.get(kind, NO)
            if kind != "good" and setting != WITHOUT_LOG:
                kept.append(raw)
            if kind == "good" or setting != NO:
                rows.append(row)
                continue
            if kind == "quote" or 0 < settings["ErrorLimit"] <= len(kept):
                return [], kept, 12
            status = 4
    return rows, kept, status


def split(data, raws):
    """The kept records of an error file: each begins with its number, or is empty."""
    by_id = {raw.split(b",")[0]: raw for raw in raws if raw}
    at, found = 0, []
    while at < len(data):
        number = data[at:].split(b"\n", 1)[0].split(b",")[0]
        raw = by_id.get(number, b"")
        if data[at:at + len(raw) + 1] != raw + b"\n":
            raise AssertionError(f"{data[at:at + 80]} is not {raw}")
        found.append(raw)
        at += len(raw) + 1
    return found


def one_round(fenwire, seed):
    rng = random.Random(seed)
    instances = rng.randint(1, 5)
    alone = instances == 1  # what ends a job ends it at a known place only then
    settings = {name: rng.choice([NO, YES, WITHOUT_LOG])
                for name in ("AcceptMissingColumns", "AcceptExcessColumns", "TruncateColumnData")}
    settings["ErrorLimit"] = rng.choice([-1, 1, 20, 10000]) if alone else -1
    settings["badly_quoted"] = rng.choice([0, 1]) if alone else 0
    data = Data(rng, settings)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "in").mkdir()
        files = []
        for i in range(1 if alone else rng.randint(instances, 2 * instances)):
            end = rng.choice(["\n", "\r\n"])
            records = [data.record(end) for _ in range(rng.randint(1, 400))]
            # The first record settles the file's line end, so it holds none of its own.
            records = [(b"0,first,of,all", "good", ("0", "first", "of", "all"))] + records
            files.append(records)
            (folder / f"in/{i}.csv").write_bytes(b"".join(raw + end.encode() for raw, _, _ in records))
        (folder / "job.toml").write_text(f"""
[job]
name = "random"
[producer]
DirectoryPath = "in"
FileName = "*.csv"
Format = "Delimited"
TextDelimiter = ","
QuotedData = "Optional"
instances = {instances}
RecordErrorFileName = "bad.txt"
ErrorLimit = {settings["ErrorLimit"]}
AcceptMissingColumns = "{settings["AcceptMissingColumns"]}"
AcceptExcessColumns = "{settings["AcceptExcessColumns"]}"
TruncateColumnData = "{settings["TruncateColumnData"]}"
[schema]
columns = ["a VARCHAR({MAXIMUM})", "b VARCHAR({MAXIMUM})", "c VARCHAR({MAXIMUM})", "d VARCHAR({MAXIMUM})"]
[target]
type = "sqlite"
file = "out.db"
table = "t"
""")
        with sqlite3.connect(folder / "out.db") as database:
            database.execute("CREATE TABLE t (a TEXT, b TEXT, c TEXT, d TEXT)")
        run = subprocess.run([fenwire, "run", "job.toml", "--json"], cwd=folder, capture_output=True, check=False)
        rows, kept, status = outcome(files, settings)
        assert run.returncode == status, f"exit status {run.returncode}, not {status}\n{run.stderr.decode()}"
        with sqlite3.connect(folder / "out.db") as database:
            got = collections.Counter(database.execute("SELECT * FROM t").fetchall())
        assert got == collections.Counter(rows), f"rows: {list((got - collections.Counter(rows)).items())[:3]} " \
            f"too many, {list((collections.Counter(rows) - got).items())[:3]} missing"
        found = split((folder / "bad.txt").read_bytes(), kept)
        assert collections.Counter(found) == collections.Counter(kept), "kept records differ"
        listed = [json.loads(line) for line in (folder / "bad.txt.jsonl").read_text().splitlines()]
        assert len(listed) == len(kept), f"{len(listed)} records are listed, {len(kept)} kept"
        for told in listed:
            raw = files[int(told["file"].split(".")[0])][told["record"] - 1][0]
            data_file = (folder / "in" / told["file"]).read_bytes()
            assert data_file[told["offset"]:].startswith(raw) and told["raw"].encode() == raw, f"{told} is {raw}"
        report = json.loads(run.stdout)
        if status != 12:
            read = sum(len(records) for records in files)
            assert (report["read"], report["loaded"], report["refused"]) == (read, len(rows), read - len(rows)), report
        left = list((folder / ".fenwire/random/logs").glob("QLX_*"))
        assert not left, f"temporary files are left: {left}"
    return f"{instances} instances, exit status {status}, {len(rows)} rows, {len(kept)} records kept"


def main(fenwire, only=None):
    for seed in [int(only)] if only is not None else range(24):
        try:
            print(f"seed {seed}: {one_round(fenwire, seed)}")
        except AssertionError as failure:
            sys.exit(f"seed {seed}: {failure}")


if __name__ == "__main__":
    main(*sys.argv[1:])
