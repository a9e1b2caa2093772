#!/usr/bin/env python3
"""What run, resume and status say at every moment of a job, and that a refusal touches nothing."""
import json
import os
import pathlib
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

LOAD = """[job]
name = "load"
checkpoint = "20ms"
[source]
type = "generator"
rows = 30000000
instances = 2
[schema]
columns = ["id INTEGER"]
[target]
type = "sqlite"
file = "out.db"
table = "t"
"""

HITS = [  # whom, with what, further words of the command, exit status, what is said
    ("fw-source", signal.SIGKILL, "", 12, "source 1 was ended by signal 9"),
    ("fw-target", signal.SIGKILL, "", 12, "target process was ended by signal 9"),
    ("", signal.SIGTERM, "--set job.checkpoint=1h", 143, "resumable from checkpoint"),
    ("", signal.SIGINT, "", 130, "resumable from checkpoint"),
]

# Fails at its last record, with ten checkpoints behind it.
UNLOAD = """[job]
name = "unload"
checkpoint = "1000 rows"
[producer]
FileName = "in.csv"
Format = "Delimited"
TextDelimiter = ","
[schema]
columns = ["a VARCHAR(9)", "b VARCHAR(9)"]
[consumer]
FileName = "out.csv"
Format = "Delimited"
TextDelimiter = ","
"""


class Folder:
    def __init__(self, fenwire, folder):
        self.fenwire, self.path = fenwire, pathlib.Path(folder)

    def start(self, *words):
        return subprocess.Popen([self.fenwire, *words], cwd=self.path, stdin=subprocess.DEVNULL, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)

    def expect(self, code, said, *words):
        run = self.start(*words)
        out, err = run.communicate(timeout=120)
        assert run.returncode == code, f"{words}: exit {run.returncode}, not {code}\n{err}"
        for text in said:
            assert text in err, f"{words}: no {text!r} in\n{err}"
        return out

    def status(self, job, **wanted):
        status = json.loads(self.expect(0, [], "status", job, "--json"))
        for key, value in wanted.items():
            assert status[key] == value, f"status {key}: {status[key]!r}, not {value!r}"
        return status

    def rows(self):
        """Of the job, behind the one that was there before."""
        with sqlite3.connect(self.path / "out.db") as database:
            assert database.execute("SELECT * FROM t").fetchone() == (-1,)
            return database.execute("SELECT count(*) FROM t").fetchone()[0] - 1

    def has_checkpoint(self, job, after=0):
        checkpoint = self.status(job)["checkpoint"]
        return checkpoint and checkpoint["generation"] > after


def wait_for(what, happens):
    end = time.monotonic() + 60
    while not happens():
        assert time.monotonic() < end, f"never: {what}"
        time.sleep(0.02)


def is_gone(group):
    try:
        os.killpg(group, 0)
        return False
    except ProcessLookupError:
        return True


def child_of(runner, name):
    children = pathlib.Path(f"/proc/{runner.pid}/task/{runner.pid}/children").read_text().split()
    return next((int(pid) for pid in children if pathlib.Path(f"/proc/{pid}/comm").read_text().startswith(name)), 0)


def written_by(pid):
    """Bytes; a cache that overflows is written before there is a checkpoint."""
    try:
        return int(pathlib.Path(f"/proc/{pid}/io").read_text().split("wchar:")[1].split()[0])
    except OSError:
        return 0


def hit(runner, whom, number):
    if not whom:
        return runner.send_signal(number)
    os.kill(child_of(runner, whom), number)


