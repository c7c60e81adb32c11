"""Measures a program during a long run: answer times and memory."""

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
STREAMING = "watching"  # the activity when no action runs


def counters(text):
    """Parses "... sent=12 ..." into {"sent": 12, ...}."""
    return {name: int(value) for name, value in re.findall(r"(\w+)=(\d+)", text)}


def conditions():
    model = re.search(r"^model name\s*: (.*)$",
                      pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"), re.MULTILINE)
    load = ", ".join(f"{value:.2f}" for value in os.getloadavg())
    return f"{os.cpu_count()} cores ({model.group(1) if model else '?'}), load average {load}"


def in_ms(seconds):
    """Count, median and maximum of the times, as text."""
    return (f"{len(seconds):6d} times, median {statistics.median(seconds) * 1e3:7.0f} ms, "
            f"slowest {max(seconds) * 1e3:7.0f} ms")


class Memory:
    """Memory of a process over time."""

    def __init__(self, pid):
        self._process = pathlib.Path(f"/proc/{pid}")
        self._begin = time.monotonic()
        self.resident = []  # (seconds, KiB), throughout
        self.rests = []  # the same at comparable moments
        self.sample()

    def sample(self):
        self.resident.append((time.monotonic() - self._begin, self._kib("status", "VmRSS")))

    def _kib(self, file, key):
        text = (self._process / file).read_text(encoding="ascii")
        return int(re.search(rf"^{key}:\s*(\d+) kB", text, re.MULTILINE).group(1))

    def is_instrumented(self):
        """Whether a sanitizer is loaded, which costs time and memory."""
        maps = (self._process / "maps").read_text(encoding="utf-8")
        return re.search(r"/lib[at]san\.so", maps) is not None

    def proportional_kib(self):
        return self._kib("smaps_rollup", "Pss")

    def rest(self):
        self.sample()
        self.rests.append(self.resident[-1])

    def floors_kib(self):
        """Minimum at rest in the second and in the last third of the run; in the first third caches
        fill. The memory for another window size is freed with a delay, so the values at rest differ
        by some ten megabytes, but a leak also raises the minimum. None if there are too few."""
        third = len(self.rests) // 3
        if third == 0:
            return None
        sizes = [size for _, size in self.rests]
        return min(sizes[-2 * third:-third]), min(sizes[-third:])


class Watcher(threading.Thread):
    """Thread that queries a label and samples the memory throughout, in parallel to the actions."""

    def __init__(self, label, memory):
        super().__init__(daemon=True)
        self._label = label.seen_by(Bus())
        self._memory = memory
        self._ended = threading.Event()
        self._doing = STREAMING
        self.answers = {}  # by activity: seconds
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
        except Exception as error:  # raised again by end() on the test's thread
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
