"""Soak test: all outputs except sync, 1000 times a second, while random actions use the window.

Reports the samples sent, decoded and lost, the memory over the run, and the times of the window:

  answer  time from a query of a label's text to its answer. The query runs ten times a second over
          the accessibility bus; the GUI thread answers it between two other events.
  action  time from a request to its visible result: a dialog opens or closes, a text or a size
          changes

A command to the device blocks the window until the device has answered. So both times are listed
separately for each activity.

VORNIX_SOAK_SECONDS sets the length and VORNIX_SOAK_SEED the order of the actions; bench/soak sets
both.
"""

import itertools
import math
import os
import random
import re
import subprocess
import sys
import time
import xml.etree.ElementTree
from unittest import mock

import support
from remote import session
from remote.accessibility import KEY_ESCAPE, wait_until
from watcher import STREAMING, Memory, Watcher, conditions, counters, in_ms

SECONDS = float(os.environ.get("VORNIX_SOAK_SECONDS", "12"))
SEED = int(os.environ.get("VORNIX_SOAK_SEED", "1"))

ALL_BUT_SYNC = 0x7F
PACKET_BYTES = 93  # at those outputs
# The search does not try the baud rate that all outputs at 1000 Hz need.
FULL_BAUD, SEARCHED_BAUD = "1000000", "921600"
SIZES = ((1172, 769), (1000, 700), (1300, 900), (1500, 1000))

# Buttons of dialogs, in both languages.
YES = re.compile("OK|Tamam")
LEAVE = re.compile("Close|Kapat|Cancel|İptal")

LOOK_S = 0.01
PATIENCE_S = 300.0

# In a shorter run caches still fill, so the run cannot show whether memory use is constant.
LONG_RUN_S = 300
LEAK_LIMIT_KIB = 8 * 1024
GROWTH_LIMIT_KIB = 96 * 1024
ANSWER_LIMIT_S = 5.0


def turkish_texts():
    texts = xml.etree.ElementTree.parse(session.ROOT / "resources/languages/translate_tr.ts")
    return {message.findtext("source"): message.findtext("translation")
            for message in texts.iter("message")}


