"""Closing the window while files are converted."""

import signal

from documents import is_sound
from fixture import WindowTest
from waiting import eventually, expect_soon

QUESTION = "Stop converting?"


class ClosingTest(WindowTest):
    def setUp(self):
        super().setUp()
        self.ghostscript = self.install_ghostscript()
        self.program = self.start_with("a 40x30mm+3.pdf", "b 40x30mm+3.pdf")
        self.program.choose_mode("Native")
        self.program.convert()
        self.ghostscript.await_run(1)
        self.ghostscript.finish_run()
        self.ghostscript.await_run(2)

    def native_output(self, name):
        return self.desktop.files / f"{name} 40x30mm+3_PRINT_40x30_3mm_FOGRA39_CMYK.pdf"

    def expect_only_finished_work(self):
        self.assertTrue(is_sound(self.native_output("a")))
        self.assertFalse(self.native_output("b").exists())
        self.assertEqual(list(self.desktop.temporary.iterdir()), [])
        self.assertEqual(self.ghostscript.processes(), [])

    def testAsksBeforeItCloses(self):
        self.program.close()
        self.program.button("Keep Converting").activate()
        eventually(lambda: not self.program.find("push button", "Keep Converting"), "no question")
        self.ghostscript.finish_run()
        expect_soon(self.program.status, "Completed")
        self.program.end()

    def testStopsAndClosesWhenToldTo(self):
        self.desktop.press("ctrl+q")
        self.desktop.click(self.program.button("Stop and Close").centre)
        self.assertEqual(self.program.wait(), 0)
        self.expect_only_finished_work()

    def testAsksNoLongerWhenTheBatchHasEnded(self):
        self.program.close()
        self.program.button("Keep Converting")
        self.ghostscript.finish_run()
        expect_soon(self.program.status, "Completed")
        eventually(lambda: not self.program.find("push button", "Keep Converting"), "no question")
        self.program.end()

    def testTerminationStopsABatchWithoutAQuestion(self):
        self.program.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.program.wait(), 0)
        self.expect_only_finished_work()
