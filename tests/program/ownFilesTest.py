#!/usr/bin/env python3
"""ownFilesTest: whatever lies in its way, the program writes its own files and nobody else's. Runs inside
tests/desktop/desktop (1280 by 900, openbox).
"""
import os
import pathlib
import shutil
import stat
import subprocess
import tempfile
import time
import unittest

from outside import Case, DESKTOP, SETTINGS, films, is_finished

NOBODY = 65534


class OwnFiles(Case):
    def setUp(self):
        super().setUp()
        self.moving = subprocess.Popen([os.environ["QUILLET_SCENE"]], stdout=subprocess.PIPE)
        self.assertEqual(self.moving.stdout.readline(), b"ready\n")
        self.victims = pathlib.Path(tempfile.mkdtemp())
        self.victim = self.victims / "precious"
        self.victim.write_text("precious")

    def tearDown(self):
        super().tearDown()
        self.moving.kill()
        self.moving.wait()
        self.moving.stdout.close()
        for entry in DESKTOP.iterdir():
            entry.unlink()
        shutil.rmtree(self.victims)

    def plant(self, place):
        """A link of somebody else's at a place that can be foretold."""
        place.parent.mkdir(exist_ok=True)
        place.symlink_to(self.victim)
        if os.geteuid() == 0:
            os.lchown(place, NOBODY, NOBODY)

    def record(self, **environment):
        _, window = self.start(**environment)
        self.press_key(window, "space")
        film = self.until(lambda: next((f for f in films() if not f.is_symlink() and f.stat().st_size > 200_000), None),
                          "no recording has begun")
        self.press_key(window, "space")
        self.until(lambda: is_finished(film), "the film was not finished")
        return film

    def test_aFilmIsNotWrittenThroughALink(self):
        now = time.time()
        for second in range(60):
            self.plant(DESKTOP / time.strftime("Quillet-%Y%m%d-%H%M%S.mp4", time.localtime(now + second)))
        film = self.record()
        self.assertTrue(stat.S_ISREG(film.lstat().st_mode))
        self.assertEqual(film.lstat().st_uid, os.geteuid())
        self.assertEqual(self.victim.read_text(), "precious")

    def test_settingsAreNotWrittenThroughSomebodyElsesLink(self):
        if os.geteuid() != 0:
            self.skipTest("only root can plant another user's link")
        self.plant(SETTINGS)
        program, window = self.start()
        time.sleep(1.2)  # the window manager's own placing is not the user's
        subprocess.run(["xdotool", "windowmove", "--sync", window, "300", "200"], check=True, timeout=20)
        program.signal(15)
        self.assertEqual(program.wait(), 0)
        self.assertIn("QuilletControlWindow=", SETTINGS.read_text())
        self.assertEqual(self.victim.read_text(), "precious")

    def test_nothingCanBeWrittenByEverybody(self):
        before = os.umask(0)
        try:
            film = self.record()
        finally:
            os.umask(before)
        self.assertEqual(stat.S_IMODE(film.stat().st_mode), 0o664, "the session's umask, but for everybody's writing")
        home = pathlib.Path(os.environ["HOME"])
        begin = film.stat().st_mtime - 60
        everything = [film, *home.rglob("*"), *SETTINGS.parent.rglob("*"), SETTINGS.parent]
        open_to_all = [str(entry) for entry in everything if not entry.is_symlink() and entry.exists()
                       and entry.stat().st_mtime > begin and entry.stat().st_mode & stat.S_IWOTH]
        self.assertEqual(open_to_all, [])

    def test_anOrdinaryUmaskDecidesWhoReadsAFilm(self):
        before = os.umask(0o077)
        try:
            film = self.record()
        finally:
            os.umask(before)
        self.assertEqual(stat.S_IMODE(film.stat().st_mode), 0o600)


if __name__ == "__main__":
    unittest.main(verbosity=2)
