# Uses the real program in a real window, with the simulated board: burns, records, ends it.
#
#   tests/window/desktop /usr/bin/python3 tests/window/test.py PROGRAM CHECKRECORD [FOLDER]
#
# Exit code 0 means that all went as it should. Pictures and record files are left in FOLDER.
import os
import sys
from pathlib import Path

import dbus

from window import HARDWARE, ON_THE_FLY, SOFTWARE, STATUS, Atspi, Program, RecordPage, tool

PROGRAM, CHECKER, *FOLDER = map(os.path.abspath, sys.argv[1:])
# The firmware fills whole sectors, so that the calibration follows at once.
FIRMWARE, CALIBRATION = bytes(range(256)) * 512, b"calibration" * 100
# Plain names are for the pictures.
LOAD_FILE, CALIBRATION_FILE = ("firmware.lod", "calibration.cfp") if FOLDER else \
    ("a <b>ü \"1\" 'ß'.lod", "c & d.cfp")


# Waits until the login manager has been told that the machine must not sleep, or may again; then
# takes a picture.
def look(program, name, is_awake):
    manager = dbus.SystemBus().get_object("org.freedesktop.login1", "/org/freedesktop/login1")
    program.wait(lambda: ("Tovalink" in str(manager.ListInhibitors())) == is_awake,
                 f"a machine that is kept awake: {is_awake}")
    for folder in FOLDER:
        # With its frame.
        active = tool("xdotool", "getactivewindow")
        tool("import", "-silent", "-frame", "-window", active, f"{folder}/{name}.png")


def burn(program):
    program.click("push button", "Get Brannel board version")
    program.wait_for_label("Version of the board", r"0x\s*10203")
    program.enter("Path of the main lod file", "<i>nö.lod")
    program.click("push button", "Burn!")
    program.close_box("<i>nö.lod :\ncannot be opened: No such file or directory")
    program.enter("Path of the main lod file", LOAD_FILE)
    program.enter("Path of the calibration file", CALIBRATION_FILE)
    program.click("push button", "Burn!")
    bar = program.controls["progress bar", "Progress"]
    program.wait(lambda: 30 <= Atspi.Value.get_current_value(bar) < 100, "a bar that moves")
    look(program, "burn-busy", True)
    program.wait_for_label("Status of the burn", r"Verifying\.\.\.")
    program.wait_for_label("Status of the burn", r"Done\.")
    look(program, "burn-done", False)
    program.end()
    assert Path("flash.bin").read_bytes().rstrip(b"\xff") == FIRMWARE + CALIBRATION


def exceed_a_limit_on_files(page):
    tool("prlimit", "--pid", page.process.pid, "--fsize=100000:unlimited")
    page.choose(ON_THE_FLY, "limit.prf")
    page.start_or_stop()
    page.close_box("Cannot write limit.prf: File too large. The first 99992 bytes of the recording "
                   "are in the file.")
    tool("prlimit", "--pid", page.process.pid, "--fsize=unlimited")


def record(page, mode, name, status):
    page.choose(mode, f"{name}.prf")
    page.start_or_stop()
    page.wait_for_label(STATUS, status)
    look(page, f"record-{name}-busy", True)
    if mode != HARDWARE:
        page.start_or_stop()
    page.wait_for_label(STATUS, r".*Stopped Nicely.*")
    look(page, f"record-{name}-done", False)


os.chdir(os.environ["HOME"])
Path("firmware.bin").write_bytes(FIRMWARE)
tool("objcopy", "-Ibinary", "-Oihex", "--change-addresses=0x01000000", "firmware.bin", LOAD_FILE)
Path(CALIBRATION_FILE).write_bytes(CALIBRATION)
# Without a language files must be found all the same.
burn(Program(PROGRAM, "pace=50000,flash=flash.bin", LC_ALL="C"))
window = RecordPage(PROGRAM, "rate=8388608,buffer=67108864,trigger=2500")
exceed_a_limit_on_files(window)
record(window, ON_THE_FLY, "on-the-fly", r"Recorded \d+ bytes \(\d{4}(\.\d+)? KB/s\)\.")
record(window, HARDWARE, "hardware", r"Waiting for trigger\.\.\.")
record(window, SOFTWARE, "software", r"Buffer is full\. .*")
window.choose(SOFTWARE, "ended.prf")
window.start_or_stop()
window.wait_for_label(STATUS, r"Buffer (contains|is full).*")
window.end()
for file in "limit.prf", "on-the-fly.prf", "hardware.prf", "software.prf", "ended.prf":
    print(tool(CHECKER, file), flush=True)
    for folder in FOLDER:
        tool("cp", file, folder)
