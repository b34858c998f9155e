#!/usr/bin/env python3
"""folderThatForgets FOLDER JOURNAL [SECONDS]: as folderThatHangs, and writes down all that happens, with its time. From that
journal, Disk tells what a disk would have kept had the power gone at some moment: what was synchronised, and of all that
came later anything or nothing. Synchronising takes up to SECONDS (0 if not given).
"""
import os
import pickle
import random
import struct
import sys
import threading
import time

from folderThatHangs import (BLOCK, CREATE, FSYNC, FSYNCDIR, ROOT, SETATTR, SIZE_IS_SET, UNLINK, WRITE, Folder, Later,
                             serve)


class ForgetfulFolder(Folder):
    def __init__(self, journal, most_seconds):
        super().__init__()
        self.journal = journal
        self.most_seconds = most_seconds
        self.lock = threading.Lock()  # guards the journal and the count: late answers come on threads of their own
        self.count = 0

    def note(self, *event):
        with self.lock:
            self.count += 1
            pickle.dump((time.monotonic(), *event), self.journal)
            self.journal.flush()

    def answer(self, opcode, node, body):
        reply = super().answer(opcode, node, body)
        if opcode == CREATE:
            self.note("name", body[16:].rstrip(b"\0"), self.next - 1)
        elif opcode == UNLINK:
            self.note("name", body.rstrip(b"\0"), None)
        elif opcode == WRITE:
            _, offset, size = struct.unpack_from("<2QI", body)
            self.note("write", node, offset, body[40:40 + size])
        elif opcode == SETATTR and struct.unpack_from("<I", body)[0] & SIZE_IS_SET:
            self.note("size", node, struct.unpack_from("<Q", body, 16)[0])
        elif opcode in (FSYNC, FSYNCDIR):
            # What comes meanwhile is not part of it.
            before, begin, whose = self.count, time.monotonic(), node if opcode == FSYNC else ROOT
            raise Later(random.uniform(0, self.most_seconds), lambda: self.note("kept", whose, before, begin))
        return reply


class Content:
    """A file's bytes, and for each page what stood in it after each change."""

    def __init__(self):
        self.bytes = bytearray()
        self.sizes = [0]
        self.pages = {}

    def change(self, event):
        _, kind, _, place, *data = event
        old = len(self.bytes)
        begin, end = (place, place + len(data[0])) if kind == "write" else (min(place, old), max(place, old))
        if kind == "size":
            del self.bytes[place:]
        if len(self.bytes) < place:
            self.bytes.extend(bytes(place - len(self.bytes)))
        if kind == "write":
            self.bytes[begin:end] = data[0]
        self.sizes.append(len(self.bytes))
        for page in range(min(begin, old) // BLOCK, -(-end // BLOCK)):
            self.pages.setdefault(page, []).append(bytes(self.bytes[page * BLOCK:(page + 1) * BLOCK]))

    def settle(self):
        """All of it is on the disk."""
        self.sizes, self.pages = [len(self.bytes)], {}

    def left(self, kept, dice):
        """Given what is on the disk for certain: each changed page as it was at some time since, and so the size."""
        size = dice.choice([self.sizes[-1], dice.choice(self.sizes)])
        result = bytearray(kept)
        result.extend(bytes(max(0, max(self.sizes) - len(result))))
        for page, versions in self.pages.items():
            version = dice.randrange(len(versions) + 1)
            if version:
                text = versions[version - 1]
                result[page * BLOCK:page * BLOCK + len(text)] = text
        return bytes(result[:size])


class Disk:
    def __init__(self, journal):
        self.events = []
        with open(journal, "rb") as file:
            while True:
                try:
                    self.events.append(pickle.load(file))
                except EOFError:
                    break

    def moment(self, index):
        return self.events[index][0]

    def until(self, moment):
        """How many events there were by then."""
        return sum(1 for event in self.events if event[0] <= moment)

    def _kept(self, count, whose):
        """How many of the first events are on the disk for certain, as far as they are this file's or the folder's."""
        return max((event[3] for event in self.events[:count] if event[1] == "kept" and event[2] == whose), default=0)

    def synchronisations(self):
        """Begin and end of each of a file's."""
        return [(event[4], event[0]) for event in self.events if event[1] == "kept" and event[2] != ROOT]

    def cut(self, count, dice):
        """The power goes after so many events: what is left for certain, and what happens to be left, by their names."""
        names, kept = {}, self._kept(count, ROOT)
        later = [index for index in range(kept, count) if self.events[index][1] == "name"]
        # Names come to the disk in their order, or not at all.
        later = later[:dice.randint(0, len(later))]
        for index, event in enumerate(self.events[:count]):
            if event[1] != "name" or (index >= kept and index not in later):
                continue
            names.pop(event[2], None)
            if event[3] is not None:
                names[event[2]] = event[3]
        certain, left = {}, {}
        for name, number in names.items():
            content, kept = Content(), self._kept(count, number)
            for index, event in enumerate(self.events[:count]):
                if index == kept:
                    content.settle()
                    certain[name] = bytes(content.bytes)
                if event[1] in ("write", "size") and event[2] == number:
                    content.change(event)
            left[name] = content.left(certain[name], dice)
        return certain, left

    def pending(self, count):
        """Bytes written, and names given, that need not be on the disk yet."""
        written = sum(len(event[4]) for index, event in enumerate(self.events[:count])
                      if event[1] == "write" and index >= self._kept(count, event[2]))
        return written + sum(1 for event in self.events[self._kept(count, ROOT):count] if event[1] == "name")


if __name__ == "__main__":
    with open(sys.argv[2], "wb") as written_down:
        serve(ForgetfulFolder(written_down, float(sys.argv[3]) if len(sys.argv) > 3 else 0), sys.argv[1])
    os._exit(0)  # late answers to nobody