class Soak(support.ProgramCase):
    device = ("--seed", "5", "--motion", "hand", "--baud", SEARCHED_BAUD, "--rate", "1000",
              "--outputs", hex(ALL_BUT_SYNC), "--statistics")

    def setUp(self):
        self.enterContext(mock.patch.dict(os.environ,
                                          QT_LOGGING_RULES="vornix.statistics=true"))
        super().setUp()
        self.random = random.Random(SEED)
        self.turkish = turkish_texts()
        self.is_turkish = False
        self.actions = {}  # by name: seconds until the result was visible
        self.course = []  # actions so far
        self.addCleanup(self._show_course_of_failure)
        self.pose = self.window.find("panel", "Orientation Display").children()[-1]

    def test_loses_nothing_and_stays_flat(self):
        began = conditions()
        self.learn_menus()
        self.connect(baud=int(SEARCHED_BAUD))
        self.change_baud(FULL_BAUD)
        pid = wait_until(lambda: self.program.descendant("vornix"), "the process of vornix")
        memory = Memory(pid)
        watcher = Watcher(self.rate, memory)
        watcher.start()
        self.use_window(watcher, memory, time.monotonic() + SECONDS)
        watcher.end()
        memory.sample()
        proportional = memory.proportional_kib()
        instrumented = memory.is_instrumented()
        self.choose("Connection", "Disconnect")
        program = self.settled_statistics()
        self.close()
        device = counters(re.search("^vornix-sim: ttyUSB0: (.*)$", self.program.output,
                                    re.MULTILINE).group(1))
        self.report(began, device, program, memory, proportional, watcher.answers)
        self.judge_account(device, program)
        if not instrumented:
            self.judge_figures(memory, watcher.answers)

    def _show_course_of_failure(self):
        if self.failed():
            sys.stderr.write(f"seed {SEED}: {' '.join(self.course)}\n")
            if self.program.running:
                self.shoot("soak-failure")

    # --- Actions in the window ----------------------------------------------------------------

    def use_window(self, watcher, memory, end):
        """Each round runs every slow action once and every quick one twice, in random order. After
        a round the window is in its first state again."""
        quick = [self.orbit, self.zoom, self.watch, self.about, self.guide, self.switch_language,
                 self.resize]
        slow = [self.device_info, self.settings, self.calibrate, self.reconnect]
        while True:
            actions = 2 * quick + slow
            self.random.shuffle(actions)
            for action in actions:
                if time.monotonic() >= end:
                    return
                self.course.append(action.__name__)
                with watcher.during(STREAMING if action == self.watch else action.__name__):
                    action()
            with watcher.during("resize"):
                self.resize_to(SIZES[0])
            self.watch()
            memory.rest()

    def watch(self):
        time.sleep(self.random.uniform(0.5, 2))

    def orbit(self):
        x, y, width, height = self.pose.extents

        def place():
            return (x + self.random.uniform(0.1, 0.9) * width,
                    y + self.random.uniform(0.1, 0.9) * height)

        at = place()
        self.desktop.bus.mouse("b1p", *at)
        for _ in range(self.random.randint(2, 4)):
            to = place()
            for step in range(1, 11):
                self.desktop.bus.mouse("abs", *(a + (b - a) * step / 10 for a, b in zip(at, to)))
                time.sleep(LOOK_S)
            at = to
        self.desktop.bus.mouse("b1r", *at)

    def zoom(self):
        x, y, width, height = self.pose.extents
        for _ in range(self.random.randint(1, 10)):
            self.desktop.bus.mouse(self.random.choice(("b4c", "b5c")), x + width / 2,
                                   y + height / 2)

    def about(self):
        self.close_dialog(self.open("about", "About", "Help", "About"), "about")

    def guide(self):
        self.close_dialog(self.open("user guide", "Help", "Help", "User Guide"), "user guide")

    def device_info(self):
        dialog = self.open("device info", "Device Info", "Connection", "Device Info")
        time.sleep(self.random.uniform(0, 1))
        self.close_dialog(dialog, "device info")

    def settings(self):
        self.close_dialog(self.open("settings", "Settings", "Settings", "Open Settings"),
                          "settings")

    def calibrate(self):
        title = "Magnetometer Calibration"
        dialog = self.open("calibration", title, "Settings", title)
        self.press(dialog, "Start Calibration")
        time.sleep(self.random.uniform(1, 4))
        self.press(dialog, "Stop Calibration")
        self.press(dialog, "Close")
        self.until_closed(dialog, "calibration")

    def switch_language(self):
        label = self.window_label("Euler Angles (°)")
        before = label.name
        self.choose("Language", "English" if self.is_turkish else "Türkçe")
        self.time_of("language", lambda: label.name != before)
        self.is_turkish = not self.is_turkish

    def resize(self):
        _, _, *before = self.window.extents
        self.resize_to(self.random.choice([size for size in SIZES if size[0] != before[0]]))

    def resize_to(self, size):
        geometry = ",".join(str(number) for number in (0, -1, -1, *size))
        subprocess.run(["wmctrl", "-F", "-r", support.TITLE, "-e", geometry], check=True)
        self.time_of("resize", lambda: tuple(self.window.extents[2:]) == size)

    def reconnect(self):
        """Reconnects at a baud rate that the search tries, then changes back to the full one."""
        self.change_baud(SEARCHED_BAUD)
        self.choose("Connection", "Disconnect")
        self.time_of("disconnect", lambda: SEARCHED_BAUD not in self.status.name)
        self.choose("Connection", "Scan for Devices")
        self.choose("Connection", "Connect")
        self.dialog("Select Serial Port").find("push button", YES).activate()
        self.time_of("connect", lambda: re.search(f"ttyUSB0 @ {SEARCHED_BAUD} baud$",
                                                  self.status.name))
        self.change_baud(FULL_BAUD)

    def change_baud(self, baud):
        dialog = self.open("settings", "Settings", "Settings", "Open Settings")
        support.combo_offering(dialog, baud).choose(baud)
        self.press(dialog, "Save to Device")
        self.until_closed(dialog, "change of the baud rate")

    # --- Windows in both languages ------------------------------------------------------------

    def learn_menus(self):
        """Finds every menu entry once; later its name may change with the language."""
        for path in (("Connection", "Scan for Devices"), ("Connection", "Connect"),
                     ("Connection", "Disconnect"), ("Connection", "Device Info"),
                     ("Settings", "Open Settings"), ("Settings", "Magnetometer Calibration"),
                     ("Language", "English"), ("Language", "Türkçe"), ("Help", "User Guide"),
                     ("Help", "About")):
            self.program.menu_enabled(*path)

    def choose(self, *path):
        self.program.menu(*path)

    def say(self, text):
        return self.turkish.get(text, text) if self.is_turkish else text

    def window_label(self, caption):
        return self.window.find("label", self.say(caption), PATIENCE_S)

    def press(self, dialog, button):
        dialog.find("push button", self.say(button)).activate()

    def dialog(self, title):
        return wait_until(lambda: self.program.dialog_now(self.say(title)), f"dialog {title!r}",
                          PATIENCE_S)

    def open(self, what, title, *path):
        self.choose(*path)
        return self.time_of(f"{what} opens", lambda: self.program.dialog_now(self.say(title)))

    def close_dialog(self, dialog, what):
        button = dialog.find_now("push button", LEAVE)
        if button:
            button.activate()
            self.until_closed(dialog, what)
            return
        # A key pressed before the dialog has the keyboard focus goes to another window.
        escapes = itertools.chain((True,), itertools.cycle([False] * 99 + [True]))

        def is_closed():
            if next(escapes):
                self.desktop.bus.press_key(KEY_ESCAPE)
            return not self.program.shows(dialog)

        self.time_of(f"{what} is over", is_closed)

    def until_closed(self, dialog, what):
        self.time_of(f"{what} is over", lambda: not self.program.shows(dialog))

    def time_of(self, what, condition):
        begin = time.monotonic()
        while not (value := condition()):
            if time.monotonic() > begin + PATIENCE_S:
                self.fail(f"{what}: not within {PATIENCE_S:g} s")
            time.sleep(LOOK_S)
        self.actions.setdefault(what, []).append(time.monotonic() - begin)
        return value

    # --- Sample counts ------------------------------------------------------------------------

    def statistics_lines(self):
        return re.findall("vornix.statistics: (.*)", self.program.output)

    def settled_statistics(self):
        """The program's last statistics line, after all samples have been delivered."""
        def settled():
            *_, before, last = ["", "", *self.statistics_lines()]
            return last == before and counters(last).get("waiting") == 0 and counters(last)

        wait_until(lambda: "ttyUSB0" not in self.status.name, "disconnected", PATIENCE_S)
        return wait_until(settled, "statistics that no longer change", PATIENCE_S)

    def dropped_at_opening(self):
        """Samples dropped because the port held their bytes when it was opened. The bytes can begin
        with the end of a sample that was cut off, so each count is rounded up."""
        discarded = [counters(line)["discarded"] for line in self.statistics_lines()]
        return sum(math.ceil((after - before) / PACKET_BYTES)
                   for before, after in itertools.pairwise([0, *discarded]))

    def lost(self, device, program):
        """Samples that the device sent to an open port and that were not decoded. Samples in the
        port when it was closed, or before its baud rate was set, do not count."""
        return (device["samples"] + device["overrun"] - device["unread"]
                - self.dropped_at_opening() - program["samples"])

    def report(self, began, device, program, memory, proportional, answers):
        kib = [size for _, size in memory.resident]
        lines = [
            "",
            f"{SECONDS:g} s, seed {SEED}; {conditions()}; at the beginning {began}",
            f"samples  sent {device['samples'] + device['overrun']}, decoded {program['samples']}, "
            f"lost {self.lost(device, program)} ({device['overrun']} did not fit the full queue of "
            f"the port); delivered to the window {program['delivered']}",
            f"         not counted as sent: {device['unread']} unread when the port was closed, "
            f"{self.dropped_at_opening()} dropped when it was opened "
            f"({program['sessions']} times)",
            f"         not sent: {device['skipped']} skipped because the line was full, "
            f"{device['corrupted']} while the host had another baud rate",
            f"packets  {program['packets']} intact, {program['damaged']} damaged",
            f"memory   {kib[0]} KiB resident at first, {max(kib)} at most, {kib[-1]} at last; "
            f"{proportional} KiB proportional",
        ]
        floors = memory.floors_kib()
        if floors:
            at_rest = ", ".join(f"{size} ({when:.0f} s)" for when, size in memory.rests)
            lines.append(f"         after each round {at_rest}; the least in the second third "
                         f"{floors[0]}, in the last {floors[1]} ({floors[1] - floors[0]:+})")
        for title, table in (("answer", answers), ("action", self.actions)):
            lines += [f"{title}   {what:32} {in_ms(table[what])}" for what in sorted(table)]
        print("\n".join(lines), flush=True)

    def judge_account(self, device, program):
        # A packet whose last byte was read just before the port was closed or opened is not
        # decoded. If the machine starves the program until the port's queue is full, a packet is
        # cut off, and the packet after it can be lost with it.
        lost = self.lost(device, program)
        self.assertLessEqual(lost, 2 * device["overrun"] + program["sessions"])
        self.assertGreaterEqual(lost, -program["sessions"])
        self.assertGreater(program["samples"], 100)
        self.assertEqual(program["delivered"], program["samples"])
        self.assertEqual(program["waiting"], 0)
        if SECONDS >= LONG_RUN_S:
            self.assertLessEqual(lost, program["sessions"])

    def judge_figures(self, memory, answers):
        kib = [size for _, size in memory.resident]
        self.assertLess(kib[-1] - kib[0], GROWTH_LIMIT_KIB)
        # Only a long run, on an otherwise idle machine, gives reliable figures.
        if SECONDS >= LONG_RUN_S:
            self.assertLess(max(answers.get(STREAMING, [0])), ANSWER_LIMIT_S)
            before, after = memory.floors_kib()
            self.assertLess(after - before, LEAK_LIMIT_KIB)


if __name__ == "__main__":
    support.main()
