"""The udev rule, evaluated by udev itself (`udevadm test`), for adapters of a test bed.

The script runs in separate name spaces, where the rule is the only one in /etc/udev/rules.d and
udev changes nothing in the real system. Where name spaces are not allowed, the test is skipped.
"""

import os
import pathlib
import re
import subprocess
import sys
import unittest

RULE = pathlib.Path(os.environ["VORNIX_UDEV_RULE"])
SKIPPED = 77
_ENTERED = "VORNIX_UDEV_NAMESPACE"

# The kernel's driver starts with 16. The test bed has a plain file instead of an attribute, so
# udev's single digit overwrites only the first character; the test starts with one digit for that
# reason.
LATENCY_AT_FIRST = "9"

FTDI = ("0403", "6001", "ftdi_sio")
CP210X = ("10c4", "ea60", "cp210x")
CH340 = ("1a86", "7523", "ch341-uart")
FOREIGN = ("067b", "2303", "pl2303")
OTHER_FTDI = ("0403", "6015", "ftdi_sio")
OTHER_VENDOR = ("1234", "6001", "cp210x")


def enter():
    """Restarts the script in a user and mount name space, with the test bed's preload library."""
    if os.environ.get(_ENTERED):
        return
    # A sanitizer's runtime is only for our programs, not for those of the system.
    environment = dict(os.environ, **{_ENTERED: "1"})
    environment.pop("LD_PRELOAD", None)
    isolate = ["unshare", "--user", "--map-root-user", "--mount"]
    if subprocess.run([*isolate, "true"], capture_output=True).returncode:
        print("no user name spaces here: udev would be asked about the real system")
        sys.exit(SKIPPED)
    prepare = ('mount -t tmpfs none /run && mount -t tmpfs none /etc/udev/rules.d'
               ' && cp "$VORNIX_UDEV_RULE" /etc/udev/rules.d && exec umockdev-wrapper "$@"')
    os.execvpe(isolate[0], [*isolate, "sh", "-c", prepare, "sh", sys.executable, *sys.argv],
               environment)


class Adapter:
    """A USB serial adapter as in sysfs: device, interface, port, terminal."""

    def __init__(self, testbed, name, vendor, product, driver):
        self._root = testbed.get_root_dir()
        self.device = f"/devices/usb1/1-{name}"
        self.port = f"{self.device}/1-{name}:1.0/{name}"
        self.terminal = f"{self.port}/tty/{name}"
        testbed.add_from_string(
            f"P: {self.device}\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n"
            f"A: idVendor={vendor}\nA: idProduct={product}\n\n"
            f"P: {self.device}/1-{name}:1.0\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\n\n"
            f"P: {self.port}\nE: SUBSYSTEM=usb-serial\nA: latency_timer={LATENCY_AT_FIRST}\n"
            f"L: driver=../../../../../bus/usb-serial/drivers/{driver}\n\n"
            f"P: {self.terminal}\nN: {name}\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/{name}\n"
            "A: dev=188:0\n\n")

    @property
    def latency(self):
        return (pathlib.Path(self._root) / f"sys{self.port}/latency_timer").read_text().strip()

    def remove_latency(self):
        (pathlib.Path(self._root) / f"sys{self.port}/latency_timer").unlink()


def properties(device, action="add"):
    """The properties that udev sets for a device at that event, and its warnings about the rule."""
    run = subprocess.run(["udevadm", "test", f"--action={action}", f"/sys{device}"],
                         capture_output=True, text=True, check=True)
    known = dict(re.findall(r"^([\w.]+)=(.*)$", run.stdout, re.MULTILINE))
    complaints = [line for line in run.stderr.splitlines()
                  if RULE.name in line and not re.search(r"Reading rules file|writing '1'$", line)]
    return known, complaints


