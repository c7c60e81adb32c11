"""Measures the memory of the program a minute after connecting to a device at factory settings.

The figure includes the accessibility interface, which the script uses to control the program.
"""

import os
import pathlib
import re
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/end_to_end"))

import support  # noqa: E402
from remote.accessibility import wait_until  # noqa: E402

SECONDS = float(os.environ.get("VORNIX_MEMORY_SECONDS", "60"))


def kib(pid, file, key):
    text = pathlib.Path(f"/proc/{pid}/{file}").read_text(encoding="ascii")
    return int(re.search(rf"^{key}:\s*(\d+) kB", text, re.MULTILINE).group(1))


class Memory(support.ProgramCase):
    device = ("--seed", "1")

    def test_a_minute_after_connecting(self):
        pid = wait_until(lambda: self.program.descendant("vornix"), "the process of vornix")
        before = self.figures(pid)
        self.connect()
        time.sleep(SECONDS)
        after = self.figures(pid)
        self.disconnect()
        self.close()
        print(f"\nmemory at the start       {before}\n"
              f"memory {SECONDS:3.0f} s after connecting  {after}", flush=True)

    @staticmethod
    def figures(pid):
        return (f"{kib(pid, 'status', 'VmRSS') / 1024:.0f} MiB resident, "
                f"{kib(pid, 'smaps_rollup', 'Pss') / 1024:.0f} MiB proportional, "
                f"{kib(pid, 'smaps_rollup', 'Private_Dirty') / 1024:.0f} MiB private and written")


if __name__ == "__main__":
    support.main()
