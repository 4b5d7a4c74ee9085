"""The console below the size fields."""

from fixture import WindowTest
from waiting import eventually, expect_soon, settled

LINES = 200
MANY_LINES = "".join(f"line {number}\n" for number in range(1, LINES + 1))


class ConsoleTest(WindowTest):
    def testOpensAndClosesTheConsole(self):
        program = self.start()
        self.assertIsNone(program.find("list", "Console lines"))
        program.open_console()
        program.get("label", "No conversion messages yet.")
        self.desktop.click(program.button("Console").centre)
        expect_soon(lambda: program.find("list", "Console lines"), None)
        self.assertEqual(program.button("Console").description, "Collapsed")

    def testCopiesSeveralConsoleLines(self):
        program = self.start_with("a.pdf")
        program.convert()
        expect_soon(program.status, "Completed")
        program.open_console()
        self.desktop.click(program.console().centre)
        self.desktop.press("ctrl+a", "ctrl+c")
        field = program.get("text", "Bleed (mm)")
        self.desktop.click(field.centre)
        self.desktop.press("ctrl+a", "ctrl+v")  # a field makes one line of several
        expect_soon(lambda: "".join(field.text.split()), "".join(" ".join(program.log()).split()))

    def testFollowsTheNewestLineUntilTheUserScrollsUp(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf", "b.pdf")
        program.choose_mode("Native")
        program.open_console()
        program.convert()
        ghostscript.await_run(1)
        ghostscript.finish_run(MANY_LINES)
        ghostscript.await_run(2)
        eventually(lambda: program.shown_log()[-1:] == ["[2/2] b.pdf"], "the newest line")

        self.desktop.click(program.console().centre, button=self.desktop.WHEEL_UP, repeat=3)
        eventually(lambda: "[2/2] b.pdf" not in program.shown_log(), "earlier lines")
        shown = settled(program.shown_log)
        ghostscript.finish_run(MANY_LINES)
        expect_soon(program.status, "Completed")
        self.assertEqual(program.shown_log(), shown)
