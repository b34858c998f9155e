"""filmClock: reads films of tests/desktop/clock.cpp with ffmpeg: when each picture and each click happened, and so what is
missing at a film's end and how far its sound is from its pictures. All times in seconds.
"""
import array
import dataclasses
import statistics
import subprocess
import time

BLOCKS = 2 + 32 + 32
BLOCK = 16  # pixels
RATE = 48000
BLOCKED = 48  # samples that are looked at together: a millisecond
WRAP = 2**32 / 1000


def now():
    """The clock's time, as it stands in the picture."""
    return time.clock_gettime(time.CLOCK_MONOTONIC)


def ffmpeg(*arguments):
    """What ffmpeg writes and what it complains about."""
    result = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", *arguments], capture_output=True, check=False)
    return result.stdout, result.stderr.decode(errors="replace").strip()


def number_in(row):
    """The clock's milliseconds in a row of grey blocks, None where there is no clock."""
    bits = [value > 127 for value in row]
    if not bits[0] or bits[1] or any(bits[2 + i] == bits[34 + i] for i in range(32)):
        return None
    return sum(bit << (31 - i) for i, bit in enumerate(bits[2:34]))


def packet_times(film, stream):
    """Start and duration of each packet as the container says them; edits are taken into account."""
    output = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", stream, "-show_entries", "packet=pts_time,duration_time", "-of",
         "csv=p=0", str(film)], capture_output=True, text=True, check=True).stdout
    rows = [line.split(",") for line in output.split()]
    return [(float(row[0]), float(row[1]) if row[1] != "N/A" else 0) for row in rows if row[0] != "N/A"]


@dataclasses.dataclass
class Click:
    at: float  # in the film
    is_microphone: bool = False
    offset: float = 0  # from its moment as the pictures have it; positive: late


class Film:
    """A decoded film of the clock. `complaints` is everything that the decoder said."""

    def __init__(self, path, threshold=0.2):
        self.path = path
        pictures, words = ffmpeg("-i", str(path), "-map", "0:v", "-fps_mode", "passthrough", "-enc_time_base", "1:1000000", "-vf",
                                 f"crop={BLOCKS * BLOCK}:{BLOCK}:0:0,scale={BLOCKS}:1:flags=area,format=gray", "-f",
                                 "rawvideo", "-")
        # -copyts: else what the decoder gives before the first real sample would move everything.
        sound, more = ffmpeg("-copyts", "-i", str(path), "-map", "0:a", "-af", "aresample=async=1:first_pts=0", "-ac", "1", "-f",
                             "s16le", "-ar", str(RATE), "-")
        self.complaints = "\n".join(filter(None, (words, more)))
        times = packet_times(path, "v")
        self.pictures = [(at, number_in(pictures[i * BLOCKS:(i + 1) * BLOCKS]))
                         for i, (at, _) in enumerate(times) if (i + 1) * BLOCKS <= len(pictures)]
        self.seconds = sum(times[-1]) if times else 0
        self.samples = array.array("h", sound[:len(sound) // 2 * 2])
        self.sound_seconds = len(self.samples) / RATE
        self.unreadable = sum(1 for _, number in self.pictures if number is None)
        self.gaps = [b[0] - a[0] for a, b in zip(self.pictures, self.pictures[1:])]

        # From the film's time to the clock's, by the pictures that came fastest from the clock to the film: nine tenths
        # took longer. (The very fastest one may have been painted just after its time was taken.)
        self.lags = [at - number / 1000 for at, number in self.pictures if number is not None]
        fastest = sorted(self.lags)[len(self.lags) // 10] if self.lags else None
        self.start = -fastest if self.lags else None  # the clock's time at the film's beginning
        self.lags = [lag + self.start for lag in self.lags]
        self.clicks = self._find_clicks(threshold)

    def _find_clicks(self, threshold):
        """Onsets after 50 ms of quiet, with their distance from the moment they belong to."""
        clicks, limit, quiet = [], int(threshold * 32767), RATE
        for begin in range(0, len(self.samples), BLOCKED):
            block = self.samples[begin:begin + BLOCKED]
            if max(block) <= limit and -min(block) <= limit:
                quiet += len(block)
                continue
            if quiet > RATE // 20:
                place = next(i for i, value in enumerate(block) if abs(value) > limit)
                clicks.append(Click((begin + place) / RATE))
            quiet = 0
        if self.start is not None:
            for click in clicks:
                halves = (click.at + self.start) * 2
                click.is_microphone = round(halves) % 2 == 1
                click.offset = (halves - round(halves)) / 2
        return clicks

    def last_picture(self):
        """When the last readable picture was on the screen, on the clock."""
        return next(number / 1000 for _, number in reversed(self.pictures) if number is not None)

    def missing(self, moment):
        """Seconds of picture and of sound that are missing at the end, had the film gone on until that moment."""
        moment %= WRAP
        return moment - self.last_picture(), moment - (self.start + self.sound_seconds)

    def median_offsets(self):
        """Of the speakers' clicks and of the microphone's, in words; positive: the sound is late."""
        kinds = ("speakers", False), ("microphone", True)
        medians = [(name, [click.offset for click in self.clicks if click.is_microphone == kind]) for name, kind in kinds]
        return ", ".join(f"{name} {statistics.median(offsets) * 1000:+.1f} ms" for name, offsets in medians if offsets)

    def worst_offset(self, clicks=None):
        return max((abs(click.offset) for click in (self.clicks if clicks is None else clicks)), default=None)


def spread(values):
    """min / median / max for a report."""
    return f"{min(values):.3f} / {statistics.median(values):.3f} / {max(values):.3f}"
