"""A mosquitto broker on loopback and a subscriber that needs no library."""

import os
import shutil
import socket
import ssl
import struct
import subprocess
import threading

from support import LIMIT, wait_until

MOSQUITTO = shutil.which("mosquitto") or shutil.which("/usr/sbin/mosquitto")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Broker:
    """Settings are lines of its configuration, besides the listener."""

    def __init__(self, folder, *settings, anonymous=True):
        self.port = free_port()
        self.configuration = folder / "mosquitto.conf"
        self.configuration.write_text("\n".join(
            [f"listener {self.port} 127.0.0.1", f"allow_anonymous {str(anonymous).lower()}",
             f"user {os.environ.get('USER', 'root')}", *settings]) + "\n")
        self.process = None

    @property
    def url(self):
        return f"mqtt://127.0.0.1:{self.port}"

    def start(self):
        self.process = subprocess.Popen([MOSQUITTO, "-c", self.configuration],
                                        stderr=subprocess.DEVNULL)
        wait_until(self._accepts, "the broker")

    def _accepts(self):
        try:
            socket.create_connection(("127.0.0.1", self.port), 1).close()
            return True
        except OSError:
            return False

    def kill(self):
        if self.process:
            self.process.kill()
            self.process.wait(LIMIT)
            self.process = None


def _field(text):
    data = text.encode()
    return struct.pack(">H", len(data)) + data


class Subscriber:
    """Collects what arrives on the topics below "vornix/": (topic, payload, retained).

    `login`: user and password. `certificate`: that of a broker with TLS."""

    def __init__(self, port, login=(), certificate=None):
        self.messages = []
        self._socket = socket.create_connection(("127.0.0.1", port), LIMIT)
        if certificate:
            self._socket = ssl.create_default_context(cafile=certificate).wrap_socket(
                self._socket, server_hostname="127.0.0.1")
        flags = b"\xc2" if login else b"\x02"
        self._send(0x10, _field("MQTT") + b"\x04" + flags + b"\x00\x00"
                   + b"".join(map(_field, (f"test{id(self)}", *login))))
        assert self._receive()[0] == 0x20
        self._send(0x82, b"\x00\x01" + _field("vornix/#") + b"\x00")
        self._thread = threading.Thread(target=self._collect, daemon=True)
        self._thread.start()

    def close(self):
        try:
            self._socket.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        self._thread.join(LIMIT)
        self._socket.close()

    def on(self, ending):
        return [payload for topic, payload, _ in self.messages if topic.endswith(ending)]

    def _send(self, kind, body):
        assert len(body) < 128
        self._socket.sendall(bytes([kind, len(body)]) + body)

    def _exactly(self, count):
        data = b""
        while len(data) < count:
            piece = self._socket.recv(count - len(data))
            if not piece:
                raise ConnectionError
            data += piece
        return data

    def _receive(self):
        kind = self._exactly(1)[0]
        length, shift = 0, 0
        while True:
            byte = self._exactly(1)[0]
            length |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                return kind, self._exactly(length)

    def _collect(self):
        try:
            while True:
                kind, body = self._receive()
                if kind & 0xF0 == 0x30:
                    size = struct.unpack(">H", body[:2])[0]
                    self.messages.append((body[2:2 + size].decode(), body[2 + size:].decode(),
                                          bool(kind & 1)))
        except (ConnectionError, OSError):
            pass
