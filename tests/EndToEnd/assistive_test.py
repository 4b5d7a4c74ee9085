"""The window as assistive technology sees and uses it."""

from fixture import WindowTest
from waiting import expect_soon

CONTROLS = {"push button", "check box", "radio button", "text", "list item", "menu item"}


class AssistiveTechnologyTest(WindowTest):
    def testAssistiveTechnologyPressesTheControls(self):
        self.install_ghostscript()
        program = self.start_with("a.pdf", "b.pdf")
        program.get("check box", "PDF already includes bleed").activate()
        program.get("radio button", "Native").activate()
        program.row_elements()[1].activate()
        expect_soon(program.selected_name, "b.pdf")
        program.row_button("a.pdf", "Remove").activate()
        expect_soon(program.names, ["b.pdf"])
        program.button("Console").activate()
        program.get("list", "Console lines")
        program.button("Conversion details").activate()
        program.get("dialog", "Conversion details")
        later = self.start()
        self.assertFalse(later.includes_bleed())
        self.assertTrue(later.is_mode("Native"))

    def testAssistiveTechnologyFindsTheFilesInAList(self):
        program = self.start_with("a.pdf", "b.pdf")
        files = program.get("list", "Files")
        self.assertEqual([element.name for element in files.children()
                          if element.role == "list item"], ["a.pdf", "b.pdf"])

    def testAssistiveTechnologyTypesASize(self):
        program = self.start_with("a 60x40mm+3.pdf")
        program.get("text", "Trim width (mm)").write("61")
        expect_soon(lambda: program.summary("a 60x40mm+3.pdf"),
                    "61×40 mm · 3 mm bleed. Manually edited: width")

    def testAssistiveTechnologyQuitsThroughTheMenu(self):
        program = self.start()
        program.button("Application menu").activate()
        program.get("menu item", "Quit").activate()
        self.assertEqual(program.wait(), 0)

    def testAssistiveTechnologyFindsANameOnEveryControl(self):
        program = self.start_with("a.pdf")
        program.convert()
        expect_soon(program.status, "Completed")
        program.open_console()
        program.button("Conversion details").activate()
        program.get("dialog", "Conversion details")
        nameless = [str(element) for element in program.window().descendants()
                    if element.role in CONTROLS and element.is_showing()
                    and not element.name]
        self.assertEqual(nameless, [])
