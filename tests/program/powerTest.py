#!/usr/bin/env python3
"""powerTest [FILMS [CUTS [SECONDS]]]: the power goes in the middle of a recording with picture and both sounds, and at its end.

Runs inside tests/desktop/desktop with the clock's program in QUILLET_CLOCK; starts itself anew among mounts of its own, and
exits with 77 where that is not allowed. Each film, SECONDS long, is recorded into folderThatForgets, and then looked at as it
would have been left by CUTS random moments, by CUTS of the single steps of its end, and by the last three of these. Exit: 0 if
each of these films can be played, without a complaint and unchanged as far as it had been synchronised, is in time, and misses
less than two seconds and one synchronisation; and if nothing is missing once the program has said that the film is saved.
QUILLET_TEST_SEED chooses other moments.
"""
import os
import pathlib
import random
import signal
import statistics
import subprocess
import sys
import tempfile
import time

import filmClock
import outside
from a11y import Panel
from folderThatForgets import Disk

START, STOP = "●  开始录制", "■  停止录制"
MOST_MISSING = 2.0
MOST_OFFSET = 0.04  # the pictures of a busy machine are late, too
SLOWEST_SYNC = 0.15  # seconds
AFTER_CUT = 2048  # samples at a torn end that the decoder may make differently


class Loss(Exception):
    pass


def expect(condition, words):
    if not condition:
        raise Loss(words)


