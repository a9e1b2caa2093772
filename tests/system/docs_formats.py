#!/usr/bin/env python3
"""Runs the examples of docs/formats.md and compares rows, kept records, exit status and messages.

An example is a block "```example" of settings, "--- file", and "--- rows", "--- kept" or "--- exit N", as the page
tells its reader. Settings are lines of [producer], but for charset and columns. It must not matter how
records are found, so each example runs twice, the second time byte by byte.
"""
import concurrent.futures
import itertools
import pathlib
import re
import sqlite3
import sys
import tempfile

from docs_example import BLOCK, run_program

NAMES = {"CR": "\r", "LF": "\n", "TAB": "\t", "BOM": "\ufeff", "EOF": ""}
TOKEN = re.compile(r"<(CR|LF|TAB|BOM|EOF|(?:[0-9A-F]{2})+|(.)\*(\d+))>")
SECTION = re.compile(r"^--- (\w+) ?(.*)\n", re.M)
COLUMN = re.compile(r"NULL|\[([^]]*)\]")
DEFAULTS = {"FileName": '"in.txt"', "Format": '"Delimited"', "TextDelimiter": '","',
            "columns": '["a VARCHAR(10)", "b VARCHAR(10)"]', "charset": '"UTF8"'}
TARGET = {"print": 'delimiter = "\\u0001"\nquote = "\\u0002"\nnull = "\\u0003"',
          "sqlite": 'file = "out.db"\ntable = "t"'}
ROADS = ({}, {"FENWIRE_LITERAL_READER": "1", "FENWIRE_INDEX": "off"})


def to_bytes(text, encoding):
    def token(match):
        name, letter, count = match.groups()
        if letter:
            return (letter * int(count)).encode(encoding)
        return NAMES[name].encode(encoding) if name in NAMES else bytes.fromhex(name)
    parts, at = [], 0
    for match in TOKEN.finditer(text):
        parts += [text[at:match.start()].encode(encoding), token(match)]
        at = match.end()
    return b"".join([*parts, text[at:].encode(encoding)])


def content(body, encoding):
    """A line ends with a line feed, but for one that <EOF> ends."""
    return to_bytes(body.replace("<EOF>\n", "<EOF>"), encoding)


def job(settings):
    given = dict(re.match(r"(\w+) = (.*)", line).groups() for line in settings.splitlines())
    names = set(given)
    values = {**{key: value for key, value in DEFAULTS.items() if key + "HEX" not in names}, **given}
    charset, columns = values.pop("charset"), values.pop("columns")
    producer = "\n".join(f"{key} = {value}" for key, value in values.items())
    wide = charset in ('"UTF16"', '"62"')
    target = "sqlite" if wide else "print"
    return wide, (f'[job]\nname = "example"\ncharset = {charset}\n[producer]\n{producer}\n[schema]\n'
                  f'columns = {columns}\n[target]\ntype = "{target}"\n{TARGET[target]}\n')


def printed(data):
    """The rows that the print target wrote; what holds a mark of its own stands in quotes, these doubled."""
    field = re.compile(rb"(?:\x02((?:[^\x02]|\x02\x02)*)\x02|([^\x01\n]*))([\x01\n])", re.S)
    row = []
    for quoted, plain, end in field.findall(data):
        row.append(None if plain == b"\x03" else plain or quoted.replace(b"\x02\x02", b"\x02"))
        if end == b"\n":
            yield row
            row = []


def stored(path):
    with sqlite3.connect(path) as database:
        database.text_factory = bytes
        return [list(row) for row in database.execute("SELECT * FROM t ORDER BY rowid")]


def wanted(body):
    return [[None if match[0] == "NULL" else to_bytes(match[1], "utf-8") for match in COLUMN.finditer(line)]
            for line in body.splitlines()]


def problems(program, example, road):
    parts = SECTION.split(example)
    wide, toml = job(parts[0])
    encoding = "utf-16-le" if wide else "utf-8"
    sections = {name: (rest, body) for name, rest, body in zip(*[iter(parts[1:])] * 3)}
    with tempfile.TemporaryDirectory(prefix="fenwire-formats-") as name:
        folder = pathlib.Path(name)
        (folder / "job.toml").write_text(toml)
        (folder / "in.txt").write_bytes(content(sections["file"][1], encoding))
        run = run_program(program, ["run", "job.toml"], folder, road)
        status, said = sections.get("exit", ("0", ""))
        if run.returncode != int(status):
            yield f"exit status {run.returncode}, not {status}"
        yield from (f"does not say: {line}" for line in said.splitlines() if line.encode() not in run.stderr)
        if "rows" in sections:
            rows = list(printed(run.stdout)) if not wide else stored(folder / "out.db") if run.returncode < 8 else []
            if rows != wanted(sections["rows"][1]):
                yield "rows are " + "\n         ".join(map(str, rows))[:600]
        if "kept" in sections:
            kept = (folder / "bad").read_bytes()
            if kept != content(sections["kept"][1], encoding):
                yield f"kept is {kept[:300]}"
        if not sections.keys() & {"rows", "kept", "exit"}:
            yield "the example promises nothing"
        if b"Sanitizer" in run.stderr or b"runtime error" in run.stderr:
            yield "a sanitizer spoke up"


def main(page, program):
    examples = [body for language, _, body in BLOCK.findall(pathlib.Path(page).read_text()) if language == "example"]
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        runs = [(example, road) for example, road in itertools.product(examples, ROADS)]
        results = list(pool.map(lambda run: list(problems(program, *run)), runs))
    bad = [(example, road, found) for (example, road), found in zip(runs, results) if found]
    for example, road, found in bad:
        print(example, *found, f"({road or 'as usual'})", "", sep="\n")
    print(f"{len(examples)} examples, {len(bad)} of {len(runs)} runs failed")
    return 1 if bad or not examples else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
