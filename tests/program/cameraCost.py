#!/usr/bin/env python3
"""cameraCost [SECONDS]: what the camera costs, in processor time of the program and of the X server, while nothing else
moves. Runs inside tests/desktop/desktop --camera build/release/camera; QUILLET_PROGRAM names the program.

Prints percents of one processor over SECONDS (8) each: nothing but the control window, a recording without camera, and
for diameters of 200 and 700 points the bubble alone and a recording with it. What the camera and its circle cost in a
recording is the last minus the one without camera.
"""
import os
import pathlib
import sys
import time

from a11y import Panel
from outside import DESKTOP, Program, SETTINGS, eventually, films, windows

SECONDS = float(sys.argv[1]) if len(sys.argv) > 1 else 8


def servers():
    """The X servers of this desktop."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if (process / "comm").read_text().strip() in ("Xvfb", "Xorg", "picom") and os.environ[
                    "QUILLET_DESKTOP"].encode() in (process / "environ").read_bytes():
                found.append(int(process.name))
        except OSError:
            pass
    return found


def processor_seconds(pid):
    """All that its threads have used so far; those that have ended do not count."""
    total = 0
    for thread in pathlib.Path(f"/proc/{pid}/task").iterdir():
        try:
            total += int((thread / "schedstat").read_text().split()[0])
        except OSError:
            pass
    return total / 1e9


def measure(what, program):
    time.sleep(1.5)  # until everything has settled
    pids = [program.pid, *servers()]
    before = [processor_seconds(pid) for pid in pids]
    start = time.monotonic()
    time.sleep(SECONDS)
    passed = time.monotonic() - start
    used = [100 * (processor_seconds(pid) - earlier) / passed for pid, earlier in zip(pids, before)]
    print(f"{what:45} program {used[0]:6.2f} %, display {sum(used[1:]):6.2f} %, together {sum(used):6.2f} %", flush=True)
    return sum(used)


def run(diameter):
    """One program; without a diameter, without camera."""
    SETTINGS.parent.mkdir(parents=True, exist_ok=True)
    SETTINGS.write_text(f"Quillet.cameraPreviewDiameter={diameter}\n" if diameter else "")
    program = Program(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    try:
        assert eventually(windows), "no window"
        panel = Panel(program.pid)
        panel.press("switch", "全屏")
        name = "nothing"
        if diameter:
            panel.press("switch", "摄像头")
            assert eventually(lambda: windows("^摄像头画面$")), "no bubble"
            name = f"a bubble of {diameter} points"
        measure(name, program)
        panel.press("button", "●  开始录制")
        panel.await_("label", "● 录制中…  点击停止结束。")
        measure(f"a recording with {name}" if diameter else "a recording without camera", program)
        panel.press("button", "■  停止录制")
        assert eventually(lambda: not panel.find("button", "■  停止录制")), "it does not stop"
    finally:
        program.end()
        for film in films():
            film.unlink()


DESKTOP.mkdir(exist_ok=True)
for size in (None, 200, 700):
    run(size)
