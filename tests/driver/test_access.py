#!/usr/bin/python3
"""Meets the real window as a screen reader and a keyboard without a mouse do.

    test_access.py PROGRAM

Prints a line for each page; exit code 0 means that all controls have a name and an explanation,
that Tab walks them in the order in which they are read, and that keys alone record a trace.
"""
import functools
import os
import re
import sys
import tempfile

from gi.repository import GLib

from driver import Desktop, DriverError
from recordpage import RecordPage
from widget import ACCESSIBLE, PROPERTIES, is_beside

LABEL_FOR, LABELLED_BY = 1, 2
TAB_BAR = "page tab list"
# page, groups that are checked first
PAGES = [("Burn Flash", ()), ("Record", ()), ("Record", ("EXL Trigger", "PXTS Trigger"))]
# control, keys that are pressed on it
OPTIONS = [("Path of the record file", "k e y s"), ("XCPU", "space"), ("EXL Trigger", "space"),
           ("End Address (0x)", "1 f"), ("PXTS Trigger", "space"), ("Standard", "space"),
           ("Custom Tag (0x) ", "space"), ("Custom tag in hexadecimal", "a"),
           ("In the file on the fly", "space")]


def by_eye(a, b):
    """Rows from top to bottom, each from left to right."""
    (ax, ay, _, aheight), (bx, by, _, bheight) = a.rect, b.rect
    return ay - by if ay + aheight <= by or by + bheight <= ay else ax - bx


def controls(widget):
    """What takes the keyboard, in the order in which it is read. Tabs and the parts of a combo box
    are reached through the whole, and the frame around the pages hands the keyboard to the tabs."""
    if "focusable" in widget.states and widget.name != "Pages":
        yield widget
    if widget.role not in ("combo box", TAB_BAR):
        for child in sorted((c for c in widget.children if "showing" in c.states),
                            key=functools.cmp_to_key(by_eye)):
            yield from controls(child)


class Access:
    def __init__(self, program):
        self.program, self.ask = program, program.desktop.call

    def related(self, widget, relation):
        found = dict(self.ask(widget.owner, widget.path, ACCESSIBLE, "GetRelationSet", None))
        return [path for _, path in found.get(relation, [])]

    def controls(self):
        """Pairs of name and control. A combo box is called by its label; its own name is the text
        in it."""
        window = self.program.windows()[0]
        names = {w.path: w.name for w in window.walk()}
        return [("".join(names[p] for p in self.related(w, LABELLED_BY)) if w.role == "combo box"
                 else w.name, w) for w in controls(window)]

    def faults(self):
        seen = set()
        for name, widget in self.controls():
            if not re.search(r"\w", name) or name in seen:
                yield f"{widget!r} has no name to say, or one that another control has"
            seen.add(name)
            if widget.role != TAB_BAR and self.ask(
                    widget.owner, widget.path, PROPERTIES, "Get",
                    GLib.Variant("(ss)", (ACCESSIBLE, "Description"))) in ("", name):
                yield f"{widget!r} is not explained"
            left = [w for w in widget.parent.children if is_beside(widget, w)]
            label = max(left, key=lambda w: w.rect[0], default=widget)
            if label.role == "label" and widget.role in ("text", "combo box") and not (
                    label.path in self.related(widget, LABELLED_BY)
                    and widget.path in self.related(label, LABEL_FOR)):
                yield f"{widget!r} and {label!r} beside it do not belong together"
        names = [name for name, widget in self.controls() if "enabled" in widget.states]
        walked = [self.tab() for _ in names]
        start = walked.index(names[0]) if names[0] in walked else 0
        if walked[start:] + walked[:start] != names:
            yield f"Tab goes to {walked}, what is read is {names}"

    def focused(self):
        return [name for name, widget in self.controls() if "focused" in widget.states]

    def tab(self):
        """Presses the key; returns the name of the control that has the keyboard then."""
        before = self.focused()
        self.program.key("Tab")
        return self.program.wait_for(lambda: self.focused() != before and self.focused(), 10,
                                     f"Tab to leave {before}")[0]

    def press(self, control, *keys):
        for _ in self.controls():
            if self.tab() == control:
                return self.program.key(*keys)
        raise DriverError(f"Tab does not reach {control!r}")


def record_by_keys(page):
    access = Access(page.program)
    for control, keys in OPTIONS:
        access.press(control, *keys.split())
    access.press("Start!", "space")
    page.wait_state("Stop!")
    page.program.key("space")
    page.wait_status(r"Recorded 0 bytes.*\(Stopped Nicely!\)")
    page.wait_state("Start!", "options")
    if os.path.getsize("keys") != 8:
        raise DriverError("the record file is not one of a recording that nothing triggered")


def main():
    program_path = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        os.chdir(folder)
        try:
            for tab, groups in PAGES:
                with RecordPage(desktop, program_path, "") as page:
                    for group in groups:
                        page.program.check(page.program.find("check box", group))
                    page.program.click(page.program.find("page tab", tab))
                    faults = list(Access(page.program).faults())
                if faults:
                    raise DriverError("\n".join([tab, *faults]))
                print(tab, *groups, flush=True)
            with RecordPage(desktop, program_path, "", protected=True) as page:
                record_by_keys(page)
            print("recorded by keys", flush=True)
        except DriverError as error:
            sys.exit(f"FAILED: {error}")
        finally:
            os.chdir("/")


main()
