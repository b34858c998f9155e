"""heldThreads: stops single threads of a running program, so that what it shows in between can be looked at in peace."""
import ctypes
import errno
import os
import pathlib

import outside

LIBC = ctypes.CDLL(None, use_errno=True)
LIBC.ptrace.argtypes = [ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p]
LIBC.ptrace.restype = ctypes.c_long
SEIZE, INTERRUPT, DETACH = 0x4206, 0x4207, 17
# System calls (x86-64, arm64) by which a thread waits for another: futex.
WAITS = {"x86_64": {202}, "aarch64": {98}}.get(os.uname().machine, set(range(1000)))
WAIT_FOR_THREADS = 0x40000000


def ptrace(request, thread):
    if LIBC.ptrace(request, thread, None, None) != 0:
        raise OSError(ctypes.get_errno(), f"ptrace {request:#x} of {thread}")


def threads(pid, name):
    """The numbers of the process's threads of that name."""
    found = []
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        try:
            if (task / "comm").read_text().strip() == name:
                found.append(int(task.name))
        except OSError:
            pass  # it has just ended
    return found


class Held:
    """With this, the process's threads of that name stand still; afterwards they go on as if nothing had been."""

    def __init__(self, pid, name):
        self.pid, self.name, self.held = pid, name, []

    def __enter__(self):
        assert outside.eventually(lambda: threads(self.pid, self.name)), f"no thread is called {self.name}"
        for thread in threads(self.pid, self.name):
            assert outside.eventually(lambda thread=thread: self.hold(thread)), f"{self.name} never waits"
        return self

    def hold(self, thread):
        """Only while it waits for others: it might own what they wait for."""
        ptrace(SEIZE, thread)
        ptrace(INTERRUPT, thread)
        os.waitpid(thread, WAIT_FOR_THREADS)
        call = pathlib.Path(f"/proc/{self.pid}/task/{thread}/syscall").read_text().split()[0]
        if int(call) not in WAITS:
            ptrace(DETACH, thread)
            return False
        self.held.append(thread)
        return True

    def __exit__(self, *_):
        for thread in self.held:
            try:
                ptrace(DETACH, thread)
            except OSError as error:
                if error.errno != errno.ESRCH:
                    raise
