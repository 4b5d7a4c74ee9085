"""New versions: the menu's entry, and what the updater says and fetches."""

import base64
import json
import pathlib
import re
import shutil
import socket
import textwrap

from fixture import WindowTest
from update_server import UpdateServer
from waiting import eventually, expect_soon

GUIDE = pathlib.Path(__file__).resolve().parents[2] / "docs/releases.md"
CHECK = "Check for Updates…"
AVAILABLE = "A new version of Bleedwise is available"
# Qt Quick itself needs Qt's network library, which does nothing until it is asked.
UPDATING_LIBRARIES = ("bleedwise-updater", "libssl.", "libcrypto.", "/tls/", "/networkinformation/")


class WithoutAnUpdaterTest(WindowTest):
    def expect_no_entry(self, program):
        program.open_menu()
        self.assertEqual(program.menu_items(), ["About Bleedwise", "Quit"])

    def start_with_information(self, **information):
        return self.start(folder=install(self.desktop, self.build, information))

    def testOffersNoUpdatesWithoutAConfiguration(self):
        self.expect_no_entry(self.start())

    def testOffersNoUpdatesFromAFeedThatIsNotHTTPS(self):
        self.expect_no_entry(self.start_with_information(
            SUFeedURL="http://updates.bleedwise.test/feed.xml", SUPublicEDKey="key"))

    def testOffersNoUpdatesWithAKeyOfBlanks(self):
        self.expect_no_entry(self.start_with_information(
            SUFeedURL="https://updates.bleedwise.test/feed.xml", SUPublicEDKey=" \n "))

    def testLoadsNothingForUpdatesWithoutAConfiguration(self):
        program = self.start_with("a.pdf")
        program.convert()
        expect_soon(program.status, "Completed")
        libraries = pathlib.Path(f"/proc/{program.process.pid}/maps").read_text()
        self.assertIn("bleedwise-desktop.so", libraries)
        self.assertEqual([name for name in UPDATING_LIBRARIES if name in libraries], [])


class ProxyTest(WindowTest):
    def testAsksTheSystemsProxyForUpdates(self):
        proxy = self.enterContext(socket.create_server(("127.0.0.1", 0)))
        proxy.settimeout(60)
        folder = install(self.desktop, self.build, {
            "SUFeedURL": "https://updates.bleedwise.test/feed.xml",
            "SUPublicEDKey": base64.b64encode(bytes(32)).decode()})
        address = f"http://127.0.0.1:{proxy.getsockname()[1]}"
        program = self.start(folder=folder, environment={"https_proxy": address})
        program.open_menu()
        self.desktop.click(program.get("menu item", CHECK).centre)
        connection, _ = proxy.accept()
        with connection, connection.makefile("rb") as request:
            self.assertEqual(request.readline(),
                             b"CONNECT updates.bleedwise.test:443 HTTP/1.1\r\n")


