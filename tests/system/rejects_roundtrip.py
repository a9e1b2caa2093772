#!/usr/bin/env python3
"""Good and bad records mixed at random: run, repair, retry, until every record is in the table once.

After each step the table holds exactly the rows that it should, the list and the record error file hold
each bad record once and as it was read, and nothing that is loaded is loaded again.
"""
import base64
import json
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile

JOB = """
[job]
name = "mixed"
[producer]
instances = {instances}
DirectoryPath = "in"
FileName = "*.csv"
Format = "Delimited"
TextDelimiter = ","
QuotedData = "Optional"
SkipRows = 1
SkipRowsEveryFile = "Yes"
RecordErrorFileName = "bad"
RecordErrorVerbosity = "{verbosity}"
RecordErrorFilePrefix = "#"
AcceptExcessColumns = "{many}"
AcceptMissingColumns = "{few}"
TruncateColumnData = "{long}"
[schema]
columns = ["id VARCHAR(12)", "name VARCHAR(12)", "note VARCHAR(8)", "last VARCHAR(4)"]
[target]
type = "sqlite"
file = "out.db"
table = "t"
"""


def record(kind, key, end):
    # A short record is short by two: by one, behind a quoted column, it would get an empty last one.
    rest = {"good": b",ok,z", "few": b"", "many": b",a,b,c", "long": b",too long!,z"}[kind]
    name = random.choice([b"plain", b'"a,b"', b'"two' + end + b'lines"', b"\xff\xfe", b"#[1] File"])
    return b"%d,%s%s" % (key, name, rest)


def fail(what, *details):
    print(what, *details, sep="\n")
    sys.exit(1)


class Case:
    def __init__(self, program, folder, seed):
        random.seed(seed)
        self.program, self.folder, self.seed = program, pathlib.Path(folder), seed
        self.end = random.choice([b"\n", b"\r\n"])
        self.accept = {k: random.choice(["Yes", "No", "YesWithoutLog"]) for k in ("few", "many", "long")}
        settings = {"instances": 1 + seed % 5, "verbosity": random.choice(["Off", "Low", "High"])}
        (self.folder / "job.toml").write_text(JOB.format(**settings, **self.accept))
        (self.folder / "in").mkdir()
        self.records, key = {}, 0
        for number in range(random.randint(1, 7)):
            lines = [b"id,name,note,last"]
            for _ in range(random.randint(0, 300)):
                kind = random.choice(["good"] * 6 + ["few", "many", "long"])
                self.records[key] = (kind, record(kind, key, self.end))
                lines.append(self.records[key][1])
                key += 1
            tail = random.choice([b"", self.end])
            (self.folder / f"in/{number}.csv").write_bytes(self.end.join(lines) + tail)

    def keys(self, *words):
        return {k for k, (kind, _) in self.records.items() if self.accept.get(kind) in words}

    def fenwire(self, *words, status):
        run = subprocess.run([self.program, *words], cwd=self.folder, capture_output=True, check=False,
                             stdin=subprocess.DEVNULL, timeout=60)
        if run.returncode != status:
            fail(f"seed {self.seed}: {words}: exit status {run.returncode}, not {status}", run.stderr.decode())

    def table_is(self, wanted):
        with sqlite3.connect(self.folder / "out.db") as database:
            got = sorted(int(row[0]) for row in database.execute("SELECT id FROM t"))
        if got != sorted(wanted):
            fail(f"seed {self.seed}: lost {set(wanted) - set(got)}, foreign {set(got) - set(wanted)}, "
                 f"{len(got)} rows for {len(wanted)}")

    def listed(self, name, left_out):
        """Raw bytes of the list's records by key; each must be in the error file, too, and once."""
        found, text = {}, (self.folder / name).read_bytes()
        for line in (self.folder / f"{name}.jsonl").read_text().splitlines():
            entry = json.loads(line)
            raw = entry["raw"].encode() if "raw" in entry else base64.b64decode(entry["raw_base64"])
            if entry["left_out"] == left_out:
                found[int(raw.split(b",")[0])] = raw
            if (b"\n" + text).count(b"\n" + raw + b"\n") != 1:
                fail(f"seed {self.seed}: {name} does not hold {raw} once")
        return found

    def repair(self, name, keys):
        text = (self.folder / name).read_bytes()
        for key, raw in self.listed(name, True).items():
            if key in keys:
                text = (b"\n" + text).replace(b"\n" + raw + b"\n", b"\n%d,mended,ok,z\n" % key)[1:]
        (self.folder / name).write_bytes(text)

    def play(self):
        bad, everything = self.keys("No"), set(self.records)
        no_text = any(b"\xff" in self.records[key][1] for key in everything - bad)  # loaded, with a warning
        self.fenwire("run", "job.toml", status=4 if bad or no_text else 0)
        self.table_is(everything - bad)
        for left_out, wanted in ((True, bad), (False, self.keys("Yes"))):
            found = self.listed("bad", left_out)
            if found != {k: self.records[k][1] for k in wanted}:
                fail(f"seed {self.seed}: left_out {left_out}: listed {found}")
        rest = set(random.sample(sorted(bad), len(bad) // 3))
        self.repair("bad", bad - rest)
        self.fenwire("rejects", "retry", "job.toml", status=4 if rest else 0)
        self.table_is(everything - rest)
        if not bad:
            return  # nothing waited, so there was no retry
        self.repair("bad.retry", rest)
        self.fenwire("rejects", "retry", "job.toml", status=0)
        self.table_is(everything)
        self.fenwire("rejects", "retry", "job.toml", status=0)
        self.table_is(everything)


def main(program, count):
    for seed in range(count):
        with tempfile.TemporaryDirectory(prefix="fenwire-rejects-") as folder:
            Case(program, folder, seed).play()


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]))
