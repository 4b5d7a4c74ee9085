import QtQuick

// A hairline between two regions.
Rectangle {
    id: root

    implicitHeight: 1
    color: Theme.dividerColor

    Accessible.ignored: true
}
