import QtQuick
import QtQuick.Templates as T
import Bleedwise.Window

// The lines that a run has written, as one text to select and copy from. Follows the newest line
// unless the user has scrolled up.
Rectangle {
    id: root

    // The view model's list of lines.
    required property var lines

    implicitHeight: 140
    radius: 8
    color: Theme.consoleColor

    Flickable {
        id: view

        // Whether the newest line stays in sight.
        property bool following: true
        property bool adjusting: false

        objectName: "view"
        anchors.fill: parent
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        contentWidth: width
        contentHeight: text.height + 20

        T.ScrollBar.vertical: VerticalScrollBar {
            objectName: "scrollBar"
        }

        onContentYChanged: {
            if (!view.adjusting)
                view.following = view.contentY >= view.contentHeight - view.height - 4;
        }
        onContentHeightChanged: view.follow()
        onHeightChanged: view.follow()

        function follow() {
            if (view.following)
                view.moveTo(view.contentHeight - view.height);
        }

        function moveTo(position: real) {
            view.adjusting = true;
            view.contentY = Math.max(0, Math.min(position, view.contentHeight - view.height));
            view.adjusting = false;
        }

        // Keeps the end of a selection in sight while it is made.
        function show(place: rect) {
            const top = place.y + text.y;
            if (top < view.contentY)
                view.contentY = Math.max(0, top - 10);
            else if (top + place.height > view.contentY + view.height)
                view.contentY = Math.min(view.contentHeight - view.height, top + place.height + 10 - view.height);
        }

        TextEdit {
            id: text

            objectName: "text"
            x: 10
            y: 10
            width: view.width - 20
            readOnly: true
            selectByMouse: true
            selectByKeyboard: true
            persistentSelection: true
            activeFocusOnTab: true
            textFormat: TextEdit.PlainText
            wrapMode: TextEdit.WrapAtWordBoundaryOrAnywhere
            font: Theme.consoleFont
            color: Theme.labelColor
            selectionColor: Theme.prominentColor
            selectedTextColor: Theme.prominentLabelColor

            onCursorRectangleChanged: {
                if (text.activeFocus && !feeder.feeding)
                    view.show(text.cursorRectangle);
            }

            Accessible.role: Accessible.EditableText
            Accessible.name: "Console"
            Accessible.readOnly: true
            Accessible.multiLine: true
        }
    }

    ConsoleText {
        id: feeder

        document: text.textDocument
        lines: root.lines
        lineSpacing: 4
    }

    Text {
        objectName: "placeholder"
        x: 10
        y: 10
        visible: root.lines.count === 0
        text: "No conversion messages yet."
        font: Theme.consoleFont
        color: Theme.secondaryLabelColor
    }

    FocusRing {
        shown: text.activeFocus
        distance: 0
        radius: root.radius
    }

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: eventPoint => menu.popup(eventPoint.position)
    }

    PopupMenu {
        id: menu

        PopupMenuItem {
            text: "Copy"
            enabled: text.selectedText !== ""
            onTriggered: text.copy()
        }

        PopupMenuItem {
            text: "Select All"
            enabled: text.length > 0
            onTriggered: text.selectAll()
        }
    }
}
