"""A file manager on the session bus that notes what it is asked to show."""

from gi.repository import Gio, GLib

from desktop import call

_NAME = "org.freedesktop.FileManager1"
_PATH = "/org/freedesktop/FileManager1"
_INTERFACE = """\
<node><interface name="org.freedesktop.FileManager1"><method name="ShowItems">
  <arg name="URIs" type="as" direction="in"/><arg name="StartupId" type="s" direction="in"/>
</method></interface></node>"""


class FakeFileManager:
    def __init__(self, desktop):
        self._shown = []
        interface = Gio.DBusNodeInfo.new_for_xml(_INTERFACE).interfaces[0]
        desktop.bus.register_object(_PATH, interface, self._receive, None, None)
        call(desktop.bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
             "RequestName", GLib.Variant("(su)", (_NAME, 0)))

    def shown_items(self):
        """The URLs of each request so far."""
        context = GLib.MainContext.default()
        while context.iteration(False):
            pass
        return self._shown

    def _receive(self, _bus, _sender, _path, _interface, _method, arguments, invocation):
        urls, _ = arguments.unpack()
        self._shown.append(urls)
        invocation.return_value(None)
