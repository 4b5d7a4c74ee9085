"""What the rows say of sizes, and what becomes of typed ones."""

from fixture import WindowTest
from waiting import expect_soon

POINTS_PER_MILLIMETRE = 72 / 25.4


class SizesTest(WindowTest):
    def testShowsTheSizeThatANameSays(self):
        program = self.start_with("card 85x55mm+2.pdf")
        self.assertEqual(program.summary("card 85x55mm+2.pdf"), "85×55 mm · 2 mm bleed")

    def testShowsTheSizeOfTheFirstPageWithoutItsBleed(self):
        program = self.start()
        program.add(self.pdf("a.pdf", width=216 * POINTS_PER_MILLIMETRE,
                             height=303 * POINTS_PER_MILLIMETRE))
        self.assertEqual(program.summary("a.pdf"), "210×297 mm · 3 mm bleed")

    def testMarksASizeThatWasTyped(self):
        program = self.start_with("a 60x40mm+3.pdf")
        program.enter("height", "44,5")
        expect_soon(lambda: program.summary("a 60x40mm+3.pdf"),
                    "60×44,5 mm · 3 mm bleed. Manually edited: height")
        program.enter("height", "40.0")
        expect_soon(lambda: program.summary("a 60x40mm+3.pdf"), "60×40.0 mm · 3 mm bleed")

    def testShowsTheSizesOfTheSelectedRow(self):
        program = self.start_with("a 60x40mm+3.pdf", "b 70x50mm+1.pdf")
        program.select("b 70x50mm+1.pdf")
        expect_soon(lambda: [program.field(field) for field in ("width", "height", "bleed")],
                    ["70", "50", "1"])

    def testMakesATypedSizeTheDefault(self):
        program = self.start_with("a 60x40mm+3.pdf")
        program.enter("bleed", "5")
        program.add(self.pdf("b 70x50mm.pdf"))
        self.assertEqual(program.summary("b 70x50mm.pdf"), "70×50 mm · 5 mm bleed")

    def testKeepsSettingsWhenItIsKilled(self):
        program = self.start()
        program.enter("width", "81,5")
        program.enter("height", "94")
        program.enter("bleed", "2")
        self.desktop.click(program.get("check box", "PDF already includes bleed").centre)
        expect_soon(program.includes_bleed, False)
        program.choose_mode("Native")
        program.kill()
        later = self.start()
        self.assertEqual([later.field(field) for field in ("width", "height", "bleed")],
                         ["81,5", "94", "2"])
        self.assertFalse(later.includes_bleed())
        self.assertTrue(later.is_mode("Native"))

    def testForgetsTheListAtItsEnd(self):
        self.start_with("a.pdf").end()
        self.assertEqual(self.start().names(), [])
