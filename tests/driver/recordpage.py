"""The page "Record" of the real window, as a person uses it."""
import re
import subprocess

from driver import DriverError, Program, expect

SOFTWARE, ON_THE_FLY, HARDWARE = ("SW Circular buffer", "In the file on the fly",
                                  "HW Circular buffer")
MODES = (SOFTWARE, ON_THE_FLY, HARDWARE)


class RecordPage:
    def __init__(self, desktop, program_path, board, protected=False):
        self.program = Program(desktop, program_path, board)
        self.protected = protected

    def __enter__(self):
        program = self.program
        if not self.protected:
            program.click(program.find("menu item", "Options"))
            program.click(program.find("menu item", "Protect Start/Stop double click"))
        program.click(program.find("page tab", "Record"))
        self.button = program.find("push button", "Start!")
        self.brutal = program.find("push button", "Brutal Stop in 5 seconds!")
        self.status = program.find("label", inside="Recording")
        self.file = program.find("combo box", inside="Choose destination record file")
        return self

    def __exit__(self, *details):
        self.program.__exit__(*details)

    def choose(self, mode, file):
        self.program.check(self.program.find("check box", mode))
        self.program.enter(self.file, file)

    def click(self):
        """The start/stop button."""
        self.program.click(self.button)

    def start(self, mode, file, status):
        """Starts a recording and waits for that status."""
        self.choose(mode, file)
        self.click()
        self.wait_status(status)

    def reads(self):
        return self.program.text_of(self.status)

    def wait_status(self, pattern, seconds=30):
        """Waits for a status line; returns it."""
        return self.program.wait_for(lambda: re.fullmatch(pattern, self.reads()), seconds,
                                     f"the status {pattern!r}", self.reads)[0]

    def state(self):
        """The buttons as a user sees them, and whether the options can be used."""
        self.program.refresh(self.button, self.brutal, self.file)
        shown = [b for b in (self.button, self.brutal) if "showing" in b.states]
        return [b.name + ("" if "enabled" in b.states else " (grey)") for b in shown] + \
            (["options"] if "enabled" in self.file.states else [])

    def wait_state(self, *wanted):
        self.program.wait_for(lambda: self.state() == list(wanted), 20, f"{wanted}",
                              lambda: repr(self.state()))

    def close(self):
        self.program.close_window()
        expect("exit code", self.program.exit_code(), 0)


def check_record(checker, file):
    """Has the checker prove a record file whole; returns its line."""
    done = subprocess.run([checker, file], capture_output=True, text=True)
    if done.returncode != 0:
        raise DriverError(f"checkrecord: {done.stdout}{done.stderr}")
    return done.stdout.strip()
