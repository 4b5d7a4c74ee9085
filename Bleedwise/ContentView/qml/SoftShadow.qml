import QtQuick

// The shadow of what floats above the window: fainter rings, one outside the other.
Item {
    id: root

    required property real radius

    property int reach: 14
    property int drop: 3

    anchors.fill: parent
    z: -1

    Repeater {
        model: root.reach

        Rectangle {
            required property int index

            anchors.fill: parent
            anchors.margins: -(index + 1)
            anchors.topMargin: -(index + 1) + root.drop
            anchors.bottomMargin: -(index + 1) - root.drop
            radius: root.radius + index + 1
            color: Theme.shadowColor
            opacity: Math.pow(1 - index / root.reach, 2)
        }
    }
}
