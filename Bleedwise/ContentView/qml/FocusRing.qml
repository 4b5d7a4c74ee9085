import QtQuick

// The outline around the control that has the keyboard focus.
Rectangle {
    id: root

    required property bool shown

    property int distance: 3

    visible: root.shown
    anchors.fill: parent
    anchors.margins: -root.distance
    color: "transparent"
    border.width: 2
    border.color: Theme.accentColor
    radius: Theme.smallControlRadius + root.distance
}
