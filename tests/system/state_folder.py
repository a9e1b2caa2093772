#!/usr/bin/env python3
"""What a stopped job makes of a state folder that is gone, damaged, full or another's, and of a locked table.

    tests/system/state_folder.py FENWIRE [CASE]

Each case begins with a job that was stopped at a checkpoint, does something to it, and runs commands. In the
end all rows are there once.
"""
import contextlib
import fcntl
import os
import pathlib
import resource
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

ROWS = 8000
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
        told = subprocess.run([self.fenwire, "status", "job.toml"], cwd=job, capture_output=True, text=True, check=False)
        return "checkpoint  " in told.stdout and "none" not in told.stdout

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


def delete_folder(job):
    shutil.rmtree(job / ".fenwire")


def cut_run_json(job):
    data = (state(job) / "run.json").read_bytes()
    (state(job) / "run.json").write_bytes(data[:len(data) // 2])


def run_json_of_zeros(job):
    (state(job) / "run.json").write_bytes(bytes(5_000_000))


def cut_store(job):
    os.truncate(state(job) / "checkpoint.db", 5000)


def empty_store(job):
    os.truncate(state(job) / "checkpoint.db", 0)


def text_as_store(job):
    (state(job) / "checkpoint.db").write_text("not a database at all\n" * 1000)


def change_bytes(path):
    with contextlib.closing(sqlite3.connect(path)) as database, database:
        names = [row[1] for row in database.execute("PRAGMA table_info(fenwire_checkpoints)") if row[2].upper() == "BLOB"]
        if not names:
            raise Failed("there is no table of checkpoints with bytes in it")
        (data,) = database.execute(f"SELECT {names[-1]} FROM fenwire_checkpoints").fetchone()
        data = data[:len(data) // 2] + bytes([data[len(data) // 2] ^ 1]) + data[len(data) // 2 + 1:]
        database.execute(f"UPDATE fenwire_checkpoints SET {names[-1]} = ?", (data,))


def change_row_of_store(job):
    change_bytes(state(job) / "checkpoint.db")


def change_row_of_table(job):
    change_bytes(job / "out.db")


def delete_list(job):
    (job / "bad.txt.jsonl").unlink()


def delete_error_file(job):
    (job / "bad.txt").unlink()


def shorten_output(job):
    os.truncate(job / "out.txt", 100)


def longer_output(job):
    with open(job / "out.txt", "a", encoding="ascii") as out:
        out.write("half a ro")


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


def nothing(_):
    pass


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


@contextlib.contextmanager
def table_read(job):
    """Another program reads the table all the while, so that nothing can be committed."""
    database = sqlite3.connect(job / "out.db", isolation_level=None)
    database.execute("BEGIN")
    database.execute("SELECT * FROM t").fetchone()
    yield
    database.close()


@contextlib.contextmanager
def table_read_shortly(job):
    database = sqlite3.connect(job / "out.db", isolation_level=None, check_same_thread=False)
    database.execute("BEGIN")
    database.execute("SELECT * FROM t").fetchone()
    timer = threading.Timer(1, database.close)
    timer.start()
    yield
    timer.join()


@contextlib.contextmanager
def database_locked(job):
    database = sqlite3.connect(job / "out.db", isolation_level=None)
    database.execute("BEGIN EXCLUSIVE")
    yield
    database.close()


@contextlib.contextmanager
def disk_full(_):
    """No file can become larger than it is allowed here, which a write says like a full disk."""
    resource.setrlimit(resource.RLIMIT_FSIZE, (4096, resource.RLIM_INFINITY))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))


FRESH = (None, "run --fresh", 4, [])
ON = (None, "resume", 4, ["goes on from checkpoint"])
DAMAGED = "the checkpoint is damaged"
STORE = "the checkpoints of the job can't be used"

CASES = [
    # name, kind, what is done, [(while, command, exit status, words)]
    ("state folder deleted, table", "load", delete_folder, [ON]),
    ("state folder deleted, files", "write", delete_folder, [
        (None, "resume", 2, ["nothing to resume", "fenwire run job.toml"]), (None, "run", 4, [])]),
    ("run.json cut", "load", cut_run_json, [(None, "run", 2, ["fenwire resume job.toml", "fenwire run --fresh"]), ON]),
    ("run.json of zeros", "write", run_json_of_zeros, [ON]),
    ("store cut", "write", cut_store, [
        (None, "resume", 12, [STORE, "fenwire run --fresh"]), (None, "run", 12, [STORE]), FRESH]),
    ("store empty", "write", empty_store, [(None, "resume", 4, ["no checkpoint is stored, so it starts from the beginning"])]),
    ("text as store", "write", text_as_store, [(None, "resume", 12, [STORE, "is no store of checkpoints"]), FRESH]),
    ("bytes changed in the store", "write", change_row_of_store, [
        (None, "resume", 12, [DAMAGED]), (None, "run", 12, [DAMAGED]), FRESH]),
    ("bytes changed in the table", "load", change_row_of_table, [
        (None, "resume", 12, [DAMAGED, "run --fresh"]), (None, "run", 12, [DAMAGED]),
        (None, "run --fresh --set target.replace=true", 4, ["can't be read is forgotten"])]),
    ("store of another job", "write", store_of_another, [(None, "resume", 12, ["a job that is kept elsewhere"]), FRESH]),
    ("folder moved", "load", table_of_another, [
        (None, "status", 0, ["/else/job.toml and did not come to its end", "fenwire run --fresh"]),
        (None, "resume", 2, ["/else/job.toml and did not come to its end"]), (None, "run", 2, ["put the folder back"]),
        (None, "run --fresh --set target.replace=true", 4, [])]),
    ("list of bad records gone", "load", delete_list, [(None, "resume", 4, ["the list is begun anew"])]),
    ("record error file gone", "load", delete_error_file, [
        (None, "resume", 12, ["bad.txt", "the job can't go on from its checkpoint"]),
        (None, "run --fresh --set target.replace=true", 4, [])]),
    ("output cut", "write", shorten_output, [(None, "resume", 2, ["out.txt", "run --fresh"]), FRESH]),
    ("half a row behind the output", "write", longer_output, [ON]),
    ("lock held", "load", nothing, [(lock_held, "resume", 12, ["running already"]), ON]),
    ("run.json can't be written", "load", nothing, [(no_run_json, "resume", 12, ["run.json"]), ON]),
    ("table locked before", "load", nothing, [(database_locked, "resume", 12, ["another program holds it"]), ON]),
    ("table read all the while", "load", nothing, [(table_read, "resume", 12, ["another program holds it"]), ON]),
    ("table read for a second", "load", nothing, [(table_read_shortly, "resume", 4, [])]),
    ("table read at the end", "load", nothing, [
        (table_read, "resume --set job.checkpoint=1h", 12, ["another program holds it"]), ON]),
    ("disk full", "write", nothing, [(disk_full, "resume", 12, []), ON]),
]


def run_case(stopped, name, kind, change, commands):
    with stopped.begin(kind) as job:
        change(job)
        for meanwhile, command, status, words in commands:
            with (meanwhile or contextlib.nullcontext)(*([job] if meanwhile else [])):
                quiet = [] if command == "status" else ["--progress", "off"]
                done = subprocess.run([stopped.fenwire, *command.split(), "job.toml", *quiet], cwd=job, stdout=subprocess.PIPE,
                                      stderr=subprocess.STDOUT, text=True, check=False, restore_signals=False, timeout=120)
            missing = [word for word in words if word not in done.stdout]
            if done.returncode != status or missing:
                raise Failed(f"fenwire {command}: exit status {done.returncode} instead of {status}, does not say {missing}\n"
                             f"{done.stdout}")
        expect_all_once(kind, job)


def main(fenwire, only=""):
    folder = pathlib.Path(tempfile.mkdtemp(prefix="state-folder-"))
    stopped, failures = Stopped(os.path.abspath(fenwire), folder), 0
    for case in CASES:
        if only not in case[0]:
            continue
        try:
            run_case(stopped, *case)
            print(f"{case[0]}: ok")
        except Failed as failed:
            failures += 1
            print(f"{case[0]}: FAILED: {failed}")
    shutil.rmtree(folder)
    return failures != 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
