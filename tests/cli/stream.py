"""stream: records for other programs."""

import csv
import io
import json
import os
import signal
import subprocess
import time

import ctl
from ctl import PATIENT


def cpu_ticks(process):
    with open(f"/proc/{process.pid}/stat", encoding="ascii") as stat:
        return sum(int(word) for word in stat.read().split()[13:15])


def switches(process):
    """How often it has gone to sleep."""
    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        line = next(line for line in status if line.startswith("voluntary_ctxt_switches"))
    return int(line.split()[1])


class Formats(ctl.CtlCase):
    def stream(self, *arguments, device=("--seed", "3")):
        outcome = self.on_adapter("stream", *PATIENT, *arguments, device=device)
        self.assert_ends(outcome, ctl.DONE)
        return outcome.stdout

    def test_csv_has_names_and_units(self):
        text = self.stream("--count", "4", device=("--outputs", "0x1ff"))
        header, *records = csv.reader(io.StringIO(text))
        self.assertEqual(header, [
            "time_utc_ns", "time_monotonic_ns", "serial",
            "rates_x [rad/s]", "rates_y [rad/s]", "rates_z [rad/s]",
            "accelerations_x [m/s^2]", "accelerations_y [m/s^2]", "accelerations_z [m/s^2]",
            "quaternion_x", "quaternion_y", "quaternion_z", "quaternion_w", "pressure [hPa]",
            "covariances_x [rad^2]", "covariances_y [rad^2]", "covariances_z [rad^2]",
            "euler_roll [deg]", "euler_pitch [deg]", "euler_yaw [deg]",
            "field_x", "field_y", "field_z",
            "raw_field_x [uT]", "raw_field_y [uT]", "raw_field_z [uT]"])
        self.assertEqual([len(record) for record in records], [len(header)] * 4)
        self.assertEqual({record[2] for record in records}, {"c0ffee"})

    def test_times_are_those_of_the_clocks(self):
        before = time.time_ns(), time.monotonic_ns()
        records = [json.loads(line) for line in self.stream(
            "--format", "jsonl", "--no-header", "--count", "100").splitlines()]
        after = time.time_ns(), time.monotonic_ns()
        for record in records:
            self.assertTrue(before[0] < record["time_utc_ns"] < after[0])
            self.assertTrue(before[1] < record["time_monotonic_ns"] < after[1])
        times = [record["time_monotonic_ns"] for record in records]
        self.assertEqual(times, sorted(times))
        # Packets that one read delivers late have the same time, but a port holds fewer than 100.
        self.assertGreater(len(set(times)), 1)

    def test_jsonl_has_a_header_and_arrays(self):
        header, *records = map(json.loads, self.stream(
            "--format", "jsonl", "--fields", "quaternion,euler_yaw,pressure", "--count",
            "2").splitlines())
        self.assertEqual(header, {"units": {"quaternion": "1", "euler_yaw": "deg",
                                            "pressure": "hPa"}})
        for record in records:
            self.assertEqual(list(record), ["time_utc_ns", "time_monotonic_ns", "serial",
                                            "quaternion", "euler_yaw", "pressure"])
            self.assertAlmostEqual(sum(x * x for x in record["quaternion"]), 1, places=5)

    def test_a_field_that_is_not_streamed_is_empty(self):
        text = self.stream("--fields", "pressure,quaternion_w", "--count", "1",
                           device=("--outputs", "4"))
        self.assertRegex(text.splitlines()[1], r"^\d+,\d+,c0ffee,,0\.\d+$")

    def test_raw_is_the_packets(self):
        outcome = subprocess.run(
            [ctl.SIM, "--outputs", "4", "--noise", "3", "--", ctl.CTL, "stream", "--format", "raw",
             "--count", "5", *PATIENT], capture_output=True, timeout=ctl.WAIT)
        self.assertEqual(outcome.returncode, ctl.DONE, outcome.stderr)
        data = outcome.stdout
        self.assertEqual(len(data), 5 * 23)
        for at in range(0, len(data), 23):
            packet = data[at:at + 23]
            self.assertEqual(packet[:5], b"SD\x17\x00\x02")
            self.assertEqual(sum(packet[4:21]).to_bytes(2, "little"), packet[21:])

    def test_decimates_and_says_so(self):
        outcome = self.on_adapter("stream", "--rate", "25", "--count", "3", "--format", "jsonl",
                                  "--no-header", *PATIENT)
        self.assert_ends(outcome, ctl.DONE,
                         "^/dev/ttyUSB0: one sample in 4, 25 Hz of 100 Hz\n$")
        times = [json.loads(line)["time_monotonic_ns"] for line in outcome.stdout.splitlines()]
        # At 100 Hz four samples are 40 ms; a busy machine only makes it longer.
        self.assertGreater(times[2] - times[0], 40_000_000)

    def test_other_programs_read_it(self):
        outcome = self.shell_on_adapter(
            '"$CTL" stream --timeout 20 --count 5 --format jsonl --no-header | '
            "jq -es 'length == 5 and all(.[]; .euler | length == 3)'")
        self.assert_ends(outcome, ctl.DONE)
        outcome = self.shell_on_adapter(
            '"$CTL" stream --timeout 20 --count 5 --fields euler_yaw | '
            "mlr --icsv --ojson stats1 -a count -f 'euler_yaw [deg]'")
        self.assertEqual(json.loads(outcome.stdout), [{"euler_yaw [deg]_count": 5}])

    def test_bad_options(self):
        for words in (("--fields", "pitch"), ("--fields", "euler,"), ("--format", "xml"),
                      ("--rate", "0"), ("--duration", "nan"), ("--duration", "-1"),
                      ("--count", "-1"), ("--all", "ttyUSB0")):
            with self.subTest(words):
                outcome = ctl.run(ctl.CTL, "stream", *words)
                self.assert_ends(outcome, ctl.USAGE, "^vornixctl: ")
        outcome = self.on_adapter("stream", "--all", "--format", "raw",
                                  device=("--port", "ttyUSB0", "--port", "ttyUSB1"))
        self.assert_ends(outcome, ctl.USAGE, "only one port")


