#!/usr/bin/env python3
"""Runs jobs that are written down as data, through the real runner and library, and compares.

A .job file says what must hold, and then is a run of sections, each with a head line:

    == job.toml                  the job file
    == [target]                  this section of the job file in place of the one above
    == [producer] with           these lines in that section, in place of those with the same keys
    == in/a.csv [crlf] [noeol] [utf16le] [hex] [repeat=N] [wide=N]
                                 an input file; \\xNN, \\t and \\\\ stand for bytes, \\N*c for N times c; repeat=N: its last line so
                                 many times; wide=N: the text of its last line so many times
    == fifo in/pipe              a named pipe that nobody writes to
    == folder in/sub             an empty folder
    == sqlite out.db             SQL to run before the job
    == args                      further arguments of `fenwire run`; with "check" or "preview" first that verb
    == exit 12                   the exit status; each line must stand in standard error
    == never says                no line may stand there
    == absent out.db             nothing lies there afterwards
    == rows [ordered]            what the print target wrote to standard output
    == logs                      each line must stand in the public log
    == holds bad.txt [unordered] [options of an input file]
                                 a file that the job wrote, written as input files are
    == query out.db SQL          rows of the query, columns between bars
    == json                      each "key value" line must be so in the object on standard output; a.b: b of a
    == case ABOUT                one of several jobs: the sections above the first case and its own, which replace those

The program is the one that CMake built; every case runs in a folder of its own. One that prints
"== sanitizer" words or takes longer than 60 seconds fails.
"""
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

EXPECTED = ("exit", "never", "absent", "rows", "logs", "holds", "query", "json")


def sections(text):
    """Head and lines of each; a blank line before the next head is layout, not data."""
    for part in ("\n" + text).split("\n== ")[1:]:
        head, *body = part.split("\n")
        while body and body[-1] == "":
            body.pop()
        yield head, body


def cases(text):
    """Name and sections of each; what stands in common is found by what it is about."""
    common, found = {}, []
    current = common
    for head, body in sections(text):
        kind, *rest = head.split()
        if kind == "case":
            current = dict(common)
            found.append((" ".join(rest), current))
            continue
        named = kind in ("fifo", "folder", "sqlite", "absent", "holds", "query")
        current[(kind, rest[0]) if named else kind] = head, body
    return found or [("", common)]


def with_section(toml, head, lines):
    section, *keyed = head.split()
    keys, out, inside = {line.split(" = ")[0] for line in lines}, [], False
    for line in toml:
        if line.startswith("["):
            inside = line == section
        if not inside or (keyed and line != section and line.split(" = ")[0] not in keys):
            out.append(line)
        elif line == section:
            out += [section, *lines]
    return out if section in toml else [*out, section, *lines]


def content(body, options):
    if "hex" in options:
        return bytes.fromhex("".join(body))
    end = "\r\n" if "crlf" in options else "\n"
    for option in options:
        if option.startswith("repeat="):
            body = body[:-1] + body[-1:] * int(option.split("=")[1])
        if option.startswith("wide="):
            body = body[:-1] + [body[-1] * int(option.split("=")[1])]
    text = end.join(body) + ("" if "noeol" in options or not body else end)
    text = re.sub(r"\\(\d+)\*(.)", lambda m: int(m.group(1)) * m.group(2), text)
    data = re.sub(
        rb"\\(x[0-9A-Fa-f]{2}|t|\\)",
        lambda m: {b"t": b"\t", b"\\": b"\\"}.get(m.group(1)) or bytes([int(m.group(1)[1:], 16)]),
        text.encode("utf-8"),
    )
    return data.decode("utf-8").encode("utf-16-le") if "utf16le" in options else data


def prepare(work, head, body):
    kind, *rest = head.split()
    path = work / (rest[0] if kind in ("fifo", "folder", "sqlite") else kind)
    path.parent.mkdir(parents=True, exist_ok=True)
    if kind == "fifo":
        os.mkfifo(path)
    elif kind == "folder":
        path.mkdir()
    elif kind == "sqlite":
        with sqlite3.connect(path) as database:
            database.executescript("\n".join(body))
    else:
        path.write_bytes("\n".join(body).encode() if kind.endswith(".toml") else content(body, rest))


