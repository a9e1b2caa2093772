#!/usr/bin/env python3
"""A PostgreSQL server of its own for tests and benchmarks, in a temporary folder that goes with it.

    postgres_server.py run [options] -- COMMAND ..    runs the command beside a server; its exit status
    postgres_server.py start [options]                prints the folder and the connection string, and stays
    postgres_server.py stop FOLDER                    stops what start left, and removes it

The server listens on a socket in its folder and on no port. The command finds the connection string in
FENWIRE_TEST_POSTGRES, and the folder in FENWIRE_TEST_POSTGRES_FOLDER. Options:

    --template DIR     a new cluster is kept there, and copied by the next server, which starts faster
    --set NAME=VALUE   a setting of the server

As root the server runs as the user postgres or nobody, because it refuses root.
"""
import argparse
import glob
import os
import pathlib
import pwd
import re
import shutil
import subprocess
import sys
import tempfile
import time

SETTINGS = {
    "listen_addresses": "''",
    "max_prepared_transactions": "8",
    "max_connections": "40",
    "log_min_messages": "fatal",
    "autovacuum": "off",
}


def binaries():
    """The folder of the newest server that is installed."""
    found = [f for f in glob.glob("/usr/lib/postgresql/*/bin") if os.path.exists(f + "/initdb")]
    found.sort(key=lambda folder: int(re.search(r"/(\d+)/bin$", folder).group(1)))
    on_path = shutil.which("initdb")
    if not found and not on_path:
        sys.exit("postgres_server: no PostgreSQL server is installed; scripts/install-packages installs it")
    return pathlib.Path(found[-1] if found else os.path.dirname(on_path))


def server_user():
    """Of the server's processes when this is root; None: as we are."""
    if os.geteuid() != 0:
        return None
    for name in ("postgres", "nobody"):
        try:
            return pwd.getpwnam(name)
        except KeyError:
            pass
    sys.exit("postgres_server: as root, a user postgres or nobody is wanted")


class PostgresServer:
    """Started and stopped at will; close() removes the folder."""

    def __init__(self, template=None, settings=None, folder=None):
        self.bin = binaries()
        self.user = server_user()
        self.folder = pathlib.Path(folder or tempfile.mkdtemp(prefix="fenwire-pg-"))
        self.data = self.folder / "data"
        self.connection = f"host={self.folder} port=5432 dbname=postgres user=fenwire"
        if folder is None:
            self._own(self.folder)
            self._make_cluster(pathlib.Path(template) if template else None)
            self.configure({**SETTINGS, "unix_socket_directories": f"'{self.folder}'", **(settings or {})})

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.close()

    def _own(self, path):
        if self.user:
            for at in [path, *path.rglob("*")]:
                os.chown(at, self.user.pw_uid, self.user.pw_gid)

    def _run(self, *command):
        who = {"user": self.user.pw_uid, "group": self.user.pw_gid, "extra_groups": []} if self.user else {}
        done = subprocess.run([str(c) for c in command], cwd=self.folder, text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, **who)
        if done.returncode != 0:
            log = self.folder / "log"
            raise RuntimeError(f"{command[0]}: {done.stderr}{log.read_text() if log.exists() else ''}")

    def _make_cluster(self, template):
        if template and template.exists():
            shutil.copytree(template, self.data)
            self._own(self.data)
            return
        self._run(self.bin / "initdb", "-D", self.data, "-U", "fenwire", "-A", "trust", "-E", "UTF8",
                  "--locale=C.UTF-8", "--no-sync", "--no-instructions")
        if template:  # whoever comes first; copied beside it, so that it is never half there
            template.parent.mkdir(parents=True, exist_ok=True)
            copy = pathlib.Path(tempfile.mkdtemp(dir=template.parent)) / "data"
            shutil.copytree(self.data, copy)
            try:
                copy.rename(template)
            except OSError:
                pass
            shutil.rmtree(copy.parent)

    def configure(self, settings):
        """Counts from the next start."""
        with open(self.data / "postgresql.auto.conf", "a") as conf:
            conf.writelines(f"{name} = {value}\n" for name, value in settings.items())

    def start(self):
        # Its output is a file: a pipe would stay open as long as the server.
        self._run(self.bin / "pg_ctl", "-D", self.data, "-w", "-s", "-l", self.folder / "log", "start")

    def stop(self, mode="fast"):
        self._run(self.bin / "pg_ctl", "-D", self.data, "-w", "-s", "-m", mode, "stop")

    def sql(self, statement):
        """What psql prints for the statement, without decoration."""
        return subprocess.run(["psql", "-XAtq", "-v", "ON_ERROR_STOP=1", "-d", self.connection, "-c", statement],
                              check=True, text=True, capture_output=True).stdout.strip()

    def wait(self):
        """Until it has recovered; it starts anew by itself when one of its backends was killed."""
        end = time.monotonic() + 20
        while True:
            try:
                return self.sql("SELECT 1")
            except subprocess.CalledProcessError:
                if time.monotonic() > end:
                    raise
                time.sleep(0.02)

    def close(self):
        if (self.data / "postmaster.pid").exists():
            try:
                self.stop("immediate")
            except RuntimeError:
                pass
        shutil.rmtree(self.folder, ignore_errors=True)


def main():
    words = sys.argv[1:]
    command = words[words.index("--") + 1:] if "--" in words else []
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("verb", choices=["run", "start", "stop"])
    parser.add_argument("folder", nargs="?")
    parser.add_argument("--template")
    parser.add_argument("--set", action="append", default=[])
    arguments = parser.parse_args(words[:words.index("--")] if command else words)
    if arguments.verb == "stop":
        PostgresServer(folder=arguments.folder).close()
        return 0
    server = PostgresServer(arguments.template, dict(s.split("=", 1) for s in arguments.set))
    try:
        server.start()
        if arguments.verb == "start":
            print(server.folder, server.connection, sep="\n")
            return 0
        environment = {**os.environ, "FENWIRE_TEST_POSTGRES": server.connection,
                       "FENWIRE_TEST_POSTGRES_FOLDER": str(server.folder)}
        return subprocess.run(command, env=environment, check=False).returncode
    finally:
        if arguments.verb == "run":
            server.close()


if __name__ == "__main__":
    sys.exit(main())
