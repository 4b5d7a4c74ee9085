import QtQuick
import QtQuick.Templates as T
import Bleedwise.Window

// The lines that a run has written, to be selected and copied as one text. Follows the newest line
// unless the user has scrolled up.
FocusScope {
    id: root

    // The view model's list of lines.
    required property var lines

    // What is shown of one line; a program may write megabytes without a line break.
    readonly property int longestLine: 5000

    implicitHeight: 140

    Accessible.role: Accessible.List
    Accessible.name: "Console lines"

    Rectangle {
        anchors.fill: parent
        radius: 8
        color: Theme.consoleColor
    }

    ConsoleSelection {
        id: selection

        lines: root.lines
    }

    ListView {
        id: view

        // Whether the newest line stays in sight.
        property bool following: true

        readonly property bool scrolledByUser: view.moving || scrollBar.pressed

        objectName: "view"
        anchors.fill: parent
        clip: true
        focus: true
        activeFocusOnTab: true
        keyNavigationEnabled: false
        currentIndex: -1 // a current line would take the keys
        boundsBehavior: Flickable.StopAtBounds
        header: Item { implicitHeight: 10 }
        footer: Item { implicitHeight: 10 }
        spacing: 4
        cacheBuffer: 400
        reuseItems: true // thousands of lines made anew would have to be collected in between
        model: root.lines

        T.ScrollBar.vertical: VerticalScrollBar {
            id: scrollBar

            objectName: "scrollBar"
        }

        onContentYChanged: {
            if (view.scrolledByUser)
                view.following = view.atYEnd;
        }
        onCountChanged: view.follow()
        onContentHeightChanged: view.follow()
        onHeightChanged: view.follow()
        onWidthChanged: view.follow()

        function follow() {
            if (view.count === 0)
                view.following = true;
            else if (view.following && !view.scrolledByUser)
                catchUp.start();
        }

        Timer {
            id: catchUp

            interval: 0
            onTriggered: {
                if (view.following)
                    view.positionViewAtEnd();
            }
        }

        function scrollBy(distance: real) {
            const first = view.originY;
            const last = Math.max(first, view.originY + view.contentHeight - view.height);
            view.contentY = Math.max(first, Math.min(last, view.contentY + distance));
            view.following = view.contentY >= last;
        }

        // The place in the text at a point of the view: a line, and a position in it.
        function placeAt(x: real, y: real): point {
            const contentY = view.contentY + y;
            const line = view.itemAt(view.width / 2, contentY) ?? view.itemAt(view.width / 2, contentY - view.spacing);
            if (!line)
                return contentY < view.originY + 10 ? Qt.point(0, 0) : Qt.point(view.count, 0);
            const position = line.positionAt(x - line.x, Math.min(contentY - line.y, line.height - 1));
            return Qt.point(line.index, position >= root.longestLine ? 0x7fffffff : position);
        }

        delegate: TextEdit {
            id: line

            required property int index
            required property var model

            x: 10
            width: ListView.view.width - 20
            readOnly: true
            selectByMouse: false
            persistentSelection: true
            activeFocusOnPress: false
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.WrapAtWordBoundaryOrAnywhere
            text: line.model.line.slice(0, root.longestLine)
            font: Theme.consoleFont
            color: Theme.labelColor
            selectionColor: Theme.prominentColor
            selectedTextColor: Theme.prominentLabelColor

            Component.onCompleted: line.showSelection()
            ListView.onPooled: line.visible = false // neither seen nor told of while it waits
            ListView.onReused: {
                line.visible = true;
                line.showSelection();
            }

            Accessible.role: Accessible.ListItem
            Accessible.name: line.text

            function showSelection() {
                const range = selection.rangeIn(line.index);
                const end = Math.min(range.y, line.length);
                if (range.x < end)
                    line.select(range.x, end);
                else
                    line.deselect();
            }

            Connections {
                target: selection

                function onChanged() {
                    line.showSelection();
                }
            }
        }

        Keys.onPressed: event => {
            const page = view.height - 30;
            if (event.matches(StandardKey.Copy))
                selection.copy();
            else if (event.matches(StandardKey.SelectAll))
                selection.selectAll();
            else if (event.matches(StandardKey.SelectNextLine))
                view.extendSelection(1);
            else if (event.matches(StandardKey.SelectPreviousLine))
                view.extendSelection(-1);
            else if (event.key === Qt.Key_Down)
                view.scrollBy(20);
            else if (event.key === Qt.Key_Up)
                view.scrollBy(-20);
            else if (event.key === Qt.Key_PageDown)
                view.scrollBy(page);
            else if (event.key === Qt.Key_PageUp)
                view.scrollBy(-page);
            else if (event.key === Qt.Key_Home)
                view.scrollBy(-Infinity);
            else if (event.key === Qt.Key_End)
                view.scrollBy(Infinity);
            else
                return;
            event.accepted = true;
        }

        function extendSelection(lines: int) {
            selection.extendByLines(lines);
            view.following = false;
            view.positionViewAtIndex(selection.currentLine, ListView.Contain);
        }
    }

    MouseArea {
        id: pointer

        // Where the pointer is while it selects.
        property point place

        anchors.fill: parent
        anchors.rightMargin: scrollBar.visible ? scrollBar.width : 0
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        cursorShape: Qt.IBeamCursor
        Accessible.ignored: true

        onPressed: mouse => {
            view.forceActiveFocus(Qt.MouseFocusReason);
            // A finger scrolls instead.
            pointer.preventStealing = mouse.source === Qt.MouseEventNotSynthesized;
            pointer.place = Qt.point(mouse.x, mouse.y);
            if (mouse.button === Qt.RightButton) {
                menu.popup(mouse.x, mouse.y);
                return;
            }
            const place = view.placeAt(mouse.x, mouse.y);
            if (mouse.modifiers & Qt.ShiftModifier)
                selection.extendTo(place.x, place.y);
            else
                selection.begin(place.x, place.y);
        }
        onPositionChanged: mouse => {
            pointer.place = Qt.point(mouse.x, mouse.y);
            if (pointer.pressedButtons & Qt.LeftButton)
                pointer.extend();
        }
        onDoubleClicked: mouse => {
            const place = view.placeAt(mouse.x, mouse.y);
            selection.selectWord(place.x, place.y);
        }

        function extend() {
            const place = view.placeAt(pointer.place.x, Math.max(0, Math.min(view.height - 1, pointer.place.y)));
            selection.extendTo(place.x, place.y);
        }

        // Beyond an edge the pointer draws the text in.
        Timer {
            readonly property real beyond: pointer.place.y < 0 ? pointer.place.y
                : pointer.place.y > view.height ? pointer.place.y - view.height : 0

            interval: 16
            repeat: true
            running: (pointer.pressedButtons & Qt.LeftButton) !== 0 && beyond !== 0
            onTriggered: {
                view.scrollBy(beyond / 3);
                pointer.extend();
            }
        }
    }

    Text {
        objectName: "placeholder"
        x: 10
        y: 10
        visible: root.lines.count === 0
        text: "No conversion messages yet."
        font: Theme.consoleFont
        color: Theme.secondaryLabelColor
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    FocusRing {
        id: ring

        shown: view.activeFocus && ring.byKeyboard
        distance: 0
        radius: 8

        // A click needs no ring to be seen.
        property bool byKeyboard: true

        Connections {
            target: view

            function onActiveFocusChanged() {
                ring.byKeyboard = !pointer.pressed;
            }
        }
    }

    PopupMenu {
        id: menu

        PopupMenuItem {
            text: "Copy"
            keys: "Ctrl+C"
            enabled: !selection.isEmpty
            onTriggered: selection.copy()
        }

        PopupMenuItem {
            text: "Select All"
            keys: "Ctrl+A"
            enabled: view.count > 0
            onTriggered: selection.selectAll()
        }
    }
}
