#!/usr/bin/env python3
"""wholeProgramTest: everything together, as somebody who records meets it. Runs inside tests/desktop/desktop (1600 by 1000,
openbox, with a camera): controls by their names on the accessibility bus, windows and mouse on the X server, and then the
film, picture by picture, against what stood on the screen.
"""
import os
import pathlib
import subprocess
import time
import unittest

from a11y import Panel
from outside import (BUBBLE, MOVE, OUTLINE, RESIZE, SCRIPT, SETTINGS, Case, centre, drag, films, geometry, is_finished, place,
                     run)

START, STOP = "●  开始录制", "■  停止录制"
WIDTH, HEIGHT = 1600, 1000
# Pictures are compared in squares of this many pixels, as the mean of each.
SQUARE = 8


class Squares:
    """The mean brightness of each square of a picture of that many pixels."""

    def __init__(self, data, width, height):
        self.columns, self.rows = width // SQUARE, height // SQUARE
        self.data = data
        assert len(data) == self.columns * self.rows, (len(data), width, height)

    def different(self, other, limit=10):
        """The squares (x, y) whose brightness differs by more than that."""
        return {(index % self.columns, index // self.columns) for index, pair in enumerate(zip(self.data, other.data))
                if abs(pair[0] - pair[1]) > limit}


def squares_of(command, width, height):
    """Every picture that ffmpeg makes of the input that `command` names."""
    output = subprocess.run(
        ["ffmpeg", "-loglevel", "error", *command, "-vf",
         f"crop={width // SQUARE * SQUARE}:{height // SQUARE * SQUARE}:0:0,"
         f"scale={width // SQUARE}:{height // SQUARE}:flags=area,format=gray", "-fps_mode", "passthrough",
         "-f", "rawvideo", "-"], capture_output=True, check=True, timeout=60).stdout
    size = (width // SQUARE) * (height // SQUARE)
    return [Squares(output[start : start + size], width, height) for start in range(0, len(output), size)]


def screen_squares(x, y, width, height):
    return squares_of(["-f", "x11grab", "-draw_mouse", "0", "-video_size", f"{width}x{height}", "-i",
                       f"{os.environ['DISPLAY']}+{x},{y}", "-frames:v", "1"], width, height)[0]


class WholeProgram(Case):
    def setUp(self):
        super().setUp()
        # A desktop on which every place looks different, so that a slip of the picture shows.
        picture = pathlib.Path(os.environ["QUILLET_DESKTOP"]) / "desktop.xbm"
        bits = [[(x * y // 5 + x // 7) % 3 == 0 for x in range(256)] for y in range(256)]
        words = ",".join(str(sum(bits[y][8 * byte + bit] << bit for bit in range(8)))
                         for y in range(256) for byte in range(32))
        picture.write_text("#define d_width 256\n#define d_height 256\nstatic char d_bits[] = {" + words + "};\n")
        run("xsetroot", "-bitmap", str(picture), "-fg", "#204060", "-bg", "#d0c090")
        run("xdotool", "mousemove", "5", "5")

    def open(self):
        program, self.window = self.start(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.panel = Panel(program.pid)
        self.until(lambda: place(OUTLINE), "no outline")
        return program

    def record_and_stop(self, meanwhile=lambda: None):
        before = set(films())
        self.panel.press("button", START)
        self.panel.await_("label", "● 录制中…  点击停止结束。")
        self.until(lambda: set(films()) - before, "no film")
        meanwhile()
        self.panel.press("button", STOP)
        film = (set(films()) - before).pop()
        self.panel.await_("label", f"已保存：{film.name}（桌面）")
        self.assertTrue(is_finished(film))
        return film

    def test_showsEveryRange(self):
        self.open()
        self.assertTrue(self.panel.is_on("switch", "16:9 横"))
        expected = {
            "9:16 竖": (0, 0, 394, 700),  # 393.75
            "4:3 横": (0, 0, 960, 720),
            "3:4 竖": (0, 0, 525, 700),
            "16:9 横": (0, 0, 960, 540),
            "自由框选": (0, 0, 960, 540),
            "全屏": (0, 0, WIDTH, HEIGHT),
        }
        for name, (_, _, width, height) in expected.items():
            self.panel.press("switch", name)
            self.until(lambda: (now := place(OUTLINE)) and abs(now[2] - width) <= 1 and abs(now[3] - height) <= 1,
                       f"{name}: {place(OUTLINE)}, not {width} by {height}")
            x, y = centre(place(OUTLINE))
            self.assertLessEqual(abs(x - WIDTH / 2) + abs(y - HEIGHT / 2), 3, name)
            self.assertEqual(place(MOVE) is None, name == "全屏", name)
            self.assertTrue(self.panel.is_on("switch", name))
        self.until(lambda: SETTINGS.exists() and "Quillet.rangeMode=全屏" in SETTINGS.read_text(), "it was not kept")

    def test_bothHandlesAreDragged(self):
        self.open()
        x, y, width, height = place(OUTLINE)
        drag(centre(place(MOVE)), (-150, -90))
        self.until(lambda: place(OUTLINE) == (x - 150, y - 90, width, height), f"moved to {place(OUTLINE)}")
        drag(centre(place(RESIZE)), (160, 10))
        self.until(lambda: place(OUTLINE) == (x - 150, y - 90, width + 160, (width + 160) * 9 // 16),
                   f"resized to {place(OUTLINE)}")
        drag(centre(place(MOVE)), (-2000, -2000))
        self.until(lambda: place(OUTLINE)[:2] == (0, 0), "it stops at the screen's edge")

    def test_filmsTheDesktopAndTheBubbleButNoneOfItsWindows(self):
        outline = (320, 230, 960, 540)
        clean = screen_squares(*outline)
        self.open()
        self.assertEqual(place(OUTLINE), outline)
        # Every window of the program inside the range.
        self.panel.press("switch", "提词器")
        self.panel.press("switch", "摄像头")
        self.until(lambda: place(BUBBLE) and place(SCRIPT), "no bubble or no teleprompter")
        x, y, side, _ = place(BUBBLE)
        drag(centre(place(BUBBLE)), (900 - x, 420 - y))
        self.until(lambda: place(BUBBLE) == (900, 420, side, side), f"the bubble stands at {place(BUBBLE)}")
        self.panel.await_("label", "拖动圆形头像到你想要的位置和大小 —— 所见即所得。")
        self.assertGreater(len(screen_squares(*outline).different(clean)), 1000, "the windows do not cover the range")

        def meanwhile():
            for name in ("摄像头", "麦克风", "美化背景", "全屏"):
                self.assertFalse(self.panel.is_enabled("switch", name), name)
            self.assertTrue(self.panel.is_enabled("switch", "提词器"))
            self.assertIsNone(place(MOVE))
            drag((1000, 520), (-300, -150))
            self.until(lambda: place(BUBBLE) == (600, 270, side, side), f"the bubble stands at {place(BUBBLE)}")
            self.panel.press("switch", "提词器")
            self.until(lambda: not place(SCRIPT), "the teleprompter stays")
            time.sleep(0.5)

        film = self.record_and_stop(meanwhile)
        pictures = squares_of(["-i", str(film)], 960, 540)
        self.assertGreater(len(pictures), 30)
        circles = []
        for number, picture in enumerate(pictures):
            different = picture.different(clean)
            self.assertGreater(len(different), 250, f"picture {number} has no camera circle")
            left, right = min(x for x, _ in different), max(x for x, _ in different)
            top, bottom = min(y for _, y in different), max(y for _, y in different)
            # Nothing but the circle, and the mouse on it.
            limit = side // SQUARE + 2
            self.assertTrue(right - left <= limit and bottom - top <= limit,
                            f"picture {number}: something differs in {left}…{right}, {top}…{bottom}")
            circles.append((left * SQUARE, top * SQUARE))
        for circle, expected in ((circles[0], (900 - 320, 420 - 230)), (circles[-1], (600 - 320, 270 - 230))):
            self.assertTrue(all(abs(a - b) <= SQUARE + 3 for a, b in zip(circle, expected)), (circle, expected))
        self.assertGreater(len(set(circles)), 4, "the circle does not follow the bubble")

    def test_beautifiesTheFilm(self):
        self.open()
        clean = screen_squares(320, 230, 960, 540)
        height = geometry(self.window)[3]
        self.panel.press("switch", "美化背景")
        self.until(lambda: geometry(self.window)[3] > height + 200, "the window does not grow")
        self.assertTrue(self.panel.find("button", START), "the record button is out of sight")
        self.panel.press("switch", "背景 5")
        self.until(lambda: self.panel.is_on("switch", "背景 5"), "the backdrop was not taken")
        self.panel.press("button", "🎲 随机换一张")
        self.until(lambda: not self.panel.is_on("switch", "背景 5"), "the backdrop stays the same")
        self.assertEqual({name for name in self.panel.names("slider")}, {"圆角", "留白"})
        self.assertTrue(self.panel.is_on("switch", "投影"))
        self.assertFalse(self.panel.is_on("switch", "背景 5"))
        film = self.record_and_stop(lambda: drag((10, 10), (1, 1)))
        picture = squares_of(["-i", str(film)], 960, 540)[0]
        margin = 540 * 0.06
        corner = [(x, y) for x in range(int(margin * 16 / 9) // SQUARE) for y in range(int(margin) // SQUARE - 1)]
        self.assertTrue(corner)
        values = [picture.data[y * picture.columns + x] for x, y in corner]
        self.assertLess(max(values) - min(values), 12, "the margin is a backdrop, calm and even")
        self.assertGreater(len(picture.different(clean)), 500)
        self.panel.press("switch", "美化背景")
        self.until(lambda: geometry(self.window)[3] == height, "the window does not shrink again")

    def test_remembersTheBubblesSize(self):
        program = self.open()
        self.panel.press("switch", "摄像头")
        self.until(lambda: place(BUBBLE) == (WIDTH - 240, HEIGHT - 240, 200, 200), f"{place(BUBBLE)}")
        x, y, side, _ = place(BUBBLE)
        grip = (round(side / 2 - 1.5) * 0.7071)
        drag((round(x + side / 2 + grip), round(y + side / 2 + grip)), (-60, 0))
        self.until(lambda: place(BUBBLE) == (x, y, 140, 140), f"resized to {place(BUBBLE)}")
        program.signal(15)
        self.assertEqual(program.wait(), 0)
        self.open()
        self.assertFalse(self.panel.is_on("switch", "摄像头"), "the camera is off at first")
        self.panel.press("switch", "摄像头")
        self.until(lambda: place(BUBBLE) == (WIDTH - 180, HEIGHT - 180, 140, 140), f"{place(BUBBLE)}")

    def test_hearsTheSystem(self):
        self.open()
        film = self.record_and_stop(lambda: time.sleep(1))
        streams = run("ffprobe", "-v", "error", "-show_entries", "stream=codec_name,sample_rate,channels", "-of",
                      "csv=p=0", str(film))[1].split()
        self.assertIn("aac,48000,2", streams)
        self.assertEqual(len(streams), 2)


class WithoutDevices(Case):
    def test_saysThatThereIsNoCamera(self):
        program, _ = self.start(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", PIPEWIRE_REMOTE="none-such")
        panel = Panel(program.pid)
        panel.press("switch", "摄像头")
        panel.await_("label", "无法访问摄像头（检查系统设置里的相机权限）。")
        self.until(lambda: not panel.is_on("switch", "摄像头"), "the switch stays on")
        self.assertIsNone(place(BUBBLE))
        panel.press("button", START)
        panel.await_("label", "● 录制中…  点击停止结束。")
        panel.press("button", STOP)
        self.until(lambda: films() and is_finished(films()[0]), "no film without sound and camera")


if __name__ == "__main__":
    unittest.main(verbosity=2)
