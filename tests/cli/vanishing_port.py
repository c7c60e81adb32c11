"""A device that vanishes while it is written to: exit status, and what is known of its values."""

import pathlib
import tempfile

import ctl

# No attempt ends before the cable is pulled, however busy the machine.
ENDLESS = ("--timeout", "1000")
LOST = r"^vornixctl: /dev/ttyUSB0: the port stopped working; the device may be unplugged: "
FULL = "rates,accelerations,quaternion,pressure,covariances,euler,field,sync"
# How the commands begin on the line.
RATE, BAUD, OUTPUTS = "53430c000d08", "53430c000d07", "53430c000d09"
SAVE, RESET = "534309000b", "534309000a"


def writes_its_flash(code):
    """Faults of a device whose cable is pulled in the middle of a save or a reset."""
    return "--flash-time", "60000", "--no-reply", code


class VanishingPort(ctl.CtlCase):
    def setUp(self):
        self.record = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())) / "line.rec"

    def unplug_at(self, packet, command, device):
        """Pulls the cable once the device has received the packet."""
        return self.shell_on_adapter(
            f'"$CTL" {command} & until grep -q " > {packet}" {self.record}; do '
            'kill -0 $! || exit 99; sleep 0.02; done; kill -USR1 $PPID; wait $!',
            device=("--record", self.record, *device))

    def set_until(self, packet, *device):
        return self.unplug_at(packet, "settings set rate=50 baud=460800 outputs=quaternion --save "
                                      "--yes --quiet " + " ".join(ENDLESS), device)

    def test_at_the_first_value(self):
        outcome = self.set_until(RATE, "--ignore", "DATA_RATE:100000")
        self.assert_ends(outcome, ctl.NO_DEVICE,
                         LOST + f"the device last had rate=100 outputs={FULL} baud=115200, not "
                                "saved; whether it has rate=50 is unknown\n$")

    def test_at_the_baud_rate(self):
        outcome = self.set_until(BAUD, "--slow-baud-change", "1000000")
        # The port may vanish before it is opened at the new baud rate, or afterwards.
        self.assert_ends(outcome, ctl.NO_DEVICE,
                         "^vornixctl: /dev/ttyUSB0: (the port stopped working.*|No such file.*): "
                         f"the device last had rate=50 outputs={FULL} baud=115200, not saved; "
                         "whether it has baud=460800 is unknown\n$")

    def test_at_the_last_value(self):
        outcome = self.set_until(OUTPUTS, "--ignore", "OUTPUTS:100000")
        self.assert_ends(outcome, ctl.NO_DEVICE,
                         LOST + f"the device last had rate=50 outputs={FULL} baud=460800, not "
                                "saved; whether it has outputs=quaternion is unknown\n$")

    def test_while_it_writes_its_flash(self):
        outcome = self.set_until(SAVE, *writes_its_flash("SAVE_SETTINGS"))
        self.assert_ends(outcome, ctl.NO_DEVICE,
                         LOST + "the device last had rate=50 outputs=quaternion baud=460800; "
                                "whether the new values are saved is unknown\n$")

    def test_during_a_rescue(self):
        outcome = self.unplug_at(SAVE, "rescue --quiet --timeout 1000 --baud 1000000",
                                 ("--baud", "1000000", "--outputs", "0x20",
                                  *writes_its_flash("SAVE_SETTINGS")))
        self.assert_ends(outcome, ctl.NO_DEVICE,
                         LOST + "the device last had rate=100 outputs=quaternion,euler "
                                "baud=115200; whether the new values are saved is unknown\n$")

    def test_during_a_reset(self):
        outcome = self.unplug_at(RESET, "reset --yes --timeout 1000",
                                 ("--outputs", "4", *writes_its_flash("FACTORY_RESET")))
        self.assert_ends(outcome, ctl.NO_DEVICE,
                         LOST + "the device last had rate=100 outputs=quaternion baud=115200; "
                                "whether the factory settings are stored is unknown\n$")
        self.assertEqual(outcome.stdout, "")


class PowerLoss(ctl.CtlCase):
    """The power fails while the device saves: it restarts with what it has stored."""

    FAULT = ("--fault", "power-loss-while-saving")

    # The restarted device confirms the repeated command.
    def test_is_no_success(self):
        outcome = self.on_adapter("settings", "set", "rate=50", "--save", "--yes", *ctl.PATIENT,
                                  device=self.FAULT)
        self.assert_ends(outcome, ctl.FAILED,
                         "^vornixctl: /dev/ttyUSB0: the device restarted while it saved: the "
                         rf"device now has rate=100 outputs={FULL} baud=115200 \(unchanged\)\n$")

    def test_at_another_baud_rate(self):
        outcome = self.on_adapter("settings", "set", "baud=460800", "--save", "--yes", "--timeout",
                                  "4", device=self.FAULT)
        self.assert_ends(outcome, ctl.NO_ANSWER,
                         rf"the device now has rate=100 .* baud=115200 \(unchanged\); whether the "
                         "new values are saved is unknown\n$")

    def test_during_a_reset_is_repaired(self):
        outcome = self.on_adapter("reset", "--yes", *ctl.PATIENT, device=self.FAULT)
        self.assert_ends(outcome, ctl.DONE, "^factory settings are stored")


if __name__ == "__main__":
    ctl.main()
