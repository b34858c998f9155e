#!/usr/bin/env python3
"""wholeProgramTest: everything together, as somebody who records meets it. Runs inside tests/desktop/desktop (1600 by 1000,
openbox, with a camera): controls by their names on the accessibility bus, windows and mouse on the X server, and then the
film, picture by picture, against what stood on the screen.
"""
import os
import pathlib
import resource
import socket
import struct
import unittest

from a11y import Panel
from filmed import SQUARE, edge_colours_of_film, edge_colours_on_screen, pictures_of_film, screen_picture
from heldThreads import Held
from outside import (BUBBLE, MOVE, OUTLINE, RESIZE, SCRIPT, SETTINGS, Case, centre, drag, films, geometry, is_finished, place,
                     run)

START, STOP = "●  开始录制", "■  停止录制"
WIDTH, HEIGHT = 1600, 1000


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
        self.until(lambda: (set(films()) - before).pop().stat().st_size > 0, "the film stays empty")
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
        clean = screen_picture(outline)
        self.open()
        self.assertEqual(place(OUTLINE), outline)
        self.panel.press("switch", "提词器")
        self.panel.press("switch", "摄像头")
        self.until(lambda: place(BUBBLE) and place(SCRIPT), "no bubble or no teleprompter")
        x, y, side, _ = place(BUBBLE)
        drag(centre(place(BUBBLE)), (900 - x, 420 - y))
        self.until(lambda: place(BUBBLE) == (900, 420, side, side), f"the bubble stands at {place(BUBBLE)}")
        self.assertGreater(len(screen_picture(outline).different(clean)), 1000, "the windows do not cover the range")
        film = self.record_and_stop()
        for number, picture in enumerate(pictures_of_film(film, (960, 540))):
            self.assertIsACircle(picture.different(clean), (900 - 320, 420 - 230), side, number)

    def assertIsACircle(self, different, corner, side, number):
        """These squares are the camera's picture there, with the mouse on it, and nothing else."""
        self.assertTrue(different, f"picture {number} has no camera circle")
        left, right = min(x for x, _ in different), max(x for x, _ in different) + 1
        top, bottom = min(y for _, y in different), max(y for _, y in different) + 1
        for found, expected in ((left, corner[0]), (top, corner[1]), (right, corner[0] + side), (bottom, corner[1] + side)):
            self.assertLessEqual(abs(found * SQUARE - expected), SQUARE + 2,
                                 f"picture {number}: something differs in {left}…{right}, {top}…{bottom}")
        # What the camera shows may be as bright as the desktop here and there.
        self.assertGreater(len(different), 0.6 * (side / SQUARE) ** 2, f"picture {number}: the circle has holes")

    def test_everythingTogether(self):
        """One long session: each control once, and a film in which everything shows that should, and nothing else."""
        whole = (0, 0, WIDTH, HEIGHT)
        clean = screen_picture(whole)
        self.open()
        self.assertAllTextsOfThePanel()
        for name in ("9:16 竖", "4:3 横", "3:4 竖", "全屏", "16:9 横", "自由框选"):
            self.panel.press("switch", name)
            self.until(lambda name=name: self.panel.is_on("switch", name), f"{name} was not chosen")
        self.until(lambda: place(OUTLINE) == (320, 230, 960, 540), f"the range is {place(OUTLINE)}")
        drag(centre(place(MOVE)), (-320, -230))
        self.until(lambda: place(OUTLINE) == (0, 0, 960, 540), f"moved to {place(OUTLINE)}")
        drag(centre(place(RESIZE)), (640, 460))
        self.until(lambda: place(OUTLINE) == whole, f"resized to {place(OUTLINE)}")

        self.panel.press("switch", "摄像头")
        self.until(lambda: place(BUBBLE), "no bubble")
        self.panel.await_("label", "拖动圆形头像到你想要的位置和大小 —— 所见即所得。")
        x, y, side, _ = place(BUBBLE)
        drag(centre(place(BUBBLE)), (1000 - x, 200 - y))
        self.until(lambda: place(BUBBLE) == (1000, 200, side, side), f"the bubble stands at {place(BUBBLE)}")
        self.panel.press("switch", "提词器")
        self.until(lambda: place(SCRIPT), "no teleprompter")
        self.assertAllTextsOfTheTeleprompter()
        self.panel.press("switch", "美化背景")
        self.until(lambda: geometry(self.window)[3] > 600, "the window does not grow")
        run("xdotool", "windowmove", "--sync", self.window, "60", "20")
        self.panel.press("switch", "背景 4")
        self.until(lambda: self.panel.is_on("switch", "背景 4"), "the backdrop was not taken")
        # Its own outline, which it has when it is chosen, would be in the way.
        swatch = edge_colours_on_screen(self.panel.place("switch", "背景 5"), 1)
        self.panel.press("switch", "背景 5")
        self.until(lambda: self.panel.is_on("switch", "背景 5"), "the backdrop was not taken")
        self.assertGreater(len(screen_picture(whole).different(clean)), 2000, "the windows do not cover the range")

        def meanwhile():
            for name in ("摄像头", "麦克风", "美化背景", "全屏", "背景 5", "投影"):
                self.assertFalse(self.panel.is_enabled("switch", name), name)
            for kind, name in (("slider", "圆角"), ("slider", "留白"), ("button", "🎲 随机换一张"), ("picker", "高")):
                self.assertFalse(self.panel.is_enabled(kind, name), name)
            self.assertTrue(self.panel.is_enabled("switch", "提词器"))
            self.assertIsNone(place(MOVE))
            drag(centre(place(BUBBLE)), (240, 300))
            self.until(lambda: place(BUBBLE) == (1240, 500, side, side), f"the bubble stands at {place(BUBBLE)}")
            self.panel.press("switch", "提词器")
            self.until(lambda: not place(SCRIPT), "the teleprompter stays")
            self.until_filmed()

        film = self.record_and_stop(meanwhile)
        # 88 % of the picture, in the middle of the backdrop, which is the swatch's.
        card = (96, 60, 1408, 880)
        circles = []
        for number, picture in enumerate(pictures_of_film(film, whole[2:], card)):
            different = {(x, y) for x, y in picture.different(clean, limit=24) if not self.is_corner(x, y)}
            corner = SQUARE * min(x for x, _ in different), SQUARE * min(y for _, y in different)
            # Somewhere on the drag's way, which is a straight line, and never back.
            way = min(max((corner[0] - 1000) / 240, 0), 1)
            self.assertIsACircle(different, (1000 + 240 * way, 200 + 300 * way), side, number)
            circles.append(way)
        self.assertGreater(len(circles), 30)
        self.assertEqual(sorted(circles), circles, "the circle jumps back and forth")
        self.assertLess(circles[0], 0.1)
        self.assertGreater(circles[-1], 0.9)
        self.assertGreater(len(set(circles)), 4, "the circle does not follow the bubble")
        for name, colour in edge_colours_of_film(film, whole[2:], 3).items():
            for wanted, found in zip(swatch[name], colour):
                self.assertLessEqual(abs(wanted - found), 12, f"{name}: {colour}, not {swatch[name]}")
        # Another one, by chance; and back to a small panel.
        self.panel.press("button", "🎲 随机换一张")
        self.until(lambda: not self.panel.is_on("switch", "背景 5"), "the backdrop stays the same")
        self.panel.press("switch", "美化背景")
        self.until(lambda: geometry(self.window)[3] < 600, "the window does not shrink again")

    @staticmethod
    def is_corner(x, y):
        """Whether the round corners of the picture may reach into that square of 160 by 100."""
        return min(x, 159 - x) < 5 and min(y, 99 - y) < 5

    def until_filmed(self):
        """Until what is on the screen now is in the film: its parts are written whole, and one may lie between."""
        film = films()[-1]
        for _ in range(2):
            size = film.stat().st_size
            self.until(lambda size=size: film.stat().st_size > size, "the film does not grow")

    def assertAllTextsOfThePanel(self):
        self.assertShown("label", "Quillet", "录制范围", "导出质量", "选择范围，开摄像头摆头像，然后开始。")
        self.assertShown("switch", "16:9 横", "9:16 竖", "4:3 横", "3:4 竖", "自由框选", "全屏", "摄像头", "麦克风", "提词器",
                         "美化背景")
        self.assertShown("picker", "高")
        self.assertShown("item", "低", "中", "高", "最高")
        self.assertShown("button", START)
        self.panel.press("switch", "美化背景")
        self.panel.await_("switch", "投影")
        self.assertShown("button", "🎲 随机换一张")
        self.assertShown("label", "圆角", "留白")
        self.assertShown("slider", "圆角", "留白")
        self.panel.press("switch", "美化背景")
        self.until(lambda: not self.panel.find("switch", "投影"), "the rows stay")

    def assertShown(self, kind, *names):
        self.assertLessEqual(set(names), set(self.panel.names(kind)))

    def assertAllTextsOfTheTeleprompter(self):
        script = self.panel.await_("text", "脚本")
        self.assertEqual(self.panel.text_of(script), "在这里粘贴你的脚本…\n\n点 ▶ 开始滚动，用下面的滑杆调字号和速度。")
        self.panel.await_("button", "⇱ 顶部")
        self.panel.write(script, "这是脚本的一行。\n" * 200)
        self.panel.press("button", "▶")
        self.panel.press("button", "⏸")
        self.panel.await_("button", "▶")

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
        film = self.record_and_stop(self.until_filmed)
        streams = run("ffprobe", "-v", "error", "-show_entries", "stream=codec_name,sample_rate,channels", "-of",
                      "csv=p=0", str(film))[1].split()
        self.assertIn("aac,48000,2", streams)
        self.assertEqual(len(streams), 2)


