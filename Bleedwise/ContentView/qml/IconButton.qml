import QtQuick
import QtQuick.Templates as T
import Bleedwise.Window

// A borderless button that shows a symbol alone; its help is also its name for a screen reader.
T.AbstractButton {
    id: root

    required property string symbol
    required property string help

    property color symbolColor: Theme.secondaryLabelColor
    property color hoveredSymbolColor: Theme.labelColor
    property color hoveredColor: Theme.hoverColor
    property color pressedColor: Theme.pressedColor
    property int buttonSize: 26

    implicitWidth: Math.max(root.buttonSize, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(root.buttonSize, implicitContentHeight + topPadding + bottomPadding)
    padding: 5
    hoverEnabled: true
    focusPolicy: Qt.TabFocus

    Accessible.role: Accessible.Button
    Accessible.name: root.help
    Accessible.onPressAction: {
        if (root.enabled)
            root.clicked();
    }

    Keys.onReturnPressed: root.clicked()
    Keys.onEnterPressed: root.clicked()

    contentItem: Item {
        implicitWidth: drawing.implicitWidth
        implicitHeight: drawing.implicitHeight

        SymbolIcon {
            id: drawing

            anchors.centerIn: parent
            symbol: root.symbol
            color: !root.enabled ? Theme.disabledLabelColor
                : root.hovered || root.down ? root.hoveredSymbolColor : root.symbolColor
        }
    }

    background: Rectangle {
        radius: Theme.smallControlRadius
        color: root.down ? root.pressedColor : root.hovered && root.enabled ? root.hoveredColor : "transparent"

        FocusRing {
            shown: root.visualFocus
            distance: 0
        }
    }

    HelpTip {
        text: root.help
        shown: (root.hovered || root.visualFocus) && !root.down
    }
}
