"""ports, find, info, doctor, and what ends any command."""

import json
import os
import re
import subprocess

import ctl
from ctl import PATIENT


class Ports(ctl.CtlCase):
    TWO = ("--port", "ttyUSB10", "--port", "ttyUSB2")

    def test_lists_the_ports_in_their_order(self):
        outcome = self.on_adapter("ports", device=self.TWO)
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual([line.split("\t")[:3] for line in outcome.stdout.splitlines()],
                         [["/dev/ttyUSB2", "0403:6001", "Vornix IMU (simulated)"],
                          ["/dev/ttyUSB10", "0403:6001", "Vornix IMU (simulated)"]])

    def test_json_has_every_fact(self):
        outcome = self.on_adapter("ports", "--json")
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(json.loads(outcome.stdout), [{
            "path": "/dev/ttyUSB0", "vendor_id": "0403", "product_id": "6001",
            "manufacturer": "Kestrova", "product": "Vornix IMU (simulated)", "serial": "",
            "driver": "", "may_open": True, "open_in": []}])

    def test_an_unplugged_adapter_is_not_listed(self):
        outcome = self.shell_on_adapter(
            'kill -USR1 $PPID; while [ -e /dev/ttyUSB0 ] || [ -e /sys/class/tty/ttyUSB0 ]; do '
            'sleep 0.02; done; exec "$CTL" ports')
        self.assert_ends(outcome, ctl.NO_DEVICE, "^vornixctl: no USB serial port found\n$")
        self.assertEqual(outcome.stdout, "")


class Find(ctl.CtlCase):
    def test_finds_what_streams(self):
        outcome = self.on_adapter("find", *PATIENT, device=("--outputs", "0x24"))
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(outcome.stdout, "/dev/ttyUSB0 at 115200 baud: serial number c0ffee, "
                                         "streams quaternion,euler at 100 Hz\n")

    def test_finds_what_the_window_does_not(self):
        for outputs in ("0", "0x20"):
            outcome = self.on_adapter("find", "--json", "--timeout", "3",
                                      device=("--baud", "1000000", "--outputs", outputs))
            self.assert_ends(outcome, ctl.DONE)
            self.assertEqual(json.loads(outcome.stdout)[0]["baud"], 1000000)

    def test_finds_what_does_not_answer(self):
        outcome = self.on_adapter("find", "--timeout", "4", device=("--no-reply", "GET"))
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(outcome.stdout,
                         "/dev/ttyUSB0 at 115200 baud: streams, but does not answer\n")

    def test_takes_damaged_packets_for_no_device(self):
        outcome = self.on_adapter("find", "--timeout", "0.15",
                                  device=("--corrupt", "1", "--no-reply", "GET"))
        self.assert_ends(outcome, ctl.NO_ANSWER, "no device found at any baud rate")

    def test_all_reports_each(self):
        outcome = self.on_adapter("find", "--all", "--json", *PATIENT,
                                  device=("--port", "ttyUSB0", "--port", "ttyACM3"))
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual([found["port"] for found in json.loads(outcome.stdout)],
                         ["/dev/ttyACM3", "/dev/ttyUSB0"])

    def test_a_silent_device_is_none(self):
        outcome = self.on_adapter("find", "--timeout", "0.05", device=("--silent",))
        self.assert_ends(outcome, ctl.NO_ANSWER, "no device found at any baud rate")
        self.assertEqual(outcome.stdout, "")


class Info(ctl.CtlCase):
    def test_prints_what_the_device_reports(self):
        outcome = self.on_adapter("info", *PATIENT,
                                  device=("--serial", "0xbee", "--outputs", "4", "--rate", "50"))
        self.assert_ends(outcome, ctl.DONE)
        facts = dict(re.split(": +", line, maxsplit=1) for line in outcome.stdout.splitlines())
        self.assertRegex(facts.pop("measured"), r"^\d+\.\d Hz, 0 damaged packets$")
        self.assertEqual(facts, {
            "port": "/dev/ttyUSB0", "serial number": "bee", "firmware": "2.3", "hardware": "1.0",
            "baud": "115200", "rate": "50 Hz", "outputs": "quaternion"})

    def test_counts_damaged_packets(self):
        # Not every third packet: 501 packets pass between two requests of PATIENT, a multiple of
        # 3, so that each answer could be the damaged one.
        outcome = self.on_adapter("info", "--json", *PATIENT, device=("--corrupt", "7"))
        self.assert_ends(outcome, ctl.DONE)
        self.assertGreater(json.loads(outcome.stdout)["damaged_packets"], 0)

    def test_watch_goes_on_until_interrupted(self):
        process = self.start("info", self.serve(), "--watch", "--json", *PATIENT)
        counts = [json.loads(process.stdout.readline())["damaged_packets"] for _ in range(2)]
        self.assertEqual(counts, [0, 0])
        status, _, err = self.interrupt(process)
        self.assertEqual((status, err), (ctl.INTERRUPTED, ""))


