"""Helpers of the end-to-end tests: the program with a simulated device, on a private desktop."""

import os
import pathlib
import re
import signal
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))

from remote import session  # noqa: E402
from remote.accessibility import wait_until  # noqa: E402

BIN = pathlib.Path(os.environ.get("VORNIX_BIN", session.ROOT / "build/release/bin"))
SHOTS = pathlib.Path(os.environ.get("VORNIX_SHOTS", session.ROOT / "build/screenshots"))
TITLE = "Kestrova - Vornix"

# Output of a sanitizer, of Qt or of a failed assertion.
COMPLAINTS = re.compile(
    r"Sanitizer|runtime error:|ASSERT|terminate called|QObject::\w+: |QThread: |QSocketNotifier: "
    r"|No such (slot|signal)|Cannot queue|Unhandled error")


def combo_offering(parent, item):
    """The combo box that has an item with that text."""
    boxes = [look.widget for look in parent.look() if look.role == "combo box"]
    return next(box for box in boxes if item in box.items)


class ProgramCase(unittest.TestCase):
    """Starts `vornix` on a simulated device before each test; `device` holds vornix-sim's options."""

    device = ()
    desktop_class = session.Desktop

    def setUp(self):
        self.desktop = self.enterContext(self.desktop_class())
        self.program = self.desktop.start(self.command())
        self.window = self.program.window
        self.status = self.window.find("label", re.compile("^(Status: )?Not connected$"))
        self.rate = self.window.find("label", re.compile("^Data Rate: 0 Hz$|^Receiving 0 Hz$"))
        self.addCleanup(self._show_output_of_failure)

    def command(self):
        return [BIN / "vornix-sim", *self.device, "--", BIN / "vornix"]

    def failed(self):
        outcome = self._outcome.result
        return any(case is self for case, _ in outcome.errors + outcome.failures)

    def _show_output_of_failure(self):
        if self.failed():
            sys.stderr.write(f"--- {self.id()}: output of the program\n{self.program.output}\n")

    def wait_for_status(self, pattern):
        def matching():
            match = re.fullmatch(pattern, self.status.name)
            return match and match.group()
        return wait_until(matching, f"status {pattern!r} (is {self.status.name!r})")

    def passing_status(self, pattern, *menu):
        return self.program.passing_text(self.status, pattern, *menu)

    def scan(self):
        return self.passing_status("Scan complete: .*", "Connection", "Scan for Devices")

    def connect(self, baud=115200, port="ttyUSB0"):
        self.scan()
        self.program.menu("Connection", "Connect")
        chooser = self.program.dialog("Select Serial Port")
        ports = chooser.find("combo box")
        if ports.name != port:
            ports.choose(port)
        chooser.find("push button", "OK").activate()
        self.wait_for_status(re.escape(f"Connected to /dev/{port} @ {baud} baud"))

    def value(self, caption):
        return self.window.value_beside(caption)

    def wait_for_rate(self, hertz, at_least=None):
        """Waits until the rate display shows about `hertz`. It counts the samples decoded in about
        a second. On a busy machine the simulated device itself sends fewer, so the lower bound is
        low. Only a wrong count makes the display show more than was sent."""
        low = 0.1 * hertz if at_least is None else at_least
        shown = set()

        def in_range():
            match = re.fullmatch(r"Receiving (\d+) Hz", self.rate.name)
            if not match:
                return False
            rate = int(match.group(1))
            shown.add(rate)
            return low <= rate <= 1.2 * hertz

        try:
            wait_until(in_range, f"a rate of {hertz} Hz")
        except TimeoutError as error:
            raise TimeoutError(f"{error}; shown: {sorted(shown)}") from None
        sys.stderr.write(f"{self.rate.name} (of {hertz} Hz) ")

    def wait_for_change(self, widget):
        before = widget.name
        return wait_until(lambda: widget.name != before and widget.name,
                          f"a change of {before!r}")

    def picture_of(self, panel):
        """The pixels of the last child of a group box: the plot or the pose."""
        return self.desktop.picture(self.window.find("panel", panel).children()[-1].extents)

    def shoot(self, name, widget=None):
        SHOTS.mkdir(parents=True, exist_ok=True)
        self.desktop.screenshot(SHOTS / f"{name}.png", (widget or self.window).extents)

    def wait_until_closed(self, title):
        wait_until(lambda: self.program.dialog_now(title) is None, f"{title!r} closed")

    def button_of_refusal(self, *menu, title):
        """Chooses a menu entry that is refused; presses the only button of the message box and
        returns the text of that button."""
        self.program.menu(*menu)
        button = self.program.dialog(title).find("push button")
        text = button.name
        button.activate()
        self.wait_until_closed(title)
        return text

    def power_cycle(self):
        """Switches the device off and on; settings that were not saved are lost."""
        self.program.signal(signal.SIGHUP)

    def disconnect(self):
        self.program.menu("Connection", "Disconnect")
        self.wait_for_status("Not connected")

    def close(self):
        """Closes the window as a user does; checks the exit status and the complete output."""
        self.program.close_window(TITLE)
        self.assertEqual(self.program.wait(), 0, self.program.output)
        self.assertNotRegex(self.program.output, COMPLAINTS)


def main():
    session.enter()
    unittest.main()
