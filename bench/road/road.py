#!/usr/bin/env python3
"""road.py: what a recorded minute costs, from the screen to the file, beside another recorder doing the same work.

    cmake --build --preset release --target quillet road_workload camera
    bench/road/road.py [WORKLOAD…] [--runs 3] [--seconds 10] [--results FILE] [--keep FOLDER]
    bench/road/road.py --table FILE…      only prints the table of results that were kept
    bench/road/road.py --promptness [clock clock-everything] [--runs 3] [--seconds 60] [--press bus]

Starts a virtual desktop for each workload and lets ffmpeg (x11grab) and Quillet record it in turn. Both write 60 pictures
a second, the cursor, H.264 High without B-frames at the quality's bit rate, and AAC. Quillet is the real program with its
panel on the screen, used through its controls. What a row means:

    s/min      processor seconds of recorder and X server for each minute, without what the server does for the workload
               alone (measured before, and reckoned by pictures painted)
    ms/pic     the same for each picture of the film: what tells where one of them cannot keep up
    ratio, each    ours of s/min and of ms/pic, divided by the other's; aim: what the first should be at most
    pictures   written a second; of 100 pictures that the workload has painted, how many are not in the film
    MB/min     of the file
    peak MB    most memory resident
    SSIM       of the luma of pictures of the film against what the workload painted (the median picture). The camera's
               side of the picture is left out; beautified films are compared with the same look, uncompressed

What is kept in FILE tells the same of the recorder's threads, by name. Medians; after ± half of what lies between the
least and the greatest. Sound: ffmpeg has silence made for it, Quillet records the desktop's speakers and microphone;
neither the sound server nor the camera's program is counted.

--promptness records films of that many seconds and prints how long after the press of the button the film begins (its
first picture's number tells when that was on the screen; the picture may have been up to a 60th of a second younger), and
how long after the second press the panel says that the film is saved. The press is a click of the mouse, counted from when
its button is let go. With --press bus it is a screen reader's: the toolkit then shows the button held down for a tenth of a
second before it acts, and that counts.
"""
import argparse
import json
import os
import pathlib
import signal
import statistics
import struct
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parent.parent
BUILD = pathlib.Path(os.environ.get("QUILLET_BUILD", TREE / "build" / "release"))
WORKLOAD = BUILD / "road_workload"
FACTOR = 0.2  # bits per pixel per frame of the quality "高", which is the one at first launch
FPS = 60
START, STOP = "●  开始录制", "■  停止录制"
RECORDING = "● 录制中…  点击停止结束。"
SETTLE = 1.5  # seconds after the start that are not measured
BUBBLE = 200
BUBBLE_FROM_CORNER = 240  # where the bubble stands at first launch

# name: scene, size, camera, beautify, what the processor time may be of the other's
WORKLOADS = {
    "still": ("still", (1920, 1080), False, False, 0.02),
    "typing": ("typing", (1920, 1080), False, False, 0.2),
    "terminal": ("terminal", (1920, 1080), False, False, 0.5),
    "video": ("video", (1920, 1080), False, False, 0.6),
    "camera": ("still", (1920, 1080), True, False, 0.25),
    "everything": ("video", (1920, 1080), True, True, 0.35),
    "typing-2160p": ("typing", (3840, 2160), False, False, 0.2),
    # The same beside a graph that, as Quillet does, lays out colours at full resolution.
    "everything-rgb": ("video", (1920, 1080), True, True, None),
    "clock": ("clock", (1920, 1080), False, False, None),
    "clock-everything": ("clock", (1920, 1080), True, True, None),
    # How it grows.
    "typing-720p": ("typing", (1280, 720), False, False, None),
    "typing-1440p": ("typing", (2560, 1440), False, False, None),
    "video-720p": ("video", (1280, 720), False, False, None),
    "video-1440p": ("video", (2560, 1440), False, False, None),
    "clock-2160p": ("clock", (3840, 2160), False, False, None),
    "video-2160p": ("video", (3840, 2160), False, False, None),
}
ORDINARY = ["still", "typing", "terminal", "video", "camera", "everything", "typing-2160p"]


