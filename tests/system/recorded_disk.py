"""What a program does to the files below a folder, as strace tells it, and what a disk holds when power is lost on the way.

Nothing lasts but by fsync or fdatasync: of a file its bytes and its size, but not its name; of a folder the names in
it, but not its own. What was not synced is there or not, in parts, and in no order.
"""
import os
import pathlib
import re

CALLS = ("openat,open,creat,write,pwrite64,writev,pwritev,pwritev2,ftruncate,truncate,fallocate,copy_file_range,sendfile,"
         "fsync,fdatasync,sync,syncfs,rename,renameat,renameat2,link,linkat,symlink,symlinkat,unlink,unlinkat,mkdir,"
         "mkdirat,rmdir,lseek")
LONGEST = 1 << 22  # bytes of a call
FATES = [["none"], ["all"], ["none", "all"], ["scattered"], ["none", "all", "prefix", "scattered"]]
NOT_STORED = ("stdout", "stderr")  # of the test
LEFT_OUT = os.environ.get("POWER_LOSS_WITHOUT")  # syncs of such files and folders are not seen
NEVER = float("inf")


class NotModelled(Exception):
    pass


def command(trace):
    """What stands in front of the program's own. The sanitizer's search for leaks would trace, too."""
    options = os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    return ["strace", "-f", "--seccomp-bpf", "-y", "-xx", "-s", str(LONGEST), "-e", f"trace={CALLS}", "-e", "signal=none",
            "-E", f"ASAN_OPTIONS={options}", "-A", "-o", str(trace)]


class Call:
    """Lines of the recording where it begins and ends, and what it says."""

    def __init__(self, process, line, text):
        self.process, self.begin, self.end = process, line, NEVER
        self.name, _, self.text = text.removesuffix("<unfinished ...>").partition("(")

    def parse(self):
        parts = self.text.split('"')
        if any(part.startswith("...") for part in parts[2::2]):
            raise NotModelled(f"{self.name} of more than {LONGEST} bytes")
        self.strings = [unescaped(part) for part in parts[1::2]]
        self.rest, _, result = " ".join(parts[::2]).rpartition(" = ")
        self.result = int(result.split("<")[0].split()[0]) if result and not result.startswith("?") else -1
        self.files = [(fd, unescaped(path).decode(), bool(removed))
                      for fd, path, removed in re.findall(r"(\d+|AT_FDCWD)<([^>]*)>(\(deleted\))?", self.rest)]
        return self

    def numbers(self):
        return [int(number) for number in re.findall(r", (\d+) ?(?=[,)])", self.rest)]

    def paths(self):
        """A path that is not absolute stands behind the folder that it counts from, if the call names one."""
        folders = [path for _, path, _ in self.files] or [os.getcwd()]
        return [os.path.normpath(os.path.join(folders[min(i, len(folders) - 1)], path.decode(errors="replace")))
                for i, path in enumerate(self.strings)]


def unescaped(text):
    return bytes.fromhex(text.replace("\\x", "")) if text.startswith("\\x") else text.encode()


def calls_of(trace):
    """In the order in which they began. Their effect lies between beginning and end."""
    begun, calls = {}, []
    for number, line in enumerate(pathlib.Path(trace).read_text(errors="replace").splitlines()):
        process, text = line.split(None, 1)
        if text.startswith("<... "):
            call = begun.pop(process)
            call.text += text.partition("resumed>")[2]
            call.end = number
        elif re.match(r"\w+\(", text):
            call = Call(process, number, text)
            calls.append(call)
            if text.endswith("<unfinished ...>"):
                begun[process] = call
            else:
                call.end = number
    return calls


# ---- Files and folders ------------------------------------------------------------------------------------


class Inode:
    def __init__(self, base):
        self.base, self.changes, self.syncs = base, [], []  # a change: its call, and what it did

    def pending(self, cut):
        """Changes up to the cut, those that last in front, and how many these are."""
        synced = max((sync.begin for sync in self.syncs if sync.end <= cut), default=-1)
        changes = [change for change in self.changes if change[0].begin <= cut]
        changes.sort(key=lambda change: change[0].end >= synced)
        return changes, sum(change[0].end < synced for change in changes)

    def some(self, cut, rng, fates):
        changes, first = self.pending(cut)
        fate = rng.choice(fates)
        return changes, first, {"none": first, "all": len(changes)}.get(fate, rng.randint(first, len(changes))), fate


class File(Inode):
    def at(self, cut, rng, fates):
        """Each sector as it was at some moment since the last sync, and the size as it was at another."""
        changes, first, until, fate = self.some(cut, rng, fates)
        if fate != "scattered" or first == len(changes):
            return self.after(changes[:until])
        states = [self.after(changes[:rng.randint(first, len(changes))]) for _ in range(4)]
        states += [self.after(changes[:first]), self.after(changes)]
        size, sector = len(rng.choice(states)), rng.choice([512, 4096])
        return b"".join(rng.choice(states)[at:at + sector].ljust(sector, b"\0") for at in range(0, size, sector))[:size]

    def after(self, changes):
        content = bytearray(self.base)
        for _, at, data in changes:
            content.extend(bytes(max(0, at - len(content))))
            if data is None:
                del content[at:]
            else:
                content[at:at + len(data)] = data
        return bytes(content)


class Folder(Inode):
    def at(self, cut, rng, fates):
        """Name -> inode. A rename took place as a whole or not."""
        changes, first, until, fate = self.some(cut, rng, fates)
        names = dict(self.base)
        for i, (_, old, new, inode) in enumerate(changes):
            if i < first or (rng.random() < 0.5 if fate == "scattered" else i < until):
                if old is not None and names.get(old) is inode:
                    del names[old]
                if new is not None:
                    names[new] = inode
        return names


