# What tests/window/run does: burns, records and ends the real program in a real window.
import os
import resource
import signal
import sys
from pathlib import Path

from gi.repository import Gio

from window import HARDWARE, ON_THE_FLY, SOFTWARE, STATUS, Atspi, Program, RecordPage, tool

PROGRAM, CHECKER, *FOLDER = map(os.path.abspath, sys.argv[1:])
# The firmware fills whole sectors, so that the calibration follows at once.
FIRMWARE, CALIBRATION = bytes(range(256)) * 512, b"calibration" * 100
# Plain names are for the pictures.
LOAD_FILE, CALIBRATION_FILE = ("firmware.lod", "calibration.cfp") if FOLDER else \
    ("a <b>ü \"1\" 'ß'.lod", "c & d.cfp")


def expect(what, seen, wanted):
    assert seen == wanted, f"{what}: saw {seen!r}, wanted {wanted!r}"


def picture(name):
    if FOLDER:
        # With its frame.
        active = tool("xdotool", "getactivewindow")
        tool("import", "-silent", "-frame", "-window", active, f"{FOLDER[0]}/{name}.png")


def burn(program):
    program.click("push button", "Get Brannel board version")
    program.wait_for_label("Version of the board", r"0x\s*10203")
    program.enter("Path of the main lod file", "<i>nö.lod")
    program.click("push button", "Burn!")
    expect("box", program.close_box(),
           "<i>nö.lod :\ncannot be opened: No such file or directory")
    program.enter("Path of the main lod file", LOAD_FILE)
    program.enter("Path of the calibration file", CALIBRATION_FILE)
    program.click("push button", "Burn!")
    bar = program.controls["progress bar", "Progress"]
    program.wait(lambda: 30 <= Atspi.Value.get_current_value(bar) < 100, "a bar that moves")
    picture("burn-busy")
    expect_awake(program, True)
    for status in r"Verifying\.\.\.", r"Done\.":
        program.wait_for_label("Status of the burn", status)
    picture("burn-done")
    expect_awake(program, False)
    expect("exit code", program.end_by(signal.SIGTERM), 0)


# Waits until the login manager has been told that the machine must not sleep, or may again.
def expect_awake(program, wanted):
    manager = Gio.DBusProxy.new_for_bus_sync(
        Gio.BusType.SYSTEM, Gio.DBusProxyFlags.NONE, None, "org.freedesktop.login1",
        "/org/freedesktop/login1", "org.freedesktop.login1.Manager")
    program.wait(lambda: ("Tovalink" in str(manager.ListInhibitors())) == wanted,
                 f"a machine that is kept awake: {wanted}")


def check(file):
    print(tool(CHECKER, file), flush=True)


def exceed_a_limit_on_files(page):
    resource.prlimit(page.pid, resource.RLIMIT_FSIZE, (100000, resource.RLIM_INFINITY))
    page.choose(ON_THE_FLY, "limit.prf")
    page.start_or_stop()
    expect("box", page.close_box(), "Cannot write limit.prf: File too large. The first 99992 "
           "bytes of the recording are in the file.")
    page.wait_for_label(STATUS, r"Recorded 99992 bytes\. \(Stopped on error!\)")
    check("limit.prf")
    resource.prlimit(page.pid, resource.RLIMIT_FSIZE, 2 * (resource.RLIM_INFINITY,))


def record(page, mode, name, status):
    page.choose(mode, f"{name}.prf")
    page.start_or_stop()
    page.wait_for_label(STATUS, status)
    picture(f"record-{name}-busy")
    expect_awake(page, True)
    if mode != HARDWARE:
        page.start_or_stop()
    page.wait_for_label(STATUS, r".*Stopped Nicely.*")
    picture(f"record-{name}-done")
    expect_awake(page, False)
    check(f"{name}.prf")
    for folder in FOLDER:
        tool("cp", f"{name}.prf", folder)


os.chdir(os.environ["HOME"])
Path("firmware.bin").write_bytes(FIRMWARE)
tool("objcopy", "--input-target=binary", "--output-target=ihex", "--change-addresses=0x01000000",
     "firmware.bin", LOAD_FILE)
Path(CALIBRATION_FILE).write_bytes(CALIBRATION)
# Without a language files must be found all the same.
burn(Program(PROGRAM, "pace=50000,flash=flash.bin", LC_ALL="C"))
expect("flash", Path("flash.bin").read_bytes().rstrip(b"\xff") == FIRMWARE + CALIBRATION, True)
window = RecordPage(PROGRAM, "rate=8388608,buffer=67108864,trigger=2500")
exceed_a_limit_on_files(window)
record(window, ON_THE_FLY, "on-the-fly", r"Recorded \d+ bytes \(.*KB/s\)\.")
record(window, HARDWARE, "hardware", r"Waiting for trigger\.\.\.")
record(window, SOFTWARE, "software", r"Buffer is full\. .*")
window.choose(SOFTWARE, "ended.prf")
window.start_or_stop()
window.wait_for_label(STATUS, r"Buffer (contains|is full).*")
expect("exit code", window.end_by(signal.SIGTERM), 0)
check("ended.prf")
