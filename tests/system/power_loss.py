#!/usr/bin/env python3
"""Power is lost at random moments; the job is resumed on what the disk may hold then: nothing is lost or doubled.

    tests/system/power_loss.py FENWIRE [CUTS [SEED [JOB]]]

Each job runs undisturbed in one folder, and in another under strace. From the recording, disks are made as power
cuts could have left them, and a resume on each must leave what the undisturbed run left. Some resumes are recorded
and cut, too. JOB runs one job of a seed again. With POWER_LOSS_WITHOUT=PATTERN in the environment, syncs of paths
that match are passed over, as if the program did without them: then the test must fail.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import recorded_disk
import torture
import torture_jobs

SKIPPED = 77
DEEPEST = 3  # a run, a resume of it, and a resume of that
# A recording has every byte that is written, so rows are few, and checkpoints many.
torture_jobs.PACES = [("2 rows", (20, 60)), ("7 rows", (60, 400)), ("100 rows", (500, 3000)), ("1000 rows", (2000, 5000)),
                      ("3ms", (500, 2500)), (None, (50, 2000))]


class PowerLoss(torture.Torture):
    def run(self):
        self.job = torture_jobs.TortureJob(self.rng, self.calm)
        shutil.copytree(self.calm, self.folder)
        process = torture.Process(self.fenwire, "run", self.calm)
        self.done = process.wait()
        if self.done not in (0, 4):
            raise torture.Failed(f"undisturbed: exit status {self.done}\n{process.said()}")
        self.wanted = torture_jobs.result(self.job, self.calm, process.report())
        self.record("run", 1)

    def record(self, verb, depth):
        """A run or resume is recorded, and what it left is what it should leave; then it is cut here and there."""
        disk = recorded_disk.RecordedDisk(self.folder)
        aside = pathlib.Path(tempfile.mkdtemp(prefix=f"recording-{depth}-", dir=self.root))
        self.come_to_end(verb, recorded_disk.command(aside / "trace"))
        disk.record(aside / "trace")
        self.compare_recording(disk)
        kept = {}
        for number, (path, inode) in enumerate(disk.now.items()):
            if pathlib.Path(path).parent == self.folder / "out" or path == str(self.folder / "bad.txt"):
                kept[inode] = aside / str(number)
                os.link(path, kept[inode])
        for _ in range(6 if depth == 1 else 2):
            found, how = disk.at(disk.moment(self.rng), self.rng)
            self.hits.append(f"{'after ' * (depth > 1)}{verb} at {how}")
            self.lay_out(found, kept)
            shutil.rmtree(self.root / "cut", ignore_errors=True)
            shutil.copytree(self.folder, self.root / "cut")
            if depth < DEEPEST and self.rng.random() < 0.3:
                self.record("resume", depth + 1)
            else:
                self.come_to_end("resume")

    def compare_recording(self, disk):
        """Nothing that was done was missed."""
        for path, inode in disk.now.items():
            if isinstance(inode, recorded_disk.File) and not path.endswith("-shm"):  # which is mapped
                if pathlib.Path(path).read_bytes() != inode.after(inode.changes):
                    raise torture.Failed(f"{path} is not what was recorded")
        there = {str(path) for path in self.folder.rglob("*") if path.name not in recorded_disk.NOT_STORED}
        if there != set(disk.now) - {disk.root}:
            raise torture.Failed(f"names were not recorded: {there ^ set(disk.now)}")

    def lay_out(self, found, kept):
        """Input files stay, since a resume knows them by inode and time; so do the inodes of output files."""
        for path in self.folder.iterdir():
            if path.name == "in" or path.name in ("job.toml", "source.db"):
                continue
            shutil.rmtree(path) if path.is_dir() else path.unlink()
        for path, (inode, content) in found.items():
            if content is None:
                path.mkdir(exist_ok=True)
            elif inode in kept:
                kept[inode].write_bytes(content)
                os.link(kept[inode], path)
            elif not path.exists():
                path.write_bytes(content)

    def come_to_end(self, verb, before=()):
        process = torture.Process(self.fenwire, verb, self.folder, before=before)
        status = process.wait()
        if status == 2 and "has not been run" in process.said():  # nothing of it was stored
            return self.come_to_end("run", before)
        over = status == 2 and "came to its end" in process.said()
        if status != self.done and not over:
            raise torture.Failed(f"exit status {status}\n{process.said()}")
        got = torture_jobs.result(self.job, self.folder, self.wanted if over else process.report())
        if over:  # the next run tidies up
            got["files"] = self.wanted["files"]
        if differences := list(torture_jobs.differences(got, self.wanted)):
            raise torture.Failed("\n".join(differences) + f"\n{process.said()}")


def why_not_traced():
    if not shutil.which("strace"):
        return "strace is not installed: scripts/install-packages"
    tried = subprocess.run(recorded_disk.command(os.devnull) + ["true"], capture_output=True, text=True)
    return f"no process may be traced here: {tried.stderr.strip()}" if tried.returncode else ""


def main(fenwire, cuts=100, *seed):
    if why := why_not_traced():
        print(f"power_loss: SKIPPED, nothing was tried: {why}")
        return SKIPPED
    return torture.main(fenwire, cuts, *seed, kind=PowerLoss)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
