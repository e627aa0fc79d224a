#!/usr/bin/python3
"""Burns with the real program in a real window, and has the simulated board fail in every way.

    test_burn.py PROGRAM

Prints a line for each case; exit code 0 means that all of them went as they should.
"""
import os
import subprocess
import sys

from driver import Program, content, expect, run_tests

PROGRAM = os.path.abspath(sys.argv[1])
BASE = 0x01000000
FIRMWARE, CALIBRATION = "a <b>ü \"1\" 'ß'.lod", "c & d.cfp"

# parameters of the board, load file, calibration file, status, box
CASES = [
    ("", "", "", "Choose a file!", None),
    ("pace=0,flash=flash.bin", FIRMWARE, CALIBRATION, "Done.", None),
    ("", "<i>no.lod", "", "Error.", "<i>no.lod :\ncannot be opened: No such file or directory"),
    ("", "damaged.lod", "", "Error.",
     "damaged.lod :\nline 1: checksum is 0x00, should be 0xFF"),
    ("fail=fill@2:it is <b>torn", FIRMWARE, CALIBRATION, "Error.",
     CALIBRATION + " :\nit is <b>torn"),
    ("pace=0,fail=burn:no supply voltage", FIRMWARE, "", "Error.", "no supply voltage"),
    ("board=none", FIRMWARE, "", "Error.", "no board is connected"),
]


def make_files():
    subprocess.run(["objcopy", "-O", "ihex", "--change-addresses", hex(BASE), "/bin/true", FIRMWARE],
                   check=True)
    subprocess.run(["objcopy", "-O", "binary", "--gap-fill", "0xff", "/bin/true", "firmware.bin"],
                   check=True)
    with open(CALIBRATION, "wb") as file:
        file.write(bytes(range(256)) * 10)
    with open("damaged.lod", "w") as file:
        file.write(":0000000100\n")


def burn(desktop, board, lod, cfp, status, box):
    # Without a language files must be found all the same.
    with Program(desktop, PROGRAM, board, LC_ALL="C") as program:
        program.enter(program.find("combo box", inside="Choose main lod file"), lod)
        program.enter(program.find("combo box", inside="Choose calibration file"), cfp)
        label = program.find("label", inside="Burn image")
        program.click(program.find("push button", "Burn!"))
        if box:
            expect("box", program.answer_box("OK"), "Tovalink: " + box)
        program.wait_for(lambda: program.text_of(label) == status, 60, status)
        reset = program.find("push button", "Reset")
        program.wait_for(lambda: program.is_enabled(reset), 20, "Reset to be usable again")
        program.close_window()
        expect("exit code", program.exit_code(), 0)
    print(board, lod, cfp, status, flush=True)


def check_flash():
    """The firmware, and the calibration file in the next sector of 64 KiB."""
    flash, firmware = content("flash.bin"), content("firmware.bin")
    start = flash.index(firmware)
    sector = (start + len(firmware) + 0xFFFF) & ~0xFFFF
    expect("calibration", flash[sector:].rstrip(b"\xff"), content(CALIBRATION).rstrip(b"\xff"))
    expect("recent files", content("tovaconfig.cfg").count(b"a &lt;b>"), 1)


def run(desktop):
    make_files()
    for case in CASES:
        burn(desktop, *case)
    check_flash()


if __name__ == "__main__":
    run_tests(run)
