"""Ctrl-C at several moments: the exit status, and nothing half done."""

import os
import pathlib
import subprocess
import tempfile

import ctl

GET = "53430c000c07080910114500"
ENDLESS = ("--timeout", "1000")


class Interruptions(ctl.CtlCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.record = self.folder / "line.rec"

    def has_port(self, process):
        descriptors = f"/proc/{process.pid}/fd"
        return any(os.path.realpath(f"{descriptors}/{fd}").startswith("/dev/pts/")
                   for fd in os.listdir(descriptors))

    def interrupt_search(self, *words, device=("--silent",)):
        """Interrupts a command that waits for a device. Nothing is printed."""
        path = self.serve(*device)
        process = self.start(*words, path, *ENDLESS, cwd=self.folder)
        ctl.wait_until(lambda: self.has_port(process), "the port opened")
        self.assertEqual(self.interrupt(process)[::2], (ctl.INTERRUPTED, ""))

    def test_search_of_each_command(self):
        for words in (("find",), ("info",), ("stream",), ("settings", "get"), ("rescue",),
                      ("reset", "--yes"), ("calibrate", "--apply", "--save"),
                      ("settings", "set", "rate=50", "--yes"), ("noise",)):
            with self.subTest(words):
                self.interrupt_search(*words)

    def test_no_file_without_a_device(self):
        for words in (("settings", "export", "device.json"), ("record", "--to", "line.rec")):
            with self.subTest(words):
                self.interrupt_search(*words)
                self.assertEqual(os.listdir(self.folder), [])

    def test_question(self):
        for words in (("settings", "set", "rate=50", "--save"), ("reset",)):
            with self.subTest(words):
                path = self.serve("--record", str(self.record))
                process = self.start(*words, path, *ctl.PATIENT, stdin=subprocess.PIPE)
                self.addCleanup(process.stdin.close)
                asked = ""
                while not asked.endswith("[y/N] "):
                    character = process.stderr.read(1)
                    self.assertTrue(character, asked)
                    asked += character
                self.assertEqual(self.interrupt(process)[::2], (ctl.INTERRUPTED, ""))
                sent = {line.split()[2] for line in self.record.read_text().splitlines()
                        if " > " in line}
                self.assertEqual(sent, {GET})

    def test_reset_in_progress(self):
        path = self.serve("--record", str(self.record), "--ignore", "FACTORY_RESET:100000")
        process = self.start("reset", path, "--yes", *ENDLESS)
        ctl.wait_until(lambda: " > 534309000a" in self.record.read_text(), "the command")
        status, out, err = self.interrupt(process)
        self.assertEqual((status, out), (ctl.INTERRUPTED, ""))
        self.assertRegex(err, ": interrupted: the device last had rate=100 .*; whether the factory "
                              "settings are stored is unknown\n$")

    def test_doctor(self):
        outcome = self.shell_on_adapter(
            f'"$CTL" doctor --timeout 1000 & until grep -q " > {GET}" {self.record}; do '
            'kill -0 $! || exit 99; sleep 0.02; done; kill -INT $!; wait $!',
            device=("--record", self.record, "--ignore", "GET:100000"))
        self.assert_ends(outcome, ctl.INTERRUPTED)


if __name__ == "__main__":
    ctl.main()
