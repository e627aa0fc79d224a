#!/usr/bin/python3
"""Records in each mode with the real program on a virtual display, and leaves pictures of it.

    record_demo.py PROGRAM CHECKER OUTPUT_FOLDER [SECONDS [BYTES_PER_SECOND]]

Each recording goes on for SECONDS (2). Exit code 0 means that every record file was proven whole
and holds what the board has delivered: all of it, or exactly the last ring.
"""
import os
import re
import sys
import time

from driver import Desktop, DriverError
from recordpage import HARDWARE, MODES, ON_THE_FLY, SOFTWARE, RecordPage, check_record

HEADER, FRAME, RING = 8, 24, 8 << 20
FILES = {SOFTWARE: "software.prf", ON_THE_FLY: "on-the-fly.prf", HARDWARE: "hardware.prf"}
BUSY = {SOFTWARE: r"Buffer (is full|contains).*KB/s\)\.",
        ON_THE_FLY: r"Recorded \d+ bytes \(.* KB/s\)\.",
        HARDWARE: r"Waiting for trigger\.\.\."}
END = {SOFTWARE: r"Dumped .*\(Stopped Nicely, saved\)\.", ON_THE_FLY: r"Recorded .*Nicely!\)",
       HARDWARE: r"Recorded .*Nicely!\)"}


def picture(page, name):
    page.program.screenshot(name, page.program.windows()[0].name)
    print(f"Picture: {os.path.abspath(name)}", flush=True)


def record(page, mode, seconds):
    page.choose(mode, FILES[mode])
    page.click()
    page.wait_status(BUSY[mode], 20)
    short = FILES[mode].removesuffix(".prf")
    picture(page, f"record-{short}-busy.png")
    if mode != HARDWARE:
        time.sleep(seconds)  # the length of the recording, not a wait for anything
        page.click()
    line = page.wait_status(END[mode], 60)
    picture(page, f"record-{short}-done.png")
    print(f"{mode}: {line}", flush=True)


def prove(checker, mode):
    """Compares the record file with what the board says it has delivered."""
    line = check_record(checker, FILES[mode])
    with open("report.txt") as file:
        _, _, _, delivered, _, lost = file.read().split()
    size = os.path.getsize(FILES[mode]) - HEADER
    wanted = min(RING, int(delivered)) if mode == SOFTWARE else int(delivered)
    if size != wanted or lost != "0":
        raise DriverError(f"{FILES[mode]} holds {size} bytes, not {wanted}; {lost} lost")
    ends = re.findall(r"\.\.(\d+)", line)
    if mode != HARDWARE and sum(int(end) + 1 for end in ends) * FRAME != int(delivered):
        raise DriverError(f"{FILES[mode]} does not end with the last frame: {line}")
    print(line, flush=True)


def main(arguments):
    if len(arguments) not in (3, 4, 5):
        sys.exit(__doc__)
    program_path, checker, folder = map(os.path.abspath, arguments[:3])
    seconds = float(arguments[3]) if len(arguments) > 3 else 2
    rate = arguments[4] if len(arguments) > 4 else "5M"
    os.makedirs(folder, exist_ok=True)
    os.chdir(folder)
    board = f"rate={rate},buffer=64M,trigger=3000,report=report.txt"
    try:
        for mode in MODES:
            with Desktop() as desktop, RecordPage(desktop, program_path, board) as page:
                record(page, mode, seconds)
                page.close()
            prove(checker, mode)
    except (DriverError, OSError) as error:
        sys.exit(f"The demo failed: {error}")


main(sys.argv[1:])
