"""A complete magnetometer calibration, from the first reading to the save in the device's flash."""

import math
import re
import statistics
import time

import support
from remote.accessibility import wait_until

TITLE = "Magnetometer Calibration"
COLLECT_S = 20.0  # five readings a second, so more than sixty
ENOUGH = 60
COLLECTIONS = 4  # each twice as long as the one before
READINGS_S = 600.0
ALL_BUT_RAW = 0x7F
RAW = 0x100
FIELD = "Magnetic Field (unitless)"


class Calibration(support.ProgramCase):
    device = ("--seed", "3", "--motion", "tumble", "--outputs", hex(ALL_BUT_RAW))

    def test_calibrates_and_stores(self):
        self.connect()
        self.assertGreater(self.spread_of_field(), 0.05, "nothing to calibrate")

        dialog = self.open()
        mean, deviation, count, quality = self.collect_enough(dialog)
        self.assertAlmostEqual(float(mean), 1.0, delta=0.02)
        self.assertLess(float(deviation), 0.03)
        self.assertEqual(quality, "Good")
        self.assertEqual(dialog.value_beside("Quality").text, "Good")
        self.assertEqual(dialog.value_beside("Samples").text, count)
        self.shoot("calibration", dialog)

        self.assertFalse(dialog.find("push button", "Save to Device").enabled)
        self.press(dialog, "Apply Calibration")
        self.wait_for_log(dialog, r"Applied calibration: Bias = \[.*\], L = \[.*\]")
        self.press(dialog, "Save to Device")
        self.wait_for_log(dialog, "Calibration saved to device flash\\.")
        self.press(dialog, "Close")
        self.wait_until_closed(TITLE)

        self.assertLess(self.spread_of_field(), 0.03)
        self.assertEqual(self.outputs(), ALL_BUT_RAW)

        self.power_cycle()
        self.wait_for_change(self.value(FIELD))
        self.assertLess(self.spread_of_field(), 0.03)
        # "Save to Device" stores all current settings. While the dialog is open, these include the
        # raw output. Closing the dialog switches it off until the next power cycle.
        self.assertEqual(self.outputs(), ALL_BUT_RAW | RAW)

        self.disconnect()
        self.close()

    def open(self):
        self.program.menu("Settings", TITLE)
        return self.program.dialog(TITLE)

    def press(self, dialog, button):
        dialog.find("push button", button).activate()

    def wait_for_log(self, dialog, pattern, times=1):
        """Waits for `times` lines of that pattern; returns what re.findall() gives."""
        log = dialog.find("panel", "INFO").find("text")

        def find():
            lines = re.findall(f"^{pattern}$", log.text, re.MULTILINE)
            return len(lines) >= times and lines

        return wait_until(find, f"log line {pattern!r}")

    def collect_enough(self, dialog):
        """Collects until there are enough readings. The window shows their number only at the end,
        so each new attempt takes twice as long."""
        for collection in range(COLLECTIONS):
            final = self.collect(dialog, COLLECT_S * 2**collection, finals=collection + 1)
            if int(final[2]) > ENOUGH:
                return final
        return self.fail(f"only {final[2]} readings")

    def collect(self, dialog, seconds, finals):
        scatter = dialog.find("panel", "Magnetic Field (Sphere 3D scatter plot)").children()[-1]
        before = self.desktop.picture(scatter.extents)
        self.press(dialog, "Start Calibration")
        self.wait_for_log(dialog, "Calibration started...", finals)
        time.sleep(seconds)
        wait_until(lambda: self.desktop.picture(scatter.extents) != before, "points on the sphere")
        self.press(dialog, "Stop Calibration")
        self.wait_for_log(dialog, "Calibration stopped.", finals)
        return self.wait_for_log(dialog, r"Final Quality: avg\|p\|=(\S+), std\|p\|=(\S+), "
                                         r"N=(\d+), (\w+)", finals)[-1]

    def spread_of_field(self):
        """Relative standard deviation of the magnitude of the calibrated field, as shown."""
        label = self.value(FIELD)
        seen = set()

        def look():
            numbers = re.fullmatch(r"(\S+), (\S+), (\S+)", label.name)
            if numbers:
                seen.add(tuple(float(number) for number in numbers.groups()))
            return len(seen) >= 60

        wait_until(look, "sixty different readings of the field", READINGS_S)
        magnitudes = [math.hypot(*field) for field in seen]
        return statistics.pstdev(magnitudes) / statistics.mean(magnitudes)

    def outputs(self):
        self.program.menu("Connection", "Device Info")
        dialog = self.program.dialog("Device Info")
        text = dialog.find("panel", "Received from device").find("text").text
        dialog.find("push button", "Close").activate()
        self.wait_until_closed("Device Info")
        return int(re.search(r"Outputs: (0x[0-9a-f]+)", text).group(1), 16)


if __name__ == "__main__":
    support.main()
