#!/usr/bin/env python3
"""displayTest: what happens to the display while it is recorded: another refresh rate, a screen that grows, shrinks and is
turned, compositing managers that come and go. Runs inside tests/desktop/desktop (1280 by 1280, openbox). The film of a clock
tells whether its pictures went on, in time with the sound; the clock stands at the screen's top left, which each size has.

The test's X server cannot turn its output. What a turned monitor means to other programs it can: width and height change
places.
"""
import subprocess
import time
import unittest

import filmClock
import outside
from filmed import SQUARE, pictures_of_film, screen_picture
from filmedClock import FilmedClock
from outside import OUTLINE, place, run

WIDE, TALL, SMALL, LARGE = (1280, 1100), (1100, 1280), (1080, 700), (1280, 1280)
RATES = 30, 60, 144
MOST_OFFSET = 0.02
LONGEST_GAP = 1.0  # seconds without a picture: a change of the screen stops everybody for a moment
COMPOSITING_MANAGERS = {"picom": ["picom", "--backend", "xrender", "--config", "/dev/null"], "xcompmgr": ["xcompmgr"]}
THEIR_GREY = "#808080"  # what they paint where a root has no wallpaper
UNCOMPARED_ROWS = 3  # squares that the clock and the mouse, which is parked there, cover


def mode_name(size, rate=60):
    return f"{size[0]}x{size[1]}at{rate}"


def set_mode(size, rate=60):
    """Returns when the screen has it."""
    status, words = run("xrandr", "--output", "screen", "--mode", mode_name(size, rate))
    assert status == 0, words
    assert outside.eventually(lambda: f"current {size[0]} x {size[1]}," in run("xrandr")[1]), run("xrandr")[1]


def rate_now():
    """As the server tells it, in hertz."""
    line = next(line for line in run("xrandr")[1].splitlines() if "*" in line)
    return round(float(next(word for word in line.split() if "*" in word).strip("*+")))


def make_modes():
    for size, rate in [(size, 60) for size in (TALL, SMALL, LARGE)] + [(WIDE, rate) for rate in RATES]:
        width, height = (str(number) for number in size)
        # No blanking, so the clock, in MHz, is exactly the pixels of a second.
        run("xrandr", "--newmode", mode_name(size, rate), str(size[0] * size[1] * rate / 1e6), *[width] * 4, *[height] * 4)
        status, words = run("xrandr", "--addmode", "screen", mode_name(size, rate))
        assert status == 0, words


class Display(FilmedClock):
    @classmethod
    def setUpClass(cls):
        make_modes()

    def setUp(self):
        set_mode(WIDE)
        super().setUp()
        # Where the mouse stands its picture is in the film.
        run("xdotool", "mousemove", "5", "5")

    def open_on(self, size):
        set_mode(size)
        self.program, self.panel = self.open_panel()
        self.until(lambda: place(OUTLINE) == (0, 0, *size), f"the range is {place(OUTLINE)}")

    def saved_film(self):
        line = self.stop(self.panel)
        return outside.DESKTOP / line.removeprefix("已保存：").removesuffix("（桌面）")

    def assertGoesOn(self, film, size, moments=(), most_unreadable=0):
        """The film has that size, pictures soon after each of the moments and all the time, and sound in time with them. So
        many pictures may be without the whole clock."""
        self.assertEqual(run("ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "stream=width,height", "-of",
                             "csv=p=0", str(film))[1].strip(), f"{size[0]},{size[1]}")
        read = self.assertPlays(film)
        self.assertLessEqual(read.unreadable, most_unreadable, "pictures without the clock")
        self.assertLess(max(read.gaps), LONGEST_GAP)
        self.assertLess(abs(read.seconds - read.sound_seconds), 0.2)
        self.assertLess(read.worst_offset(), MOST_OFFSET)
        shown = [number / 1000 for _, number in read.pictures]
        for begin, end in zip(moments, [*moments[1:], None]):
            between = [at for at in shown if at > begin and (end is None or at < end)]
            self.assertGreater(len(between), 5, f"no pictures after {begin}; the film has {shown[0]} to {shown[-1]}")
        print(f"    {max(read.gaps):.3f} s between pictures at most", flush=True)

    def film_while(self, changes):
        """Records, calls each in turn, and stops; the film and the moments when each was done."""
        self.record(self.panel, 1)
        moments = []
        for change in changes:
            change()
            moments.append(filmClock.now())
            # The film's time with this display, not a wait for anything.
            time.sleep(0.7)
        return self.saved_film(), moments

    def test_anotherRefreshRateChangesNothing(self):
        self.open_on(WIDE)

        def change(rate):
            set_mode(WIDE, rate)
            self.until(lambda: rate_now() == rate, f"the rate is {rate_now()}")

        film, moments = self.film_while([lambda rate=rate: change(rate) for rate in (30, 144, 60, 30, 144)])
        self.assertGoesOn(film, WIDE, moments)
        self.assertEqual(place(OUTLINE), (0, 0, *WIDE))

    def test_aScreenMayGrowAndShrink(self):
        self.open_on(SMALL)
        film, moments = self.film_while([lambda size=size: set_mode(size) for size in (LARGE, SMALL, WIDE, LARGE)])
        self.assertGoesOn(film, SMALL, moments)
        self.until(lambda: place(OUTLINE) == (0, 0, *LARGE), f"the range is {place(OUTLINE)}")
        self.record(self.panel, 1.5)
        self.assertGoesOn(self.saved_film(), LARGE)

    def test_aScreenMayBeTurned(self):
        self.open_on(WIDE)
        film, moments = self.film_while([lambda size=size: set_mode(size) for size in (TALL, WIDE, TALL)])
        self.assertGoesOn(film, WIDE, moments)
        self.until(lambda: place(OUTLINE) == (0, 0, *TALL), f"the range is {place(OUTLINE)}")
        self.record(self.panel, 1.5)
        self.assertGoesOn(self.saved_film(), TALL)

    def test_compositingManagersMayComeAndGo(self):
        run("xsetroot", "-solid", THEIR_GREY)
        clean = screen_picture((0, 0, *WIDE))
        self.open_on(WIDE)
        self.assertGreater(len(screen_picture((0, 0, *WIDE)).different(clean)), 500, "no window covers the range")
        running = []

        def begin(name):
            running.append(subprocess.Popen(COMPOSITING_MANAGERS[name], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
            self.until(lambda: f'"{name}"' in run("xwininfo", "-root", "-children")[1].lower(), f"{name} does not start")

        def end():
            running[-1].terminate()
            running[-1].wait(20)

        self.addCleanup(lambda: [process.kill() for process in running])
        film, moments = self.film_while([lambda: begin("picom"), end, lambda: begin("xcompmgr"), end])
        # Between two managers of the screen it may be painted in parts.
        self.assertGoesOn(film, WIDE, moments, most_unreadable=len(moments))
        for number, picture in enumerate(pictures_of_film(film, WIDE)):
            different = {(x, y) for x, y in picture.different(clean) if y >= UNCOMPARED_ROWS}
            self.assertEqual(different, set(), f"something stands in picture {number}, in squares of {SQUARE}")


if __name__ == "__main__":
    unittest.main(verbosity=2)
