"""The USB numbers that a maker sets at configuration, and the udev rule made from them."""

import pathlib
import re
import subprocess
import tempfile
import unittest

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "packaging/udev"
STOCK = [("0403", "6001"), ("10c4", "ea60"), ("1a86", "7523")]

# A project that contains only the rule.
PROJECT = f"""
cmake_minimum_required(VERSION 3.25)
project(rule LANGUAGES NONE)
add_subdirectory({FOLDER} udev)
"""


def configure(vendors=None, products=None):
    """The rule, or None, and CMake's error output."""
    with tempfile.TemporaryDirectory() as directory:
        (pathlib.Path(directory) / "CMakeLists.txt").write_text(PROJECT)
        chosen = [f"-D{name}={';'.join(values)}" for name, values in
                  (("VORNIX_USB_VENDOR", vendors), ("VORNIX_USB_PRODUCT", products)) if values]
        run = subprocess.run(["cmake", "-S", directory, "-B", f"{directory}/build", *chosen],
                             capture_output=True, text=True)
        if run.returncode:
            return None, run.stderr
        return (pathlib.Path(directory) / "build/udev/70-vornix.rules").read_text(), run.stderr


def devices(rule):
    """Vendor and product of each line that gives access to a terminal."""
    return re.findall(
        r'^SUBSYSTEM=="tty".*ATTRS{idVendor}=="(\w+)", ATTRS{idProduct}=="(\w+)", TAG\+="uaccess"',
        rule, re.MULTILINE)


class UsbNumbers(unittest.TestCase):
    def test_are_those_of_stock_bridges_and_said_to_be(self):
        rule, _ = configure()
        self.assertEqual(devices(rule), STOCK)
        self.assertIn("stock bridges", rule)

    def test_of_the_maker_take_their_place(self):
        rule, _ = configure(["f055"], ["ab12"])
        self.assertEqual(devices(rule), [("f055", "ab12")])
        self.assertIn("# USB vendors and products: f055:ab12.\n", rule)
        self.assertNotIn("stock", rule)
        for vendor, product in STOCK:
            self.assertNotIn(vendor, rule)
            self.assertNotIn(product, rule)

    def test_may_be_several(self):
        rule, _ = configure(["f055", "0403"], ["ab12", "6001"])
        self.assertEqual(devices(rule), [("f055", "ab12"), ("0403", "6001")])

    def test_come_in_pairs(self):
        rule, complaint = configure(["f055", "f056"], ["ab12"])
        self.assertIsNone(rule)
        self.assertIn("each vendor needs its product", " ".join(complaint.split()))

    def test_are_four_small_digits(self):
        for vendor in ("F055", "0xf055", "f05", "f055*"):
            rule, complaint = configure([vendor], ["ab12"])
            self.assertIsNone(rule, vendor)
            self.assertIn("is no USB vendor and product", " ".join(complaint.split()))


if __name__ == "__main__":
    unittest.main()
