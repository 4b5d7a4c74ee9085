import QtQuick
import QtQuick.Templates as T

// An entry of a menu, with its keys at the right if it has some.
T.MenuItem {
    id: root

    property string keys: ""

    implicitWidth: caption.implicitWidth + (root.keys ? hint.implicitWidth + 28 : 0) + leftPadding + rightPadding
    implicitHeight: Theme.scaled(28)
    horizontalPadding: 10
    hoverEnabled: true

    Accessible.role: Accessible.MenuItem
    Accessible.name: root.text
    Accessible.onPressAction: {
        if (!root.enabled)
            return;
        root.menu.dismiss();
        root.triggered();
    }

    contentItem: Item {
        Text {
            id: caption

            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            font: Theme.bodyFont
            color: !root.enabled ? Theme.disabledLabelColor : root.highlighted ? Theme.prominentLabelColor : Theme.labelColor
            Accessible.ignored: true
        }

        Text {
            id: hint

            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            text: root.keys
            font: Theme.calloutFont
            color: root.highlighted ? Theme.prominentLabelColor : Theme.secondaryLabelColor
            Accessible.ignored: true
        }
    }

    background: Rectangle {
        radius: 5
        color: root.highlighted && root.enabled ? Theme.prominentColor : "transparent"
    }
}
