"""What every end-to-end test starts from."""

import pathlib
import unittest

import gi

gi.require_version("Gio", "2.0")

import fake_ghostscript  # noqa: E402
from desktop import Desktop  # noqa: E402
from documents import small_pdf  # noqa: E402
from drag import Drag  # noqa: E402
from file_manager import FakeFileManager  # noqa: E402
from program import Program  # noqa: E402


class WindowTest(unittest.TestCase):
    """A desktop of its own; on it the program, with its window open, when the test asks for it."""

    build = pathlib.Path()  # set by the runner

    def setUp(self):
        self.desktop = Desktop()
        self.enterContext(self.desktop)

    def start(self, **options):
        return Program(self.desktop, self.build, **options)

    def pdf(self, name, **size):
        file = self.desktop.files / name
        file.write_bytes(small_pdf(**size))
        return file

    def start_with(self, *names, **options):
        """The program with these files in its list."""
        program = self.start(**options)
        program.add(*(self.pdf(name) for name in names))
        return program

    def install_ghostscript(self):
        """A Ghostscript of which the test says when each of its runs ends."""
        return fake_ghostscript.FakeGhostscript(self.desktop)

    def install_file_manager(self):
        return FakeFileManager(self.desktop)

    def drag(self, *files):
        return Drag(self.desktop, files)

    def output(self, name, suffix="(CMYK raster)"):
        return self.desktop.files / f"{name} {suffix}.pdf"

    def doCleanups(self):
        # Here the outcome is known, and the desktop still stands.
        if not self._outcome.success:
            self._photograph()
        return super().doCleanups()

    def _photograph(self):
        picture = self.build / "tests/EndToEnd/failures" / f"{self._testMethodName}.png"
        try:
            self.desktop.photograph(picture)
            print(f"The screen at the time: {picture}", flush=True)
        except Exception as error:  # the failure itself says more than this one
            print(f"No photograph: {error}", flush=True)
