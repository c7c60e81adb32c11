"""Widgets of a running program, found by role and name over the accessibility bus (AT-SPI).

No coordinates and no fixed pauses: every wait is for a condition and has a deadline. The calls go to
the bus directly, without a client library and its cache, so the results are the current state.

A program that waits for its device replies only rarely. So many calls are sent at a time: reading a
whole window takes one round trip for each level of its widgets.
"""

import os
import time
from typing import NamedTuple

from gi.repository import Gio, GLib

# Default deadline of a wait, in seconds. A wait ends as soon as its condition holds, so this is only
# the time until a failure. It is longer than the timeout of a call, so that a call to a busy program
# is repeated.
DEADLINE_S = 180.0
# Factor for every deadline, for slow builds.
PATIENCE = float(os.environ.get("VORNIX_PATIENCE", "1"))
POLL_S = 0.05
AGAIN_S = 10.0

_ACCESSIBLE = "org.a11y.atspi.Accessible"
_ACTION = "org.a11y.atspi.Action"
_COMPONENT = "org.a11y.atspi.Component"
_PROPERTIES = "org.freedesktop.DBus.Properties"
_TEXT = "org.a11y.atspi.Text"
_REGISTRY = "org.a11y.atspi.Registry"
_CALL_TIMEOUT_MS = 60000
_KEY_SYMBOL = 3  # GenerateKeyboardEvent: press and release the key of this symbol

# Bits of the first word of a widget's state set.
_STATE_CHECKED = 1 << 4
_STATE_ENABLED = 1 << 8
_STATE_SHOWING = 1 << 25

_VALUE_ROLES = ("label", "text", "combo box")

KEY_HOME, KEY_DOWN, KEY_RETURN, KEY_ESCAPE = 0xFF50, 0xFF54, 0xFF0D, 0xFF1B


def wait_until(condition, what, timeout_s=DEADLINE_S):
    """Returns the first true value of condition(). Raises TimeoutError naming `what`."""
    timeout_s *= PATIENCE
    deadline = time.monotonic() + timeout_s
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise TimeoutError(f"{what}: not within {timeout_s:g} s")
        time.sleep(POLL_S)


class Bus:
    """The accessibility bus of this desktop session."""

    def __init__(self):
        session = Gio.bus_get_sync(Gio.BusType.SESSION)
        address = session.call_sync(
            "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress",
            None, None, Gio.DBusCallFlags.NONE, _CALL_TIMEOUT_MS, None).unpack()[0]
        flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
                 | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
        self._connection = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
        # The first call starts the registry, so that a program started later registers at once.
        self.applications()

    def call(self, owner, path, interface, method, signature=None, *arguments):
        parameters = GLib.Variant(signature, arguments) if signature else None
        return self._connection.call_sync(
            owner, path, interface, method, parameters, None,
            Gio.DBusCallFlags.NONE, _CALL_TIMEOUT_MS, None).unpack()

    def call_many(self, calls):
        """Sends several calls (as arguments of call()) at once and returns their results; None for a
        widget that is gone or does not support the call."""
        results = [None] * len(calls)
        waiting = len(calls)

        def done(connection, result, index):
            nonlocal waiting
            waiting -= 1
            try:
                results[index] = connection.call_finish(result).unpack()
            except GLib.Error:
                pass

        for index, (owner, path, interface, method, *rest) in enumerate(calls):
            parameters = GLib.Variant(rest[0], tuple(rest[1:])) if rest else None
            self._connection.call(
                owner, path, interface, method, parameters, None, Gio.DBusCallFlags.NONE,
                _CALL_TIMEOUT_MS, None, done, index)
        while waiting:
            GLib.MainContext.default().iteration(True)
        return results

    def send(self, owner, path, interface, method, signature, *arguments):
        """Like call(), without waiting for the reply: the reply to an action that opens a modal
        dialog arrives only after that dialog has been closed."""
        self._connection.call(
            owner, path, interface, method, GLib.Variant(signature, arguments), None,
            Gio.DBusCallFlags.NONE, -1, None, None, None)
        self._connection.flush_sync()

    def applications(self):
        return self._widget(_REGISTRY, "/org/a11y/atspi/accessible/root").children()

    def press_key(self, symbol):
        """Sends one key stroke to the window that has the keyboard focus."""
        self._generate("GenerateKeyboardEvent", "(isu)", symbol, "", _KEY_SYMBOL)

    def mouse(self, event, x, y):
        """Moves the pointer to (x, y) on the screen and triggers the event there: "abs" none, "b1p"
        presses button 1, "b1r" releases it, "b4c" clicks button 4, which is a wheel step up."""
        self._generate("GenerateMouseEvent", "(iis)", int(x), int(y), event)

    def _generate(self, method, signature, *arguments):
        self.call(_REGISTRY, "/org/a11y/atspi/registry/deviceeventcontroller",
                  "org.a11y.atspi.DeviceEventController", method, signature, *arguments)

    def _widget(self, owner, path):
        return Widget(self, owner, path)


class Look(NamedTuple):
    """The state of one widget at the time of a look()."""

    widget: "Widget"
    role: str
    name: str
    extents: tuple  # (x, y, width, height) on the screen


