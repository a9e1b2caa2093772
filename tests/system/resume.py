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
[schema]
columns = ["id INTEGER"]
[target]
type = "sqlite"
file = "out.db"
table = "t"
"""

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
        with sqlite3.connect(self.path / "out.db") as database:
            return database.execute("SELECT count(*) FROM t").fetchone()[0]


def wait_for_checkpoint(at, job, after=0):
    end = time.monotonic() + 60
    while time.monotonic() < end:
        checkpoint = json.loads(at.expect(0, [], "status", job, "--json"))["checkpoint"]
        if checkpoint and checkpoint["generation"] > after:
            return checkpoint["generation"]
        time.sleep(0.05)
    raise AssertionError("no checkpoint came")


def killed_and_interrupted(at):
    job = "load.toml"
    (at.path / job).write_text(LOAD)
    at.status(job, state="new", checkpoint=None, next="fenwire run load.toml")
    at.expect(2, ["nothing to resume: load has not been run"], "resume", job)
    runner = at.start("run", job, "--progress", "off")
    wait_for_checkpoint(at, job)
    at.status(job, state="running", process=runner.pid, next="")
    at.expect(12, ["running already"], "resume", job)
    os.killpg(runner.pid, signal.SIGKILL)
    runner.communicate()

    rows = at.rows()
    status = at.status(job, state="killed", next="fenwire resume load.toml")
    assert status["checkpoint"]["rows"] == rows, "the checkpoint and the table differ"
    at.expect(2, ["fenwire resume load.toml ", "fenwire run --fresh load.toml "], "run", job)
    at.expect(2, ["[source] rows: 30000000 at the checkpoint, 7 now"], "resume", job, "--set", "source.rows=7")
    at.expect(2, ["[source] instances: 1 at the checkpoint, 2 now"], "resume", job, "--instances", "2")
    assert at.rows() == rows, "a refusal changed the table"

    runner = at.start("resume", job, "--progress", "off", "--json")
    wait_for_checkpoint(at, job, status["checkpoint"]["generation"])
    runner.send_signal(signal.SIGINT)
    out, err = runner.communicate(timeout=60)
    report = json.loads(out)
    assert runner.returncode == 130 and report["checkpoint"]["resumable"], err
    assert report["checkpoint"]["resume"] == "fenwire resume load.toml", report["checkpoint"]
    assert report["checkpoint"]["rows"] == at.rows() > rows
    at.status(job, state="stopped", next="fenwire resume load.toml")

    at.expect(0, [], "run", "--fresh", job, "--set", "source.rows=5")
    assert at.rows() == report["checkpoint"]["rows"] + 5, "--fresh adds its rows to those that were in"
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
    at.expect(0, ["accepted"], "resume", job, "--accept-changed")
    assert (at.path / "out.csv").read_text() == good + "1,2\n"


def main(fenwire):
    for test in (killed_and_interrupted, output_lost):
        with tempfile.TemporaryDirectory(prefix="fenwire-resume-") as folder:
            test(Folder(os.path.abspath(fenwire), folder))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