class Doctor(ctl.CtlCase):
    def findings(self, *arguments, device=()):
        outcome = self.on_adapter("doctor", "--json", *arguments, device=device)
        return outcome, {finding["subject"]: finding for finding in json.loads(outcome.stdout)}

    def test_a_healthy_device_is_not_bad(self):
        outcome, found = self.findings(*PATIENT)
        self.assert_ends(outcome, ctl.DONE)
        self.assertNotIn("bad", [finding["level"] for finding in found.values()])
        self.assertEqual(found["device"]["finding"], "found at 115200 baud")
        self.assertRegex(found["packets"]["finding"], "^[1-9][0-9]* intact and 0 damaged")
        self.assertRegex(found["line load"]["finding"], "^outputs at 100 Hz need 81 %")

    def test_settings_that_hide_the_device_are_bad(self):
        outcome, found = self.findings(*PATIENT, device=("--outputs", "0x20"))
        self.assert_ends(outcome, ctl.JUDGED_BAD)
        self.assertEqual((found["window"]["level"], found["window"]["advice"]),
                         ("bad", "vornixctl rescue"))

    def test_too_much_for_the_line_is_bad(self):
        outcome, found = self.findings(*PATIENT, device=("--rate", "1000"))
        self.assert_ends(outcome, ctl.JUDGED_BAD)
        self.assertEqual(found["line load"]["level"], "bad")

    def test_a_silent_device_is_bad(self):
        outcome, found = self.findings("--timeout", "0.05", device=("--silent",))
        self.assert_ends(outcome, ctl.JUDGED_BAD)
        self.assertRegex(found["device"]["finding"], "no device found at any baud rate")

    def test_names_the_program_that_has_the_port(self):
        path = self.serve()
        with open(path, "rb") as port:
            other = subprocess.Popen(["sleep", "1000"], stdin=port)
        self.addCleanup(other.wait)
        self.addCleanup(other.kill)
        outcome = ctl.run(ctl.CTL, "doctor", path, "--baud", "115200", *PATIENT)
        self.assert_ends(outcome, ctl.JUDGED_BAD)
        self.assertRegex(outcome.stdout,
                         rf"bad: other programs: the port is open in .*\bsleep \({other.pid}\)")

    def test_changes_nothing(self):
        record = self.id() + ".rec"
        self.addCleanup(os.remove, record)
        self.on_adapter("doctor", *PATIENT, device=("--record", record))
        with open(record, encoding="ascii") as lines:
            sent = {line.split()[2] for line in lines if " > " in line}
        self.assertEqual(sent, {"53430c000c07080910114500"})  # GET of all settings


class Endings(ctl.CtlCase):
    def test_no_such_port(self):
        outcome = ctl.run(ctl.CTL, "info", "/dev/ttyUSB99")
        self.assert_ends(outcome, ctl.NO_DEVICE,
                         "^vornixctl: /dev/ttyUSB99: No such file or directory\n$")

    def test_several_ports_and_no_choice(self):
        outcome = self.on_adapter("info", device=("--port", "ttyUSB0", "--port", "ttyUSB1"))
        self.assert_ends(outcome, ctl.USAGE,
                         "^vornixctl: several ports, choose one: /dev/ttyUSB0 /dev/ttyUSB1\n$")

    def test_no_permission(self):
        path = self.serve()
        os.chmod(path, 0)
        outcome = ctl.run(ctl.CTL, "info", path, **ctl.other_user())
        self.assert_ends(outcome, ctl.NO_PERMISSION, "Permission denied: join the group dialout")

    def test_two_programs_on_one_port(self):
        path = self.serve()
        os.chmod(path, 0o666)
        first = self.start("stream", path, *PATIENT)
        first.stdout.readline()  # it has the port
        outcome = ctl.run(ctl.CTL, "info", path, **ctl.other_user())
        self.assert_ends(outcome, ctl.BUSY, "another program has the port open")

    def test_no_answer(self):
        outcome = self.on_adapter("info", "--baud", "115200", "--timeout", "0.1",
                                  device=("--silent",))
        self.assert_ends(outcome, ctl.NO_ANSWER, "^vornixctl: /dev/ttyUSB0: the device does not "
                                                 "answer\n$")

    def test_bad_usage(self):
        for words in ((), ("fly",), ("info", "--fly"), ("info", "--baud", "x"),
                      ("info", "--baud", "0"), ("info", "--timeout", "nan"),
                      ("info", "--timeout", "0"), ("info", "a", "b"), ("settings",)):
            with self.subTest(words):
                outcome = ctl.run(ctl.CTL, *words)
                self.assert_ends(outcome, ctl.USAGE, "^vornixctl: .*\nTry vornixctl --help.\n$")
                self.assertEqual(outcome.stdout, "")

    def test_help_and_version(self):
        for words in (("--help",), ("info", "--help"), ("settings", "set", "-h")):
            outcome = ctl.run(ctl.CTL, *words)
            self.assert_ends(outcome, ctl.DONE)
            self.assertIn("Usage: vornixctl", outcome.stdout)
        self.assertRegex(ctl.run(ctl.CTL, "--version").stdout, r"^vornixctl \d+\.\d+\.\d+\n$")

    def test_every_command_has_an_example(self):
        for words in ("ports", "find", "info", "settings get", "settings set", "settings export",
                      "settings import", "reset", "rescue", "stream", "doctor"):
            text = ctl.run(ctl.CTL, *words.split(), "--help").stdout
            self.assertRegex(text, rf"(?s)Examples:\n  vornixctl {words}")

    def test_interrupted_search(self):
        process = self.start("find", self.serve("--silent"), "--timeout", "1000")
        # The search has the port open: the signal then reaches a waiting program.
        link = f"/proc/{process.pid}/fd"
        ctl.wait_until(lambda: any(os.path.realpath(f"{link}/{fd}").startswith("/dev/pts/")
                                   for fd in os.listdir(link)), "the port opened")
        status, out, err = self.interrupt(process)
        self.assertEqual((status, out, err), (ctl.INTERRUPTED, "", ""))


if __name__ == "__main__":
    ctl.main()
