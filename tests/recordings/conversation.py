"""Every command of the driver to the simulated device, and every byte of both compared with what
docs/protocol.md requires.

The driver and the simulated device share the codes, the framing and the order of the fields, so a
mistake there shows in no test between the two. This file and decode.py are written from the
document and share no code with them.
"""

import math
import os
import pathlib
import struct
import subprocess
import tempfile
import unittest

import decode
from decode import (BAUD_RATE, CALIBRATION_DATA, CALIBRATION_DATA_SIZE, DATA_RATE, FACTORY_RESET,
                    GET, MAG_CALIBRATION, OUTPUTS, SAVE_SETTINGS, SERIAL_NUMBER, SET,
                    START_CALIBRATION, STOP_CALIBRATION, VERSIONS, ZERO_THRESHOLD)

SIM = pathlib.Path(os.environ["VORNIX_BIN"]) / "vornix-sim"
DRIVER = pathlib.Path(os.environ["VORNIX_TESTS"]) / "call_driver"

# Bit of the outputs mask: code of the block that it switches on.
MASK_BITS = {0: 0, 1: 1, 2: 2, 3: 3, 4: 4, 5: 5, 6: 6, 8: 14}
SYNC_BIT = 7

FACTORY = {BAUD_RATE: 115200, DATA_RATE: 100, OUTPUTS: 0xFF, ZERO_THRESHOLD: 0.0,
           VERSIONS: (0x0203, 0x0100), SERIAL_NUMBER: 0xC0FFEE}
SETTINGS = [BAUD_RATE, DATA_RATE, OUTPUTS, VERSIONS, SERIAL_NUMBER]
BIAS = [12.5, -7.25, 3.0625]
MATRIX = [0.02, 0.0003, -0.0001, 0.0004, 0.021, 0.0002, -0.0005, 0.0006, 0.0195]

# Every command, the 16-bit ones after different commands: their filler is what those left.
CALLS = [
    "setDataRate 200", "loadSettings", "setDataRate 400", "setOutputs 511", "setZeroThreshold 0.02",
    "setDataRate 50", "setMagneticFieldCalibrationData " + decode.text(BIAS + MATRIX),
    "setOutputs 324", "startCalibration", "stopCalibration", "getCalibrationDataSize",
    "getCalibrationData 0 128", "getCalibrationData 128 256", "getCalibrationData 256 32",
    "setDataRate 100", "getCalibrationData 0 4294967276", "saveSettings",
    "setBaudRate 230400", "saveSettings", "setOutputs 4", "revertToFactorySettings",
]


def packet(kind, payload):
    """The frame around a payload."""
    payload = bytes(payload)
    return (b"S" + kind + struct.pack("<H", len(payload) + 6) + payload +
            struct.pack("<H", sum(payload) % 65536))


def record(folder, calls):
    """The recorded line of these calls, and the driver's results."""
    link, file = folder + "/device", folder + "/line.rec"
    # It turns, so that stopping the calibration stores points. The device is the kind one: each
    # command gets exactly one reply.
    device = subprocess.Popen([SIM, "--easy", "--motion", "tumble", "--link", link, "--record",
                               file], stdout=subprocess.PIPE)
    try:
        device.stdout.readline()
        run = subprocess.run([DRIVER, link, "115200"], input="\n".join(calls) + "\n",
                             capture_output=True, text=True, timeout=300)
    finally:
        device.terminate()
        device.wait()
        device.stdout.close()
    if run.returncode:
        raise AssertionError(run.stderr)
    results = [line[2:] for line in run.stdout.splitlines() if line.startswith("= ")]
    return list(decode.events(pathlib.Path(file).read_text())), results


