#!/usr/bin/python3
"""Burns a load file with the real program on a virtual display and leaves pictures of it.

    burn_demo.py PROGRAM LOAD_FILE OUTPUT_FOLDER

The board is the simulated one. Exit code 0 means that the program said "Done.", ended with 0 and
left bytes in the board's flash.
"""
import hashlib
import os
import sys

from driver import Desktop, DriverError, Program, content, expect

FLASH_START, FLASH_FILE = 0x01000000, "flash.bin"


def burn(program, load_file):
    program.enter(program.find("combo box", inside="Choose main lod file", seconds=60), load_file)
    program.screenshot("burn-start.png")
    version_button = program.find("push button", "Get Brannel board version")
    version = program.find("label", beside=version_button)
    program.click(version_button)
    program.wait_for(lambda: program.text_of(version).startswith("0x"), 30, "the board's version")
    print(f"Board: {program.text_of(version)}", flush=True)

    status = program.find("label", inside="Burn image")
    bar = program.find("progress bar")
    program.click(program.find("push button", "Burn!"))
    program.wait_for(lambda: program.value_of(bar) >= 30, 60, "a third of the burn")
    program.screenshot("burn-busy.png")
    program.wait_for(lambda: program.text_of(status) == "Done.", 180, "the status Done.")
    program.screenshot("burn-done.png")
    program.close_window()
    expect("exit code", program.exit_code(), 0)


def report_flash():
    flash = content(FLASH_FILE)
    used = flash.strip(b"\xff")
    if not used:
        raise DriverError("the flash is empty")
    print(f"Flash: {len(used)} bytes used from 0x{FLASH_START + flash.index(used):08X} on, SHA-256 "
          f"{hashlib.sha256(used).hexdigest()}")


def main(arguments):
    if len(arguments) != 3:
        sys.exit(__doc__)
    program_path, load_file, folder = map(os.path.abspath, arguments)
    # Slow enough for a picture: three characters of a load file make about one byte.
    pace = max(1, min(2 << 20, os.path.getsize(load_file) // 3 // 4))
    os.makedirs(folder, exist_ok=True)
    os.chdir(folder)
    try:
        with Desktop() as desktop, \
                Program(desktop, program_path, f"flash={FLASH_FILE},pace={pace}") as program:
            burn(program, os.path.relpath(load_file))
        report_flash()
    except (DriverError, OSError) as error:
        sys.exit(f"The demo failed: {error}")


main(sys.argv[1:])
