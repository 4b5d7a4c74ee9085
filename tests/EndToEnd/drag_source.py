#!/usr/bin/python3 -B
"""A file manager, as far as a drag is concerned: a window in the left upper corner from which the
given URLs can be dragged. Prints a line for each thing that happens to the drag, and for each line
that it reads, whether what lies under the pointer would take the files."""

import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

_SIZE = 60


def say(word):
    print(word, flush=True)


class Source:
    def __init__(self, urls):
        self._drag = None
        window = Gtk.Window(type=Gtk.WindowType.POPUP)
        window.set_default_size(_SIZE, _SIZE)
        window.move(0, 0)
        area = Gtk.EventBox()
        window.add(area)
        area.drag_source_set(Gdk.ModifierType.BUTTON1_MASK, [], Gdk.DragAction.COPY)
        area.drag_source_add_uri_targets()
        area.connect("drag-begin", self._begin)
        area.connect("drag-data-get", lambda _, __, data, *___: data.set_uris(urls))
        area.connect("drag-failed", self._fail)
        area.connect("drag-end", lambda *_: say("over"))
        window.connect("map-event", lambda *_: say("ready"))
        # After all that the display has sent.
        GLib.io_add_watch(sys.stdin, GLib.PRIORITY_LOW, GLib.IOCondition.IN, self._answer)
        window.show_all()

    def _begin(self, _, context):
        self._drag = context
        say("begun")

    def _fail(self, *_):
        say("refused")
        return True  # without the picture of the files flying home, which would lie over the window

    def _answer(self, *_):
        sys.stdin.readline()
        say("accepted" if self._drag.get_selected_action() else "not accepted")
        return True


source = Source(sys.argv[1:])
Gtk.main()
