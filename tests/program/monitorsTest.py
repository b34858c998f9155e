#!/usr/bin/env python3
"""monitorsTest: monitors that go away, come back and change their size, while the program idles and while it records. Runs
inside tests/desktop/desktop (1600 by 900, openbox, with a camera).
"""
import unittest

from a11y import Panel
from outside import BUBBLE, MOVE, OUTLINE, SCRIPT, Case, eventually, films, geometry, is_finished, place, run

START, STOP = "●  开始录制", "■  停止录制"
LEFT, RIGHT, WHOLE = (0, 0, 1000, 900), (1000, 0, 600, 900), (0, 0, 1600, 900)
SMALL = (0, 0, 1024, 700)


def xrandr(*arguments):
    status, words = run("xrandr", *arguments)
    assert status == 0, (arguments, words)


def monitor(name, rect, output):
    xrandr("--setmonitor", name, f"{rect[2]}/265x{rect[3]}/238+{rect[0]}+{rect[1]}", output)


def is_inside(rect, screen):
    return (screen[0] <= rect[0] and screen[1] <= rect[1] and rect[0] + rect[2] <= screen[0] + screen[2]
            and rect[1] + rect[3] <= screen[1] + screen[3])


def size_of(film):
    return run("ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "stream=width,height", "-of",
               "csv=p=0", str(film))[1].strip()


class Monitors(Case):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.plug_both)
        self.plug_both()

    def plug_both(self):
        """The left one, which is the primary one, and the right one; the screen has its whole size."""
        run("xrandr", "--newmode", "small", "30", "1024", "1048", "1184", "1344", "700", "703", "709", "750")
        run("xrandr", "--addmode", "screen", "small")
        for name in ("left", "right"):
            run("xrandr", "--delmonitor", name)
        if geometry_of_root() != WHOLE[2:]:
            xrandr("--output", "screen", "--mode", "1600x900")
        # In this order, so that no place of the right one is without a monitor for a moment.
        monitor("right", RIGHT, "none")
        monitor("*left", LEFT, "screen")
        run("xrandr", "--delmonitor", "other")

    def unplug_left(self):
        """Another one, in the right one's place, gets the output, and a monitor that has lost its own is no more."""
        monitor("*other", RIGHT, "screen")
        xrandr("--delmonitor", "right")

    def open(self):
        self.program, self.window = self.start(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.panel = Panel(self.program.pid)
        self.until(lambda: place(OUTLINE), "no outline")

    def open_everything(self):
        self.open()
        self.panel.press("switch", "提词器")
        self.panel.press("switch", "摄像头")
        self.until(lambda: place(BUBBLE) and place(SCRIPT), "no bubble or no teleprompter")
        self.assertTrue(all(is_inside(place(title), LEFT) for title in (OUTLINE, BUBBLE, SCRIPT)))

    def assertAllIn(self, screen):
        for title in (OUTLINE, MOVE, BUBBLE, SCRIPT):
            self.until(lambda title=title: (now := place(title)) and is_inside(now, screen),
                       f"{title} is not in {screen}")
        # Its title bar is the window manager's; what counts is that it can be used.
        self.until(lambda: is_inside(geometry(self.window), screen),
                   f"the control window is at {geometry(self.window)}, not in {screen}")

    def begin(self):
        self.before = set(films())
        self.panel.press("button", START)
        self.panel.await_("label", "● 录制中…  点击停止结束。")
        self.film = self.until(lambda: next(iter(set(films()) - self.before), None), "no film")
        # Pictures have come.
        self.until(lambda: self.film.stat().st_size > 0, "the film stays empty")

    def end(self):
        self.panel.press("button", STOP)
        self.panel.await_("label", f"已保存：{self.film.name}（桌面）")
        self.assertTrue(is_finished(self.film))
        return size_of(self.film)

    def record(self):
        self.begin()
        return self.end()

    def test_everythingComesToTheMonitorThatIsLeft(self):
        self.open_everything()
        self.unplug_left()
        self.assertAllIn(RIGHT)
        self.assertIn(place(OUTLINE)[2:], [(360, 202), (360, 203)], "16:9 is placed anew")  # 202.5
        self.assertEqual(self.record(), "360,202")
        # The other one comes back; nothing jumps.
        before = place(OUTLINE)
        self.plug_both()
        self.assertEqual(self.record(), "360,202")
        self.assertEqual(place(OUTLINE), before)

    def test_aRecordingOutlivesItsMonitor(self):
        self.open_everything()
        self.begin()
        self.unplug_left()
        # The teleprompter is useful now more than ever.
        self.until(lambda: is_inside(place(SCRIPT), RIGHT), f"the teleprompter is at {place(SCRIPT)}")
        self.until(lambda: is_inside(geometry(self.window), RIGHT), "nobody can reach the record button")
        self.assertTrue(self.panel.find("button", STOP), "the recording has ended")
        self.assertEqual(self.end(), "600,338")
        self.assertAllIn(RIGHT)
        self.assertEqual(self.record(), "360,202")

    def test_everythingComesIntoASmallerScreen(self):
        xrandr("--delmonitor", "right")
        xrandr("--delmonitor", "left")
        self.open()
        self.panel.press("switch", "全屏")
        self.panel.press("switch", "提词器")
        self.panel.press("switch", "摄像头")
        self.until(lambda: place(OUTLINE) == WHOLE and place(BUBBLE) and place(SCRIPT), f"{[(title, place(title)) for title in (OUTLINE, BUBBLE, SCRIPT)]}")
        xrandr("--output", "screen", "--mode", "small")
        self.until(lambda: place(OUTLINE) == SMALL, f"the range is {place(OUTLINE)}")
        self.until(lambda: is_inside(place(BUBBLE), SMALL), f"the bubble is at {place(BUBBLE)}")
        self.until(lambda: is_inside(geometry(self.window), SMALL), f"the window is at {geometry(self.window)}")
        self.assertEqual(self.record(), "1024,700")

    def test_aRecordingOutlivesAChangeOfItsSize(self):
        xrandr("--delmonitor", "right")
        xrandr("--delmonitor", "left")
        self.open()
        self.panel.press("switch", "全屏")
        self.until(lambda: place(OUTLINE) == WHOLE, "not the whole screen")
        self.begin()
        xrandr("--output", "screen", "--mode", "small")
        self.until(lambda: geometry_of_root() == SMALL[2:], "the screen stays large")
        xrandr("--output", "screen", "--mode", "1600x900")
        xrandr("--output", "screen", "--mode", "small")
        self.assertEqual(self.end(), "1600,900")
        self.until(lambda: place(OUTLINE) == SMALL, f"the range is {place(OUTLINE)}")
        self.assertEqual(self.record(), "1024,700")

    def test_allMonitorsMayBeGoneForAWhile(self):
        self.open_everything()
        for isRecording in (False, True):
            if isRecording:
                self.begin()
            xrandr("--delmonitor", "right")
            xrandr("--delmonitor", "left")
            xrandr("--fb", "1600x900", "--output", "screen", "--off")
            self.until(lambda: "Monitors: 0" in run("xrandr", "--listmonitors")[1], "they stay")
            xrandr("--output", "screen", "--mode", "1600x900")
            self.plug_both()
            if isRecording:
                self.assertEqual(self.end(), "600,338")
            self.assertAllIn(WHOLE)
        self.assertTrue(self.program.is_running())


def geometry_of_root():
    words = run("xwininfo", "-root")[1].split()
    return int(words[words.index("Width:") + 1]), int(words[words.index("Height:") + 1])


if __name__ == "__main__":
    unittest.main(verbosity=2)
