"""First use of a streaming device: scan, connect, watch it move, disconnect, close."""

import support
from remote.accessibility import wait_until

CAPTIONS = (
    "Quaternion (unitless)", "Euler Angles (°)", "Covariance (rad²)", "Magnetic Field (unitless)",
    "Linear Acceleration (m/s²)", "Angular Rate (rad/s)", "Pressure (hPa)")
NUMBER = r"-?\d+(\.\d+)?(e[+-]\d+)?"
COUNTS = {"Quaternion (unitless)": 4, "Pressure (hPa)": 1}


class Live(support.ProgramCase):
    device = ("--seed", "1", "--motion", "tumble", "--outputs", "0x7F")

    def test_follows_a_moving_device(self):
        values = dict(zip(CAPTIONS, self.window.values_beside(CAPTIONS)))
        self.assertEqual({v.name for v in values.values()}, {"None"})
        self.wait_for_rate(0)

        self.assertEqual(self.scan(), "Scan complete: ttyUSB0...")
        self.connect(baud=115200)
        self.wait_for_rate(100)

        for caption, value in values.items():
            with self.subTest(caption):
                text = self.wait_for_change(value)
                self.assertRegex(text, ", ".join([NUMBER] * COUNTS.get(caption, 3)))

        self.assert_pictures_move()
        self.shoot("live")

        self.disconnect()
        self.wait_for_rate(0)
        last = values["Quaternion (unitless)"].name
        self.assertRegex(last, NUMBER)
        self.assertFalse(self.program.menu_enabled("Connection", "Device Info"))
        self.close()

    def assert_pictures_move(self):
        for title in ("Device Data", "Orientation Display"):
            with self.subTest(title):
                wait_until(lambda: len(set(self.picture_of(title))) > 8,
                           f"more than a blank picture of {title}")
                before = self.picture_of(title)
                wait_until(lambda: self.picture_of(title) != before, f"a new picture of {title}")


class Refusals(support.ProgramCase):
    device = ("--seed", "1")

    def test_device_dialogs_need_a_connection(self):
        for path in (("Connection", "Device Info"), ("Settings", "Open Settings"),
                     ("Settings", "Magnetometer Calibration")):
            with self.subTest(path):
                self.assertTrue(self.program.menu_enabled(*path))
                self.program.menu(*path)
                box = self.program.dialog("Not connected")
                self.assertIsNotNone(box.find_now("label", "Please connect to a device first."))
                box.find("push button", "OK").activate()
                self.wait_until_closed("Not connected")
        self.close()

    def test_connect_needs_a_scan(self):
        self.passing_status("Please run Scan first, no ports available\\.", "Connection", "Connect")
        self.assertIsNone(self.program.dialog_now("Select Serial Port"))
        self.scan()
        self.program.menu("Connection", "Connect")
        self.program.dialog("Select Serial Port").find("push button", "Cancel").activate()
        self.wait_until_closed("Select Serial Port")
        self.wait_for_status("Not connected")
        self.close()


class Search(support.ProgramCase):
    device = ("--seed", "1")

    def test_closing_the_window_ends_a_search(self):
        """Closes at the first baud rate, before the search reaches that of the device."""
        self.scan()
        self.program.menu("Connection", "Connect")
        self.program.dialog("Select Serial Port").find("push button", "OK").activate()
        self.wait_for_status("Trying /dev/ttyUSB0 @ 921600 baud\\.\\.\\.")
        self.close()


if __name__ == "__main__":
    support.main()
