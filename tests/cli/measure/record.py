"""vornixctl record: what it writes can be replayed, also after Ctrl-C, a full disk, a pulled cable."""

import json
import pathlib
import re
import resource
import signal
import sys
import unittest

from support import LIMIT, Case, host_packets, wait_until


def device_bytes(path):
    """All bytes of the device in a recording, whether or not they reached a host."""
    lines = pathlib.Path(path).read_text(encoding="ascii").splitlines()
    return b"".join(bytes.fromhex(line.split()[2]) for line in lines
                    if re.match(r"\d+ [<!] ", line))


class Record(Case):
    def setUp(self):
        super().setUp()
        self.file = self.folder / "made.rec"

    def simulated(self, *options):
        self.log = self.folder / "line.rec"
        return self.device("--baud", 460800, "--rate", 200, "--record", self.log, *options)

    def record(self, device, *arguments, **options):
        return self.run_ctl("record", device.path, "--baud", 460800, "--to", self.file, *arguments,
                            **options)

    def start_recording(self, device, *arguments, **options):
        process = self.start_ctl("record", device.path, "--baud", 460800, "--to", self.file,
                                 *arguments, **options)
        wait_until(lambda: self.file.exists() and self.file.stat().st_size > 2000, "a recording")
        return process

    def assertComplete(self):
        """The file ends with a line and holds a piece of what the device has sent."""
        text = self.file.read_text(encoding="ascii")
        self.assertTrue(text.endswith("\n"))
        recorded = device_bytes(self.file)
        self.assertGreater(len(recorded), 500)
        # The device writes its log after the packet.
        wait_until(lambda: recorded in device_bytes(self.log), "the packets in the device's log")

    def test_holds_the_bytes_of_the_line(self):
        device = self.simulated()
        out, err = self.record(device, "--duration", 1)
        self.assertEqual(out, "")
        self.assertRegex(err, r"made.rec: \d+ bytes, \d{2,} packets, 0 damaged\n$")
        self.assertComplete()
        header = self.file.read_text().split("\n\n")[0].splitlines()
        self.assertEqual(header[:4], ["vornix-recording 1", "baud: 460800", "rate: 200",
                                      "outputs: 0xff"])
        self.assertIn("serial: 0xc0ffee", header)

    def test_replayed_it_is_the_same_device(self):
        self.record(self.simulated(), "--duration", 1)
        first = device_bytes(self.file)
        self.log = self.file
        self.file = self.folder / "again.rec"
        device = self.device("--replay", self.log)
        _, err = self.record(device, "--timeout", 0.2, "--duration", 3)
        self.assertIn("does not answer; recording what arrives", err)
        again = device_bytes(self.file)
        self.assertGreater(len(again), len(first) / 2)
        self.assertIn(again, first)

    def test_raw_field_is_on_meanwhile(self):
        device = self.simulated("--outputs", "0x4", "--motion", "still")
        self.record(device, "--raw-field", "--duration", 0.5)
        self.assertEqual([each[6:8] for each in host_packets(self.log)[1:]],
                         [b"\x04\x01", b"\x04\x00"])
        out, _ = self.run_ctl("calibrate", "--from", self.file, "--json", status=8)
        self.assertGreater(json.loads(out)["readings"], 20)

    def test_interrupted(self):
        process = self.start_recording(self.simulated())
        _, err = self.interrupt(process)
        self.assertRegex(err, r"\d+ packets, 0 damaged\n$")
        self.assertComplete()

    def test_no_space(self):
        self.file = "/dev/full"
        _, err = self.record(self.simulated(), status=1)
        self.assertIn("vornixctl: cannot write /dev/full: No space left on device\n", err)

    def test_a_disk_that_becomes_full_leaves_complete_lines(self):
        def limited():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (5000, 5000))
        _, err = self.record(self.simulated(), status=1, preexec_fn=limited)
        self.assertIn(f"cannot write {self.file}: File too large", err)
        self.assertLessEqual(self.file.stat().st_size, 5000)
        self.assertComplete()

    def test_file_that_cannot_be_made(self):
        self.file = self.folder / "missing" / "made.rec"
        _, err = self.record(self.simulated(), status=1)
        self.assertIn("No such file or directory", err)

    def test_unplugged(self):
        device = self.simulated()
        process = self.start_recording(device)
        device.process.terminate()
        _, err = process.communicate(timeout=LIMIT)
        self.assertEqual(process.returncode, 3, err)
        self.assertRegex(self.file.read_text(), r"\n\d+ unplug\n$")
        self.assertComplete()

    def test_wrong_usage(self):
        self.run_ctl("record", status=2)
        for duration in ("0", "nan", "-1", "1e12"):
            self.run_ctl("record", "--to", self.file, f"--duration={duration}", status=2)
        self.assertFalse(self.file.exists())


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
