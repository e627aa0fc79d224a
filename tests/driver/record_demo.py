#!/usr/bin/python3
"""Records in each mode with the real program on a virtual display, and leaves pictures of it.

    record_demo.py PROGRAM CHECKER OUTPUT_FOLDER

Exit code 0 means that every record file was proven whole.
"""
import os
import sys
import time

from driver import Desktop, DriverError
from recordpage import HARDWARE, ON_THE_FLY, SOFTWARE, RecordPage, check_record

SECONDS = 2  # the length of a recording, not a wait for anything
# mode, name of its files, status while it goes on
RECORDINGS = [
    (SOFTWARE, "software", r"Buffer contains .*KB/s\)\."),
    (ON_THE_FLY, "on-the-fly", r"Recorded \d+ bytes \(.* KB/s\)\."),
    (HARDWARE, "hardware", r"Waiting for trigger\.\.\."),
]


def record(page, mode, name, busy):
    page.start(mode, name + ".prf", busy)
    page.program.screenshot(f"record-{name}-busy.png")
    if mode != HARDWARE:
        time.sleep(SECONDS)
        page.click()
    print(f"{mode}: {page.wait_status('.*Stopped Nicely.*', 60)}", flush=True)
    page.program.screenshot(f"record-{name}-done.png")
    page.close()


def main(arguments):
    if len(arguments) != 3:
        sys.exit(__doc__)
    program_path, checker, folder = map(os.path.abspath, arguments)
    os.makedirs(folder, exist_ok=True)
    os.chdir(folder)
    try:
        for mode, name, busy in RECORDINGS:
            with Desktop() as desktop, \
                    RecordPage(desktop, program_path, "rate=5000000,buffer=64000000,trigger=3000") as page:
                record(page, mode, name, busy)
            print(check_record(checker, name + ".prf"), flush=True)
    except (DriverError, OSError) as error:
        sys.exit(f"The demo failed: {error}")


main(sys.argv[1:])
