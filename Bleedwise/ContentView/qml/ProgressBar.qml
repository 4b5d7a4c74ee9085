import QtQuick
import QtQuick.Templates as T

// How far something has come; with a part that moves to and fro while nobody knows.
T.ProgressBar {
    id: root

    implicitWidth: 200
    implicitHeight: 6

    Accessible.role: Accessible.ProgressBar
    Accessible.name: "Progress"
    Accessible.description: root.indeterminate ? "" : `${Math.round(root.position * 100)} percent`

    background: Rectangle {
        radius: height / 2
        color: Theme.trackColor
    }

    contentItem: Item {
        clip: true

        Rectangle {
            id: part

            property real travel: 0.5

            x: root.indeterminate ? part.travel * (parent.width - width) : 0
            width: parent.width * (root.indeterminate ? 0.3 : root.position)
            height: parent.height
            radius: height / 2
            color: Theme.accentColor

            SequentialAnimation on travel {
                running: root.indeterminate && root.visible && !Theme.reducedMotion
                loops: Animation.Infinite

                NumberAnimation { from: 0; to: 1; duration: 900; easing.type: Easing.InOutQuad }
                NumberAnimation { from: 1; to: 0; duration: 900; easing.type: Easing.InOutQuad }
            }
        }
    }
}
