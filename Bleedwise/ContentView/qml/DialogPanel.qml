import QtQuick
import QtQuick.Templates as T

// A panel in the middle of the window that must be answered before the window goes on.
T.Popup {
    id: root

    required property string title

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    modal: true
    focus: true
    padding: 24
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    margins: 24
    closePolicy: T.Popup.CloseOnEscape

    background: Rectangle {
        radius: 13
        color: Theme.popoverColor
        border.width: 1
        border.color: Theme.quietOutlineColor

        SoftShadow {
            radius: 13
        }
    }

    T.Overlay.modal: Rectangle {
        color: Theme.dimmingColor

        Behavior on opacity {
            NumberAnimation { duration: Theme.hoverDuration }
        }
    }

    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.hoverDuration }
        NumberAnimation { property: "scale"; from: 0.97; to: 1; duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; to: 0; duration: Theme.hoverDuration }
    }
}