class Widget:
    """One accessible object. It stays valid until its widget is destroyed."""

    def __init__(self, bus, owner, path):
        self._bus = bus
        self._owner = owner
        self._path = path

    def __repr__(self):
        try:
            return f"{self.role} {self.name!r}"
        except GLib.Error:
            return f"widget {self._path} (gone)"

    def __eq__(self, other):
        return isinstance(other, Widget) and (
            (self._owner, self._path) == (other._owner, other._path))

    def __hash__(self):
        return hash((self._owner, self._path))

    def _call(self, interface, method, signature=None, *arguments):
        return self._bus.call(self._owner, self._path, interface, method, signature, *arguments)

    def seen_by(self, bus):
        """The same widget over another connection."""
        return Widget(bus, self._owner, self._path)

    @property
    def name(self):
        return self._call(_PROPERTIES, "Get", "(ss)", _ACCESSIBLE, "Name")[0]

    @property
    def description(self):
        return self._call(_PROPERTIES, "Get", "(ss)", _ACCESSIBLE, "Description")[0]

    @property
    def role(self):
        return self._call(_ACCESSIBLE, "GetRoleName")[0]

    @property
    def text(self):
        """The contents of a line edit or text box."""
        return self._call(_TEXT, "GetText", "(ii)", 0, -1)[0]

    @property
    def checked(self):
        return self._has_state(_STATE_CHECKED)

    @property
    def enabled(self):
        return self._has_state(_STATE_ENABLED)

    @property
    def showing(self):
        return self._has_state(_STATE_SHOWING)

    @property
    def extents(self):
        """(x, y, width, height) on the screen."""
        return self._call(_COMPONENT, "GetExtents", "(u)", 0)[0]

    def _has_state(self, bit):
        return bool(self._call(_ACCESSIBLE, "GetState")[0][0] & bit)

    def children(self):
        return [Widget(self._bus, owner, path)
                for owner, path in self._call(_ACCESSIBLE, "GetChildren")[0]]

    def look(self):
        """The state of this widget and all its descendants: a list of Looks, parents first."""
        seen = []
        level = [self]
        while level:
            questions = ("GetRoleName", "GetChildren")
            answers = iter(self._bus.call_many(
                [question for widget in level for question in (
                    *((widget._owner, widget._path, _ACCESSIBLE, method) for method in questions),
                    (widget._owner, widget._path, _PROPERTIES, "Get", "(ss)", _ACCESSIBLE, "Name"),
                    (widget._owner, widget._path, _COMPONENT, "GetExtents", "(u)", 0))]))
            below = []
            for widget in level:
                role, children, name, extents = (next(answers) for _ in range(4))
                if role and name:
                    seen.append(Look(widget, role[0], name[0], extents[0] if extents else None))
                    below += [Widget(self._bus, *child) for child in (children or [[]])[0]]
            level = below
        return seen

    def find_now(self, role, name=None):
        """The first descendant of that role and name (a text, or a compiled pattern); else None."""
        for look in self.look():
            if look.role == role and _matches(name, look.name):
                return look.widget
        return None

    def find(self, role, name=None, timeout_s=DEADLINE_S):
        return wait_until(lambda: self.find_now(role, name), f"{role} {name!r}", timeout_s)

    def values_beside(self, captions):
        """For each caption, the widget to the right of the label with that text, as in a form."""
        def find():
            # A window that is still opening or being laid out may not have all of them yet.
            looks = [look for look in self.look() if look.extents and look.extents[2]]
            found = [_right_of(caption, looks) for caption in captions]
            return None if None in found else found

        return wait_until(find, f"values beside {captions}")

    def value_beside(self, caption):
        return self.values_beside([caption])[0]

    def texts(self, widgets):
        """The contents of several line edits or text boxes, read at once."""
        return [text and text[0] for text in self._bus.call_many(
            [(widget._owner, widget._path, _TEXT, "GetText", "(ii)", 0, -1)
             for widget in widgets])]

    def activate(self):
        """Chooses a menu entry, presses a button or toggles a box; returns at once."""
        self._bus.send(self._owner, self._path, _ACTION, "DoAction", "(i)", 0)

    def set_checked(self, wanted):
        if self.checked != wanted:
            self.activate()
            wait_until(lambda: self.checked == wanted, f"{self!r} checked={wanted}")

    @property
    def items(self):
        """The texts that a combo box offers."""
        return [look.name for look in self.look() if look.role == "list item"]

    def choose(self, item):
        """Opens a combo box and picks an item with the keyboard."""
        items = self.items
        if item not in items:
            raise LookupError(f"{self!r} offers {items}, not {item!r}")
        popup = self.find("list")
        keys = [KEY_HOME, *[KEY_DOWN] * items.index(item), KEY_RETURN]

        def is_chosen():
            if self.name == item:
                return True
            if not popup.showing:
                self.activate()
                _holds_soon(lambda: popup.showing)
                return False
            # A window without the keyboard focus does not receive the keys; then they are sent again.
            for key in keys:
                self._bus.press_key(key)
            return _holds_soon(lambda: self.name == item)

        wait_until(is_chosen, f"{self!r} at {item!r}")


def _holds_soon(condition):
    """Whether the condition holds within AGAIN_S. If not, the caller repeats its action."""
    try:
        return wait_until(condition, "soon", AGAIN_S)
    except TimeoutError:
        return False


def _matches(pattern, name):
    if pattern is None:
        return True
    if hasattr(pattern, "search"):
        return pattern.search(name) is not None
    return name == pattern


def _right_of(caption, looks):
    label = next((look for look in looks if look.role == "label" and look.name == caption), None)
    if label is None:
        return None
    x, y, _, height = label.extents
    middle = y + height / 2
    in_row = [look for look in looks
              if look.role in _VALUE_ROLES and look.extents[0] > x
              and look.extents[1] <= middle < look.extents[1] + look.extents[3]]
    return min(in_row, key=lambda look: look.extents[0]).widget if in_row else None
