#!/usr/bin/env python3
"""What a stopped job makes of a state folder that is gone, damaged, full or another's, and of a locked table.

    tests/system/state_folder.py FENWIRE [CASE]

Each case begins with a job that was stopped at a checkpoint, does something to it, and runs commands. In the
end all rows are there once.
"""
import concurrent.futures
import contextlib
import fcntl
import json
import os
import pathlib
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

ROWS = 8000
WORKERS = 4  # side by side: most cases wait for something
JOB = """[job]
name = "j"
{checkpoint}
[producer]
DirectoryPath = "../in"
FileName = "*.txt"
Format = "Delimited"
RecordErrorFileName = "bad.txt"
[schema]
columns = ["id VARCHAR(10)", "a VARCHAR(40)"]
{to}
"""
TO = {
    "load": '[target]\ntype = "sqlite"\nfile = "out.db"\ntable = "t"',
    "write": '[consumer]\nFileName = "out.txt"\nFormat = "Delimited"',
}


class Failed(Exception):
    pass


class Stopped:
    """A job of each kind that was stopped, to be copied for each case to the place where it was."""

    def __init__(self, fenwire, folder):
        self.fenwire, self.folder, self.saved = fenwire, folder, {}
        (folder / "in").mkdir()
        for number in range(2):
            lines = [f"{number}{i}|{'x' * 30}\n" if i % 1000 else f"{number}{i}\n" for i in range(ROWS)]
            (folder / f"in/{number}.txt").write_text("".join(lines))
        for kind in TO:
            self.stop(kind)

    def stop(self, kind):
        job = self.folder / kind
        job.mkdir()
        (job / "job.toml").write_text(JOB.format(checkpoint='checkpoint = "200 rows"', to=TO[kind]))
        run = subprocess.Popen([self.fenwire, "run", "job.toml", "--progress", "off"], cwd=job, stderr=subprocess.DEVNULL)
        end = time.monotonic() + 20
        while time.monotonic() < end and not self.has_checkpoint(kind):
            time.sleep(0.002)
        run.send_signal(signal.SIGINT)
        if run.wait() != 130:
            raise Failed(f"the {kind} job was not stopped: exit status {run.returncode}")
        self.saved[kind] = {path.relative_to(job): path.read_bytes() for path in job.rglob("*") if path.is_file()}

    def has_checkpoint(self, kind):
        job = self.folder / kind
        told = subprocess.run([self.fenwire, "status", "job.toml", "--json"], cwd=job, capture_output=True, check=False)
        return ((json.loads(told.stdout or "{}").get("checkpoint") or {}).get("rows") or 0) >= 200

    # The files themselves stay, since a job knows its files again.
    @contextlib.contextmanager
    def begin(self, kind):
        job = self.folder / kind
        for path in [path for path in job.rglob("*") if path.is_file() and path.relative_to(job) not in self.saved[kind]]:
            path.unlink()
        for name, data in self.saved[kind].items():
            (job / name).parent.mkdir(parents=True, exist_ok=True)
            if not (job / name).exists() or (job / name).read_bytes() != data:
                (job / name).write_bytes(data)
                (job / name).chmod(0o600)
        yield job


def ids_of(kind, job):
    if kind == "write":
        return sorted(line.split("|")[0] for line in (job / "out.txt").read_text().splitlines())
    database = sqlite3.connect(job / "out.db")
    ids = sorted(row[0] for row in database.execute("SELECT id FROM t"))
    tables = [row[0] for row in database.execute("SELECT name FROM sqlite_master")]
    database.close()
    if tables != ["t"]:
        raise Failed(f"tables are left: {tables}")
    return ids


def expect_all_once(kind, job):
    wanted = sorted(f"{number}{i}" for number in range(2) for i in range(ROWS) if i % 1000)
    ids = ids_of(kind, job)
    if ids != wanted:
        raise Failed(f"{len(ids)} rows, {len(set(ids))} different ones, instead of {len(wanted)}")
    kept = sorted((job / "bad.txt").read_text().splitlines())
    if kept != sorted(f"{number}{i}" for number in range(2) for i in range(0, ROWS, 1000)):
        raise Failed(f"{len(kept)} bad records are kept, {len(set(kept))} different ones")


# ---- What is done to a job ------------------------------------------------------------------------------


def state(job):
    return job / ".fenwire/j"


