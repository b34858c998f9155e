#!/usr/bin/env python3
"""enduranceTest [SECONDS [WORKERS]]: one recording of that length with picture and both sounds, on a machine that is idle
or, with WORKERS processes that compute without end, busy. Runs inside tests/desktop/desktop.

Prints the program's memory as it goes and its slope, how long the panel took to answer, and of the finished film: pictures,
clicks that are missing, the clicks' distance from the pictures in the film's first and last minute. Exit: 0 if the sound
is unbroken, within 20 ms in those minutes and but for one click in a hundred (a server that misses a cycle plays one 21 ms
late), the panel has answered within a second, and the memory does not grow by more than the film's index. Clicks that the
server never asked the clock for, because a cycle of its own failed, are counted by themselves: nobody can have heard them.
"""
import os
import pathlib
import statistics
import subprocess
import sys
import time

import filmClock
import outside
from a11y import Panel

START, STOP = "●  开始录制", "■  停止录制"
MOST_OFFSET = 0.02
MOST_SILENT = 1.0  # seconds until the panel answers
MOST_GROWTH = 12 << 20  # bytes in an hour: the film's index takes 1 KB a second, 3.5 MiB, in lists that grow by doubling
MOST_STEP = 4 << 20  # bytes: as much as such lists may grow at once, which in a short film is no slope yet
SETTLING = 120  # seconds before memory counts: pools, caches, the allocator's own


def resident_bytes(pid):
    return int(pathlib.Path(f"/proc/{pid}/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def slope(points):
    """Of a line through (x, y), least squares."""
    middle_x, middle_y = (statistics.fmean(axis) for axis in zip(*points))
    return sum((x - middle_x) * (y - middle_y) for x, y in points) / sum((x - middle_x) ** 2 for x, _ in points)


def record(seconds, workers):
    outside.record_everything()
    program = outside.Program(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    busy, memory, answers = [], [], []
    try:
        panel = Panel(program.pid)
        panel.press("button", START)
        panel.await_("button", STOP)
        begin = time.monotonic()
        busy = [subprocess.Popen([sys.executable, "-c", "while True: pass"]) for _ in range(workers)]
        while (passed := time.monotonic() - begin) < seconds:
            memory.append((passed, resident_bytes(program.pid)))
            answers.append(panel.answer_seconds())
            if len(memory) % 12 == 1:
                print(f"{passed:7.0f} s: {memory[-1][1] / 2**20:.1f} MiB, answered in {max(answers[-12:]) * 1000:.0f} ms",
                      flush=True)
            time.sleep(min(5, max(0.5, seconds / 10)))
        panel.press("button", STOP)
        film = outside.eventually(lambda: next(filter(outside.is_finished, outside.films()), None), 120)
        assert film, "no finished film"
        return film, memory, answers
    finally:
        for process in busy:
            process.kill()
            process.wait()
        program.end()


def split_missing(film, omissions):
    """How many beats between the film's first and last have no click although they were played, and how many never were.
    The omissions are the clock's lines."""
    unplayed = [(words[0] == "microphone", float(words[1]), float(words[2])) for words in map(str.split, omissions)]
    beats = {round((click.at + film.start) * 2) for click in film.clicks}
    counts = {False: 0, True: 0}
    for beat in set(range(min(beats), max(beats))) - beats:
        is_unplayed = any(kind == beat % 2 and begin - 0.001 <= beat / 2 < end for kind, begin, end in unplayed)
        print(f"no click at {beat / 2 - film.start:.1f} s{', and none was played' if is_unplayed else ''}", flush=True)
        counts[is_unplayed] += 1
    return counts[False], counts[True]


def main():
    seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 8
    workers = int(sys.argv[2]) if len(sys.argv) > 2 else 0
    clock = subprocess.Popen([os.environ["QUILLET_CLOCK"]], stdout=subprocess.PIPE)
    moving = subprocess.Popen([os.environ["QUILLET_SCENE"], "--fps", "10"], stdout=subprocess.DEVNULL)
    try:
        assert clock.stdout.readline() == b"ready\n", "no clock"
        film, memory, answers = record(seconds, workers)
    finally:
        for process in (clock, moving):
            process.kill()
            process.wait()
        omissions = clock.stdout.read().decode().splitlines()
        clock.stdout.close()

    read = filmClock.Film(film)
    missing, unplayed = split_missing(read, omissions)
    first = read.worst_offset([click for click in read.clicks if click.at < 60])
    last = read.worst_offset([click for click in read.clicks if click.at > read.seconds - 60])
    stray = sum(abs(click.offset) > MOST_OFFSET for click in read.clicks)
    settled = [(at, size) for at, size in memory if at > SETTLING]
    growth = slope(settled) * 3600 if len(settled) > 20 else 0
    grown = growth / 3600 * (settled[-1][0] - settled[0][0]) if settled else 0
    print(f"{read.seconds:.1f} s with {workers} workers: {len(read.pictures)} pictures ({max(read.gaps):.3f} s the longest), "
          f"{read.sound_seconds:.2f} s of sound, {len(read.clicks)} clicks, {missing} missing, {unplayed} never played; off at most "
          f"{first * 1000:.1f} ms in the first minute, {last * 1000:.1f} ms in the last, "
          f"{read.worst_offset() * 1000:.1f} ms at any time, {stray} times more than 20 ms ({read.median_offsets()}); the panel answered in {max(answers) * 1000:.0f} ms at most; memory "
          f"{memory[-1][1] / 2**20:.1f} MiB, {growth / 2**20:+.2f} MiB an hour", flush=True)
    problems = [words for words, is_problem in (
        (f"the decoder complains: {read.complaints[:300]}", read.complaints),
        ("the film is too short", read.seconds < seconds - 1),
        ("picture and sound are of different length", abs(read.seconds - read.sound_seconds) > 0.2),
        (f"{missing} clicks are missing", missing > 0),
        ("the sound is not in time", max(first, last) > MOST_OFFSET or stray > len(read.clicks) / 100),
        ("the panel did not answer", max(answers) > MOST_SILENT),
        ("memory grows", growth > MOST_GROWTH and grown > MOST_STEP)) if is_problem]
    print("\n".join(problems), flush=True)
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