class UpdatingTest(WindowTest):
    def setUp(self):
        super().setUp()
        self.server = self.enterContext(UpdateServer(self.desktop))
        self.server.offer("99.0")
        self.folder = install(self.desktop, self.build, self.server.information)
        self.downloads = self.desktop.home / "Downloads"

    def start(self, **options):
        return super().start(
            folder=self.folder,
            environment={"BLEEDWISE_TEST_AUTHORITY": str(self.server.authority)}, **options)

    def check(self, program):
        program.open_menu()
        self.desktop.click(program.get("menu item", CHECK).centre)

    def click(self, program, name):
        self.desktop.click(program.button(name).centre)

    def await_no_panel(self, program):
        eventually(lambda: not any(element.role == "dialog" and element.is_showing()
                                   for element in program.window().descendants()), "no panel")

    def testOffersToCheckDirectlyBelowAbout(self):
        program = self.start()
        program.open_menu()
        self.assertEqual(program.menu_items(), ["About Bleedwise", CHECK, "Quit"])

    def testSaysThatItIsUpToDate(self):
        self.server.offer("0.0.1")
        program = self.start()
        self.check(program)
        program.get("dialog", "You’re up to date")
        self.click(program, "OK")
        self.await_no_panel(program)
        program.end()

    def testFetchesAnUpdateAndHandsItToTheSystem(self):
        opened = self.desktop.folder / "opened"
        self.desktop.install_program("xdg-open", f"echo \"$1\" >> '{opened}'\n")
        program = self.start()
        self.check(program)
        program.get("dialog", AVAILABLE)
        self.click(program, "Install Update")
        program.get("dialog", "Version 99.0 is ready")
        self.assertFalse(opened.exists())
        self.click(program, "Open Installer")
        package = self.downloads / "bleedwise.deb"
        eventually(lambda: opened.exists() and opened.read_text() == f"{package.as_uri()}\n",
                   "the opened package")
        self.assertEqual(package.read_bytes(), b"a package")
        self.await_no_panel(program)

    def testTakesTheFeedThatTheGuideShows(self):
        feed = re.search(r"^ +<\?xml.*?</rss>\n", GUIDE.read_text(), re.M | re.S)[0]
        feed = feed.replace("https://updates.example.org", self.server.address)
        self.server.publish(textwrap.dedent(feed).replace("0.2.0", "99.0"),
                            "/bleedwise/bleedwise_99.0_amd64.deb")
        program = self.start()
        self.check(program)
        program.get("dialog", AVAILABLE)
        self.click(program, "Install Update")
        program.get("dialog", "Version 99.0 is ready")

    def testOpensAnUpdateLaterWithoutFetchingItAgain(self):
        program = self.start()
        self.check(program)
        self.click(program, "Install Update")
        program.get("dialog", "Version 99.0 is ready")
        self.click(program, "Not Now")
        self.await_no_panel(program)
        self.check(program)
        self.click(program, "Install Update")
        program.get("dialog", "Version 99.0 is ready")
        self.assertEqual(self.server.requests.count("/bleedwise.deb"), 1)
        self.assertEqual([file.name for file in self.downloads.iterdir()], ["bleedwise.deb"])

    def testSaysThatTheSystemCannotOpenTheUpdate(self):
        self.desktop.install_program("xdg-open", "exit 3\n")
        program = self.start()
        self.check(program)
        self.click(program, "Install Update")
        self.click(program, "Open Installer")
        panel = program.get("dialog", "The update cannot be installed")
        self.assertEqual(panel.description, "The system has nothing to open the package with. "
                                            "It is in ~/Downloads/bleedwise.deb.")
        self.assertEqual((self.downloads / "bleedwise.deb").read_bytes(), b"a package")

    def testDeletesAForgedUpdateAndSaysSo(self):
        self.server.offer("99.0", package=b"a changed one", signed=b"a package")
        program = self.start()
        self.check(program)
        self.click(program, "Install Update")
        panel = program.get("dialog", "The update cannot be installed")
        self.assertEqual(panel.description,
                         "The signature of the update is not right, so it was deleted.")
        self.assertEqual(list(self.downloads.iterdir()), [])

    def testConvertsWhileAnUpdateIsFetched(self):
        self.server.hold("/bleedwise.deb")
        program = self.start_with("a.pdf")
        self.check(program)
        self.click(program, "Install Update")
        self.server.await_request("/bleedwise.deb")
        program.convert()
        expect_soon(program.status, "Completed")
        self.click(program, "Cancel")
        self.await_no_panel(program)
        self.assertEqual(list(self.downloads.iterdir()), [])

    def testAnswersWhenTheBatchIsOver(self):
        ghostscript = self.install_ghostscript()
        program = self.start_with("a.pdf")
        program.choose_mode("Native")
        program.convert()
        ghostscript.await_run(1)
        self.check(program)
        panel = program.get("dialog", "Checking for updates…")
        expect_soon(lambda: panel.description,
                    "The answer is shown when the files have been converted.")
        ghostscript.finish_run()
        program.get("dialog", AVAILABLE)

    def testAsksOnTheSecondStartWhetherToCheck(self):
        self.start().end()
        program = self.start()
        program.get("dialog", "Check for updates automatically?")
        self.click(program, "Check Automatically")
        program.get("dialog", AVAILABLE)

    def testChangesTheAnswerFromTheAnswerToACheck(self):
        self.server.offer("0.0.1")
        self.start().end()
        program = self.start()
        program.get("dialog", "Check for updates automatically?")
        self.click(program, "Don’t Check")
        self.await_no_panel(program)
        self.check(program)
        self.desktop.click(program.get("check box", "Automatically check for updates").centre)
        settings = self.desktop.configuration / "app.bleedwise.Bleedwise.conf"
        eventually(lambda: "SUEnableAutomaticChecks=true" in settings.read_text(), "the answer")
        self.click(program, "OK")
        self.await_no_panel(program)
        program.end()
        self.server.offer("99.0")
        settings.write_text("".join(line for line in settings.read_text().splitlines(True)
                                    if "SULastCheckTime" not in line))
        self.start().get("dialog", AVAILABLE)

    def testChecksForUpdatesWithoutAMouse(self):
        program = self.start()
        program.focus_by_tab("Application menu")
        self.desktop.press("Return")
        program.get("menu item", CHECK)
        self.desktop.press("Down", "Return")
        program.get("dialog", AVAILABLE)
        eventually(lambda: "Install Update" in program.focused_names(), "a focused button")
        self.desktop.press("Escape")
        self.await_no_panel(program)


def install(desktop, build, information):
    """A copy of the program with this information dictionary, and with an updater that trusts the
    authority of a test."""
    folder = desktop.folder / "program"
    folder.mkdir()
    for name in ("bleedwise", "bleedwise-desktop.so", "bleedwise-renderer",
                 "tests/EndToEnd/bleedwise-updater.so"):
        shutil.copy2(build / name, folder)
    (folder / "Info.json").write_text(json.dumps(information))
    return folder