class Status(Case):
    """The words that are there for a moment only, or when something is wrong."""

    def open(self):
        program, _ = self.start(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.panel = Panel(program.pid)
        return program

    def test_tellsThatAFilmIsBeingCompleted(self):
        program = self.open()
        self.panel.press("button", START)
        self.panel.await_("button", STOP)
        with Held(program.pid, "quillet.writer"):
            self.panel.press("button", STOP)
            self.panel.await_("label", "正在导出…")
            self.assertFalse(is_finished(films()[0]))
        self.panel.await_("label", f"已保存：{films()[0].name}（桌面）")

    def test_tellsWhyNoRecordingBegins(self):
        program = self.open()
        display = os.environ["DISPLAY"].lstrip(":")
        guests = []
        try:
            # The server takes so many programs and no more.
            while True:
                guests.append(socket.socket(socket.AF_UNIX))
                guests[-1].connect(f"/tmp/.X11-unix/X{display}")
                guests[-1].sendall(struct.pack("<BxHHHH2x", ord("l"), 11, 0, 0, 0))
                if guests[-1].recv(1) != b"\1":
                    break
            self.panel.press("button", START)
            status = self.until(lambda: self.panel.status("启动失败："), f"no word of it: {self.panel.names('label')}")
            self.assertGreater(len(status), len("启动失败："), "it does not say why")
            self.assertTrue(self.panel.find("button", START))
            self.assertEqual(films(), [])
        finally:
            for guest in guests:
                guest.close()
        self.assertTrue(program.is_running())

    def test_tellsWhyAFilmIsNotWhole(self):
        program = self.open()
        self.panel.press("button", START)
        self.panel.await_("button", STOP)
        # Nothing can be written any more.
        resource.prlimit(program.pid, resource.RLIMIT_FSIZE, (1, 1))
        status = self.until(lambda: self.panel.status("导出失败："), f"no word of it: {self.panel.names('label')}")
        self.assertGreater(len(status), len("导出失败："), "it does not say why")
        self.panel.await_("button", START)
        self.assertTrue(program.is_running())


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
