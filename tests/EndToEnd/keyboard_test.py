"""The window without a mouse."""

from fixture import WindowTest
from waiting import eventually, expect_soon


class KeyboardTest(WindowTest):
    def testTabReachesEverything(self):
        program = self.start_with("a.pdf", "b.pdf")
        program.convert()
        expect_soon(program.status, "Completed")
        program.open_console()
        reached = []
        while True:
            before = program.focused_names()
            self.desktop.press("Tab")
            eventually(lambda: program.focused_names() != before, "another focus")
            name = program.focused_names()[-1]
            if name in reached and (name == reached[0]):
                break
            reached.append(name)
        for name in ("a.pdf", "Reveal output", "Remove", "Trim width (mm)", "Trim height (mm)",
                     "Bleed (mm)", "Convert", "PDF already includes bleed", "Raster", "Console",
                     "Conversion details", "Application menu", "Minimize", "Maximize", "Close"):
            self.assertIn(name, reached)

    def testConvertsAListWithoutAMouse(self):
        program = self.start_with("a.pdf")
        program.focus_by_tab("Convert")
        self.desktop.press("space")
        expect_soon(program.status, "Completed")

    def testQuitsThroughTheApplicationMenuWithoutAMouse(self):
        program = self.start()
        program.focus_by_tab("Application menu")
        self.desktop.press("Return")
        program.get("menu item", "Quit")
        self.desktop.press("Down", "Return")
        self.assertEqual(program.wait(), 0)

    def testArrowsMoveTheSelection(self):
        program = self.start_with("a.pdf", "b.pdf", "c.pdf")
        for key, name in (("Down", "b.pdf"), ("Down", "c.pdf"), ("Down", "c.pdf"), ("Up", "b.pdf")):
            self.desktop.press(key)
            expect_soon(program.selected_name, name)

    def testDeleteRemovesTheSelectedRow(self):
        program = self.start_with("a.pdf", "b.pdf", "c.pdf")
        self.desktop.press("Down", "Delete")
        expect_soon(program.names, ["a.pdf", "c.pdf"])
        expect_soon(program.selected_name, "a.pdf")

    def testDeleteInAFieldRemovesNoRow(self):
        program = self.start_with("a 60x40mm+3.pdf")
        program.focus_by_tab("Trim width (mm)")
        self.desktop.press("Home", "Delete")
        expect_soon(lambda: program.field("width"), "0")
        self.assertEqual(program.names(), ["a 60x40mm+3.pdf"])

    def testArrowKeysChooseTheMode(self):
        self.install_ghostscript()
        program = self.start()
        program.focus_by_tab("Raster")
        self.desktop.press("Left")
        expect_soon(lambda: program.is_mode("Native"), True)

    def testKeysDoNothingToTheListWhileABatchRuns(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf", "b.pdf")
        program.choose_mode("Native")
        program.convert()
        ghostscript.await_run(1)
        self.desktop.press("Down", "Delete")
        ghostscript.finish_run()
        ghostscript.await_run(2)
        ghostscript.finish_run()
        expect_soon(program.status, "Completed")
        self.assertEqual(program.names(), ["a.pdf", "b.pdf"])
        self.assertEqual(program.selected_name(), "a.pdf")
