#!/usr/bin/env python3
"""faultsTest: what a recording's disk and display can do to it: full, removed, read-only, hanging, gone. Runs inside
tests/desktop/desktop. Starts itself anew among mounts of its own; where that is not allowed, it is skipped (exit 77).
"""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import filmClock
import outside
from a11y import Panel
from filmedClock import RECORDING, START, STOP, FilmedClock
from outside import eventually, is_finished

LITTLE_ROOM = "● 录制中…  磁盘空间不足，请尽快停止或腾出空间。"
STOPPED_FOR_ROOM = "磁盘空间不足，录制已自动停止。"
MOST_FROZEN = 1.0  # seconds; it would be as long as the disk hangs


class Faults(FilmedClock):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(tempfile.mkdtemp(dir=os.environ["QUILLET_DESKTOP"]))
        outside.record_into(self.folder)

    def tearDown(self):
        super().tearDown()
        subprocess.run(["umount", "-l", str(self.folder)], stderr=subprocess.DEVNULL, check=False)
        outside.USER_FOLDERS.unlink()

    def mount(self, *arguments):
        subprocess.run(["mount", *arguments, str(self.folder)], check=True)

    def remount(self, options):
        self.mount("-o", f"remount,{options}")

    def hanging_folder(self):
        return self.helper(sys.executable, "-B", str(pathlib.Path(__file__).with_name("folderThatHangs.py")), str(self.folder))

    def films(self):
        return sorted(self.folder.glob("*.mp4"))

    def assertResponsive(self, panel, seconds):
        """All that time, the program's main thread answers."""
        worst, end = 0, time.monotonic() + seconds
        while time.monotonic() < end:
            worst = max(worst, panel.answer_seconds())
            time.sleep(0.05)
        self.assertLess(worst, MOST_FROZEN, "the panel does not answer")

    def assertRecordsAgain(self, panel):
        self.record(panel)
        line = self.stop(panel)
        # By the line: what a folder held back may come and go meanwhile, under the same name in the same second.
        film = self.folder / line.removeprefix("已保存：").removesuffix("（桌面）")
        self.assertEqual(line, f"已保存：{film.name}（桌面）")
        self.assertTrue(is_finished(film))
        self.assertPlays(film)

    def test_aDiskThatFillsUpEndsTheFilmInTime(self):
        self.mount("-t", "tmpfs", "-o", "size=23m", "none")
        _, panel = self.open_panel()
        panel.press("button", START)
        self.await_line(panel, LITTLE_ROOM)
        # What others write brings the end.
        (self.folder / "others").write_bytes(bytes(6_000_000))
        line = self.await_line(panel, "已保存：")
        film, = self.films()
        self.assertEqual(line, f"已保存：{film.name}（桌面）{STOPPED_FOR_ROOM}")
        self.assertTrue(is_finished(film))
        self.assertPlays(film, 0.5)
        self.remount("size=400m")
        self.assertRecordsAgain(panel)

    def test_theLineIsAsBeforeWhenThereIsRoomAgain(self):
        self.mount("-t", "tmpfs", "-o", "size=24m", "none")
        _, panel = self.open_panel()
        panel.press("button", START)
        self.await_line(panel, LITTLE_ROOM)
        self.remount("size=800m")
        self.await_line(panel, RECORDING)
        self.stop(panel)

    def test_aDiskThatIsSuddenlyFullKeepsWhatIsThere(self):
        self.mount("-t", "tmpfs", "-o", "size=100m", "none")
        _, panel = self.open_panel()
        self.record(panel, 3)
        with (self.folder / "others").open("wb", buffering=0) as file:
            try:
                while file.write(bytes(1 << 16)):
                    pass
            except OSError:
                pass  # full
        film, = self.films()
        line = self.await_line(panel, "导出失败：")
        self.assertEqual(line, f"导出失败：磁盘空间不足。已录下的部分仍在 {film.name}")
        self.assertPlays(film)
        self.assertResponsive(panel, 0.5)
        (self.folder / "others").unlink()
        time.sleep(1.1)  # the next film's name
        self.assertRecordsAgain(panel)

    def test_aRemovedFolderComesBackWithTheFilm(self):
        _, panel = self.open_panel()
        self.record(panel)
        shutil.rmtree(self.folder)
        time.sleep(1)
        line = self.stop(panel)
        film, = self.films()
        self.assertEqual(line, f"已保存：{film.name}（桌面）")
        self.assertTrue(is_finished(film))
        self.assertPlays(film, 2)

    def test_aMovedFilmIsCalledByItsNewName(self):
        _, panel = self.open_panel()
        self.record(panel)
        self.films()[0].rename(self.folder / "mine.mp4")
        self.assertEqual(self.stop(panel), "已保存：mine.mp4（桌面）")
        self.assertTrue(is_finished(self.folder / "mine.mp4"))
        self.assertEqual(len(self.films()), 1)

    def test_aReadOnlyFolderRefusesAtOnceAndWorksLater(self):
        self.mount("-t", "tmpfs", "-o", "size=400m", "none")
        self.remount("ro")
        _, panel = self.open_panel()
        panel.press("button", START)
        self.await_line(panel, "无法创建录制会话。")
        self.assertIsNone(panel.find("button", STOP))
        self.remount("rw")
        self.assertRecordsAgain(panel)

    def test_aFolderMadeReadOnlyInMidRecordingStillGetsItsFilm(self):
        _, panel = self.open_panel()
        self.record(panel)
        self.folder.chmod(0o555)
        self.stop(panel)
        self.assertPlays(self.films()[0])

    def test_aFolderThatHangsAtTheStartFreezesNothing(self):
        server = self.hanging_folder()
        _, panel = self.open_panel()
        server.send_signal(signal.SIGSTOP)
        panel.press("button", START)
        self.await_line(panel, "启动中…")
        self.assertResponsive(panel, 1)
        self.await_line(panel, "无法创建录制会话。")
        self.assertResponsive(panel, 0.5)
        server.send_signal(signal.SIGCONT)
        self.assertRecordsAgain(panel)
        self.until(lambda: len(self.films()) == 1, "the late file is left behind")

    def test_aFolderThatHangsInMidRecordingCostsNothing(self):
        server = self.hanging_folder()
        _, panel = self.open_panel()
        self.record(panel)
        server.send_signal(signal.SIGSTOP)
        self.assertResponsive(panel, 3)
        server.send_signal(signal.SIGCONT)
        time.sleep(1)
        server.send_signal(signal.SIGSTOP)
        panel.press("button", STOP)
        self.await_line(panel, "正在导出…")
        self.assertResponsive(panel, 1)
        server.send_signal(signal.SIGCONT)
        self.await_line(panel, "已保存：")
        film, = self.films()
        self.assertTrue(is_finished(film))
        read = self.assertPlays(film, 6)
        self.assertLess(max(read.gaps), 0.7, "the picture stood still while the disk hung")
        beats = [round(click.at * 2) for click in read.clicks]
        self.assertGreaterEqual(len(beats), read.seconds * 2 - 2, "clicks are missing")

    def test_aProgramWhoseFolderHangsCanBeClosed(self):
        server = self.hanging_folder()
        program, panel = self.open_panel()
        self.record(panel)
        server.send_signal(signal.SIGSTOP)
        program.signal(signal.SIGTERM)
        begin = time.monotonic()
        # A process ends for good when its last call into the system has; the disk's own time-out decides about that.
        self.until(lambda: not outside.windows(), "the window stays")
        self.assertLess(time.monotonic() - begin, 3)
        server.send_signal(signal.SIGCONT)
        self.assertEqual(program.wait(), 0)
        self.assertPlays(self.films()[0])

    def test_aFolderThatVanishesEndsTheRecordingWithItsReason(self):
        server = self.hanging_folder()
        _, panel = self.open_panel()
        self.record(panel)
        server.kill()
        line = self.await_line(panel, "导出失败：")
        self.assertTrue(line.startswith("导出失败：磁盘已断开或损坏。已录下的部分仍在 Quillet-"), line)
        self.assertResponsive(panel, 0.5)
        subprocess.run(["umount", "-l", str(self.folder)], check=True)
        self.assertRecordsAgain(panel)

    def test_aDisplayThatGoesAwayLeavesAWholeFilmAndALine(self):
        reader, writer = os.pipe()
        server = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-screen", "0", "1280x900x24", "-nolisten", "tcp"],
                                  pass_fds=[writer], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        os.close(writer)
        with os.fdopen(reader) as numbers:
            display = ":" + numbers.readline().strip()
        old, os.environ["DISPLAY"] = os.environ["DISPLAY"], display
        try:
            clock = self.helper(os.environ["QUILLET_CLOCK"])
            program = outside.Program(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        finally:
            os.environ["DISPLAY"] = old
        self.programs.append(program)
        panel = Panel(program.pid)
        panel.press("button", START)
        panel.await_("button", STOP)
        time.sleep(3)
        moment = filmClock.now()
        server.kill()
        self.assertEqual(program.wait(), 1)
        self.assertIsNotNone(clock.wait(20))
        self.assertIn("quillet: the display is gone; the recording ends there\n", program.words())
        film, = self.films()
        self.assertTrue(is_finished(film))
        picture, sound = self.assertPlays(film, 2).missing(moment)
        self.assertLess(picture, 0.5)
        self.assertLess(sound, 0.5)


if __name__ == "__main__":
    outside.start_anew_among_own_mounts()
    unittest.main(verbosity=2)
