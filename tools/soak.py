#!/usr/bin/python3
"""Records in each mode with the real program and a board that is as fast as it is read.

    soak.py PROGRAM CHECKER READ_GAPS [MINUTES]

Each mode goes on for MINUTES (1): a ring that is saved at the end, recordings to the disk of FILE
bytes one after the other, recordings of the board's buffer one after the other. Exit code 0 means
that every file was proven whole and holds what the board has delivered, and that the program's
memory at the end was within GROWTH of what it was after SETTLED seconds. READ_GAPS is the library
that measures how long the program keeps the board waiting between two reads.
"""
import os
import shutil
import sys
import tempfile
import time

sys.path.insert(1, os.path.join(os.path.dirname(__file__), "../tests/driver"))
from driver import Desktop, DriverError
from recordpage import HARDWARE, ON_THE_FLY, SOFTWARE, RecordPage, check_record

MIB, GIB = 1 << 20, 1 << 30
HEADER, RING, FILE = 8, 8 * MIB, 5 * GIB  # a file beyond what 32 bits count
SETTLED, GROWTH = 10, 2 * MIB
BOARD = {SOFTWARE: "", ON_THE_FLY: f",finish={FILE}", HARDWARE: ",trigger=0"}
RECORD, REPORT, GAPS = "soak.prf", "report.txt", "gaps.txt"


def content(path):
    with open(path) as file:
        return file.read()


class Soak:
    def __init__(self, page, mode, checker, seconds):
        self.page, self.mode, self.checker = page, mode, checker
        self.settling = time.monotonic() + SETTLED
        self.end = time.monotonic() + seconds
        self.settled = None
        self.recordings = self.delivered = 0

    def memory(self):
        """What the program has in memory, in bytes."""
        pages = content(f"/proc/{self.page.program.process.pid}/statm").split()[1]
        return int(pages) * os.sysconf("SC_PAGE_SIZE")

    def note_settled(self):
        if self.settled is None and time.monotonic() > self.settling:
            self.settled = self.memory()

    def run(self):
        self.page.choose(self.mode, RECORD)
        while time.monotonic() < self.end:
            self.record()
            self.prove()
        self.growth = self.memory() - self.settled

    def record(self):
        """One recording, which the board or the end of the time ends. The window is not asked
        meanwhile: an answer would keep the board waiting."""
        self.page.click()
        to_stop = self.mode != HARDWARE  # the board's buffer is delivered to its end
        while not os.path.exists(REPORT):
            if self.page.program.process.poll() is not None:
                raise DriverError(f"the program is gone: {self.page.program.output()}")
            time.sleep(0.02)
            self.note_settled()
            if to_stop and time.monotonic() > self.end:
                self.page.click()
                to_stop = False
        self.page.wait_status(r".*Nicely.*", 60)
        self.page.wait_state("Start!", "options")
        self.note_settled()

    def prove(self):
        """The record file is whole and holds what the board says it has delivered."""
        check_record(self.checker, RECORD)
        _, _, _, delivered, _, lost = content(REPORT).split()
        size, wanted = os.path.getsize(RECORD) - HEADER, int(delivered)
        if self.mode == SOFTWARE:
            wanted = min(RING, wanted)
        if size != wanted or lost != "0":
            raise DriverError(f"the file holds {size} bytes, not {wanted}; {lost} lost")
        self.recordings += 1
        self.delivered += int(delivered)
        os.remove(REPORT)
        os.remove(RECORD)


def soak(desktop, program_path, checker, gap_meter, mode, minutes):
    board = f"rate=0,report={REPORT}{BOARD[mode]}"
    desktop.env.update(LD_PRELOAD=gap_meter, READ_GAPS=GAPS)
    with RecordPage(desktop, program_path, board) as page:
        run = Soak(page, mode, checker, 60 * minutes)
        run.run()
        page.close()
    _, reads, _, gap = content(GAPS).split()
    print(f"{mode}: {run.recordings} recordings, {run.delivered / MIB:.0f} MB in {reads} reads, "
          f"all whole; memory grew by {run.growth / 1024:.0f} KB; longest gap between two reads "
          f"{int(gap) / 1000:.1f} ms", flush=True)
    if run.growth > GROWTH:
        raise DriverError(f"{mode}: the program's memory grows")


def main(arguments):
    if len(arguments) not in (3, 4):
        sys.exit(__doc__)
    program_path, checker, gap_meter = map(os.path.abspath, arguments[:3])
    minutes = float(arguments[3]) if len(arguments) > 3 else 1
    if minutes * 60 <= SETTLED:
        sys.exit(f"A soak of less than {SETTLED} seconds says nothing.")
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        os.chdir(folder)
        try:
            if shutil.disk_usage(folder).free < FILE + GIB:
                raise DriverError(f"{folder} has no room for a file of {FILE / GIB:.0f} GB")
            for mode in BOARD:
                soak(desktop, program_path, checker, gap_meter, mode, minutes)
        except DriverError as error:
            sys.exit(f"FAILED: {error}")
        finally:
            os.chdir("/")


main(sys.argv[1:])