def cut_in_half(path):
    os.truncate(path, path.stat().st_size // 2)


def change_bytes(path):
    with contextlib.closing(sqlite3.connect(path)) as database, database:
        names = [row[1] for row in database.execute("PRAGMA table_info(fenwire_checkpoints)") if row[2].upper() == "BLOB"]
        if not names:
            raise Failed("there is no table of checkpoints with bytes in it")
        (data,) = database.execute(f"SELECT {names[-1]} FROM fenwire_checkpoints").fetchone()
        data = data[:len(data) // 2] + bytes([data[len(data) // 2] ^ 1]) + data[len(data) // 2 + 1:]
        database.execute(f"UPDATE fenwire_checkpoints SET {names[-1]} = ?", (data,))


def store_of_another(job):
    other = sqlite3.connect(state(job) / "checkpoint.db")
    with contextlib.closing(other), other:
        names = [row[1] for row in other.execute("PRAGMA table_info(fenwire_checkpoints)")]
        other.execute("UPDATE fenwire_checkpoints SET " + ("job_file" if "job_file" in names else names[0]) + " = '/else/job.toml'")


def table_of_another(job):
    """As if all had been begun in another folder."""
    with contextlib.closing(sqlite3.connect(job / "out.db")) as database, database:
        database.execute("UPDATE fenwire_checkpoints SET job_file = '/else/job.toml'")
    run = (state(job) / "run.json").read_text()
    (state(job) / "run.json").write_text(run.replace(str(job / "job.toml"), "/else/job.toml"))


# ---- What happens while it runs -------------------------------------------------------------------------


@contextlib.contextmanager
def lock_held(job):
    with open(state(job) / "lock", "r+b") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


@contextlib.contextmanager
def no_run_json(job):
    """run.json can't be written: a folder has its place, which stops root as well."""
    (state(job) / "run.json").unlink()
    (state(job) / "run.json").mkdir()
    yield
    (state(job) / "run.json").rmdir()


def database_held(*statements, seconds=None):
    """By another program, all the while or so long: nothing can be committed."""
    @contextlib.contextmanager
    def holding(job):
        database = sqlite3.connect(job / "out.db", isolation_level=None, check_same_thread=False)
        for statement in statements:
            database.execute(statement).fetchone()
        timer = threading.Timer(seconds or 0, database.close)
        if seconds:
            timer.start()
        yield
        timer.join() if seconds else database.close()
    return holding


@contextlib.contextmanager
def another_table(job):
    """Stands where the job's own was, which is gone together with its checkpoints."""
    (job / "out.db").unlink()
    with contextlib.closing(sqlite3.connect(job / "out.db")) as database:
        database.execute("CREATE TABLE t (x)")
    yield
    (job / "out.db").unlink()


TABLE_READ = ("BEGIN", "SELECT * FROM t")
# No file can become larger than it is allowed here, which a write says like a full disk.
DISK_FULL = "prlimit --fsize=4096 "
FRESH = (None, "run --fresh", 4, [])
ON = (None, "resume --set job.checkpoint=4000rows", 4, ["goes on from checkpoint"])
DAMAGED = "the checkpoint is damaged"
STORE = "the checkpoints of the job can't be used"

CASES = [
    # name, kind, what is done, [(while or before the command, command, exit status, words)]
    ("lock held", "load", None, [(lock_held, "resume", 12, ["running already"]), ON]),  # longest
    ("state folder deleted, table", "load", lambda job: shutil.rmtree(job / ".fenwire"), [ON]),
    ("state folder deleted, files", "write", lambda job: shutil.rmtree(job / ".fenwire"), [
        (None, "resume", 2, ["nothing to resume", "fenwire run job.toml"]), (None, "run", 4, [])]),
    ("run.json cut", "load", lambda job: cut_in_half(state(job) / "run.json"), [
        (None, "run", 2, ["fenwire resume job.toml", "fenwire run --fresh"]), ON]),
    ("run.json of zeros", "write", lambda job: (state(job) / "run.json").write_bytes(bytes(5_000_000)), [ON]),
    ("store cut", "write", lambda job: os.truncate(state(job) / "checkpoint.db", 5000), [
        (None, "resume", 12, [STORE, "fenwire run --fresh"]), (None, "run", 12, [STORE]), FRESH]),
    ("store empty", "write", lambda job: os.truncate(state(job) / "checkpoint.db", 0), [
        (None, "resume", 4, ["no checkpoint is stored, so it starts from the beginning"])]),
    ("text as store", "write", lambda job: (state(job) / "checkpoint.db").write_text("not a database at all\n" * 1000), [
        (None, "resume", 12, [STORE, "is no store of checkpoints"]), FRESH]),
    ("bytes changed in the store", "write", lambda job: change_bytes(state(job) / "checkpoint.db"), [
        (None, "resume", 12, [DAMAGED]), (None, "run", 12, [DAMAGED]), FRESH]),
    ("bytes changed in the table", "load", lambda job: change_bytes(job / "out.db"), [
        (None, "resume", 12, [DAMAGED, "run --fresh"]), (None, "run", 12, [DAMAGED]),
        (None, "run --fresh --set target.replace=true", 4, ["can't be read is forgotten"])]),
    ("store of another job", "write", store_of_another, [(None, "resume", 12, ["a job that is kept elsewhere"]), FRESH]),
    ("folder moved", "load", table_of_another, [
        (None, "status", 0, ["/else/job.toml and did not come to its end", "fenwire run --fresh"]),
        (None, "resume", 2, ["/else/job.toml and did not come to its end"]), (None, "run", 2, ["put the folder back"]),
        (None, "run --fresh --set target.replace=true", 4, [])]),
    ("list of bad records gone", "load", lambda job: (job / "bad.txt.jsonl").unlink(), [
        (None, "resume", 4, ["the list is begun anew"])]),
    ("record error file gone", "load", lambda job: (job / "bad.txt").unlink(), [
        (None, "resume", 12, ["bad.txt", "the job can't go on from its checkpoint"]),
        (None, "run --fresh --set target.replace=true", 4, [])]),
    ("output cut", "write", lambda job: cut_in_half(job / "out.txt"), [(None, "resume", 2, ["out.txt", "run --fresh"]), FRESH]),
    ("half a row behind the output", "write", lambda job: (job / "out.txt").open("a").write("half a ro"), [ON]),
    ("run.json can't be written", "load", None, [(no_run_json, "resume", 12, ["run.json"]), ON]),
    ("table locked before", "load", None, [(database_held("BEGIN EXCLUSIVE"), "resume", 12, ["another program holds it"]), ON]),
    ("table read all the while", "load", None, [(database_held(*TABLE_READ), "resume", 12, ["another program holds it"]), ON]),
    ("table read for a second", "load", None, [(database_held(*TABLE_READ, seconds=1), "resume", 4, [])]),
    ("table read at the end", "load", None, [
        (database_held(*TABLE_READ), "resume --set job.checkpoint=1h", 12, ["another program holds it"]), ON]),
    ("table that does not fit", "load", None, [
        (another_table, "resume", 12, ["does not fit the job"]), (None, "resume", 4, ["so it starts from the beginning"])]),
    ("disk full", "write", None, [(DISK_FULL, "resume", 12, []), ON]),
]


def run_case(stopped, name, kind, change, commands):
    with stopped.begin(kind) as job:
        if change:
            change(job)
        for meanwhile, command, status, words in commands:
            before = meanwhile.split() if isinstance(meanwhile, str) else []
            with meanwhile(job) if callable(meanwhile) else contextlib.nullcontext():
                quiet = [] if command == "status" else ["--progress", "off"]
                done = subprocess.run([*before, stopped.fenwire, *command.split(), "job.toml", *quiet], cwd=job,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
                                      restore_signals=False, timeout=120)
            missing = [word for word in words if word not in done.stdout]
            if done.returncode != status or missing:
                raise Failed(f"{name}: fenwire {command}: exit status {done.returncode} instead of {status}, does not say "
                             f"{missing}\n{done.stdout}")
        expect_all_once(kind, job)


def run_some(fenwire, folder, cases):
    """Those that no other worker has taken; what failed."""
    folder.mkdir()
    stopped, failures = Stopped(fenwire, folder), []
    for case in cases:
        try:
            run_case(stopped, *case)
        except Failed as failed:
            failures.append(str(failed))
    return failures


def main(fenwire, only=""):
    cases = iter([case for case in CASES if only in case[0]])
    with tempfile.TemporaryDirectory(prefix="state-folder-") as folder:
        with concurrent.futures.ThreadPoolExecutor(WORKERS) as pool:
            runs = [pool.submit(run_some, os.path.abspath(fenwire), pathlib.Path(folder, str(i)), cases) for i in range(WORKERS)]
        failures = [failure for run in runs for failure in run.result()]
    print(*failures, f"{len(failures)} cases failed", sep="\n")
    return bool(failures)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
