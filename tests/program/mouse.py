"""mouse: the desktop's mouse as tests of promptness need it: a button goes down or up at a known moment, without the
time in which a command like xdotool starts.
"""
import ctypes
import time

LEFT = 1
# How long a person's finger stays down, about.
CLICK_SECONDS = 0.08


class Mouse:
    """Through the server's XTEST extension, by the library that xdotool is made of."""

    def __init__(self):
        self.library = ctypes.CDLL("libxdo.so.3")
        self.library.xdo_new.restype = ctypes.c_void_p
        handle = self.library.xdo_new(None)
        assert handle, "no display"
        self.handle = ctypes.c_void_p(handle)

    def move(self, x, y):
        """To that pixel of the screen; the pointer is there when this returns."""
        self.library.xdo_move_mouse(self.handle, x, y, 0)
        found = ctypes.c_int(-1), ctypes.c_int(-1), ctypes.c_int()
        end = time.monotonic() + 20
        while (found[0].value, found[1].value) != (x, y) and time.monotonic() < end:
            self.library.xdo_get_mouse_location(self.handle, *(ctypes.byref(value) for value in found))
        assert (found[0].value, found[1].value) == (x, y), "the pointer does not move"

    def click(self, x, y):
        """Clicks there. Says when the button was let go, which is when a control acts, on the monotonic clock."""
        self.move(x, y)
        window = ctypes.c_ulong(0)  # whichever is beneath the pointer
        self.library.xdo_mouse_down(self.handle, window, LEFT)
        time.sleep(CLICK_SECONDS)
        released = time.monotonic()
        self.library.xdo_mouse_up(self.handle, window, LEFT)
        return released
