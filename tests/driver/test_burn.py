#!/usr/bin/python3
"""Burns with the real program in a real window, and has the simulated board fail in every way.

    test_burn.py PROGRAM

Prints a line for each case; exit code 0 means that all of them went as they should.
"""
import os
import subprocess
import sys
import tempfile

from driver import Desktop, DriverError, Program, with_simulator

TITLE = "TOVAlink [V2.01.03 by 2018-06-24-gbc70b797]"
BASE = 0x01000000
FIRMWARE, CALIBRATION = "a <b>ü \"1\" 'ß'.lod", "c & d.cfp"

# name, parameters of the board, load file, calibration file, status, box
CASES = [
    ("no load file", "", "", "", "Choose a file!", None),
    ("load file alone", "pace=0", FIRMWARE, "", "Done.", None),
    ("with calibration", "pace=0", FIRMWARE, CALIBRATION, "Done.", None),
    ("load file missing", "", "<i>no.lod", "", "Error.",
     "<i>no.lod :\ncannot be opened: No such file or directory"),
    ("load file damaged", "", "damaged.lod", "", "Error.",
     "damaged.lod :\nline 1: checksum is 0x00, should be 0xFF"),
    ("calibration refused", "fail=fill@2:it is <b>torn", FIRMWARE, CALIBRATION, "Error.",
     CALIBRATION + " :\nit is <b>torn"),
    ("burn fails", "pace=0,fail=burn:no supply voltage", FIRMWARE, "", "Error.",
     "no supply voltage"),
    ("no board", "board=none", FIRMWARE, "", "Error.", "no board is connected"),
    ("verify finds what was not written", f"pace=0,skip=0x{BASE + 0x1000:08X}", FIRMWARE, "",
     "Error.", None),
]


def fail(text):
    raise DriverError(text)


def make_files():
    subprocess.run(["objcopy", "-O", "ihex", "--change-addresses", hex(BASE), "/bin/true", FIRMWARE],
                   check=True)
    subprocess.run(["objcopy", "-O", "binary", "--gap-fill", "0xff", "/bin/true", "firmware.bin"],
                   check=True)
    with open(CALIBRATION, "wb") as file:
        file.write(bytes(range(256)) * 10)
    with open("damaged.lod", "w") as file:
        file.write(":0000000100\n")


def burn_once(desktop, program_path, board, lod, cfp, language=None):
    """Returns what the user reads at the end: the status and the box, None if there was none."""
    with Program(desktop, [program_path], env={"BRAN_SIMULATOR": ",".join(["flash=flash.bin", board]).rstrip(","),
                                               "LC_ALL": language}) as program:
        if lod:
            program.enter(program.find("combo box", inside="Choose main lod file"), lod)
        if cfp:
            program.enter(program.find("combo box", inside="Choose calibration file"), cfp)
        status = program.find("label", inside="Burn image")
        program.click(program.find("push button", "Burn!"))
        text = None
        program.wait_for(lambda: program.boxes() or program.text_of(status) in
                         ("Done.", "Error.", "Choose a file!"), 60, "the end of the burn")
        if program.text_of(status) == "Error." or program.boxes():
            box = program.wait_for(program.boxes, 20, "the message box")[0]
            text = program.box_text(box)
            program.click(program.find("push button", "OK", inside=box))
            program.wait_for(lambda: not program.boxes(), 20, "the box to close")
        reset = program.find("push button", "Reset")
        program.wait_for(lambda: program.is_enabled(reset), 20, "Reset to be usable again")
        end = program.text_of(status)
        program.close_window()
        if program.exit_code() != 0:
            fail(f"the program ended with {program.exit_code()}: {program.output()}")
        return end, text


def expect(what, seen, wanted):
    if seen != wanted:
        fail(f"{what}: saw {seen!r}, wanted {wanted!r}")


def flash_holds(offset, wanted):
    with open("flash.bin", "rb") as file:
        file.seek(offset)
        expect(f"flash at {offset:#x}", file.read(len(wanted)) == wanted, True)


def content(path):
    with open(path, "rb") as file:
        return file.read()


def first_address():
    """Where the firmware begins: its load file's second line, behind the upper address."""
    for line in content(FIRMWARE).splitlines():
        if line[7:9] == b"00":
            return int(line[3:7], 16)
    return fail("the load file has no data")


def closing_goes_on(desktop, program_path, board, box_wanted):
    with Program(desktop, [program_path], env={"BRAN_SIMULATOR": board}) as program:
        program.enter(program.find("combo box", inside="Choose main lod file"), FIRMWARE)
        program.click(program.find("push button", "Burn!"))
        status = program.find("label", inside="Burn image")
        program.wait_for(lambda: program.text_of(status) == "Burning...", 20, "the burn")
        program.close_window()
        if box_wanted:
            box = program.wait_for(program.boxes, 60, "the box after the window has closed")[0]
            expect("box", program.box_text(box), box_wanted)
            program.key("Return")
        expect("exit code", program.exit_code(60), 0)


def run(desktop, program_path):
    firmware, start = content("firmware.bin"), first_address()
    for name, board, lod, cfp, status, box in CASES:
        if os.path.exists("flash.bin"):
            os.remove("flash.bin")
        if "skip" in board:
            box = (f"verification failed at 0x{BASE + 0x1000:08X}: flash holds 0xFF, "
                   f"should hold 0x{firmware[0x1000 - start]:02X}")
        expect(name, burn_once(desktop, program_path, board, lod, cfp), (status, box))
        if status == "Done.":
            flash_holds(start, firmware)
        if cfp and status == "Done.":
            sector = (start + len(firmware) + 0xFFFF) & ~0xFFFF
            flash_holds(sector, content(CALIBRATION))
        print(f"{name}: {status}", flush=True)
    expect("no language", burn_once(desktop, program_path, "pace=0", FIRMWARE, "", "C"),
           ("Done.", None))
    expect("recent file", FIRMWARE.replace("<", "&lt;").replace('"', "&quot;").encode() in content("tovaconfig.cfg"), True)
    closing_goes_on(desktop, program_path, "pace=10K", None)
    closing_goes_on(desktop, program_path, "pace=10K,fail=verify:worn out", "worn out")
    print("closing the window lets a burn end, and its error be seen", flush=True)


def main():
    program_path = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        os.chdir(folder)
        make_files()
        try:
            run(desktop, with_simulator(desktop, program_path))
        except DriverError as error:
            sys.exit(f"FAILED: {error}")
        finally:
            os.chdir("/")


if __name__ == "__main__":
    main()
