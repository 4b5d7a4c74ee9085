import QtQuick
import QtQuick.Templates as T

// A line between two groups of a menu.
T.MenuSeparator {
    id: root

    implicitWidth: 40
    implicitHeight: 9
    verticalPadding: 4
    horizontalPadding: 10

    contentItem: Rectangle {
        color: Theme.dividerColor
    }
}
