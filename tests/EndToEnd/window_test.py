"""The window itself: how it starts, moves and ends."""

import pathlib
import signal
import subprocess

from fixture import WindowTest
from waiting import eventually, expect_soon

MINIMUM_SIZE = (720, 560)
_TITLE_AND_PADDING = 40  # between the divider and the fields


class WindowsTest(WindowTest):
    def testStartsWithAPlusButtonInTheMiddleAndNothingToConvert(self):
        program = self.start()
        left, top, width, _ = program.window().extents
        divider = program.get("text", "Trim width (mm)").extents[1] - _TITLE_AND_PADDING
        x, y = program.button("Choose PDFs").centre
        self.assertAlmostEqual(x, left + width / 2, delta=1)
        self.assertAlmostEqual(y, (top + divider) / 2, delta=12)
        self.assertFalse(program.is_available("Convert"))
        self.assertEqual(program.names(), [])
        self.assertEqual(program.status(), "")

    def testStartsWithTheDefaultsAndNoFieldFocused(self):
        program = self.start()
        self.assertEqual([program.field(field) for field in ("width", "height", "bleed")],
                         ["105", "297", "3"])
        self.assertTrue(program.includes_bleed())
        self.assertTrue(program.is_mode("Raster"))
        self.assertEqual(program.focused_names(), [])

    def testDrawsWithOpenGLWhereThatIsChosen(self):
        program = self.start(environment={"QSG_RHI_BACKEND": "opengl"})
        self.assertTrue(program.button("Choose PDFs").is_showing())
        libraries = pathlib.Path(f"/proc/{program.process.pid}/maps").read_text()
        self.assertIn("qxcb-glx", libraries)

    def testMovesByItsStrip(self):
        program = self.start()
        left, top, width, height = program.window().extents
        self.desktop.drag((left + width // 2, top + 15), (left + width // 2 + 90, top + 75))
        # The window manager takes over when the pointer has gone some way.
        eventually(lambda: program.window().extents[0] > left + 20, "a window further right")
        eventually(lambda: program.window().extents[1] > top + 15, "a window further down")
        self.assertEqual(program.window().extents[2:], (width, height))

    def testGrowsByItsCorner(self):
        program = self.start()
        left, top, width, height = program.window().extents
        corner = (left + width - 2, top + height - 2)
        self.desktop.drag(corner, (corner[0] + 50, corner[1] + 40))
        # The window manager takes over when the pointer has gone some way.
        eventually(lambda: program.window().extents[2] > width + 20, "a wider window")
        eventually(lambda: program.window().extents[3] > height + 15, "a higher window")
        self.assertEqual(program.window().extents[:2], (left, top))

    def testDoesNotShrinkBelowItsMinimum(self):
        program = self.start()
        left, top, width, height = program.window().extents
        self.desktop.drag((left + width - 2, top + height - 2), (left + 200, top + 200))
        eventually(lambda: program.window().extents[3] < height, "a smaller window")
        eventually(lambda: program.window().extents[2:] == MINIMUM_SIZE, "the minimum size")

    def testMaximizesAndRestoresByItsButton(self):
        program = self.start()
        before = program.window().extents
        self.desktop.click(program.button("Maximize").centre)
        restore = program.button("Restore")
        eventually(lambda: program.window().extents[2] > before[2], "a larger window")
        self.desktop.click(restore.centre)
        expect_soon(lambda: program.window().extents, before)

    def testMaximizesByADoubleClickOnItsStrip(self):
        program = self.start()
        left, top, width, _ = program.window().extents
        self.desktop.click((left + width // 2, top + 15), repeat=2)
        program.button("Restore")

    def testEndsWhenItsWindowIsClosed(self):
        program = self.start()
        program.close()
        self.assertEqual(program.wait(), 0)

    def testQuitsThroughTheApplicationMenu(self):
        program = self.start()
        self.desktop.click(program.button("Application menu").centre)
        self.desktop.click(program.get("menu item", "Quit").centre)
        self.assertEqual(program.wait(), 0)

    def testEndsWellWhenToldToTerminate(self):
        program = self.start()
        program.process.send_signal(signal.SIGTERM)
        self.assertEqual(program.wait(), 0)

    def testTwoWindowsKeepEachOthersSettings(self):
        first, second = self.start(), self.start()
        second.enter("bleed", "7")
        first.bring_to_front()
        first.enter("width", "81")
        second.bring_to_front()
        second.enter("height", "94")
        for program in (first, second):
            program.kill()
        later = self.start()
        self.assertEqual([later.field(field) for field in ("width", "height", "bleed")],
                         ["81", "94", "7"])


class WaylandTest(WindowTest):
    def start_under_wayland(self, backend, **options):
        socket = "bleedwise-wayland"
        self.desktop.start("weston", f"--backend={backend}-backend.so", f"--socket={socket}",
                           "--no-config", "--idle-time=0",
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        eventually((self.desktop.runtime / socket).exists, "a Wayland compositor")
        environment = {"QT_QPA_PLATFORM": "wayland", "WAYLAND_DISPLAY": socket,
                       **options.pop("environment", {})}
        return self.start(environment=environment, **options)

    def testConvertsUnderWaylandThroughAssistiveTechnologyAlone(self):
        # This backend has no seat, hence neither keyboard nor pointer.
        program = self.start_under_wayland("headless", has_focus=False, environment={"DISPLAY": ""})
        file = self.pdf("a.pdf")
        program.button("Choose PDFs").activate()
        program.get("text", "File name:").write(str(file))
        open_button = program.button("Open")
        eventually(open_button.is_enabled, "an Open button")
        open_button.activate()
        expect_soon(program.names, ["a.pdf"])
        program.button("Convert").activate()
        expect_soon(program.status, "Completed")
        self.assertTrue(self.output("a").exists())

    def testConvertsUnderWaylandByKeyboard(self):
        program = self.start_under_wayland("x11")
        program.add(self.pdf("a.pdf"), self.pdf("b.pdf"))
        self.desktop.press("Down", "Delete")
        expect_soon(program.names, ["a.pdf"])
        program.focus_by_tab("Convert")
        self.desktop.press("space")
        expect_soon(program.status, "Completed")
        self.assertTrue(self.output("a").exists())
        self.desktop.press("ctrl+q")
        self.assertEqual(program.wait(), 0)
