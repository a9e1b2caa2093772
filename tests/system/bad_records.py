#!/usr/bin/env python3
"""Good records mixed with bad ones at random: every good one arrives, every bad one is kept once and as it was read.

Each round makes its own settings and files from a seed, works out what must come of every record, and runs the
job. Then some of the bad records are mended and retried, and in the end every record is in the table once. What
fails prints its seed; run it again with that as second argument.
"""
import base64
import collections
import concurrent.futures
import json
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile

COLUMNS, MAXIMUM = 4, 12
NO, YES, WITHOUT_LOG = "No", "Yes", "YesWithoutLog"
JOB = """[job]
name = "random"
[producer]
DirectoryPath = "in"
FileName = "*.csv"
Format = "Delimited"
TextDelimiter = ","
QuotedData = "Optional"
RecordErrorFileName = "bad"
RecordErrorFilePrefix = "#"
{settings}
[schema]
columns = ["a VARCHAR({most})", "b VARCHAR({most})", "c VARCHAR({most})", "d VARCHAR({most})"]
[target]
type = "sqlite"
file = "out.db"
table = "t"
"""


class Record:
    """Raw bytes, the kind of fault, and the row that comes of it, if one does."""

    def __init__(self, rng, key, end, kinds, empty, odd):
        self.kind = rng.choices(list(kinds), kinds.values())[0]
        count = {"few": rng.randint(0 if empty else 1, COLUMNS - 2), "many": COLUMNS + rng.randint(1, 3)}.get(self.kind, COLUMNS)
        values = [str(key).encode(), *(self.value(rng, end, odd) for _ in range(count - 1))] if count else []
        if count > 1 and self.kind != "long":
            values[-1] = values[-1] or b"end"
        if self.kind == "long":
            values[rng.randint(1, COLUMNS - 1)] = b"l" * rng.randint(MAXIMUM + 1, 40)
        both = [self.field(rng, value) for value in values]
        raw = [file for file, _ in both]
        if self.kind == "quote":
            raw[rng.randint(1, COLUMNS - 1)] = b'"quoted"x'
        self.key, self.raw = key if count else None, b",".join(raw)
        self.row = tuple([arrived and arrived[:MAXIMUM] for _, arrived in both][:COLUMNS] + [None] * (COLUMNS - count))

    @staticmethod
    def value(rng, end, odd):
        if rng.random() < 0.1:
            return rng.choice(odd)
        text = "".join(rng.choice('abcxyz0189 éß€",\n') for _ in range(rng.randint(0, 3)))
        return text.encode().replace(b"\n", end)

    @staticmethod
    def field(rng, value):
        """As it stands in the file, and as it arrives."""
        if any(mark in value for mark in (b'"', b",", b"\n")) or (value and rng.random() < 0.2):
            return b'"' + value.replace(b'"', b'""') + b'"', value
        return value, value or None


