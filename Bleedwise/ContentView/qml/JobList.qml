import QtQuick
import QtQuick.Templates as T

// The queued files, one row each, in the order of the model. One Tab stop, followed by the buttons of
// the selected row.
Item {
    id: root

    // The view model's list model.
    required property var jobs
    // The row of the selected job, -1 without one.
    required property int selectedIndex
    // Whether rows can be removed and selected at present.
    required property bool changeable

    // What the content is moved down by, under the window's strip.
    property int coveredHeight: 0

    signal selectRequested(var jobID)
    signal revealRequested(var jobID)
    signal removeRequested(var jobID)

    // Whether the keyboard is at the list or in one of its rows.
    readonly property bool holdsFocus: root.activeFocus || list.activeFocus

    // Whether the focus came by a click, which needs no ring to be seen.
    property bool clicked: false
    readonly property bool visualFocus: root.activeFocus && !root.clicked

    activeFocusOnTab: true

    onActiveFocusChanged: {
        if (!root.activeFocus)
            root.clicked = false;
    }

    Accessible.role: Accessible.List
    Accessible.name: "Files"

    onSelectedIndexChanged: Qt.callLater(root.showSelection)

    function showSelection() {
        if (root.selectedIndex < 0 || root.selectedIndex >= list.count)
            return;
        list.positionViewAtIndex(root.selectedIndex, ListView.Contain);
        // What the strip covers is not in sight.
        const row = list.itemAtIndex(root.selectedIndex);
        if (row && row.y - list.contentY < root.coveredHeight)
            list.contentY = row.y - root.coveredHeight;
    }

    // The selected row stays in sight when the list makes room for the console.
    function keepSelection(previousHeight: real) {
        const row = list.itemAtIndex(root.selectedIndex);
        if (row && row.y < list.contentY + previousHeight && row.y + row.height > list.contentY)
            root.showSelection();
    }

    // A row that leaves takes the focus of its buttons with it.
    Connections {
        target: root.jobs

        function onRowsAboutToBeRemoved() {
            if (list.activeFocus)
                root.forceActiveFocus(Qt.TabFocusReason);
        }
    }

    ListView {
        id: list

        property real previousHeight: 0

        objectName: "list"
        anchors.fill: parent
        clip: true
        leftMargin: 0
        topMargin: root.coveredHeight
        bottomMargin: 12
        boundsBehavior: Flickable.StopAtBounds
        highlightFollowsCurrentItem: false
        keyNavigationEnabled: false
        currentIndex: root.selectedIndex
        cacheBuffer: 600
        model: root.jobs

        onHeightChanged: {
            root.keepSelection(list.previousHeight);
            list.previousHeight = list.height;
        }

        T.ScrollBar.vertical: VerticalScrollBar {
            topPadding: root.coveredHeight
        }

        delegate: JobRow {
            id: row

            required property var model

            x: 20
            width: ListView.view.width - 40
            fileName: row.model.fileName
            jobState: row.model.state
            widthMM: row.model.widthMM
            heightMM: row.model.heightMM
            bleedMM: row.model.bleedMM
            widthEdited: row.model.widthEdited
            heightEdited: row.model.heightEdited
            bleedEdited: row.model.bleedEdited
            summary: row.model.summary
            errorMessage: row.model.errorMessage
            hasOutput: row.model.outputURL.toString() !== ""
            selected: row.model.isSelected
            dividerShown: row.model.showsDivider
            focusShown: root.visualFocus
            removable: root.changeable

            onSelectRequested: {
                root.clicked = true;
                root.forceActiveFocus(Qt.MouseFocusReason);
                if (root.changeable)
                    root.selectRequested(row.model.jobID);
            }
            onRevealRequested: root.revealRequested(row.model.jobID)
            onRemoveRequested: root.removeRequested(row.model.jobID)
        }

        add: Transition {
            NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.removalDuration; easing.type: Easing.InOutQuad }
        }
        remove: Transition {
            NumberAnimation { property: "opacity"; to: 0; duration: Theme.removalDuration; easing.type: Easing.InOutQuad }
        }
        displaced: Transition {
            NumberAnimation { property: "y"; duration: Theme.removalDuration; easing.type: Easing.InOutQuad }
            // A row on the move may have been on its way in.
            NumberAnimation { property: "opacity"; to: 1; duration: Theme.removalDuration }
        }
    }
}