def killed_and_interrupted(at):
    job = "load.toml"
    (at.path / job).write_text(LOAD)
    with sqlite3.connect(at.path / "out.db") as database:
        database.executescript("CREATE TABLE t(id INTEGER); INSERT INTO t VALUES (-1)")
    at.status(job, state="new", checkpoint=None, next="fenwire run load.toml")
    at.expect(2, ["nothing to resume: load has not been run"], "resume", job)
    runner = at.start("run", job, "--progress", "off")
    wait_for("a checkpoint", lambda: at.has_checkpoint(job))
    at.status(job, state="running", process=runner.pid, next="")
    at.expect(12, ["running already"], "resume", job)
    runner.kill()
    runner.communicate(timeout=60)
    wait_for("the end of its processes", lambda: is_gone(runner.pid))

    rows = at.rows()
    status = at.status(job, state="killed", next="fenwire resume load.toml")
    assert status["checkpoint"]["rows"] == rows, "the checkpoint and the table differ"
    at.expect(2, ["fenwire resume load.toml ", "fenwire run --fresh load.toml "], "run", job)
    at.expect(2, ["[source] rows: 30000000 at the checkpoint, 7 now"], "resume", job, "--set", "source.rows=7")
    at.expect(2, ["[source] instances: 2 at the checkpoint, 3 now"], "resume", job, "--instances", "3")
    assert at.rows() == rows, "a refusal changed the table"

    for whom, number, more, code, said in HITS:
        rows, before = at.rows(), at.status(job)["checkpoint"]["generation"]
        runner = at.start("resume", job, "--progress", "off", "--json", *more.split())
        if more:  # no checkpoint comes but that of the signal
            wait_for("rows in the table", lambda: written_by(child_of(runner, "fw-target")) > 1 << 20)
        else:
            wait_for("a checkpoint", lambda: at.has_checkpoint(job, before))
        hit(runner, whom, number)
        out, err = runner.communicate(timeout=60)
        assert runner.returncode == code and said in err, f"exit status {runner.returncode}\n{err}"
        assert is_gone(runner.pid), f"{whom} {number}: processes are left behind"
        status = at.status(job, state="failed" if whom else "stopped", next="fenwire resume load.toml")
        assert status["checkpoint"]["rows"] == at.rows() > rows, f"{whom} {number}: the checkpoint and the table differ"
    report = json.loads(out)["checkpoint"]
    assert report["resumable"] and report["resume"] == "fenwire resume load.toml" and report["rows"] == at.rows(), report
    assert f"{at.rows():,} rows are in" in err, err

    at.expect(0, [], "run", "--fresh", job, "--set", "source.rows=5")
    assert at.rows() == report["rows"] + 5, "--fresh adds its rows to those that were in"
    at.expect(2, ["came to its end"], "resume", job)


def output_lost(at):
    job, good = "unload.toml", "".join(f"{i},x\n" for i in range(10000))
    (at.path / job).write_text(UNLOAD)
    (at.path / "in.csv").write_text(good + "1,2,3\n")
    at.expect(12, ["go on: fenwire resume unload.toml"], "run", job)
    (at.path / "in.csv").write_text(good + "1,2\n")
    at.expect(2, ["in.csv had "], "resume", job)

    (at.path / "out.csv").rename(at.path / "away.csv")
    at.expect(2, ["out.csv is gone, and with it "], "resume", job, "--accept-changed")
    assert not (at.path / "out.csv").exists(), "a refusal made the file"
    (at.path / "away.csv").rename(at.path / "out.csv")
    (at.path / "in.csv").rename(at.path / "away.csv")
    at.expect(2, ["gone, or no plain files any more", "in.csv"], "resume", job, "--accept-changed")
    (at.path / "away.csv").rename(at.path / "in.csv")
    at.expect(0, ["accepted"], "resume", job, "--accept-changed")
    assert (at.path / "out.csv").read_text() == good + "1,2\n"


def output_replaced(at):
    """As a program does that rotates logs: the rows go on into the file that was moved away."""
    job = "rotated.toml"
    unload = UNLOAD[UNLOAD.index("[consumer]"):].replace('TextDelimiter = ","', "")
    (at.path / job).write_text(LOAD[:LOAD.index("[target]")].replace('"load"', '"rotated"') + unload)
    runner = at.start("run", job, "--progress", "off")
    wait_for("a checkpoint", lambda: at.has_checkpoint(job))
    (at.path / "out.csv").rename(at.path / "out.csv.1")
    (at.path / "out.csv").touch()
    _, err = runner.communicate(timeout=120)
    assert runner.returncode == 12 and "is another file now" in err, f"exit {runner.returncode}\n{err}"


def failed_retry(at):
    """Its records wait as before, so what it had written by then must go, or it would be written twice."""
    job, ids = "retry.toml", range(20000)
    keep = 'FileName = "in.csv"\nRecordErrorFileName = "bad"'
    (at.path / job).write_text(UNLOAD.replace('"unload"', '"retry"').replace('FileName = "in.csv"', keep))
    (at.path / "in.csv").write_text("".join(f"{i},x,y\n" for i in ids))
    at.expect(4, [], "run", job)
    for last, words, code, rows in ((",y", ["--set", "producer.ErrorLimit=1"], 12, 0), ("", [], 0, len(ids))):
        (at.path / "bad").write_text("".join(f"{i},x\n" for i in ids[:-1]) + f"{ids[-1]},x{last}\n")
        at.expect(code, [], "rejects", "retry", job, *words)
        assert (at.path / "out.csv").read_bytes().count(b"\n") == rows
    at.status(job, state="finished")


def main(fenwire):
    for test in (killed_and_interrupted, output_lost, output_replaced, failed_retry):
        with tempfile.TemporaryDirectory(prefix="fenwire-resume-") as folder:
            test(Folder(os.path.abspath(fenwire), folder))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