class Requests:
    """The bytes of each call; keeps the payload buffer, whose rest is the filler."""

    def __init__(self):
        self.buffer = bytearray(4096)
        self.outputs = 0  # the last that a reply has stated

    def command(self, payload, filler=0):
        self.buffer[:len(payload)] = payload
        return packet(b"C", self.buffer[:len(payload) + filler])

    def of(self, call):
        """The packets of a call, each of which the driver may repeat."""
        name, *arguments = call.split(" ")
        if name == "setBaudRate":
            return [self.command(struct.pack("<BBI", SET, BAUD_RATE, int(arguments[0]))),
                    self.command([GET, *SETTINGS])]
        return [self.single(name, arguments)]

    def single(self, name, arguments):
        if name == "loadSettings":
            return self.command([GET, *SETTINGS])
        if name == "setDataRate":
            return self.command(struct.pack("<BBH", SET, DATA_RATE, int(arguments[0])), filler=2)
        if name == "setOutputs":
            return self.command(struct.pack("<BBH", SET, OUTPUTS, int(arguments[0])), filler=2)
        if name == "setZeroThreshold":
            return self.command(struct.pack("<BBf", SET, ZERO_THRESHOLD, float(arguments[0])))
        if name == "setMagneticFieldCalibrationData":
            return self.command(struct.pack("<BB12f", SET, MAG_CALIBRATION, *map(float, arguments)))
        if name == "saveSettings":
            return self.command(struct.pack("<BH", SAVE_SETTINGS, self.outputs))
        if name == "revertToFactorySettings":
            return self.command(struct.pack("<BH", FACTORY_RESET, self.outputs))
        if name == "getCalibrationData":
            return self.command(struct.pack("<BII", CALIBRATION_DATA, *map(int, arguments)))
        return self.command([{"startCalibration": START_CALIBRATION,
                              "stopCalibration": STOP_CALIBRATION,
                              "getCalibrationDataSize": CALIBRATION_DATA_SIZE}[name]])


class Device:
    """What the device has to reply, and what each sample has to contain."""

    def __init__(self):
        self.settings = dict(FACTORY)
        self.calibration = None  # until the host sets one

    def block(self, code):
        value = self.settings[code]
        return struct.pack("<B", code) + struct.pack(
            decode.REPLY_VALUES[code], *(value if isinstance(value, tuple) else (value,)))

    def reply_to(self, command):
        """The reply, None if only its form is known."""
        payload = command[4:-2]
        code = payload[0]
        if code == GET:
            return packet(b"G", b"".join(map(self.block, payload[1:])))
        if code == SET and payload[1] == MAG_CALIBRATION:
            self.calibration = struct.unpack("<12f", payload[2:])
            return packet(b"G", payload[1:])
        if code == SET:
            size = struct.calcsize(decode.REPLY_VALUES[payload[1]])
            self.settings[payload[1]], = struct.unpack_from(decode.REPLY_VALUES[payload[1]],
                                                            payload, 2)
            return packet(b"G", payload[1:2 + size])
        if code in (CALIBRATION_DATA, CALIBRATION_DATA_SIZE):
            return None
        return packet(b"G", [code, 1])


