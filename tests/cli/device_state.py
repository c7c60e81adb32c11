"""reset and rescue: what the device has afterwards."""

import ctl
from ctl import PATIENT


class Reset(ctl.CtlCase):
    def test_asks_first(self):
        outcome = self.on_adapter("reset", *PATIENT, stdin="n\n")
        self.assert_ends(outcome, ctl.FAILED, "nothing written")

    def test_stores_factory_settings_and_finds_the_device_again(self):
        outcome = self.on_adapter("reset", "--yes", *PATIENT,
                                  device=("--outputs", "4", "--rate", "200"))
        self.assert_ends(outcome, ctl.DONE, "take effect when the device is switched on again")
        self.assertEqual(outcome.stdout,
                         "/dev/ttyUSB0 now has rate=200 outputs=quaternion baud=115200\n")

    def test_takes_effect_at_the_next_start(self):
        outcome = self.shell_on_adapter(
            '"$CTL" reset --yes --quiet --timeout 20 > /dev/null || exit; kill -HUP $PPID; '
            'for i in $(seq 1000); do "$CTL" settings get --timeout 20 | grep -q "rate=100" && '
            'exit 0; done; exit 1', device=("--rate", "200", "--outputs", "4"))
        self.assert_ends(outcome, ctl.DONE)

    def test_refused(self):
        outcome = self.on_adapter("reset", "--yes", *PATIENT, device=("--refuse", "FACTORY_RESET"))
        self.assert_ends(outcome, ctl.REFUSED, "the device refused")


class Rescue(ctl.CtlCase):
    HIDDEN = ("--baud", "1000000", "--outputs", "0x20")

    def test_makes_the_device_visible_to_the_window(self):
        outcome = self.shell_on_adapter(
            '"$CTL" rescue --timeout 3 && "$CTL" settings get --timeout 20', device=self.HIDDEN)
        self.assert_ends(outcome, ctl.DONE, "^written and saved\n$")
        self.assertEqual(outcome.stdout.splitlines(), [
            "baud: 1000000 -> 115200", "outputs: euler -> quaternion,euler",
            "rate=100", "outputs=quaternion,euler", "baud=115200"])

    def test_says_so_if_the_line_is_then_too_slow(self):
        outcome = self.on_adapter("rescue", *PATIENT, device=("--rate", "1000"))
        self.assert_ends(outcome, ctl.DONE, "skips samples, .* need 808 % of the line")

    def test_a_visible_device_stays_as_it_is(self):
        outcome = self.on_adapter("rescue", *PATIENT)
        self.assert_ends(outcome, ctl.DONE, "^nothing to change\n")
        self.assertEqual(outcome.stdout, "")


if __name__ == "__main__":
    ctl.main()
