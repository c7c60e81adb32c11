"""vornixctl calibrate: results against the known distortion, verdicts, and the bytes on the line."""

import json
import math
import signal
import struct
import sys
import unittest
from itertools import groupby

from support import (HARD, LIMIT, RAW_FIELD, SOFT, STRENGTH, Case, data_packet, host_packets,
                     packet, raw_readings, wait_until, write_recording)

GET = bytes.fromhex("53430c000c07080910114500")
LINE = ("--baud", 921600, "--rate", 400)


def multiply(matrix, vector):
    return [sum(factor * value for factor, value in zip(row, vector)) for row in matrix]


def set_outputs(mask):
    """Payload of the command without its two filler bytes."""
    return struct.pack("<BBH", 13, 9, mask)


class CalibrateCase(Case):
    def recording(self, count=2000, **options):
        path = self.folder / "made.rec"
        write_recording(path, [data_packet((RAW_FIELD, *reading))
                               for reading in raw_readings(count, **options)])
        return path


class FromRecording(CalibrateCase):
    def test_undoes_the_known_distortion(self):
        out, err = self.run_ctl("calibrate", "--from", self.recording(), "--json")
        result = json.loads(out)
        self.assertEqual(err, "")
        self.assertEqual(result["verdict"], "good")
        self.assertEqual(result["readings"], 2000)
        self.assertEqual(result["coverage"]["covered"], 54)
        self.assertEqual(result["coverage"]["sections"], 54 * "1")
        self.assertGreater(result["residual"]["before"], 0.2)
        self.assertLess(result["residual"]["after"], 0.005)
        self.assertEqual({reason["about"] for reason in result["reasons"]},
                         {"readings", "coverage", "residual", "shape", "field strength"})
        self.assertFalse(result["applied"])
        for bias, hard in zip(result["bias"], HARD):
            self.assertAlmostEqual(bias, -hard, delta=0.1)
        for reading in raw_readings(200, noise=0, seed=2):
            shifted = [value + bias for value, bias in zip(reading, result["bias"])]
            length = math.hypot(*multiply(result["matrix"], shifted))
            self.assertAlmostEqual(length, 1, delta=0.005)
        for row, values in enumerate(result["matrix"]):
            self.assertEqual(values[:row], row * [0])

    def test_half_of_the_directions_are_bad(self):
        out, _ = self.run_ctl("calibrate", "--from", self.recording(half=True), status=8)
        self.assertRegex(out, r"(?m)^bad +coverage: \d+ of 54 .* too little towards -z")
        self.assertTrue(out.endswith("verdict     bad\n"))

    def test_few_readings_are_bad(self):
        out, _ = self.run_ctl("calibrate", "--from", self.recording(5), "--json", status=8)
        result = json.loads(out)
        self.assertEqual(result["verdict"], "bad")
        self.assertNotIn("bias", result)

    def test_expected_strength(self):
        path = self.recording()
        self.run_ctl("calibrate", "--from", path, "--field", STRENGTH)
        out, _ = self.run_ctl("calibrate", "--from", path, "--field", STRENGTH / 10, status=8)
        self.assertRegex(out, "(?m)^bad +field strength")

    def test_a_file_cut_in_the_middle_is_read_up_to_there(self):
        path = self.recording()
        text = path.read_text()
        path.write_text(text[:len(text) * 3 // 4 + 7])
        out, err = self.run_ctl("calibrate", "--from", path, "--json")
        self.assertRegex(err, "ends in the middle of line |^$")
        self.assertGreater(json.loads(out)["readings"], 1400)
        path.write_text(text[:text.rindex(" <")])
        out, err = self.run_ctl("calibrate", "--from", path, "--json")
        self.assertIn("ends in the middle of line 2004", err)
        self.assertEqual(json.loads(out)["readings"], 1999)

    def test_damage_elsewhere_is_refused_with_its_line(self):
        path = self.recording(20)
        path.write_text(path.read_text().replace("\n5000 < ", "\n5000 ? "))
        _, err = self.run_ctl("calibrate", "--from", path, status=1)
        self.assertEqual(err, f"vornixctl: {path}, line 9: unknown event: ?\n")

    def test_files_that_cannot_be_used(self):
        missing = self.folder / "missing.rec"
        _, err = self.run_ctl("calibrate", "--from", missing, status=1)
        self.assertEqual(err, f"vornixctl: cannot read {missing}: No such file or directory\n")
        _, err = self.run_ctl("calibrate", "--from", self.folder, status=1)
        self.assertIn("Is a directory", err)
        other = self.folder / "other.rec"
        write_recording(other, 50 * [data_packet((2, 0, 0, 0, 1))])
        _, err = self.run_ctl("calibrate", "--from", other, status=1)
        self.assertIn("contains no raw magnetic field", err)

    def test_wrong_usage(self):
        self.run_ctl("calibrate", "--from", "x", "--duration", 5, status=2)
        self.run_ctl("calibrate", "--save", status=2)
        self.run_ctl("calibrate", "--field=-1", status=2)
        self.run_ctl("calibrate", "--field=nan", status=2)


class WithDevice(CalibrateCase):
    def simulated(self, *options, outputs="0x4"):
        self.log = self.folder / "line.rec"
        return self.device(*LINE, "--outputs", outputs, "--record", self.log, *options)

    def calibrate(self, device, *arguments, **options):
        return self.run_ctl("calibrate", device.path, "--baud", 921600, *arguments, **options)

    # The window sends the same: settings, outputs with the raw field, calibration, save with the
    # outputs in use, and the former outputs.
    def test_sends_the_bytes_of_the_window(self):
        device = self.simulated("--motion", "tumble")
        out, _ = self.calibrate(device, "--json", "--apply", "--save")
        result = json.loads(out)
        self.assertEqual((result["verdict"], result["applied"], result["saved"]),
                         ("good", True, True))
        sent = host_packets(self.log)
        self.assertEqual(sent[0], GET)
        self.assertEqual(sent[1][4:8], set_outputs(0x104))
        columns = [result["matrix"][row][column] for column in range(3) for row in range(3)]
        self.assertEqual(sent[2], packet(b"C", struct.pack("<BB12f", 13, 15, *result["bias"],
                                                           *columns)))
        self.assertEqual(sent[3], packet(b"C", struct.pack("<BH", 11, 0x104)))
        self.assertEqual(sent[4][4:8], set_outputs(0x4))
        self.assertEqual(len(sent), 5)
        self.assertEqual(result["read_back"]["bias"], result["bias"])
        self.assertEqual(result["read_back"]["matrix_by_column"], columns)

    def test_streams_the_raw_field_only_meanwhile(self):
        device = self.simulated("--motion", "still")
        out, err = self.calibrate(device, "--duration", 0.5, "--apply", status=8)
        self.assertIn("verdict     bad\n", out)
        self.assertIn("was not applied", err)
        sent = host_packets(self.log)
        self.assertEqual([each[4:8] for each in sent[1:]], [set_outputs(0x104), set_outputs(0x4)])

    def test_sends_no_outputs_if_the_raw_field_is_on(self):
        device = self.simulated("--motion", "still", outputs="0x104")
        self.calibrate(device, "--duration", 0.5, status=8)
        self.assertEqual(host_packets(self.log), [GET])

    def test_interrupted_restores_the_outputs(self):
        device = self.simulated("--motion", "still")
        process = self.start_ctl("calibrate", device.path, "--baud", 921600, "--apply")
        wait_until(lambda: len(host_packets(self.log)) == 2, "the raw field")
        _, err = self.interrupt(process)
        self.assertNotIn("not restored", err)
        self.assertEqual([each[4:8] for each in host_packets(self.log)[1:]],
                         [set_outputs(0x104), set_outputs(0x4)])

    def test_applies_a_recording(self):
        device = self.simulated()
        out, _ = self.calibrate(device, "--from", self.recording(), "--apply")
        self.assertTrue(out.endswith("applied, not saved\n"))
        self.assertEqual([each[4] for each in host_packets(self.log)], [12, 13])

    def test_device_that_does_not_confirm(self):
        recording = self.recording()
        for fault, status in (("--wrong-echo", 7), ("--no-reply", 6)):
            with self.subTest(fault):
                device = self.simulated(fault, "MAG_CALIBRATION")
                _, err = self.calibrate(device, "--from", recording, "--apply", "--save",
                                        status=status)
                self.assertIn("the calibration", err)
                self.assertNotIn(11, [each[4] for each in host_packets(self.log)])

    def test_device_that_does_not_save(self):
        recording = self.recording()
        for fault, status, known, saved in (("--refuse", 7, "did not save it", False),
                                            ("--no-reply", 6, "whether it saved it is unknown",
                                             None)):
            with self.subTest(fault):
                device = self.simulated(fault, "SAVE_SETTINGS")
                out, err = self.calibrate(device, "--from", recording, "--apply", "--save",
                                          "--json", status=status)
                self.assertTrue(err.endswith(f": it used the new calibration, but {known}\n"), err)
                result = json.loads(out)
                self.assertEqual((result["applied"], result["saved"]), (True, saved))

    # The restarted device has its earlier calibration, and would confirm a repeated save.
    def test_device_that_loses_its_power_while_it_saves(self):
        device = self.simulated("--fault", "power-loss-while-saving")
        self.calibrate(device, "--from", self.recording(), "--apply", "--save", "--timeout", 20)
        # Calibration, save; the same again after the restart. A busy machine may repeat more.
        kinds = [kind for kind, _ in groupby(each[4] for each in host_packets(self.log)[1:])]
        self.assertEqual(kinds[:4], [13, 11, 13, 11])

    def test_device_that_refuses_the_raw_field(self):
        device = self.simulated("--wrong-echo", "OUTPUTS")
        _, err = self.calibrate(device, status=7)
        self.assertIn("switching the output on", err)

    def test_unplugged(self):
        device = self.simulated("--motion", "still")
        process = self.start_ctl("calibrate", device.path, "--baud", 921600)
        wait_until(lambda: len(host_packets(self.log)) == 2, "the raw field")
        device.process.terminate()
        out, err = process.communicate(timeout=LIMIT)
        self.assertEqual(process.returncode, 3, out + err)
        self.assertIn(device.path, err)

    def unplug_at(self, code, *faults, words=()):
        """Pulls the cable once the device has received a command of that code."""
        device = self.simulated(*faults)
        process = self.start_ctl("calibrate", device.path, "--baud", 921600, "--timeout", 1000,
                                 "--from", self.recording(), "--apply", "--save", *words)
        wait_until(lambda: code in [each[4] for each in host_packets(self.log)], "the command")
        device.process.send_signal(signal.SIGUSR1)
        out, err = process.communicate(timeout=LIMIT)
        self.assertEqual(process.returncode, 3, out + err)
        return out, err

    def test_unplugged_while_it_is_applied(self):
        out, err = self.unplug_at(13, "--ignore", "MAG_CALIBRATION:100000", words=("--json",))
        self.assertRegex(err, "the device may be unplugged: whether it uses the new calibration "
                              "is unknown; the calibration was not saved\n$")
        result = json.loads(out)  # not lost
        self.assertEqual((result["verdict"], result["applied"], result["saved"]),
                         ("good", None, False))

    def test_unplugged_while_it_is_saved(self):
        out, err = self.unplug_at(11, "--flash-time", "0-1", "--ignore", "SAVE_SETTINGS:100000")
        self.assertRegex(err, "the device may be unplugged: it used the new calibration, but "
                              "whether it saved it is unknown\n$")
        self.assertTrue(out.endswith("verdict     good\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
