# SPDX-License-Identifier: BSD-2-Clause
"""A model of what a disk holds after a loss of power, from the logged changes of a program.

What a wait for the disk (fsync, fdatasync) covered is there. Anything later may be there or not: all
of it, none, the first writes, parts of one write, or single pages in any order. New, changed and
removed names are there in their order up to any one, and those before a wait for their folder for
certain."""
import os
import pathlib
import typing

SECTOR, PAGE = 512, 4096


class Record(typing.NamedTuple):
    word: str
    identity: str  # of the file
    position: int  # of a write; new length of the file otherwise, -1 = unchanged
    bytes: bytes
    name: str
    to: str


def read_log(path):
    """Returns the records of a log, as the preloaded library writes it."""
    data, records, position = path.read_bytes(), [], 0
    while position < len(data):
        end = data.index(b"\n", position)
        word, identity, place, size, name, to = data[position:end].decode().split("\t")
        position = end + 1 + int(size)
        records.append(Record(word, identity, int(place), data[end + 1:position], name, to))
    return records


class File:
    """A file under any name."""

    def __init__(self, data=b""):
        self.durable = bytes(data)
        self.pending = []  # (position, bytes) of writes; (length, None) of a new length
        self.flushed = 0   # pending changes that the wait under way covers

    def sync(self):
        self.durable = apply(self.durable, self.pending[:self.flushed])
        del self.pending[:self.flushed]
        self.flushed = 0

    def lose(self, random):
        """Returns what a loss of power may leave."""
        kept = random.choice(("nothing", "all", "first", "torn", "pages"))
        count = random.randint(0, len(self.pending))
        changes = {"nothing": [], "all": self.pending}.get(kept, self.pending[:count])
        if kept == "torn" and count < len(self.pending):
            position, data = self.pending[count]
            if data:
                changes = [*changes, (position, data[:random.randrange(0, len(data), SECTOR)])]
        if kept == "pages":
            changes = [piece for change in self.pending for piece in pages(*change)
                       if random.random() < 0.5]
        left = apply(self.durable, changes)
        if random.random() < 0.3:  # the length is there, the data is not
            whole = len(apply(self.durable, self.pending))
            left += bytes(max(0, random.randint(0, whole) - len(left)))
        return left


def pages(position, data):
    """Divides a write at the borders of pages."""
    if data is None:
        return [(position, data)]
    borders = range(position - position % PAGE, position + len(data), PAGE)
    return [(max(begin, position), data[max(begin - position, 0):begin + PAGE - position])
            for begin in borders]


def apply(content, changes):
    content = bytearray(content)
    for position, data in changes:
        end = position + len(data or b"")
        if data is None:
            del content[end:]
        content += bytes(max(0, end - len(content)))
        content[position:end] = data or b""
    return bytes(content)


class Disk:
    """Replays a log over the files that were in a folder before."""

    def __init__(self, folder):
        self.names = {}    # as the program sees them
        self.durable = {}  # after a loss of power
        self.changes = []  # of names: (folder, name, file or None), not durable yet
        self.files = {}    # by identity
        self.flushed = {}  # changes of names that waits for folders cover
        for path in pathlib.Path(folder).rglob("*"):
            if path.is_file():
                file = File(path.read_bytes())
                self.files[str(path.stat().st_ino)] = file
                self.names[str(path)] = self.durable[str(path)] = file

    def set_name(self, name, file):
        self.changes.append((os.path.dirname(name), name, file))
        set_name(self.names, name, file)

    def replay(self, record):
        getattr(self, "replay_" + record.word)(record)

    def replay_open(self, record):
        if record.name not in self.names:
            self.files[record.identity] = File()
            self.set_name(record.name, self.files[record.identity])
        elif record.position == 0:
            self.replay_truncate(record)

    def replay_write(self, record):
        self.files[record.identity].pending.append((record.position, record.bytes))

    def replay_truncate(self, record):
        self.files[record.identity].pending.append((record.position, None))

    def replay_flush(self, record):
        if record.identity in self.files:
            self.files[record.identity].flushed = len(self.files[record.identity].pending)
        else:
            self.flushed[record.name] = len(self.changes)

    def replay_sync(self, record):
        if record.identity in self.files:
            self.files[record.identity].sync()
            return
        covered = self.changes[:self.flushed[record.name]]
        self.changes[:len(covered)] = [each for each in covered if each[0] != record.name]
        for folder, name, file in covered:
            if folder == record.name:
                set_name(self.durable, name, file)

    def replay_rename(self, record):
        file = self.names[record.name]
        self.set_name(record.to, file)
        self.set_name(record.name, None)

    def replay_remove(self, record):
        if record.name in self.names:  # not a folder
            self.set_name(record.name, None)

    def replay_folder(self, record):
        pass

    def lose(self, random):
        """Returns the files that a loss of power may leave, by name."""
        names = dict(self.durable)
        most = len(self.changes)
        for _, name, file in self.changes[:random.choice((0, most, random.randint(0, most)))]:
            set_name(names, name, file)
        return {name: file.lose(random) for name, file in names.items()}


def set_name(names, name, file):
    if file:
        names[name] = file
    else:
        names.pop(name, None)