class Running(ctl.CtlCase):
    def test_several_ports_at_once(self):
        outcome = self.on_adapter("stream", "--all", "--count", "50", "--fields", "pressure",
                                  *PATIENT, device=("--port", "ttyUSB0", "--port", "ttyUSB1"))
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(len(outcome.stdout.splitlines()), 51)

    def test_duration_ends_it(self):
        outcome = self.on_adapter("stream", "--duration", "0.3", *PATIENT)
        self.assert_ends(outcome, ctl.DONE)

    def test_interrupted_with_complete_lines(self):
        process = self.start("stream", self.serve(), *PATIENT)
        head = [process.stdout.readline() for _ in range(3)]
        status, rest, err = self.interrupt(process)
        self.assertEqual((status, err), (ctl.INTERRUPTED, ""))
        lines = ("".join(head) + rest).split("\n")
        self.assertEqual(lines[-1], "")
        self.assertEqual({line.count(",") for line in lines[:-1]}, {head[0].count(",")})

    def test_a_file_gets_everything_at_the_end(self):
        out = self.id() + ".csv"
        self.addCleanup(os.remove, out)
        with open(out, "w", encoding="ascii") as file:
            outcome = subprocess.run([ctl.SIM, "--", ctl.CTL, "stream", "--count", "20", *PATIENT],
                                     stdout=file, timeout=ctl.WAIT)
        self.assertEqual(outcome.returncode, ctl.DONE)
        with open(out, encoding="ascii") as file:
            self.assertEqual(len(file.readlines()), 21)

    def test_a_port_that_vanishes(self):
        process = self.start("stream", self.serve(), *PATIENT)
        process.stdout.readline()
        process.stdout.readline()
        self.simulator.send_signal(signal.SIGUSR1)
        _, err = process.communicate(timeout=ctl.WAIT)
        self.assertEqual(process.returncode, ctl.NO_DEVICE)
        self.assertRegex(err, "^vornixctl: /dev/pts/[0-9]+: the port stopped working")

    def test_a_reader_that_ends_is_no_error(self):
        process = self.start("stream", self.serve(), *PATIENT)
        process.stdout.readline()
        process.stdout.close()
        process.wait(ctl.WAIT)
        self.assertEqual(process.returncode, -signal.SIGPIPE)
        self.assertEqual(process.stderr.read(), "")

    def test_a_full_disk(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            outcome = subprocess.run([ctl.SIM, "--", ctl.CTL, "stream", "--count", "9", *PATIENT],
                                     stdout=full, stderr=subprocess.PIPE, text=True,
                                     timeout=ctl.WAIT)
        self.assertEqual(outcome.returncode, ctl.FAILED)
        self.assertEqual(outcome.stderr, "vornixctl: cannot write standard output: "
                                         "No space left on device\n")

    def test_counts_damaged_packets(self):
        outcome = self.on_adapter("stream", "--count", "10", *PATIENT, device=("--corrupt", "7"))
        self.assert_ends(outcome, ctl.DONE, r"^/dev/ttyUSB0: \d+ damaged packets\n$")

    def test_sleeps_while_nothing_arrives(self):
        process = self.start("stream", self.serve("--outputs", "0"), *PATIENT)
        self.assertIn("streams nothing", process.stderr.readline())
        ctl.wait_until(lambda: switches(process) == (time.sleep(0.2), switches(process))[1],
                       "asleep")
        before = cpu_ticks(process), switches(process)
        time.sleep(2)  # a program that polls goes to sleep many times in it
        self.assertEqual((cpu_ticks(process), switches(process)), before)


if __name__ == "__main__":
    ctl.main()