class RecordedDisk:
    """What lies below a folder when a recording begins, and what the recording does to it."""

    def __init__(self, root):
        self.root, self.now, self.names, self.removed, self.descriptors = str(root), {}, {}, {}, {}
        self.look(root)

    def look(self, path):
        if path.is_dir():
            inode = Folder({child.name: self.look(child) for child in path.iterdir() if child.name not in NOT_STORED})
        else:
            inode = File(path.read_bytes())
        self.now[str(path)], self.names[inode] = inode, path.name
        return inode

    def record(self, trace):
        calls = [call.parse() for call in calls_of(trace)]
        self.end = max((call.begin for call in calls), default=0)
        self.moments = {}  # where most is at stake
        for call in calls:
            if call.result >= 0:
                self.take(call)

    def moment(self, rng):
        """As often of a file that is seldom synced as of others."""
        return rng.choice(self.moments[rng.choice(list(self.moments))]) if rng.random() < 0.8 else rng.randint(0, self.end)

    def at(self, cut, rng):
        """Path -> inode and bytes, as a power cut may have left them; and words for how."""
        usual, other, found = rng.choice(FATES), rng.choice(FATES), {}
        names = self.names.items()
        odd = [(inode, name) for inode, name in names if len(inode.pending(cut)[0]) > inode.pending(cut)[1]]
        one, what = rng.choice(odd) if odd and rng.random() < 0.6 else (None, "names")

        def at(inode):
            return inode.at(cut, rng, other if inode is one or one is None and isinstance(inode, Folder) else usual)

        def walk(path, folder):
            for name, inode in sorted(at(folder).items()):
                found[path / name] = inode, at(inode) if isinstance(inode, File) else None
                if isinstance(inode, Folder):
                    walk(path / name, inode)

        walk(pathlib.Path(self.root), self.now[self.root])
        return found, f"line {cut} of {self.end}, {'/'.join(usual)}, {what} {'/'.join(other)}"

    # ---- Calls

    def take(self, call):
        act = getattr(self, "on_" + re.sub(r"(at2?|64)$", "", call.name.replace("fdata", "f").replace("creat", "open")), None)
        on_file = call.name.startswith(("write", "pwrite", "ftruncate", "lseek", "fsync", "fdatasync"))
        paths = [call.files[0][1]] if on_file and call.files else [] if on_file else call.paths()
        if not any(self.has(path) for path in paths):
            return
        if act is None:
            raise NotModelled(f"{call.name}({call.rest[:300]}")
        if on_file:
            fd, path, removed = call.files[0]
            act(call, fd, (self.removed if removed else self.now)[path])
        else:
            act(call, *paths)

    def has(self, path):
        return path.startswith(self.root) and os.path.basename(path) not in NOT_STORED

    def name(self, call, old, new, inode):
        """It loses one name, or gets one, or both."""
        folder = self.now[os.path.dirname(new or old)]
        if old and new and self.now[os.path.dirname(old)] is not folder or (old and isinstance(inode, Folder)):
            raise NotModelled(f"{old} becomes {new}")
        for path in filter(None, (old, new)):
            if path in self.now:
                self.removed[path] = self.now.pop(path)
        if new:
            self.now[new], self.names[inode] = inode, os.path.basename(new)
        self.at_stake(call, new or old)
        folder.changes.append((call, old and os.path.basename(old), new and os.path.basename(new), inode))

    def at_stake(self, call, path):
        moments = self.moments.setdefault(re.sub(r"\d+", "", path), [])
        moments += [max(call.begin - 1, 0), min(call.end, self.end)]

    def on_open(self, call, path):
        if "O_CREAT" in call.rest and path not in self.now:
            self.name(call, None, path, File(b""))
        if "O_TRUNC" in call.rest:
            self.now[path].changes.append((call, 0, None))
        self.descriptors[call.process, str(call.result)] = [0, "O_APPEND" in call.rest, self.now[path]]

    def on_mkdir(self, call, path):
        self.name(call, None, path, Folder({}))

    def on_unlink(self, call, path):
        self.name(call, path, None, self.now[path])

    def on_rename(self, call, old, new):
        self.name(call, old, new, self.now[old])

    def on_fsync(self, call, _, inode):
        path = call.files[0][1]
        self.at_stake(call, path)
        if not LEFT_OUT or not re.search(LEFT_OUT, path):
            inode.syncs.append(call)

    def on_ftruncate(self, call, _, inode):
        inode.changes.append((call, call.numbers()[-1], None))

    def on_pwrite(self, call, _, inode):
        inode.changes.append((call, call.numbers()[-1], call.strings[0][:call.result]))

    def descriptor(self, call, fd, inode):
        """A child has those of its parent."""
        own = self.descriptors.get((call.process, fd))
        return own if own and own[2] is inode else next(
            other for (_, number), other in self.descriptors.items() if number == fd and other[2] is inode)

    def on_lseek(self, call, fd, inode):
        self.descriptor(call, fd, inode)[0] = call.result

    def on_write(self, call, fd, inode):
        position = self.descriptor(call, fd, inode)
        data = call.strings[0][:call.result]
        at = self.appended_at(call, inode, data) if position[1] else position[0]
        inode.changes.append((call, at, data))
        position[0] = at + call.result

    def appended_at(self, call, inode, data):
        """Which of several processes was the first is not recorded, but to be seen from what they left."""
        least = len(inode.after([change for change in inode.changes if change[0].end < call.begin]))
        left = pathlib.Path(call.files[0][1])
        found = left.read_bytes().find(data, least) if left.exists() else -1
        return found if found >= 0 else len(inode.after(inode.changes))
