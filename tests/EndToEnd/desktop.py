"""A desktop of its own for each test: display, window manager, session bus and home folder."""

import contextlib
import ctypes
import os
import pathlib
import random
import shutil
import signal
import subprocess
import tempfile

from gi.repository import Gio

from waiting import eventually

SCREEN_WIDTH = 1400
SCREEN_HEIGHT = 1000
_DISPLAY_NUMBERS = (1000, 50000)

_PR_SET_PDEATHSIG = 1
_PR_SET_CHILD_SUBREAPER = 36
_prctl = ctypes.CDLL(None, use_errno=True).prctl

# Only what the tests need can be started through the bus, not what happens to be installed here.
_BUS_CONFIGURATION = """\
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={folder}</listen>
  <servicedir>{folder}/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


def _die_with_parent():
    _prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


def children():
    """The processes that have this one for a parent, as far as they still run."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            fields = (entry / "stat").read_text().rpartition(")")[2].split()
        except OSError:
            continue  # it has just ended
        if int(fields[1]) == os.getpid() and fields[0] != "Z":
            found.append(int(entry.name))
    return found


class Desktop:
    """Ends, with all that was started on it, at the end of its `with` block."""

    WHEEL_UP = 4  # the number of its button

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="bleedwise-"))
        self.home = self._make_folder("home")
        self.files = self._make_folder("files")  # for the documents of a test
        self.temporary = self._make_folder("temporary")
        self.configuration = self._make_folder("configuration")
        self.programs = self._make_folder("programs")  # first on the search path
        self.runtime = self._make_folder("runtime")
        self.runtime.chmod(0o700)
        self.environment = {
            "PATH": f"{self.programs}:/usr/bin",
            "HOME": str(self.home),
            "LANG": "C.UTF-8",
            "TMPDIR": str(self.temporary),
            "XDG_CONFIG_HOME": str(self.configuration),
            "XDG_RUNTIME_DIR": str(self.runtime),
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "QT_QPA_PLATFORM": "xcb",
        }
        # Other libraries are loaded before the sanitizers', and keep what they have allocated.
        self.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0"
        self.bus = None
        self._started = []
        self._display = None

    def __enter__(self):
        # Orphans come to this process, so that it can end them.
        _prctl(_PR_SET_CHILD_SUBREAPER, 1)
        try:
            self._start_bus()
            self._start_display()
            return self
        except BaseException:
            self.close()
            raise

    def __exit__(self, *_):
        self.close()

    def close(self):
        if self.bus:
            self.bus.set_exit_on_close(False)
        for program in reversed(self._started):
            if program is not self._display:
                program.kill()
                program.wait()
        if self._display:  # takes its lock and its socket away, unless it is killed
            self._display.terminate()
            self._display.wait()
        while running := children():
            for process in running:
                with contextlib.suppress(ProcessLookupError, ChildProcessError):
                    os.kill(process, signal.SIGKILL)
                    os.waitpid(process, 0)
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, *arguments, **options):
        """A program on this desktop, which does not outlive the test."""
        environment = {**self.environment, **options.pop("environment", {})}
        program = subprocess.Popen([os.fspath(argument) for argument in arguments],
                                   env=environment, preexec_fn=_die_with_parent, **options)
        self._started.append(program)
        return program

    def run(self, *arguments):
        """What a program prints, once it has ended well."""
        return subprocess.run(
            [os.fspath(argument) for argument in arguments],
            env=self.environment,
            check=True,
            stdout=subprocess.PIPE,
        ).stdout.decode()

    def install_program(self, name, script):
        program = self.programs / name
        program.write_text("#!/bin/sh\n" + script)
        program.chmod(0o755)
        return program

    def photograph(self, picture):
        picture.parent.mkdir(parents=True, exist_ok=True)
        self.run("import", "-window", "root", picture)

    # A person's hands.

    def press(self, *keys):
        self.run("xdotool", "key", *keys)

    def type(self, text):
        self.run("xdotool", "type", "--delay", "1", text)

    def click(self, position, button=1, repeat=1):
        x, y = position
        self.run("xdotool", "mousemove", str(x), str(y),
                 "click", "--repeat", str(repeat), "--delay", "40", str(button))

    def move_pointer(self, position):
        self.run("xdotool", "mousemove", *map(str, position))

    def press_button(self):
        self.run("xdotool", "mousedown", "1")

    def release_button(self):
        self.run("xdotool", "mouseup", "1")

    def drag(self, start, end):
        """In small steps, as a hand does it."""
        self.move_pointer(start)
        self.press_button()
        for step in range(1, 11):
            self.move_pointer(tuple(a + (b - a) * step // 10 for a, b in zip(start, end)))
        self.release_button()

    def _make_folder(self, name):
        folder = self.folder / name
        folder.mkdir()
        return folder

    def _start_bus(self):
        services = self._make_folder("services")
        shutil.copy("/usr/share/dbus-1/services/org.a11y.Bus.service", services)
        configuration = self.folder / "bus.conf"
        configuration.write_text(_BUS_CONFIGURATION.format(folder=self.folder))
        _, address = self._start_server(
            "dbus-daemon", f"--config-file={configuration}", "--nofork", "--print-address={}")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        self.bus = connect_to_bus(address)

    def _start_display(self):
        # Two servers that look for a free number at once may come to the same, where others have
        # left locks behind.
        number = random.randrange(*_DISPLAY_NUMBERS)
        self._display, _ = self._start_server(
            "Xvfb", f":{number}", "-displayfd", "{}", "-noreset", "-nolisten", "tcp",
            "-screen", "0", f"{SCREEN_WIDTH}x{SCREEN_HEIGHT}x24")
        self.environment["DISPLAY"] = f":{number}"
        self.start("openbox", "--config-file", "/etc/xdg/openbox/rc.xml",
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        eventually(self._has_window_manager, "a window manager")

    def _has_window_manager(self):
        root = self.run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK")
        return "window id" in root

    def _start_server(self, program, *arguments):
        """A server, and what it says on the pipe whose number stands for {} in its arguments, which
        it does when it is ready."""
        reading, writing = os.pipe()
        server = self.start(program, *(argument.format(writing) for argument in arguments),
                            pass_fds=[writing], stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)
        os.close(writing)
        with os.fdopen(reading) as pipe:
            line = pipe.readline().strip()
        if not line:
            raise AssertionError(f"{program} did not start")
        return server, line


def connect_to_bus(address):
    flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
             | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
    return Gio.DBusConnection.new_for_address_sync(address, flags, None, None)


def call(bus, destination, path, interface, method, arguments=None):
    """A D-Bus call's result, without the tuple around a single value."""
    reply = bus.call_sync(destination, path, interface, method, arguments, None,
                          Gio.DBusCallFlags.NONE, 10_000, None).unpack()
    return reply[0] if len(reply) == 1 else reply

