"""A control of the program, as accessibility tells of it."""
from gi.repository import GLib

ACCESSIBLE = "org.a11y.atspi.Accessible"
PROPERTIES = "org.freedesktop.DBus.Properties"
STATES = {"active": 1, "checked": 4, "enabled": 8, "focusable": 11, "focused": 12, "showing": 25}


class Widget:
    """A control as it was seen."""

    def __init__(self, name_on_bus, path, parent):
        self.owner, self.path, self.parent, self.children = name_on_bus, path, parent, []
        self.role, self.name, self.states, self.rect = "", "", frozenset(), (0, 0, 0, 0)
        self.child_ids = []

    def questions(self):
        ask = (self.owner, self.path)
        return [(*ask, PROPERTIES, "Get", GLib.Variant("(ss)", (ACCESSIBLE, "Name"))),
                (*ask, ACCESSIBLE, "GetRoleName", None), (*ask, ACCESSIBLE, "GetState", None),
                (*ask, "org.a11y.atspi.Component", "GetExtents", GLib.Variant("(u)", (0,))),
                (*ask, ACCESSIBLE, "GetChildren", None)]

    def understand(self, answers):
        self.name, self.role, words, self.rect, self.child_ids = answers
        bits = words[0] | words[1] << 32
        self.states = frozenset(s for s, bit in STATES.items() if bits >> bit & 1)

    def window(self):
        return self.parent.window() if self.parent else self

    def walk(self):
        yield self
        for child in self.children:
            yield from child.walk()

    def __repr__(self):
        grey = "" if "enabled" in self.states else " (grey)"
        return f"{self.role} {self.name!r}{grey}"


def is_inside(widget, container):
    wanted, parent = getattr(container, "path", container), widget.parent
    while parent:
        if parent.role != "combo box" and wanted in (parent.path, parent.name):
            return True
        parent = parent.parent
    return False


def is_beside(widget, other):
    (x, y, _, height), (ox, oy, width, oheight) = widget.rect, other.rect
    return x >= ox + width and y < oy + oheight and oy < y + height
