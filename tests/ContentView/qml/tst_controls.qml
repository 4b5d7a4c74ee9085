import QtQuick
import QtQuick.Layouts
import QtTest
import Bleedwise.Window

Item {
    id: root

    property string stored: "105"
    property int mode: 1

    width: 500
    height: 300

    Column {
        spacing: 10

        SettingField {
            id: field

            width: 200
            title: "Trim width (mm)"
            value: root.stored
            onEdited: text => root.stored = text
        }

        ModePicker {
            id: picker

            segments: ["Native", "Raster"]
            currentIndex: root.mode
            onChosen: index => root.mode = index
        }

        CheckBox {
            id: box

            text: "PDF already includes bleed"
        }

        ConvertButton {
            id: convert
        }

        PlusButton {
            id: plus

            plusHovered: false
            onPointerEntered: plus.plusHovered = true
            onPointerLeft: plus.plusHovered = false
        }

        IconButton {
            id: reveal

            symbol: "magnifying-glass"
            help: "Reveal output"
        }
    }

    SignalSpy {
        id: conversions

        target: convert
        signalName: "clicked"
    }
    SignalSpy {
        id: finishes

        target: field
        signalName: "finished"
    }

    TestCase {
        name: "Controls"
        when: windowShown

        function init() {
            Theme.reducedMotion = true;
            root.stored = "105";
            root.mode = 1;
            box.checked = false;
            convert.enabled = true;
            plus.enabled = true;
            conversions.clear();
            finishes.clear();
            mouseMove(root, 499, 299);
        }

        function type(text) {
            const input = findChild(field, "field");
            input.forceActiveFocus();
            input.selectAll();
            for (const letter of text)
                keyClick(letter);
        }

        function test_aFieldShowsItsValue() {
            compare(findChild(field, "field").text, "105");
        }

        function test_aFieldSaysWhatIsTyped() {
            type("98");
            compare(root.stored, "98");
        }

        function test_aFieldSaysWhatAnAssistiveTechnologyWrites() {
            findChild(field, "field").text = "77";
            compare(root.stored, "77");
        }

        function test_aFieldFollowsItsValueAfterTyping() {
            type("98");
            root.stored = "42";
            compare(findChild(field, "field").text, "42");
        }

        function test_returnEndsTyping_data() {
            return [{ tag: "Return", key: Qt.Key_Return }, { tag: "Enter", key: Qt.Key_Enter }];
        }

        function test_returnEndsTyping(data) {
            findChild(field, "field").forceActiveFocus();
            keyClick(data.key);
            compare(finishes.count, 1);
        }

        function test_aFieldIsAtLeastAsWideAsItsPlaceAsksFor() {
            compare(field.Layout.minimumWidth, 168);
        }

        function test_aFieldHasItsTitleAsItsName() {
            compare(findChild(field, "field").Accessible.name, "Trim width (mm)");
        }

        function test_aSegmentIsChosenByAClick() {
            mouseClick(picker, 20, 10);
            compare(root.mode, 0);
        }

        function test_aClickOnASegmentLeavesTheFocusWhereItIs() {
            box.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(picker, root.mode === 0 ? 140 : 20, 10);
            verify(box.activeFocus);
        }

        function test_aClickOnASegmentTakesTheRingFromThePicker() {
            picker.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(picker, root.mode === 0 ? 140 : 20, 10);
            verify(picker.activeFocus);
            verify(!ring(picker).visible);
        }

        function test_aSegmentIsChosenByKeys_data() {
            return [
                { tag: "left", from: 1, key: Qt.Key_Left, to: 0 },
                { tag: "right", from: 0, key: Qt.Key_Right, to: 1 },
                { tag: "not beyond the first", from: 0, key: Qt.Key_Left, to: 0 },
                { tag: "not beyond the last", from: 1, key: Qt.Key_Right, to: 1 }
            ];
        }

        function test_aSegmentIsChosenByKeys(data) {
            root.mode = data.from;
            picker.forceActiveFocus();
            keyClick(data.key);
            compare(root.mode, data.to);
        }

        function test_thePickerHasItsWidth() {
            compare(picker.width, 160);
        }

        function test_thePickerGrowsWithTheDesktopsFont() {
            Theme.fontScale = 3;
            verify(picker.implicitWidth > 160);
            Theme.fontScale = 1;
        }

        function test_aBoxIsCheckedByAClick() {
            mouseClick(box);
            verify(box.checked);
        }

        function test_aBoxIsCheckedByTheSpaceBar() {
            box.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Space);
            verify(box.checked);
        }

        function test_theButtonIsPressedByKeys_data() {
            return [
                { tag: "space bar", key: Qt.Key_Space },
                { tag: "Return", key: Qt.Key_Return },
                { tag: "Enter", key: Qt.Key_Enter }
            ];
        }

        function test_theButtonIsPressedByKeys(data) {
            convert.forceActiveFocus(Qt.TabFocusReason);
            keyClick(data.key);
            compare(conversions.count, 1);
        }

        function test_aDisabledButtonDoesNothing() {
            convert.enabled = false;
            mouseClick(convert);
            compare(conversions.count, 0);
        }

        function plusSymbol() {
            return plus.contentItem;
        }

        function test_thePlusIsPlainWithoutThePointer() {
            compare(plusSymbol().symbol, "plus-circle");
            compare(plusSymbol().color, Theme.secondaryLabelColor);
            compare(plus.scale, 1);
        }

        function test_thePlusAnswersToThePointer() {
            mouseMove(plus, 24, 24);
            tryCompare(plus, "scale", 1.05);
            compare(plusSymbol().symbol, "plus-circle-fill");
            tryCompare(plusSymbol(), "color", Theme.accentColor);
        }

        function test_thePlusIsPlainAgainWhenThePointerLeaves() {
            mouseMove(plus, 24, 24);
            mouseMove(root, 499, 299);
            tryCompare(plus, "scale", 1);
            compare(plusSymbol().symbol, "plus-circle");
        }

        function test_aButtonsHelpIsItsName_data() {
            return [
                { tag: "plus", button: plus, name: "Choose PDFs" },
                { tag: "symbol", button: reveal, name: "Reveal output" },
                { tag: "convert", button: convert, name: "Convert" }
            ];
        }

        function test_aButtonsHelpIsItsName(data) {
            compare(data.button.Accessible.name, data.name);
            compare(data.button.Accessible.role, Accessible.Button);
        }

        function test_theFocusCanBeSeen_data() {
            return [
                { tag: "convert", control: convert },
                { tag: "plus", control: plus },
                { tag: "symbol", control: reveal },
                { tag: "box", control: box }
            ];
        }

        function ring(item) {
            if (item.shown !== undefined && item.distance !== undefined)
                return item;
            for (let number = 0; number < item.children.length; ++number) {
                const found = ring(item.children[number]);
                if (found)
                    return found;
            }
            return null;
        }

        function test_theFocusCanBeSeen(data) {
            data.control.forceActiveFocus(Qt.TabFocusReason);
            verify(ring(data.control).visible);
        }
    }
}
