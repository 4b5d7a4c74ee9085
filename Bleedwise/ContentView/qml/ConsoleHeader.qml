import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Bleedwise.Window

// Opens the console, and the popover with details.
RowLayout {
    id: root

    required property bool consoleExpanded
    required property bool showingDetails
    required property string ghostscriptPath

    signal consoleToggled
    signal detailsToggled
    signal detailsClosed

    spacing: 8

    T.AbstractButton {
        id: toggle

        objectName: "console"
        implicitWidth: implicitContentWidth + leftPadding + rightPadding
        implicitHeight: Math.max(24, implicitContentHeight + 8)
        Layout.leftMargin: -toggle.leftPadding
        horizontalPadding: 6
        text: "Console"
        checkable: false
        hoverEnabled: true
        focusPolicy: Qt.TabFocus
        onClicked: root.consoleToggled()

        Accessible.role: Accessible.Button
        Accessible.name: toggle.text
        Accessible.description: root.consoleExpanded ? "Expanded" : "Collapsed"
        Accessible.checkable: true
        Accessible.checked: root.consoleExpanded
        Accessible.onPressAction: toggle.clicked()

        Keys.onReturnPressed: toggle.clicked()
        Keys.onEnterPressed: toggle.clicked()

        contentItem: Row {
            id: label

            readonly property color color: toggle.hovered || toggle.down ? Theme.labelColor : Theme.secondaryLabelColor

            spacing: 5

            SymbolIcon {
                anchors.verticalCenter: parent.verticalCenter
                symbol: "terminal"
                color: label.color
            }

            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: toggle.text
                font: Theme.captionFont
                color: label.color
            }

            SymbolIcon {
                objectName: "chevron"
                anchors.verticalCenter: parent.verticalCenter
                symbol: root.consoleExpanded ? "chevron-down" : "chevron-right"
                color: label.color
            }
        }

        background: Rectangle {
            radius: Theme.smallControlRadius
            color: toggle.down ? Theme.pressedColor : toggle.hovered ? Theme.hoverColor : "transparent"

            FocusRing {
                shown: toggle.visualFocus
                distance: 0
            }
        }
    }

    Item {
        Layout.fillWidth: true
    }

    IconButton {
        id: gear

        objectName: "details"
        Layout.rightMargin: -5
        symbol: "gear"
        help: "Conversion details"
        down: gear.pressed || root.showingDetails
        onClicked: root.detailsToggled()

        LazyLoader {
            anchors.fill: parent
            wanted: root.showingDetails
            sourceComponent: DetailsPopover {
                objectName: "detailsPopover"
                ghostscriptPath: root.ghostscriptPath
                visible: root.showingDetails
                onClosed: root.detailsClosed()
            }
        }
    }
}
