#!/usr/bin/env python3
"""killTest [ROUNDS]: the program, killed outright at random moments of a recording with picture and both sounds.

Runs inside tests/desktop/desktop with the clock's program in QUILLET_CLOCK. Each round's line has what is missing of
picture and sound, in seconds, and how far the film's clicks are from its pictures; the last line sums up. Exit: 0 if
every film can be played without a complaint, misses less than two seconds and is in time. QUILLET_TEST_SEED chooses other
moments.
"""
import os
import random
import signal
import subprocess
import sys
import time

import filmClock
import outside

MOST_MISSING = 2.0
MOST_OFFSET = 0.04  # the pictures of a busy machine are late, too


class Loss(Exception):
    pass


def expect(condition, words):
    if not condition:
        raise Loss(words)


def try_once(dice):
    """One recording, killed; the film and the moment of its end on the clock."""
    for film in outside.films():
        film.unlink()
    outside.record_everything()
    program = outside.Program()
    try:
        window = outside.eventually(outside.windows)
        expect(window, "no window")
        outside.run("xdotool", "windowactivate", "--sync", window[0], "key", "space")
        expect(outside.eventually(lambda: outside.films() and outside.films()[0].stat().st_size > 0), "no recording")
        time.sleep(dice.uniform(1.5, 6))
        moment = filmClock.now()
        program.signal(signal.SIGKILL)
        program.wait()
        return outside.films()[0], moment
    finally:
        program.end()


def judge(film, moment):
    read = filmClock.Film(film)
    expect(not read.complaints, f"the decoder complains: {read.complaints[:200]}")
    expect(len(read.pictures) > 20, f"{len(read.pictures)} pictures")
    # The first picture may have been taken before the clock was there.
    expect(read.unreadable <= 1, f"{read.unreadable} pictures without a time")
    kinds = {click.is_microphone for click in read.clicks}
    if read.seconds > 3:
        expect(kinds == {False, True}, f"{len(read.clicks)} clicks in {read.seconds} s, not of both sounds")
    picture, sound = read.missing(moment)
    expect(picture < MOST_MISSING, f"{picture:.3f} s of picture are missing")
    expect(sound < MOST_MISSING, f"{sound:.3f} s of sound are missing")
    offset = read.worst_offset() or 0
    expect(offset < MOST_OFFSET, f"a click is {offset:.3f} s from its picture")
    return read, picture, sound, offset


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 3
    seed = int(os.environ.get("QUILLET_TEST_SEED", time.time_ns() % 100_000))
    dice = random.Random(seed)
    clock = subprocess.Popen([os.environ["QUILLET_CLOCK"]], stdout=subprocess.PIPE)
    moving = subprocess.Popen([os.environ["QUILLET_SCENE"], "--fps", "15"], stdout=subprocess.DEVNULL)
    pictures, sounds, offsets, losses = [], [], [], 0
    try:
        assert clock.stdout.readline() == b"ready\n", "no clock"
        for number in range(rounds):
            try:
                film, moment = try_once(dice)
                read, picture, sound, offset = judge(film, moment)
            except Loss as loss:
                losses += 1
                print(f"round {number} of seed {seed}: LOST: {loss}", flush=True)
                continue
            pictures.append(picture)
            sounds.append(sound)
            offsets.append(offset)
            print(f"round {number} of seed {seed}: {read.seconds:.1f} s, missing {picture:.3f} s of picture, {sound:.3f} s of"
                  f" sound, {len(read.clicks)} clicks, worst {offset * 1000:.1f} ms off ({read.median_offsets()})", flush=True)
    finally:
        for process in (clock, moving):
            process.kill()
            process.wait()
        clock.stdout.close()
    if pictures:
        print(f"{rounds} tries, {losses} lost; missing (least / median / most) {filmClock.spread(pictures)} s of picture, "
              f"{filmClock.spread(sounds)} s of sound; clicks at most {max(offsets) * 1000:.1f} ms off")
    sys.exit(1 if losses else 0)


if __name__ == "__main__":
    main()
