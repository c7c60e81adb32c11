"""The examples of the help text, which the manual page repeats, and the programs in examples/."""

import os
import pathlib
import re
import subprocess
import tempfile

import ctl

EXAMPLES = pathlib.Path(os.environ.get("VORNIX_EXAMPLES", ctl.ROOT / "build/release/examples"))
# Commands that run without end are interrupted after that time, in seconds.
INTERRUPT_AFTER = 6


class Examples(ctl.CtlCase):
    def test_of_the_help_text_work(self):
        text = ctl.run(ctl.CTL, "--help-all").stdout
        lines = re.findall("^  (vornixctl .*)$", text, re.MULTILINE)
        self.assertGreater(len(lines), 20)
        folder = self.enterContext(tempfile.TemporaryDirectory())
        # An import needs the file of an export.
        for line in sorted(lines, key=lambda line: "import" in line):
            if "--mqtt" in line or "--from" in line:
                continue  # these need a broker or a recording, and have tests with them
            with self.subTest(line):
                script = re.sub("^vornixctl", f"timeout -s INT {INTERRUPT_AFTER} "
                                f"{ctl.SCRIPT_BIN}/vornixctl", line)
                outcome = subprocess.run(
                    [ctl.SIM, "--motion", "tumble", "--", "bash", "-c",
                     "set -o pipefail; " + script],
                    input="y\n", capture_output=True, text=True, timeout=ctl.WAIT, cwd=folder)
                self.assertIn(outcome.returncode, (ctl.DONE, ctl.JUDGED_BAD, 124, ctl.INTERRUPTED),
                              outcome.stderr)

    def test_print_attitude(self):
        outcome = ctl.run(ctl.SIM, "--", EXAMPLES / "print_attitude", "/dev/ttyUSB0")
        self.assert_ends(outcome, ctl.DONE)
        first, *rest = outcome.stdout.splitlines()
        self.assertEqual(first, "serial number c0ffee, 100 Hz")
        self.assertEqual(len(rest), 10)
        for line in rest:
            self.assertRegex(line, r"^(-?\d+\.\d\d ?){3}$")


if __name__ == "__main__":
    ctl.main()
