"""xresources: what the X server keeps for each of its clients, by the X-Resource extension."""
import collections
import ctypes


class _Client(ctypes.Structure):
    _fields_ = [("base", ctypes.c_ulong), ("mask", ctypes.c_ulong)]


class _Type(ctypes.Structure):
    _fields_ = [("name", ctypes.c_ulong), ("count", ctypes.c_uint)]


_x11 = ctypes.CDLL("libX11.so.6")
_res = ctypes.CDLL("libXRes.so.1")
_x11.XOpenDisplay.restype = ctypes.c_void_p
_x11.XGetAtomName.restype = ctypes.c_void_p


class Server:
    """A connection of the test's own to the display."""

    def __init__(self):
        self.display = ctypes.c_void_p(_x11.XOpenDisplay(None))
        assert self.display, "no display"

    def close(self):
        _x11.XCloseDisplay(self.display)

    def clients(self):
        """Each client's number (the beginning of its identifiers)."""
        count, array = ctypes.c_int(), ctypes.POINTER(_Client)()
        assert _res.XResQueryClients(self.display, ctypes.byref(count), ctypes.byref(array))
        numbers = {array[i].base for i in range(count.value)}
        _x11.XFree(array)
        return numbers

    def resources(self, client):
        """How many of each kind a client has, and the bytes of its pixmaps; nothing for one that has gone."""
        if client not in self.clients():
            return collections.Counter()
        count, array = ctypes.c_int(), ctypes.POINTER(_Type)()
        _res.XResQueryClientResources(self.display, ctypes.c_ulong(client), ctypes.byref(count), ctypes.byref(array))
        result = collections.Counter()
        for i in range(count.value):
            name = _x11.XGetAtomName(self.display, ctypes.c_ulong(array[i].name))
            result[ctypes.string_at(name).decode()] += array[i].count
            _x11.XFree(ctypes.c_void_p(name))
        if count.value:
            _x11.XFree(array)
        size = ctypes.c_ulong()
        _res.XResQueryClientPixmapBytes(self.display, ctypes.c_ulong(client), ctypes.byref(size))
        result["bytes of pixmaps"] = size.value
        return result
