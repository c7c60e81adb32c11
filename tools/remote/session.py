"""A separate desktop for one program: display, window manager, accessibility bus.

    with Desktop() as desktop:
        program = desktop.start(["build/release/bin/vornix-sim", "--", "build/release/bin/vornix"])
        program.menu("Connection", "Scan for Devices")

Scripts that use it begin with `enter()`, which restarts them on a virtual display, so that neither the
user's desktop nor another test interferes.
"""

import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

from gi.repository import GLib

from .accessibility import DEADLINE_S, PATIENCE, Bus, wait_until

ROOT = pathlib.Path(__file__).resolve().parents[2]
_DIALOG_ROLES = ("dialog", "alert message")
_ENTERED = "VORNIX_REMOTE_SESSION"


def enter():
    """Restarts the script on a new virtual display; returns if it already runs there. Call it first,
    before any process is started."""
    if os.environ.get(_ENTERED):
        return
    environment = dict(
        os.environ,
        VORNIX_VIRTUAL_DISPLAY="1",
        QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
        LC_ALL="C.UTF-8",
        **{_ENTERED: "1"})
    # The preload list of a test bed is for the program under test, not for the desktop.
    environment.pop("LD_PRELOAD", None)
    command = [str(ROOT / "tools/with-display"), sys.executable, *sys.argv]
    os.execve(command[0], command, environment)


class Desktop:
    def __enter__(self):
        self._programs = []
        # The directory in which the accessibility bus also puts its socket by default.
        sockets = os.environ.get("XDG_RUNTIME_DIR", tempfile.gettempdir())
        self._message_bus = subprocess.Popen(
            ["dbus-daemon", "--session", "--nofork", "--print-address=1",
             f"--address=unix:tmpdir={sockets}"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = self._message_bus.stdout.readline().strip()
        self._window_manager = self._manage_windows()
        self.bus = Bus()
        return self

    def __exit__(self, *unused):
        for program in self._programs:
            program.close()
        for helper in (self._window_manager, self._message_bus):
            helper.terminate()
            helper.wait()
        self._message_bus.stdout.close()

    def _manage_windows(self):
        """Starts the window manager and returns its process when it is ready."""
        manager = subprocess.Popen(
            ["openbox", "--sm-disable"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(self._is_managed, "a window manager")
        return manager

    @staticmethod
    def _is_managed():
        return subprocess.run(["wmctrl", "-m"], capture_output=True).returncode == 0

    def start(self, command, environment=None):
        program = Program(self.bus, command, environment or {})
        self._programs.append(program)
        return program

    @staticmethod
    def screenshot(path, extents=None):
        """Saves the screen, or a part of it (x, y, width, height), as a PNG file."""
        subprocess.run(["import", *_part(extents), "+repage", str(path)], check=True)

    @staticmethod
    def picture(extents):
        """The pixels of a part of the screen, as bytes."""
        return subprocess.run(["import", *_part(extents), "-depth", "8", "rgb:-"],
                              check=True, stdout=subprocess.PIPE).stdout


def _part(extents):
    crop = []
    if extents:
        x, y, width, height = extents
        crop = ["-crop", f"{width}x{height}+{x}+{y}"]
    return ["-window", "root", *crop]


class Program:
    """A started program with one main window, which may be a child of the started command."""

    def __init__(self, bus, command, environment):
        self._bus = bus
        self._menu_entries = {}
        self._log = tempfile.TemporaryFile(mode="w+", encoding="utf-8", errors="replace")
        self._process = subprocess.Popen(
            [str(part) for part in command], env=dict(os.environ, **environment),
            stdin=subprocess.DEVNULL, stdout=self._log, stderr=subprocess.STDOUT,
            start_new_session=True)
        self.window = self._wait_for_window()

    def _wait_for_window(self):
        def find():
            if self._process.poll() is not None:
                raise RuntimeError(f"ended with {self._process.returncode}:\n{self.output}")
            for application in self._bus.applications():
                for window in application.children():
                    if window.role == "frame":
                        self._application = application
                        return window
            return None

        try:
            return wait_until(find, "the main window")
        except BaseException:
            self.close()
            raise

    @property
    def output(self):
        """Everything that the program has written so far to standard output and standard error."""
        self._log.flush()
        with open(f"/proc/self/fd/{self._log.fileno()}", encoding="utf-8",
                  errors="replace") as reader:
            return reader.read()

    @property
    def running(self):
        return self._process.poll() is None

    def menu(self, *path):
        """Chooses an entry: menu("Connection", "Connect")."""
        self._menu_entry(path).activate()

    def menu_enabled(self, *path):
        return self._menu_entry(path).enabled

    def _menu_entry(self, path):
        # The entries stay valid as long as the window, so they are cached.
        if path not in self._menu_entries:
            widget = self.window
            for name in path:
                widget = widget.find("menu item", name)
            self._menu_entries[path] = widget
        return self._menu_entries[path]

    def dialog(self, title, timeout_s=DEADLINE_S):
        return wait_until(
            lambda: self.dialog_now(title), f"dialog {title!r}", timeout_s)

    def dialog_now(self, title):
        for window in self._application.children():
            try:
                if window.role in _DIALOG_ROLES and window.name == title:
                    return window
            except GLib.Error:
                pass  # closed between two calls
        return None

    def passing_text(self, label, pattern, *menu):
        """The text that a menu entry puts into a label for a short time. If a slow read misses it,
        the entry is chosen again."""
        def look():
            self.menu(*menu)
            end = time.monotonic() + 0.9
            while time.monotonic() < end:
                text = label.name
                if re.fullmatch(pattern, text):
                    return text
            return None

        return wait_until(look, f"{pattern!r} after {menu}")

    def shows(self, window):
        """Whether the program still has that window."""
        return window in self._application.children()

    def descendant(self, name):
        """The id of a process of that name below the started command; None if there is none."""
        pending = [self._process.pid]
        while pending:
            pid = pending.pop()
            process = pathlib.Path(f"/proc/{pid}")
            if (process / "comm").read_text(encoding="utf-8").strip() == name:
                return pid
            for task in (process / "task").iterdir():
                pending += (task / "children").read_text(encoding="ascii").split()
        return None

    def signal(self, number):
        self._process.send_signal(number)

    def close_window(self, title):
        """Asks the window manager to close it, as the button in its title bar does."""
        subprocess.run(["wmctrl", "-F", "-c", title], check=True)

    def wait(self, timeout_s=DEADLINE_S):
        """The exit status."""
        return self._process.wait(timeout_s * PATIENCE)

    def kill(self):
        if self.running:
            os.killpg(self._process.pid, signal.SIGKILL)
            self._process.wait()

    def close(self):
        self.kill()
        self._log.close()
