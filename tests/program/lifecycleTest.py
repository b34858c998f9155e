#!/usr/bin/env python3
"""lifecycleTest: how the program begins and ends. Runs inside tests/desktop/desktop (1280 by 900, openbox)."""
import os
import pathlib
import shutil
import signal
import subprocess
import time
import unittest

from outside import Case, SETTINGS, Program, films, geometry, is_finished, run, windows
from sessionManager import BOTH, GLOBAL, SessionManager

JUNK = ["", "no number", "-5", "1e308", "-1e308", "99999999999999999999", "nan", "true", "\\", "全屏 "]
KEYS = ["rangeMode", "micEnabled", "quality", "beautifyEnabled", "backgroundIndex", "cornerRadius", "padding",
        "shadowEnabled", "cameraPreviewDiameter"]


class Beginning(Case):
    def test_firstWindowIsOfItsSizeInTheMiddleAndLeavesNoSettings(self):
        _, window = self.start()
        x, y, width, height = geometry(window)
        self.assertEqual((width, height), (360, 440))
        self.assertLessEqual(abs(x + width / 2 - 640), 12)
        self.assertLessEqual(abs(y + height / 2 - 450), 24, "the frame's title bar counts, too")
        self.assertFalse(SETTINGS.exists())

    def test_windowComesBackWhereItWasLeft(self):
        program, window = self.start()
        time.sleep(1.2)  # the window manager's own placing is not the user's
        run("xdotool", "windowmove", "--sync", window, "300", "200")
        run("xdotool", "windowsize", "--sync", window, "420", "500")
        left = geometry(window)
        program.signal(signal.SIGTERM)
        self.assertEqual(program.wait(), 0)
        self.assertIn("QuilletControlWindow=", SETTINGS.read_text())
        _, window = self.start()
        self.until(lambda: geometry(window) == left, f"{left} became {geometry(window)}")

    def test_windowThatWasLeftOffScreenComesBack(self):
        for frame in ("5000 300 360 440", "-3000 -3000 360 440", "100 2000 360 440", "0 0 9000 9000", "x y", "1 2 3"):
            SETTINGS.parent.mkdir(exist_ok=True)
            SETTINGS.write_text(f"QuilletControlWindow={frame}\n")
            program, window = self.start()
            x, y, width, height = geometry(window)
            self.assertTrue(0 <= x and x + width <= 1290 and 0 <= y and y + 40 <= 900, (frame, x, y, width, height))
            program.signal(signal.SIGTERM)
            self.assertEqual(program.wait(), 0)

    def test_noSettingStopsIt(self):
        contents = ["\n".join(f"Quillet.{key}={junk}" for key in KEYS) for junk in JUNK]
        for content in [c.encode() for c in contents] + [b"\0\xff\xfe" * 5000, b"=" * 300, b"Quillet.padding"]:
            SETTINGS.parent.mkdir(exist_ok=True)
            SETTINGS.write_bytes(content + b"\nQuillet.beautifyEnabled=true")
            program, _ = self.start()
            program.signal(signal.SIGTERM)
            self.assertEqual(program.wait(), 0, content[:60])
            self.assertEqual(program.words(), "")

    def test_runsWithoutASessionBus(self):
        program, _ = self.start(DBUS_SESSION_BUS_ADDRESS=None, XDG_RUNTIME_DIR="/nonexistent")
        program.signal(signal.SIGTERM)
        self.assertEqual(program.wait(), 0)

    def test_idleItWakesUpForNothing(self):
        self.sleepsWhen({})

    def test_withoutASoundServerItSleepsAsWell(self):
        self.sleepsWhen({"PIPEWIRE_REMOTE": "nobody"})

    def sleepsWhen(self, environment):
        program, _ = self.start(**environment)
        time.sleep(2)  # fonts, icons and the window manager's last words

        def wakeups():
            total = 0
            for task in os.listdir(f"/proc/{program.pid}/task"):
                status = pathlib.Path(f"/proc/{program.pid}/task/{task}/status").read_text()
                total += next(int(line.split()[1]) for line in status.splitlines() if line.startswith("voluntary_"))
            return total

        before = wakeups()
        time.sleep(4)
        self.assertLessEqual(wakeups() - before, 3)


class SecondCopy(Case):
    def test_bringsUpTheFirstOnesWindow(self):
        _, window = self.start()
        # Its own wish to be in front must have been fulfilled, or it comes after the next line.
        self.until(lambda: run("xdotool", "getactivewindow")[1].strip() == window, "it did not get the keyboard")
        run("xdotool", "windowminimize", "--sync", window)
        self.until(lambda: not windows(), "it was not minimised")
        second = Program()
        self.programs.append(second)
        self.assertEqual(second.wait(), 0)
        self.until(lambda: windows() == [window], "the first one's window did not come up")
        self.until(lambda: run("xdotool", "getactivewindow")[1].strip() == window, "it does not have the keyboard")

    def test_startsForItselfWhenTheFirstIsStuck(self):
        first, _ = self.start()
        first.signal(signal.SIGSTOP)
        second, window = self.start()
        self.assertTrue(second.is_running())
        self.assertTrue(window)

    def test_startsForItselfAsSoonAsTheFirstIsEnding(self):
        first, _ = self.start()
        first.signal(signal.SIGTERM)
        first.wait()
        self.start()


