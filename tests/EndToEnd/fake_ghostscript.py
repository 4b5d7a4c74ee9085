"""A Ghostscript whose runs begin and end under the eyes of the test."""

import os
import pathlib

from documents import small_pdf
from waiting import eventually

# Every run waits at a gate, a named pipe, for what it is to print before it ends.
_SCRIPT = """\
while [ "$1" != -o ]; do shift; done
cp '{folder}/result.pdf' "$2"
echo run >> '{folder}/runs'
cat '{folder}/gate'
"""


class FakeGhostscript:
    def __init__(self, desktop):
        self._folder = desktop.folder / "ghostscript"
        self._folder.mkdir()
        (self._folder / "result.pdf").write_bytes(small_pdf())
        os.mkfifo(self._folder / "gate")
        self.path = desktop.install_program("gs", _SCRIPT.format(folder=self._folder))

    def runs(self):
        """How many have begun."""
        record = self._folder / "runs"
        return len(record.read_text().splitlines()) if record.exists() else 0

    def await_run(self, number):
        eventually(lambda: self.runs() >= number, f"run {number} of Ghostscript")

    def finish_run(self, text="Done by Ghostscript\n"):
        """Lets the run that waits print this and end."""
        with open(self._folder / "gate", "w") as gate:
            gate.write(text)

    def processes(self):
        """Of a run that goes on: its shell, and the program that waits at the gate."""
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                command = (entry / "cmdline").read_bytes()
            except OSError:
                continue  # no process, or one that has just ended
            if os.fsencode(self.path) in command or os.fsencode(self._folder) in command:
                found.append(entry.name)
        return found