class Round:
    def __init__(self, program, folder, seed):
        self.program, self.folder, self.rng = program, pathlib.Path(folder), random.Random(seed)
        rng = self.rng
        self.instances = rng.randint(1, 5)
        alone = self.instances == 1  # what ends a job ends it at a known place only then
        self.limit = rng.choice([-1, 1, 20, 10000]) if alone else -1
        self.verbosity = rng.choice(["Off", "Low", "High"])
        self.accept = {kind: rng.choice([NO, YES, WITHOUT_LOG]) for kind in ("few", "many", "long")}
        self.header = rng.random() < 0.5
        self.kinds = {"good": 70, "few": 10, "many": 10, "long": 10, "quote": rng.choice([0, 1]) if alone else 0}
        self.empty = self.verbosity == "Off" and rng.random() < 0.5  # records, which nobody can mend
        self.odd = [b"#[1] File", b"\xff\xfe"] if rng.random() < 0.3 else [b"#[1] File"]
        self.files = [self.make(number) for number in range(1 if alone else rng.randint(self.instances, 2 * self.instances))]
        settings = {"instances": self.instances, "ErrorLimit": self.limit, "RecordErrorVerbosity": f'"{self.verbosity}"',
                    "AcceptMissingColumns": f'"{self.accept["few"]}"', "AcceptExcessColumns": f'"{self.accept["many"]}"',
                    "TruncateColumnData": f'"{self.accept["long"]}"'}
        if self.header:
            settings.update({"SkipRows": 1, "SkipRowsEveryFile": "true"})
        (self.folder / "job.toml").write_text(JOB.format(
            most=MAXIMUM, settings="\n".join(f"{name} = {value}" for name, value in settings.items())))
        with sqlite3.connect(self.folder / "out.db") as database:
            database.execute("CREATE TABLE t (a TEXT, b TEXT, c TEXT, d TEXT)")

    def make(self, number):
        """A file's records. The first line settles its line end, so that holds none of its own."""
        end = self.rng.choice([b"\n", b"\r\n"])
        keys = range(100000 * (number + 1), 100000 * (number + 1) + self.rng.randint(0, 400))
        records = [Record(self.rng, key, end, self.kinds, self.empty, self.odd) for key in keys]
        first = b"id,name,note,last" if self.header else b"%d,first,of,all" % number
        tail = end if not records or not records[-1].raw else self.rng.choice([b"", end])
        (self.folder / "in").mkdir(exist_ok=True)
        (self.folder / f"in/{number}.csv").write_bytes(end.join([first, *(record.raw for record in records)]) + tail)
        return [None, *records]

    def outcome(self):
        """Rows, kept records and exit status of the run."""
        rows = [] if self.header else [(str(n).encode(), b"first", b"of", b"all") for n in range(len(self.files))]
        kept, status = [], 0
        for record in (record for records in self.files for record in records[1:]):
            setting = self.accept.get(record.kind, NO)
            if record.kind != "good" and setting != WITHOUT_LOG:
                kept.append(record)
            if record.kind == "good" or setting != NO:
                rows.append(record.row)
                status = 4 if any(b"\xff" in value for value in record.row if value) else status
                continue
            if record.kind == "quote" or 0 < self.limit <= len(kept):
                return [], kept, 12
            status = 4
        return rows, kept, status

    def fenwire(self, *words, status):
        run = subprocess.run([self.program, *words], cwd=self.folder, capture_output=True, check=False,
                             stdin=subprocess.DEVNULL, timeout=60)
        assert run.returncode == status, f"{words}: exit status {run.returncode}, not {status}\n{run.stderr.decode()}"
        return run.stdout

    def table_is(self, rows):
        with sqlite3.connect(self.folder / "out.db") as database:
            database.text_factory = bytes
            got, wanted = collections.Counter(database.execute("SELECT * FROM t").fetchall()), collections.Counter(rows)
        assert got == wanted, f"rows: {list((got - wanted).items())[:3]} too many, {list((wanted - got).items())[:3]} missing"

    def error_file_is(self, name, kept):
        """With remarks between the records each must be there once, without them nothing else."""
        data = (self.folder / name).read_bytes()
        if self.verbosity == "Off":
            by_key = {record.raw.split(b",")[0]: record.raw for record in kept}
            at, found = 0, []
            while at < len(data):
                raw = by_key.get(data[at:].split(b"\n", 1)[0].split(b",")[0], b"")
                assert data[at:at + len(raw) + 1] == raw + b"\n", f"{data[at:at + 80]} is not {raw}"
                found.append(raw)
                at += len(raw) + 1
            assert collections.Counter(found) == collections.Counter(record.raw for record in kept), "kept records differ"
        for record in kept:
            assert not record.raw or (b"\n" + data).count(b"\n" + record.raw + b"\n") == 1, f"{name}: {record.raw} not once"

    def list_is(self, kept):
        listed = [json.loads(line) for line in (self.folder / "bad.jsonl").read_text().splitlines()]
        assert len(listed) == len(kept), f"{len(listed)} records are listed, {len(kept)} kept"
        for told in listed:
            record = self.files[int(told["file"].split(".")[0])][told["record"] - 1]
            raw = told["raw"].encode() if "raw" in told else base64.b64decode(told["raw_base64"])
            at = (self.folder / "in" / told["file"]).read_bytes()[told["offset"]:]
            assert at.startswith(raw) and raw == record.raw, f"{told} is {record.raw}"
            assert record.kind == "quote" or told["left_out"] == (self.accept[record.kind] == NO), f"{told}"

    def mend(self, name, records):
        data = b"\n" + (self.folder / name).read_bytes()
        for record in records:
            assert data.count(b"\n" + record.raw + b"\n") == 1, f"{name} does not hold {record.raw} once"
            data = data.replace(b"\n" + record.raw + b"\n", b"\n%d,mended,ok,z\n" % record.key)
        (self.folder / name).write_bytes(data[1:])
        return [(str(record.key).encode(), b"mended", b"ok", b"z") for record in records]

    def play(self):
        rows, kept, status = self.outcome()
        report = json.loads(self.fenwire("run", "job.toml", "--json", status=status))
        self.table_is(rows)
        self.error_file_is("bad", kept)
        self.list_is(kept)
        if status != 12:
            read = sum(map(len, self.files))
            sums = (read, len(rows), read - len(rows) - self.header * len(self.files))
            assert (report["read"], report["loaded"], report["refused"]) == sums, report
        left = list((self.folder / ".fenwire/random/logs").glob("QLX_*"))
        assert not left, f"temporary files are left: {left}"
        if status != 12 and not self.empty:
            self.retry(rows, [record for record in kept if self.accept[record.kind] == NO])
        return f"{self.instances} instances, exit status {status}, {len(rows)} rows, {len(kept)} records kept"

    def retry(self, rows, bad):
        rest = self.rng.sample(bad, len(bad) // 3)
        rows += self.mend("bad", [record for record in bad if record not in rest])
        self.fenwire("rejects", "retry", "job.toml", status=4 if rest else 0)
        self.table_is(rows)
        if not bad:
            return  # nothing waited, so there was no retry
        self.error_file_is("bad.retry", rest)
        rows += self.mend("bad.retry", rest)
        for _ in range(2):  # the second has nothing left to do
            self.fenwire("rejects", "retry", "job.toml", status=0)
            self.table_is(rows)


def play(program, seed):
    """What went wrong."""
    try:
        with tempfile.TemporaryDirectory(prefix="fenwire-bad-records-") as folder:
            print(f"seed {seed}: {Round(program, folder, seed).play()}", flush=True)
    except AssertionError as failure:
        return f"seed {seed}: {failure}"


def main(program, only=None):
    seeds = [int(only)] if only is not None else range(24)
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        sys.exit("\n".join(filter(None, pool.map(lambda seed: play(program, seed), seeds))) or None)


if __name__ == "__main__":
    main(*sys.argv[1:])
