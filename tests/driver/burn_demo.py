#!/usr/bin/python3
"""Burns a load file with the real program on a virtual display and leaves pictures of it.

    burn_demo.py PROGRAM LOAD_FILE OUTPUT_FOLDER

The board is the simulated one. Exit code 0 means that the program said "Done.", ended with 0 and
left bytes in the board's flash.
"""
import hashlib
import os
import re
import shutil
import sys

from driver import Desktop, DriverError, Program, with_simulator

FLASH_START, FLASH_SIZE = 0x01000000, 16 * 1024 * 1024
FLASH_FILE, LOAD_FILE = "flash.bin", "firmware.lod"


def pace():
    """Bytes per second of the simulated board: slow enough for a picture of the burn. Three
    characters of a load file make about one byte; 4 s are to be spent on them."""
    return max(1, min(2 * 1024 * 1024, os.path.getsize(LOAD_FILE) // 3 // 4))


def picture(program, name):
    program.screenshot(name, program.windows()[0].name)
    print(f"Picture: {os.path.abspath(name)}", flush=True)


def complain_about_boxes(program):
    for box in program.boxes():
        program.screenshot("burn-failed.png")
        raise DriverError(f"the program says: {program.box_text(box)}")


def waiting(program, condition, seconds, what, seen):
    def fulfilled():
        if condition():
            return True
        complain_about_boxes(program)
        return False
    program.wait_for(fulfilled, seconds, what, seen)


def burn(program):
    lod_box = program.find("combo box", inside="Choose main lod file", seconds=60)
    picture(program, "burn-start.png")
    program.enter(lod_box, LOAD_FILE)

    version_button = program.find("push button", "Get Brannel board version")
    version = program.find("label", beside=version_button)
    before = program.text_of(version)
    program.click(version_button)
    waiting(program, lambda: program.text_of(version) != before, 30, "the board's version",
            lambda: program.text_of(version))
    answer = program.text_of(version)
    if not re.fullmatch(r"0x *[0-9A-Fa-f]+", answer):
        raise DriverError(f"the board's version is {answer!r}")
    print(f"Board: {answer}", flush=True)

    status = program.find("label", inside="Burn image")
    bar = program.find("progress bar")

    def said():
        text = program.text_of(status)
        if text == "Error.":
            complain_about_boxes(program)
            raise DriverError("the status is Error.")
        return text

    program.click(program.find("push button", "Burn!"))
    waiting(program, lambda: said() == "Done." or program.value_of(bar) >= 30, 60,
            "a third of the burn", lambda: f"{said()} {program.value_of(bar)} %")
    if said() == "Done.":
        raise DriverError("the burn was over before a picture of it could be taken")
    picture(program, "burn-busy.png")
    waiting(program, lambda: said() == "Done.", 180, "the status Done.", said)
    picture(program, "burn-done.png")
    program.close_window()
    code = program.exit_code()
    if code != 0:
        raise DriverError(f"the program ended with {code}: {program.output()}")


def report_flash():
    with open(FLASH_FILE, "rb") as file:
        flash = file.read()
    used = flash.strip(b"\xff")
    if len(flash) != FLASH_SIZE or not used:
        raise DriverError(f"{FLASH_FILE} holds {len(flash)} bytes, {len(used)} of them used")
    first = FLASH_START + len(flash) - len(flash.lstrip(b"\xff"))
    print(f"Flash: {len(used)} bytes used from 0x{first:08X} on, SHA-256 "
          f"{hashlib.sha256(used).hexdigest()}")


def main(arguments):
    if len(arguments) != 3:
        sys.exit(__doc__)
    program_path, load_file, folder = map(os.path.abspath, arguments)
    os.makedirs(folder, exist_ok=True)
    os.chdir(folder)
    if not (os.path.exists(LOAD_FILE) and os.path.samefile(load_file, LOAD_FILE)):
        shutil.copyfile(load_file, LOAD_FILE)
    for old in (FLASH_FILE, "burn-start.png", "burn-busy.png", "burn-done.png", "burn-failed.png"):
        if os.path.exists(old):
            os.remove(old)
    try:
        with Desktop() as desktop, Program(desktop, [with_simulator(desktop, program_path)], env={
                "BRAN_SIMULATOR": f"flash={FLASH_FILE},pace={pace()}"}) as program:
            burn(program)
        report_flash()
    except (DriverError, OSError) as error:
        sys.exit(f"The demo failed: {error}")


main(sys.argv[1:])
