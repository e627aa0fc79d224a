# Uses the real program as a person does, on the desktop that tests/window/desktop provides.
#
#     program = Program("build/bin/tovalink", "pace=1048576")
#     program.enter("Path of the main lod file", "firmware.lod")
#     program.click("push button", "Burn!")
#     program.wait_for_label("Status of the burn", r"Done\.")
#     assert program.end_by(signal.SIGTERM) == 0
#
# Controls are found through accessibility, by role and name; a label, whose name is the text that
# it shows, by its description. Mouse and keyboard are real X events. All controls are looked up at
# the start: a program at work answers a question in 200 ms, and the library puts one at a time.
import os
import re
import subprocess
import time

import gi
gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib

DESKTOP = Atspi.get_desktop(0)
DESKTOP.set_cache_mask(Atspi.Cache.NONE)
Atspi.set_timeout(20000, 20000)  # milliseconds; a program that waits for the board is deaf


def tool(*command):
    return subprocess.check_output(map(str, command), text=True, timeout=600).strip()


# A copy of the built program beside the simulated board: where the program was built, a real
# board's library may lie. An installed program is used as it is.
def with_simulator(program):
    board = f"{os.path.dirname(program)}/../simulator/libbranlib.so"
    if not os.path.exists(board):
        return program
    tool("install", "-D", "--target-directory=bin", program)
    tool("install", "-D", "--target-directory=lib", board)
    return os.path.abspath("bin/tovalink")


def has(widget, *states):
    contains = widget.get_state_set().contains
    return all(contains(getattr(Atspi.StateType, state)) for state in states)


# Without those that are gone meanwhile.
def children(widget):
    return list(filter(None, map(widget.get_child_at_index, range(widget.get_child_count()))))


# The controls by role and name; of several, the outermost.
def controls_in(window):
    found, level = {}, [window]
    while level:
        for widget in level:
            role, name = widget.get_role_name(), widget.get_name()
            found.setdefault((role, role == "label" and widget.get_description() or name), widget)
        level = [child for widget in level for child in children(widget)]
    return found


class Program:
    # Starts the program, or a script that starts it, with a simulated board of these parameters.
    def __init__(self, path, board, **env):
        self.process = subprocess.Popen(
            [with_simulator(path)], env={**os.environ, "BRAN_SIMULATOR": board, **env},
            stdin=subprocess.DEVNULL, start_new_session=True)
        self.window = self.wait(lambda: next(
            application.get_child_at_index(0) for application in children(DESKTOP)
            if os.getsid(application.get_process_id()) == self.process.pid), "the window")
        self.application = self.window.get_parent()
        self.pid = self.application.get_process_id()
        self.controls = controls_in(self.window)

    # Returns the first true result; a question that cannot be answered is asked again.
    def wait(self, condition, what, seconds=30):
        end = time.monotonic() + seconds
        while True:
            is_last = self.process.poll() is not None or time.monotonic() > end
            try:
                if result := condition():
                    return result
            except (GLib.Error, OSError, StopIteration):
                pass
            if is_last:
                seen = [widget.get_name() for application in children(DESKTOP)
                        for widget in controls_in(application).values() if has(widget, "SHOWING")]
                raise TimeoutError(f"{what}; exit code {self.process.poll()}; saw {seen}")
            time.sleep(0.02)

    # Waits until the control of the window, or of a box, can be used and stays where it is, and the
    # window has the keyboard: a click that comes before gives the keyboard to nobody.
    def click(self, role, name, box=None):
        widget = (controls_in(box) if box else self.controls)[role, name]

        def place():
            rect, again = (widget.get_extents(Atspi.CoordType.SCREEN) for _ in range(2))
            at_rest = (rect.x, rect.y) == (again.x, again.y)
            return at_rest and has(widget, "ENABLED", "SHOWING") and \
                has(box or self.window, "ACTIVE") and rect
        rect = self.wait(place, f"{name!r} to be usable")
        # In the title of a group box, which is what takes its clicks.
        tool("xdotool", "mousemove", rect.x + min(rect.width // 2, 30),
             rect.y + min(rect.height // 2, 9), "click", "1")

    # Replaces the text of an edit. What a US keyboard has is typed; for any other letter xdotool
    # must borrow a key, and a busy program reads the wrong one.
    def enter(self, name, text):
        edit = self.controls["text", name]
        self.click("text", name)
        self.wait(lambda: has(edit, "FOCUSED"), f"the cursor in {name!r}")
        tool("xdotool", "key", "--delay", "20", "ctrl+a", "Delete")
        self.wait(lambda: Atspi.Text.get_text(edit, 0, -1) == "", "an empty edit")
        if text.isascii():
            tool("xdotool", "type", "--delay", "10", "--", text)
        else:
            Atspi.EditableText.set_text_contents(edit, text)
        self.wait(lambda: Atspi.Text.get_text(edit, 0, -1) == text, text)

    # Waits until a label shows what the pattern describes, and returns that.
    def wait_for_label(self, label, pattern):
        widget = self.controls["label", label]
        return self.wait(lambda: re.fullmatch(pattern, widget.get_name()), pattern)[0]

    # Waits for a message box, closes it and returns its text.
    def close_box(self):
        def is_box(window):
            return window.get_role_name() == "alert" and has(window, "SHOWING")
        box = self.wait(lambda: next(filter(is_box, children(self.application))), "a message box")
        text = next(name for role, name in controls_in(box) if role == "label")
        self.click("push button", "OK", box)
        self.wait(lambda: not any(map(is_box, children(self.application))), "the box to close")
        return text

    # Returns the exit code.
    def end_by(self, signal):
        os.kill(self.pid, signal)
        return self.process.wait(30)


STATUS = "Status of the recording"
SOFTWARE, ON_THE_FLY, HARDWARE = (
    "SW Circular buffer", "In the file on the fly", "HW Circular buffer")


# The page "Record", without the protection from double clicks.
class RecordPage(Program):
    def __init__(self, path, board, **env):
        super().__init__(path, board, **env)
        self.click("menu item", "Options")
        self.click("menu item", "Protect Start/Stop double click")
        self.click("page tab", "Record")

    def choose(self, mode, file):
        self.click("check box", mode)
        self.wait(lambda: has(self.controls["check box", mode], "CHECKED"), mode)
        self.enter("Path of the record file", file)

    def start_or_stop(self):
        self.click("push button", "Start!")
