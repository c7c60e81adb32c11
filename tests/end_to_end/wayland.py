"""The program on a desktop without X: the window, the plot and the pose are drawn."""

import os
import pathlib
import subprocess
import sys
import unittest

import support
from remote import wayland
from remote.accessibility import wait_until

SKIPPED = 77


def missing():
    """The missing parts of this machine, as text; empty if there are none."""
    tools = wayland.missing()
    plugins = pathlib.Path(subprocess.run(["qtpaths6", "--plugin-dir"], check=True, text=True,
                                          stdout=subprocess.PIPE).stdout.strip(), "platforms")
    if not list(plugins.glob("libqwayland*.so")):
        tools.append("Qt's part for Wayland (qt6-wayland)")
    return " and no ".join(tools)


def colours(picture):
    return len(set(zip(picture[0::3], picture[1::3], picture[2::3])))


class Wayland(support.ProgramCase):
    device = ("--seed", "1", "--motion", "tumble", "--outputs", "0x7F")
    desktop_class = wayland.WaylandDesktop

    def test_shows_a_moving_device(self):
        self.assertNotIn("DISPLAY", os.environ)
        self.connect(baud=115200)
        self.wait_for_rate(100)
        for title in ("Device Data", "Orientation Display"):
            with self.subTest(title):
                before = self.picture_of(title)
                self.assertGreater(colours(before), 8, "a blank picture")
                wait_until(lambda: self.picture_of(title) != before, f"a new picture of {title}")
        self.shoot("wayland")
        self.disconnect()
        self.assertTrue(self.program.running)
        self.assertNotRegex(self.program.output, support.COMPLAINTS)


class EmptyDesktop(unittest.TestCase):
    def test_is_blank(self):
        """The empty desktop has one colour, so the program drew the pictures of the tests above."""
        with wayland.WaylandDesktop() as desktop:
            self.assertEqual(colours(desktop.picture()), 1)


if __name__ == "__main__":
    lacking = missing()
    if lacking:
        print(f"SKIPPED: no {lacking} here", file=sys.stderr)
        sys.exit(SKIPPED)
    wayland.enter()
    unittest.main()
