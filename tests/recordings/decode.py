#!/usr/bin/python3
"""Decodes recordings of a line as docs/protocol.md states; shares no code with the driver.

    decode.py FILE.rec...           writes FILE.expected beside each
    decode.py --check FILE.rec...   fails if a FILE.expected differs from a new one

Each line of FILE.expected is an event at the host's end, in order:

    POSITION BLOCK VALUES [BLOCK VALUES]...   an intact sample; blocks in the order of their codes
    POSITION reply                            an intact reply
    POSITION nothing                          an intact packet without a known block
    POSITION dropped                          a packet that is not intact
    call POSITION NAME ARGUMENTS = RESULT     a command of the host and its result

POSITION counts the device's bytes up to the end of the packet. For a call it counts the host's
bytes before the command.
"""

import pathlib
import struct
import sys

LONGEST = 4096

# Code: name and number of floats.
SAMPLE_BLOCKS = {0: ("rates", 3), 1: ("accelerations", 3), 2: ("quaternion", 4), 3: ("altitude", 1),
                 4: ("covariances", 3), 5: ("euler", 3), 6: ("field", 3), 14: ("raw", 3)}
SYNC, SYNC_SIZE = 22, 36

(BAUD_RATE, DATA_RATE, OUTPUTS, FACTORY_RESET, SAVE_SETTINGS, GET, SET) = range(7, 14)
(MAG_CALIBRATION, VERSIONS, SERIAL_NUMBER, START_CALIBRATION, STOP_CALIBRATION, CALIBRATION_DATA,
 CALIBRATION_DATA_SIZE) = range(15, 22)
ZERO_THRESHOLD = 23

# Code: struct format of the value in a reply.
REPLY_VALUES = {BAUD_RATE: "<I", DATA_RATE: "<H", OUTPUTS: "<H", FACTORY_RESET: "<B",
                SAVE_SETTINGS: "<B", START_CALIBRATION: "<B", STOP_CALIBRATION: "<B",
                VERSIONS: "<HH", SERIAL_NUMBER: "<I", MAG_CALIBRATION: "<12f",
                CALIBRATION_DATA_SIZE: "<I", ZERO_THRESHOLD: "<f"}


class Framer:
    """Takes bytes one at a time and returns each packet with its last byte."""

    def __init__(self, types):
        self.types = types
        self.packet = bytearray()

    def feed(self, byte):
        self.packet.append(byte)
        have = len(self.packet)
        if have == 1 and byte != ord("S") or have == 2 and byte not in self.types:
            self.packet.clear()
        if have < 5:
            return None
        length = self.packet[2] | self.packet[3] << 8
        if length == 0 or length > LONGEST:
            self.packet.clear()
        elif length < 5:
            # The length ends before the header does: the packet ends only when the buffer is full.
            if have == LONGEST:
                self.packet.clear()
        elif have == length:
            packet = bytes(self.packet)
            self.packet.clear()
            return packet
        return None


def is_intact(packet):
    return len(packet) >= 6 and sum(packet[4:-2]) & 0xFFFF == packet[-2] | packet[-1] << 8


def text(values):
    return " ".join("%.9g" % value for value in values)


def sample_blocks(payload):
    """The known blocks of a streamed payload, as text."""
    found = {}
    at = 0
    while at < len(payload):
        code = payload[at]
        at += 1
        if code == SYNC:
            at += SYNC_SIZE
        elif code in SAMPLE_BLOCKS:
            name, count = SAMPLE_BLOCKS[code]
            if at + 4 * count > len(payload):
                raise ValueError("a block that the packet cuts: record it anew")
            found[code] = name + " " + text(struct.unpack_from("<%df" % count, payload, at))
            at += 4 * count
    return [found[code] for code in sorted(found)]


