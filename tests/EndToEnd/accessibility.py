"""The accessibility tree, as a screen reader sees it."""

from gi.repository import GLib

from desktop import call, connect_to_bus
from waiting import eventually

_ACCESSIBLE = "org.a11y.atspi.Accessible"
_ACTION = "org.a11y.atspi.Action"
_COMPONENT = "org.a11y.atspi.Component"
_EDITABLE_TEXT = "org.a11y.atspi.EditableText"
_TEXT = "org.a11y.atspi.Text"
_REGISTRY = "org.a11y.atspi.Registry"
_ROOT = "/org/a11y/atspi/accessible/root"

# Their numbers in AtspiStateType.
_STATES = {
    "active": 1, "checked": 4, "editable": 7, "enabled": 8, "focusable": 11, "focused": 12,
    "pressed": 20, "selectable": 22, "selected": 23, "sensitive": 24, "showing": 25, "visible": 30,
}
_ON_SCREEN = 0


class Element:
    """One object of an application's tree. Every question asks the application anew."""

    def __init__(self, bus, owner, path):
        self._bus = bus
        self._owner = owner
        self._path = path

    @property
    def name(self):
        return self._property("Name")

    @property
    def description(self):
        return self._property("Description")

    @property
    def role(self):
        return self._ask(_ACCESSIBLE, "GetRoleName")

    @property
    def states(self):
        low, high = self._ask(_ACCESSIBLE, "GetState")
        bits = low | high << 32
        return {name for name, number in _STATES.items() if bits >> number & 1}

    @property
    def extents(self):
        """Left, top, width and height on the screen."""
        return self._ask(_COMPONENT, "GetExtents", GLib.Variant("(u)", (_ON_SCREEN,)))

    @property
    def centre(self):
        left, top, width, height = self.extents
        return left + width // 2, top + height // 2

    @property
    def text(self):
        return self._ask(_TEXT, "GetText", GLib.Variant("(ii)", (0, -1)))

    def children(self):
        return [Element(self._bus, owner, path)
                for owner, path in self._ask(_ACCESSIBLE, "GetChildren")]

    def descendants(self):
        for child in self.children():
            yield child
            yield from child.descendants()

    def is_showing(self):
        return "showing" in self.states

    def is_enabled(self):
        return "enabled" in self.states

    def activate(self):
        """What a screen reader's user does to press something."""
        names = [name for name, *_ in self._ask(_ACTION, "GetActions")]
        self._ask(_ACTION, "DoAction", GLib.Variant("(i)", (names.index("Press"),)))

    def write(self, text):
        """Replaces an editable text."""
        self._ask(_EDITABLE_TEXT, "SetTextContents", GLib.Variant("(s)", (text,)))

    def __str__(self):
        return f"{self.role} {self.name!r} {self.description!r} {sorted(self.states)}"

    def outline(self, indentation=""):
        lines = [f"{indentation}{self}"]
        for child in self.children():
            lines.append(child.outline(indentation + "  "))
        return "\n".join(lines)

    def _ask(self, interface, method, arguments=None):
        return call(self._bus, self._owner, self._path, interface, method, arguments)

    def _property(self, name):
        return self._ask("org.freedesktop.DBus.Properties", "Get",
                         GLib.Variant("(ss)", (_ACCESSIBLE, name)))


class AccessibilityBus:
    def __init__(self, desktop):
        address = call(desktop.bus, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")
        self._bus = connect_to_bus(address)

    def application(self, process):
        """The application with this process number, once it is there."""
        return eventually(lambda: self._find(process), "the program on the accessibility bus")

    def _find(self, process):
        for owner, path in call(self._bus, _REGISTRY, _ROOT, _ACCESSIBLE, "GetChildren"):
            try:
                number = call(self._bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                              "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                              GLib.Variant("(s)", (owner,)))
            except GLib.Error:
                continue  # it has just ended
            if number == process:
                return Element(self._bus, owner, path)
        return None
