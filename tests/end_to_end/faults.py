"""The program survives a device that fails while it searches and while it saves."""

import pathlib
import re
import signal
import tempfile

import support
from remote.accessibility import wait_until

SAVE = re.compile(r"> 53 ?43 ?.. ?00 ?0b")  # in a recording


class Fault(support.ProgramCase):
    def move_cable(self):
        """Pulls the cable out, or plugs it in again."""
        self.program.signal(signal.SIGUSR1)

    def close_after(self, *errors):
        """Closes the window; the program has reported only these errors."""
        self.program.close_window(support.TITLE)
        self.assertEqual(self.program.wait(), 0, self.program.output)
        lines = self.program.output.splitlines()
        complaints = [line for line in lines if support.COMPLAINTS.search(line)]
        self.assertEqual(len(complaints), len(errors), complaints)
        for complaint, error in zip(complaints, errors):
            self.assertIn(f"Unhandled error: {error}", complaint)


class UnpluggedDuringTheSearch(Fault):
    device = ("--baud", "57600")

    def test_reports_the_port_and_connects_again(self):
        self.scan()
        self.program.menu("Connection", "Connect")
        chooser = self.program.dialog("Select Serial Port")
        chooser.find("push button", "OK").activate()
        self.wait_for_status(r"Trying /dev/ttyUSB0 @ \d+ baud\.\.\.")
        self.move_cable()
        report = wait_until(lambda: self.status.description, "a report beside the status")
        self.assertIn("open: No such file or directory", report)
        self.assertRegex(self.status.name, "^Trying ")

        self.disconnect()
        self.assertEqual(self.status.description, "")
        self.move_cable()
        self.connect(baud=57600)
        self.wait_for_rate(100, at_least=1)
        self.disconnect()
        self.close_after("open: No such file or directory")


class Saving(Fault):
    def setUp(self):
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.record = folder / "line.rec"
        super().setUp()

    def command(self):
        simulator, *rest = super().command()
        return [simulator, "--record", self.record, *rest]

    def start_saving(self):
        self.program.menu("Settings", "Open Settings")
        dialog = self.program.dialog("Settings")
        support.combo_offering(dialog, "200 Hz").choose("200 Hz")
        dialog.find("push button", "Save to Device").activate()
        return dialog

    def wait_for_save(self):
        wait_until(lambda: SAVE.search(self.record.read_text()), "a command to save")

    def rate_of_device(self):
        self.program.menu("Connection", "Device Info")
        dialog = self.program.dialog("Device Info")
        received = dialog.find("panel", "Received from device").find("text").text
        dialog.find("push button", "Close").activate()
        self.wait_until_closed("Device Info")
        return re.search(r"Data rate: (\d+) Hz", received).group(1)


class UnpluggedWhileSaving(Saving):
    device = ("--flash-time", "60000")

    def test_reports_the_port_and_connects_again(self):
        self.connect()
        dialog = self.start_saving()
        self.wait_for_save()
        self.move_cable()
        box = self.program.dialog("Serial Error")
        self.assertIsNotNone(
            box.find_now("label", re.compile("(?s).*write_some: Input/output error")))
        box.find("push button", "OK").activate()
        self.wait_until_closed("Serial Error")
        dialog.find("push button", "Cancel").activate()
        self.wait_until_closed("Settings")

        self.disconnect()
        self.move_cable()
        self.connect()
        self.assertEqual(self.rate_of_device(), "100")
        self.disconnect()
        self.close_after()


class PowerLossWhileSaving(Saving):
    device = ("--fault", "power-loss-while-saving")

    def test_keeps_the_earlier_settings(self):
        self.connect()
        self.start_saving()
        self.wait_until_closed("Settings")
        self.wait_for_rate(100)
        self.assertEqual(self.rate_of_device(), "100")
        self.disconnect()
        self.connect()
        self.disconnect()
        self.close_after()


if __name__ == "__main__":
    support.main()
