#!/usr/bin/env python3
"""Jobs beside a PostgreSQL server: a process, a backend or the server goes, and `fenwire resume` ends the job.

    postgres_job.py FENWIRE [TEMPLATE [SEED]]
"""
import os
import pathlib
import random
import shutil
import signal
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from postgres_server import PostgresServer  # noqa: E402
from torture import Failed, Process  # noqa: E402

ROWS = 60000  # of each of the two files
LOAD = """[job]
name = "load"
checkpoint = "1000 rows"
[producer]
instances = 2
FileName = "in-*.csv"
Format = "Delimited"
TextDelimiter = ","
[schema]
columns = ["id VARCHAR(9)", "word VARCHAR(60)"]
[target]
type = "postgres"
connection = "{connection}"
table = "loaded"
connections = {connections}
"""
UNLOAD = """[job]
name = "unload"
checkpoint = "1000 rows"
[source]
type = "postgres"
connection = "{connection}"
table = "kept"
instances = 2
[schema]
from = "source"
[consumer]
instances = 2
FileName = "out"
Format = "Delimited"
TextDelimiter = ","
"""


def word(number):
    return f"{number * 7919 % 99991:05}-{'x' * (number % 40)}"


class Trial:
    """One job in a folder of its own, hit once by each victim."""

    def __init__(self, fenwire, server, rng, text):
        self.fenwire, self.server, self.rng = fenwire, server, rng
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="postgres-job-"))
        (self.folder / "job.toml").write_text(text)
        self.hits = []

    def process(self, verb):
        return Process(self.fenwire, verb, self.folder)

    def torment(self, victims):
        """Until it ends."""
        verb = "run"
        for victim in [*self.rng.sample(victims, len(victims)), ""]:
            process = self.process(verb)
            if victim:
                self.strike(victim, process)
            status = process.wait()
            if status == 0:
                return
            away = status == 2 and victim in ("fast", "immediate") and "no connection to PostgreSQL" in process.said()
            if not away and (victim == "" or status != (-signal.SIGKILL if victim == "coordinator" else 12)):
                raise Failed(f"{verb}, hit: {victim or 'nothing'}: exit status {status}\n{process.said()}")
            self.hits.append(victim)
            self.server.wait()
            if not away:  # else it had not begun yet
                verb = "resume"

    def strike(self, victim, process):
        """Some time behind the start of its work, wherever that is in a round."""
        while not process.ended() and not self.backends():
            time.sleep(0.005)
        time.sleep(self.rng.uniform(0, 0.15))
        if victim in ("fast", "immediate"):
            self.server.stop(victim)
            process.wait()
            self.server.start()
            return
        pids = [process.pid]
        if victim == "backend":
            pids = self.backends()
        elif victim == "target":
            pids = [pid for pid, name in process.children() if name == "fw-target"]
        try:
            if pids and not process.ended():
                os.kill(self.rng.choice(pids), signal.SIGKILL)
        except ProcessLookupError:
            pass

    def backends(self):
        """That move rows."""
        found = self.server.sql("SELECT pid FROM pg_stat_activity WHERE application_name = 'fenwire' AND query ~ 'COPY'")
        return [int(pid) for pid in found.split()]


def nothing_is_left(server):
    left = server.sql("SELECT gid FROM pg_prepared_xacts")
    assert not left, f"prepared transactions are left: {left}"
    assert server.sql("SELECT to_regclass('fenwire_checkpoints')") == "", \
        "checkpoints are left: " + server.sql("SELECT run, job FROM fenwire_checkpoints")


def load(fenwire, server, rng, connections, exactly_once):
    server.sql("DROP TABLE IF EXISTS loaded")
    trial = Trial(fenwire, server, rng, LOAD.format(connection=server.connection, connections=connections))
    for number in range(2):
        (trial.folder / f"in-{number}.csv").write_text(
            "".join(f"{i},{word(i)}\n" for i in range(number * ROWS, (number + 1) * ROWS)))
    trial.torment(["coordinator", "target", "backend", "fast", "immediate"])
    nothing_is_left(server)
    compare(trial, server.sql("SELECT id || ',' || word FROM loaded").split("\n"), exactly_once)
    return trial.hits


def unload(fenwire, server, rng):
    server.sql("DROP TABLE IF EXISTS kept; CREATE TABLE kept AS SELECT DISTINCT id::int, word FROM loaded; "
               "ALTER TABLE kept ADD PRIMARY KEY (id)")
    trial = Trial(fenwire, server, rng, UNLOAD.format(connection=server.connection))
    trial.torment(["coordinator", "backend", "immediate"])
    compare(trial, [row for path in trial.folder.glob("out*") for row in path.read_text().splitlines()], True)
    return trial.hits


def compare(trial, rows, exactly_once):
    wrong = {f"{i},{word(i)}" for i in range(2 * ROWS)} ^ set(rows)
    assert not wrong, f"{len(wrong)} rows are lost or wrong, such as {sorted(wrong)[:3]}; hits: {trial.hits}"
    assert not exactly_once or len(rows) == 2 * ROWS, f"{len(rows) - 2 * ROWS} rows came twice; hits: {trial.hits}"
    shutil.rmtree(trial.folder)


def main(fenwire, template=None, seed=None):
    seed = int(seed) if seed else random.randrange(1 << 32)
    rng = random.Random(seed)
    print(f"seed {seed}", flush=True)
    fenwire = os.path.abspath(fenwire)
    with PostgresServer(template, {"fsync": "off"}) as server:
        hits = []
        for connections, prepared in ((1, 8), (2, 8), (2, 0)):
            server.stop()
            server.configure({"max_prepared_transactions": prepared})
            server.start()
            hit = load(fenwire, server, rng, connections, connections == 1 or prepared > 0)
            print(f"connections {connections}, prepared transactions {prepared}: hit {', '.join(hit)}", flush=True)
            hits += hit
        hit = unload(fenwire, server, rng)
        print(f"unload: hit {', '.join(hit)}", flush=True)
        hits += hit
        assert len(hits) >= 4, f"hardly anything was hit: {hits}"


if __name__ == "__main__":
    main(*sys.argv[1:])
