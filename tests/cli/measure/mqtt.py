"""vornixctl stream --mqtt with a real broker: records, status, lost connections, refusals."""

import json
import os
import re
import shutil
import socket
import subprocess
import sys
import unittest

from broker import MOSQUITTO, Broker, Subscriber
from support import LIMIT, Case, wait_until


class Mqtt(Case):
    def broker(self, *settings, **options):
        broker = Broker(self.folder, *settings, **options)
        broker.start()
        self.addCleanup(broker.kill)
        return broker

    def subscriber(self, broker):
        subscriber = Subscriber(broker.port)
        self.addCleanup(subscriber.close)
        return subscriber

    def simulated(self):
        return self.device("--baud", 460800, "--rate", 100, "--outputs", "0x24")

    def arguments(self, device, broker, *more):
        return ("stream", device.path, "--baud", 460800, "--mqtt", broker.url, *more)

    def test_publishes_records_and_status(self):
        for qos in (0, 1, 2):
            with self.subTest(qos=qos):
                broker = self.broker()
                subscriber = self.subscriber(broker)
                _, err = self.run_ctl(*self.arguments(self.simulated(), broker, "--mqtt-qos", qos,
                                                      "--count", 50))
                self.assertIn("50 samples sent, 0 dropped\n", err)
                late = self.subscriber(broker)
                wait_until(lambda: late.on("/status") == ["offline"], "the retained status")
                wait_until(lambda: len(subscriber.on("/status")) > 1, "both status messages")
                self.assertEqual(subscriber.on("vornix/c0ffee/status"), ["online", "offline"])
                records = [json.loads(text) for text in subscriber.on("vornix/c0ffee/sample")]
                self.assertEqual(len(records), 50)
                self.assertTrue(all("quaternion_w" in record or "quaternion" in record
                                    for record in records), records[0])

    def test_status_is_retained(self):
        broker = self.broker()
        process = self.start_ctl(*self.arguments(self.simulated(), broker))
        subscriber = self.subscriber(broker)
        wait_until(lambda: subscriber.on("/sample"), "a sample")
        late = self.subscriber(broker)
        wait_until(lambda: ("vornix/c0ffee/status", "online", True) in late.messages, "the status")
        self.interrupt(process)
        wait_until(lambda: subscriber.on("/status")[-1] == "offline", "the last status")

    def test_broker_publishes_the_last_will(self):
        broker = self.broker()
        process = self.start_ctl(*self.arguments(self.simulated(), broker))
        subscriber = self.subscriber(broker)
        wait_until(lambda: subscriber.on("/sample"), "a sample")
        process.kill()
        wait_until(lambda: subscriber.on("/status")[-1] == "offline", "the last will")

    def test_broker_killed_and_restarted(self):
        broker = self.broker()
        process = self.start_ctl(*self.arguments(self.simulated(), broker, "--mqtt-queue", 50))
        first = self.subscriber(broker)
        wait_until(lambda: first.on("/sample"), "a sample")
        broker.kill()
        line = process.stderr.readline()
        while "lost the broker" not in line:
            self.assertTrue(line)
            line = process.stderr.readline()
        # The queue of 50 is full after half a second; the first attempt to connect follows later.
        broker.start()
        second = self.subscriber(broker)
        wait_until(lambda: len(second.on("/sample")) > 200, "samples after the restart")
        _, err = self.interrupt(process)
        again = re.search(r"connected to the broker again, (\d+) samples dropped", err)
        self.assertTrue(again, err)
        self.assertGreater(int(again.group(1)), 0)
        dropped = int(re.search(r"samples sent, (\d+) dropped", err).group(1))
        self.assertGreaterEqual(dropped, int(again.group(1)))
        self.assertIn("online", second.on("/status"))

    def test_no_broker(self):
        broker = Broker(self.folder)
        _, err = self.run_ctl(*self.arguments(self.simulated(), broker), status=1)
        self.assertRegex(err, rf"broker 127.0.0.1:{broker.port}: .*(refused|lost)")

    def silent_broker(self):
        """A port that accepts connections and never answers."""
        listener = self.enterContext(socket.create_server(("127.0.0.1", 0)))
        broker = Broker(self.folder)
        broker.port = listener.getsockname()[1]
        return listener, broker

    def test_broker_that_does_not_answer(self):
        _, broker = self.silent_broker()
        _, err = self.run_ctl(*self.arguments(self.simulated(), broker), status=1)
        self.assertEqual(err, f"vornixctl: broker 127.0.0.1:{broker.port}: no answer\n")

    def test_interrupted_before_the_broker_answers(self):
        listener, broker = self.silent_broker()
        process = self.start_ctl(*self.arguments(self.simulated(), broker))
        listener.settimeout(LIMIT)
        self.enterContext(listener.accept()[0])
        self.assertEqual(self.interrupt(process), ("", ""))

    def test_user_and_password(self):
        passwords = self.folder / "passwords"
        passwords.touch(mode=0o600)
        if not shutil.which("mosquitto_passwd"):
            self.skipTest("no mosquitto_passwd")
        subprocess.run(["mosquitto_passwd", "-b", passwords, "robot", "secret"], check=True)
        passwords.chmod(0o644)
        self.folder.chmod(0o755)
        broker = self.broker(f"password_file {passwords}", anonymous=False)
        device = self.simulated()
        arguments = self.arguments(device, broker, "--count", 3)
        _, err = self.run_ctl(*arguments, status=1)
        self.assertIn("not authorised", err)
        user = {**os.environ, "VORNIX_MQTT_USER": "robot"}
        self.run_ctl(*arguments, env={**user, "VORNIX_MQTT_PASSWORD": "secret"})
        self.run_ctl(*arguments, env={**user, "VORNIX_MQTT_PASSWORD": "wrong"}, status=1)
        credentials = self.folder / "credentials"
        credentials.write_text("robot\nsecret\n")
        self.run_ctl(*arguments, "--mqtt-credentials", credentials)
        _, err = self.run_ctl(*arguments, "--mqtt-credentials", self.folder / "no", status=1)
        self.assertIn("cannot read user and password", err)

    def test_tls(self):
        if not shutil.which("openssl"):
            self.skipTest("no openssl")
        key, certificate = self.folder / "key.pem", self.folder / "certificate.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                        "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                        "-keyout", key, "-out", certificate], check=True, capture_output=True)
        key.chmod(0o644)
        self.folder.chmod(0o755)
        broker = self.broker(f"certfile {certificate}", f"keyfile {key}")
        url = f"mqtts://127.0.0.1:{broker.port}"
        device = self.simulated()
        arguments = ("stream", device.path, "--baud", 460800, "--mqtt", url, "--count", 3)
        self.run_ctl(*arguments, "--mqtt-ca", certificate)
        _, err = self.run_ctl(*arguments, status=1)
        self.assertIn("broker 127.0.0.1", err)
        _, err = self.run_ctl(*arguments, "--mqtt-ca", self.folder / "no", status=1)
        self.assertIn("cannot read", err)

    def test_wrong_usage(self):
        for url in ("localhost", "http://localhost", "mqtt://", "mqtt://:1883", "mqtt://a:0",
                    "mqtt://a:70000", "mqtt://a:b", "mqtt://a/topic", "mqtt://me:secret@a",
                    "mqtt://[::1"):
            with self.subTest(url):
                _, err = self.run_ctl("stream", "/dev/null", "--mqtt", url, status=2)
                self.assertNotIn("secret", err)
        self.run_ctl("stream", "--mqtt", "mqtt://a", "--mqtt-qos", 3, status=2)
        self.run_ctl("stream", "--mqtt-qos", 1, status=2)
        self.run_ctl("stream", "--mqtt", "mqtt://a", "--format", "raw", status=2)
        self.run_ctl("stream", "--mqtt", "mqtt://a", "--from", "a.rec", status=2)


if __name__ == "__main__":
    if not MOSQUITTO:
        sys.exit(77)
    unittest.main(argv=sys.argv)