class Conversation(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as folder:
            cls.events, cls.results = record(folder, CALLS)

    def pieces(self, *kinds):
        return [bytes.fromhex(argument) for kind, argument in self.events if kind in kinds]

    def test_the_driver_sends_these_bytes(self):
        sent = b"".join(self.pieces(">"))
        requests = Requests()
        for call in CALLS:
            for expected in requests.of(call):
                begin = sent[:len(expected)]
                self.assertEqual(begin.hex(" "), expected.hex(" "), call)
                while sent.startswith(expected):  # a retry
                    sent = sent[len(expected):]
            if call.startswith("setOutputs"):
                requests.outputs = int(call.split(" ")[1])
            elif call == "loadSettings" and requests.outputs == 0:
                requests.outputs = FACTORY[OUTPUTS]
        self.assertEqual(sent.hex(" "), "")

    def packets(self):
        """Each packet of both directions in order. No byte of the device is left over."""
        framers = {">": decode.Framer(b"C"), "<": decode.Framer(b"DG")}
        framers["!"] = framers["<"]
        for kind, argument in self.events:
            for byte in bytes.fromhex(argument) if kind in framers else b"":
                framer = framers[kind]
                # Else the framer searches, and drops bytes without a report.
                self.assertIn(bytes(framer.packet[:2]) + bytes([byte]) * (len(framer.packet) < 2),
                              (b"S", b"SC", b"SD", b"SG"))
                found = framer.feed(byte)
                if found is not None:
                    self.assertTrue(decode.is_intact(found), found.hex(" "))
                    yield found

    def exchanges(self):
        """Each command with its reply."""
        commands = []
        for found in self.packets():
            if found[1] == ord("C"):
                commands.append(found)
            elif found[1] == ord("G"):
                yield commands.pop(0), found
        self.assertEqual(commands, [])

    def test_the_device_replies_with_these_bytes(self):
        device = Device()
        count = 0
        for command, reply in self.exchanges():
            count += 1
            expected = device.reply_to(command)
            if expected is not None:
                self.assertEqual(reply.hex(" "), expected.hex(" "))
            else:
                self.check_calibration(command[4:-2], reply[4:-2])
        self.assertGreaterEqual(count, len(CALLS))

    def check_calibration(self, command, reply):
        self.assertEqual(command[0], reply[0])
        if command[0] == CALIBRATION_DATA_SIZE:
            self.store, = struct.unpack("<I", reply[1:])
            # The first collected point fills one page.
            self.assertEqual(self.store, 128)
            return
        first, second = struct.unpack("<II", command[1:])
        size = 96 if second == first + 128 else min(second, 96)
        self.assertEqual(len(reply) - 1, max(0, min(size, self.store - first)))
        points = struct.unpack("<%df" % (len(reply) // 4), reply[1:])
        for record_start in range(0, len(points), 8):
            for point in (points[record_start:record_start + 3],
                          points[record_start + 3:record_start + 6]):
                # Microtesla: the field of the earth, distorted by iron.
                self.assertTrue(5 < math.dist(point, (0, 0, 0)) < 150, point)

    def test_samples_hold_the_blocks_of_the_mask(self):
        device = Device()
        samples = {}
        for found in self.packets():
            payload = found[4:-2]
            if found[1] == ord("G"):
                # From the reply on, samples follow the new mask.
                values = decode.reply_values(payload)
                device.settings[OUTPUTS] = values.get(OUTPUTS, device.settings[OUTPUTS])
                device.calibration = values.get(MAG_CALIBRATION, device.calibration)
            elif found[1] == ord("D"):
                mask = device.settings[OUTPUTS]
                samples[mask] = samples.get(mask, 0) + 1
                self.check_sample(payload, mask, device.calibration)
        self.assertEqual(set(samples), {255, 511, 324, 4})

    def check_sample(self, payload, mask, calibration):
        values = {}
        sync = False
        at = 0
        while at < len(payload):
            code = payload[at]
            if code == decode.SYNC:
                sync = True
                at += 1 + decode.SYNC_SIZE
                continue
            name, count = decode.SAMPLE_BLOCKS[code]
            self.assertNotIn(name, values)
            values[name] = struct.unpack_from("<%df" % count, payload, at + 1)
            at += 1 + 4 * count
        self.assertEqual(at, len(payload))
        self.assertEqual(sorted(values), sorted(decode.SAMPLE_BLOCKS[code][0] for bit, code in
                                                MASK_BITS.items() if mask >> bit & 1))
        self.assertFalse(sync and not mask >> SYNC_BIT & 1)
        self.check_values(values, calibration)

    def check_values(self, values, calibration):
        if "quaternion" in values:
            x, y, z, w = values["quaternion"]
            self.assertAlmostEqual(x * x + y * y + z * z + w * w, 1, 5)
        if "quaternion" in values and "euler" in values:
            # The scalar part is last, and the angles are roll, pitch, yaw.
            roll, pitch, yaw = map(math.radians, values["euler"])
            self.assertAlmostEqual(math.sin(pitch), 2 * (w * y - z * x), 4)
            self.assertAlmostEqual(math.sin(roll) * math.cos(pitch), 2 * (w * x + y * z), 4)
            self.assertAlmostEqual(math.sin(yaw) * math.cos(pitch), 2 * (w * z + x * y), 4)
        if calibration and "raw" in values and "field" in values:
            bias, matrix = calibration[:3], calibration[3:]
            centred = [raw + offset for raw, offset in zip(values["raw"], bias)]
            for row in range(3):
                # Column by column: the entries of a row are three apart.
                expected = sum(matrix[3 * column + row] * centred[column] for column in range(3))
                self.assertAlmostEqual(values["field"][row], expected, 4)

    def test_the_driver_returns_these_results(self):
        results = dict(zip(CALLS, self.results))
        self.assertEqual(len(self.results), len(CALLS))
        self.assertEqual(results["loadSettings"], "115200 200 255 515 256 12648430")
        self.assertEqual(results["getCalibrationDataSize"], "128")
        replies = {command[5:-2]: struct.unpack("<%df" % ((len(reply) - 7) // 4), reply[5:-2])
                   for command, reply in self.exchanges() if command[4] == CALIBRATION_DATA}
        queries = [call for call in CALLS if call.startswith("getCalibrationData ")]
        for call in queries:
            floats = replies[struct.pack("<II", *map(int, call.split(" ")[1:]))]
            points = [value for i, value in enumerate(floats[:len(floats) // 12 * 12]) if i % 8 < 6]
            self.assertEqual(results[call], decode.text(points), call)
        self.assertEqual([len(results[call].split()) for call in queries], [18, 0, 0, 18])
        other = [call for call in CALLS if call not in queries and not call.startswith("loadSet")
                 and call != "getCalibrationDataSize"]
        self.assertEqual({results[call] for call in other}, {"true"})


if __name__ == "__main__":
    unittest.main()
