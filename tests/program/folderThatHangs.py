#!/usr/bin/env python3
"""folderThatHangs FOLDER: mounts a file system in memory on FOLDER and serves it until it is ended. While this process is
stopped (SIGSTOP), everything on the folder hangs, as on a network that went away; once it is killed, everything there
fails. Files only, no folders in it. Prints "ready". Exit: 77 where mounting is not allowed. Linux's fuse.h has the protocol.
"""
import ctypes
import errno
import os
import stat
import struct
import sys
import threading

LOOKUP, FORGET, GETATTR, SETATTR, UNLINK, OPEN, READ, WRITE, STATFS, RELEASE, FSYNC = 1, 2, 3, 4, 10, 14, 15, 16, 17, 18, 20
FLUSH, INIT, OPENDIR, READDIR, RELEASEDIR, FSYNCDIR, CREATE, BATCH_FORGET = 25, 26, 27, 28, 29, 30, 35, 42
ROOT = 1
SIZE_IS_SET = 8
BLOCK = 4096


class Failure(Exception):
    pass


class Later(Exception):
    """The answer is an empty one and comes after so many seconds, when `then` has been called."""

    def __init__(self, seconds, then):
        super().__init__()
        self.seconds, self.then = seconds, then


class Folder:
    def __init__(self):
        self.names = {}  # to numbers
        self.files = {}  # numbers to contents
        self.next = ROOT + 1

    def attributes(self, number):
        is_root = number == ROOT
        size = 0 if is_root else len(self.content(number))
        mode = stat.S_IFDIR | 0o755 if is_root else stat.S_IFREG | 0o644
        links = 2 if is_root else int(number in self.names.values())
        return struct.pack("<6Q10I", number, size, -(-size // 512), 0, 0, 0, 0, 0, 0, mode, links, os.getuid(), os.getgid(),
                           0, BLOCK, 0)

    def entry(self, number):
        return struct.pack("<4Q2I", number, 0, 0, 0, 0, 0) + self.attributes(number)

    def content(self, number):
        if number not in self.files:
            raise Failure(errno.ENOENT)
        return self.files[number]

    def answer(self, opcode, node, body):
        """What the kernel gets; None for nothing at all."""
        if opcode == INIT:
            _, minor, readahead, _ = struct.unpack_from("<4I", body)
            return struct.pack("<4I2H2I2H8I", 7, min(minor, 31), readahead, 0, 12, 9, 128 << 10, 1, 0, 0, *[0] * 8)
        if opcode in (FORGET, BATCH_FORGET):
            return None
        if opcode == LOOKUP:
            name = body.rstrip(b"\0")
            if name not in self.names:
                raise Failure(errno.ENOENT)
            return self.entry(self.names[name])
        if opcode in (GETATTR, SETATTR):
            if opcode == SETATTR and struct.unpack_from("<I", body)[0] & SIZE_IS_SET:
                size = struct.unpack_from("<Q", body, 16)[0]
                content = self.content(node)
                content[size:] = bytes(max(0, size - len(content)))
            return struct.pack("<Q2I", 0, 0, 0) + self.attributes(node)
        if opcode == CREATE:
            self.names[body[16:].rstrip(b"\0")] = self.next
            self.files[self.next] = bytearray()
            self.next += 1
            return self.entry(self.next - 1) + struct.pack("<Q2I", 0, 0, 0)
        if opcode == UNLINK:
            if self.names.pop(body.rstrip(b"\0"), None) is None:
                raise Failure(errno.ENOENT)
            return b""
        if opcode in (OPEN, OPENDIR):
            return struct.pack("<Q2I", 0, 0, 0)
        if opcode == READ:
            _, offset, size = struct.unpack_from("<2QI", body)
            return bytes(self.content(node)[offset:offset + size])
        if opcode == WRITE:
            _, offset, size = struct.unpack_from("<2QI", body)
            content = self.content(node)
            if len(content) < offset:
                content.extend(bytes(offset - len(content)))
            content[offset:offset + size] = body[40:40 + size]
            return struct.pack("<2I", size, 0)
        if opcode == STATFS:
            return struct.pack("<5Q4I6I", 1 << 20, 1 << 20, 1 << 20, 1 << 20, 1 << 20, BLOCK, 255, BLOCK, 0, *[0] * 6)
        if opcode == READDIR:
            offset = struct.unpack_from("<2Q", body)[1]
            entries = b""
            for index, (name, number) in list(enumerate(self.names.items(), 1))[offset:]:
                entry = struct.pack("<2Q2I", number, index, len(name), 8) + name
                entries += entry + bytes(-len(entry) % 8)
            return entries
        if opcode in (RELEASE, RELEASEDIR, FLUSH, FSYNC, FSYNCDIR):
            return b""
        raise Failure(errno.ENOSYS)


def serve(folder, target):
    """Until the file system is unmounted. Exits with 77 where mounting is not allowed."""
    try:
        device = os.open("/dev/fuse", os.O_RDWR)
    except OSError:
        sys.exit(77)
    options = f"fd={device},rootmode=40755,user_id={os.getuid()},group_id={os.getgid()}"
    if ctypes.CDLL(None).mount(b"slow", os.fsencode(target), b"fuse", 0, options.encode()) != 0:
        sys.exit(77)

    def send(unique, reply, error=0):
        os.write(device, struct.pack("<IiQ", 16 + len(reply), -error, unique) + reply)

    def send_late(unique, then):
        then()
        send(unique, b"")

    while True:
        try:
            request = os.read(device, (128 << 10) + 4096)
        except OSError as problem:
            if problem.errno == errno.ENODEV:
                return
            raise
        _, opcode, unique, node = struct.unpack_from("<2I2Q", request)
        try:
            reply = folder.answer(opcode, node, request[40:])
            if reply is not None:
                send(unique, reply)
        except Failure as failure:
            send(unique, b"", failure.args[0])
        except Later as later:
            threading.Timer(later.seconds, send_late, (unique, later.then)).start()
        if opcode == INIT:
            print("ready", flush=True)


if __name__ == "__main__":
    serve(Folder(), sys.argv[1])
