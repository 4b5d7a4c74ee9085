import QtQuick
import QtQuick.Templates as T

// A plain button with a text, as the buttons of a dialog are.
T.AbstractButton {
    id: root

    property bool prominent: false

    implicitWidth: Math.max(88, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Theme.scaled(30)
    horizontalPadding: 14
    hoverEnabled: true
    focusPolicy: Qt.TabFocus

    Accessible.role: Accessible.Button
    Accessible.name: root.text
    Accessible.onPressAction: {
        if (root.enabled)
            root.clicked();
    }

    Keys.onReturnPressed: root.clicked()
    Keys.onEnterPressed: root.clicked()

    contentItem: Text {
        text: root.text
        font: Theme.bodyFont
        color: root.prominent ? Theme.prominentLabelColor : Theme.labelColor
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }

    background: Rectangle {
        radius: Theme.smallControlRadius
        color: root.prominent ? Qt.darker(Theme.prominentColor, root.down ? 1.18 : root.hovered ? 1.08 : 1)
            : root.down ? Theme.pressedColor : root.hovered ? Theme.hoverColor : Theme.trackColor
        border.width: root.prominent ? 0 : 1
        border.color: Theme.quietOutlineColor

        FocusRing {
            shown: root.visualFocus
        }
    }
}
