#!/usr/bin/env python3
"""roundsTest: many recordings, one after another, leave nothing behind in the program or on the X server. Runs inside
tests/desktop/desktop with a camera and sound. QUILLET_TEST_ROUNDS says how many; a hundred before a release.
"""
import collections
import os
import pathlib
import re
import statistics
import subprocess
import unittest

from a11y import Panel
from outside import Case, films, is_finished
from xresources import Server

ROUNDS = int(os.environ.get("QUILLET_TEST_ROUNDS", "6"))
# Caches and the memory allocator find their sizes in the first rounds.
WARM_UP = 3 if ROUNDS < 30 else 10
START, STOP = "●  开始录制", "■  停止录制"
# What a leak of one picture in each round (four megabytes) would exceed in the short form, one of a sound buffer for each
# second in the long one.
MOST_KILOBYTES_A_ROUND = 2048 if ROUNDS < 30 else 100


# The allocator gives back what was let go, instead of keeping it in pieces that grow by megabytes now and then.
THRIFTY = {"MALLOC_ARENA_MAX": "1", "MALLOC_MMAP_THRESHOLD_": "65536", "MALLOC_TRIM_THRESHOLD_": "65536"}


class Rounds(Case):
    def setUp(self):
        super().setUp()
        self.server = Server()
        self.moving = subprocess.Popen([os.environ["QUILLET_SCENE"]], stdout=subprocess.PIPE)
        self.assertEqual(self.moving.stdout.readline(), b"ready\n")

    def tearDown(self):
        super().tearDown()
        self.moving.kill()
        self.moving.wait()
        self.moving.stdout.close()
        self.server.close()

    def record(self, panel):
        panel.press("button", START)
        panel.await_("label", "● 录制中…  点击停止结束。")
        self.until(lambda: films() and films()[0].stat().st_size > 200_000, "nothing is recorded")
        panel.press("button", STOP)
        self.until(lambda: is_finished(films()[0]), "the film was not finished")
        panel.await_("label", f"已保存：{films()[0].name}（桌面）")
        films()[0].unlink()

    @staticmethod
    def targets(process):
        """What the descriptors stand for, without the numbers that differ from one to the next."""
        found = collections.Counter()
        for descriptor in (process / "fd").iterdir():
            try:
                found[re.sub(r"[0-9]+", "#", os.readlink(descriptor))] += 1
            except FileNotFoundError:  # closed meanwhile
                pass
        return found

    def state(self, program, ours):
        process = pathlib.Path(f"/proc/{program.pid}")
        memory = next(int(line.split()[1]) for line in (process / "smaps_rollup").read_text().splitlines()
                      if line.startswith("Private_Dirty"))
        on_server = sum((self.server.resources(client) for client in ours), start=type(self.server.resources(0))())
        return {"kilobytes": memory, "descriptors": len(os.listdir(process / "fd")), "open": self.targets(process),
                "threads": len(os.listdir(process / "task")), "clients": len(ours & self.server.clients()),
                "on the server": dict(on_server)}

    def test_leaveNothingBehind(self):
        others = self.server.clients()
        program, _ = self.start(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", **THRIFTY)
        panel = Panel(program.pid)
        panel.press("switch", "摄像头")
        # Helpers of this test come and go as clients, too; the program's stay.
        states = []
        for _ in range(ROUNDS):
            self.record(panel)
            ours = self.server.clients() - others
            states.append(self.state(program, ours))
        late = states[WARM_UP:]
        # The sound server's library (seen with 0.3.65) keeps the event descriptors of a message that arrives for a stream
        # which has just been closed. SoundStream sees to it that none is sent; one may still have been on its way.
        events = "anon_inode:[eventfd]"
        self.assertLessEqual(late[-1]["open"][events] - states[0]["open"][events], max(1, ROUNDS // 20))
        for state in states:
            state["descriptors"] -= state["open"][events]
        for what in ("descriptors", "threads", "clients"):
            self.assertLessEqual(late[-1][what], max(state[what] for state in states[: WARM_UP + 1]),
                                 f"{what}: {[state[what] for state in states]}, {late[-1]['open'] - states[0]['open']}")
        first, last = states[WARM_UP]["on the server"], late[-1]["on the server"]
        grown = {kind: (first.get(kind, 0), count) for kind, count in last.items() if count > first.get(kind, 0)}
        self.assertEqual(grown, {}, "the X server keeps more than before")
        memory = [state["kilobytes"] for state in late]
        slope = statistics.linear_regression(range(len(memory)), memory).slope
        print(f"{ROUNDS} rounds: {memory[0]} to {memory[-1]} kB private memory, {slope:.1f} kB a round; "
              f"{late[-1]['descriptors']} descriptors and {states[0]['open'][events]} to {late[-1]['open'][events]} for "
              f"events, {late[-1]['threads']} threads, {late[-1]['clients']} connections, "
              f"{sum(last.values()) - last['bytes of pixmaps']} resources on the X server", flush=True)
        self.assertLess(slope, MOST_KILOBYTES_A_ROUND, f"private memory grows: {memory}")


if __name__ == "__main__":
    unittest.main(verbosity=2)
