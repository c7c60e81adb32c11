"""The recipes of docs/vornixctl.md, with the commands of the page itself. Different are only the
durations, the broker (on loopback) and the folder of the program."""

import csv
import json
import math
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading

import ctl

sys.path.append(str(pathlib.Path(__file__).parent / "measure"))
# pylint: disable=wrong-import-position
from broker import MOSQUITTO, Broker, Subscriber
from support import HARD, RAW_FIELD, SOFT, STRENGTH, data_packet, write_recording

PAGE = ctl.ROOT / "docs/vornixctl.md"


def blocks():
    """Section of the page -> its code blocks."""
    found = {}
    section = ""
    for part in re.split(r"\n{2,}(?!    )", PAGE.read_text()):
        if part.startswith("#"):
            section = part.split("\n")[0].lstrip("# ")
        code = [line[4:] for line in part.split("\n") if line.startswith("    ") or not line]
        if any(code):
            found.setdefault(section, []).append("\n".join(code).strip("\n") + "\n")
    return found


def lasting(script, seconds):
    """The script with another duration."""
    changed, count = re.subn(r"--duration \d+", f"--duration {seconds}", script)
    assert count == 1, script
    return changed


def circle(slope_deg, count=2000):
    """Readings of a vehicle that turns once on a slope, where the earth's field has 58 deg dip."""
    dip = math.radians(58) + math.radians(slope_deg)
    noise = random.Random(slope_deg)
    for index in range(count):
        heading = 2 * math.pi * index / count
        field = [STRENGTH * math.cos(dip) * math.cos(heading),
                 STRENGTH * math.cos(dip) * math.sin(heading), -STRENGTH * math.sin(dip)]
        yield [sum(factor * value for factor, value in zip(row, field)) + offset
               + noise.gauss(0, 0.1) for row, offset in zip(SOFT, HARD)]


