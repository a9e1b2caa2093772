#!/usr/bin/env python3
"""Random jobs are killed at random moments and resumed: nothing is lost, nothing is doubled.

    tests/system/torture.py FENWIRE [KILLS [SEED [JOB]]]

Each job runs undisturbed in one folder, and in another it is hit up to five times: an instance, the target,
the coordinator or all of them killed, or the coordinator interrupted. What is there in the end must be what
the undisturbed run left. JOB runs one job of a seed again.

With a server of support/postgres_server.py every other job is one of PostgreSQL, and the server is hit as well.
"""
import concurrent.futures
import itertools
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

import postgres_torture
import torture_jobs

PATIENCE = 120  # seconds until a run counts as one that hangs
VICTIMS = ["instance", "instance", "instance", "target", "coordinator", "coordinator", "group", "group", "SIGINT", "SIGTERM"]
MOMENTS = ["time", "time", "time", "checkpoint", "checkpoint", "start", "end"]
SIGNALS = {"SIGINT": (signal.SIGINT, 130), "SIGTERM": (signal.SIGTERM, 143)}


class Failed(Exception):
    pass


class Process:
    """fenwire at work on a job, and the processes that it starts."""

    def __init__(self, fenwire, verb, folder, environment=None, before=()):
        self.out, self.err = folder / "stdout", folder / "stderr"
        words = [*before, fenwire, verb, "job.toml", "--json"] + (["--progress", "off"] if verb != "status" else [])
        with open(self.out, "wb") as out, open(self.err, "wb") as err:
            self.began = time.monotonic()
            self.process = subprocess.Popen(words, cwd=folder, stdin=subprocess.DEVNULL, stdout=out, stderr=err,
                                            env={**os.environ, **(environment or {})}, start_new_session=True)
        self.pid = self.process.pid

    def children(self):
        """(pid, name) of each."""
        found = []
        try:
            pids = pathlib.Path(f"/proc/{self.pid}/task/{self.pid}/children").read_text().split()
        except OSError:
            return []
        for pid in pids:
            try:
                found.append((int(pid), pathlib.Path(f"/proc/{pid}/comm").read_text().strip()))
            except OSError:
                pass
        return found

    def group(self):
        """Processes of the run that are still there."""
        found = []
        for entry in os.scandir("/proc"):
            try:
                if entry.name.isdigit():
                    state, _, group = pathlib.Path(entry.path, "stat").read_text().rsplit(")", 1)[1].split()[:3]
                    if int(group) == self.pid and state not in "ZX":
                        found.append(int(entry.name))
            except OSError:
                pass
        return found

    def ended(self):
        return self.process.poll() is not None

    def wait(self):
        """Exit status; none of the processes is left."""
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            os.killpg(self.pid, signal.SIGKILL)
            self.process.wait()
            raise Failed(f"does not end within {PATIENCE} s\n{self.said()}") from None
        end = time.monotonic() + 10
        while left := self.group():
            if time.monotonic() > end:
                raise Failed(f"processes are left behind: {left}\n{self.said()}")
            time.sleep(0.002)
        return status

    def said(self):
        return self.err.read_text(errors="replace")

    def report(self):
        try:
            return json.loads(self.out.read_text())
        except ValueError:
            raise Failed(f"no report on standard output: {self.out.read_text()[:300]}\n{self.said()}") from None


# ---- The moment, and who is hit -------------------------------------------------------------------------


def wait_for_moment(rng, process, moment, seconds, hits, seen_files):
    """Returns when the time has come, or the process has ended."""
    end, changes = process.began + seconds * 1.5 + 1, 0
    if moment == "checkpoint":
        changes = rng.choice([1, 2, 3, 5, 8, 20, 60])
    else:
        share = {"time": rng.random() / (1 + hits / 2), "start": rng.random() * 0.15, "end": rng.uniform(0.85, 1.05)}[moment]
        end = process.began + seconds * share
    seen = seen_files() if changes else None
    while not process.ended() and time.monotonic() < end:
        if changes:
            now = seen_files()
            changes -= now != seen
            if changes == 0:
                return
            seen = now
        time.sleep(0.0005)


def strike(rng, process, victim, server):
    """Hits it, and says what was hit."""
    if victim in postgres_torture.VICTIMS and server.strike(rng, victim, process):
        return victim
    if victim in SIGNALS:
        if rng.random() < 0.5:
            os.killpg(process.pid, SIGNALS[victim][0])
        else:
            process.process.send_signal(SIGNALS[victim][0])
        return victim
    if victim == "group":
        os.killpg(process.pid, signal.SIGKILL)
        return victim
    children = [(pid, name) for pid, name in process.children() if name.startswith("fw-") and (name == "fw-target") == (victim == "target")]
    if victim in ("instance", "target") and children:
        pid, name = rng.choice(children)
        os.kill(pid, signal.SIGKILL)
        return name
    process.process.kill()
    return "coordinator"


def statuses(hit):
    if hit in postgres_torture.VICTIMS:
        return [12, 2]
    if hit in SIGNALS:
        return [SIGNALS[hit][1]]
    return {"": [], "group": [-9], "coordinator": [-9]}.get(hit, [12])