class Recording:
    """A film that was made on a forgetful disk, and when its end began and was announced."""

    def __init__(self, seconds, work):
        journal, folder = work / "journal", work / "folder"
        folder.mkdir()
        server = subprocess.Popen([sys.executable, "-B", str(pathlib.Path(__file__).with_name("folderThatForgets.py")),
                                   str(folder), str(journal), str(SLOWEST_SYNC)], stdout=subprocess.PIPE)
        program = None
        try:
            if server.stdout.readline() != b"ready\n":
                sys.exit(server.wait())
            outside.record_everything()
            outside.record_into(folder)
            program = outside.Program(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
            panel = Panel(program.pid)
            panel.press("button", START)
            panel.await_("button", STOP)
            time.sleep(seconds)
            self.stopped = filmClock.now()
            panel.press("button", STOP)
            assert outside.eventually(lambda: panel.status("已保存：")), panel.names("label")
            self.saved = filmClock.now()
        finally:
            if program:
                program.signal(signal.SIGTERM)
                program.wait()
                program.end()
            subprocess.run(["umount", "-l", str(folder)], check=True)
            server.kill()
            server.wait()
            server.stdout.close()
        self.disk = Disk(journal)
        self.work = work
        self.films = {}

    def read(self, content):
        """The film of these bytes; the one of those before is what is asked for most often."""
        if content not in self.films:
            path = self.work / "left.mp4"
            path.write_bytes(content)
            try:
                self.films = {content: filmClock.Film(path)}
            except subprocess.CalledProcessError as problem:
                raise Loss("the film cannot be opened") from problem
        return self.films[content]

    def whole(self):
        _, left = self.disk.cut(len(self.disk.events), random.Random(0))
        (content,) = left.values()
        return content


def judge(recording, count, dice):
    """What the power leaves when it goes after so many events: seconds missing of picture and sound, and that film."""
    disk = recording.disk
    moment = disk.moment(count - 1)
    certain, left = disk.cut(count, dice)
    expect(len(left) <= 1, f"{len(left)} files")
    certain, left = next(iter(certain.values()), b""), next(iter(left.values()), b"")
    # Nothing of the film can be older than its file.
    is_young = moment - disk.moment(0) < MOST_MISSING + SLOWEST_SYNC
    expect(certain or is_young, "nothing is there")
    if not certain:
        return None
    sure = recording.read(certain)
    expect(not sure.complaints, f"the decoder complains of what was synchronised: {sure.complaints[:200]}")
    film = sure if certain == left else recording.read(left)
    if is_young:
        return None
    expect(len(film.pictures) > 1, f"{len(film.pictures)} pictures")
    expect(film.unreadable <= 1 or left != certain, f"{film.unreadable} pictures without a time")
    expect(film.pictures[:len(sure.pictures) - 1] == sure.pictures[:-1], "pictures that were synchronised are others now")
    safe = max(0, len(sure.samples) - AFTER_CUT)
    expect(film.samples[:safe] == sure.samples[:safe], "sound that was synchronised is different now")
    picture, sound = film.missing(min(moment, recording.stopped))
    offset = sure.worst_offset() or 0
    most = MOST_MISSING + max(end - begin for begin, end in disk.synchronisations() if begin <= moment)
    expect(picture < most, f"{picture:.3f} s of picture are missing")
    expect(sound < most, f"{sound:.3f} s of sound are missing")
    expect(offset < MOST_OFFSET, f"a click is {offset:.3f} s from its picture")
    return max(0, picture), max(0, sound), offset


def judge_end(recording):
    disk = recording.disk
    count = disk.until(recording.saved)
    expect(disk.pending(count) == 0, f"{disk.pending(count)} bytes or names were not on the disk when the film was called saved")
    content = recording.whole()
    (recording.work / "whole.mp4").write_bytes(content)
    expect(outside.is_finished(recording.work / "whole.mp4"), "the film is not an ordinary one")
    expect(not recording.read(content).complaints, recording.read(content).complaints[:200])


def main():
    films, cuts, seconds = [int(word) for word in sys.argv[1:]] + [1, 3, 4][len(sys.argv) - 1:]
    seed = int(os.environ.get("QUILLET_TEST_SEED", time.time_ns() % 100_000))
    dice = random.Random(seed)
    clock = subprocess.Popen([os.environ["QUILLET_CLOCK"]], stdout=subprocess.PIPE)
    moving = subprocess.Popen([os.environ["QUILLET_SCENE"], "--fps", "15"], stdout=subprocess.DEVNULL)
    tries, young, losses, found, ends = 0, 0, 0, [], 0
    intervals, durations = [], []
    try:
        assert clock.stdout.readline() == b"ready\n", "no clock"
        for number in range(films):
            with tempfile.TemporaryDirectory(dir=os.environ["QUILLET_DESKTOP"]) as work:
                recording = Recording(seconds, pathlib.Path(work))
                disk = recording.disk
                begin, end = disk.moment(0), recording.stopped
                middle = sorted(max(1, disk.until(dice.uniform(begin, end))) for _ in range(cuts))
                steps = range(disk.until(end), len(disk.events) + 1)
                last = sorted({*dice.sample(steps, min(cuts, len(steps))), *steps[-3:]})
                for count in [*middle, *last]:
                    tries += 1
                    try:
                        missing = judge(recording, count, dice)
                    except Loss as loss:
                        losses += 1
                        print(f"film {number} of seed {seed}, after {count} of {len(disk.events)} events: LOST: {loss}", flush=True)
                        continue
                    young += missing is None
                    found += [missing] if missing and count in middle else []
                    ends += missing is not None and count in last
                try:
                    judge_end(recording)
                except Loss as loss:
                    losses += 1
                    print(f"film {number} of seed {seed}: LOST: {loss}", flush=True)
                syncs = disk.synchronisations()
                intervals += [b[0] - a[0] for a, b in zip(syncs, syncs[1:])]
                durations += [b - a for a, b in syncs]
                print(f"film {number} of seed {seed}: {len(middle)} cuts, {len(last)} at the end", flush=True)
    finally:
        for process in (clock, moving):
            process.kill()
            process.wait()
        clock.stdout.close()
    print(f"{tries} tries ({young} so early that little need be there, {ends} at the end), {losses} lost")
    if found:
        pictures, sounds, offsets = zip(*found)
        print(f"missing (least / median / most) {filmClock.spread(pictures)} s of picture, {filmClock.spread(sounds)} s of sound; "
              f"clicks at most {max(offsets) * 1000:.1f} ms off; synchronised every {statistics.median(intervals):.2f} s, at most "
              f"{max(intervals):.2f} s, which took {filmClock.spread(durations)} s")
    sys.exit(1 if losses else 0)


if __name__ == "__main__":
    outside.start_anew_among_own_mounts()
    main()