class RecipeCase(ctl.CtlCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def in_shell(self, script, *device, stdin="", **variables):
        """Runs a script with a simulated adapter; `vornixctl` is the built program."""
        environment = dict(os.environ, PATH=f"{ctl.SCRIPT_BIN}:{os.environ['PATH']}", **variables)
        return ctl.run(ctl.SIM, *device, "--", "bash", "-c", "set -o pipefail\n" + script,
                       stdin=stdin, cwd=self.folder, env=environment)


class Page(ctl.CtlCase):
    def test_each_section_with_commands_has_a_test(self):
        self.assertEqual(set(blocks()), {
            "vornixctl", "Settings", "Records", "A spreadsheet or PlotJuggler",
            "A robot, with systemd", "A device that the window does not find",
            "Calibration on a vehicle", "A fleet to a broker"})


class Commands(RecipeCase):
    def test_overview(self):
        commands, simulated = blocks()["vornixctl"]
        for line in commands.splitlines():
            with self.subTest(line):
                if "--watch" in line:  # ends by SIGPIPE
                    line = line.split("#")[0] + "| head -n 10; [ ${PIPESTATUS[0]} = 141 ]"
                elif line.endswith("samples.csv"):  # a file gets blocks of records
                    line += " & until [ -s samples.csv ]; do sleep 0.02; done; kill -INT $!; " \
                        "wait $!; [ $? = 130 ] && grep -q euler_yaw samples.csv"
                outcome = self.in_shell(line, stdin="y\n")
                self.assertEqual(outcome.returncode, ctl.DONE, outcome.stderr)
        self.assertEqual(simulated.replace("build/release/bin/", ""),
                         "vornix-sim -- vornixctl info\n")
        self.assert_ends(ctl.run(*simulated.replace("build/release/bin", str(ctl.BIN)).split()),
                         ctl.DONE)

    def test_settings_in_a_file(self):
        outcome = self.in_shell("\n".join(blocks()["Settings"]), "--rate", "50")
        self.assert_ends(outcome, ctl.DONE, "nothing to change")
        self.assertEqual(json.loads((self.folder / "device.json").read_text())["rate"], 50)

    def test_records_for_other_programs(self):
        for tool in ("jq", "mlr"):
            if not shutil.which(tool):
                self.skipTest("no " + tool)
        endless, limited = blocks()["Records"][0].splitlines()
        # The reader ends it.
        outcome = self.in_shell(endless + " | head -n 5; echo ${PIPESTATUS[0]}")
        self.assert_ends(outcome, ctl.DONE)
        *angles, status = outcome.stdout.rsplit("\n", 2)[:2]
        self.assertEqual(len(json.loads(angles[0])), 3)
        self.assertEqual(int(status), 128 + signal.SIGPIPE)
        outcome = self.in_shell(lasting(limited, 1))
        self.assert_ends(outcome, ctl.DONE)
        self.assertRegex(outcome.stdout, r"^time_utc_ns .*euler_yaw \[deg\]")

    def test_file_for_a_spreadsheet(self):
        outcome = self.in_shell(lasting(blocks()["A spreadsheet or PlotJuggler"][0], 2))
        self.assert_ends(outcome, ctl.DONE)
        with open(self.folder / "samples.csv", encoding="ascii", newline="") as file:
            rows = list(csv.DictReader(file))
        self.assertGreater(len(rows), 1)
        self.assertEqual(list(rows[0])[3:], [
            "euler_roll [deg]", "euler_pitch [deg]", "euler_yaw [deg]",
            "rates_x [rad/s]", "rates_y [rad/s]", "rates_z [rad/s]"])
        times = [int(row["time_utc_ns"]) for row in rows]
        self.assertEqual(times, sorted(times))
        for row in rows:
            self.assertTrue(all(-360 <= float(row[name]) <= 360 for name in list(row)[3:]), row)


class Service(RecipeCase):
    def setUp(self):
        super().setUp()
        self.unit = blocks()["A robot, with systemd"][0].replace("/usr/bin", str(ctl.SCRIPT_BIN))

    def setting(self, name):
        return re.search(f"^{name}=(.*)$", self.unit, re.MULTILINE).group(1)

    def test_unit_is_correct(self):
        if not shutil.which("systemd-analyze"):
            self.skipTest("no systemd-analyze")
        path = self.folder / "vornix-samples.service"
        path.write_text(self.unit)
        outcome = ctl.run("systemd-analyze", "verify", "--man=no", "--recursive-errors=no", path)
        problems = outcome.stdout + outcome.stderr
        if "Failed to initialize manager" in problems:
            self.skipTest(problems)
        self.assertEqual((outcome.returncode, re.findall(".*vornix-samples.*", problems)), (0, []),
                         problems)

    def run_service(self, stop):
        """Appends to the log as systemd does, and stops it after the first block of records."""
        return self.in_shell(f'touch samples.jsonl; before=$(stat -c %s samples.jsonl); '
                             f'{self.setting("ExecStart")} >> samples.jsonl & '
                             f'until [ $(stat -c %s samples.jsonl) -gt $before ]; do '
                             f'kill -0 $! || break; sleep 0.02; done; {stop}; wait $!',
                             "--baud", "921600")

    def test_stop_is_a_success_and_leaves_complete_lines(self):
        self.assertRegex(self.setting("StandardOutput"), "^append:.*jsonl$")
        self.assert_ends(self.run_service("kill -TERM $!"), int(self.setting("SuccessExitStatus")))
        header, *records = map(json.loads,
                               (self.folder / "samples.jsonl").read_text().splitlines())
        self.assertEqual(header["units"]["euler"], "deg")
        self.assertEqual({record["serial"] for record in records}, {"c0ffee"})

    def test_unplugging_is_a_failure_after_which_it_starts_again(self):
        self.assertEqual(self.setting("Restart"), "on-failure")
        for _ in range(2):
            self.assert_ends(self.run_service("kill -USR1 $PPID"), ctl.NO_DEVICE,
                             "the device may be unplugged\n$")
        text = (self.folder / "samples.jsonl").read_text()
        self.assertEqual([("units" in json.loads(line)) for line in text.splitlines()].count(True),
                         2)


class Rescue(RecipeCase):
    def test_hidden_device(self):
        doctor, rescue = blocks()["A device that the window does not find"][0].splitlines()
        hidden = ("--baud", "1000000", "--outputs", "0x20")
        outcome = self.in_shell(doctor, *hidden)
        self.assert_ends(outcome, ctl.JUDGED_BAD)
        self.assertIn("bad: window: does not find the device with these settings; vornixctl rescue",
                      outcome.stdout)
        outcome = self.in_shell(f"{rescue}\n{doctor}", *hidden)
        self.assert_ends(outcome, ctl.DONE, "^written and saved\n$")
        self.assertIn("baud: 1000000 -> 115200\noutputs: euler -> quaternion,euler\n",
                      outcome.stdout)
        self.assertIn("good: window: finds the device with these settings\n", outcome.stdout)


class Vehicle(RecipeCase):
    def test_records_judges_and_applies(self):
        judge, apply = blocks()["Calibration on a vehicle"]
        outcome = self.in_shell(lasting(judge, 30) + apply, "--motion", "tumble")
        self.assert_ends(outcome, ctl.DONE, "^turned.rec: .* 0 damaged\n$")
        self.assertEqual(re.findall("^(verdict|applied).*$", outcome.stdout, re.MULTILINE),
                         ["verdict", "verdict", "applied"])
        self.assertTrue(outcome.stdout.endswith("applied and saved\n"))

    # Circles on the plane and on slopes: the vertical part of the field hardly changes.
    def test_driving_is_not_enough(self):
        command = blocks()["Calibration on a vehicle"][0].splitlines()[1]
        for slopes_deg in ((0,), (0, 10), (0, 5, 10, 15, 20)):
            with self.subTest(slopes_deg):
                readings = [reading for slope in slopes_deg for reading in circle(slope)]
                write_recording(self.folder / "turned.rec",
                                [data_packet((RAW_FIELD, *reading)) for reading in readings])
                outcome = self.in_shell(command)
                self.assert_ends(outcome, ctl.JUDGED_BAD)
                self.assertRegex(outcome.stdout, "(?m)^bad +(readings|coverage): .*")


class Fleet(RecipeCase):
    URL = "mqtts://broker.example.org"

    def setUp(self):
        super().setUp()
        missing = [name for name, found in (("mosquitto", MOSQUITTO),
                                            ("openssl", shutil.which("openssl")),
                                            ("mosquitto_passwd", shutil.which("mosquitto_passwd")))
                   if not found]
        if missing:
            self.skipTest("no " + ", ".join(missing))

    def broker(self, user, password):
        """A broker with TLS and one user, and the path of its certificate."""
        key, certificate, users = (self.folder / name for name in ("key", "certificate", "users"))
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                        "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                        "-keyout", key, "-out", certificate], check=True, capture_output=True)
        users.touch(mode=0o600)
        subprocess.run(["mosquitto_passwd", "-b", users, user, password], check=True)
        self.folder.chmod(0o755)
        key.chmod(0o644)
        users.chmod(0o644)
        broker = Broker(self.folder, f"certfile {certificate}", f"keyfile {key}",
                        f"password_file {users}", anonymous=False)
        broker.start()
        self.addCleanup(broker.kill)
        return broker, certificate

    def stop_after_both(self, subscriber):
        ctl.wait_until(lambda: len({topic for topic, _, _ in subscriber.messages
                                    if topic.endswith("/sample")}) == 2, "samples of both devices")
        (self.folder / "stop").touch()

    def test_each_device_has_its_topics(self):
        script = blocks()["A fleet to a broker"][0]
        user = re.search(r"VORNIX_MQTT_USER=(\S+)", script).group(1)
        password = re.search(r"VORNIX_MQTT_PASSWORD=(\S+)", script).group(1)
        broker, certificate = self.broker(user, password)
        self.assertEqual(script.count(self.URL), 1)
        local = f"mqtts://127.0.0.1:{broker.port} --mqtt-ca {certificate}"
        two = ("--port", "ttyUSB0", "--port", "ttyUSB1")
        subscriber = Subscriber(broker.port, (user, password), certificate)
        self.addCleanup(subscriber.close)
        stop = threading.Thread(target=self.stop_after_both, args=(subscriber,))
        stop.start()
        outcome = self.in_shell(
            script.replace(self.URL, local).rstrip() + " & until [ -e stop ]; do sleep 0.02; done; "
            "kill -INT $!; wait $!", *two)
        stop.join()
        self.assert_ends(outcome, ctl.INTERRUPTED, "\n[0-9]+ samples sent, 0 dropped\n$")
        for path in ("/dev/ttyUSB0", "/dev/ttyUSB1"):
            self.assertIn(f"{path}: one sample in 10, 10 Hz of 100 Hz\n", outcome.stderr)
        ctl.wait_until(lambda: subscriber.on("/status").count("offline") == 2, "the last messages")
        sent = [(topic.split("/")[1], json.loads(text)["serial"])
                for topic, text, _ in subscriber.messages if topic.endswith("/sample")]
        self.assertEqual(set(sent), {("c0ffee", "c0ffee"), ("c0ffef", "c0ffef")})
        self.assertEqual(sorted(subscriber.on("/status")), 2 * ["offline"] + 2 * ["online"])


if __name__ == "__main__":
    ctl.main()