class Torture:
    """One job: its folders, and what was done to it."""

    def __init__(self, fenwire, seed, number, server):
        self.fenwire, self.rng, self.server = fenwire, random.Random(f"{seed} {number}"), server
        self.root = pathlib.Path(tempfile.mkdtemp(prefix=f"torture-{number}-"))
        self.calm, self.folder = self.root / "calm", self.root / "hit"
        self.calm.mkdir()
        self.hits = []

    def process(self, verb, folder):
        return Process(self.fenwire, verb, folder, self.server and self.server.environment(folder))

    def run(self):
        self.job = (postgres_torture.PostgresJob(self.rng, self.calm, self.server) if self.server else
                    torture_jobs.TortureJob(self.rng, self.calm))
        shutil.copytree(self.calm, self.folder)
        process = self.process("run", self.calm)
        status = process.wait()
        self.seconds = time.monotonic() - process.began
        if status not in (0, 4):
            raise Failed(f"undisturbed: exit status {status}\n{process.said()}")
        if ("may come twice" in process.said()) != self.job.twice:
            raise Failed(f"rows may come twice, which is not said; or it is said of a job that has each once\n{process.said()}")
        self.wanted = torture_jobs.result(self.job, self.calm, process.report())
        last = self.torment(status)
        got = torture_jobs.result(self.job, self.folder, last.report() if last else self.wanted)
        if last is None:  # it was cut short while it tidied up, which the next run does
            got["files"] = [name for name in got["files"] if not name.startswith(".fenwire/torture/bad-records-")]
        if found := list(torture_jobs.differences(got, self.wanted)):
            raise Failed("\n".join(found) + "\n" + (last.said() if last else ""))

    def torment(self, done):
        """Hits the job and lets it go on until it ends; the last run, or none if that ended behind all it had to do."""
        hits = self.rng.choice([1, 2, 3, 3, 4, 5, 5])
        for left in range(hits, -1, -1):
            begun = (self.folder / ".fenwire/torture/run.json").exists()
            process = self.process("resume" if begun else "run", self.folder)
            hit = self.hit(process) if left else ""
            status = process.wait()
            if status == done:
                return process
            if status == 2 and "came to its end" in process.said():
                return None
            said = process.said().strip()
            if hit in SIGNALS and status == -SIGNALS[hit][0] and (not said or "\n" not in said and ": goes on from " in said):
                continue  # before it had begun to listen
            if status not in statuses(hit):
                raise Failed(f"exit status {status}\n{process.said()}")
            if self.rng.random() < 0.5:
                self.look()
        return None

    def look(self):
        """What `fenwire status` tells is what is there, and a run from the start is refused while there is more."""
        process = self.process("status", self.folder)
        if process.wait() != 0:
            raise Failed(f"status fails: {process.said()}")
        told = process.report()
        checkpoint = told["checkpoint"]
        if told["process"] != 0 or told["checkpoint_failure"] or told["state"] not in ("new", "killed", "stopped", "failed",
                                                                                     "finished"):
            raise Failed(f"status tells {told}")
        if told["state"] != "finished" and (lie := torture_jobs.difference_from(told, self.job, self.folder)):
            raise Failed(f"status tells {told}\nbut {lie}")
        if checkpoint and checkpoint["generation"] > 0 and self.rng.random() < 0.3:
            process = self.process("run", self.folder)
            if process.wait() != 2 or "resume" not in process.said():
                raise Failed(f"a run from the start is not refused\n{process.said()}")

    def hit(self, process):
        moment, victim = self.rng.choice(MOMENTS), self.rng.choice(VICTIMS + self.job.victims)
        wait_for_moment(self.rng, process, moment, self.seconds, len(self.hits),
                        lambda: self.job.checkpoint_files(self.folder))
        if process.ended():
            return ""
        when = time.monotonic() - process.began
        hit = strike(self.rng, process, victim, self.server)
        self.hits.append(f"{hit} at {when:.3f} s ({moment})")
        return hit


class Campaign:
    """Jobs side by side until so many hits were survived."""

    def __init__(self, fenwire, kills, seed, kind):
        self.fenwire, self.kills, self.seed, self.kind = fenwire, kills, seed, kind
        self.lock, self.done, self.failures = threading.Lock(), 0, 0
        folder = os.environ.get("FENWIRE_TEST_POSTGRES_FOLDER")
        self.server = postgres_torture.TortureServer(folder) if folder else None

    def work(self, worker):
        """Jobs of PostgreSQL, which want their server for themselves, have one worker, and even numbers."""
        for number in itertools.count(worker, 2):
            if self.done >= self.kills or self.failures >= 5:
                break
            self.one(number)

    def one(self, number):
        torture = self.kind(self.fenwire, self.seed, number, None if number % 2 else self.server)
        failed = ""
        try:
            torture.run()
            shutil.rmtree(torture.root)
        except (Failed, OSError, ValueError, KeyError, RuntimeError, subprocess.SubprocessError) as failure:
            failed = f"FAILED: {failure!r}" if not isinstance(failure, Failed) else f"FAILED: {failure}"
        with self.lock:
            self.done += len(torture.hits)
            print(f"{number}: {getattr(torture, 'job', '')}: hit {', '.join(torture.hits) or 'not at all'}", flush=True)
            if failed:
                self.failures += 1
                print(f"{failed}\n{(torture.calm / 'job.toml').read_text()}folder {torture.root}; again with: "
                      f"{sys.argv[0]} {self.fenwire} 1 {self.seed} {number}", flush=True)


def main(fenwire, kills=50, seed=None, number=None, kind=Torture):
    seed = int(seed) if seed is not None else random.randrange(1 << 32)
    campaign = Campaign(os.path.abspath(fenwire), int(kills), seed, kind)
    print(f"seed {seed}, {'with' if campaign.server else 'without'} PostgreSQL")
    if number is not None:
        campaign.one(int(number))
    else:
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for worker in [pool.submit(campaign.work, i) for i in range(2)]:
                worker.result()
    if campaign.server:
        campaign.server.clear()
    print(f"{campaign.done} hits, {campaign.failures} jobs failed")
    return campaign.failures != 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
