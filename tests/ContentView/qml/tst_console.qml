import QtQuick
import QtTest
import Bleedwise.Window

Item {
    id: root

    width: 500
    height: 200

    ListModel {
        id: lines
    }

    ConsoleLog {
        id: log

        width: root.width
        height: 140
        lines: lines
    }

    TestCase {
        id: test

        readonly property Item view: findChild(log, "view")

        name: "ConsoleLog"
        when: windowShown

        function init() {
            lines.clear();
            // Otherwise the view keeps the items of the test before for a while.
            view.forceLayout();
        }

        function write(count) {
            for (let number = 0; number < count; ++number)
                lines.append({ line: `line number ${lines.count}` });
        }

        // A line of the console while it is in sight.
        function shown(number) {
            return view.itemAtIndex(number);
        }

        function test_saysThatThereIsNothingUntilTheFirstLine() {
            const placeholder = findChild(log, "placeholder");
            verify(placeholder.visible);
            compare(placeholder.text, "No conversion messages yet.");
            write(1);
            verify(!placeholder.visible);
        }

        function test_showsItsLinesInOrder() {
            write(2);
            tryVerify(() => test.shown(1) !== null);
            compare(shown(0).text, "line number 0");
            compare(shown(1).text, "line number 1");
            compare(shown(1).y, shown(0).y + shown(0).height + 4);
        }

        function test_followsTheNewestLine() {
            write(100);
            tryVerify(() => test.view.atYEnd && test.shown(99) !== null);
            write(100);
            tryVerify(() => test.view.atYEnd && test.shown(199) !== null);
        }

        function test_staysWhereTheUserHasScrolledTo() {
            write(100);
            tryVerify(() => test.view.atYEnd && test.view.contentY > 0);
            mouseWheel(log, 100, 50, 0, 240);
            tryVerify(() => !test.view.atYEnd);
            tryVerify(() => !test.view.moving);
            const before = view.contentY;
            write(100);
            wait(0);
            compare(view.contentY, before);
        }

        function test_followsAgainFromTheEnd() {
            write(100);
            tryVerify(() => test.view.atYEnd && test.view.contentY > 0);
            view.forceActiveFocus();
            keyClick(Qt.Key_Home);
            verify(!view.atYEnd);
            keyClick(Qt.Key_End);
            tryVerify(() => test.view.atYEnd);
            write(1);
            tryVerify(() => test.view.atYEnd && test.shown(100) !== null);
        }

        function test_makesOnlyTheLinesInSight() {
            write(2000);
            tryVerify(() => test.view.atYEnd && test.view.contentY > 0);
            compare(shown(0), null);
        }

        function test_selectsAcrossLines() {
            write(5);
            tryVerify(() => test.shown(3) !== null);
            const from = shown(1).mapToItem(log, 0, 5);
            const to = shown(3).mapToItem(log, 200, 5);
            mousePress(log, from.x, from.y);
            mouseMove(log, from.x + 5, from.y + 8);
            mouseMove(log, to.x, to.y);
            mouseRelease(log, to.x, to.y);
            compare(shown(0).selectedText, "");
            compare(shown(1).selectedText, "line number 1");
            compare(shown(2).selectedText, "line number 2");
            compare(shown(3).selectedText, "line number 3");
        }

        // The items of the lines that are to be seen or told of.
        function texts() {
            const items = Array.from(test.view.contentItem.children);
            return items.filter(item => item.visible && item.Accessible.role === Accessible.ListItem)
                .map(item => item.text);
        }

        function test_showsNoLineTwiceAfterScrolling() {
            write(400);
            tryVerify(() => test.view.atYEnd && test.shown(399) !== null);
            for (const place of [0, 200, 100, 300, 0]) {
                view.positionViewAtIndex(place, ListView.Beginning);
                tryVerify(() => test.shown(place) !== null);
                compare(texts().length, new Set(texts()).size);
            }
        }

        function test_marksWhatIsSelectedOnlyWhereItIs() {
            write(400);
            tryVerify(() => test.view.atYEnd);
            view.positionViewAtBeginning();
            tryVerify(() => test.shown(3) !== null);
            mouseDoubleClickSequence(log, 20, 17);
            const selected = shown(0).selectedText;
            verify(selected !== "");
            view.positionViewAtIndex(200, ListView.Beginning);
            tryVerify(() => test.shown(203) !== null);
            const marked = Array.from(view.contentItem.children).filter(
                item => item.visible && item.Accessible.role === Accessible.ListItem && item.selectedText !== "");
            compare(marked.length, 0);
            view.positionViewAtBeginning();
            tryVerify(() => test.shown(0) !== null);
            compare(shown(0).selectedText, selected);
        }

        function test_selectsAllByKeys() {
            write(3);
            tryVerify(() => test.shown(2) !== null);
            view.forceActiveFocus();
            keySequence(StandardKey.SelectAll);
            compare(shown(0).selectedText, "line number 0");
            compare(shown(2).selectedText, "line number 2");
        }

        function test_selectsAWordByADoubleClick() {
            write(1);
            tryVerify(() => test.shown(0) !== null);
            mouseDoubleClickSequence(log, 20, 15);
            compare(shown(0).selectedText, "line");
        }

        function test_wrapsALineThatIsTooLong() {
            lines.append({ line: "word ".repeat(200) });
            tryVerify(() => test.shown(0) !== null);
            verify(shown(0).lineCount > 1);
            verify(shown(0).contentWidth <= shown(0).width);
        }

        function test_showsTheBeginningOfAGiantLine() {
            lines.append({ line: "x".repeat(1000000) });
            tryVerify(() => test.shown(0) !== null);
            verify(shown(0).length <= 5000);
        }
    }
}
