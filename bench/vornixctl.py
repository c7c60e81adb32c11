#!/usr/bin/env python3
"""Measures vornixctl against its limits, on simulated devices. Prints a row for each figure.

    bench/vornixctl.py [--seconds N] [BIN]

CPU time is that of vornixctl alone; the simulated devices run beside it and need CPU time as well.
"""

import argparse
import contextlib
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests/cli/measure"))

from support import RAW_FIELD, data_packet, raw_readings, write_recording  # noqa: E402

CALIBRATE_RUNS = 11
# Full output at 1000 Hz fits this baud rate only.
FULL = ("--baud", "1000000", "--rate", "1000", "--outputs", "0xFF", "--easy")
DEVICES = 8


def row(what, figure, limit):
    print(f"| {what} | {figure} | {limit} |", flush=True)


class Benchmark:
    def __init__(self, programs, seconds):
        self.ctl = programs / "vornixctl"
        self.sim = programs / "vornix-sim"
        self.seconds = seconds
        self.overrun = 0  # packets that did not fit into the queue of a port

    @contextlib.contextmanager
    def device(self, *options):
        """The path of a pty with a simulated device. Adds up its lost packets."""
        process = subprocess.Popen([self.sim, "--statistics", *options], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        try:
            yield process.stdout.readline().strip()
        finally:
            process.terminate()
            counts = dict(re.findall(r"(\w+)=(\d+)", process.communicate()[1]))
            self.overrun += int(counts["overrun"])

    def cpu_seconds(self, command, output, seconds=None):
        """CPU time of the command, which is interrupted after `seconds`."""
        process = subprocess.Popen([str(part) for part in command], stdout=output,
                                   stderr=subprocess.DEVNULL)
        if seconds:
            time.sleep(seconds)
            process.terminate()
        _, _, usage = os.wait4(process.pid, 0)
        return usage.ru_utime + usage.ru_stime

    def stream(self, folder, ports):
        """CPU time, and the number of records of each port that `stream` prints."""
        path = folder / "records.csv"
        with path.open("wb") as output:
            used = self.cpu_seconds([self.ctl, "stream", *ports, "--baud", "1000000", "--no-header",
                                     "--duration", self.seconds], output)
        with path.open("rb") as records:
            return used, sum(1 for _ in records)

    def one_device(self, folder):
        self.overrun = 0
        with self.device(*FULL) as port:
            used, records = self.stream(folder, [port])
        lost = self.overrun
        with self.device(*FULL) as port:
            subprocess.run(["stty", "-F", port, "raw", "1000000"], check=True)
            with (folder / "bytes").open("wb") as output:
                plain = self.cpu_seconds(["cat", port], output, self.seconds)
        row("`stream` of 1000 Hz with full output into a file, CPU time beside `cat`",
            f"{100 * used / self.seconds:.1f} % of a core; {records} records in {self.seconds} s, "
            f"{lost} lost; `cat` {100 * plain / self.seconds:.1f} %; ratio {used / plain:.2f}", "ratio 2")

    def eight_devices(self, folder):
        self.overrun = 0
        with contextlib.ExitStack() as stack:
            ports = [stack.enter_context(self.device(*FULL, "--serial", str(number + 1)))
                     for number in range(DEVICES)]
            used, records = self.stream(folder, ports)
        row(f"`stream` of {DEVICES} devices at 1000 Hz in one process",
            f"{100 * used / self.seconds:.0f} % of a core; {records} records in {self.seconds} s, "
            f"{self.overrun} lost", "one core")

    def silent_device(self):
        with self.device("--outputs", "0") as port:
            used = self.cpu_seconds([self.ctl, "stream", port, "--baud", "115200", "--duration",
                                     self.seconds], subprocess.DEVNULL)
        row("`stream` of a device that sends nothing",
            f"{1000 * used:.0f} ms of CPU time in {self.seconds} s, with its start", "0 % of a core")

    def last_baud_rate(self):
        with self.device("--baud", "9600", "--line-baud", "9600", "--rate", "50",
                         "--outputs", "4") as port:
            begin = time.perf_counter()
            subprocess.run([self.ctl, "find", port], check=True, stdout=subprocess.DEVNULL)
            row("`find` of a device at the last baud rate that it tries",
                f"{time.perf_counter() - begin:.1f} s", "12 s")

    def calibration(self, folder):
        path = folder / "made.rec"
        write_recording(path, [data_packet((RAW_FIELD, *reading))
                               for reading in raw_readings(10_000)])
        times = []
        for _ in range(CALIBRATE_RUNS):
            begin = time.perf_counter()
            subprocess.run([self.ctl, "calibrate", "--from", path], check=True,
                           stdout=subprocess.DEVNULL)
            times.append(time.perf_counter() - begin)
        row("`calibrate --from` 10000 samples", f"{statistics.median(times):.3f} s", "0.1 s")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("programs", nargs="?", type=pathlib.Path, metavar="BIN",
                        default=ROOT / "build/release/bin")
    options = parser.parse_args()
    benchmark = Benchmark(options.programs, options.seconds)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        benchmark.calibration(folder)
        benchmark.one_device(folder)
        benchmark.silent_device()
        benchmark.last_baud_rate()
        benchmark.eight_devices(folder)


if __name__ == "__main__":
    main()
