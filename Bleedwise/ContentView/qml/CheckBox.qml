import QtQuick
import QtQuick.Templates as T
import Bleedwise.Window

// A box that is checked or not, with its label beside it.
T.CheckBox {
    id: root

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Math.max(implicitContentHeight, box.height) + topPadding + bottomPadding
    verticalPadding: 4
    spacing: 7
    hoverEnabled: true
    focusPolicy: Qt.TabFocus

    Accessible.role: Accessible.CheckBox
    Accessible.name: root.text
    Accessible.onPressAction: root.flip()
    Accessible.onToggleAction: root.flip()

    // As a click does it.
    function flip() {
        root.toggle();
        root.toggled();
    }

    indicator: Rectangle {
        id: box

        x: root.leftPadding
        y: Math.round((root.height - height) / 2)
        width: 16
        height: 16
        radius: 4
        color: root.checked ? Theme.prominentColor : root.hovered ? Theme.hoverColor : Theme.fieldColor
        border.width: root.checked ? 0 : 1
        border.color: Theme.outlineColor

        SymbolIcon {
            anchors.fill: parent
            visible: root.checked
            symbol: "checkmark"
            color: Theme.prominentLabelColor
        }

        FocusRing {
            shown: root.visualFocus
            radius: 4 + distance
        }
    }

    contentItem: Text {
        leftPadding: box.width + root.spacing
        text: root.text
        font: Theme.bodyFont
        color: root.enabled ? Theme.labelColor : Theme.disabledLabelColor
        verticalAlignment: Text.AlignVCenter
    }
}
