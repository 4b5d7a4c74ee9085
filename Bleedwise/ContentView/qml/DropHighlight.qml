import QtQuick

// Shows that files can be dropped on the window.
Rectangle {
    id: root

    required property bool shown

    opacity: root.shown ? 1 : 0
    visible: root.opacity > 0
    color: Theme.translucent(Theme.accentColor, 0.06)
    border.width: 2
    border.color: Theme.accentColor
    radius: 10

    Behavior on opacity {
        NumberAnimation { duration: Theme.hoverDuration; easing.type: Easing.OutQuad }
    }
}
