"""doctor: what it says about the machine, one finding for each subject."""

import grp
import json
import os
import pathlib
import shutil
import subprocess
import tempfile

import ctl
from ctl import PATIENT

RULES = [f"{folder}/70-vornix{package}.rules"
         for folder in ("/etc/udev/rules.d", "/run/udev/rules.d", "/usr/lib/udev/rules.d",
                        "/usr/local/lib/udev/rules.d", "/lib/udev/rules.d")
         for package in ("", "-cli")]


def runs(name):
    return any(path.read_text().strip() == name for path in pathlib.Path("/proc").glob("[0-9]*/comm")
               if path.exists())


class DoctorCase(ctl.CtlCase):
    def findings(self, outcome):
        """Subject -> (level, finding, advice)."""
        self.assertIn(outcome.returncode, (ctl.DONE, ctl.JUDGED_BAD), outcome.stderr)
        return {found["subject"]: (found["level"], found["finding"], found.get("advice", ""))
                for found in json.loads(outcome.stdout)}

    def of_adapter(self, script=""):
        """After a script that prepares the simulated /sys."""
        return self.findings(self.shell_on_adapter(
            script + '\nexec "$CTL" doctor --json --timeout 0.05', device=("--silent",)))

    def of_port(self, path, **options):
        outcome = ctl.run(ctl.CTL, "doctor", path, "--json", "--baud", "115200", "--timeout", "0.4",
                          **options)
        return outcome.returncode, self.findings(outcome)


class Adapter(DoctorCase):
    def latency(self, milliseconds):
        # As the driver for FTDI adapters has it: an attribute of the device above the tty.
        tty = "$UMOCKDEV_DIR/sys/devices/usb-ttyUSB0/interface/ttyUSB0/tty/ttyUSB0"
        return self.of_adapter(f"set -e; ln -s ../.. {tty}/device; "
                               f"echo {milliseconds} > {tty}/device/latency_timer")["latency timer"]

    def test_long_latency_timer(self):
        self.assertEqual(self.latency(16), (
            "warning", "16 ms: samples arrive in groups that far apart",
            "install the udev rule, then plug the device in again"))

    def test_short_latency_timer(self):
        self.assertEqual(self.latency(1), ("good", "1 ms", ""))

    def test_no_latency_timer(self):
        found = self.of_adapter()
        self.assertEqual(found["latency timer"], ("good", "the adapter has none", ""))
        self.assertEqual(found["adapter"], ("good", "0403:6001 Vornix IMU (simulated)", ""))

    def test_a_port_without_adapter(self):
        found = self.of_port(self.serve())[1]
        self.assertEqual(found["adapter"], ("warning", "not a USB serial port", ""))
        self.assertNotIn("latency timer", found)

    def test_no_such_port(self):
        status, found = self.of_port("/dev/ttyUSB99")
        self.assertEqual(status, ctl.JUDGED_BAD)
        self.assertEqual(found["port"],
                         ("bad", "/dev/ttyUSB99 does not exist", "plug the device in"))


class Machine(DoctorCase):
    def test_modem_manager(self):
        if not runs("ModemManager"):
            self.assertEqual(self.of_adapter()["ModemManager"], ("good", "does not run", ""))
        program = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())) / "ModemManager"
        shutil.copy(shutil.which("sleep"), program)
        process = subprocess.Popen([program, "1000"])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        ctl.wait_until(lambda: runs("ModemManager"), "the program")
        self.assertEqual(self.of_adapter()["ModemManager"], (
            "warning", "runs and may write to a port that is plugged in",
            "install the udev rule, which keeps it away"))

    def test_udev_rule(self):
        installed = [path for path in RULES if os.path.exists(path)]
        self.assertEqual(self.of_adapter()["udev rule"],
                         ("good", installed[0], "") if installed else
                         ("warning", "not installed", "install the package vornix or vornix-cli"))


class Permission(DoctorCase):
    def test_none(self):
        path = self.serve()
        os.chmod(path, 0)
        status, found = self.of_port(path, **ctl.other_user())
        group = grp.getgrgid(os.stat(path).st_gid).gr_name
        self.assertEqual(status, ctl.JUDGED_BAD)
        self.assertEqual(found["permission"], (
            "bad", "this user may not open the port",
            f"join the group {group} or install the udev rule, then log in again"))
        self.assertEqual(found["device"][0], "bad")
        self.assertIn("Permission denied", found["device"][1])

    def test_groups(self):
        path = self.serve()
        os.chmod(path, 0o666)
        gid = os.stat(path).st_gid
        users = [({}, gid == os.getegid() or gid in os.getgroups())]
        if os.geteuid() == 0:
            users = [(ctl.other_user(), False), ({**ctl.other_user(), "extra_groups": [gid]}, True)]
        for user, is_member in users:
            with self.subTest(is_member):
                found = self.of_port(path, **user)[1]
                self.assertEqual(found["groups"], (
                    "good", f"the port belongs to the group {grp.getgrgid(gid).gr_name}; this user "
                            f"is {'' if is_member else 'not '}in it", ""))
                self.assertEqual(found["permission"], ("good", "this user may open the port", ""))


class HeldPort(DoctorCase):
    def held(self):
        path = self.serve()
        os.chmod(path, 0o666)
        process = self.start("stream", path, *PATIENT)
        process.stdout.readline()
        return path, process

    def test_is_named_and_left_alone(self):
        path, process = self.held()
        status, found = self.of_port(path)
        self.assertEqual(status, ctl.JUDGED_BAD)
        level, finding, advice = found["other programs"]
        self.assertEqual((level, advice), ("bad", "end that program"))
        self.assertRegex(finding, rf"^the port is open in .*\bvornixctl \({process.pid}\)")
        self.assertEqual(found["device"], ("warning", "not checked, because the port is in use", ""))

    def test_of_another_user(self):
        if os.geteuid() != 0:
            self.skipTest("needs root to become another user")
        path, _ = self.held()
        status, found = self.of_port(path, **ctl.other_user())
        self.assertEqual(status, ctl.JUDGED_BAD)
        self.assertEqual(found["other programs"],
                         ("good", "none that this user can see has the port open", ""))
        self.assertRegex(found["device"][1], "busy: another program has the port open$")


if __name__ == "__main__":
    ctl.main()
