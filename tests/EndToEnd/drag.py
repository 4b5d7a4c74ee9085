"""Files on their way from another program's window."""

import os
import pathlib
import queue
import subprocess
import threading
import urllib.parse

from waiting import LIMIT_IN_SECONDS, eventually

_SOURCE = pathlib.Path(__file__).resolve().parent / "drag_source.py"
_GRIP = (30, 30)  # in the source's window


class Drag:
    def __init__(self, desktop, files):
        """`files` are paths, as bytes where they are not text."""
        urls = ["file://" + urllib.parse.quote(os.fsencode(file)) for file in files]
        self._desktop = desktop
        self._source = desktop.start(_SOURCE, *urls,
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     environment={"NO_AT_BRIDGE": "1", "GDK_BACKEND": "x11"})
        self._words = queue.Queue()
        threading.Thread(target=self._listen, daemon=True).start()
        self._expect("ready")

    def begin(self):
        """Takes the files up."""
        self._desktop.move_pointer(_GRIP)
        self._desktop.press_button()
        self._desktop.move_pointer((_GRIP[0] + 12, _GRIP[1]))
        self._desktop.move_pointer((_GRIP[0] + 24, _GRIP[1]))
        self._expect("begun")

    def hover(self, position):
        x, y = position
        self._desktop.move_pointer((x - 8, y - 8))
        self._desktop.move_pointer(position)

    def is_accepted(self):
        """Whether the window under the pointer has said that it would take the files."""
        self._source.stdin.write(b"accepted?\n")
        self._source.stdin.flush()
        return self._words.get(timeout=LIMIT_IN_SECONDS) == "accepted"

    def drop(self):
        """Lets go; whether the files were taken."""
        self._desktop.release_button()
        word = self._words.get(timeout=LIMIT_IN_SECONDS)
        if word == "refused":
            self._expect("over")
            return False
        if word != "over":
            raise AssertionError(f"a drag that says {word!r}")
        return True

    def drop_on(self, position):
        """The whole way."""
        self.begin()
        self.hover(position)
        eventually(self.is_accepted, "a window that takes files")
        if not self.drop():
            raise AssertionError("accepted files were not taken")

    def _expect(self, expected):
        word = self._words.get(timeout=LIMIT_IN_SECONDS)
        if word != expected:
            raise AssertionError(f"a drag that says {word!r} in place of {expected!r}")

    def _listen(self):
        for line in self._source.stdout:
            self._words.put(line.decode().strip())
        self._words.put("ended")