class UdevRule(unittest.TestCase):
    def setUp(self):
        import gi
        gi.require_version("UMockdev", "1.0")
        from gi.repository import UMockdev
        self.testbed = UMockdev.Testbed.new()

    def adapter(self, identity, name="ttyUSB0"):
        return Adapter(self.testbed, name, *identity)

    def event(self, device, action="add"):
        known, complaints = properties(device, action)
        self.assertEqual(complaints, [])
        return known

    def assert_ours(self, adapter):
        terminal = self.event(adapter.terminal)
        self.assertIn("uaccess", terminal["CURRENT_TAGS"].split(":"))
        self.assertEqual(terminal["ID_MM_PORT_IGNORE"], "1")
        self.assertEqual(self.event(adapter.device)["ID_MM_DEVICE_IGNORE"], "1")

    def assert_not_ours(self, adapter):
        for device in (adapter.device, adapter.port, adapter.terminal):
            for action in ("add", "bind", "change"):
                known = self.event(device, action)
                self.assertNotIn("uaccess", known.get("TAGS", ""))
                self.assertEqual([name for name in known if name.startswith("ID_MM_")], [])
        self.assertEqual(adapter.latency, LATENCY_AT_FIRST)

    def test_is_read_in_time_for_uaccess(self):
        number = re.match(r"(\d\d)-[\w-]+\.rules$", RULE.name)
        self.assertTrue(number, RULE.name)
        self.assertLess(int(number.group(1)), 73)

    def test_names_the_three_stock_bridges(self):
        self.assert_ours(self.adapter(FTDI, "ttyUSB0"))
        self.assert_ours(self.adapter(CP210X, "ttyUSB1"))
        self.assert_ours(self.adapter(CH340, "ttyUSB2"))

    def test_names_a_modem_port_as_well(self):
        self.assert_ours(self.adapter(FTDI, "ttyACM0"))

    def test_leaves_other_adapters_alone(self):
        self.assert_not_ours(self.adapter(FOREIGN, "ttyUSB0"))
        self.assert_not_ours(self.adapter(OTHER_FTDI, "ttyUSB1"))
        self.assert_not_ours(self.adapter(OTHER_VENDOR, "ttyUSB2"))

    def test_opens_nothing_but_the_terminal(self):
        adapter = self.adapter(FTDI)
        for device in (adapter.device, adapter.port):
            self.assertNotIn("uaccess", self.event(device).get("TAGS", ""))

    def test_leaves_other_terminals_of_the_device_alone(self):
        adapter = self.adapter(FTDI, "hvc0")
        self.assertNotIn("uaccess", self.event(adapter.terminal).get("TAGS", ""))

    def test_shortens_the_latency_of_ftdi(self):
        adapter = self.adapter(FTDI)
        self.event(adapter.port, "bind")
        self.assertEqual(adapter.latency, "1")

    def test_shortens_it_at_start_up_too(self):
        adapter = self.adapter(FTDI)
        self.event(adapter.port, "add")
        self.assertEqual(adapter.latency, "1")

    def test_shortens_it_at_no_other_device(self):
        adapter = self.adapter(FTDI)
        for device in (adapter.device, adapter.terminal):
            self.event(device, "bind")
        self.assertEqual(adapter.latency, LATENCY_AT_FIRST)

    def test_waits_for_the_driver(self):
        adapter = self.adapter(FTDI)
        adapter.remove_latency()
        self.event(adapter.port, "add")

    def test_has_no_latency_to_shorten_elsewhere(self):
        for identity, name in ((CP210X, "ttyUSB0"), (CH340, "ttyUSB1")):
            adapter = self.adapter(identity, name)
            self.event(adapter.port, "bind")
            self.assertEqual(adapter.latency, LATENCY_AT_FIRST)

    def test_forgets_what_is_removed(self):
        self.assertNotIn("ID_MM_PORT_IGNORE",
                         self.event(self.adapter(FTDI).terminal, "remove"))


if __name__ == "__main__":
    enter()
    unittest.main()
