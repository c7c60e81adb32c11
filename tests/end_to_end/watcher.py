"""Watches a program in a long run, and says what was seen."""

import contextlib
import os
import pathlib
import re
import statistics
import threading
import time

from remote.accessibility import Bus

PING_S = 0.1
MEMORY_S = 1.0
STREAMING = "watching"  # what is done when nothing is


def counters(text):
    """Of "... sent=12 ..." a dictionary with 12 for "sent"."""
    return {name: int(value) for name, value in re.findall(r"(\w+)=(\d+)", text)}


def conditions():
    model = re.search(r"^model name\s*: (.*)$",
                      pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"), re.MULTILINE)
    load = ", ".join(f"{value:.2f}" for value in os.getloadavg())
    return f"{os.cpu_count()} cores ({model.group(1) if model else '?'}), load average {load}"


def in_ms(seconds):
    """Count, median and greatest of some times."""
    return (f"{len(seconds):6d} times, median {statistics.median(seconds) * 1e3:7.0f} ms, "
            f"slowest {max(seconds) * 1e3:7.0f} ms")


class Memory:
    """What a process occupies, over time."""

    def __init__(self, pid):
        self._process = pathlib.Path(f"/proc/{pid}")
        self._begin = time.monotonic()
        self.resident = []  # (seconds, KiB), all the time
        self.rests = []  # the same at moments that can be compared
        self.sample()

    def sample(self):
        self.resident.append((time.monotonic() - self._begin, self._kib("status", "VmRSS")))

    def _kib(self, file, key):
        text = (self._process / file).read_text(encoding="ascii")
        return int(re.search(rf"^{key}:\s*(\d+) kB", text, re.MULTILINE).group(1))

    def is_instrumented(self):
        """Whether a sanitizer watches the process, which takes its time and room for that."""
        maps = (self._process / "maps").read_text(encoding="utf-8")
        return re.search(r"/lib[at]san\.so", maps) is not None

    def proportional_kib(self):
        return self._kib("smaps_rollup", "Pss")

    def rest(self):
        self.sample()
        self.rests.append(self.resident[-1])

    def floors_kib(self):
        """The least at rest in the second and in the last third of the run; in the first one caches
        fill. What another size of the window took is given back sooner or later, so that rests lie
        some ten megabytes apart, but a leak lifts the floor too. None: too few of them to tell."""
        third = len(self.rests) // 3
        if third == 0:
            return None
        sizes = [size for _, size in self.rests]
        return min(sizes[-2 * third:-third]), min(sizes[-third:])


class Watcher(threading.Thread):
    """Asks a label and looks at the memory all the time, beside whatever else is done."""

    def __init__(self, label, memory):
        super().__init__(daemon=True)
        self._label = label.seen_by(Bus())
        self._memory = memory
        self._ended = threading.Event()
        self._doing = STREAMING
        self.answers = {}  # by what was being done: seconds
        self.failure = None

    @contextlib.contextmanager
    def during(self, what):
        self._doing = what
        yield
        self._doing = STREAMING

    def run(self):
        try:
            while not self._ended.wait(PING_S):
                self._ask()
                if time.monotonic() - self._memory.resident[-1][0] >= MEMORY_S:
                    self._memory.sample()
        except Exception as error:  # for the test's own thread to raise
            self.failure = error

    def _ask(self):
        doing, asked = self._doing, time.monotonic()
        _ = self._label.name
        self.answers.setdefault(doing, []).append(time.monotonic() - asked)

    def end(self):
        self._ended.set()
        self.join()
        if self.failure:
            raise self.failure
