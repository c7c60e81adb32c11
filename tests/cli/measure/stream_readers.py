"""What vornixctl stream prints, read by jq and Miller; and recordings instead of a device."""

import csv
import io
import json
import shutil
import subprocess
import sys
import unittest

from support import Case, data_packet, write_recording


def through(command, text):
    return subprocess.run(command, input=text, text=True, capture_output=True, check=True).stdout


class Readers(Case):
    def recording(self, count=100):
        path = self.folder / "made.rec"
        write_recording(path, [data_packet((2, 0.5, -0.5, 0.25, index / 128), (3, index))
                               for index in range(count)], interval_us=10_000)
        return path

    def stream(self, *arguments, **options):
        return self.run_ctl("stream", "--from", self.recording(), *arguments, **options)[0]

    def test_miller_reads_csv(self):
        out = self.stream("--format", "csv")
        answer = json.loads(through(["mlr", "--icsv", "--ojson", "--allow-ragged-csv-input",
                                     "--skip-comments", "cat"], out))
        pressures = [float(row[name]) for row in answer for name in row
                     if name.startswith("pressure")]
        self.assertEqual(pressures, list(range(100)))

    def test_jq_reads_jsonl(self):
        out = self.stream("--format", "jsonl", "--no-header")
        self.assertEqual(through(["jq", "-s", "length"], out).strip(), "100")
        self.assertEqual(through(["jq", ".serial"], out).split(), 100 * ['"c0ffee"'])
        whole = self.stream("--format", "jsonl")
        self.assertEqual(through(["jq", "-s", "length"], whole).strip(), "101")

    def test_miller_reads_jsonl(self):
        out = self.stream("--format", "jsonl", "--no-header")
        rows = list(csv.DictReader(io.StringIO(through(["mlr", "--ijsonl", "--ocsv", "cat"], out))))
        self.assertEqual(len(rows), 100)

    def test_fields_count_duration_and_rate(self):
        lines = self.stream("--fields", "pressure", "--count", 7, "--no-header").splitlines()
        self.assertEqual([float(line.split(",")[-1]) for line in lines], list(range(7)))
        lines = self.stream("--duration", 0.5, "--no-header").splitlines()
        self.assertEqual(len(lines), 50)
        lines = self.stream("--fields", "pressure", "--rate", 25, "--no-header").splitlines()
        self.assertEqual([float(line.split(",")[-1]) for line in lines], list(range(0, 100, 4)))

    def test_raw_packets(self):
        path = self.recording()
        done = subprocess.run([self.ctl(), "stream", "--from", path, "--format", "raw"],
                              capture_output=True, check=True)
        lines = path.read_text().splitlines()
        self.assertEqual(done.stdout, b"".join(bytes.fromhex(line.split()[2]) for line in lines
                                               if " < " in line))

    def test_cut_recording(self):
        path = self.recording()
        path.write_text(path.read_text()[:-2])  # half a byte pair and the line feed
        out, err = self.run_ctl("stream", "--from", path, "--no-header")
        self.assertIn("ends in the middle of line 104", err)
        self.assertEqual(len(out.splitlines()), 99)

    @staticmethod
    def ctl():
        from support import BIN
        return BIN / "vornixctl"


if __name__ == "__main__":
    if not (shutil.which("jq") and shutil.which("mlr")):
        sys.exit(77)
    unittest.main(argv=sys.argv)
