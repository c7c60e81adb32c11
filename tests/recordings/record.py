#!/usr/bin/python3
"""Records from the simulated device the lines that test_recordings replays.

    record.py [--sim PROGRAM] [NAME...]    default: all

Afterwards decode.py writes the expected result beside each.
"""

import argparse
import os
import pathlib
import select
import struct
import subprocess
import tempfile
import termios
import time
import tty

import decode

HERE = pathlib.Path(__file__).resolve().parent
SPEEDS = {baud: getattr(termios, "B%d" % baud)
          for baud in (57600, 115200, 230400, 460800, 921600, 1000000)}


class Host:
    """A host that reads samples and repeats commands at the same intervals as the driver."""

    def __init__(self, path, baud):
        self.path = path
        self.fd = None
        self.outputs = 0
        self.open(baud)

    def open(self, baud):
        self.fd = os.open(self.path, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.fd)
        line = termios.tcgetattr(self.fd)
        line[4] = line[5] = SPEEDS[baud]
        termios.tcsetattr(self.fd, termios.TCSANOW, line)
        termios.tcflush(self.fd, termios.TCIFLUSH)
        self.framer = decode.Framer(b"DG")

    def close(self):
        os.close(self.fd)
        self.fd = None

    def listen(self, seconds, until=None):
        """Reads for `seconds` or until a reply with the code `until` arrives; returns its value."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            if not select.select([self.fd], [], [], left)[0]:
                continue
            piece = os.read(self.fd, 4096)
            if not piece:
                raise OSError("hung up")
            for byte in piece:
                packet = self.framer.feed(byte)
                if packet and packet[1] == ord("G") and decode.is_intact(packet):
                    values = decode.reply_values(packet[4:-2])
                    if until in values:
                        return values[until]
        return None

    def say(self, payload):
        payload = bytes(payload)
        total = struct.pack("<H", sum(payload) & 0xFFFF)
        os.write(self.fd, b"SC" + struct.pack("<H", len(payload) + 6) + payload + total)

    def ask(self, payload, code, patience=0.09):
        """Sends the command until a reply arrives."""
        for _ in range(20):
            self.say(payload)
            answer = self.listen(patience, code)
            if answer is not None:
                self.listen(0.02)
                return answer
            self.listen(0.01)
        raise RuntimeError("no answer")

    def load_settings(self):
        self.outputs = self.ask([decode.GET, decode.BAUD_RATE, decode.DATA_RATE, decode.OUTPUTS,
                                 decode.VERSIONS, decode.SERIAL_NUMBER], decode.OUTPUTS, 0.19)

    def set(self, code, value):
        self.ask(bytes([decode.SET, code]) + value, code)

    def set_data_rate(self, rate):
        self.set(decode.DATA_RATE, struct.pack("<HH", rate, 0))

    def set_outputs(self, mask):
        self.set(decode.OUTPUTS, struct.pack("<HH", mask, 0))
        self.outputs = mask

    def save(self, code=decode.SAVE_SETTINGS):
        self.ask(bytes([code]) + struct.pack("<H", self.outputs), code)

    def set_baud_rate(self, baud):
        self.say(bytes([decode.SET, decode.BAUD_RATE]) + struct.pack("<I", baud))
        termios.tcdrain(self.fd)
        self.close()
        self.open(baud)
        self.listen(2.2)
        self.load_settings()


# --- Sessions: what the host does ----------------------------------------------------------------


def listens(seconds):
    return lambda host: host.listen(seconds)


def loads_settings(host):
    host.listen(0.05)
    host.load_settings()
    host.listen(0.05)


def changes_settings(host):
    loads_settings(host)
    host.set_data_rate(200)
    host.listen(0.03)
    host.set_outputs(0x47)
    host.listen(0.05)
    host.set(decode.ZERO_THRESHOLD, struct.pack("<f", 0.02))
    host.save()
    host.load_settings()
    host.listen(0.03)


def resets(host):
    loads_settings(host)
    host.save(decode.FACTORY_RESET)
    host.listen(0.05)


def changes_speed(host):
    host.listen(0.1)
    host.set_baud_rate(230400)
    host.listen(0.1)


def calibrates(host):
    host.listen(0.05)
    host.ask([decode.START_CALIBRATION], decode.START_CALIBRATION)
    host.listen(1.6)
    host.ask([decode.STOP_CALIBRATION], decode.STOP_CALIBRATION)
    downloads(host)


def downloads(host):
    size = host.ask([decode.CALIBRATION_DATA_SIZE], decode.CALIBRATION_DATA_SIZE)
    for page in range(0, size, 128):
        host.ask(bytes([decode.CALIBRATION_DATA]) + struct.pack("<II", page, page + 128),
                 decode.CALIBRATION_DATA)
    host.listen(0.05)


def applies_calibration(host):
    host.listen(0.05)
    bias = (12.5, -7.25, 3.0625)
    matrix = (0.02, 0.0003, -0.0001, 0.0003, 0.021, 0.0002, -0.0001, 0.0002, 0.0195)
    host.set(decode.MAG_CALIBRATION, struct.pack("<12f", *bias, *matrix))
    host.save()
    host.listen(0.1)


def loses_the_cable(host):
    try:
        host.listen(5)
    except OSError:
        pass
    host.close()
    while not os.path.exists(host.path):
        time.sleep(0.01)
    host.open(115200)
    host.listen(0.2)


# --- The lines -------------------------------------------------------------------------------------

# Name: options of the simulated device, and the host's session.
LINES = {
    "baud-57600": ("--baud 57600 --rate 50", listens(0.5)),
    "baud-115200": ("--baud 115200 --rate 100 --motion spin", listens(0.25)),
    "baud-230400": ("--baud 230400 --rate 200 --motion tumble", listens(0.12)),
    "baud-460800": ("--baud 460800 --rate 400 --seed 2", listens(0.06)),
    "baud-921600": ("--baud 921600 --rate 500 --seed 3", listens(0.05)),
    "baud-1000000": ("--baud 1000000 --rate 1000 --motion tumble", listens(0.03)),
    "preset-custom": ("--outputs 0", loads_settings),
    "preset-quaternion": ("--outputs 0x04 --rate 200", listens(0.2)),
    "preset-euler": ("--outputs 0x20 --rate 200 --motion spin", listens(0.2)),
    "preset-inertial": ("--outputs 0x47 --motion tumble", listens(0.3)),
    "preset-inertial-barometer": ("--outputs 0x4F --seed 4", listens(0.3)),
    "preset-full": ("--outputs 0xFF --rate 50 --motion still", listens(0.9)),
    "every-output": ("--outputs 0x1FF --rate 50 --motion tumble", listens(0.5)),
    "sync": ("--outputs 0x84 --rate 50", listens(1.1)),
    "raw-field": ("--outputs 0x100 --rate 200 --motion tumble", listens(0.2)),
    "rest-below-threshold": ("--outputs 0x01 --rate 200 --motion still", listens(0.2)),
    "noise": ("--outputs 0x24 --noise 3", listens(0.4)),
    "noise-heavy": ("--outputs 0x04 --noise 200 --rate 50 --seed 30", listens(0.5)),
    "lost-bytes": ("--outputs 0x24 --lose 0.02 --rate 200", listens(0.4)),
    "corrupt": ("--outputs 0x24 --corrupt 3", listens(0.4)),
    "bad-line": ("--outputs 0x47 --lose 0.005 --noise 2 --corrupt 7 --rate 200", listens(0.3)),
    "overload": ("--rate 1000 --motion tumble", listens(0.25)),
    "unplug-and-return": ("--outputs 0x24 --rate 50 --unplug-after 0.6 --return-after 0.3",
                          loses_the_cable),
    "settings-loaded": ("--outputs 0x24", loads_settings),
    "settings-changed": ("--outputs 0x24", changes_settings),
    "settings-ignored-once": ("--outputs 0x24 --ignore GET:1", loads_settings),
    "settings-answered-late": ("--outputs 0x24 --late-reply GET:60", loads_settings),
    "reply-split": ("--outputs 0x24 --reply-shape split", loads_settings),
    "reply-broken": ("--outputs 0x24 --reply-shape broken", loads_settings),
    "reply-joined": ("--outputs 0x24 --reply-shape joined", loads_settings),
    "factory-reset": ("--outputs 0x24", resets),
    "speed-changed": ("--outputs 0x04 --rate 50", changes_speed),
    "calibration": ("--outputs 0x100 --rate 50 --motion tumble", calibrates),
    "calibration-stored": ("--outputs 0x140 --rate 50 --calibration-points 32", downloads),
    "calibration-applied": ("--outputs 0x140 --rate 50 --motion tumble", applies_calibration),
}


def record(sim, name):
    options, session = LINES[name]
    options = options.split()
    baud = int(options[options.index("--baud") + 1]) if "--baud" in options else 115200
    path = HERE / (name + ".rec")
    with tempfile.TemporaryDirectory() as folder:
        link = folder + "/device"
        device = subprocess.Popen([sim, "--easy", *options, "--link", link, "--record", str(path)],
                                stdout=subprocess.PIPE)
        try:
            device.stdout.readline()
            host = Host(link, baud)
            session(host)
        finally:
            device.terminate()
            device.wait()
    decode.main([str(path)])
    print("%-26s %6d %6d" % (name, path.stat().st_size,
                             path.with_suffix(".expected").stat().st_size), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--sim", default=str(HERE / "../../build/release/bin/vornix-sim"))
    parser.add_argument("names", nargs="*", choices=[[], *LINES], metavar="NAME")
    arguments = parser.parse_args()
    for name in arguments.names or LINES:
        record(arguments.sim, name)


if __name__ == "__main__":
    main()
