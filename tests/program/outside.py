"""outside: the program as a user meets it: its windows, keys and mouse through the X server, its controls through the
accessibility bus, its films through ffprobe. For tests that run inside tests/desktop/desktop.
"""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time
import unittest

PROGRAM = os.environ["QUILLET_PROGRAM"]
DESKTOP = pathlib.Path(os.environ["HOME"]) / "Desktop"
SETTINGS = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "quillet" / "settings"
USER_FOLDERS = pathlib.Path(os.environ["XDG_CONFIG_HOME"]) / "user-dirs.dirs"
WINDOW = "^Quillet$"
OUTLINE, MOVE, RESIZE = "^录制范围$", "^移动录制范围$", "^调整录制范围大小$"
BUBBLE, SCRIPT = "^摄像头画面$", "^提词器$"


def eventually(question, seconds=20):
    """The first true answer; the last one when the time, which only a failure needs, is up."""
    end = time.monotonic() + seconds
    while not (answer := question()) and time.monotonic() < end:
        time.sleep(0.02)
    return answer


def run(*command, seconds=20):
    """A command's exit status and output."""
    result = subprocess.run(command, capture_output=True, text=True, timeout=seconds, check=False)
    return result.returncode, result.stdout + result.stderr


def windows(title=WINDOW):
    """The visible windows of that title, as numbers."""
    # Its complaints about windows that go just then are mixed in.
    words = run("xdotool", "search", "--onlyvisible", "--name", title)[1].splitlines()
    return [word for word in words if word.isdigit()]


def geometry(window):
    """x, y, width, height of a window's content on the screen."""
    status, text = run("xdotool", "getwindowgeometry", "--shell", window)
    values = dict(line.split("=") for line in text.splitlines() if "=" in line)
    # xdotool adds the frame's border twice; the server tells the truth.
    for line in run("xwininfo", "-id", window)[1].splitlines():
        for key, name in (("Absolute upper-left X", "X"), ("Absolute upper-left Y", "Y")):
            if key in line:
                values[name] = line.split(":")[1]
    return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT")) if status == 0 else None


def colours_at(x, y, width, height):
    """The pixels of that part of the screen, row by row, as (red, green, blue)."""
    pixels = subprocess.run(
        ["ffmpeg", "-loglevel", "error", "-f", "x11grab", "-draw_mouse", "0", "-video_size", f"{width}x{height}", "-i",
         f"{os.environ['DISPLAY']}+{x},{y}", "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"],
        capture_output=True, check=True, timeout=60).stdout
    return [tuple(pixels[place : place + 3]) for place in range(0, len(pixels), 3)]


def record_everything():
    """The next program records the whole screen."""
    SETTINGS.parent.mkdir(exist_ok=True)
    SETTINGS.write_text("Quillet.rangeMode=全屏\n")


def record_into(folder):
    """The next program takes that folder for the user's Desktop."""
    USER_FOLDERS.write_text(f'XDG_DESKTOP_DIR="{folder}"\n')


def start_anew_among_own_mounts():
    """This script again, where what it mounts concerns nobody else; exits with 77 where that is not allowed."""
    if "QUILLET_OWN_MOUNTS" in os.environ:
        return
    os.environ["QUILLET_OWN_MOUNTS"] = "yes"
    unshare = ["unshare", "--mount"] + ([] if os.getuid() == 0 else ["--map-root-user"])
    if subprocess.run([*unshare, "true"], check=False).returncode != 0:
        print("mounting is not allowed here")
        sys.exit(77)
    os.execvp("unshare", [*unshare, sys.executable, "-B", *sys.argv])


def place(title):
    """x, y, width, height of the visible window of that title; None when there is none."""
    found = windows(title)
    return geometry(found[0]) if found else None


def centre(rect):
    return rect[0] + rect[2] // 2, rect[1] + rect[3] // 2


def drag(start, by, steps=12):
    """Presses at a point, moves by that much in steps, lets go."""
    words = ["mousemove", str(start[0]), str(start[1]), "sleep", "0.05", "mousedown", "1"]
    for step in range(1, steps + 1):
        x, y = max(start[0] + by[0] * step // steps, 0), max(start[1] + by[1] * step // steps, 0)
        words += ["mousemove", str(x), str(y), "sleep", "0.02"]
    run("xdotool", *words, "mouseup", "1")


def films():
    return sorted(DESKTOP.glob("*.mp4"))


def is_finished(film):
    """An ordinary film has its index behind its pictures; until finished, fragments stand there."""
    data = film.read_bytes()
    place, boxes = 0, []
    while place + 8 <= len(data):
        size = int.from_bytes(data[place : place + 4], "big")
        boxes.append(data[place + 4 : place + 8])
        if size == 1:
            size = int.from_bytes(data[place + 8 : place + 16], "big")
        if size < 8:
            break
        place += size
    return b"moov" in boxes and b"moof" not in boxes


class Program:
    """A running copy. Ends with the test, by force if need be."""

    def __init__(self, *arguments, **environment):
        self.process = subprocess.Popen(
            [PROGRAM, *arguments],
            env={**{k: v for k, v in os.environ.items() if environment.get(k, "") is not None},
                 **{k: v for k, v in environment.items() if v is not None}},
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            # Shells have their background commands ignore it, and children inherit that.
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL),
        )

    @property
    def pid(self):
        return self.process.pid

    def wait(self, seconds=20):
        """Exit status; -N for signal N."""
        return self.process.wait(seconds)

    def signal(self, number):
        self.process.send_signal(number)

    def is_running(self):
        return self.process.poll() is None

    def words(self):
        """Everything on standard error, after its end."""
        return self.process.stderr.read().decode()

    def end(self):
        if self.is_running():
            self.signal(signal.SIGCONT)
            self.signal(signal.SIGKILL)
            self.wait()
        self.process.stderr.close()


class Case(unittest.TestCase):
    """Each test begins with no settings and no films, and ends every program that it has started."""

    def setUp(self):
        shutil.rmtree(SETTINGS.parent, ignore_errors=True)
        DESKTOP.mkdir(exist_ok=True)
        for film in films():
            film.unlink()
        self.programs = []

    def tearDown(self):
        for program in self.programs:
            program.end()
        eventually(lambda: not windows())

    def start(self, *arguments, **environment):
        """A program, and its control window once that is on screen."""
        before = set(windows())
        program = Program(*arguments, **environment)
        self.programs.append(program)
        window = eventually(lambda: next(iter(set(windows()) - before), None))
        self.assertTrue(window, "no window called Quillet")
        return program, window

    def press_key(self, window, key):
        status, words = run("xdotool", "windowactivate", "--sync", window, "key", key)
        self.assertEqual(status, 0, words)

    def until(self, question, message, seconds=20):
        answer = eventually(question, seconds)
        self.assertTrue(answer, message)
        return answer