def differences(work, run, head, body):
    """What is not as this section wants it."""
    kind, *words = head.split()
    out, err = (text.decode("utf-8", "backslashreplace") for text in (run.stdout, run.stderr))
    if kind == "exit":
        if run.returncode != int(words[0]):
            yield f"exit status {run.returncode}, not {words[0]}"
        yield from (f"does not say: {line}" for line in body if line not in err)
    elif kind == "never":
        yield from (f"says: {line}" for line in body if line in err)
    elif kind == "absent" and (work / words[0]).exists():
        yield f"there is a {words[0]}"
    elif kind == "rows":
        got, wanted = (rows if "ordered" in words else sorted(rows) for rows in (out.splitlines(), body))
        if got != wanted:
            yield "rows differ:\n  " + "\n  ".join(got[:50]) + "\nwanted:\n  " + "\n  ".join(wanted[:50])
    elif kind == "logs":
        log = "".join(p.read_text() for p in work.glob(".fenwire/*/logs/public.log"))
        yield from (f"does not log: {line}" for line in body if line not in log)
    elif kind == "holds":
        path, wanted = work / words[0], content(body, words[1:])
        got = path.read_bytes() if path.exists() else b"(no such file)"
        if "unordered" in words:
            got, wanted = sorted(got.splitlines(True)), sorted(wanted.splitlines(True))
        if got != wanted:
            yield f"{words[0]} holds {got}, not {wanted}"
    elif kind == "query":
        with sqlite3.connect(work / words[0]) as database:
            rows = database.execute(head.split(None, 2)[2]).fetchall()
        got = ["|".join("NULL" if c is None else str(c) for c in row) for row in rows]
        if got != body:
            yield f"query gives {got}, not {body}"
    elif kind == "json":
        for line in body:
            key, value = line.split(None, 1)
            got = json.loads(out)
            for part in key.split("."):
                got = got.get(part)
            if str(got) != value:
                yield f"json: {key} is {got}, not {value}"


def holds(name, about, case, build):
    """Runs the case and says what is not as it should be."""
    work = pathlib.Path(tempfile.mkdtemp(prefix=f"fenwire-{name}-"))
    toml = case["job.toml"][1]
    for kind, (head, body) in case.items():
        if kind[0] == "[":
            toml = with_section(toml, head, body)
    args = " ".join(case.get("args", ("", []))[1]).split()
    verb, args = (args[0], args[1:]) if args[:1] in (["check"], ["preview"]) else ("run", args)
    expected = [section for section in case.values() if section[0].split()[0] in EXPECTED]
    for head, body in case.values():
        if head[0] != "[" and head != "args" and (head, body) not in expected:
            prepare(work, head, toml if head == "job.toml" else body)
    run = subprocess.run([os.path.join(build, "fenwire"), verb, "job.toml", *args], cwd=work, stdin=subprocess.DEVNULL,
                         capture_output=True, timeout=60, check=False, env={**os.environ, "NO_COLOR": "1"})
    bad = [] if "exit" in case else ["the job says no exit status"]
    if b"Sanitizer" in run.stderr or b"runtime error" in run.stderr:
        bad.append("a sanitizer spoke up")
    for head, body in expected:
        bad += differences(work, run, head, body)
    if not bad:
        shutil.rmtree(work)
        return True
    print(f"---- {name}: {about or 'its only case'}", *bad, sep="\n")
    print(f"---- standard error, exit status {run.returncode}, folder {work}\n{run.stderr.decode('utf-8', 'backslashreplace')}")
    return False


def main(job_file, build):
    path = pathlib.Path(job_file)
    return not all([holds(path.stem, about, case, build) for about, case in cases(path.read_text())])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
