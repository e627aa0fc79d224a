"""The virtual desktop on which driver.py starts the program, and the tools to use it."""
import ctypes
import os
import shutil
import signal
import subprocess
import tempfile
import time

from gi.repository import Gio, GLib

CALL_TIMEOUT_MS = 20000  # a program may be deaf for seconds while it waits for the board
BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>unix:dir={dir}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/></policy></busconfig>"""


class DriverError(AssertionError):
    """What the script waited for or looked for did not come; the text says what was there."""


def wait_for(predicate, seconds, what, seen=None):
    """Returns the first true result of predicate(); a GLib error means: ask again."""
    deadline, trouble = time.monotonic() + seconds, None
    while True:
        try:
            result, trouble = predicate(), None
            if result:
                return result
        except GLib.Error as error:
            trouble = error.message
        if time.monotonic() > deadline:
            raise DriverError(f"waited {seconds} s for {what}; saw instead: "
                              f"{trouble or (seen() if seen else repr(result))}")
        time.sleep(0.05)


class Desktop:
    """A virtual screen with a window manager and a private bus that carries accessibility.

    The window manager is there because without one nobody gives the keyboard back to the window
    from which a dialog was opened: keys then go to whatever the mouse happens to lie on.
    """

    def __init__(self):
        self.processes, self.bus = [], None

    def __enter__(self):
        self.dir = tempfile.mkdtemp(prefix="desktop-")  # mode 0700, serves as XDG_RUNTIME_DIR
        try:
            self._start_all()
        except BaseException:
            self.__exit__()
            raise
        return self

    def _start_all(self):
        callers = ("AT_SPI_", "DBUS_", "QT_QPA_", "WAYLAND_", "XAUTH", "XDG_")
        self.env = {k: v for k, v in os.environ.items() if not k.startswith(callers)}
        self.env.update(XDG_RUNTIME_DIR=self.dir, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
                        QT_QPA_PLATFORM="xcb", LC_ALL="C.UTF-8")
        # -noreset: otherwise the screen forgets its properties when its last window closes.
        number = self._start_announcing(["Xvfb", "-displayfd", "{fd}", "-noreset", "-nolisten",
                                         "tcp", "-screen", "0", "1280x1024x24"])
        self.env["DISPLAY"] = f":{number}"
        config = os.path.join(self.dir, "bus.conf")
        with open(config, "w") as file:
            file.write(BUS_CONFIG.format(dir=self.dir))
        address = self._start_announcing(["dbus-daemon", f"--config-file={config}", "--nofork",
                                          "--nopidfile", "--print-address={fd}"])
        self.env["DBUS_SESSION_BUS_ADDRESS"] = address
        self._start([shutil.which("at-spi-bus-launcher", path="/usr/libexec:/usr/lib/at-spi2-core")
                     or "at-spi-bus-launcher", "--launch-immediately"])
        session = connect(address)
        address = wait_for(lambda: session.call_sync(
            "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None, None,
            Gio.DBusCallFlags.NO_AUTO_START, CALL_TIMEOUT_MS, None).unpack()[0],
                           20, "the bus for accessibility")
        session.close_sync(None)
        self.bus = connect(address)
        # Qt 5.15 asks the bus launcher for the address too late when accessibility is forced on,
        # and then stays silent for good. The address on the root window it reads at once.
        self.tool("xprop", "-root", "-format", "AT_SPI_BUS", "8s", "-set", "AT_SPI_BUS", address)
        # It announces itself before it is ready, and never shows a window that comes in between.
        self._start(["openbox", "--sm-disable", "--config-file", "/etc/xdg/openbox/rc.xml",
                     "--startup", "xprop -root -format READY 8s -set READY yes"])
        wait_for(lambda: "yes" in self.tool("xprop", "-root", "READY"), 20, "the window manager")

    def _start(self, command, **options):
        self.processes.append(subprocess.Popen(
            command, env=self.env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, preexec_fn=die_with_parent, **options))

    def _start_announcing(self, command):
        """Starts a server that writes its address to the file descriptor {fd} when it is ready."""
        reader, writer = os.pipe()
        self._start([part.format(fd=writer) for part in command], pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader) as pipe:
            line = pipe.readline().strip()
        if not line:
            raise DriverError(f"{command[0]} did not start")
        return line

    def __exit__(self, *_):
        if self.bus:
            self.bus.close_sync(None)
        for process in reversed(self.processes):
            stop(process)
        shutil.rmtree(self.dir, ignore_errors=True)

    def tool(self, *command):
        """Runs xdotool or the like on this screen and returns its output."""
        done = subprocess.run(command, env=self.env, text=True, capture_output=True, timeout=30)
        if done.returncode and command[:2] != ("xdotool", "search"):  # search: 1 is "nothing"
            raise DriverError(f"{' '.join(command)}: {done.stderr.strip()}")
        return done.stdout

    def calls(self, calls):
        """Puts all calls (destination, path, interface, method, arguments) on the bus at once and
        returns the answers in order; a call that failed is answered by its GLib.Error."""
        answers, open_calls = [None] * len(calls), len(calls)

        def finished(bus, result, index):
            nonlocal open_calls
            open_calls -= 1
            try:
                value = bus.call_finish(result).unpack()
                answers[index] = value[0] if len(value) == 1 else value
            except GLib.Error as error:
                answers[index] = error

        for index, (destination, path, interface, method, arguments) in enumerate(calls):
            self.bus.call(destination, path, interface, method, arguments, None,
                          Gio.DBusCallFlags.NO_AUTO_START, CALL_TIMEOUT_MS, None, finished, index)
        while open_calls:
            GLib.MainContext.default().iteration(True)
        return answers

    def call(self, *one):
        answer = self.calls([one])[0]
        if isinstance(answer, GLib.Error):
            raise answer
        return answer

    def ask_bus(self, method, *names):
        return self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         method, GLib.Variant(f"({'s' * len(names)})", names))


def connect(address):
    return Gio.DBusConnection.new_for_address_sync(
        address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
        | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)


def die_with_parent():
    """Between fork and exec: should this script be killed, its children must not stay behind.
    Linux means the thread that started them, so start desktops and programs in the main one."""
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # 1 is PR_SET_PDEATHSIG


def stop(process):
    process.terminate()
    try:
        process.wait(5)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