class Ending(Case):
    def setUp(self):
        super().setUp()
        self.moving = subprocess.Popen([os.environ["QUILLET_SCENE"]], stdout=subprocess.PIPE)
        self.assertEqual(self.moving.stdout.readline(), b"ready\n")

    def tearDown(self):
        super().tearDown()
        self.moving.kill()
        self.moving.wait()
        self.moving.stdout.close()

    def record(self, **environment):
        program, window = self.start(**environment)
        self.press_key(window, "space")
        self.until(lambda: films() and films()[0].stat().st_size > 200_000, "no recording has begun")
        return program, window

    def assertWholeFilm(self):
        self.assertEqual(len(films()), 1)
        self.assertTrue(is_finished(films()[0]))
        status, words = run("ffprobe", "-v", "error", "-count_packets", "-select_streams", "v", "-show_entries",
                            "stream=nb_read_packets", "-of", "csv=p=0", str(films()[0]))
        self.assertEqual(status, 0, words)
        self.assertGreater(int(words.strip().strip(",")), 5)

    def test_signalsLeaveAWholeFilm(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                for film in films():
                    film.unlink()
                program, _ = self.record()
                program.signal(number)
                self.assertEqual(program.wait(), 0)
                self.assertWholeFilm()

    def test_closingTheWindowLeavesAWholeFilm(self):
        program, window = self.record()
        self.press_key(window, "alt+F4")
        self.assertEqual(program.wait(), 0)
        self.assertWholeFilm()

    def test_closingTheWindowRightAfterTheButtonEndsAtOnce(self):
        program, window = self.start()
        # At a display's first key the window manager takes all of its shortcuts anew, and meanwhile has none.
        run("xdotool", "windowactivate", "--sync", window, "key", "Shift_L", "sleep", "0.5")
        run("xdotool", "key", "space", "key", "alt+F4")
        begin = time.monotonic()
        self.assertEqual(program.wait(), 0)
        self.assertLess(time.monotonic() - begin, 4, "it waits for a recording that never began")
        for film in films():
            self.assertTrue(is_finished(film))

    def test_anIgnoredSignalStaysIgnored(self):
        program, _ = self.start()
        program.signal(signal.SIGTERM)
        program.wait()
        nohup = subprocess.Popen(["nohup", os.environ["QUILLET_PROGRAM"]], stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
        try:
            self.until(windows, "no window")
            nohup.send_signal(signal.SIGHUP)
            nohup.send_signal(signal.SIGHUP)
            with self.assertRaises(subprocess.TimeoutExpired):
                nohup.wait(1)
        finally:
            nohup.terminate()
            self.assertEqual(nohup.wait(20), 0)

    def test_aLogoutWaitsForTheFilmAndMayBeCalledOff(self):
        session = SessionManager()
        self.addCleanup(session.close)
        program, window = self.record(SESSION_MANAGER=session.address)
        self.assertTrue(session.greets(), "it does not know its session")
        for kind in (GLOBAL, BOTH):
            self.assertTrue(session.asks_to_save(kind))
            # Right now: the session may be gone in a moment.
            self.assertWholeFilm()
            session.calls_off()
            films()[0].unlink()
            self.press_key(window, "space")
            self.until(lambda: films() and films()[0].stat().st_size > 200_000, "it records no more")
            self.assertTrue(program.is_running())
        # The last word alone, without any question before.
        self.assertTrue(session.says_the_last_word())
        self.assertEqual(program.wait(), 0)
        self.assertWholeFilm()

    @unittest.skipUnless(shutil.which("xsm"), "there is no xsm")
    def test_aRealSessionsEndLeavesAWholeFilm(self):
        address = pathlib.Path(os.environ["HOME"]) / "session"
        startup = pathlib.Path(os.environ["HOME"]) / ".xsmstartup"
        startup.write_text(f"sh -c 'echo $SESSION_MANAGER >{address}.new && mv {address}.new {address}'\n")
        manager = subprocess.Popen(["xsm"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            self.until(address.exists, "the session manager starts nothing")
            program, _ = self.record(SESSION_MANAGER=address.read_text().strip())
            manager.terminate()  # its way of ending the session
            self.assertEqual(program.wait(), 0)
            self.assertWholeFilm()
            manager.wait(20)
        finally:
            manager.kill()
            manager.wait()


if __name__ == "__main__":
    unittest.main(verbosity=2)
