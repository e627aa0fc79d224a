"""Uses the real program the way a person does: looks at its windows, clicks, types, waits.

    with Desktop() as desktop, Program(desktop, "build/bin/tovalink", "pace=1000000") as program:
        program.enter(program.find("combo box", inside="Choose main lod file"), "firmware.lod")
        program.click(program.find("push button", "Burn!"))
        status = program.find("label", inside="Burn image")
        program.wait_for(lambda: program.text_of(status) == "Done.", 120, "the status Done.")
        program.close_window()
        assert program.exit_code() == 0

Controls are found through accessibility, mouse and keyboard are real X events. The roles are Qt's:
"push button", "check box", "radio button", "combo box", "text" (a line edit), "label",
"progress bar", "page tab", "panel" (a group box; "check box" if it can be checked), "dialog" and
"alert message" (a message box).

The bus is spoken to through Gio and not through the Atspi library: Atspi asks one question at a
time, so that a program that answers only every 200 ms while it burns needs more than a quarter of
a minute to describe its window. Here all questions about one level of the window go out together,
and a second is enough. Nothing is cached, so nothing goes stale, and one script may open several
desktops one after the other.

Debian packages: at-spi2-core dbus-daemon imagemagick openbox python3-gi x11-utils xdotool xvfb.
Run the scripts with /usr/bin/python3, the one that python3-gi belongs to.
"""
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from gi.repository import Gio, GLib

from desktop import Desktop, DriverError, die_with_parent, stop, wait_for
from widget import ACCESSIBLE, PROPERTIES, Widget, is_beside, is_inside

ROOT = "/org/a11y/atspi/accessible/root"


def with_simulator(desktop, program_path):
    """A copy of the built program that has the simulated board in its lib/: where the program was
    built, a real board's library may lie. A link would not do, the loader follows it. A program
    that lies in no build's folder is installed: it is used as it is."""
    build = os.path.dirname(os.path.dirname(program_path))
    if not os.path.isdir(f"{build}/simulator"):
        return program_path
    for folder, file in (("bin", program_path), ("lib", f"{build}/simulator/libbranlib.so")):
        os.makedirs(f"{desktop.dir}/{folder}", exist_ok=True)
        shutil.copy(file, f"{desktop.dir}/{folder}")
    return f"{desktop.dir}/bin/{os.path.basename(program_path)}"


