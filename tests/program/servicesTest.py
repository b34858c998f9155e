#!/usr/bin/env python3
"""servicesTest: what the program asks of the desktop's services: the file manager, the screen saver, the sleep lock. The
services are made up here, on the private session bus, which stands in for the system's as well.
"""
import os
import pathlib
import signal
import stat
import threading
import time
import unittest

import gi

gi.require_version("Gio", "2.0")
gi.require_version("GLib", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from a11y import Panel  # noqa: E402
from outside import Case, DESKTOP, colours_at, films, geometry, is_finished  # noqa: E402

INTERFACES = """<node>
<interface name="org.freedesktop.FileManager1"><method name="ShowItems"><arg type="as" direction="in"/>
  <arg type="s" direction="in"/></method></interface>
<interface name="org.freedesktop.ScreenSaver"><method name="Inhibit"><arg type="s" direction="in"/>
  <arg type="s" direction="in"/><arg type="u" direction="out"/></method>
  <method name="UnInhibit"><arg type="u" direction="in"/></method></interface>
<interface name="org.freedesktop.login1.Manager"><method name="Inhibit"><arg type="s" direction="in"/>
  <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
  <arg type="h" direction="out"/></method></interface>
<interface name="org.freedesktop.portal.Inhibit"><method name="Inhibit"><arg type="s" direction="in"/>
  <arg type="u" direction="in"/><arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method></interface>
<interface name="org.freedesktop.portal.Settings"><method name="ReadAll"><arg type="as" direction="in"/>
  <arg type="a{sa{sv}}" direction="out"/></method></interface>
<interface name="org.freedesktop.portal.Request"><method name="Close"/></interface></node>"""
PATHS = {
    "org.freedesktop.FileManager1": "/org/freedesktop/FileManager1",
    "org.freedesktop.ScreenSaver": "/org/freedesktop/ScreenSaver",
    "org.freedesktop.login1": "/org/freedesktop/login1",
    "org.freedesktop.portal.Desktop": "/org/freedesktop/portal/desktop",
}
APPEARANCE = "org.freedesktop.appearance"
REQUEST = "/org/freedesktop/portal/desktop/request/1"


class Services:
    """Services with these names, until close(). `calls` lists (method, arguments); a silent service never answers."""

    def __init__(self, *names, silent=False):
        self.calls, self.silent, self.lock_reader, self.appearance = [], silent, None, {}
        self.connection = Gio.DBusConnection.new_for_address_sync(
            os.environ["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
        for interface in Gio.DBusNodeInfo.new_for_xml(INTERFACES).interfaces:
            for name, path in [*PATHS.items(), ("", REQUEST)]:
                matches = interface.name.startswith(name.removesuffix("Desktop")) if name else "Request" in interface.name
                if matches:
                    self.connection.register_object(path, interface, self.answer, None, None)
        for name in names:
            reply = self.connection.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                              "RequestName", GLib.Variant("(su)", (name, 4)), None, 0, -1, None)
            assert reply.unpack() == (1,), f"somebody else is {name}"

    def answer(self, connection, sender, path, interface, method, arguments, invocation):
        self.calls.append((interface.split(".")[2] + "." + method, arguments.unpack()))
        if self.silent:
            return
        if interface == "org.freedesktop.login1.Manager":
            self.lock_reader, writer = os.pipe()
            descriptors = Gio.UnixFDList.new_from_array([writer])  # which owns it now
            invocation.return_value_with_unix_fd_list(GLib.Variant("(h)", (0,)), descriptors)
        elif interface == "org.freedesktop.ScreenSaver" and method == "Inhibit":
            invocation.return_value(GLib.Variant("(u)", (77,)))
        elif interface == "org.freedesktop.portal.Inhibit":
            invocation.return_value(GLib.Variant("(o)", (REQUEST,)))
        elif interface == "org.freedesktop.portal.Settings":
            invocation.return_value(GLib.Variant("(a{sa{sv}})", ({APPEARANCE: self.appearance},)))
        else:
            invocation.return_value(None)

    def called(self, method):
        return [arguments for name, arguments in self.calls if name == method]

    def set_appearance(self, **settings):
        """Underscores stand for hyphens. Tells of each change."""
        self.appearance = {key.replace("_", "-"): value for key, value in settings.items()}
        for key, value in self.appearance.items():
            self.connection.emit_signal(None, PATHS["org.freedesktop.portal.Desktop"], "org.freedesktop.portal.Settings",
                                        "SettingChanged", GLib.Variant("(ssv)", (APPEARANCE, key, value)))

    def lock_is_held(self):
        """Whether somebody still holds the descriptor that was handed out."""
        os.set_blocking(self.lock_reader, False)
        try:
            return os.read(self.lock_reader, 1) != b""
        except BlockingIOError:
            return True

    def close(self):
        self.connection.close_sync(None)


class ServicesCase(Case):
    @classmethod
    def setUpClass(cls):
        cls.loop = GLib.MainLoop()
        threading.Thread(target=cls.loop.run, daemon=True).start()

    def setUp(self):
        super().setUp()
        self.opened = pathlib.Path(os.environ["QUILLET_DESKTOP"]) / "opened"
        self.opened.unlink(missing_ok=True)
        # Whatever would open a folder only says so.
        self.tools = pathlib.Path(os.environ["QUILLET_DESKTOP"]) / "tools"
        self.tools.mkdir(exist_ok=True)
        opener = self.tools / "xdg-open"
        opener.write_text(f'#!/bin/sh\necho "$@" >>{self.opened}\n')
        opener.chmod(opener.stat().st_mode | stat.S_IXUSR)
        self.services = []

    def tearDown(self):
        super().tearDown()
        for services in self.services:
            services.close()

    def offer(self, *names, **options):
        self.services.append(Services(*names, **options))
        return self.services[-1]

    def start_with_bus(self):
        self.program, window = self.start(DBUS_SYSTEM_BUS_ADDRESS=os.environ["DBUS_SESSION_BUS_ADDRESS"],
                          QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", PATH=f"{self.tools}:{os.environ['PATH']}")
        return self.program, window

    def record(self, window):
        self.press_key(window, "space")
        Panel(self.program.pid).await_("label", "● 录制中…  点击停止结束。")

    def stop(self, window):
        self.press_key(window, "space")
        self.until(lambda: films() and is_finished(films()[0]), "the film was not finished")


class FileManager(ServicesCase):
    def test_showsTheFile(self):
        services = self.offer("org.freedesktop.FileManager1")
        _, window = self.start_with_bus()
        self.record(window)
        self.stop(window)
        shown = self.until(lambda: services.called("FileManager1.ShowItems"), "nothing was shown")
        self.assertEqual(shown, [([films()[0].as_uri()], "")])
        self.assertFalse(self.opened.exists())

    def test_withoutOneTheFolderIsOpened(self):
        _, window = self.start_with_bus()
        self.record(window)
        self.stop(window)
        self.until(self.opened.exists, "nothing was opened")
        self.assertIn(str(DESKTOP), self.opened.read_text())

    def test_oneThatDoesNotAnswerHoldsNothingUp(self):
        services = self.offer("org.freedesktop.FileManager1", "org.freedesktop.ScreenSaver", "org.freedesktop.login1",
                              silent=True)
        program, window = self.start_with_bus()
        self.record(window)
        self.stop(window)
        self.until(lambda: services.called("FileManager1.ShowItems"), "it was not asked")
        self.press_key(window, "space")
        self.until(lambda: len(films()) == 2, "the next recording does not begin")
        begin = time.monotonic()
        self.press_key(window, "alt+F4")
        self.assertEqual(program.wait(), 0)
        self.assertLess(time.monotonic() - begin, 4)


class Sleep(ServicesCase):
    def test_isKeptAwayWhileRecordingOnly(self):
        services = self.offer("org.freedesktop.ScreenSaver", "org.freedesktop.login1")
        _, window = self.start_with_bus()
        self.assertEqual(services.calls, [])
        self.record(window)
        self.until(lambda: len(services.calls) == 2, "not asked")
        ((what, who, why, mode),) = services.called("login1.Inhibit")
        self.assertEqual((what, who, mode), ("sleep:idle", "Quillet", "block"))
        self.assertTrue(why)
        self.assertEqual([who for who, _ in services.called("ScreenSaver.Inhibit")], ["org.quillet.Quillet"])
        self.assertTrue(services.lock_is_held())
        self.stop(window)
        self.until(lambda: services.called("ScreenSaver.UnInhibit") == [(77,)], "the screen saver stays off")
        self.until(lambda: not services.lock_is_held(), "the sleep lock stays")

    def test_theDesktopPortalServesWhereThereIsNoScreenSaver(self):
        services = self.offer("org.freedesktop.portal.Desktop")
        _, window = self.start_with_bus()
        self.record(window)
        ((_, flags, options),) = self.until(lambda: services.called("portal.Inhibit"), "not asked")
        self.assertEqual(flags, 4 | 8)
        self.assertTrue(options["reason"])
        self.stop(window)
        self.until(lambda: services.called("portal.Close"), "not taken back")

    def test_endsWithAKilledProgram(self):
        services = self.offer("org.freedesktop.login1")
        program, window = self.start_with_bus()
        self.record(window)
        self.until(lambda: services.called("login1.Inhibit"), "not asked")
        time.sleep(0.2)
        program.signal(signal.SIGKILL)
        self.until(lambda: not services.lock_is_held(), "the lock outlives the program")


DARK, LIGHT = GLib.Variant("u", 1), GLib.Variant("u", 2)


class Appearance(ServicesCase):
    def shows(self, window, ground, button):
        """Whether the control window stands there on this ground, with a record button of this colour."""
        x, y, width, height = geometry(window)
        colours = set(colours_at(x, y, width, height))
        return {ground, button} <= colours

    def test_followsTheDesktopWhileItRuns(self):
        portal = self.offer("org.freedesktop.portal.Desktop")
        portal.set_appearance(color_scheme=DARK)
        _, window = self.start_with_bus()
        self.until(lambda: self.shows(window, (36, 36, 39), (0, 122, 255)), "it is not dark")
        green = GLib.Variant("(ddd)", (58 / 255, 148 / 255, 74 / 255))
        portal.set_appearance(color_scheme=LIGHT, accent_color=green)
        self.until(lambda: self.shows(window, (246, 246, 247), (58, 148, 74)), "it is not light and green")
        portal.set_appearance(color_scheme=DARK, accent_color=GLib.Variant("(ddd)", (-1, -1, -1)))
        self.until(lambda: self.shows(window, (36, 36, 39), (0, 122, 255)), "it is not dark and blue")

    def test_aPortalThatDoesNotAnswerHoldsNothingUp(self):
        self.offer("org.freedesktop.portal.Desktop", silent=True)
        _, window = self.start_with_bus()
        self.until(lambda: self.shows(window, (246, 246, 247), (0, 122, 255)), "it is not light and blue", 10)


class DesktopFolder(ServicesCase):
    def test_aMissingOneIsMade(self):
        DESKTOP.rmdir()
        _, window = self.start_with_bus()
        self.record(window)
        self.stop(window)

    def test_oneThatCannotBeMadeIsSaid(self):
        DESKTOP.rmdir()
        DESKTOP.write_text("in its place")
        try:
            program, window = self.start_with_bus()
            self.press_key(window, "space")
            Panel(program.pid).await_("label", "无法创建录制会话。")
            self.assertTrue(program.is_running())
            self.assertEqual(DESKTOP.read_text(), "in its place")
        finally:
            DESKTOP.unlink()


if __name__ == "__main__":
    unittest.main(verbosity=2)
