#!/usr/bin/python3
"""Ends the real program in every way at every moment.

    test_endings.py PROGRAM CHECKER [PART/PARTS]

They take minutes, so that they may be run in parts, such as 1/3, side by side. Prints a line for
each moment; exit code 0 means that the program always ended with 0, showed each box once, and left
what was received in the record file.
"""
import os
import signal
import sys

from driver import expect, run_tests
from recordpage import HARDWARE, ON_THE_FLY, SOFTWARE, RecordPage, check_record
from test_burn import FIRMWARE, make_files

PROGRAM, CHECKER = map(os.path.abspath, sys.argv[1:3])
FILE = "end.prf"
# A recording goes on until it is ended; the board's own buffer has triggered after a while.
RECORDING = "rate=200000,trigger=1000"


def burn(page, status):
    page.program.click(page.program.find("page tab", "Burn Flash"))
    page.program.enter(page.program.find("combo box", inside="Choose main lod file"), FIRMWARE)
    label = page.program.find("label", inside="Burn image")
    page.program.click(page.program.find("push button", "Burn!"))
    page.program.wait_for(lambda: page.program.text_of(label) == status, 30, status)


def open_dialog(page):
    page.program.click(page.program.find("push button", inside="Choose destination record file"))
    page.program.wait_for(page.program.boxes, 20, "the file dialog")


def burn_box(page):
    burn(page, "Error.")
    page.program.wait_for(page.program.boxes, 20, "the box")


def countdown(page):
    page.start(ON_THE_FLY, FILE, r"Recorded \d+ bytes \(.*")
    page.click()
    page.wait_state("Stop! (grey)", "Brutal stop in 5 seconds!")


def read_failure_box(page):
    page.choose(ON_THE_FLY, FILE)
    page.click()
    page.program.wait_for(page.program.boxes, 20, "the box")


def save_question(page):
    page.start(SOFTWARE, "/no/such/folder.prf", r"Buffer contains .*")
    page.click()
    page.program.wait_for(page.program.boxes, 20, "the question")


# How the moment is reached, the parameters of the board, and the button that answers what is open
# afterwards. A window behind an open box takes no close; its program is ended by a signal only.
MOMENTS = {
    "idle": (lambda page: None, "", None),
    "open dialog": (open_dialog, "", None),
    "burning": (lambda page: burn(page, "Burning..."), "pace=15000", None),
    "verifying": (lambda page: burn(page, "Verifying..."), "pace=15000", None),
    "burn box": (burn_box, "pace=0,fail=burn:worn out", "OK"),
    "on the fly": (lambda page: page.start(ON_THE_FLY, FILE, r"Recorded \d+ bytes \(.*"),
                   RECORDING, None),
    "ring": (lambda page: page.start(SOFTWARE, FILE, r"Buffer contains .*"), RECORDING, None),
    "before the trigger": (lambda page: page.start(HARDWARE, "no.prf", r"Waiting for trigger.*"),
                           "trigger=3600000", None),
    "after the trigger": (lambda page: page.start(HARDWARE, FILE, r"Triggered! .*"), RECORDING,
                          None),
    "countdown": (countdown, RECORDING + ",stop=ignored", None),
    "read failure box": (read_failure_box, RECORDING + ",fail=read@20:unplugged", "OK"),
    "save question": (save_question, RECORDING, "Cancel"),
}
SAVED = ("on the fly", "ring", "after the trigger", "countdown", "read failure box")
WAYS = {"close": None, "SIGTERM": signal.SIGTERM, "SIGINT": signal.SIGINT}


def end(desktop, moment, way):
    reach, board, answer = MOMENTS[moment]
    with RecordPage(desktop, PROGRAM, board) as page:
        reach(page)
        if way == "close":
            page.program.close_window()
        else:
            page.program.process.send_signal(WAYS[way])
        if answer:
            page.program.answer_box(answer)
        expect(f"{moment}, {way}: exit code", page.program.exit_code(30), 0)
    expect(f"{moment}, {way}: saved", os.path.exists(FILE), moment in SAVED)
    if moment in SAVED:
        expect(f"{moment}, {way}: saved bytes", os.path.getsize(FILE) > 8, True)
        check_record(CHECKER, FILE)
        os.remove(FILE)


def run(desktop):
    make_files()
    part, parts = map(int, (sys.argv[3] if len(sys.argv) > 3 else "1/1").split("/"))
    for moment in list(MOMENTS)[part - 1::parts]:
        is_behind_a_box = MOMENTS[moment][2] or moment == "open dialog"
        ways = [way for way in WAYS if way != "close" or not is_behind_a_box]
        for way in ways:
            end(desktop, moment, way)
        print(moment, *ways, flush=True)


run_tests(run)