class Program:
    def __init__(self, desktop, program_path, board, **env):
        """Starts the program with a simulated board of these parameters; `env` adds variables to
        the desktop's."""
        self.desktop, self.owner = desktop, None
        self.log = open(f"{desktop.dir}/output-{time.monotonic_ns()}", "wb")
        self.process = subprocess.Popen(
            [with_simulator(desktop, program_path)],
            env={**desktop.env, "BRAN_SIMULATOR": board, **env}, stdin=subprocess.DEVNULL,
            stdout=self.log, stderr=self.log, start_new_session=True, preexec_fn=die_with_parent)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        stop(self.process)
        try:
            os.killpg(self.process.pid, signal.SIGKILL)  # what a script has started
        except ProcessLookupError:
            pass
        self.log.close()

    def output(self):
        """What the program has printed so far (both streams)."""
        with open(self.log.name, "rb") as file:
            return file.read().decode("utf-8", "replace")

    def wait_for(self, predicate, seconds, what, seen=None):
        """Like the function of that name, but fails at once when the program is gone."""
        def still_there():
            try:
                result = predicate()
            except GLib.Error:
                if self.process.poll() is None:
                    raise
                result = None
            if not result and self.process.poll() is not None:
                raise DriverError(f"waited for {what}; saw instead: the program ended with "
                                  f"{self.process.returncode} and said {self.output()[-2000:]!r}")
            return result
        return wait_for(still_there, seconds, what, seen or self.describe)

    def windows(self):
        """All visible windows of the program with all controls that are visible in them."""
        if not self.owner:
            self.owner = self._find_owner()
        if not self.owner:
            return []
        tops = level = [Widget(*child, None) for child in self.desktop.call(
            self.owner, ROOT, ACCESSIBLE, "GetChildren", None)]
        while level:
            answers = self.desktop.calls([q for widget in level for q in widget.questions()])
            below = []
            for index, widget in enumerate(level):
                own = answers[5 * index:5 * index + 5]
                errors = [a for a in own if isinstance(a, GLib.Error)]
                if not errors:
                    widget.understand(own)
                    if "showing" in widget.states:
                        widget.children = [Widget(*child, widget) for child in widget.child_ids]
                        below += widget.children
                elif any(e.matches(Gio.io_error_quark(), Gio.IOErrorEnum.TIMED_OUT)
                         for e in errors):
                    raise errors[0]  # deaf; any other error: the control vanished meanwhile
            level = below
        return [top for top in tops if "showing" in top.states]

    def _find_owner(self):
        """The bus name of our process, or of a child of it when the program is a script."""
        for name in self.desktop.ask_bus("ListNames"):
            try:
                pid = self.desktop.ask_bus("GetConnectionUnixProcessID", name)
                if os.getsid(pid) == self.process.pid:
                    self.desktop.call(name, ROOT, ACCESSIBLE, "GetChildren", None)
                    return name
            except (OSError, GLib.Error):
                continue  # gone meanwhile, or a connection without accessibility
        return None

    def describe(self):
        try:
            return "; ".join(f"window {w.name!r} with {[c for c in w.walk() if c.role != 'filler']}"
                             for w in self.windows()) or "no window"
        except GLib.Error as error:
            return error.message

    def boxes(self):
        """The dialogs and message boxes that are open."""
        return [w for w in self.windows() if w.role in ("alert message", "dialog")]

    def find_all(self, role, name=None, inside=None, beside=None):
        """The visible controls of that role; `inside` is a widget (a box, say) or the title of a
        group box; `beside` is a widget on whose right they lie, the nearest first."""
        found = [widget for top in self.windows() for widget in top.walk() if widget.role == role
                 and name in (None, widget.name) and (inside is None or is_inside(widget, inside))
                 and (beside is None or is_beside(widget, beside))]
        return sorted(found, key=lambda w: w.rect[0]) if beside else found

    def find(self, role, name=None, inside=None, beside=None, seconds=20):
        """The first of them, waited for. It can be used as long as the program keeps it."""
        return self.wait_for(lambda: self.find_all(role, name, inside, beside), seconds,
                             f"{role} {name or ''!r}, inside {inside!r}, beside {beside!r}")[0]

    def refresh(self, *widgets):
        """Reads name, states and rectangle of known widgets again: one exchange for all of them.
        Returns the last one."""
        answers = self.desktop.calls([q for widget in widgets for q in widget.questions()])
        for answer in answers:
            if isinstance(answer, GLib.Error):
                raise answer
        for widget in widgets:
            widget.understand([answers.pop(0) for _ in widget.questions()])
        return widgets[-1]

    def text_of(self, widget):
        """What a label says, what an edit or an editable combo box contains."""
        edit = self._edit_of(widget)
        if edit:
            return self.desktop.call(edit.owner, edit.path, "org.a11y.atspi.Text", "GetText",
                                     GLib.Variant("(ii)", (0, -1)))
        return self.refresh(widget).name

    def value_of(self, widget):
        """The number a progress bar or a spin box stands at."""
        return self.desktop.call(widget.owner, widget.path, PROPERTIES, "Get", GLib.Variant(
            "(ss)", ("org.a11y.atspi.Value", "CurrentValue")))

    def is_checked(self, widget):
        return "checked" in self.refresh(widget).states

    def is_enabled(self, widget):
        return "enabled" in self.refresh(widget).states

    @staticmethod
    def _edit_of(widget):
        if widget.role == "text":
            return widget
        return next((c for c in widget.children if c.role == "text"), None) \
            if widget.role == "combo box" else None

    def _x_windows(self):
        pid = self.desktop.ask_bus("GetConnectionUnixProcessID", self.owner)
        return set(self.desktop.tool("xdotool", "search", "--all", "--onlyvisible", "--pid",
                                     str(pid)).split())

    def click(self, widget):
        """Presses the mouse in the middle of the control, once that stays where it is in a window
        that has the keyboard: a click that comes before gives it to nobody."""
        window = widget.window()

        def settled():
            before = self.refresh(window, widget).rect
            return before[2] > 0 and before == self.refresh(widget).rect \
                and "enabled" in widget.states and "active" in window.states
        self.wait_for(settled, 20, f"{widget!r} to be usable and at rest")
        x, y, width, height = widget.rect
        if widget.role == "check box" and widget.children:
            width, height = 60, 18  # a checkable group box: only its title takes clicks
        elif widget.role == "menu item":
            width = 20  # above a tab's middle, this click and the tab's would be one double click
        # No --sync: that waits 15 s when the mouse is there already; the events keep their order.
        self.desktop.tool("xdotool", "mousemove", str(x + width // 2), str(y + height // 2),
                          "click", "1")

    def check(self, widget, on=True):
        """Clicks a check box or a checkable group box unless it is as wanted."""
        if self.is_checked(widget) != on:
            self.click(widget)
            self.wait_for(lambda: self.is_checked(widget) == on, 20, f"{widget!r} checked={on}")

    def key(self, *keys):
        """Presses keys as xdotool names them: "Return", "ctrl+a", "alt+F4"."""
        self.desktop.tool("xdotool", "key", "--delay", "20", *keys)

    def enter(self, widget, text):
        """Clicks an edit or an editable combo box and replaces its contents by the text. What a US
        keyboard has is typed. For any other letter xdotool must borrow a key for a moment, and a
        busy program reads the wrong one: such text is put there through accessibility."""
        edit = self._edit_of(widget)
        self.click(edit)
        self.wait_for(lambda: "focused" in self.refresh(edit).states, 20,
                      f"the cursor in {widget!r}")
        windows = self._x_windows()
        self.key("ctrl+a", "Delete")
        if text.isascii():
            self.desktop.tool("xdotool", "type", "--delay", "10", "--", text)
        else:
            self.desktop.call(edit.owner, edit.path, "org.a11y.atspi.EditableText",
                              "SetTextContents", GLib.Variant("(s)", (text,)))
        self.wait_for(lambda: self.text_of(edit) == text, 20, f"{text!r} in {widget!r}",
                      lambda: repr(self.text_of(edit)))
        # A list of completions, which accessibility does not show, would swallow the next click.
        self.refresh(edit)  # once more around the program's event loop: now the list is there
        if self._x_windows() - windows:
            self.key("Escape")
            self.wait_for(lambda: not self._x_windows() - windows, 20, "no list of completions")

    def choose_file(self, path):
        """Answers Qt's own file dialog: the path into its "File name:" edit, and Return."""
        edit = self.find("text", "File name:")
        self.enter(edit, path)
        self.key("Return")
        self.wait_for(lambda: not self.find_all("text", "File name:"), 20,
                      f"the file dialog to take {path!r}")

    def answer_box(self, button):
        """Waits for a message box, answers it and returns its title and text."""
        box = self.wait_for(self.boxes, 30, "a message box")[0]
        text = "\n".join(w.name for w in box.walk() if w.role == "label" and w.name)
        self.click(self.find("push button", button, inside=box))
        self.wait_for(lambda: self.process.poll() is not None
                      or box.path not in [b.path for b in self.boxes()], 20, "the box to close")
        return f"{box.name}: {text}"

    def screenshot(self, path):
        """Takes a picture of the window that has the keyboard, with its frame."""
        window = self.desktop.tool("xdotool", "getactivewindow").strip()
        self.desktop.tool("import", "-silent", "-frame", "-window", window, path)
        print(f"Picture: {os.path.abspath(path)}", flush=True)

    def close_window(self):
        """Asks the window that has the keyboard to close, as the button in its frame does."""
        self.key("alt+F4")

    def exit_code(self, timeout=20):
        """Waits for the end of the program: its exit code, or minus the number of the signal."""
        try:
            return self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            raise DriverError(f"waited {timeout} s for the end of the program; saw instead: "
                              f"{self.describe()}") from None


def run_tests(script):
    """Calls the script with a desktop, in a new working folder; says so if it fails."""
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        os.chdir(folder)
        try:
            script(desktop)
        except DriverError as error:
            sys.exit(f"FAILED: {error}")
        finally:
            os.chdir("/")


def expect(what, seen, wanted):
    if seen != wanted:
        raise DriverError(f"{what}: saw {seen!r}, wanted {wanted!r}")


def content(path):
    with open(path, "rb") as file:
        return file.read()
