"""How files come into the list: through the open dialog and by drag and drop."""

import os

from fixture import WindowTest
from waiting import eventually, expect_soon

LISTED_ALREADY = "Those PDFs are already in the list."


class OpenDialogTest(WindowTest):
    def testAddsTwoFilesByTheOpenDialog(self):
        program = self.start()
        second, first = self.pdf("page 10.pdf"), self.pdf("page 2.pdf")
        program.open_chooser()
        self.desktop.type(f'"{second}" "{first}"')
        self.desktop.press("Return")
        expect_soon(program.names, ["page 2.pdf", "page 10.pdf"])
        expect_soon(program.selected_name, "page 2.pdf")

    def testChangesNothingWhenTheOpenDialogIsCancelled(self):
        program = self.start_with("a.pdf")
        program.add(self.desktop.files / "a.pdf")
        expect_soon(program.status, LISTED_ALREADY)
        self.pdf("b.pdf")
        program.open_chooser()
        self.desktop.press("Escape")
        program.await_chooser_end()
        self.assertEqual(program.names(), ["a.pdf"])
        self.assertEqual(program.status(), LISTED_ALREADY)

    def testOpensTheDialogByThePlusButton(self):
        program = self.start()
        self.desktop.click(program.button("Choose PDFs").centre)
        program.await_chooser()

    def testOpensTheDialogByThePlusButtonWithoutAMouse(self):
        program = self.start()
        self.desktop.press("Tab")
        expect_soon(program.focused_names, ["Choose PDFs"])
        self.desktop.press("Return")
        program.await_chooser()


class DragTest(WindowTest):
    def setUp(self):
        super().setUp()
        self.program = self.start()

    def drop(self, *files):
        self.drag(*files).drop_on(self.program.window().centre)

    def testTakesSeveralFilesInOneDrop(self):
        self.drop(*(self.pdf(name) for name in ("c.pdf", "a.pdf", "b.pdf")))
        expect_soon(self.program.names, ["c.pdf", "a.pdf", "b.pdf"])
        expect_soon(self.program.selected_name, "b.pdf")

    def testTakesAnUpperCaseExtension(self):
        self.drop(self.pdf("POSTER.PDF"))
        expect_soon(self.program.names, ["POSTER.PDF"])

    def testPassesOverOtherFilesAndFolders(self):
        notes = self.desktop.files / "notes.txt"
        notes.write_text("no PDF")
        folder = self.desktop.files / "folder"
        folder.mkdir()
        self.drop(notes, folder)
        self.drop(folder, self.pdf("a.pdf"), notes)
        expect_soon(self.program.names, ["a.pdf"])
        self.assertEqual(self.program.status(), "")

    def testSaysThatAFileIsInTheListAlready(self):
        file = self.pdf("a.pdf")
        self.drop(file)
        expect_soon(self.program.names, ["a.pdf"])
        self.drop(file)
        expect_soon(self.program.status, LISTED_ALREADY)
        self.assertEqual(self.program.names(), ["a.pdf"])

    def testConvertsADroppedFileWhoseNameIsNotText(self):
        name = os.fsencode(self.desktop.files) + b"/caf\xe9 100% #1.pdf"
        with open(name, "wb") as file:
            file.write(self.pdf("template.pdf").read_bytes())
        self.drop(name)
        eventually(self.program.names, "a row")
        self.program.convert()
        expect_soon(self.program.status, "Completed")
        self.assertTrue(os.path.exists(name.removesuffix(b".pdf") + b" (CMYK raster).pdf"))


class BatchIntakeTest(WindowTest):
    def testRefusesADropWhileABatchRuns(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf")
        program.choose_mode("Native")
        program.convert()
        ghostscript.await_run(1)
        late = self.pdf("late.pdf")
        refused = self.drag(late)
        refused.begin()
        refused.hover(program.window().centre)
        for _ in range(10):  # each answer leaves the window time for its own
            self.assertFalse(refused.is_accepted())
            program.status()
        self.assertFalse(refused.drop())
        ghostscript.finish_run()
        expect_soon(program.status, "Completed")
        self.assertEqual(program.names(), ["a.pdf"])
        self.drag(late).drop_on(program.window().centre)
        expect_soon(program.names, ["a.pdf", "late.pdf"])

    def testRefusesADropThatABatchOvertook(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf")
        program.choose_mode("Native")
        late = self.drag(self.pdf("late.pdf"))
        late.begin()
        late.hover(program.window().centre)
        eventually(late.is_accepted, "a window that takes files")
        program.button("Convert").activate()
        ghostscript.await_run(1)
        late.drop()
        ghostscript.finish_run()
        expect_soon(program.status, "Completed")
        self.assertEqual(program.names(), ["a.pdf"])

    def testOpensNoDialogWhileABatchRuns(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf")
        program.choose_mode("Native")
        program.convert()
        ghostscript.await_run(1)
        self.desktop.press("ctrl+o")
        ghostscript.finish_run()
        expect_soon(program.status, "Completed")
        self.assertEqual([window.name for window in program.windows()], ["Bleedwise"])
