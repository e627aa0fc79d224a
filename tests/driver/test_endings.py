#!/usr/bin/python3
"""Ends the real program in every way at every moment.

    test_endings.py PROGRAM CHECKER [MOMENT...]

Prints a line for each moment; exit code 0 means that the program always ended with 0, showed each
box once, and left what was received in the record file.
"""
import os
import signal
import subprocess
import sys
import tempfile

from driver import Desktop, DriverError
from recordpage import HARDWARE, ON_THE_FLY, SOFTWARE, RecordPage, check_record
from test_burn import make_files, FIRMWARE

# A recording goes on until it is ended; the board's own buffer has triggered after a while.
RECORDING = "rate=200K,trigger=1000"


class Moments:
    """Each function brings the page to a moment; returns the record file to check, if any."""

    def __init__(self, page):
        self.page, self.program = page, page.program

    def idle(self):
        pass

    def open_dialog(self):
        self.program.click(self.program.find("push button", "Browse for the record file"))
        self.program.wait_for(self.program.boxes, 20, "the file dialog")

    def burn(self, status):
        self.program.click(self.program.find("page tab", "Burn Flash"))
        self.program.enter(self.program.find("combo box", inside="Choose main lod file"), FIRMWARE)
        label = self.program.find("label", inside="Burn image")
        self.program.click(self.program.find("push button", "Burn!"))
        self.program.wait_for(lambda: self.program.text_of(label) == status, 30, status)

    def burning(self):
        self.burn("Burning...")

    def verifying(self):
        self.burn("Verifying...")

    def burn_box(self):
        self.burn("Error.")
        self.program.wait_for(self.program.boxes, 20, "the box")

    def start(self, mode, status, file="end.prf"):
        self.page.choose(mode, file)
        self.page.click()
        self.page.wait_status(status)
        return file

    def on_the_fly(self):
        return self.start(ON_THE_FLY, r"Recorded \d+ bytes \(.*")

    def ring(self):
        return self.start(SOFTWARE, r"Buffer contains .*")

    def before_the_trigger(self):
        self.start(HARDWARE, r"Waiting for trigger\.\.\.")

    def after_the_trigger(self):
        return self.start(HARDWARE, r"Triggered! .*")

    def countdown(self):
        file = self.on_the_fly()
        self.page.click()
        self.page.wait_state("Stop! (grey)", "Brutal stop in 5 seconds!")
        return file

    def read_failure_box(self):
        self.page.choose(ON_THE_FLY, "end.prf")
        self.page.click()
        self.program.wait_for(self.program.boxes, 20, "the box")
        return "end.prf"

    def save_question(self):
        self.start(SOFTWARE, r"Buffer contains .*", "/no/such/folder.prf")
        self.page.click()
        self.program.wait_for(self.program.boxes, 20, "the question")


# moment: parameters of the board, buttons that answer what is open afterwards
MOMENTS = {
    "idle": ("", []),
    "open_dialog": ("", []),
    "burning": ("pace=15K", []),
    "verifying": ("pace=15K", []),
    "burn_box": ("pace=0,fail=burn:worn out", ["OK"]),
    "on_the_fly": (RECORDING, []),
    "ring": (RECORDING, []),
    "before_the_trigger": ("trigger=3600000", []),
    "after_the_trigger": (RECORDING, []),
    "countdown": (RECORDING + ",stop=ignored", []),
    "read_failure_box": (RECORDING + ",fail=read@20:unplugged", ["OK"]),
    "save_question": (RECORDING, ["Cancel"]),
}
WAYS = {
    "close": None,
    "SIGTERM": signal.SIGTERM,
    "SIGINT": signal.SIGINT,
}


def end(desktop, program_path, checker, moment, way):
    board, answers = MOMENTS[moment]
    with RecordPage(desktop, program_path, board) as page:
        file = getattr(Moments(page), moment)()
        if WAYS[way] is None:
            page.program.close_window()
        else:
            page.program.process.send_signal(WAYS[way])
        for answer in answers:
            page.box(answer, ends_program=True)
        code = page.program.exit_code(30)
        if code != 0:
            raise DriverError(f"{moment}, {way}: ended with {code}: {page.program.output()}")
    if file:
        line = check_record(checker, file)
        if os.path.getsize(file) <= 8:
            raise DriverError(f"{moment}, {way}: nothing was saved: {line}")
        os.remove(file)


def main():
    program_path, checker = map(os.path.abspath, sys.argv[1:3])
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        os.chdir(folder)
        make_files()
        try:
            for moment in sys.argv[3:] or MOMENTS:
                # A window behind an open box takes no close; its program is ended by a signal only.
                ways = [way for way in WAYS if way != "close" or
                        not (MOMENTS[moment][1] or moment == "open_dialog")]
                for way in ways:
                    end(desktop, program_path, checker, moment, way)
                print(moment.replace("_", " "), *ways, flush=True)
        except (DriverError, subprocess.TimeoutExpired) as error:
            sys.exit(f"FAILED: {error}")
        finally:
            os.chdir("/")


main()
