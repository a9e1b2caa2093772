"""Jobs to be killed that load into PostgreSQL or read from it, and its server as one more victim."""
import collections
import os
import pathlib
import signal
import sys
import time

from torture_jobs import TortureJob

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from postgres_server import PostgresServer  # noqa: E402

VICTIMS = ["session", "session", "session", "backend", "server"]


class TortureServer:
    """Serves one job at a time: a schema for each of its two runs, and one for what it reads."""

    def __init__(self, folder):
        self.server = PostgresServer(folder=folder)
        self.log = self.server.data / "pg_wal"
        self.prepared = int(self.sql("SHOW max_prepared_transactions"))

    def sql(self, statement):
        return self.server.sql(statement)

    def clear(self):
        for name in self.sql("SELECT gid FROM pg_prepared_xacts").split():
            self.sql(f"ROLLBACK PREPARED '{name}'")
        self.sql("SET client_min_messages = error; DROP SCHEMA IF EXISTS calm, hit, given CASCADE")

    def environment(self, folder):
        """By which a job finds the server, and the schema of its folder."""
        return {"PGHOST": str(self.server.folder), "PGPORT": "5432", "PGDATABASE": "postgres", "PGUSER": "fenwire",
                "PGOPTIONS": f"-csearch_path={folder.name},given"}

    def sessions(self):
        """Processes of the server that serve the job."""
        try:
            server = (self.server.data / "postmaster.pid").read_text().split()[0]
            pids = pathlib.Path(f"/proc/{server}/task/{server}/children").read_text().split()
            return [int(pid) for pid in pids if b": fenwire " in pathlib.Path(f"/proc/{pid}/cmdline").read_bytes()]
        except OSError:
            return []

    def strike(self, rng, victim, process):
        """session: one is ended. backend: killed, so that the server ends all of them and recovers. server: started
        again without having been shut down. False: there was nobody to be hit."""
        if victim == "server":
            self.server.stop("immediate")
            if rng.random() < 0.5:
                process.wait()
            self.server.start()
            return True
        while not (found := self.sessions()) and not process.ended():
            time.sleep(0.0005)
        if not found:
            return False
        try:
            os.kill(rng.choice(found), signal.SIGTERM if victim == "session" else signal.SIGKILL)
        except ProcessLookupError:
            return False
        if victim == "backend":
            process.wait()
            self.server.wait()
        return True


class PostgresJob(TortureJob):
    """kind is load, from files; unload, of a table into files; or transfer, from table to table."""

    KINDS = ["load", "load", "load", "load", "unload", "transfer", "transfer"]

    def __init__(self, rng, folder, server):
        self.server, self.in_postgres, self.twice, self.victims = server, False, False, VICTIMS
        server.clear()
        server.sql("CREATE SCHEMA calm; CREATE SCHEMA hit; CREATE SCHEMA given")
        super().__init__(rng, folder)

    def source(self):
        rng, sql = self.rng, self.server.sql
        self.charset, self.columns = "UTF8", ["id INTEGER", "a VARCHAR(40)", "b VARCHAR(40)"]
        order = rng.choice(["i", "i", "md5(i::text)"])
        sql(f"CREATE TABLE given.s AS SELECT i * 5 + i * {rng.randrange(1000)} % 5 + i / 999 * {rng.choice([0, 0, 1000])} AS id, "
            "substr(md5(i::text), 1 + i % 20) || 'é€' AS a, CASE WHEN i % 7 > 0 THEN i::text END AS b "
            f"FROM generate_series(1, {self.rows}) AS i ORDER BY {order}")
        keys = rng.choice([{"table": "s"}, {"table": "s"}, {"table": "s", "key": "id"}, {"query": "SELECT * FROM s", "key": "id"},
                           {"query": "SELECT * FROM s WHERE id % 3 <> 0 ORDER BY id"}])
        if keys == {"table": "s"} and rng.random() < 0.5:
            sql("ALTER TABLE given.s ADD PRIMARY KEY (id)")
        instances = rng.randint(1, 4) if "query" not in keys or "key" in keys else 1
        self.consumer = self.written_format()
        self.reading = ("source", {"type": "postgres", "instances": instances, **keys})
        self.about = f"{' '.join(keys)} of postgres, {instances} parts"

    def table(self):
        rng = self.rng
        if self.kind == "transfer" and rng.random() < 0.5:
            return super().table()
        self.in_postgres = True
        instances = connections = self.reading[1]["instances"]
        keys = {"type": "postgres", "table": "t"}
        if rng.random() < 0.4:
            keys["connections"] = connections = rng.randint(1, instances)
        self.twice = connections > max(1, self.server.prepared)
        if rng.random() < 0.5:
            names = ", ".join(f"{name} text" for name in self.names())
            key = "" if self.twice else rng.choice(["", ", PRIMARY KEY (id)"])
            for schema in ("calm", "hit"):
                self.server.sql(f"CREATE TABLE {schema}.t ({names}{key}); INSERT INTO {schema}.t (id) VALUES ('old')")
            keys["replace"] = rng.random() < 0.5
        elif rng.random() < 0.3:
            keys["unlogged"] = True
            self.victims = ["session"]  # a crash of the server would empty it, at the end as well
        self.about += f", to postgres over {connections} connections"
        return "target", keys

    def table_rows(self, folder):
        if not self.in_postgres:
            return super().table_rows(folder)
        sql = self.server.sql
        if left := sql("SELECT gid FROM pg_prepared_xacts"):
            raise ValueError(f"prepared transactions are left: {left}")
        tables = sql(f"SELECT relname FROM pg_class WHERE relnamespace = '{folder.name}'::regnamespace AND relkind = 'r' "
                     "ORDER BY 1").split()
        rows = sql(f"SELECT row_to_json(t) FROM {folder.name}.t").split("\n") if "t" in tables else []
        return tables, collections.Counter(row for row in rows if row)

    def checkpoint_files(self, folder):
        """The server's log of what it does, which goes to its file when something is committed."""
        return super().checkpoint_files(folder) + [entry.stat().st_mtime_ns for entry in os.scandir(self.server.log)
                                                   if entry.is_file()]
