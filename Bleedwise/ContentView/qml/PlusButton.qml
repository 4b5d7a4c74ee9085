import QtQuick
import QtQuick.Templates as T
import Bleedwise.Window

// The large round button in the empty window that opens the file chooser.
T.AbstractButton {
    id: root

    // Whether the pointer is over the button, as the view model keeps it.
    required property bool plusHovered

    signal pointerEntered
    signal pointerLeft

    implicitWidth: 48
    implicitHeight: 48
    scale: root.plusHovered ? 1.05 : 1.0
    hoverEnabled: true
    focusPolicy: Qt.TabFocus

    onHoveredChanged: root.hovered ? root.pointerEntered() : root.pointerLeft()

    Accessible.role: Accessible.Button
    Accessible.name: "Choose PDFs"
    Accessible.description: root.enabled ? "" : "Unavailable"
    Accessible.onPressAction: {
        if (root.enabled)
            root.clicked();
    }

    Keys.onReturnPressed: root.clicked()
    Keys.onEnterPressed: root.clicked()

    Behavior on scale {
        NumberAnimation { duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
    }

    contentItem: SymbolIcon {
        symbol: root.plusHovered ? "plus-circle-fill" : "plus-circle"
        color: !root.enabled ? Theme.disabledLabelColor
            : root.plusHovered ? Theme.accentColor : Theme.secondaryLabelColor
        opacity: root.down ? 0.8 : 1

        Behavior on color {
            ColorAnimation { duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
        }
    }

    FocusRing {
        shown: root.visualFocus
        distance: 4
        radius: width / 2
    }

    HelpTip {
        text: "Choose PDFs"
        shown: (root.hovered || root.visualFocus) && !root.down
    }
}
