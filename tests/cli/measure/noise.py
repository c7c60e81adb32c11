"""vornixctl noise: known noise from a recording and from a device, the curve and its picture."""

import csv
import json
import os
import pathlib
import random
import shutil
import sys
import unittest
import xml.etree.ElementTree

from support import BIN, Case, data_packet, host_packets, write_recording

INTERVAL = 0.01
DENSITIES = (0.01, 0.02, 0.04)


class Noise(Case):
    def recording(self, count=6000):
        source = random.Random(1)
        path = self.folder / "still.rec"
        write_recording(path, [data_packet((0, *(density / INTERVAL ** 0.5 * source.gauss(0, 1)
                                                 for density in DENSITIES)))
                               for _ in range(count)], interval_us=int(INTERVAL * 1e6))
        return path

    def test_known_random_walk(self):
        curve = self.folder / "curve.csv"
        out, err = self.run_ctl("noise", "--from", self.recording(), "--json", "--csv", curve)
        self.assertEqual(err, "")
        result = json.loads(out)
        self.assertEqual(result["samples"], 6000)
        self.assertAlmostEqual(result["rate_hz"], 100, delta=0.01)
        for axis, density in zip("xyz", DENSITIES):
            self.assertAlmostEqual(result["axes"][axis]["random_walk"], density,
                                   delta=0.15 * density)
        with open(curve, newline="", encoding="ascii") as file:
            rows = list(csv.DictReader(file))
        self.assertAlmostEqual(float(rows[0]["tau_s"]), INTERVAL, delta=1e-5)
        self.assertAlmostEqual(float(rows[0]["rates_y"]), DENSITIES[1] / INTERVAL ** 0.5,
                               delta=0.01)
        self.assertGreater(float(rows[-1]["tau_s"]), 10)

    def test_picture(self):
        if not shutil.which("gnuplot"):
            self.skipTest("no gnuplot")
        picture = self.folder / "it's a curve.svg"
        self.run_ctl("noise", "--from", self.recording(), "--plot", picture)
        root = xml.etree.ElementTree.parse(picture).getroot()
        self.assertTrue(root.tag.endswith("svg"))
        text = "".join(root.itertext())
        for each in ("averaging time (s)", "rates_x", "rates_z"):
            self.assertIn(each.replace("_", ""), text.replace("_", ""))

    def test_no_gnuplot(self):
        _, err = self.run_ctl("noise", "--from", self.recording(), "--plot",
                              self.folder / "a.svg", env={**os.environ, "PATH": "/nonexistent"},
                              status=1)
        self.assertIn("install the package gnuplot-nox", err)

    def test_device(self):
        log = self.folder / "line.rec"
        device = self.device("--baud", 460800, "--rate", 200, "--outputs", "0x4", "--motion",
                             "still", "--record", log)
        out, err = self.run_ctl("noise", device.path, "--baud", 460800, "--duration", 3, "--json",
                                "--output", "accelerations")
        self.assertIn("keep the device still", err)
        result = json.loads(out)
        self.assertGreater(result["samples"], 300)
        self.assertAlmostEqual(result["rate_hz"], 200, delta=20)
        self.assertEqual([each[6:8] for each in host_packets(log)[1:]], [b"\x06\x00", b"\x04\x00"])

    def test_what_cannot_be_measured(self):
        self.run_ctl("noise", "--from", self.recording(3), status=1)
        _, err = self.run_ctl("noise", "--from", self.recording(), "--output", "accelerations",
                              status=1)
        self.assertIn("too few samples of accelerations: 0", err)
        _, err = self.run_ctl("noise", "--from", self.recording(), "--csv", "/dev/full", status=1)
        self.assertIn("cannot write /dev/full", err)
        self.run_ctl("noise", "--output", "pressure", status=2)

    def test_script_is_beside_the_program(self):
        self.assertTrue((pathlib.Path(BIN).parent / "share/vornix/noise_plot.gnuplot").is_file())


if __name__ == "__main__":
    unittest.main(argv=sys.argv)
