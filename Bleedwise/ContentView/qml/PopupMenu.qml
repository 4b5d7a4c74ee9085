import QtQuick
import QtQuick.Templates as T

// A menu in the window's style.
T.Menu {
    id: root

    implicitWidth: Math.max(180, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    margins: 6
    padding: 5
    overlap: 1

    contentItem: ListView {
        implicitHeight: contentHeight
        implicitWidth: {
            let widest = 0;
            for (let i = 0; i < root.count; ++i)
                widest = Math.max(widest, root.itemAt(i)?.implicitWidth ?? 0);
            return widest;
        }
        model: root.contentModel
        interactive: false
        currentIndex: root.currentIndex
    }

    background: Rectangle {
        radius: 9
        color: Theme.popoverColor
        border.width: 1
        border.color: Theme.quietOutlineColor

        SoftShadow {
            radius: 9
        }
    }

    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.hoverDuration }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; to: 0; duration: Theme.hoverDuration }
    }
}
