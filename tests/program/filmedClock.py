"""filmedClock: recordings of tests/desktop/clock.cpp, which tell when each of their pictures and sounds happened."""
import os
import signal
import subprocess
import time

import filmClock
import outside
from a11y import Panel

START, STOP = "●  开始录制", "■  停止录制"
RECORDING = "● 录制中…  点击停止结束。"


class FilmedClock(outside.Case):
    """The clock runs, and the next program records the whole screen."""

    def setUp(self):
        super().setUp()
        outside.record_everything()
        self.helpers = []
        self.clock = self.helper(os.environ["QUILLET_CLOCK"])

    def tearDown(self):
        super().tearDown()
        for helper in self.helpers:
            helper.send_signal(signal.SIGCONT)
            helper.kill()
            helper.wait()
            helper.stdout.close()

    def helper(self, *command):
        """A program that says when it is ready and is ended with the test."""
        process = subprocess.Popen(command, stdout=subprocess.PIPE)
        self.helpers.append(process)
        self.assertEqual(process.stdout.readline(), b"ready\n", command)
        return process

    def open_panel(self):
        program, _ = self.start(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        return program, Panel(program.pid)

    def record(self, panel, seconds=2.0):
        panel.press("button", START)
        panel.await_("button", STOP)
        time.sleep(seconds)

    def stop(self, panel):
        """Until the file is saved; the whole line."""
        panel.press("button", STOP)
        return self.await_line(panel, "已保存：")

    def await_line(self, panel, beginning, seconds=20):
        return self.until(lambda: next((name for name in panel.names("label") if name.startswith(beginning)), None),
                          f"no line {beginning!r} among {panel.names('label')}", seconds)

    def assertPlays(self, film, least_seconds=1.0):
        """The film as an independent decoder has it."""
        read = filmClock.Film(film)
        self.assertEqual(read.complaints, "")
        self.assertGreater(read.seconds, least_seconds)
        self.assertGreater(read.sound_seconds, least_seconds)
        self.assertLess(abs(read.seconds - read.sound_seconds), 1)
        self.assertLess(read.worst_offset() or 0, 0.04, "sound and picture are apart")
        print(f"{self.id().split('.')[-1]}: {read.seconds:.1f} s of picture, {read.sound_seconds:.1f} s of sound, "
              f"{len(read.clicks)} clicks, at most {(read.worst_offset() or 0) * 1000:.1f} ms off ({read.median_offsets()})", flush=True)
        return read
