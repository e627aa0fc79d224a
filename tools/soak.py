"""Records in each mode with the real program and a board that is as fast as it is read.

    tests/window/desktop /usr/bin/python3 tools/soak.py PROGRAM CHECKRECORD READ_GAPS [MINUTES]

Each mode goes on for at least MINUTES (1): a ring that is saved at the end, recordings to the disk
of FILE bytes one after the other, recordings of the board's buffer one after the other. Exit code 0
means that every file was proven whole and holds what the board has delivered, and that the
program's memory at the end was within GROWTH of what it was after SETTLED seconds. READ_GAPS is the
library that measures how long the program keeps the board waiting between two reads.
"""
import os
import shutil
import sys
import threading
import time

sys.path.insert(1, os.path.join(os.path.dirname(__file__), "../tests/window"))
from window import HARDWARE, ON_THE_FLY, SOFTWARE, RecordPage, has, tool

MIB, GIB = 1 << 20, 1 << 30
HEADER, RING, FILE = 8, 8 * MIB, 5 * GIB  # a file beyond what 32 bits count
SETTLED, GROWTH = 10, 2 * MIB
BOARD = {SOFTWARE: "", ON_THE_FLY: f",finish={FILE}", HARDWARE: ",trigger=0"}
CONTROLS = ("push button", "Start!"), ("text", "Path of the record file")
RECORD, REPORT, GAPS = "soak.prf", "report.txt", "gaps.txt"


def numbers(path):
    with open(path) as file:
        return [int(word) for word in file.read().split() if word.isdigit()]


def memory(program):
    """What the program has in memory, in bytes."""
    return numbers(f"/proc/{program.process.pid}/statm")[1] * os.sysconf("SC_PAGE_SIZE")


def record(page, mode, end):
    """One recording, which the board ends; that of a ring goes on to the end of the time. The
    window is not asked meanwhile: an answer would keep the board waiting."""
    page.start_or_stop()
    if mode == SOFTWARE:
        page.wait(lambda: time.monotonic() > end, "the end of the time", 1e6)
        page.start_or_stop()
    page.wait(lambda: os.path.exists(REPORT), "the board to end the recording", 600)
    button, file = (page.controls[control] for control in CONTROLS)
    page.wait(lambda: button.get_name() == "Start!" and has(file, "ENABLED"), "the rest", 600)


def prove(checker, mode):
    """The record file is whole and holds what the board has delivered; returns that."""
    tool(checker, RECORD)
    _, delivered, lost = numbers(REPORT)
    size, wanted = os.path.getsize(RECORD) - HEADER, delivered
    if mode == SOFTWARE:
        wanted = min(RING, wanted)
    assert (size, lost) == (wanted, 0), f"the file holds {size} bytes, not {wanted}; {lost} lost"
    os.remove(REPORT)
    os.remove(RECORD)
    return delivered


def soak(program, checker, gap_meter, mode, minutes):
    end = time.monotonic() + 60 * minutes
    delivered, settled = [], []
    page = RecordPage(program, f"rate=0,report={REPORT}{BOARD[mode]}", LD_PRELOAD=gap_meter,
                      READ_GAPS=GAPS)
    threading.Timer(SETTLED, lambda: settled.append(memory(page))).start()
    page.choose(mode, RECORD)
    while time.monotonic() < end:
        record(page, mode, end)
        delivered.append(prove(checker, mode))
    growth = memory(page) - settled[0]
    page.end()
    reads, gap = numbers(GAPS)
    print(f"{mode}: {len(delivered)} recordings, {sum(delivered) / MIB:.0f} MB in {reads} reads, "
          f"all whole; memory grew by {growth / 1024:.0f} KB; longest gap between two reads "
          f"{gap / 1000:.1f} ms", flush=True)
    assert growth < GROWTH, "the program's memory grows"


def main(program, checker, gap_meter, minutes="1"):
    files = [os.path.abspath(file) for file in (program, checker, gap_meter)]
    os.chdir(os.environ["HOME"])
    assert float(minutes) * 60 > SETTLED, f"less than {SETTLED} seconds say nothing"
    assert shutil.disk_usage(".").free > FILE + GIB, f"no room for a file of {FILE / GIB:.0f} GB"
    for mode in BOARD:
        soak(*files, mode, float(minutes))


main(*sys.argv[1:])
