import QtQuick
import QtTest
import Bleedwise.Window

Item {
    id: root

    property bool showing: false
    property string path: "/usr/bin/gs"
    property bool expanded: false

    width: 700
    height: 400

    ConsoleHeader {
        id: header

        width: parent.width
        y: 360
        consoleExpanded: root.expanded
        showingDetails: root.showing
        ghostscriptPath: root.path
        onConsoleToggled: root.expanded = !root.expanded
        onDetailsToggled: root.showing = !root.showing
        onDetailsClosed: root.showing = false
    }

    Component {
        id: freshHeader

        ConsoleHeader {
            consoleExpanded: false
            showingDetails: false
            ghostscriptPath: ""
        }
    }

    TestCase {
        id: test

        name: "Details"
        when: windowShown

        function init() {
            Theme.reducedMotion = true;
            root.showing = false;
            root.expanded = false;
            root.path = "/usr/bin/gs";
            tryVerify(() => !test.popover()?.visible);
        }

        function popover() {
            return findChild(header, "detailsPopover");
        }

        function part(name) {
            return findChild(popover().contentItem, name);
        }

        function test_isMadeWhenItIsFirstShown() {
            const fresh = createTemporaryObject(freshHeader, root);
            verify(!findChild(fresh, "detailsPopover"));
            fresh.showingDetails = true;
            verify(findChild(fresh, "detailsPopover"));
            fresh.showingDetails = false;
            verify(findChild(fresh, "detailsPopover"));
        }

        function test_opensAndClosesByItsButton() {
            mouseClick(findChild(header, "details"));
            tryVerify(() => test.popover().opened);
            mouseClick(findChild(header, "details"));
            tryVerify(() => !test.popover().visible);
            verify(!root.showing);
        }

        function test_closesByEscape() {
            root.showing = true;
            tryVerify(() => test.popover().opened);
            keyClick(Qt.Key_Escape);
            tryVerify(() => !root.showing);
        }

        function test_closesByAClickElsewhere() {
            root.showing = true;
            tryVerify(() => test.popover().opened);
            mouseClick(root, 10, 10);
            tryVerify(() => !root.showing);
        }

        function test_staysWithinTheWindow() {
            root.showing = true;
            tryVerify(() => test.popover().opened);
            const content = popover().contentItem;
            const topLeft = content.mapToItem(root, 0, 0);
            const bottomRight = content.mapToItem(root, content.width, content.height);
            verify(topLeft.x >= 0 && topLeft.y >= 0);
            verify(bottomRight.x <= root.width && bottomRight.y <= root.height);
        }

        function test_namesTheColorProfile() {
            root.showing = true;
            compare(part("profile").text, "FOGRA39 / ISO Coated v2 (ECI)");
        }

        function test_saysWhereGhostscriptIs() {
            root.showing = true;
            compare(part("ghostscriptState").text, "Ghostscript ready");
            compare(part("ghostscriptDetail").text, "/usr/bin/gs");
            compare(part("ghostscriptSymbol").symbol, "checkmark-circle-fill");
            compare(part("ghostscriptSymbol").color, Theme.greenColor);
        }

        function test_saysHowToGetGhostscriptWhereItIsMissing() {
            root.path = "";
            root.showing = true;
            compare(part("ghostscriptState").text, "Ghostscript not found");
            compare(part("ghostscriptDetail").text, "Install with Homebrew: brew install ghostscript");
            compare(part("ghostscriptSymbol").symbol, "exclamation-triangle-fill");
            compare(part("ghostscriptSymbol").color, Theme.orangeColor);
        }

        function test_aLongPathIsWrapped() {
            root.path = "/a/rather/long/folder".repeat(20) + "/gs";
            root.showing = true;
            tryVerify(() => test.popover().opened);
            const detail = part("ghostscriptDetail");
            verify(detail.lineCount > 1);
            verify(detail.contentWidth <= detail.width);
        }

        function test_theChevronShowsWhetherTheConsoleIsOpen() {
            compare(findChild(header, "chevron").symbol, "chevron-right");
            mouseClick(findChild(header, "console"));
            verify(root.expanded);
            compare(findChild(header, "chevron").symbol, "chevron-down");
        }
    }
}
