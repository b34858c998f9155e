"""a11y: the program's controls as a screen reader finds them: by what they are and what they are called."""
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

import outside  # noqa: E402

ROLES = {
    "button": {Atspi.Role.PUSH_BUTTON, Atspi.Role.TOGGLE_BUTTON, Atspi.Role.RADIO_BUTTON},
    "switch": {Atspi.Role.CHECK_BOX, Atspi.Role.TOGGLE_BUTTON},
    "slider": {Atspi.Role.SLIDER},
    "picker": {Atspi.Role.COMBO_BOX},
    "item": {Atspi.Role.LIST_ITEM},
    "label": {Atspi.Role.LABEL},
    "window": {Atspi.Role.FRAME, Atspi.Role.WINDOW},
    "text": {Atspi.Role.TEXT},
}


def application(pid):
    """The program of that process, once it has said hello."""
    desktop = Atspi.get_desktop(0)
    for number in range(desktop.get_child_count()):
        child = desktop.get_child_at_index(number)
        if child and child.get_process_id() == pid:
            return child
    return None


def everything(node):
    """The node and all below it."""
    node.clear_cache()
    yield node
    for number in range(node.get_child_count()):
        child = node.get_child_at_index(number)
        if child:
            yield from everything(child)


def is_showing(node):
    states = node.get_state_set()
    return states.contains(Atspi.StateType.SHOWING) and states.contains(Atspi.StateType.VISIBLE)


class Panel:
    """The controls of one running program."""

    def __init__(self, pid):
        self.program = outside.eventually(lambda: application(pid))
        assert self.program, "the program is not on the accessibility bus"

    def all(self, kind):
        return [node for node in everything(self.program) if node.get_role() in ROLES[kind] and is_showing(node)]

    def names(self, kind):
        return [node.get_name() for node in self.all(kind)]

    def find(self, kind, name):
        """The shown control of that name, or None."""
        return next((node for node in self.all(kind) if node.get_name() == name), None)

    def await_(self, kind, name):
        node = outside.eventually(lambda: self.find(kind, name))
        assert node, f"no {kind} {name!r} among {self.names(kind)}"
        return node

    def status(self, beginning):
        """The label that begins so, as it is now; None when there is none."""
        return next((name for name in self.names("label") if name.startswith(beginning)), None)

    def press(self, kind, name):
        # The accessible itself implements the interface, as its class.
        assert Atspi.Action.do_action(self.await_(kind, name), 0), name

    def place(self, kind, name):
        """x, y, width, height on the screen."""
        extents = Atspi.Component.get_extents(self.await_(kind, name), Atspi.CoordType.SCREEN)
        return extents.x, extents.y, extents.width, extents.height

    @staticmethod
    def text_of(node):
        return Atspi.Text.get_text(node, 0, -1)

    @staticmethod
    def write(node, text):
        assert Atspi.EditableText.set_text_contents(node, text)

    def answer_seconds(self):
        """How long the program's main thread takes to answer one small question."""
        begin = time.monotonic()
        assert Atspi.Component.get_extents(self.program.get_child_at_index(0), Atspi.CoordType.SCREEN)
        return time.monotonic() - begin

    def is_on(self, kind, name):
        node = self.await_(kind, name)
        node.clear_cache()
        return node.get_state_set().contains(Atspi.StateType.CHECKED)

    def is_enabled(self, kind, name):
        node = self.await_(kind, name)
        node.clear_cache()
        return node.get_state_set().contains(Atspi.StateType.ENABLED)
