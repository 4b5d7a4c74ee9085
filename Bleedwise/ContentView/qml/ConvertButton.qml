import QtQuick
import QtQuick.Templates as T
import Bleedwise.Window

// The window's main action: converts the whole list.
T.AbstractButton {
    id: root

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Theme.controlHeight
    horizontalPadding: 16
    text: "Convert"
    hoverEnabled: true
    focusPolicy: Qt.TabFocus

    Accessible.role: Accessible.Button
    Accessible.name: root.text
    Accessible.description: root.enabled ? "" : "Unavailable"
    Accessible.onPressAction: {
        if (root.enabled)
            root.clicked();
    }

    Keys.onReturnPressed: root.clicked()
    Keys.onEnterPressed: root.clicked()

    contentItem: Row {
        spacing: 7

        SymbolIcon {
            anchors.verticalCenter: parent.verticalCenter
            symbol: "convert"
            color: caption.color
        }

        Text {
            id: caption

            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            font: Theme.buttonFont
            color: root.enabled ? Theme.prominentLabelColor : Theme.disabledLabelColor
        }
    }

    background: Rectangle {
        radius: Theme.controlRadius
        color: !root.enabled ? Theme.trackColor
            : root.down ? Qt.darker(Theme.prominentColor, 1.18)
            : root.hovered ? Qt.darker(Theme.prominentColor, 1.08) : Theme.prominentColor

        Behavior on color {
            ColorAnimation { duration: Theme.hoverDuration }
        }

        FocusRing {
            shown: root.visualFocus
            radius: Theme.controlRadius + distance
        }
    }
}
