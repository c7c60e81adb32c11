"""Helpers of the tests of vornixctl: simulated devices, runs of the program, made recordings."""

import math
import os
import pathlib
import random
import signal
import struct
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[3]
BIN = pathlib.Path(os.environ.get("VORNIX_BIN", ROOT / "build/release/bin"))
# Only a hanging program waits so long.
LIMIT = 300


def wait_until(condition, what, limit=LIMIT):
    """Returns the first true result of `condition`."""
    end = time.monotonic() + limit
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.02)
    raise AssertionError(f"timed out waiting for {what}")


class Device:
    """A vornix-sim that serves a pseudo-terminal; `path` is its name."""

    def __init__(self, *options):
        self.process = subprocess.Popen([BIN / "vornix-sim", *map(str, options)],
                                        stdout=subprocess.PIPE, text=True)
        self.path = self.process.stdout.readline().strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(LIMIT)
        self.process.stdout.close()


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def device(self, *options):
        return self.enterContext(Device(*options))

    def run_ctl(self, *arguments, status=0, **options):
        """Runs vornixctl to its end and returns (standard output, standard error)."""
        done = subprocess.run([BIN / "vornixctl", *map(str, arguments)], text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=LIMIT,
                              **options)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout, done.stderr

    def start_ctl(self, *arguments, **options):
        process = subprocess.Popen([BIN / "vornixctl", *map(str, arguments)], text=True,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, **options)

        def end():
            if process.poll() is None:
                process.kill()
            process.communicate()
        self.addCleanup(end)
        return process

    def interrupt(self, process, status=130):
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=LIMIT)
        self.assertEqual(process.returncode, status, out + err)
        return out, err


def packet(kind, payload):
    return (b"S" + kind + struct.pack("<H", len(payload) + 6) + payload
            + struct.pack("<H", sum(payload) & 0xFFFF))


def data_packet(*blocks):
    """A data packet of blocks, each (code, float, ...)."""
    return packet(b"D", b"".join(struct.pack(f"<B{len(values)}f", code, *values)
                                 for code, *values in blocks))


RAW_FIELD = 14
HEADER = "vornix-recording 1\nbaud: 921600\nserial: 0xc0ffee\n\n"


def write_recording(path, packets, interval_us=1000):
    """A recording of packets at equal intervals."""
    with open(path, "w", encoding="ascii") as file:
        file.write(HEADER)
        for index, each in enumerate(packets):
            file.write(f"{(index + 1) * interval_us} < {each.hex()}\n")


# The distortion of made readings: raw = SOFT field + HARD, the field has this strength.
SOFT = ((1.1, 0.05, -0.02), (0.05, 0.95, 0.03), (-0.02, 0.03, 0.9))
HARD = (12.0, -20.0, 7.0)
STRENGTH = 48.0


def raw_readings(count, half=False, noise=0.1, seed=1):
    source = random.Random(seed)
    while count > 0:
        direction = [source.gauss(0, 1) for _ in range(3)]
        length = math.sqrt(sum(value * value for value in direction))
        field = [STRENGTH * value / length for value in direction]
        if half and field[2] < 0:
            continue
        count -= 1
        yield [sum(factor * value for factor, value in zip(row, field)) + offset
               + source.gauss(0, noise) for row, offset in zip(SOFT, HARD)]


def host_packets(recording):
    """What the host has sent, in the order of the recording of vornix-sim.

    Without repetitions: a host repeats a request if the reply is late, on a busy machine too."""
    lines = pathlib.Path(recording).read_text(encoding="ascii").splitlines()
    sent = [bytes.fromhex(line.split()[2]) for line in lines if " > " in line]
    return [packet for packet, former in zip(sent, [None, *sent]) if packet != former]
