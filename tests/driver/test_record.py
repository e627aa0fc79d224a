#!/usr/bin/python3
"""Records with the real program in a real window, and has it stopped and failed.

    test_record.py PROGRAM CHECKER

Prints a line for each case; exit code 0 means that all of them went as they should.
"""
import os
import resource
import sys

from driver import content, expect, run_tests
from recordpage import HARDWARE, ON_THE_FLY, SOFTWARE, RecordPage, check_record

PROGRAM, CHECKER = map(os.path.abspath, sys.argv[1:])
CANNOT_OPEN = ("Cannot open file for writing.{}File may be in read-only mode, or it is already "
               "opened by another application")
UNPLUGGED = "it is <b>unplugged"
FILE = "a.prf"
RING_FILLS, STREAMS, WAITS = (r"Buffer contains .*", r"Recorded \d+ bytes \(.*",
                              r"Waiting for trigger\.\.\.")


def refused(page):
    page.start(ON_THE_FLY, "", "You'd better chose a filename before recording!")
    page.choose(ON_THE_FLY, "/no/such/folder.prf")
    page.click()
    expect("box", page.program.answer_box("OK"), "Tovalink: " + CANNOT_OPEN.format(" "))
    page.choose(HARDWARE, FILE)
    page.click()
    expect("box", page.program.answer_box("OK"), "Tovalink: " + UNPLUGGED)
    page.wait_status(r"Stopped on error\.")
    expect("file", content(FILE), b"")


def read_fails(page):
    page.choose(ON_THE_FLY, FILE)
    page.click()
    expect("box", page.program.answer_box("OK"), "Tovalink: " + UNPLUGGED)
    line = page.wait_status(r"Recorded \d+ bytes\. \(Stopped on error!\)")
    check_record(CHECKER, FILE)
    expect("size", len(content(FILE)) - 8, int(line.split()[1]))


def beyond_a_limit_on_files(page):
    resource.prlimit(page.program.process.pid, resource.RLIMIT_FSIZE, (100000, 100000))
    page.choose(ON_THE_FLY, FILE)
    page.click()
    expect("box", page.program.answer_box("OK"),
           f"Tovalink: Cannot write {FILE}: File too large. The first 99992 bytes of the recording "
           "are in the file.")
    page.wait_status(r"Recorded 99992 bytes\. \(Stopped on error!\)")


def stopped_before_the_trigger(page):
    page.start(HARDWARE, FILE, WAITS)
    page.wait_state("Stop!")
    page.click()
    page.wait_status(r"Recorded 0 bytes\. \(Stopped Nicely!\)")
    expect("file", content(FILE), b"DBGP\x01\x00\x02\x00")


def trigger_takes_the_stop_away(page):
    page.start(HARDWARE, FILE, r"Triggered! Recorded \d+ bytes\.")
    page.wait_state("Stop! (grey)")
    page.wait_status(r"Recorded \d+ bytes\. \(Stopped Nicely!\)")
    check_record(CHECKER, FILE)


def brutally_stopped(page):
    page.start(SOFTWARE, FILE, RING_FILLS)
    page.click()
    for seconds in (5, 4):
        page.wait_state("Stop! (grey)", f"Brutal stop in {seconds} seconds!")
    page.program.click(page.brutal)
    page.wait_status(r".*\(Stopped Brutally, saved\)\.")
    check_record(CHECKER, FILE)


def saved_elsewhere(page):
    page.start(SOFTWARE, "/no/such/folder.prf", RING_FILLS)
    page.click()
    expect("box", page.program.answer_box("Chose again"),
           "TOVAlink: " + CANNOT_OPEN.format("\n") + ".\n")
    page.program.choose_file(os.path.abspath("again"))
    page.wait_status(r"Dumped \d+ bytes, buffer not full\. \(Stopped Nicely, saved\)\.")
    check_record(CHECKER, "again.prf")


def protected_from_double_clicks(page):
    page.choose(ON_THE_FLY, FILE)
    page.click()
    page.wait_state("Stop! (grey)")
    page.wait_state("Stop!")
    page.program.key("space")  # the keyboard focus is back where it was
    page.wait_status(r".*\(Stopped Nicely!\)")
    check_record(CHECKER, FILE)


CASES = {
    refused: "fail=start:" + UNPLUGGED,
    read_fails: "failbytes=50,fail=read@100:" + UNPLUGGED,
    beyond_a_limit_on_files: "",
    stopped_before_the_trigger: "trigger=3600000",
    trigger_takes_the_stop_away: "trigger=2000,rate=400000",
    brutally_stopped: "stop=ignored",
    saved_elsewhere: "",
    protected_from_double_clicks: "",
}


def run(desktop):
    for case, board in CASES.items():
        with RecordPage(desktop, PROGRAM, board, protected=case is protected_from_double_clicks) \
                as page:
            case(page)
            page.wait_state("Start!", "options")
            page.close()
        print(case.__name__.replace("_", " "), flush=True)


run_tests(run)