def bit_rate(width, height):
    return int(min(max(width * height * FPS * FACTOR, 2_000_000), 120_000_000))


def processor_seconds(pid):
    """Of all threads of a process so far, in nanosecond steps (CPUCLOCK_SCHED, clock_getcpuclockid(3))."""
    return time.clock_gettime((~pid << 3) | 2)


def thread_seconds(pid):
    """Of each of its threads, by name."""
    seconds = {}
    for folder in pathlib.Path(f"/proc/{pid}/task").iterdir():
        name = (folder / "comm").read_text().strip()
        seconds[name] = seconds.get(name, 0) + int((folder / "schedstat").read_text().split()[0]) / 1e9
    return seconds


def peak_megabytes(pid):
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmHWM:"):
            return int(line.split()[1]) / 1000
    return 0.0


def x_server():
    """The process of this desktop's X server."""
    mark = f"QUILLET_DESKTOP={os.environ['QUILLET_DESKTOP']}".encode()
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if (folder / "comm").read_text().strip() == "Xvfb" and mark in (folder / "environ").read_bytes().split(b"\0"):
                return int(folder.name)
        except OSError:
            continue
    raise RuntimeError("no X server")


def tool(*command, stdin=None):
    return subprocess.run(command, input=stdin, capture_output=True, check=True).stdout


class Workload:
    """The pictures on the screen."""

    def __init__(self, scene, size, folder):
        self.counter = folder / "counter"
        self.counter.unlink(missing_ok=True)
        self.process = subprocess.Popen([WORKLOAD, scene, f"{size[0]}x{size[1]}", "--counter", self.counter],
                                        stdout=subprocess.PIPE, text=True)
        assert self.process.stdout.readline() == "ready\n", "the workload did not start"

    def painted(self):
        return struct.unpack("<Q", self.counter.read_bytes()[:8])[0]

    def time_of(self, number):
        """Seconds on the monotonic clock at which one of the last 4096 pictures was shown."""
        assert self.painted() - number < 4096, "too long ago"
        return struct.unpack_from("<Q", self.counter.read_bytes(), 8 + number % 4096 * 8)[0] / 1e9

    def end(self):
        self.process.kill()
        self.process.wait()


class Window:
    """What is measured between its making and measure()."""

    def __init__(self, server, workload, recorder=None):
        self.server, self.workload, self.recorder = server, workload, recorder
        self.threads = thread_seconds(recorder) if recorder else {}
        self.before = self.now()

    def now(self):
        return (time.monotonic(), processor_seconds(self.server), self.workload.painted(),
                processor_seconds(self.recorder) if self.recorder else 0.0)

    def measure(self):
        seconds, server, painted, recorder = (b - a for a, b in zip(self.before, self.now()))
        threads = thread_seconds(self.recorder) if self.recorder else {}
        return {"seconds": seconds, "server": server, "painted": painted, "recorder": recorder,
                "threads": {name: round((value - self.threads.get(name, 0)) * 60 / seconds, 2)
                            for name, value in threads.items()}}


