"""A long run: everything the device can send, 1000 times a second, while the window is used at random.

Tells what the device sent, what the program decoded and what was lost between them, the memory over
the run, and how long the window took to answer:

  answer  The time from a question to the window (the text of a label, asked over the accessibility
          bus ten times a second, and answered between two other events) to its answer.
  action  The time from asking for something to seeing it there: a dialog among the windows, or gone
          from them; another text; another size.

Commands to the device block the window until the device has answered, so the answers are told apart
by what was going on when they were asked for.

VORNIX_SOAK_SECONDS and VORNIX_SOAK_SEED say how long and which course; bench/soak sets them.
"""

import contextlib
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import threading
import time
import xml.etree.ElementTree
from unittest import mock

import support
from remote import session
from remote.accessibility import Bus, wait_until

SECONDS = float(os.environ.get("VORNIX_SOAK_SECONDS", "15"))
SEED = int(os.environ.get("VORNIX_SOAK_SEED", "1"))
# Beyond this, memory is no longer flat. The short run only sees the program warm up.
LONG_RUN_S = 300
SLOPE_LIMIT_KIB_PER_MINUTE = 512
GROWTH_LIMIT_KIB = 24 * 1024
ANSWER_LIMIT_S = 5.0

ALL_BUT_SYNC = 0x7F
PACKET_BYTES = 93  # at those outputs
RAW_BAUD, SEARCHED_BAUD = "1000000", "921600"
PING_S = 0.1
MEMORY_S = 1.0
LOOK_S = 0.01
SETTLE_S = 30


def turkish_texts():
    texts = {}
    for message in xml.etree.ElementTree.parse(
            session.ROOT / "resources/languages/translate_tr.ts").iter("message"):
        texts[message.findtext("source")] = message.findtext("translation")
    return texts


class Memory:
    """Samples of a process's memory over time."""

    def __init__(self, pid):
        self._process = pathlib.Path(f"/proc/{pid}")
        self._start = time.monotonic()
        self.resident = []  # (seconds, KiB)

    def sample(self):
        self.resident.append((time.monotonic() - self._start, self._value("status", "VmRSS")))

    def _value(self, file, key):
        text = (self._process / file).read_text(encoding="ascii")
        return int(re.search(rf"^{key}:\s*(\d+) kB", text, re.MULTILINE).group(1))

    @property
    def proportional_kib(self):
        return self._value("smaps_rollup", "Pss")

    def after_warming_up(self):
        """Without the first third: caches of fonts, shaders and widgets fill there."""
        warm = self.resident[-1][0] / 3
        return [(when, kib) for when, kib in self.resident if when >= warm]

    def slope_kib_per_minute(self):
        times, sizes = zip(*self.after_warming_up())
        return statistics.linear_regression(times, sizes).slope * 60 if len(times) > 2 else 0.0


class Watcher(threading.Thread):
    """Asks the window and looks at its memory all the time, beside whatever uses it."""

    def __init__(self, memory, path):
        super().__init__(daemon=True)
        self._memory = memory
        self._path = path
        self._stop_now = threading.Event()
        self.doing = "watching"
        self.answers = {}  # what was done: seconds each answer took
        self.failure = None

    def run(self):
        try:
            bus = Bus()  # of this thread
            label = next(window.find_by_path(self._path)
                         for application in bus.applications() if application.children()
                         for window in application.children())
            next_memory = 0.0
            while not self._stop_now.wait(PING_S):
                doing, asked = self.doing, time.monotonic()
                _ = label.name
                took = time.monotonic() - asked
                self.answers.setdefault(doing, []).append(took)
                if time.monotonic() >= next_memory:
                    self._memory.sample()
                    next_memory = time.monotonic() + MEMORY_S
        except Exception as error:  # told by the test's own thread
            self.failure = error

    def end(self):
        self._stop_now.set()
        self.join()
