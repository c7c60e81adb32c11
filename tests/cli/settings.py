"""settings, and the files that it reads and writes."""

import json
import os
import pathlib
import tempfile

import ctl
from ctl import PATIENT

GET = "53430c000c07080910114500"


class SettingsCase(ctl.CtlCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def set(self, *words, device=(), stdin=""):
        return self.on_adapter("settings", "set", *PATIENT, *words, device=device, stdin=stdin)

    def sent(self, *words, device=()):
        """The bytes that the command puts on the line, without the requests to read."""
        record = self.folder / "line.rec"
        outcome = self.on_adapter(*words, *PATIENT, device=("--record", record, *device))
        self.assertEqual(outcome.returncode, ctl.DONE, outcome.stderr)
        host = [line.split()[2] for line in record.read_text().splitlines() if " > " in line]
        return [packet for packet in "".join(host).replace(GET, "").replace("5343", " 5343").split()]


class Get(SettingsCase):
    def test_prints_the_settings_in_use(self):
        outcome = self.on_adapter("settings", "get", *PATIENT, device=("--outputs", "0x104"))
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(outcome.stdout, "rate=100\noutputs=quaternion,raw-field\nbaud=115200\n")

    def test_its_output_is_its_input(self):
        printed = self.on_adapter("settings", "get", *PATIENT).stdout.split()
        outcome = self.set("--dry-run", *printed)
        self.assert_ends(outcome, ctl.DONE, "^nothing to change\n$")


class Set(SettingsCase):
    def test_puts_the_bytes_of_the_window_on_the_line(self):
        self.assertEqual(
            self.sent("settings", "set", "rate=200", "baud=921600", "outputs=0x47", "--save",
                      "--yes"),
            # Two bytes of filler follow a rate and outputs: what the request before has left.
            ["53430c000d08c8001011fe00",  # rate 200
             "53430c000d0700100e003200",  # 921600 baud
             "53430c000d09470010117e00",  # outputs 0x47
             "534309000b47005200"])       # save

    def test_writes_only_what_differs(self):
        self.assertEqual(self.sent("settings", "set", "rate=50", "baud=115200", "outputs=full",
                                   "--yes"), ["53430c000d08320010116800"])

    def test_shows_old_beside_new_and_reads_back(self):
        outcome = self.shell_on_adapter(
            '"$CTL" settings set --timeout 20 rate=200 outputs=quaternion,sync --yes && '
            '"$CTL" settings get --timeout 20')
        self.assert_ends(outcome, ctl.DONE, "^written; not saved")
        self.assertEqual(outcome.stdout.splitlines(), [
            "rate: 100 -> 200",
            "outputs: rates,accelerations,quaternion,pressure,covariances,euler,field,sync -> "
            "quaternion,sync",
            "rate=200", "outputs=quaternion,sync", "baud=115200"])

    def test_only_saved_settings_outlive_a_restart(self):
        for save, rate in (("--save", "rate=50"), ("", "rate=100")):
            # The power is off and on when the device answers with its stored settings. Until the
            # signal is handled it still has the others.
            outcome = self.shell_on_adapter(
                f'"$CTL" settings set --timeout 20 rate=50 --yes --quiet {save} || exit; '
                'kill -HUP $PPID; for i in $(seq 1000); do '
                f'"$CTL" settings get --timeout 20 | grep -q "^{rate}$" && exit 0; done; exit 1')
            self.assert_ends(outcome, ctl.DONE)

    def test_changes_the_baud_rate_and_finds_the_device_at_it(self):
        outcome = self.shell_on_adapter(
            '"$CTL" settings set baud=460800 --yes --timeout 20 && '
            '"$CTL" settings get --baud 460800 --timeout 20')
        self.assert_ends(outcome, ctl.DONE, "^written; not saved")
        self.assertIn("\nbaud=460800\n", outcome.stdout)

    def test_dry_run_writes_nothing(self):
        self.assertEqual(self.sent("settings", "set", "rate=50", "--dry-run", "--save"), [])

    def test_asks_first(self):
        for answer, status in (("y\n", ctl.DONE), ("n\n", ctl.FAILED), ("", ctl.FAILED)):
            with self.subTest(answer):
                outcome = self.set("rate=50", stdin=answer)
                self.assertEqual(outcome.returncode, status, outcome.stderr)
                self.assertIn("Write? [y/N] ", outcome.stderr)
                self.assertEqual("nothing written" in outcome.stderr, status == ctl.FAILED)

    def test_refuses_what_does_not_fit_the_line(self):
        outcome = self.set("rate=1000", "--yes")
        self.assert_ends(outcome, ctl.USAGE, "need 808 % of the line at 115200 baud")
        self.assert_ends(self.set("rate=1000", "--yes", "--force"), ctl.DONE, "^written")

    def test_says_so_if_the_window_will_not_find_it(self):
        for word in ("outputs=euler", "baud=1000000"):
            self.assert_ends(self.set(word, "--yes"), ctl.DONE, "the window does not find")

    def test_bad_words_reach_no_device(self):
        for words, problem in ((("rat=100",), 'unknown setting "rat"'),
                               (("rate=60",), 'rate: bad value "60"; possible are 50, '),
                               (("rate=",), 'rate: bad value ""'),
                               (("rate=100x",), 'rate: bad value "100x"'),
                               (("baud=9600",), 'baud: bad value "9600"'),
                               (("outputs=quaternion,pitch",), 'unknown output "pitch"'),
                               (("outputs=",), 'unknown output ""'),
                               (("outputs=0x200",), "outputs: bad mask 0x200"),
                               (("ttyUSB0", "ttyUSB1", "rate=50"), '"ttyUSB1" is no setting'),
                               (("ttyUSB0",), "no setting such as rate=100")):
            with self.subTest(words):
                outcome = ctl.run(ctl.CTL, "settings", "set", *words, "--yes")
                self.assert_ends(outcome, ctl.USAGE, "^vornixctl: .*" + problem)


class FailureInTheMiddle(SettingsCase):
    """The message says which values the device has."""

    def test_refused(self):
        outcome = self.set("rate=200", "outputs=quaternion", "--yes",
                           device=("--refuse", "OUTPUTS", "--outputs", "0x24"))
        self.assert_ends(outcome, ctl.REFUSED, "the device refused: the device now has rate=200 "
                                               "outputs=quaternion,euler baud=115200, not saved\n$")

    def test_refused_at_once(self):
        outcome = self.set("rate=50", "--yes", device=("--refuse", "DATA_RATE"))
        self.assert_ends(outcome, ctl.REFUSED, r"now has rate=100 .*\(unchanged\), not saved\n$")

    def test_save_refused(self):
        outcome = self.set("rate=50", "--save", "--yes", device=("--refuse", "SAVE_SETTINGS"))
        self.assert_ends(outcome, ctl.REFUSED, "now has rate=50 .*, not saved\n$")

    def test_late_replies_are_no_refusal(self):
        # The request is repeated after 2 s, and the second reply to it arrives after the change.
        outcome = self.on_adapter("settings", "set", "--timeout", 8, "rate=50", "--yes",
                                  device=("--late-reply", "GET:2700"))
        self.assert_ends(outcome, ctl.DONE, "^written")

    def test_baud_rate_refused(self):
        outcome = self.set("baud=460800", "--yes", device=("--refuse", "BAUD_RATE"))
        self.assert_ends(outcome, ctl.REFUSED, r"baud=115200 \(unchanged\), not saved\n$")

    def test_no_answer(self):
        outcome = self.on_adapter("settings", "set", "rate=50", "--yes", "--baud", "115200",
                                  "--timeout", "4", device=("--no-reply", "DATA_RATE"))
        self.assert_ends(outcome, ctl.NO_ANSWER,
                         "does not answer: the device now has rate=50 .*, not saved\n$")

    def test_interrupted(self):
        path = self.serve("--ignore", "DATA_RATE:100000")
        process = self.start("settings", "set", path, "rate=50", "--yes", "--timeout", "1000")
        self.assertEqual(process.stdout.readline(), "rate: 100 -> 50\n")
        status, _, err = self.interrupt(process)
        self.assertEqual(status, ctl.INTERRUPTED)
        self.assertRegex(err, r"interrupted: the device now has rate=100 .*\(unchanged\)")


class Files(SettingsCase):
    def write(self, text):
        path = self.folder / "in.json"
        path.write_text(text)
        return path

    def test_exported_settings_can_be_imported(self):
        path = self.folder / "device.json"
        outcome = self.on_adapter("settings", "export", path, *PATIENT,
                                  device=("--outputs", "0x24", "--rate", "50"))
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(json.loads(path.read_text()), {
            "serial": "c0ffee", "firmware": "2.3", "hardware": "1.0", "rate": 50,
            "outputs": ["quaternion", "euler"], "baud": 115200})
        self.assertEqual(os.listdir(self.folder), ["device.json"])
        outcome = self.shell_on_adapter(
            f'"$CTL" settings import {path} --yes --save --quiet --timeout 20 && '
            '"$CTL" settings get --timeout 20')
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(outcome.stdout.splitlines()[-3:],
                         ["rate=50", "outputs=quaternion,euler", "baud=115200"])

    def test_dry_run_shows_the_difference(self):
        path = self.write('{"rate": 50}')
        outcome = self.on_adapter("settings", "import", path, "--dry-run", "--json", *PATIENT)
        self.assert_ends(outcome, ctl.DONE)
        self.assertEqual(json.loads(outcome.stdout), {"rate": {"old": "100", "new": "50"}})

    def test_a_bad_file_reaches_no_device(self):
        for text, problem in (('{"rat": 100}', 'unknown setting "rat"'),
                              ('{"rate": 60}', "rate: bad value 60; possible are 50, 100"),
                              ('{"rate": "100"}', 'rate: bad value "100"'),
                              ('{"rate": -100}', "rate: bad value -100"),
                              ('{"rate": 65636}', "rate: bad value 65636"),
                              ('{"baud": 115200.5}', "baud: bad value 115200.5"),
                              ('{"outputs": ["pitch"]}', 'outputs: unknown output "pitch"'),
                              ('{"outputs": 4}', "outputs: bad value 4"),
                              ('{"outputs": [4]}', "outputs: bad value 4"),
                              ('[]', "not a settings file"), ('{"rate": 1', "not a settings file"),
                              ('', "not a settings file")):
            with self.subTest(text):
                path = self.write(text)
                outcome = ctl.run(ctl.CTL, "settings", "import", path, "--yes")
                self.assert_ends(outcome, ctl.USAGE, f"^vornixctl: {path}: {problem}")

    def test_files_that_cannot_be_used(self):
        outcome = ctl.run(ctl.CTL, "settings", "import", self.folder / "none.json")
        self.assert_ends(outcome, ctl.FAILED, "cannot read .*/none.json")
        outcome = self.on_adapter("settings", "export", self.folder / "no/file.json", *PATIENT)
        self.assert_ends(outcome, ctl.FAILED, "cannot write .*/no/file.json: No such file")

    def test_export_to_a_full_disk(self):
        outcome = self.shell_on_adapter('"$CTL" settings export - --timeout 20 > /dev/full')
        self.assert_ends(outcome, ctl.FAILED, "cannot write standard output: No space left")


if __name__ == "__main__":
    ctl.main()