class Other:
    """ffmpeg's x11grab."""

    name = "x11grab"

    def __init__(self, job, folder):
        self.job, self.folder = job, folder
        self.matrix = "bt601"  # what it makes of RGB when nothing is said
        width, height = job["size"]
        self.inputs = ["-thread_queue_size", "64", "-f", "x11grab", "-framerate", str(FPS), "-draw_mouse", "1",
                       "-video_size", f"{width}x{height}", "-i", os.environ["DISPLAY"],
                       "-f", "lavfi", "-i", "anullsrc=r=48000:cl=stereo"]
        self.graph, picture = "", "0:v"
        if job["camera"]:
            camera, disc = folder / "camera.yuv", folder / "disc.png"
            tool("ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i", "testsrc2=size=1280x720:rate=30:duration=2",
                 "-pix_fmt", "yuyv422", "-f", "rawvideo", camera)
            radius = BUBBLE / 2
            with_alpha, plain, mix = self.formats()
            tool("ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i", f"color=black:size={BUBBLE}x{BUBBLE}", "-vf",
                 f"format=gray,geq=lum='clip(({radius}-hypot(X+0.5-{radius}\\,Y+0.5-{radius}))*255+128\\,0\\,255)'",
                 "-frames:v", "1", disc)
            self.inputs += ["-thread_queue_size", "64", "-re", "-stream_loop", "-1", "-f", "rawvideo", "-pixel_format",
                            "yuyv422", "-video_size", "1280x720", "-framerate", "30", "-i", camera, "-i", disc]
            self.graph += (f"[2:v]hflip,crop=720:720,scale={BUBBLE}:{BUBBLE}:flags=bicubic,format={with_alpha}[face];"
                           f"[face][3:v]alphamerge[circle];[0:v]format={plain}[screen];[screen][circle]overlay="
                           f"{width - BUBBLE_FROM_CORNER}:{height - BUBBLE_FROM_CORNER}{mix}[picture];")
            picture = "picture"
        if job["beautify"]:
            hole, inset = self.frame_with_hole()
            self.inputs += ["-i", hole]
            number = 4 if job["camera"] else 2
            _, plain, mix = self.formats()
            # Of its scalers the one whose result is nearest to ours.
            self.look = (f"scale={inset[2]}:{inset[3]}:flags=bicubic,format={plain},"
                         f"pad={width}:{height}:{inset[0]}:{inset[1]}[small];[small][{{}}:v]overlay=0:0{mix}")
            self.graph += f"[{picture}]{self.look.format(number)}[out]"
            self.hole = hole
            picture = "out"
        self.map = ["-map", f"[{picture}]" if self.graph else "0:v", "-map", "1:a"]
        self.film = folder / "other.mp4"

    def formats(self):
        """Of pictures with and without transparency, and how the graph is told to lay one over the other in them."""
        return ("bgra", "bgra", ":format=rgb") if self.job["rgb"] else ("yuva420p", "yuv420p", "")

    def frame_with_hole(self):
        """The default look's backdrop and shadow, transparent where the screen belongs, and where that is."""
        width, height = self.job["size"]
        size = f"{width}x{height}"
        raw = ["-f", "rawvideo", "-pixel_format", "bgra", "-video_size", size]
        for colour in ("black", "white"):
            (self.folder / colour).write_bytes(tool(WORKLOAD, colour, size, "--render", "0", "--beautified"))
        hole = self.folder / "hole.png"
        tool("ffmpeg", "-loglevel", "error", "-y", *raw, "-i", self.folder / "black", *raw, "-i", self.folder / "white",
             "-filter_complex", "[0]format=gbrp,split[a][b];[1]format=gbrp[w];[a][w]blend=all_mode=difference,format=gray,"
             "negate[mask];[b]format=gbrap[c];[c][mask]alphamerge,format=rgba", "-frames:v", "1", hole)
        # Where a row and a column through the middle turn white.
        data = memoryview((self.folder / "white").read_bytes())
        other = memoryview((self.folder / "black").read_bytes())
        row = [data[(height // 2 * width + x) * 4] != other[(height // 2 * width + x) * 4] for x in range(width)]
        column = [data[(y * width + width // 2) * 4] != other[(y * width + width // 2) * 4] for y in range(height)]
        left, top = row.index(True), column.index(True)
        return hole, (left // 2 * 2, top // 2 * 2, (sum(row) + 1) // 2 * 2, (sum(column) + 1) // 2 * 2)

    def start(self):
        self.film.unlink(missing_ok=True)
        width, height = self.job["size"]
        rate = bit_rate(width, height)
        graph = ["-filter_complex", self.graph.rstrip(";")] if self.graph else []
        self.process = subprocess.Popen(
            ["ffmpeg", "-nostdin", "-loglevel", "error", *self.inputs, *graph, *self.map, "-fps_mode", "passthrough",
             "-c:v", "libx264", "-preset", "superfast", "-profile:v", "high", "-pix_fmt", "yuv420p", "-bf", "0",
             "-g", str(2 * FPS), "-b:v", str(rate), "-c:a", "aac", "-b:a", "192k", "-ar", "48000", "-ac", "2", self.film])
        end = time.monotonic() + 20
        while not (self.film.exists() and self.film.stat().st_size > 0) and time.monotonic() < end:
            time.sleep(0.05)

    @property
    def pid(self):
        return self.process.pid

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        self.process.wait(60)
        return self.film

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def look_of(self, halve_colours):
        """The filters that give pictures this recorder's look, that one of them among them, as inputs and graph."""
        if not self.job["beautify"]:
            return [], halve_colours
        look = self.look.format(1)
        return ["-i", self.hole], f"{look},{halve_colours}" if self.job["rgb"] else f"{halve_colours},{look}"


class Quillet:
    """The program, used through its controls."""

    name = "Quillet"

    def __init__(self, job, folder):
        self.job, self.matrix = job, "bt709"

    def start(self):
        os.environ["QUILLET_PROGRAM"] = str(BUILD / "quillet")
        sys.path.insert(0, str(TREE / "tests" / "program"))
        import a11y
        import outside

        self.outside, self.a11y = outside, a11y
        for film in outside.films():
            film.unlink()
        outside.SETTINGS.parent.mkdir(parents=True, exist_ok=True)
        beautify = "true" if self.job["beautify"] else "false"
        outside.SETTINGS.write_text(f"Quillet.rangeMode=全屏\nQuillet.beautifyEnabled={beautify}\n")
        self.program = outside.Program(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.panel = a11y.Panel(self.program.pid)
        self.mouse = None
        if self.job["camera"]:
            self.panel.press("switch", "摄像头")
            assert outside.eventually(lambda: outside.windows("^摄像头画面$")), "no bubble"
        assert self.panel.is_on("switch", "美化背景") == self.job["beautify"], "the settings were not understood"
        outside.run("xdotool", "mousemove", *(str(side - 1) for side in self.job["size"]))
        if self.job["press"] == "mouse":
            import mouse

            self.mouse = mouse.Mouse()
        self.pressed = self.press(START)
        if self.job["promptness"]:
            time.sleep(0.5)  # who looks for a label now keeps the program from starting
        self.status = self.panel.await_("label", RECORDING)

    @property
    def pid(self):
        return self.program.pid

    def press(self, name):
        """Presses the button of that name, and says when."""
        if self.mouse:
            return self.mouse.click(*self.outside.centre(self.panel.place("button", name)))
        button = self.panel.await_("button", name)
        pressed = time.monotonic()
        # The accessible itself implements the interface, as its class.
        assert self.a11y.Atspi.Action.do_action(button, 0)
        return pressed

    def stop(self):
        pressed = self.press(STOP)
        while "已保存" not in self.label_text():
            assert time.monotonic() < pressed + 60, self.label_text()
            time.sleep(0.001)
        self.saving = time.monotonic() - pressed
        return self.outside.films()[0]

    def label_text(self):
        self.status.clear_cache()
        return self.status.get_name()

    def end(self):
        self.program.end()

    def look_of(self, halve_colours):
        return [], halve_colours


class Film:
    """What is in a recording."""

    def __init__(self, path, job):
        self.path, self.job = path, job
        words = tool("ffprobe", "-v", "error", "-select_streams", "v", "-count_packets", "-show_entries",
                     "stream=profile,has_b_frames,nb_read_packets,width,height:format=duration", "-of", "json", path)
        found = json.loads(words)
        self.duration = float(found["format"]["duration"])
        stream = found["streams"][0]
        assert stream["profile"] == "High" and stream["has_b_frames"] == 0, stream
        assert [stream["width"], stream["height"]] == list(job["size"]), stream
        self.pictures = int(stream["nb_read_packets"])
        self.numbers = self.read_stamps(path, job) or [None] * self.pictures

    @staticmethod
    def read_stamps(path, job, *which):
        """The number that stands in each picture, or in `which` (of ffmpeg's options); nothing where there is none."""
        x, y, square, bits, _ = (int(word) for word in
                                 tool(WORKLOAD, job["scene"], "x".join(map(str, job["size"])), "--stamp").split())
        if not square:
            return []
        width, height = job["size"]
        scale, left, top = 1.0, 0.0, 0.0
        if job["beautify"]:
            scale = 1 - 2 * 0.06  # the default padding, of the shorter side
            left, top = width * (1 - scale) / 2, height * (1 - scale) / 2
        x0, y0 = int(left + x * scale) // 2 * 2, int(top + y * scale) // 2 * 2
        w, h = int(bits * square * scale) + 8, int(square * scale) + 4
        data = tool("ffmpeg", "-loglevel", "error", "-i", path, *which, "-vf",
                    f"crop={w // 2 * 2}:{h // 2 * 2}:{x0}:{y0},extractplanes=y", "-fps_mode", "passthrough", "-f",
                    "rawvideo", "-")
        w, h = w // 2 * 2, h // 2 * 2
        middles = [(int(left + (x + (bit + 0.5) * square) * scale) - x0, int(top + (y + square / 2) * scale) - y0)
                   for bit in range(bits)]
        numbers = []
        for start in range(0, len(data), w * h):
            number = 0
            for column, row in middles:
                number = number * 2 + (data[start + row * w + column] > 126)
            numbers.append(number)
        return numbers

    def missing(self):
        """Of the pictures that were painted between the film's first and its last, the share that it does not have."""
        seen = set(self.numbers)
        if None in seen:
            return 0.0
        return 1 - len(seen) / (max(seen) - min(seen) + 1)

    def likeness(self, recorder, folder, count=24):
        """SSIM of the luma of some pictures against their source, the median."""
        # Not the first ones, in which rate control finds its way.
        places = sorted({self.pictures * (3 + i) // (count + 3) for i in range(count)})
        choice = "+".join(f"eq(n\\,{place})" for place in places)
        width, height = self.job["size"]
        # The camera's pictures are its own.
        area = f"crop={width - BUBBLE_FROM_CORNER - 50 if self.job['camera'] else width}:{height}:0:0"
        gray = f"extractplanes=y,{area}"
        film = tool("ffmpeg", "-loglevel", "error", "-i", self.path, "-vf", f"select='{choice}',{gray}", "-fps_mode",
                    "passthrough", "-f", "rawvideo", "-")
        shown = [self.numbers[place] or 0 for place in places]
        own_look = ["--beautified"] if self.job["beautify"] and recorder.name == "Quillet" else []
        raw = tool(WORKLOAD, self.job["scene"], f"{width}x{height}", "--render", ",".join(map(str, shown)), *own_look)
        inputs, graph = recorder.look_of(f"scale=flags=accurate_rnd+full_chroma_int:out_color_matrix={recorder.matrix}:"
                                         "out_range=tv,format=yuv420p")
        source = tool("ffmpeg", "-loglevel", "error", "-f", "rawvideo", "-pixel_format", "bgra", "-video_size",
                      f"{width}x{height}", "-i", "-", *inputs, "-filter_complex",
                      f"[0]{graph},{gray}[out]", "-map", "[out]", "-f", "rawvideo", "-", stdin=raw)
        (folder / "film.gray").write_bytes(film)
        (folder / "source.gray").write_bytes(source)
        assert len(film) == len(source), (len(film), len(source), places)
        size = f"{int(area.split('=')[1].split(':')[0])}x{height}"
        each = ["-f", "rawvideo", "-pixel_format", "gray", "-video_size", size]
        words = tool("ffmpeg", "-loglevel", "error", *each, "-i", folder / "film.gray", *each, "-i", folder / "source.gray",
                     "-lavfi", "ssim=stats_file=-", "-f", "null", "-").decode()
        values = [float(word[4:]) for word in words.split() if word.startswith("All:")]
        assert len(values) == len(places)
        return statistics.median(values)


def inside(job):
    """On the desktop: one workload, all runs; a line of JSON for each."""
    folder = pathlib.Path(os.environ["QUILLET_DESKTOP"]) / "road"
    folder.mkdir()
    server = x_server()
    tool("xdotool", "mousemove", *(str(side - 1) for side in job["size"]))
    workload = Workload(job["scene"], job["size"], folder)
    recorders = [kind(job, folder) for kind in (Other, Quillet) if not job["only"] or kind.name == job["only"]]
    try:
        time.sleep(0.5)
        window = Window(server, workload)
        time.sleep(min(job["seconds"], 5))
        alone = window.measure()
        own = alone["server"] / max(alone["painted"], 1)  # for each picture
        for run in range(job["runs"]):
            for recorder in recorders:
                recorder.start()
                time.sleep(SETTLE)
                window = Window(server, workload, recorder.pid)
                time.sleep(job["seconds"])
                measured = window.measure()
                peak = peak_megabytes(recorder.pid)
                path = recorder.stop()
                recorder.end()
                # Painted anew where the recorder's windows were.
                workload.end()
                workload = Workload(job["scene"], job["size"], folder)
                film = Film(path, job)
                per_minute = 60 / measured["seconds"]
                result = {
                    "workload": job["name"], "recorder": recorder.name, "run": run,
                    "cpu": (measured["recorder"] + measured["server"] - own * measured["painted"]) * per_minute,
                    "recorderCpu": measured["recorder"] * per_minute,
                    "threads": measured["threads"],
                    "pictures": film.pictures / film.duration,
                    "missing": film.missing() * 100,
                    "megabytes": path.stat().st_size / 1e6 * 60 / film.duration,
                    "peak": peak,
                    "ssim": film.likeness(recorder, folder),
                    "paintedRate": measured["painted"] / measured["seconds"],
                    "ownShare": own * measured["painted"] * per_minute,
                }
                print(json.dumps(result), flush=True)
                if job["keep"]:
                    pathlib.Path(job["keep"]).mkdir(parents=True, exist_ok=True)
                    kept = pathlib.Path(job["keep"]) / f"{job['name']}-{recorder.name}-{run}.mp4"
                    kept.write_bytes(path.read_bytes())
    finally:
        for recorder in recorders:
            recorder.end()
        workload.end()


def promptness_inside(job):
    """On the desktop: films, and for each a line of JSON that says how promptly it began and ended."""
    folder = pathlib.Path(os.environ["QUILLET_DESKTOP"]) / "road"
    folder.mkdir()
    workload = Workload(job["scene"], job["size"], folder)
    recorder = Quillet(job, folder)
    try:
        for _ in range(job["runs"]):
            recorder.start()
            time.sleep(1)
            times = {number: workload.time_of(number) for number in range(workload.painted() - 200, workload.painted())}
            time.sleep(job["seconds"] - 1)
            path = recorder.stop()
            recorder.end()
            first = Film.read_stamps(path, job, "-frames:v", "1")[0]
            print(json.dumps({"workload": job["name"], "begin": times[first] - recorder.pressed, "end": recorder.saving}),
                  flush=True)
    finally:
        recorder.end()
        workload.end()


def distribution(values):
    values = sorted(values)
    return (f"least {values[0] * 1000:.0f}, median {statistics.median(values) * 1000:.0f}, "
            f"greatest {values[-1] * 1000:.0f} ms of {len(values)}")


def middle(values, digits):
    values = list(values)
    return f"{statistics.median(values):.{digits}f} ±{(max(values) - min(values)) / 2:.{digits}f}"


def per_minute(runs):
    return statistics.median(run["cpu"] for run in runs)


def per_picture(runs):
    return statistics.median(run["cpu"] / 0.06 / run["pictures"] for run in runs)


def table(results):
    print(f"{'workload':<15}{'recorder':<9}{'s/min':>14}{'ms/pic':>9}{'ratio':>8}{'each':>8}{'aim':>6}{'pictures/s':>14}"
          f"{'missing %':>13}{'MB/min':>15}{'peak MB':>10}{'SSIM':>18}")
    for name in WORKLOADS:
        rows = {kind: [r for r in results if r["workload"] == name and r["recorder"] == kind]
                for kind in ("x11grab", "Quillet")}
        for kind, runs in rows.items():
            if not runs:
                continue
            ratios, aim = ["", ""], ""
            if kind == "Quillet" and rows["x11grab"]:
                ratios = [f"{cost(runs) / cost(rows['x11grab']):.3f}" for cost in (per_minute, per_picture)]
                aim = WORKLOADS[name][4] or ""
            print(f"{name:<15}{kind:<9}{middle((r['cpu'] for r in runs), 2):>14}{per_picture(runs):>9.1f}"
                  f"{ratios[0]:>8}{ratios[1]:>8}{aim:>6}"
                  f"{middle((r['pictures'] for r in runs), 1):>14}{middle((r['missing'] for r in runs), 1):>13}"
                  f"{middle((r['megabytes'] for r in runs), 1):>15}{statistics.median(r['peak'] for r in runs):>10.0f}"
                  f"{middle((r['ssim'] for r in runs), 4):>18}")


def main():
    if len(sys.argv) == 3 and sys.argv[1] == "--inside":
        job = json.loads(sys.argv[2])
        (promptness_inside if job["promptness"] else inside)(job)
        return
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("workloads", nargs="*", help=f"of {', '.join(WORKLOADS)}; {', '.join(ORDINARY)} if none is given")
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--seconds", type=float, help="of each run that are measured: 10; of films: 60")
    parser.add_argument("--promptness", action="store_true", help="how soon films begin and are saved, nothing else")
    parser.add_argument("--press", choices=["mouse", "bus"], default="mouse", help="with --promptness: by what")
    parser.add_argument("--only", choices=["x11grab", "Quillet"])
    parser.add_argument("--results", type=pathlib.Path, help="adds a line of JSON for each run to this file")
    parser.add_argument("--keep", type=pathlib.Path, help="copies the films there")
    parser.add_argument("--table", type=pathlib.Path, nargs="+", help="only prints the table of these results")
    options = parser.parse_args()
    if options.table:
        table([json.loads(line) for path in options.table for line in path.read_text().splitlines()])
        return
    if unknown := set(options.workloads) - set(WORKLOADS):
        parser.error(f"unknown workload {', '.join(unknown)}")
    results = []
    for name in options.workloads or (["clock"] if options.promptness else ORDINARY):
        scene, size, camera, beautify, _ = WORKLOADS[name]
        job = {"name": name, "scene": scene, "size": size, "camera": camera, "beautify": beautify,
               "rgb": name.endswith("-rgb"),
               "runs": options.runs, "seconds": options.seconds or (60 if options.promptness else 10),
               "only": options.only, "promptness": options.promptness,
               "press": options.press if options.promptness else "bus",
               "keep": str(options.keep.resolve()) if options.keep else None}
        command = [TREE / "tests" / "desktop" / "desktop", "--size", f"{size[0]}x{size[1]}"]
        if camera:
            command += ["--camera", f"{BUILD / 'camera'} --offer yuy2:1280x720@30"]
        # The system's own Python, which has the accessibility bus.
        process = subprocess.Popen([*command, "--", "/usr/bin/python3", "-B", __file__, "--inside", json.dumps(job)],
                                   stdout=subprocess.PIPE, text=True)
        for line in process.stdout:
            results.append(json.loads(line))
            if options.results:
                with options.results.open("a") as file:
                    file.write(line)
        if process.wait() != 0:
            sys.exit(f"road: {name} failed")
    if options.promptness:
        for name in dict.fromkeys(r["workload"] for r in results):
            rows = [r for r in results if r["workload"] == name]
            print(f"{name}: press to first picture: {distribution(r['begin'] for r in rows)}")
            print(f"{name}: press to saved:         {distribution(r['end'] for r in rows)}")
    else:
        table(results)


if __name__ == "__main__":
    main()
