import QtQuick
import QtTest
import Bleedwise.Window

Item {
    id: root

    width: 500
    height: 200

    JobRow {
        id: row

        width: root.width
        fileName: "poster.pdf"
        jobState: JobRow.State.Pending
        widthMM: "105"
        heightMM: "148"
        bleedMM: "3"
        widthEdited: false
        heightEdited: false
        bleedEdited: false
        summary: "105×148 mm · 3 mm bleed"
        errorMessage: ""
        hasOutput: false
        selected: false
        dividerShown: true
    }

    SignalSpy {
        id: selections

        target: row
        signalName: "selectRequested"
    }
    SignalSpy {
        id: removals

        target: row
        signalName: "removeRequested"
    }
    SignalSpy {
        id: reveals

        target: row
        signalName: "revealRequested"
    }

    TestCase {
        name: "JobRow"
        when: windowShown

        function init() {
            row.fileName = "poster.pdf";
            row.jobState = JobRow.State.Pending;
            row.widthEdited = false;
            row.errorMessage = "";
            row.hasOutput = false;
            row.selected = false;
            row.removable = true;
            selections.clear();
            removals.clear();
            reveals.clear();
        }

        function symbols(item) {
            let found = item.symbol !== undefined && item.visible ? [item.symbol] : [];
            for (let number = 0; number < item.children.length; ++number)
                found = found.concat(symbols(item.children[number]));
            return found;
        }

        function texts(item) {
            let found = item.text !== undefined && item.font !== undefined && item.visible ? [item.text] : [];
            for (let number = 0; number < item.children.length; ++number)
                found = found.concat(texts(item.children[number]));
            return found;
        }

        function test_itsSymbolTellsItsState_data() {
            return [
                { tag: "pending", state: JobRow.State.Pending, symbol: "circle", color: "tertiaryLabelColor" },
                { tag: "completed", state: JobRow.State.Completed, symbol: "checkmark-circle-fill", color: "greenColor" },
                { tag: "failed", state: JobRow.State.Failed, symbol: "cross-circle-fill", color: "redColor" },
                { tag: "converting", state: JobRow.State.Converting, symbol: "progress", color: "accentColor" }
            ];
        }

        function test_itsSymbolTellsItsState(data) {
            row.jobState = data.state;
            verify(symbols(row).includes(data.symbol), symbols(row));
        }

        function test_itsSummaryIsItsSizes() {
            const words = texts(findChild(row, "summary"));
            compare(words, ["105", "×", "148", "mm", "·", "3", "mm bleed"]);
        }

        function test_itsSummaryIsItsErrorWhenItHasOne() {
            row.errorMessage = "Something went wrong.";
            verify(!findChild(row, "summary").visible);
            compare(findChild(row, "error").text, "Something went wrong.");
        }

        function test_anErrorIsRed() {
            row.errorMessage = "Something went wrong.";
            compare(findChild(row, "error").color, Theme.redColor);
        }

        function test_anEditedSizeIsMarked() {
            const before = findChild(row, "width").width;
            row.widthEdited = true;
            compare(findChild(row, "width").width, before + 8);
        }

        function test_aRowIsAsHighWithAnEditedSizeAsWithout() {
            const before = row.implicitHeight;
            row.widthEdited = true;
            compare(row.implicitHeight, before);
        }

        function test_aLongNameIsShortenedInTheMiddle() {
            row.fileName = "a".repeat(300) + ".pdf";
            const name = findChild(row, "name");
            verify(name.truncated);
            compare(name.elide, Text.ElideMiddle);
        }

        function test_aLongNameLeavesRoomForTheButtons() {
            row.fileName = "a".repeat(300) + ".pdf";
            row.hasOutput = true;
            const name = findChild(row, "name");
            const reveal = findChild(row, "reveal");
            tryVerify(() => name.truncated && name.mapToItem(row, name.width, 0).x <= reveal.mapToItem(row, 0, 0).x);
        }

        function test_aLongErrorIsWrappedWithinTheRow() {
            row.errorMessage = "several words ".repeat(500);
            const error = findChild(row, "error");
            verify(error.lineCount > 1);
            verify(error.contentWidth <= error.width);
            tryVerify(() => row.implicitHeight > 60 && row.implicitHeight < 120);
        }

        function test_anErrorIsShownFromItsBeginningAndItsEnd_data() {
            const many = Array.from({ length: 16 }, (_, number) => `line ${number + 1}`).join("\n");
            return [
                { tag: "one line", error: "Could not open it.", shown: "Could not open it." },
                { tag: "two lines", error: "It failed.\nNo disk.", shown: "It failed.\nNo disk." },
                { tag: "as many as there is room for", error: "It failed.\na\nb\nc", shown: "It failed.\na\nb\nc" },
                { tag: "one more", error: "It failed.\na\nb\nc\nd", shown: "It failed. …\nb\nc\nd" },
                { tag: "many", error: "It failed.\n" + many, shown: "It failed. …\nline 14\nline 15\nline 16" },
                { tag: "an end without text", error: "It failed.\nNo disk.\n\n", shown: "It failed.\nNo disk." },
                { tag: "empty lines", error: "a\n\n\nd\ne", shown: "a …\n\nd\ne" }
            ];
        }

        function test_anErrorIsShownFromItsBeginningAndItsEnd(data) {
            row.errorMessage = data.error;
            compare(findChild(row, "error").text, data.shown);
        }

        function test_theReasonAtTheEndIsShownWhole() {
            const reason = "The reason why it failed takes more of the row than there is in a single line of it, "
                + "and more than there is in two lines.";
            row.errorMessage = "Ghostscript failed.\n" + "Something else that was said.\n".repeat(10) + reason;
            const error = findChild(row, "error");
            verify(error.text.startsWith("Ghostscript failed. …\n") && error.text.endsWith(reason), error.text);
            tryVerify(() => !error.truncated && error.lineCount > 2);
        }

        function test_speaksTheEndOfALongErrorToo() {
            row.jobState = JobRow.State.Failed;
            row.errorMessage = row.summary = "Ghostscript failed.\n" + "Page\n".repeat(1000) + "No disk.";
            const spoken = row.Accessible.description;
            verify(spoken.startsWith("Failed. Ghostscript failed.") && spoken.endsWith("No disk."), spoken);
        }

        function test_revealsOnlyWhatHasAnOutput() {
            verify(!findChild(row, "reveal").visible);
            row.hasOutput = true;
            verify(findChild(row, "reveal").visible);
        }

        function test_asksToReveal() {
            row.hasOutput = true;
            const reveal = findChild(row, "reveal");
            tryVerify(() => reveal.x + reveal.width <= findChild(row, "remove").x);
            mouseClick(reveal);
            compare(reveals.count, 1);
        }

        function test_asksToRemove() {
            mouseClick(findChild(row, "remove"));
            compare(removals.count, 1);
        }

        function test_cannotBeRemovedDuringARun() {
            row.removable = false;
            verify(!findChild(row, "remove").enabled);
            mouseClick(findChild(row, "remove"));
            compare(removals.count, 0);
        }

        function test_asksToBeSelectedByAClick() {
            mouseClick(row, 200, 20);
            compare(selections.count, 1);
        }

        function test_isNotSelectedByItsButtons() {
            mouseClick(findChild(row, "remove"));
            compare(selections.count, 0);
        }

        function test_keepsItsHeightWithoutItsDivider() {
            const before = row.implicitHeight;
            row.dividerShown = false;
            compare(row.implicitHeight, before);
            compare(findChild(row, "divider").color.a, 0);
            row.dividerShown = true;
        }

        function test_saysWhatItIs() {
            row.summary = "105×148 mm · 3 mm bleed";
            row.jobState = JobRow.State.Completed;
            compare(row.Accessible.name, "poster.pdf");
            compare(row.Accessible.description, "Completed. 105×148 mm · 3 mm bleed");
        }

        function test_saysWhichSizesWereEdited() {
            row.summary = "107×148 mm · 3 mm bleed";
            row.widthEdited = true;
            compare(row.Accessible.description, "Pending. 107×148 mm · 3 mm bleed. Manually edited: width");
        }

        function test_saysItsErrorAlone() {
            row.jobState = JobRow.State.Failed;
            row.errorMessage = row.summary = "Could not open the input PDF.";
            row.widthEdited = true;
            compare(row.Accessible.description, "Failed. Could not open the input PDF.");
        }
    }
}
