#!/usr/bin/python3
"""Records with the real program in a real window, and has it stopped and failed in every way.

    test_record.py PROGRAM CHECKER

Prints a line for each case; exit code 0 means that all of them went as they should.
"""
import os
import sys
import tempfile

from driver import Desktop, DriverError
from recordpage import HARDWARE, MODES, ON_THE_FLY, SOFTWARE, RecordPage, check_record

HEADER = b"DBGP\x01\x00\x02\x00"
CANNOT_OPEN = ("Tovalink: Cannot open file for writing. File may be in read-only mode, or it is "
               "already opened by another application")
CANNOT_SAVE = ("TOVAlink: Cannot open file for writing.\nFile may be in read-only mode, or it is "
               "already opened by another application.\n")
NO_NAME = "You'd better chose a filename before recording!"
UNPLUGGED = "it is <b>unplugged"
# What is read while it goes on; in the last mode once the trigger has fired.
BUSY = {SOFTWARE: r"Buffer contains .*", ON_THE_FLY: r"Recorded \d+ bytes \(.*",
        HARDWARE: r"Triggered! Recorded \d+ bytes\."}


def expect(what, seen, wanted):
    if seen != wanted:
        raise DriverError(f"{what}: saw {seen!r}, wanted {wanted!r}")


def content(path):
    with open(path, "rb") as file:
        return file.read()


class Cases:
    def __init__(self, desktop, program_path, checker):
        self.desktop, self.program_path, self.checker = desktop, program_path, checker

    def page(self, board="", **options):
        return RecordPage(self.desktop, self.program_path, board, **options)

    def refused_before_the_start(self):
        for mode in MODES:
            with self.page("fail=start:" + UNPLUGGED) as page:
                page.choose(mode, "")
                page.click()
                page.wait_status(NO_NAME)
                if mode != SOFTWARE:
                    page.choose(mode, "/no/such/folder.prf")
                    page.click()
                    expect("box", page.box("OK"), CANNOT_OPEN)
                    expect("status", page.reads(), NO_NAME)
                page.choose(mode, "start.prf")
                page.click()
                expect("box", page.box("OK"), "Tovalink: " + UNPLUGGED)
                page.wait_status(r"Stopped on error\.")
                expect("file", mode == SOFTWARE or content("start.prf"), mode == SOFTWARE or b"")
                page.wait_state("Start!", "options")
                page.close()

    def read_fails(self):
        ends = {SOFTWARE: r"Read (\d+) bytes\. Cursor at \1\. Read count : 100 \(Stopped on error!\)",
                ON_THE_FLY: r"Recorded \d+ bytes\. \(Stopped on error!\)",
                HARDWARE: r"Recorded \d+ bytes\. \(Stopped on error!\)"}
        for mode in MODES:
            board = f"trigger=500,failbytes=50,fail=read@100:{UNPLUGGED}"
            with self.page(board) as page:
                page.choose(mode, f"read {mode}.prf")
                page.click()
                expect("box", page.box("OK"), "Tovalink: " + UNPLUGGED)
                line = page.wait_status(ends[mode])
                page.wait_state("Start!", "options")
                if mode == SOFTWARE:
                    expect("saved", os.path.exists(f"read {mode}.prf"), False)
                else:
                    check_record(self.checker, f"read {mode}.prf")
                    expect("size", len(content(f"read {mode}.prf")) - 8, int(line.split()[1]))
                page.close()

    def nice_stops(self):
        for mode, board in ((SOFTWARE, ""), (ON_THE_FLY, ""), (HARDWARE, "trigger=3600000")):
            with self.page(board) as page:
                page.choose(mode, "nice.prf")
                page.click()
                page.wait_status(r"Waiting for trigger\.\.\." if mode == HARDWARE else BUSY[mode])
                page.wait_state("Stop!")
                page.click()
                page.wait_status(r".*\(Stopped Nicely.*")
                page.wait_state("Start!", "options")
                if mode == HARDWARE:
                    expect("file", content("nice.prf"), HEADER)
                else:
                    check_record(self.checker, "nice.prf")
                page.close()

    def trigger_takes_the_stop_away(self):
        with self.page("trigger=8000,rate=100K") as page:
            page.choose(HARDWARE, "trigger.prf")
            page.click()
            page.wait_status(BUSY[HARDWARE])
            page.wait_state("Stop! (grey)")
            page.close()
        check_record(self.checker, "trigger.prf")

    def brutal_stop(self):
        for mode, by_click in ((SOFTWARE, True), (ON_THE_FLY, False), (HARDWARE, True)):
            with self.page("stop=ignored,trigger=3600000") as page:
                page.choose(mode, "brutal.prf")
                page.click()
                page.wait_state("Stop!")
                page.click()
                page.wait_state("Stop! (grey)")
                for seconds in (5, 4, 3, 2, 1):
                    page.wait_state("Stop! (grey)", f"Brutal stop in {seconds} seconds!")
                    if by_click:
                        break
                if by_click:
                    page.program.click(page.brutal)
                page.wait_status(r".*\(Stopped Brutally.*")
                page.wait_state("Start!", "options")
                if mode != HARDWARE:
                    check_record(self.checker, "brutal.prf")
                page.close()

    def unsaveable_ring(self):
        with self.page() as page:
            page.choose(SOFTWARE, "/no/such/folder.prf")
            page.click()
            page.wait_status(BUSY[SOFTWARE])
            page.click()
            expect("box", page.box("Chose again"), CANNOT_SAVE)
            page.program.choose_file(os.path.abspath("again"))
            page.wait_status(r"Dumped \d+ bytes, buffer not full\. \(Stopped Nicely, saved\)\.")
            check_record(self.checker, "again.prf")
            page.choose(SOFTWARE, "/no/such/folder.prf")
            page.click()
            page.wait_status(BUSY[SOFTWARE])
            page.click()
            page.box("Cancel")
            page.wait_status(r"\(Stopped Nicely, user has chosen not to save\)\.")
            page.close()

    def closing_the_window(self):
        for mode in MODES:
            with self.page("trigger=8000,rate=100K") as page:
                page.choose(mode, f"close {mode}.prf")
                page.click()
                page.wait_status(BUSY[mode])
                page.close()
            check_record(self.checker, f"close {mode}.prf")
        with self.page() as page:
            page.choose(SOFTWARE, "/no/such/folder.prf")
            page.click()
            page.wait_status(BUSY[SOFTWARE])
            page.program.close_window()
            expect("box", page.box("Cancel", ends_program=True), CANNOT_SAVE)
            expect("exit code", page.program.exit_code(), 0)

    def double_click_protection(self):
        with self.page(protected=True) as page:
            page.choose(ON_THE_FLY, "double.prf")
            page.click()
            page.wait_state("Stop! (grey)")
            page.wait_state("Stop!")
            page.program.key("space")  # the keyboard focus is back where it was
            page.wait_status(r".*\(Stopped Nicely!\)")
            page.close()


def main():
    program_path, checker = map(os.path.abspath, sys.argv[1:3])
    names = sys.argv[3:] or [name for name in vars(Cases) if not name.startswith("_")
                             and name != "page"]
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        os.chdir(folder)
        cases = Cases(desktop, program_path, checker)
        try:
            for name in names:
                getattr(cases, name)()
                print(name.replace("_", " "), flush=True)
        except DriverError as error:
            sys.exit(f"FAILED: {name}: {error}")
        finally:
            os.chdir("/")


main()
