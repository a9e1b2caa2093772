"""Random jobs to be killed: their files, tables and job file, and what is held against an undisturbed run.

Every record of a made file has a number of its own, so that a lost or doubled row is told by its number.
"""
import collections
import pathlib
import re
import sqlite3
import struct

from random_jobs import BINARY, binary_job, delimited_job, job_text, text_job

OLD_ROWS = "rows that were there before\n"
PACES = [  # checkpoint, and how many rows last for some of them
    ("2 rows", (40, 150)), ("7 rows", (100, 500)), ("100 rows", (2000, 6000)), ("2000 rows", (20000, 40000)),
    ("5ms", (10000, 40000)), ("30ms", (15000, 60000)), ("200ms", (30000, 80000)), ("50ms or 900 rows", (5000, 30000)),
    (None, (10000, 60000)),
]


class TortureJob:
    """A folder with a job in it. kind is one of load, count, transcode, unload."""

    KINDS = ["load", "load", "load", "load", "count", "transcode", "transcode", "unload", "unload"]
    twice = False  # rows may come more than once
    victims = []  # more of them

    def __init__(self, rng, folder):
        self.rng, self.folder, self.settings = rng, folder, {}
        self.job = {"name": "torture"}
        pace, (low, high) = rng.choice(PACES)
        if pace:
            self.job["checkpoint"] = pace
        self.kind = rng.choice(self.KINDS)
        self.rows = rng.randint(low, high) * (1 if high < 10000 else 2 if self.kind == "load" else 4)
        self.replaces = False
        self.about = ""
        if self.kind in ("unload", "transfer"):
            self.source()
        else:
            self.producer()
        text = job_text(self.charset, self.columns, ("job", self.job), self.reading, self.writing())
        (folder / "job.toml").write_text(text, encoding="utf-8")

    def __str__(self):
        return f"{self.kind} of {self.rows} rows, {self.about}, checkpoint {self.job.get('checkpoint')}"

    # ---- Where rows come from

    def source(self):
        rng = self.rng
        if rng.random() < 0.6:
            self.charset, self.columns, made, attributes, writing, _ = rng.choice([binary_job, text_job, delimited_job])(rng)
            self.rows = min(self.rows, 20000 if len(self.columns) < 10 else 60000 // len(self.columns))
            keys = {"type": "generator", "rows": self.rows, "seed": rng.randrange(1 << 40), **made}
            self.consumer = {**attributes, **writing}
        else:
            self.charset, self.columns = "UTF8", ["id INTEGER", "a VARCHAR(40)", "b VARCHAR(40)"]
            with sqlite3.connect(self.folder / "source.db") as database:
                database.execute("CREATE TABLE s (id INTEGER PRIMARY KEY, a TEXT, b TEXT)")
                texts = [self.text() for _ in range(50)]
                gaps = rng.choice([1, 1, 1000])
                database.executemany("INSERT INTO s VALUES (?, ?, ?)",
                                     ((i * 5 + rng.randrange(5) + i // 999 * gaps, rng.choice(texts), "b")
                                      for i in range(self.rows)))
            database.close()
            keys = {"type": "sqlite", "file": "source.db", "table": "s"}
            self.consumer = self.written_format()
        instances = rng.randint(1, 4)
        self.reading = ("source", {"instances": instances, **keys})
        self.about = f"{keys['type']}, {instances} parts"

    def producer(self):
        rng = self.rng
        self.charset = rng.choice(["UTF8", "UTF8", "UTF16"])
        make = rng.choice([self.delimited, self.delimited, self.delimited, self.text_lines, self.binary])
        form, keys, record, encode = make()
        (self.folder / "in").mkdir()
        self.write_files(record, encode)
        instances = rng.randint(1, 4)
        keys |= {"instances": instances, "DirectoryPath": "in", "FileName": "*.in", "Format": form}
        if rng.random() < 0.3:
            keys |= {"SkipRows": rng.randint(1, 3), "SkipRowsEveryFile": rng.choice([True, False])}
        if rng.random() < 0.15:
            keys["RowsPerInstance"] = rng.randint(1, self.rows + 1)
        if rng.random() < 0.3:
            self.columns.insert(rng.randrange(1, len(self.columns) + 1),
                                '{ name = "origin", type = "VARCHAR(100)", metadata = "FileName" }')
        self.reading = ("producer", keys)
        self.about += f"{form} in {self.charset}, {len(self.sizes)} files, {instances} instances"

    def write_files(self, record, encode):
        rng = self.rng
        files = rng.randint(150, 600) if rng.random() < 0.15 else rng.randint(1, 7)
        weights = [rng.choice([0, 10 ** rng.uniform(-3, 0), 1]) for _ in range(files)]
        self.sizes = [int(self.rows * weight / (sum(weights) or 1)) for weight in weights]
        number = 0
        for at, size in enumerate(self.sizes):
            records = [record(number + i, i) for i in range(size)]
            number += size
            (self.folder / f"in/{at}.in").write_bytes(encode(records))
        self.rows = number

    def text(self):
        return "".join(self.rng.choice("abcdefgh 019é€") for _ in range(self.rng.randint(1, 15)))

    def encode_text(self, end):
        mark = self.rng.choice(["", "\ufeff"])
        name = "utf-8" if self.charset == "UTF8" else "utf-16-le"
        last = self.rng.choice([end, ""])
        self.about += "CRLF, " if end == "\r\n" else ""
        return lambda records: (mark + end.join(records) + (last if records else "")).encode(name)

    def delimited(self):
        rng = self.rng
        wide = 1 if self.charset == "UTF8" else 2
        others = rng.randint(2, 5)
        self.columns = [f"id VARCHAR({12 * wide})"] + [f"c{i} VARCHAR({30 * wide})" for i in range(others)]
        delimiter = rng.choice([",", "|", "TAB", "::"])
        mark = "\t" if delimiter == "TAB" else delimiter
        end = rng.choice(["\n", "\r\n"])
        quoted = rng.choice(["Yes", "Optional", "Optional", None])
        keys = {"TextDelimiter": delimiter}
        if quoted:
            keys["QuotedData"] = quoted
        self.error_file(keys)

        def field(first):
            value = self.text()[:10]
            if not quoted:
                return value
            if not first and rng.random() < 0.2:
                value = value[:4] + rng.choice(["\n", "\r\n", mark, '""'])
            return value if quoted == "Optional" and value.isalnum() else f'"{value}"'

        def tail(first):
            count = others
            bad = rng.random() < self.bad
            fault = rng.choice(["few", "many", "long"]) if bad else ""
            if fault:
                count = {"few": 0, "many": others + 2}.get(fault, others)
            fields = [field(first) for _ in range(count)]
            if fault == "long":
                fields[-1] = '"' + "x" * 40 + '"' if quoted else "x" * 40
            return mark + mark.join(fields) if fields else "", bad

        tails = [tail(False) for _ in range(400)]
        firsts = [tail(True) for _ in range(20)]

        def record(number, in_file):
            rest, bad = rng.choice(tails if in_file else firsts)
            self.kept += bad
            keys["ErrorLimit"] = self.kept + 1
            return (f'"{number}"' if quoted == "Yes" else str(number)) + rest

        if not self.bad:
            keys.pop("ErrorLimit", None)
        return "Delimited", keys, record, self.encode_text(end)

    def error_file(self, keys):
        rng = self.rng
        self.kept = 0
        self.bad = rng.choice([0, 0, 0.01, 0.1, 0.4])
        if self.bad:
            self.rows = int(self.rows / (1 + 20 * self.bad))  # to keep a bad record takes the time of many rows
            keys |= {"RecordErrorFileName": "bad.txt", "RecordErrorVerbosity": rng.choice(["Off", "Low", "Med", "High"])}
            keys |= {name: rng.choice(["No", "No", "Yes"])
                     for name in ("AcceptMissingColumns", "AcceptExcessColumns", "TruncateColumnData")}
            if rng.random() < 0.5:
                keys["RecordErrorFilePrefix"] = "#! "
        self.about += f"{self.bad:.0%} bad, " if self.bad else ""

    def text_lines(self):
        wide = 1 if self.charset == "UTF8" else 2
        self.columns = [f"id CHAR({8 * wide})", f"a CHAR({12 * wide})"]
        texts = [self.text()[:6].replace("é", "e").replace("€", "E").ljust(12) for _ in range(200)]
        return "Text", {}, lambda number, _: f"{number:08}" + self.rng.choice(texts), self.encode_text(
            self.rng.choice(["\n", "\r\n"]))

    def binary(self):
        rng = self.rng
        self.charset = "UTF8"
        self.columns = ["id INTEGER", "a VARCHAR(40)", "b VARCHAR(40)"]
        form, indicators = rng.choice(BINARY), rng.random() < 0.5
        texts = [(lambda text: struct.pack("<H", len(text)) + text)(self.text().encode()) for _ in range(200)]
        head, added, end = framing(form)

        def record(number, _):
            a, b, flags = rng.choice(texts), rng.choice(texts), b""
            if indicators:
                null = rng.random() < 0.1
                flags, b = (b"\x20", b"\0\0") if null else (b"\0", b)
            row = flags + struct.pack("<i", number) + a + b
            return (struct.pack(head, len(row) + added) if head else b"") + row + end

        return form, {"IndicatorMode": indicators}, record, b"".join

    # ---- Where they go

    def loads(self):
        return self.kind in ("load", "transfer")

    def writing(self):
        if self.loads():
            return self.table()
        if self.kind == "count":
            return "target", {"type": "null"}
        if self.kind == "transcode":
            self.consumer = self.written_format()
        rng, out = self.rng, self.folder / "out"
        out.mkdir()
        self.writers = rng.choice([1, 1, 2, 4])
        readers = self.reading[1]["instances"]
        self.one_to_one = self.writers == 1 == readers
        keys = {"instances": self.writers, "DirectoryPath": "out", "FileName": "rows", **self.consumer}
        if rng.random() < 0.25 and "WriteBOM" not in keys:
            keys["OpenMode"] = "WriteAppend"
            for i in range(1, self.writers + 1):
                (out / ("rows" if self.writers == 1 else f"rows-{i}")).write_bytes(b"" if keys["Format"] in BINARY else OLD_ROWS.encode(
                    "utf-16-le" if self.charset == "UTF16" else "utf-8"))
        self.about += f", to {self.writers} {keys['Format']}"
        return "consumer", keys

    def written_format(self):
        rng = self.rng
        if self.kind == "transcode" and self.reading[1]["Format"] == "Text" and rng.random() < 0.5:
            return {"Format": "Text"} if len(self.columns) == 2 else {"Format": "Binary4"}
        if rng.random() < 0.5:
            return {"Format": "Delimited", "TextDelimiter": ",", "QuotedData": rng.choice(["Yes", "Optional"]),
                    **({"WriteBOM": True} if rng.random() < 0.3 else {})}
        return {"Format": rng.choice(BINARY), "IndicatorMode": True}

    def names(self):
        return [re.match(r'(?:\{ name = ")?(\w+)', column).group(1) for column in self.columns]

    def table(self):
        rng = self.rng
        keys = {"type": "sqlite", "file": "out.db", "table": "t"}
        if rng.random() < 0.5:
            with sqlite3.connect(self.folder / "out.db") as database:
                if rng.random() < 0.4:
                    database.execute("PRAGMA journal_mode=WAL")
                database.execute(f"CREATE TABLE t ({', '.join(self.names())})")
                database.execute("INSERT INTO t (id) VALUES ('old')")
            database.close()
            self.replaces = rng.random() < 0.5
            keys["replace"] = self.replaces
        return "target", keys

    def table_rows(self, folder):
        """The tables that there are, and the rows of the one that takes them."""
        if not (folder / "out.db").exists():
            return [], collections.Counter()
        database = sqlite3.connect(folder / "out.db")
        try:
            tables = sorted(row[0] for row in database.execute("SELECT name FROM sqlite_master"))
            return tables, collections.Counter(database.execute("SELECT * FROM t") if "t" in tables else [])
        finally:
            database.close()

    def checkpoint_files(self, folder):
        """Files that change when a checkpoint is stored, as something to compare."""
        seen = []
        for name in ("out.db", "out.db-journal", "out.db-wal", ".fenwire/torture/checkpoint.db", ".fenwire/torture/run.json"):
            try:
                status = pathlib.Path(folder / name).stat()
                seen.append((status.st_ino, status.st_size, status.st_mtime_ns))
            except OSError:
                seen.append(None)
        return seen


def framing(form):
    """What stands in front of a row, as struct packs it; what it counts beside the row; what stands behind."""
    return {"Formatted": ("<H", 0, b"\n"), "Formatted2": ("<H", 2, b"\n"), "Formatted4": ("<I", 0, b"\n"),
            "Binary": ("<H", 0, b""), "Binary4": ("<I", 0, b""), "Unformatted": (None, 0, b"")}[form]


# ---- What is there afterwards -----------------------------------------------------------------------


def records_of(data, form, charset):
    """Lines, or rows with their frame; of Unformatted files, which show no borders, the bytes."""
    if form not in BINARY:
        text = data.decode("utf-16-le" if charset == "UTF16" else "utf-8", "backslashreplace")
        return text.removeprefix("\ufeff").split("\n")  # how many files have a mark is a matter of who got rows
    head, added, end = framing(form)
    if head is None:
        return [data[i:i + 1] for i in range(len(data))]
    at, found = 0, []
    while at < len(data):
        size = struct.calcsize(head)
        length = size + struct.unpack_from(head, data.ljust(at + size, b"\0"), at)[0] - added + len(end)
        found.append(data[at:at + length])
        at += length
    return found


def lines(path, charset="UTF8"):
    return collections.Counter(records_of(path.read_bytes(), "Text", charset)) if path.exists() else None


def result(job, folder, report):
    """What must be the same whatever happened on the way: name -> value or multiset."""
    found = {key: report[key] for key in ("read", "loaded", "refused", "skipped", "conserved", "exit_code")}
    found["kept records"] = lines(folder / "bad.txt", job.charset)
    found["list of bad records"] = lines(folder / "bad.txt.jsonl")
    if job.loads():
        found["tables"], found["rows"] = job.table_rows(folder)
        if job.twice:
            found["rows"] = collections.Counter(set(found["rows"]))
    elif job.kind != "count":
        form = job.consumer["Format"]
        files = [path.read_bytes() for path in sorted((folder / "out").iterdir())]
        found["output files"] = len(files)
        found["records"] = collections.Counter(r for data in files for r in records_of(data, form, job.charset))
        if job.one_to_one:
            found["output"] = files[0]
    # What a job leaves behind, but for its logs, whose names and number differ from run to run.
    logs = folder / ".fenwire/torture/logs"
    left = [path for path in folder.rglob("*") if logs not in path.parents or path.name.startswith("QLX_")]
    found["files"] = sorted({re.sub(r"\d+", "N", str(path.relative_to(folder))) for path in left})
    return found


def differences(got, wanted):
    for name, value in wanted.items():
        other = got[name]
        if other == value:
            continue
        if isinstance(value, collections.Counter) and other is not None:
            lost, doubled = value - other, other - value
            yield f"{name}: {lost.total()} lost {some(lost)}; {doubled.total()} too many {some(doubled)}"
        elif isinstance(value, (bytes, collections.Counter)):
            yield f"{name}: differ"
        else:
            yield f"{name}: {other} instead of {value}"


def some(counter):
    return [record for record, _ in sorted(counter.items(), key=str)[:5]]


def difference_from(told, job, folder):
    """What the status of a job that does not run tells otherwise than it is; empty: nothing."""
    checkpoint = told["checkpoint"]
    if job.loads():
        _, rows = job.table_rows(folder)
        loaded, stored = rows.total() - rows_before(rows), checkpoint["rows"] if checkpoint else 0
        if loaded < stored or loaded > stored and not job.twice:
            return f"the table has {loaded} rows"
    for output in told["outputs"]:
        size = (folder / output["name"]).stat().st_size
        if size < output["bytes"]:
            return f"{output['name']} has {size} bytes"
    return ""


def rows_before(rows):
    return sum(count for row, count in rows.items() if "old" in row)
