"""Conversions from the window: their files, and what the window says of them."""

from documents import boxes, is_sound
from fixture import WindowTest
from waiting import eventually, expect_soon

POINTS_PER_MILLIMETRE = 72 / 25.4
BAD_SIZES = "Width, height, and bleed must be valid numbers."
RASTER_LINE = "Skipped Ghostscript. Flattened to FOGRA39 CMYK bitmap."


class ConvertingTest(WindowTest):
    def expect_print_pdf(self, pdf, width, height, bleed):
        self.assertTrue(is_sound(pdf), pdf)
        sheet = (0, 0, width + 2 * bleed, height + 2 * bleed)
        trim = (bleed, bleed, width + bleed, height + bleed)
        found = boxes(pdf)
        for name, expected in (("MediaBox", sheet), ("CropBox", sheet), ("BleedBox", sheet),
                               ("TrimBox", trim)):
            for number, millimetres in zip(found[name], expected, strict=True):
                # pdfinfo prints two places
                self.assertAlmostEqual(number, millimetres * POINTS_PER_MILLIMETRE, delta=0.01,
                                       msg=name)

    def testConvertsToBitmaps(self):
        program = self.start_with("a 40x30mm+3.pdf", "b 20x25mm+1.pdf")
        program.convert()
        expect_soon(program.status, "Completed")
        self.assertEqual(program.states(), ["Completed", "Completed"])
        self.expect_print_pdf(self.output("a 40x30mm+3"), 40, 30, 3)
        self.expect_print_pdf(self.output("b 20x25mm+1"), 20, 25, 1)

    def testConvertsWithTheInstalledGhostscript(self):
        program = self.start_with("a 40x30mm+3.pdf", hides_ghostscript=False)
        program.choose_mode("Native")
        program.convert()
        expect_soon(program.status, "Completed")
        self.expect_print_pdf(self.desktop.files / "a 40x30mm+3_PRINT_40x30_3mm_FOGRA39_CMYK.pdf",
                              40, 30, 3)

    def testConvertsWithATypedSize(self):
        program = self.start_with("a 40x30mm+3.pdf")
        program.enter("width", "42,5")
        program.convert()
        expect_soon(program.status, "Completed")
        self.expect_print_pdf(self.output("a 40x30mm+3"), 42.5, 30, 3)

    def testAFileWithABadHeightFailsAlone(self):
        program = self.start_with("a.pdf", "b.pdf", "c.pdf")
        program.select("b.pdf")
        program.enter("height", "tall")
        program.convert()
        expect_soon(program.status, "Some files need attention")
        self.assertEqual(program.states(), ["Completed", "Failed", "Completed"])
        self.assertEqual(program.summary("b.pdf"), BAD_SIZES)
        program.open_console()
        expect_soon(program.log, [
            "[1/3] a.pdf",
            RASTER_LINE,
            f"Done: {self.output('a')}",
            "[2/3] ERROR: Invalid dimensions for b.pdf",
            "[3/3] c.pdf",
            RASTER_LINE,
            f"Done: {self.output('c')}",
        ])
        self.assertFalse(self.output("b").exists())

    def testAFileThatIsNoPDFFailsAlone(self):
        (self.desktop.files / "b.pdf").write_text("no PDF")
        program = self.start()
        program.add(self.pdf("a.pdf"), self.desktop.files / "b.pdf")
        program.convert()
        expect_soon(program.status, "Some files need attention")
        self.assertEqual(program.states(), ["Completed", "Failed"])
        self.assertEqual(program.summary("b.pdf"), "Could not open the input PDF.")

    def testAnEditedFileIsPendingAgain(self):
        program = self.start_with("a.pdf")
        program.convert()
        expect_soon(program.status, "Completed")
        program.enter("bleed", "4")
        expect_soon(program.states, ["Pending"])
        self.assertFalse(program.has_row_button("a.pdf", "Reveal output"))
        expect_soon(program.status, "")

    def testShowsWhichFileIsConvertedAndLetsNothingChange(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf", "b.pdf", "c.pdf")
        program.choose_mode("Native")
        program.convert()
        ghostscript.await_run(1)
        ghostscript.finish_run()
        ghostscript.await_run(2)
        expect_soon(program.status, "Converting 2 of 3")
        self.assertEqual(program.states(), ["Completed", "Converting", "Pending"])
        self.assertFalse(program.is_available("Convert"))
        remove = program.row_button("c.pdf", "Remove")
        self.assertEqual(remove.description, "c.pdf. Unavailable")
        for position in (remove.centre, program.button("Convert").centre,
                         program.row_elements()[2].centre):
            self.desktop.click(position)
        ghostscript.finish_run()
        ghostscript.await_run(3)
        ghostscript.finish_run()
        expect_soon(program.status, "Completed")
        self.assertEqual(program.names(), ["a.pdf", "b.pdf", "c.pdf"])
        self.assertEqual(program.selected_name(), "a.pdf")
        self.assertEqual(ghostscript.runs(), 3)
        self.assertTrue(program.is_available("Convert"))

    def testRemovesARow(self):
        program = self.start_with("a.pdf", "b.pdf")
        self.desktop.click(program.row_button("a.pdf", "Remove").centre)
        expect_soon(program.names, ["b.pdf"])
        expect_soon(program.selected_name, "b.pdf")
        self.desktop.click(program.row_button("b.pdf", "Remove").centre)
        program.button("Choose PDFs")


class ModesTest(WindowTest):
    def testNativeNeedsGhostscript(self):
        program = self.start_with("a.pdf")
        self.assertTrue(program.is_available("Convert"))
        program.choose_mode("Native")
        expect_soon(lambda: program.is_available("Convert"), False)
        program.choose_mode("Raster")
        expect_soon(lambda: program.is_available("Convert"), True)

    def testNativeIsAvailableWithGhostscript(self):
        self.install_ghostscript()
        program = self.start_with("a.pdf")
        program.choose_mode("Native")
        self.assertTrue(program.is_available("Convert"))

    def testDetailsSayThatGhostscriptIsMissing(self):
        program = self.start()
        self.desktop.click(program.button("Conversion details").centre)
        for text in ("Ghostscript not found", "Install with Homebrew: brew install ghostscript",
                     "FOGRA39 / ISO Coated v2 (ECI)"):
            program.get("label", text)
        self.desktop.press("Escape")
        eventually(lambda: not program.find("label", "Ghostscript not found"), "a closed popover")

    def testDetailsNameTheGhostscriptThatWasFound(self):
        ghostscript = self.install_ghostscript()
        program = self.start()
        self.desktop.click(program.button("Conversion details").centre)
        program.get("label", "Ghostscript ready")
        program.get("label", str(ghostscript.path))

    def testSaysWhenGhostscriptHasGone(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf")
        program.choose_mode("Native")
        ghostscript.path.unlink()
        program.convert()
        expect_soon(program.status, "Ghostscript is not available.")
        self.assertEqual(program.states(), ["Pending"])
        expect_soon(lambda: program.is_available("Convert"), False)


class RevealTest(WindowTest):
    def convert_and_reveal(self):
        program = self.start_with("50% of a.pdf")
        program.convert()
        expect_soon(program.status, "Completed")
        self.desktop.click(program.row_button("50% of a.pdf", "Reveal output").centre)

    def testRevealsTheOutputInTheFileManager(self):
        manager = self.install_file_manager()
        self.convert_and_reveal()
        expect_soon(manager.shown_items, [[self.output("50% of a").as_uri()]])

    def testOpensTheFolderWithoutAFileManagerOnTheBus(self):
        note = self.desktop.folder / "opened"
        self.desktop.install_program(
            "xdg-open", f"printf %s \"$1\" > '{note}.new'\nmv '{note}.new' '{note}'\n")
        self.convert_and_reveal()
        eventually(note.exists, "an opened folder")
        self.assertEqual(note.read_text(), self.desktop.files.as_uri())
