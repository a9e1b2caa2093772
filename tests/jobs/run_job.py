#!/usr/bin/env python3
"""Runs one job that is written down as data, through the real runner and library, and compares.

A .job file is a run of sections, each with a head line:

    == about                     what must hold; free text
    == job.toml                  the job file
    == in/a.csv [crlf] [noeol] [utf16le] [hex] [repeat=N] [wide=N]
                                 an input file; \\xNN, \\t and \\\\ stand for bytes, \\N*c for N times c; repeat=N: its last line so
                                 many times; wide=N: the text of its last line so many times
    == fifo in/pipe              a named pipe that nobody writes to
    == folder in/sub             an empty folder
    == sqlite out.db             SQL to run before the job
    == args                      further arguments of `fenwire run`; with "check" or "preview" first that verb
    == exit 12                   the exit status
    == absent out.db             nothing lies there afterwards
    == rows [ordered]            what the print target wrote to standard output
    == says                      each line must stand in standard error
    == never says                no line may stand there
    == logs                      each line must stand in the public log
    == holds bad.txt [unordered] [options of an input file]
                                 a file that the job wrote, written as input files are
    == query out.db SQL          rows of the query, columns between bars
    == json                      each "key value" line must be so in the object on standard output; a.b: b of a

The program is the one that CMake built; every job runs in a folder of its own. A job that prints
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

HEAD = re.compile(r"^== (.+)$")


def sections(text):
    head, body = None, []
    for line in text.split("\n"):
        if match := HEAD.match(line):
            if head is not None:
                yield head, body
            head, body = match.group(1), []
        elif head is not None:
            body.append(line)
    # The last newline of the file closes its last line.
    if body and body[-1] == "":
        body.pop()
    yield head, body


def content(body, options):
    if "hex" in options:
        return bytes.fromhex("".join(body))
    end = "\r\n" if "crlf" in options else "\n"
    # A blank line before the next head is layout, not data.
    while body and body[-1] == "":
        body = body[:-1]
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
    if "utf16le" in options:
        data = data.decode("utf-8").encode("utf-16-le")
    return data


def lines(body):
    while body and body[-1] == "":
        body = body[:-1]
    return body


def main(job_file, build):
    name = pathlib.Path(job_file).stem
    work = pathlib.Path(tempfile.mkdtemp(prefix=f"fenwire-{name}-"))
    args, expect = ["run"], []
    for head, body in sections(pathlib.Path(job_file).read_text()):
        kind, *rest = head.split()
        if kind == "about":
            continue
        if kind in ("exit", "rows", "says", "never", "logs", "query", "json", "holds", "absent"):
            expect.append((kind, head, lines(body)))
        elif kind == "args":
            args = " ".join(body).split()
            args = args if args[:1] in (["check"], ["preview"]) else ["run", *args]
        elif kind == "fifo":
            (work / rest[0]).parent.mkdir(parents=True, exist_ok=True)
            os.mkfifo(work / rest[0])
        elif kind == "folder":
            (work / rest[0]).mkdir(parents=True, exist_ok=True)
        elif kind == "sqlite":
            with sqlite3.connect(work / rest[0]) as database:
                database.executescript("\n".join(body))
        else:
            path = work / kind
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes("\n".join(body).encode() if kind.endswith(".toml") else content(body, rest))
    run = subprocess.run(
        [os.path.join(build, "fenwire"), args[0], "job.toml", *args[1:]],
        cwd=work, stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False,
        env={**os.environ, "NO_COLOR": "1"},
    )
    out = run.stdout.decode("utf-8", "backslashreplace")
    err = run.stderr.decode("utf-8", "backslashreplace")
    bad = []
    if "Sanitizer" in err or "runtime error" in err:
        bad.append("a sanitizer spoke up")
    if not any(kind == "exit" for kind, _, _ in expect):
        bad.append("the job says no exit status")
    for kind, head, body in expect:
        words = head.split()
        if kind == "exit" and run.returncode != int(words[1]):
            bad.append(f"exit status {run.returncode}, not {words[1]}")
        elif kind == "rows":
            got, wanted = out.splitlines(), body
            if "ordered" not in words:
                got, wanted = sorted(got), sorted(wanted)
            if got != wanted:
                bad.append("rows differ:\n  " + "\n  ".join(got[:50]) + "\nwanted:\n  " + "\n  ".join(wanted[:50]))
        elif kind == "absent" and (work / words[1]).exists():
            bad.append(f"there is a {words[1]}")
        elif kind == "says":
            bad += [f"does not say: {line}" for line in body if line not in err]
        elif kind == "logs":
            log = "".join(p.read_text() for p in work.glob(".fenwire/*/logs/public.log"))
            bad += [f"does not log: {line}" for line in body if line not in log]
        elif kind == "holds":
            path, wanted = work / words[1], content(body, words[2:])
            got = path.read_bytes() if path.exists() else b"(no such file)"
            if "unordered" in words:
                got, wanted = sorted(got.splitlines(True)), sorted(wanted.splitlines(True))
            if got != wanted:
                bad.append(f"{words[1]} holds {got}, not {wanted}")
        elif kind == "never":
            bad += [f"says: {line}" for line in body if line in err]
        elif kind == "query":
            with sqlite3.connect(work / words[1]) as database:
                rows = database.execute(head.split(None, 2)[2]).fetchall()
            got = ["|".join("NULL" if c is None else str(c) for c in row) for row in rows]
            if got != body:
                bad.append(f"query gives {got}, not {body}")
        elif kind == "json":
            report = json.loads(out)
            for line in body:
                key, value = line.split(None, 1)
                got = report
                for part in key.split("."):
                    got = got.get(part)
                if str(got) != value:
                    bad.append(f"json: {key} is {got}, not {value}")
    if not bad:
        shutil.rmtree(work)
        return 0
    print("\n".join(bad))
    print(f"---- standard error of {name}, exit status {run.returncode}, folder {work}\n{err}")
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2]))
