"""filmed: pictures of the screen and of films, coarse enough that an encoder changes nothing, fine enough to see a window."""
import os
import subprocess

# Pictures are compared in squares of this many pixels, as the mean brightness of each.
SQUARE = 10


class Picture:
    """The mean brightness of each square of a picture of that size in pixels."""

    def __init__(self, data, size):
        self.columns, self.data = size[0] // SQUARE, data
        assert len(data) == self.columns * (size[1] // SQUARE), (len(data), size)

    def different(self, other, limit=10):
        """The squares (x, y) whose brightness differs by more than that."""
        return {(index % self.columns, index // self.columns) for index, pair in enumerate(zip(self.data, other.data))
                if abs(pair[0] - pair[1]) > limit}


def ffmpeg(*arguments):
    return subprocess.run(["ffmpeg", "-loglevel", "error", *arguments, "-f", "rawvideo", "-"], capture_output=True,
                          check=True, timeout=60).stdout


def grab(rect):
    x, y, width, height = rect
    return ["-f", "x11grab", "-draw_mouse", "0", "-video_size", f"{width}x{height}", "-i",
            f"{os.environ['DISPLAY']}+{x},{y}", "-frames:v", "1"]


def screen_picture(rect):
    """What stands in that part of the screen now."""
    scale = f"scale={rect[2] // SQUARE}:{rect[3] // SQUARE}:flags=area,format=gray"
    return Picture(ffmpeg(*grab(rect), "-vf", scale), rect[2:])


def pictures_of_film(film, size, part=None):
    """Every picture of the film, or that part (x, y, width, height) of each, as pictures of that size."""
    x, y, width, height = part or (0, 0, *size)
    columns, rows = size[0] // SQUARE, size[1] // SQUARE
    data = ffmpeg("-i", str(film), "-vf", f"crop={width}:{height}:{x}:{y},scale={columns}:{rows}:flags=area,format=gray",
                  "-fps_mode", "passthrough")
    return [Picture(data[start : start + columns * rows], size) for start in range(0, len(data), columns * rows)]


def edge_colours(data, width, height, inset):
    """The colours (red, green, blue) in the middle of each edge of a picture, that many pixels inside it."""
    def at(x, y):
        return tuple(data[(y * width + x) * 3 : (y * width + x) * 3 + 3])

    return {"left": at(inset, height // 2), "right": at(width - 1 - inset, height // 2),
            "top": at(width // 2, inset), "bottom": at(width // 2, height - 1 - inset)}


def edge_colours_on_screen(rect, inset):
    return edge_colours(ffmpeg(*grab(rect), "-pix_fmt", "rgb24"), *rect[2:], inset)


def edge_colours_of_film(film, size, inset):
    """Those of its first picture."""
    return edge_colours(ffmpeg("-i", str(film), "-frames:v", "1", "-pix_fmt", "rgb24"), *size, inset)
