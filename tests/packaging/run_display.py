"""The display that ./run and tools/with-display use. Stubs that print their name replace the
programs that ./run calls."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
CALLED = ("tools/install-packages", "tools/quietly", "tools/demonstrate",
          "build/release/bin/vornix", "build/release/bin/vornix-sim")


def environment(**displays):
    """This environment with only these displays, and without the request for a virtual one."""
    others = {name: value for name, value in os.environ.items()
              if name not in ("DISPLAY", "WAYLAND_DISPLAY", "VORNIX_VIRTUAL_DISPLAY")}
    return dict(others, **displays)


def output(*command, **displays):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True,
                          env=environment(**displays)).stdout


class Run(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        shutil.copy(SOURCE / "run", self.root)
        for name in CALLED:
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text('#!/bin/sh\necho "called ${0##*/} $*"\n', encoding="utf-8")
            path.chmod(0o755)

    def run_with(self, **displays):
        """The sections whose packages ./run installs, and the program that it starts at the end."""
        lines = output(self.root / "run", "--simulated", **displays)
        calls = [line.split()[1:] for line in lines.splitlines() if line.startswith("called ")]
        return " ".join(calls[0]), calls[-1][0]

    def test_without_a_display_is_a_virtual_one(self):
        self.assertEqual(self.run_with(),
                         ("install-packages build runtime headless", "demonstrate"))

    def test_that_is_empty_is_none(self):
        self.assertEqual(self.run_with(DISPLAY="", WAYLAND_DISPLAY=""),
                         ("install-packages build runtime headless", "demonstrate"))

    def test_of_x11_is_taken(self):
        self.assertEqual(self.run_with(DISPLAY=":0"),
                         ("install-packages build runtime", "vornix-sim"))

    def test_of_wayland_is_taken_with_the_package_for_it(self):
        self.assertEqual(self.run_with(WAYLAND_DISPLAY="wayland-0"),
                         ("install-packages build runtime wayland", "vornix-sim"))

    def test_of_x11_is_taken_if_there_are_both(self):
        self.assertEqual(self.run_with(DISPLAY=":0", WAYLAND_DISPLAY="wayland-0"),
                         ("install-packages build runtime", "vornix-sim"))


class WithDisplay(unittest.TestCase):
    def shown(self, **displays):
        """The displays in a command's environment, and the platform that Qt uses."""
        return output(SOURCE / "tools/with-display", "sh", "-c",
                      'echo "${DISPLAY:-none} ${WAYLAND_DISPLAY:-none} ${QT_QPA_PLATFORM:-any}"',
                      **displays).strip()

    def test_takes_x11(self):
        self.assertEqual(self.shown(DISPLAY=":42"), ":42 none xcb")

    def test_takes_x11_if_there_are_both(self):
        self.assertEqual(self.shown(DISPLAY=":42", WAYLAND_DISPLAY="wayland-0"), ":42 wayland-0 xcb")

    def test_takes_a_virtual_one_of_x11_if_there_is_only_wayland(self):
        self.assertRegex(self.shown(WAYLAND_DISPLAY="wayland-0"), r"^:\d+ none xcb$")


if __name__ == "__main__":
    unittest.main()