def reply_values(payload):
    """Values of a reply's payload, by code."""
    values = {}
    at = 0
    while at < len(payload):
        code = payload[at]
        at += 1
        if code == CALIBRATION_DATA:
            values[code] = struct.unpack("<%df" % ((len(payload) - at) // 4), payload[at:])
            at = len(payload)
        elif code in REPLY_VALUES:
            value = struct.unpack_from(REPLY_VALUES[code], payload, at)
            values[code] = value if len(value) > 1 else value[0]
            at += struct.calcsize(REPLY_VALUES[code])
    return values


class Call:
    """One command of the host, including its repetitions, and the replies to it."""

    def __init__(self, position, payload):
        self.position = position
        self.kind = tuple(payload[:2]) if payload[0] == SET else (payload[0],)
        self.payload = payload
        self.answers = {}

    def request(self):
        """Operation with arguments, and the codes of its replies."""
        if self.kind[0] == SET:
            return self.set_request(self.kind[1], self.payload[2:])
        code = self.kind[0]
        if code == GET:
            return "loadSettings", [BAUD_RATE, DATA_RATE, OUTPUTS, VERSIONS, SERIAL_NUMBER]
        if code == CALIBRATION_DATA:
            return "getCalibrationData %d %d" % struct.unpack("<II", self.payload[1:]), [code]
        name = {SAVE_SETTINGS: "saveSettings", FACTORY_RESET: "revertToFactorySettings",
                START_CALIBRATION: "startCalibration", STOP_CALIBRATION: "stopCalibration",
                CALIBRATION_DATA_SIZE: "getCalibrationDataSize"}[code]
        return name, [code]

    @staticmethod
    def set_request(parameter, value):
        if parameter == BAUD_RATE:
            return "setBaudRate %d" % struct.unpack("<I", value), [BAUD_RATE, SERIAL_NUMBER]
        if parameter == DATA_RATE:
            return "setDataRate %d" % struct.unpack_from("<H", value), [DATA_RATE]
        if parameter == OUTPUTS:
            return "setOutputs %d" % struct.unpack_from("<H", value), [OUTPUTS]
        if parameter == ZERO_THRESHOLD:
            return "setZeroThreshold " + text(struct.unpack("<f", value)), [ZERO_THRESHOLD]
        return ("setMagneticFieldCalibrationData " + text(struct.unpack("<12f", value)),
                [MAG_CALIBRATION])

    def answered(self):
        return all(code in self.answers for code in self.request()[1])

    def result(self):
        name, codes = self.request()
        if not self.answered():
            raise ValueError(name + " was never answered: record it anew")
        answer = self.answers
        if name == "loadSettings":
            return "%d %d %d %d %d %d" % (answer[BAUD_RATE], answer[DATA_RATE], answer[OUTPUTS],
                                          *answer[VERSIONS], answer[SERIAL_NUMBER])
        if codes == [CALIBRATION_DATA_SIZE]:
            return str(answer[CALIBRATION_DATA_SIZE])
        if codes == [CALIBRATION_DATA]:
            records = answer[CALIBRATION_DATA]
            whole = len(records) - len(records) % 12
            return text(value for i, value in enumerate(records[:whole]) if i % 8 < 6)
        if self.kind[0] == SET:
            echo = answer[codes[0]]
            asked = struct.unpack_from(REPLY_VALUES[codes[0]], self.payload, 2)
            return "true" if asked in (echo, (echo,)) else "false"
        return "true" if answer[codes[0]] == 1 else "false"

    def line(self):
        return "call %d %s = %s" % (self.position, self.request()[0], self.result())


class Host:
    """Decodes the bytes of both directions in the order of the recording."""

    def __init__(self):
        self.lines = []  # text or Call
        self.unit_bytes = 0
        self.host_bytes = 0
        self.call = None
        self.listen_anew()
        self.commands = Framer(b"C")

    def listen_anew(self):
        self.framer = Framer(b"DG")

    def heard(self, piece):
        for byte in piece:
            self.unit_bytes += 1
            packet = self.framer.feed(byte)
            if packet is not None:
                self.lines.append("%d %s" % (self.unit_bytes, self.take(packet)))

    def take(self, packet):
        if not is_intact(packet):
            return "dropped"
        payload = packet[4:-2]
        if packet[1] == ord("D"):
            return " ".join(sample_blocks(payload)) or "nothing"
        if self.call:
            self.call.answers.update(reply_values(payload))
        return "reply"

    def said(self, piece):
        for byte in piece:
            packet = self.commands.feed(byte)
            self.host_bytes += 1
            if packet is not None:
                self.command(packet[4:-2], self.host_bytes - len(packet))

    def command(self, payload, position):
        call = Call(position, payload)
        # Sent again, or the reading of the settings that ends a baud rate change.
        waits = self.call and not self.call.answered()
        if waits and (call.kind == self.call.kind or
                      self.call.kind == (SET, BAUD_RATE) and call.kind == (GET,)):
            return
        self.call = call
        self.lines.append(call)


def events(recording):
    """Kind and argument of every event of a recording."""
    lines = recording.split("\n")
    if lines[0] != "vornix-recording 1":
        raise ValueError("not a recording")
    for line in lines[lines.index("") + 1:]:
        if line and not line.startswith("#"):
            yield (line.split(" ") + [""])[1:3]


def expected(name, recording):
    host = Host()
    for kind, argument in events(recording):
        if kind == "<":
            host.heard(bytes.fromhex(argument))
        elif kind == ">":
            host.said(bytes.fromhex(argument))
        elif kind in ("baud", "unplug"):
            # The host opens its port again and starts with the next byte.
            host.listen_anew()
    lines = [line.line() if isinstance(line, Call) else line for line in host.lines]
    return "# What a host has to find in %s, by decode.py.\n" % name + "".join(
        line + "\n" for line in lines)


def main(arguments):
    check = arguments[:1] == ["--check"]
    differs = False
    for argument in arguments[check:]:
        path = pathlib.Path(argument)
        found = expected(path.name, path.read_text())
        beside = path.with_suffix(".expected")
        if not check:
            beside.write_text(found)
        elif not beside.exists() or beside.read_text() != found:
            print("%s is not what decode.py finds" % beside)
            differs = True
    return differs


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
