"""A desktop without X: Weston with a virtual screen and software rendering.

Wayland does not report the position of a window on the screen. So the position is found in a
screenshot: the window is what differs from the background. No other window may be open.
"""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile

from .accessibility import wait_until
from .session import Desktop

_SOCKET = "vornix-wayland"
_SIZE = (1600, 1200)
_BACKGROUND = "2468ac"
_SETTINGS = f"""[core]
idle-time=0

[shell]
background-color=0xff{_BACKGROUND}
panel-position=none
locking=false
animation=none
close-animation=none
startup-animation=none
"""


def missing():
    """The names of the required programs that are not installed."""
    return [tool for tool in ("weston", "weston-screenshooter") if not shutil.which(tool)]


def enter():
    """Sets the environment of this process and its children to a session without X. Call it first."""
    for name in ("DISPLAY", "XAUTHORITY", "LD_PRELOAD"):
        os.environ.pop(name, None)
    os.environ.update(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_QPA_PLATFORM="wayland",
                      LC_ALL="C.UTF-8", XDG_SESSION_TYPE="wayland", WAYLAND_DISPLAY=_SOCKET,
                      LIBGL_ALWAYS_SOFTWARE="1", QT_WAYLAND_DISABLE_WINDOWDECORATION="1")


class WaylandDesktop(Desktop):
    def __enter__(self):
        self._directory = tempfile.TemporaryDirectory()
        os.environ["XDG_RUNTIME_DIR"] = self._directory.name
        return super().__enter__()

    def __exit__(self, *unused):
        super().__exit__(*unused)
        self._directory.cleanup()

    def _manage_windows(self):
        width, height = _SIZE
        directory = pathlib.Path(self._directory.name)
        settings, log = directory / "weston.ini", directory / "weston.log"
        settings.write_text(_SETTINGS, encoding="ascii")
        # Only with --debug may any program take screenshots.
        compositor = subprocess.Popen(
            ["weston", "--debug", "--backend=headless-backend.so", "--use-pixman",
             f"--width={width}", f"--height={height}", f"--socket={_SOCKET}",
             f"--config={settings}", f"--log={log}"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        def ready():
            if compositor.poll() is not None:
                raise RuntimeError(f"weston ended:\n{log.read_text(errors='replace')}")
            return (directory / _SOCKET).exists() and self._is_empty()

        try:
            wait_until(ready, "a compositor with its background")
        except BaseException:
            compositor.kill()
            compositor.wait()
            raise
        return compositor

    def _is_empty(self):
        return self.picture() == bytes.fromhex(_BACKGROUND) * (_SIZE[0] * _SIZE[1])

    @classmethod
    def screenshot(cls, path, extents=None):
        cls._picture(extents, str(path))

    @classmethod
    def picture(cls, extents=None):
        return cls._picture(extents, "-depth", "8", "rgb:-")

    @classmethod
    def _picture(cls, extents, *output):
        """A screenshot, or a part of the window (x, y, width, height)."""
        with tempfile.TemporaryDirectory() as directory:
            environment = dict(os.environ, XDG_PICTURES_DIR=directory)
            subprocess.run(["weston-screenshooter"], check=True, cwd=directory, env=environment,
                           stdout=subprocess.DEVNULL)
            shot = next(pathlib.Path(directory).glob("*.png"))
            crop = []
            if extents:
                x, y, width, height = extents
                left, top = _place_of_window(shot)
                crop = ["-crop", f"{width}x{height}+{left + x}+{top + y}"]
            return subprocess.run(["convert", str(shot), *crop, "+repage", *output], check=True,
                                  stdout=subprocess.PIPE).stdout


def _place_of_window(shot):
    """The left and top edge of the window in that screenshot."""
    # The border of one pixel makes the background present at every edge.
    box = subprocess.run(
        ["convert", str(shot), "-bordercolor", f"#{_BACKGROUND}", "-border", "1",
         "-format", "%@", "info:-"], check=True, stdout=subprocess.PIPE, text=True).stdout
    left, top = re.fullmatch(r"\d+x\d+\+(\d+)\+(\d+)", box).groups()
    return int(left) - 1, int(top) - 1
