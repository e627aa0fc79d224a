# Uses the real program as a person does, on the desktop that tests/window/desktop provides.
#
#     program = Program("build/bin/tovalink", "pace=1048576")
#     program.enter("Path of the main lod file", "firmware.lod")
#     program.click("push button", "Burn!")
#     program.wait_for_label("Status of the burn", r"Done\.")
#     program.end()
#
# Controls are found through accessibility, by role and name; a label, whose name is the text that
# it shows, by its description. Mouse and keyboard are real X events. All controls are looked up at
# the start: a program at work answers a question in 200 ms, and the library puts one at a time.
import os
import re
import subprocess
import time
from contextlib import suppress

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
    tool("install", "-D", "--target-directory=lib", program, board)
    return os.path.abspath("lib/tovalink")


def has(widget, *states):
    return all(widget.get_state_set().contains(getattr(Atspi.StateType, each)) for each in states)


# Without those that are gone meanwhile.
def children(widget):
    return list(filter(None, map(widget.get_child_at_index, range(widget.get_child_count()))))


# The controls by role and name; of several, the outermost.
def controls_in(window):
    found, widgets = {}, [window]
    for widget in widgets:
        role, name = widget.get_role_name(), widget.get_name()
        found.setdefault((role, role == "label" and widget.get_description() or name), widget)
        widgets += children(widget)
    return found


class Program:
    # Starts the program with a simulated board of these parameters.
    def __init__(self, path, board, **env):
        self.process = subprocess.Popen(
            [with_simulator(path)], env={**os.environ, "BRAN_SIMULATOR": board, **env})
        self.window = self.wait(lambda: next(
            application.get_child_at_index(0) for application in children(DESKTOP)
            if application.get_process_id() == self.process.pid), "the window")
        self.controls = controls_in(self.window)

    # Returns the first true result; a question that cannot be answered is asked again.
    def wait(self, condition, what, seconds=30):
        end = time.monotonic() + seconds
        while True:
            is_last = self.process.poll() is not None or time.monotonic() > end
            with suppress(GLib.Error, StopIteration):
                if result := condition():
                    return result
            if is_last:
                seen = [name for (_, name), widget in controls_in(DESKTOP).items()
                        if has(widget, "SHOWING")]
                raise TimeoutError(f"{what}; exit code {self.process.poll()}; saw {seen}")
            time.sleep(0.02)

    # Waits until the control can be used and stays where it is, and the window has the keyboard: a
    # click that comes before gives the keyboard to nobody.
    def click(self, role, name):
        widget = self.controls[role, name]

        def place():
            point, again = (widget.get_position(Atspi.CoordType.SCREEN) for _ in range(2))
            at_rest = (point.x, point.y) == (again.x, again.y)
            is_usable = has(widget, "ENABLED", "SHOWING") and has(self.window, "ACTIVE")
            return at_rest and is_usable and point
        point = self.wait(place, f"{name!r} to be usable")
        # In the title of a group box, which is what takes its clicks.
        tool("xdotool", "mousemove", point.x + 20, point.y + 9, "click", "1")

    # Replaces the text of an edit. What a US keyboard has is typed; for any other letter xdotool
    # must borrow a key, and a busy program reads the wrong one.
    def enter(self, name, text):
        edit = self.controls["text", name]
        self.click("text", name)
        self.wait(lambda: has(edit, "FOCUSED"), f"the cursor in {name!r}")
        if text.isascii():
            tool("xdotool", "key", "ctrl+a", "type", "--delay", "10", "--", text)
        else:
            Atspi.EditableText.set_text_contents(edit, text)
        self.wait(lambda: Atspi.Text.get_text(edit, 0, -1) == text, text)

    # Waits until a label shows what the pattern describes.
    def wait_for_label(self, name, pattern):
        self.wait(lambda: re.fullmatch(pattern, self.controls["label", name].get_name()), pattern)

    # Waits for a message box with this text, and closes it.
    def close_box(self, text):
        self.wait(lambda: any(has(window, "ACTIVE") and ("label", text) in controls_in(window)
                              for window in children(self.window.get_parent())), text)
        tool("xdotool", "key", "Return")

    def end(self):
        self.process.terminate()
        assert self.process.wait(30) == 0, f"exit code {self.process.returncode}"


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
        self.enter("Path of the record file", file)

    def start_or_stop(self):
        self.click("push button", "Start!")
