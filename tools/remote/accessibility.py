"""Widgets of a running program, found by role and name over the accessibility bus (AT-SPI).

No coordinates and no fixed pauses: every wait is for a condition and has a deadline. The bus is
spoken to directly, without a client library's cache, so that what is read is what is shown.
"""

import time

from gi.repository import Gio, GLib

DEADLINE_S = 60.0
POLL_S = 0.05

_ACCESSIBLE = "org.a11y.atspi.Accessible"
_ACTION = "org.a11y.atspi.Action"
_COMPONENT = "org.a11y.atspi.Component"
_TEXT = "org.a11y.atspi.Text"
_REGISTRY = "org.a11y.atspi.Registry"
_CALL_TIMEOUT_MS = 60000
_KEY_SYMBOL = 3  # GenerateKeyboardEvent: press and release the key of this symbol

# Bits of the first word of a widget's state set.
_STATE_CHECKED = 1 << 4
_STATE_ENABLED = 1 << 8
_STATE_SHOWING = 1 << 25

KEY_HOME, KEY_DOWN, KEY_RETURN, KEY_ESCAPE = 0xFF50, 0xFF54, 0xFF0D, 0xFF1B


def wait_until(condition, what, timeout_s=DEADLINE_S):
    """The first true value of condition(); TimeoutError naming `what` if there is none in time."""
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
        # The first call starts the registry: a program started after it registers at once.
        self.applications()

    def call(self, owner, path, interface, method, signature=None, *arguments):
        parameters = GLib.Variant(signature, arguments) if signature else None
        return self._connection.call_sync(
            owner, path, interface, method, parameters, None,
            Gio.DBusCallFlags.NONE, _CALL_TIMEOUT_MS, None).unpack()

    def send(self, owner, path, interface, method, signature, *arguments):
        """Like call(), without waiting: the answer to an action that opens a modal dialog only
        comes when that dialog has been closed."""
        self._connection.call(
            owner, path, interface, method, GLib.Variant(signature, arguments), None,
            Gio.DBusCallFlags.NONE, -1, None, None, None)
        self._connection.flush_sync()

    def applications(self):
        return self._widget(_REGISTRY, "/org/a11y/atspi/accessible/root").children()

    def press_key(self, symbol):
        """One key stroke to whichever window has the keyboard."""
        self.call(_REGISTRY, "/org/a11y/atspi/registry/deviceeventcontroller",
                  "org.a11y.atspi.DeviceEventController", "GenerateKeyboardEvent",
                  "(isu)", symbol, "", _KEY_SYMBOL)

    def _widget(self, owner, path):
        return Widget(self, owner, path)


class Widget:
    """One accessible object. It stays valid as long as the widget behind it lives."""

    def __init__(self, bus, owner, path):
        self._bus = bus
        self._owner = owner
        self._path = path

    def __repr__(self):
        try:
            return f"{self.role} {self.name!r}"
        except GLib.Error:
            return f"widget {self._path} (gone)"

    def _call(self, interface, method, signature=None, *arguments):
        return self._bus.call(self._owner, self._path, interface, method, signature, *arguments)

    @property
    def name(self):
        return self._call("org.freedesktop.DBus.Properties", "Get", "(ss)", _ACCESSIBLE, "Name")[0]

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

    def walk(self):
        yield self
        for child in self.children():
            yield from child.walk()

    def find_now(self, role, name=None):
        """The first descendant of that role and name (a text, or a compiled pattern); else None."""
        try:
            for widget in self.walk():
                if widget.role == role and _matches(name, widget):
                    return widget
        except GLib.Error:
            pass  # a window closed under our hands: the caller looks again
        return None

    def find(self, role, name=None, timeout_s=DEADLINE_S):
        return wait_until(lambda: self.find_now(role, name), f"{role} {name!r}", timeout_s)

    def value_beside(self, caption):
        """The widget to the right of the label with that text, as a form shows them."""
        label = self.find("label", caption)
        x, y, _, height = label.extents
        middle = y + height / 2
        best = None
        for widget in self.walk():
            left, top, width, widget_height = widget.extents
            in_row = top <= middle < top + widget_height and left > x
            if in_row and width and widget.role in ("label", "text", "combo box"):
                if best is None or left < best[0]:
                    best = (left, widget)
        if best is None:
            raise LookupError(f"nothing beside {caption!r}")
        return best[1]

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
        return [widget.name for widget in self.walk() if widget.role == "list item"]

    def choose(self, item):
        """Opens a combo box and picks an item with the keyboard."""
        items = self.items
        if item not in items:
            raise LookupError(f"{self!r} offers {items}, not {item!r}")
        popup = self.find("list")
        if self.name == item:
            return
        self.activate()
        wait_until(lambda: popup.showing, f"{self!r} open")
        for key in [KEY_HOME, *[KEY_DOWN] * items.index(item), KEY_RETURN]:
            self._bus.press_key(key)
        wait_until(lambda: self.name == item, f"{self!r} at {item!r}")


def _matches(name, widget):
    if name is None:
        return True
    if hasattr(name, "search"):
        return name.search(widget.name) is not None
    return widget.name == name
