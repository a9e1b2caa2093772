#!/usr/bin/env python3
"""A load that is hit in the middle: an instance killed, the target killed, Ctrl-C, the runner killed.

Each time: the exit status and the words, the table as it was before or as the summary says that it is at its
checkpoint, and no process left behind.
"""
import os
import pathlib
import re
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

JOB = """[job]
name = "{name}"
[producer]
instances = 2
FileName = "*.txt"
DirectoryPath = "in"
Format = "Delimited"
[schema]
columns = ["a VARCHAR(20)", "b VARCHAR(20)"]
[target]
type = "sqlite"
file = "out.db"
table = "t"
"""


def children(pid):
    try:
        return [int(p) for p in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]
    except OSError:
        return []


def alive(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


def has_read(pid, fd):
    return not re.search(r"^pos:\s*0$", pathlib.Path(f"/proc/{pid}/fdinfo/{fd}").read_text(), re.MULTILINE)


def reads_data(pid):
    """Whether the process has read of an input file: an instance, not the target, and past the first checkpoint."""
    try:
        return any("/in/" in os.readlink(f"/proc/{pid}/fd/{fd}") and has_read(pid, fd) for fd in os.listdir(f"/proc/{pid}/fd"))
    except OSError:
        return False


def writes_rows(pid):
    try:
        return any("out.db" in os.readlink(f"/proc/{pid}/fd/{fd}") for fd in os.listdir(f"/proc/{pid}/fd"))
    except OSError:
        return False


def wait_for(what, seconds=20):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if found := what():
            return found
        time.sleep(0.01)
    return None


def hit_instance(runner):
    pid = wait_for(lambda: next((p for p in children(runner.pid) if reads_data(p)), None))
    os.kill(pid, signal.SIGKILL)


def hit_target(runner):
    pid = wait_for(lambda: next((p for p in children(runner.pid) if writes_rows(p)), None))
    os.kill(pid, signal.SIGKILL)


def interrupt(runner):
    wait_for(lambda: any(reads_data(p) for p in children(runner.pid)))
    runner.send_signal(signal.SIGINT)


def terminate(runner):
    wait_for(lambda: any(reads_data(p) for p in children(runner.pid)))
    runner.send_signal(signal.SIGTERM)


def hit_runner(runner):
    wait_for(lambda: any(reads_data(p) for p in children(runner.pid)))
    runner.kill()


CASES = [
    # name, what happens, exit status, what is said
    ("instance", hit_instance, 12, ["instance", "signal 9"]),
    ("target", hit_target, 12, ["target", "signal 9"]),
    ("ctrl-c", interrupt, 130, []),
    ("sigterm", terminate, 143, []),
    ("runner", hit_runner, -9, []),
]


def run_case(fenwire, name, hit, status, words):
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        (work / "in").mkdir()
        for number in (1, 2):
            with open(work / f"in/{number}.txt", "w", encoding="ascii") as out:
                for block in range(60):
                    out.write("".join(f"{block}-{i}|abcdefghij\n" for i in range(20000)))
        with sqlite3.connect(work / "out.db") as database:
            database.executescript("CREATE TABLE t (a TEXT, b TEXT); INSERT INTO t VALUES ('old', 'row');")
        (work / "job.toml").write_text(JOB.format(name=name))
        runner = subprocess.Popen([fenwire, "run", work / "job.toml", "--progress", "off"], cwd=work,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        below = wait_for(lambda: len(children(runner.pid)) >= 3 and children(runner.pid))
        hit(runner)
        _, err = runner.communicate(timeout=60)
        left = wait_for(lambda: not any(alive(p) for p in below), 10)
        bad = []
        if runner.returncode != status:
            bad.append(f"exit status {runner.returncode}, not {status}")
        if not left:
            bad.append(f"processes left behind: {[p for p in below if alive(p)]}")
        bad += [f"does not say: {word}" for word in words if word not in err]
        with sqlite3.connect(work / "out.db") as database:
            rows = database.execute("SELECT a, b FROM t").fetchall()
        said = re.search(r"resumable from checkpoint .*, ([\d,]+) rows? (?:is|are) in", err)
        kept = int(said[1].replace(",", "")) if said else 0
        if rows[0] != ("old", "row") or len(rows) != 1 + kept or (status in (130, 143)) != bool(said):
            bad.append(f"the table has {len(rows)} rows")
        if bad:
            sys.exit(f"{name}: " + "; ".join(bad) + "\n" + err)
        print(f"{name}: ok")


def main(fenwire):
    for case in CASES:
        run_case(fenwire, *case)


if __name__ == "__main__":
    main(sys.argv[1])
