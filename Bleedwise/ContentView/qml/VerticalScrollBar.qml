import QtQuick
import QtQuick.Templates as T

// Shows where in a long content the view is, and moves it.
T.ScrollBar {
    id: root

    orientation: Qt.Vertical
    policy: root.size < 1 ? T.ScrollBar.AlwaysOn : T.ScrollBar.AlwaysOff
    visible: root.size < 1
    implicitWidth: 12
    padding: 2
    minimumSize: root.height > 0 ? Math.min(1, 28 / root.height) : 0
    hoverEnabled: true

    Accessible.role: Accessible.ScrollBar
    Accessible.name: "Vertical scroll bar"

    contentItem: Item {
        Rectangle {
            anchors.right: parent.right
            width: root.hovered || root.pressed ? 8 : 5
            height: parent.height
            radius: width / 2
            color: Theme.scrollBarColor
            opacity: root.hovered || root.pressed ? 1 : 0.8

            Behavior on width {
                NumberAnimation { duration: Theme.hoverDuration }
            }
        }
    }
}
