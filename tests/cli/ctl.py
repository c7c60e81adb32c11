"""Helpers of the tests of vornixctl: the programs, with a limit for every wait."""

import atexit
import os
import pathlib
import pwd
import re
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ.get("VORNIX_BIN", ROOT / "build/release/bin"))
CTL = str(BIN / "vornixctl")
SIM = str(BIN / "vornix-sim")

WAIT = 120  # seconds; long enough for a busy machine, because every wait ends earlier if it can
# A device that answers is found at the first baud rate that is tried, however busy the machine.
PATIENT = ("--timeout", "20")

DONE, FAILED, USAGE, NO_DEVICE, NO_PERMISSION, BUSY, NO_ANSWER, REFUSED, JUDGED_BAD = range(9)
INTERRUPTED = 130


def run(*command, stdin="", **options):
    return subprocess.run([str(word) for word in command], input=stdin, capture_output=True,
                          text=True, timeout=WAIT, **options)


def wait_until(condition, what):
    deadline = time.monotonic() + WAIT
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        time.sleep(0.01)
    raise TimeoutError(what)


def _for_scripts():
    """The folder of vornixctl for a script with a simulated adapter. The runtime of a sanitizer must
    be loaded before the library of the test bed, but only into vornixctl."""
    libraries = run("ldd", CTL).stdout
    runtime = re.search(r"lib[at]san\.so\S* => (\S+)", libraries)
    if not runtime:
        return BIN
    folder = pathlib.Path(tempfile.mkdtemp())
    atexit.register(shutil.rmtree, folder)
    folder.chmod(0o755)
    wrapper = folder / "vornixctl"
    wrapper.write_text(f'#!/bin/sh\nLD_PRELOAD={runtime.group(1)}:$LD_PRELOAD exec {CTL} "$@"\n')
    wrapper.chmod(0o755)
    return folder


SCRIPT_BIN = _for_scripts()


class CtlCase(unittest.TestCase):
    def on_adapter(self, *arguments, device=(), stdin=""):
        """vornixctl with a simulated USB adapter, ttyUSB0 unless `device` has --port."""
        return run(SIM, *device, "--", CTL, *arguments, stdin=stdin)

    def shell_on_adapter(self, script, device=()):
        """A script with a simulated adapter; $CTL is vornixctl, $PPID is vornix-sim."""
        return run(SIM, *device, "--", "sh", "-c", script, 
                   env=dict(os.environ, CTL=str(SCRIPT_BIN / "vornixctl")))

    def serve(self, *device):
        """A simulated device on a pseudo-terminal, which any process can open. Its path."""
        process = subprocess.Popen([SIM, *device], stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait, WAIT)
        self.addCleanup(process.terminate)
        path = process.stdout.readline().strip()
        self.simulator = process
        return path

    def start(self, *arguments, **options):
        """vornixctl in the background, its output in pipes."""
        process = subprocess.Popen([CTL, *arguments], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, **options)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait, WAIT)
        self.addCleanup(process.kill)
        return process

    def interrupt(self, process):
        """Ctrl-C; (status, rest of its output, errors)."""
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=WAIT)
        return process.returncode, out, err

    def assert_ends(self, outcome, status, err=None):
        """Checks the exit status, and that standard error matches the expression `err` (default:
        it is empty)."""
        self.assertEqual(outcome.returncode, status, outcome.stdout + outcome.stderr)
        self.assertRegex(outcome.stderr, err if err is not None else r"\A\Z")


def other_user():
    """Options of subprocess for a user that is not root, which may open what it has no right to."""
    if os.geteuid() != 0:
        return {}
    entry = pwd.getpwnam("nobody")
    return {"user": entry.pw_uid, "group": entry.pw_gid, "extra_groups": []}


def main():
    unittest.main()
