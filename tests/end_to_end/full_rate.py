"""The window stays usable while the device sends all outputs at 1000 Hz.

VORNIX_FULL_RATE_SECONDS makes the run longer than the default of the test suite.
"""

import os
import sys
import time

import support
from remote.accessibility import wait_until
from watcher import Memory

SECONDS = float(os.environ.get("VORNIX_FULL_RATE_SECONDS", "8"))
GROWTH_LIMIT_KIB = 16 * 1024


class FullRate(support.ProgramCase):
    device = ("--seed", "4", "--motion", "hand", "--baud", "921600")

    def test_window_stays_usable(self):
        self.connect(baud=921600)
        self.change_to_full_rate()
        self.wait_for_rate(1000, at_least=1)

        quaternion = self.value("Quaternion (unitless)")
        shown = set()
        memory = Memory(self.vornix_pid())
        slowest = 0.0
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            asked = time.monotonic()
            shown.add(quaternion.name)
            slowest = max(slowest, time.monotonic() - asked)
            memory.sample()
            time.sleep(0.02)
        # The answer time is printed and not checked.
        wait_until(lambda: shown.add(quaternion.name) or len(shown) > 5, "six different values")
        self.shoot("full-rate")
        resident = [kib for _, kib in memory.resident]
        sys.stderr.write(f"{self.rate.name}, slowest answer {slowest * 1000:.0f} ms, "
                         f"resident {resident[0]} to {max(resident)} KiB ")
        if not memory.is_instrumented():
            self.assertLess(max(resident[len(resident) // 2:]) - resident[0], GROWTH_LIMIT_KIB)

        self.disconnect()
        self.close()

    def change_to_full_rate(self):
        self.program.menu("Settings", "Open Settings")
        dialog = self.program.dialog("Settings")
        for choice in ("1000000", "1000 Hz", "Full output"):
            support.combo_offering(dialog, choice).choose(choice)
        dialog.find("push button", "Save to Device").activate()
        self.wait_until_closed("Settings")

    def vornix_pid(self):
        return wait_until(lambda: self.program.descendant("vornix"), "the process of vornix")


if __name__ == "__main__":
    support.main()
