import QtQuick
import QtTest
import Bleedwise.Window

Item {
    id: root

    width: 720
    height: 560

    QtObject {
        id: posing

        property string title
        property string message
        property string notes
        property var actions: []
        property bool busy
        property bool askedFor
        property bool offersAutomaticChecks
        property bool checksAutomatically
        property real progress
        property string progressText
        property var performed: []
        property var links: []
        property int dismissals: 0

        signal panelChanged

        function perform(name) {
            posing.performed = posing.performed.concat(name);
        }

        function openLink(address) {
            posing.links = posing.links.concat(address);
        }

        function dismiss() {
            ++posing.dismissals;
        }
    }

    Component {
        id: panelComponent

        UpdatePanel {
            updater: posing
            visible: true
        }
    }

    TextInput {
        id: elsewhere

        width: 100
        height: 30
    }

    TestCase {
        id: test

        readonly property var offer: [
            { name: "later", text: "Remind Me Later", prominent: false },
            { name: "skip", text: "Skip This Version", prominent: false },
            { name: "install", text: "Install Update", prominent: true }
        ]
        property var panel: null

        name: "UpdatePanel"
        when: windowShown

        function init() {
            Theme.reducedMotion = true;
            Theme.fontScale = 1;
            posing.title = "A new version of Bleedwise is available";
            posing.message = "You have version 1.0, and version 2.0 is out.";
            posing.notes = "";
            posing.actions = test.offer;
            posing.busy = false;
            posing.askedFor = true;
            posing.offersAutomaticChecks = false;
            posing.checksAutomatically = false;
            posing.progress = 0;
            posing.progressText = "";
            posing.performed = [];
            posing.links = [];
            posing.dismissals = 0;
            test.open();
        }

        function open() {
            test.panel = createTemporaryObject(panelComponent, root);
            tryVerify(() => test.panel.opened);
        }

        // Shows a panel that nobody asked for while a field is being filled in.
        function interrupt() {
            test.panel.destroy();
            wait(0);
            elsewhere.text = "";
            elsewhere.forceActiveFocus();
            posing.askedFor = false;
            test.open();
        }

        function part(name) {
            return findChild(test.panel.contentItem, name);
        }

        function showNotes(notes) {
            posing.notes = notes;
            verify(waitForRendering(test.panel.contentItem));
        }

        function test_isADialogThatSaysItsTitleAndMessage() {
            compare(test.panel.contentItem.Accessible.role, Accessible.Dialog);
            compare(test.panel.contentItem.Accessible.name, posing.title);
            compare(test.panel.contentItem.Accessible.description, posing.message);
        }

        function test_showsWhatCanBeDone() {
            compare(test.offer.map(action => test.part(action.name).text), test.offer.map(action => action.text));
        }

        function test_showsTheLikeliestActionAsSuch() {
            compare(test.offer.map(action => test.part(action.name).prominent), [false, false, true]);
        }

        function test_performsAnAction_data() {
            return test.offer;
        }

        function test_performsAnAction(action) {
            mouseClick(test.part(action.name));
            compare(posing.performed, [action.name]);
        }

        function test_theLikeliestActionHasTheFocus() {
            tryVerify(() => test.part("install").activeFocus);
        }

        function test_theLikeliestOfOtherActionsGetsTheFocus() {
            posing.actions = [{ name: "cancel", text: "Cancel", prominent: false }];
            posing.panelChanged();
            tryVerify(() => test.part("cancel").activeFocus);
        }

        function test_leavesTheKeyboardWhereItIsWhenNobodyAsked() {
            test.interrupt();
            keyClick(Qt.Key_1);
            keyClick(Qt.Key_Return);
            compare(elsewhere.text, "1");
            compare(posing.performed, []);
        }

        function test_isReachedByTabWhenNobodyAsked() {
            test.interrupt();
            keyClick(Qt.Key_Tab);
            tryVerify(() => test.panel.activeFocus);
        }

        function test_takesTheKeyboardWhenItIsAskedForMeanwhile() {
            test.interrupt();
            posing.askedFor = true;
            posing.panelChanged();
            tryVerify(() => test.part("install").activeFocus);
        }

        function test_leavesTheKeyboardToWhoeverWentElsewhere() {
            mouseClick(elsewhere);
            posing.actions = [{ name: "cancel", text: "Cancel", prominent: false }];
            posing.panelChanged();
            verify(waitForRendering(test.panel.contentItem));
            verify(elsewhere.activeFocus);
        }

        function test_escapeDecidesNothing() {
            keyClick(Qt.Key_Escape);
            compare(posing.dismissals, 1);
            compare(posing.performed, []);
        }

        function test_leavesTheWindowToBeUsed() {
            mouseClick(elsewhere);
            verify(elsewhere.activeFocus);
            verify(test.panel.opened);
        }

        function test_takesATitleForPlainText() {
            const title = test.panel.contentItem.children[0];
            posing.title = "bold";
            const width = title.contentWidth;
            posing.title = "<b>bold</b>";
            verify(title.contentWidth > 1.5 * width);
        }

        function test_hidesTheNotesWhereThereAreNone() {
            verify(!test.part("notes").visible);
        }

        // Where these words of the notes are drawn, with the height of their line.
        function line(words) {
            const text = test.part("notesText");
            return text.positionToRectangle(text.getText(0, text.length).indexOf(words));
        }

        function test_drawsHeadingsByTheirLevels() {
            showNotes('<p class="heading1">First</p><p class="heading2">Second</p><p class="heading3">Third</p><p>Text</p>');
            const heights = ["First", "Second", "Third", "Text"].map(words => test.line(words).height);
            verify(heights[0] > heights[1]);
            verify(heights[1] > heights[2]);
            compare(heights[2], heights[3]);
        }

        function test_setsAHeadingApartFromWhatIsAboveIt() {
            showNotes('<p>Above</p><p class="heading2">Heading</p><p>Below</p>');
            const above = test.line("Heading").top - test.line("Above").bottom;
            const below = test.line("Below").top - test.line("Heading").bottom;
            verify(above > 1.5 * below);
        }

        function test_drawsHeadingsInTheDesktopsFontSize() {
            Theme.fontScale = 2;
            showNotes('<p class="heading2">Heading</p>');
            const large = test.line("Heading").height;
            Theme.fontScale = 1;
            tryVerify(() => test.line("Heading").height < 0.6 * large);
        }

        function test_beginsWithoutSpaceAboveAHeading() {
            showNotes('<p class="heading1">Heading</p><p>Text</p>');
            compare(test.line("Heading").top, 0);
        }

        function test_alignsTheLinesOfAListsItem() {
            showNotes(`<p class="item">\u2022 ${"word ".repeat(100)}</p>`);
            const text = test.part("notesText");
            const first = text.positionToRectangle(2).x;
            const second = text.positionAt(first, 1.5 * test.line("word").height);
            fuzzyCompare(text.positionToRectangle(second).x, first, 3);
        }

        function test_longNotesScroll() {
            showNotes("A line of the notes.<br>".repeat(200));
            verify(test.part("notes").height > 100);
            verify(test.part("notes").height < 300);
            verify(test.part("notesText").height > 1000);
        }

        function test_theNotesScrollByKeys() {
            showNotes("A line of the notes.<br>".repeat(200));
            const text = test.part("notesText");
            text.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Down);
            tryVerify(() => text.mapToItem(test.part("notes"), 0, 0).y < 0);
        }

        function test_theNotesSayTheirWordsToAssistiveTechnology() {
            posing.notes = "Draws <a href=\"https://bleedwise.test/\">everything</a>.";
            compare(test.part("notesText").Accessible.description, "Draws everything.");
        }

        function test_opensALinkOfTheNotes() {
            showNotes("<a href=\"https://bleedwise.test/news\">everything that is new</a>");
            mouseClick(test.part("notesText"), 20, 8);
            compare(posing.links, ["https://bleedwise.test/news"]);
        }

        function test_hidesTheChoiceOfAutomaticChecksWhereItIsNotOffered() {
            verify(!test.part("automatic").visible);
        }

        function test_showsWhetherItChecksAutomatically_data() {
            return [{ tag: "yes", checks: true }, { tag: "no", checks: false }];
        }

        function test_showsWhetherItChecksAutomatically(row) {
            posing.offersAutomaticChecks = true;
            posing.checksAutomatically = row.checks;
            tryVerify(() => test.part("automatic").visible);
            compare(test.part("automatic").checked, row.checks);
        }

        function test_changesWhetherItChecksAutomatically_data() {
            return [{ tag: "on", checks: true }, { tag: "off", checks: false }];
        }

        function test_changesWhetherItChecksAutomatically(row) {
            posing.offersAutomaticChecks = true;
            posing.checksAutomatically = !row.checks;
            verify(waitForRendering(test.panel.contentItem));
            mouseClick(test.part("automatic"));
            compare(posing.checksAutomatically, row.checks);
        }

        function test_changesWhetherItChecksAutomaticallyByKeys() {
            posing.offersAutomaticChecks = true;
            verify(waitForRendering(test.panel.contentItem));
            test.part("later").forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Backtab);
            verify(test.part("automatic").activeFocus);
            keyClick(Qt.Key_Space);
            compare(posing.checksAutomatically, true);
        }

        function test_followsAChangeOfAutomaticChecksAfterAClick() {
            posing.offersAutomaticChecks = true;
            verify(waitForRendering(test.panel.contentItem));
            mouseClick(test.part("automatic"));
            posing.checksAutomatically = false;
            verify(!test.part("automatic").checked);
        }

        function test_showsNoProgressWhereThereIsNone() {
            verify(!test.part("progress").visible);
            verify(!test.part("progressText").visible);
        }

        function test_showsHowFarADownloadIs() {
            posing.busy = true;
            posing.progress = 0.25;
            posing.progressText = "1.0 MB of 4.0 MB";
            tryVerify(() => test.part("progress").visible);
            compare(test.part("progress").Accessible.description, "25 percent");
            compare(test.part("progressText").text, "1.0 MB of 4.0 MB");
        }

        function test_showsThatNobodyKnowsHowLongACheckTakes() {
            posing.busy = true;
            posing.progress = -1;
            verify(test.part("progress").indeterminate);
        }

        function test_holdsItsButtonsWhereTheFontIsLarge() {
            Theme.fontScale = 1.5;
            verify(waitForRendering(test.panel.contentItem));
            const content = test.panel.contentItem;
            const button = test.part("install");
            verify(button.mapToItem(content, button.width, 0).x <= test.panel.availableWidth);
            verify(test.part("later").mapToItem(content, 0, 0).x >= 0);
        }

        function test_staysWithinASmallWindow() {
            posing.message = "A sentence of many words. ".repeat(10);
            posing.offersAutomaticChecks = true;
            posing.busy = true;
            posing.progressText = "1.0 MB of 4.0 MB";
            showNotes("A line of the notes.<br>".repeat(200));
            const content = test.panel.contentItem;
            verify(content.mapToItem(root, 0, 0).y >= 0);
            verify(content.mapToItem(root, 0, content.height).y <= root.height);
        }
    }
}
